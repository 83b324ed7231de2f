"""Tables for the terminal and docs/performance.md."""

from __future__ import annotations

from typing import Iterator

from .results import Row, Section, Table

EXPLANATION = """\
Written by `make bench`. In each round, ours and the reference run one after the other, in an order that
alternates, or at the same time, and are compared within the round: by the quotient or by the difference. The
first table has the median of these comparisons, and an interval that holds the true median with a probability
of 95 % (order statistics of the rounds, without assumptions on their distribution). A target is met if the whole
interval reaches it, and missed if no part of it does. Otherwise the row is *inconclusive*: this run does not
separate ours from the target. Counts that are the same in every run have no interval. The other tables have each
side alone: the median of its rounds, with the minimum and the maximum in brackets."""

VERDICTS = {"yes": "yes", "no": "**no**", "inconclusive": "*inconclusive*"}


def table(headers: list[str], rows: list[list[str]]) -> str:
    """A Markdown table."""
    lines = [headers, ["---"] * len(headers), *rows]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in lines)


def summary(sections: list[Section]) -> str:
    """Every check, a line each."""
    rows = [
        [
            row.what,
            row.reference_name,
            check.median,
            check.interval,
            check.target,
            VERDICTS[check.verdict],
        ]
        for _, row, check in _checks(sections)
    ]
    return table(["What", "Reference", "Median", "95 % interval", "Target", "Met"], rows)


def page(sections: list[Section], machine: str) -> str:
    """The whole of docs/performance.md."""
    parts = [
        "# Performance",
        EXPLANATION,
        machine,
        summary(sections),
        *(_section(section) for section in sections),
    ]
    return "\n\n".join(parts) + "\n"


def unmet(sections: list[Section]) -> list[str]:
    """The checks that are missed or inconclusive."""
    return [
        f"{section.title}: {row.what}: {check.median} [{check.interval}], {check.target}: "
        f"{check.verdict}"
        for section, row, check in _checks(sections)
        if check.verdict != "yes"
    ]


def _checks(sections: list[Section]) -> Iterator[tuple[Section, Row, Check]]:
    for section in sections:
        for row in section.rows:
            for check in row.checks:
                yield section, row, check


def _section(section: Section) -> str:
    parts = [f"## {section.title}", section.text]
    if section.rows:
        headers = ["What", "Ours", "Reference", "Reference's"]
        parts.append(table(headers, [_cells(row) for row in section.rows]))
    parts += [_free_table(free) for free in section.tables]
    parts += [f"![{plot.title}](performance/{plot.name}.svg)" for plot in section.plots]
    return "\n\n".join(parts)


def _cells(row: Row) -> list[str]:
    reference = row.reference.show(row.unit) if row.reference else ""
    return [row.what, row.ours.show(row.unit), row.reference_name, reference]


def _free_table(free: Table) -> str:
    return table(free.headers, free.rows)
