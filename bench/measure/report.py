"""Tables for the terminal and docs/performance.md."""

from __future__ import annotations

from .results import Check, Row, Section, Table


def table(headers: list[str], rows: list[list[str]]) -> str:
    """A Markdown table."""
    lines = [headers, ["---"] * len(headers), *rows]
    return "\n".join("| " + " | ".join(cells) + " |" for cells in lines)


def summary(sections: list[Section]) -> str:
    """Every figure that has a target, a line each."""
    rows = [
        [
            row.what,
            row.reference_name,
            check.measured.show(check.unit),
            check.target,
            _verdict(check),
        ]
        for section in sections
        for row in section.rows
        for check in row.checks
    ]
    return table(["What", "Reference", "Measured", "Target", "Met"], rows)


def page(sections: list[Section], machine: str) -> str:
    """The whole of docs/performance.md."""
    parts = [
        "# Performance",
        "Written by `make bench` from what it measured. Each figure stands beside a reference of the "
        "same run, measured in turns with it; a figure is the median of its rounds, with the least "
        "and the greatest in brackets.",
        machine,
        summary(sections),
        *(_section(section) for section in sections),
    ]
    return "\n\n".join(parts) + "\n"


def missed(sections: list[Section]) -> list[str]:
    """The figures that did not reach their target."""
    return [
        f"{section.title}: {row.what}: {check.measured.show(check.unit)}, {check.target}"
        for section in sections
        for row in section.rows
        for check in row.checks
        if not check.met
    ]


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


def _verdict(check: Check) -> str:
    return "yes" if check.met else "**no**"
