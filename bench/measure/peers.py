"""usage: python3 -m measure.peers BUILD DOCS

Plays one track with several command-line players into the device of the build tree BUILD, measures qz_play
alone, too, and writes peers.md into the folder DOCS.
"""

from __future__ import annotations

import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable

from . import machine, qz_play_alone, report
from .bench import Bench
from .events import running_since, times_between
from .results import Series, series_of

PLAYERS = {
    "qz_play": ["qz_play"],
    "mpg123": ["mpg123", "-q", "-o", "alsa"],
    "SoX": ["play", "-q"],
    "mpv": ["mpv", "--no-config", "--no-video", "--really-quiet", "--ao=alsa"],
    "GStreamer": ["gst-play-1.0", "-q", "--no-interactive", "--audiosink=alsasink"],
}
PACKAGES = ["mpg123", "sox", "mpv", "libgstreamer1.0-0", "gstreamer1.0-tools"]
REFERENCE = "mpg123"
ROUNDS = 5
SETTLED_SECONDS = 2
MEASURED_SECONDS = 10

TEXT = f"""\
Written by `make bench-peers` from what it measured: command-line players play the same track of 128 kbit/s
into the same ALSA device, which takes sound at its real rate. Measured are the time from exec to the first
frames; the processor time of all threads over {MEASURED_SECONDS} s, from {SETTLED_SECONDS} s after the start on; then
the memory (with its share of what other processes use) and the threads. The players take turns, in an order
that alternates, and are compared with {REFERENCE} within each round: by the difference of the start times,
and by the quotient of the processor times. A value is the median of {ROUNDS} rounds, with the least and the greatest in
brackets.

The targets of qz_play: it starts at most 3.7 ms later than {REFERENCE}, which is 2 ms more than before it had an
event loop; and it takes at most 1.1 times the processor time of {REFERENCE}. The memory has no target."""


@dataclass(frozen=True)
class Cost:
    """What one round of one player has taken."""

    start_ms: float
    busy_percent: float
    memory_mib: float
    threads: float


def main() -> None:
    build, docs = (Path(argument).resolve() for argument in sys.argv[1:])
    with tempfile.TemporaryDirectory() as work:
        bench = Bench(build, Path(work))
        measured = "\n\n".join([_table(_measure(bench)), qz_play_alone.section(bench)])
    described = machine.describe(build, PACKAGES)
    page = ["# Compared with other players", TEXT, described, measured]
    (docs / "peers.md").write_text("\n\n".join(page) + "\n")
    print(measured)


def _measure(bench: Bench) -> dict[str, list[Cost]]:
    costs: dict[str, list[Cost]] = {name: [] for name in PLAYERS}
    for number in range(ROUNDS):
        for name in list(PLAYERS)[:: 1 if number % 2 == 0 else -1]:
            costs[name].append(_play(bench, PLAYERS[name]))
    return costs


def _play(bench: Bench, command: list[str]) -> Cost:
    program = bench.program("qz_play") if command[0] == "qz_play" else command[0]
    launched = [bench.program("log_exec"), program, *command[1:], bench.track(60)]
    environment = {**bench.paced_desktop(), "AUDIODRIVER": "alsa"}  # SoX goes by this one
    with running_since("first", launched, environment) as (pid, events):
        time.sleep(SETTLED_SECONDS)
        busy, start = _busy_seconds(pid), time.monotonic()
        time.sleep(MEASURED_SECONDS)
        busy, elapsed = _busy_seconds(pid) - busy, time.monotonic() - start
        return Cost(
            times_between("exec", "first", events).median,
            100 * busy / elapsed,
            _proportional_kib(pid) / 1024,
            len(list(Path(f"/proc/{pid}/task").iterdir())),
        )


def _busy_seconds(pid: int) -> float:
    """What the threads that live have had of the processors."""
    tasks = Path(f"/proc/{pid}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks) / 1e9


def _proportional_kib(pid: int) -> int:
    lines = Path(f"/proc/{pid}/smaps_rollup").read_text().splitlines()
    return next(int(line.split()[1]) for line in lines if line.startswith("Pss:"))


def _table(costs: dict[str, list[Cost]]) -> str:
    headers = [
        "Player",
        "Start",
        f"Later than {REFERENCE}",
        "Processor",
        f"Times {REFERENCE}'s",
        "Memory",
        "Threads",
    ]
    return report.table(headers, [_cells(name, costs) for name in costs])


def _cells(name: str, costs: dict[str, list[Cost]]) -> list[str]:
    def series(value: Callable[[Cost], float]) -> tuple[Series, Series]:
        return series_of(list(zip(costs[name], costs[REFERENCE])), value)

    start, reference_start = series(lambda cost: cost.start_ms)
    busy, reference_busy = series(lambda cost: cost.busy_percent)
    memory, _ = series(lambda cost: cost.memory_mib)
    threads, _ = series(lambda cost: cost.threads)
    return [
        name,
        start.show("ms"),
        start.minus(reference_start).show("ms"),
        busy.show("%"),
        busy.over(reference_busy).show(),
        memory.show("MiB"),
        threads.show(),
    ]


main()
