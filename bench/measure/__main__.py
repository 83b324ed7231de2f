"""usage: python3 -m measure BUILD [--only TOPIC...] [--write DOCS] [--strict]

Measures the topics (all of them by default) with the programs in the build tree BUILD and prints a table;
with --write also writes performance.md and its plots into the folder DOCS. With --strict a missed target
fails.
"""

from __future__ import annotations

import argparse
import importlib
import sys
import tempfile
from pathlib import Path

from . import report
from .bench import Bench
from .figures import Section

TOPICS = [
    "instructions",
    "realtime",
    "start",
    "halt",
    "memory",
    "idle",
    "scaling",
    "long_track",
    "queries",
    "service",
]


def main() -> int:
    arguments = _arguments()
    with tempfile.TemporaryDirectory() as work:
        bench = Bench(arguments.build.resolve(), Path(work))
        sections = [_measure(topic, bench) for topic in arguments.only]
    print(report.summary(sections))
    if arguments.write:
        _write(sections, arguments.write, bench.build)
    missed = report.missed(sections)
    for line in missed:
        print(f"missed: {line}", file=sys.stderr)
    return 1 if missed and arguments.strict else 0


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="measure", description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("--only", nargs="+", choices=TOPICS, default=TOPICS)
    parser.add_argument("--write", type=Path)
    parser.add_argument("--strict", action="store_true")
    return parser.parse_args()


def _measure(topic: str, bench: Bench) -> Section:
    print(f"measuring: {topic}", file=sys.stderr, flush=True)
    return importlib.import_module(f".topics.{topic}", __package__).measure(bench)


def _write(sections: list[Section], docs: Path, build: Path) -> None:
    from . import machine, plots  # matplotlib is needed here only

    for section in sections:
        for plot in section.plots:
            plots.write(plot, docs / "performance")
    (docs / "performance.md").write_text(report.page(sections, machine.describe(build)))


sys.exit(main())
