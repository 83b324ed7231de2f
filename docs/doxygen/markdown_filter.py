#!/usr/bin/python3
"""Prints a Markdown page for Doxygen.

Headings get the labels that links name, made unique by the name of the page. Links to files that have no
page become plain text. Images are named without their folder: Doxygen has one for all of them. State diagrams in Mermaid become dot, since Doxygen draws with Graphviz.

usage: markdown_filter.py PAGE
"""

import re
import sys
import textwrap
from pathlib import Path

MERMAID = re.compile(r"^```mermaid\nstateDiagram-v2\n(.*?)^```\n", re.MULTILINE | re.DOTALL)
TRANSITION = re.compile(r"^ *(\S+) --> (\S+?)(?:: (.*))?$", re.MULTILINE)
HEADING = re.compile(r"^(#+ )(.*)$", re.MULTILINE)
LINK = re.compile(r"(?<!!)\[([^\]]*)\]\(([^)#:\s]*)(?:#([^)\s]+))?\)")
IMAGE = re.compile(r"(!\[[^\]]*\])\((\S+)\)")
FILE_PAGES = {"qz_audio.h": "qz__audio_8h.html", "qz_system.h": "qz__system_8h.html"}
CODE = re.compile(r"(^```.*?^```\n)", re.MULTILINE | re.DOTALL)

STYLE = """\
rankdir=TB; nodesep=0.1; bgcolor=transparent;
node [shape=box, style="rounded,filled", fillcolor="#eef4fa", color="#4a7ba6", fontname="sans-serif"];
edge [color="#4a7ba6", fontname="sans-serif", fontsize=10];
start [shape=point, width=0.15, label=""];
end [shape=doublecircle, width=0.12, label="", fillcolor="#4a7ba6"];
"""


def state(name: str, pseudo_state: str) -> str:
    """In Mermaid the start and the end have the same name."""
    return pseudo_state if name == "[*]" else name


def edge(transition: re.Match[str]) -> str:
    source, target, label = transition.groups(default="")
    text = "\\n".join(textwrap.wrap(label, 18))
    return f'{state(source, "start")} -> {state(target, "end")} [label=" {text} "];'


def to_dot(diagram: re.Match[str]) -> str:
    edges = "\n".join(edge(found) for found in TRANSITION.finditer(diagram.group(1)))
    return f"\n\\dot\ndigraph states {{\n{STYLE}{edges}\n}}\n\\enddot\n\n"


def page_name(page: Path) -> str:
    named = page.parent if page.stem == "README" else page
    return named.stem.lower()


def label(page: Path, heading: str) -> str:
    """The label of a heading is what forges make of it, behind the name of the page."""
    slug = re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")
    return f"{page_name(page)}-{slug}"


def labelled_heading(marks: str, heading: str, page: Path) -> str:
    name = page_name(page) if marks == "# " else label(page, heading)
    return f"{marks}{heading} {{#{name}}}"


def link(text: str, target: str, slug: str, page: Path) -> str:
    if slug:
        named = (page.parent / target).resolve() if target else page
        return f"[{text}](#{page_name(named)}-{slug})"
    name = Path(target).name
    if name.endswith(".md"):
        return f"[{text}]({target})"
    if name in FILE_PAGES:
        return f"[{text}]({FILE_PAGES[name]})"
    if target.startswith("examples/") and name.endswith(".cpp"):
        return f"[{text}]({Path(name).stem}_8cpp-example.html)"
    return text


def linked(text: str, page: Path) -> str:
    """Only outside of code is a line with # a heading, and a word in brackets a link."""
    parts = CODE.split(text)
    for index, part in enumerate(parts[::2]):
        part = HEADING.sub(lambda found: labelled_heading(found[1], found[2], page), part)
        part = LINK.sub(lambda found: link(found[1], found[2], found[3], page), part)
        part = IMAGE.sub(lambda found: f"{found[1]}({Path(found[2]).name})", part)
        parts[2 * index] = part
    return "".join(parts)


def main() -> None:
    page = Path(sys.argv[1]).resolve()
    text = MERMAID.sub(to_dot, page.read_text(encoding="utf-8"))
    sys.stdout.write(linked(text, page))


if __name__ == "__main__":
    main()
