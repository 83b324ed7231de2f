#!/usr/bin/python3
"""Writes a manual page in section 3 for each function of a header, out of its Doxygen XML.

usage: function_pages.py XML FOLDER DATE
  DATE is that of the pages, such as 2026-01-31.
"""

import re
import sys
import textwrap
from datetime import date
from pathlib import Path
from xml.etree import ElementTree
from xml.etree.ElementTree import Element

HEADER = "qz_audio/qz_audio.h"
OVERVIEW = "qz_audio"


def child(element: Element, name: str) -> Element:
    found = element.find(name)
    assert found is not None, f"no {name} in the XML"
    return found


def plain(element: Element) -> str:
    return " ".join("".join(element.itertext()).split())


def escaped(text: str) -> str:
    return text.replace("\\", "\\e").replace('"', "\\(dq")


def with_fonts(element: Element) -> str:
    """What stands as code in the comment is bold."""
    text = escaped(element.text or "")
    for part in element:
        inner = with_fonts(part)
        text += f"\\fB{inner}\\fP" if part.tag == "computeroutput" else inner
        text += escaped(part.tail or "")
    return " ".join(text.split())


def lines_of(text: str) -> list[str]:
    """Each sentence begins a line, and none is long."""
    own_page = text.replace("\\(dqErrors\\(dq above", f"\\(dqErrors\\(dq in {OVERVIEW}(7)")
    sentences = re.split(r"(?<=[.!?]) (?=\S)", own_page)
    return [line for sentence in sentences for line in textwrap.wrap(sentence, 78)]


def c_type(element: Element) -> str:
    return re.sub(r"< | (?=>)", lambda found: found[0].strip(), plain(element))


def synopsis(function: Element, name: str) -> list[str]:
    parameters = [
        f'.Fa "{c_type(child(parameter, "type"))} {plain(child(parameter, "declname"))}"'
        for parameter in function.iterfind("param")
    ]
    return [
        f".In {HEADER}",
        f".Ft {c_type(child(function, 'type'))}",
        f".Fo {name}",
        *parameters,
        ".Fc",
    ]


def description(function: Element) -> list[str]:
    """The sentence that sums a comment up belongs to its first paragraph."""
    first = [with_fonts(child(function, "briefdescription"))]
    rest = [with_fonts(para) for para in child(function, "detaileddescription").iterfind("para")]
    lines = lines_of(" ".join(first + rest[:1]))
    for paragraph in rest[1:]:
        lines += [".Pp", *lines_of(paragraph)]
    return lines


def in_a_few_words(function: Element) -> str:
    clause = re.split(r"[:;(]|\.$", plain(child(function, "briefdescription")))[0].strip()
    short = clause if len(clause) < 75 else clause.split(",")[0]
    return escaped(short[0].lower() + short[1:])


def see_also(function: Element, name: str, names: set[str]) -> list[str]:
    told = plain(child(function, "detaileddescription"))
    others = sorted(set(re.findall(r"\w+", told)) & names - {name})
    return [f".Xr {other} 3 ," for other in others] + [f".Xr {OVERVIEW} 7"]


def page(function: Element, names: set[str], when: date) -> str:
    name = plain(child(function, "name"))
    lines = [
        f".Dd {when:%B} {when.day}, {when.year}",
        f".Dt {name.upper()} 3",
        ".Os",
        ".Sh NAME",
        f".Nm {name}",
        f".Nd {in_a_few_words(function)}",
        ".Sh SYNOPSIS",
        *synopsis(function, name),
        ".Pp",
        "Link with",
        f".Fl l{OVERVIEW} .",
        ".Sh DESCRIPTION",
        *description(function),
        ".Sh SEE ALSO",
        *see_also(function, name, names),
    ]
    return "\n".join(lines) + "\n"


def main() -> None:
    xml, folder, when = Path(sys.argv[1]), Path(sys.argv[2]), date.fromisoformat(sys.argv[3])
    functions = ElementTree.parse(xml).findall(".//memberdef[@kind='function']")
    names = {plain(child(function, "name")) for function in functions}
    folder.mkdir(parents=True, exist_ok=True)
    for function in functions:
        name = plain(child(function, "name"))
        (folder / f"{name}.3").write_text(page(function, names, when), encoding="utf-8")


if __name__ == "__main__":
    main()
