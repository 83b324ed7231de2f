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

PAGE = """\
.Dd {day}
.Dt {title} 3
.Os
.Sh NAME
.Nm {name}
.Nd {brief}
.Sh SYNOPSIS
.In qz_audio/qz_audio.h
.Ft {type}
.Fo {name}
{arguments}.Fc
.Pp
Link with
.Fl lqz_audio .
.Sh DESCRIPTION
{description}{parameters}{returned}.Sh THREADS
{threads}.Sh SEE ALSO
{others}.Xr qz_audio 7
"""
SECTIONS = ("parameterlist", "simplesect")


def child(element: Element, path: str) -> Element:
    found = element.find(path)
    assert found is not None, f"no {path} in the XML"
    return found


def plain(element: Element, path: str = ".") -> str:
    return " ".join("".join(child(element, path).itertext()).split())


def with_fonts(element: Element) -> str:
    """What is code in the comment is bold. What has a section of its own is left out."""
    text = (element.text or "").replace('"', "\\(dq")
    for part in element:
        inner = "" if part.tag in SECTIONS else with_fonts(part)
        text += f"\\fB{inner}\\fP" if part.tag == "computeroutput" else inner
        text += (part.tail or "").replace('"', "\\(dq")
    return text


def filled(text: str) -> str:
    """Each sentence begins a line, and none is long."""
    sentences = re.split(r"(?<=[.]) ", " ".join(text.split()))
    return "".join(f"{textwrap.fill(sentence, 78)}\n" for sentence in sentences)


def paragraphs(*elements: Element) -> str:
    texts = [with_fonts(para) for element in elements for para in element.iterfind("para")]
    return ".Pp\n".join(filled(text) for text in texts if text.strip())


def described(parameters: list[str], comment: Element) -> str:
    descriptions = {
        plain(item, ".//parametername"): paragraphs(child(item, "parameterdescription"))
        for item in comment.iter("parameteritem")
    }
    items = "".join(f".It Fa {name}\n{descriptions[name]}" for name in parameters)
    return f".Bl -tag -width Ds\n{items}.El\n" if items else ""


def c_type(element: Element) -> str:
    return re.sub(r"< | (?=>)", lambda found: found[0].strip(), plain(element, "type"))


def page(function: Element, when: date) -> str:
    name = plain(function, "name")
    brief = child(function, "briefdescription")
    comment = child(function, "detaileddescription")
    parameters = {plain(param, "declname"): c_type(param) for param in function.iterfind("param")}
    returned = comment.find(".//simplesect[@kind='return']")
    others = sorted(re.findall(r"\w+", plain(comment, ".//simplesect[@kind='see']")))
    return PAGE.format(
        day=f"{when:%B} {when.day}, {when.year}",
        title=name.upper(),
        name=name,
        brief=plain(brief)[0].lower() + plain(brief)[1:-1],
        type=c_type(function),
        arguments="".join(f'.Fa "{kind} {parameter}"\n' for parameter, kind in parameters.items()),
        description=paragraphs(brief, comment),
        parameters=described(list(parameters), comment),
        returned="" if returned is None else f".Sh RETURN VALUES\n{paragraphs(returned)}",
        threads=paragraphs(child(comment, ".//simplesect[title='Threads']")),
        others="".join(f".Xr {other} 3 ,\n" for other in others),
    )


def main() -> None:
    xml, folder, when = Path(sys.argv[1]), Path(sys.argv[2]), date.fromisoformat(sys.argv[3])
    folder.mkdir(parents=True, exist_ok=True)
    for function in ElementTree.parse(xml).findall(".//memberdef[@kind='function']"):
        name = plain(function, "name")
        (folder / f"{name}.3").write_text(page(function, when), encoding="utf-8")


if __name__ == "__main__":
    main()
