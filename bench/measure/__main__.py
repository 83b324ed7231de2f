"""usage: python3 -m measure BUILD [--only BENCHMARK...] [--write DOCS] [--strict]

Runs the benchmarks (all of them by default) with the programs in the build tree BUILD and prints a table;
with --write also writes performance.md and its plots into the folder DOCS. With --strict a target that is
not met fails.
"""

from __future__ import annotations

import argparse
import importlib
import sys
import tempfile
from pathlib import Path

from . import report
from .bench import Bench
from .results import Section

BENCHMARKS = [
    "instructions",
    "realtime_cpu",
    "start_latency",
    "halt_latency",
    "player_memory",
    "idle_players",
    "parallel_players",
    "memory_growth",
    "setting_calls",
    "thread_service",
]


def main() -> int:
    arguments = _arguments()
    with tempfile.TemporaryDirectory() as work:
        bench = Bench(arguments.build.resolve(), Path(work))
        sections = [_measure(name, bench) for name in arguments.only]
    print(report.summary(sections))
    if arguments.write:
        _write(sections, arguments.write, bench.build)
    unmet = report.unmet(sections)
    for line in unmet:
        print(f"not met: {line}", file=sys.stderr)
    return 1 if unmet and arguments.strict else 0


def _arguments() -> argparse.Namespace:
    parser = argparse.ArgumentParser(prog="measure", description=__doc__)
    parser.add_argument("build", type=Path)
    parser.add_argument("--only", nargs="+", choices=BENCHMARKS, default=BENCHMARKS)
    parser.add_argument("--write", type=Path)
    parser.add_argument("--strict", action="store_true")
    return parser.parse_args()


def _measure(name: str, bench: Bench) -> Section:
    print(f"measuring: {name}", file=sys.stderr, flush=True)
    return importlib.import_module(f".benchmarks.{name}", __package__).measure(bench)


def _write(sections: list[Section], docs: Path, build: Path) -> None:
    from . import machine, plots  # matplotlib is needed here only

    for section in sections:
        for plot in section.plots:
            plots.write(plot, docs / "performance")
    (docs / "performance.md").write_text(report.page(sections, machine.describe(build)))


sys.exit(main())
