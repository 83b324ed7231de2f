"""How soon a pause and a stop take effect."""

from __future__ import annotations

import random
from typing import Iterator

from ..bench import Bench
from ..events import Event, events_of, times_between
from ..results import Check, Plot, Row, Section, Series, paired, series_of

RUNS = 15
CALLS_A_RUN = 20
SETTLED_MS = 50  # the device's buffer is full by then
CYCLE_MS = 209  # after which blocks of 1152 frames and periods of 1024 meet again
PERCENTS = (1, 5, 10, 25, 50, 75, 90, 95, 99)


def measure(bench: Bench) -> Section:
    track = bench.track(60)
    rounds = {what: _rounds(bench, what, track) for what in ("pause", "stop")}
    return Section(
        "Pause and stop",
        "The device is that of the section on the start, with a buffer of 4096 frames in periods of 1024 (23 ms "
        "at 44.1 kHz). Measured is the time from a call at a random moment to the callback, and to the device's "
        "silence. The bare loop checks a flag between two blocks, and then pauses or stops the output; its "
        f"callback is the moment when its own thread has done so. Each of {RUNS} rounds has {CALLS_A_RUN} calls, "
        "at the same moments for both. The table has the median of the differences of all pairs, and the "
        "difference of the slowest calls of a round. Both first wait until the device has room for a block, so "
        "that a single call may differ by a period.",
        [row for what in rounds for row in _rows(what, rounds[what])],
        plots=[_plot(what, rounds[what]) for what in rounds],
    )


Rounds = list[tuple[list[Event], list[Event]]]


def _rounds(bench: Bench, what: str, track: str) -> Rounds:
    """The events of the library and of the bare loop, in turns."""
    environment = bench.paced_device()
    moments = random.Random(what)

    def run(program: str, delays: list[str]) -> list[Event]:
        return events_of([bench.program(program), what, track, *delays], environment)

    def delays() -> Iterator[list[str]]:
        """Each twice: for ours and for the reference."""
        while True:
            last = SETTLED_MS + CYCLE_MS
            drawn = [f"{moments.uniform(SETTLED_MS, last):.3f}" for _ in range(CALLS_A_RUN)]
            yield drawn
            yield drawn

    of_run = delays()
    return paired(
        RUNS,
        lambda: run("player_halt_latency", next(of_run)),
        lambda: run("bare_halt_latency", next(of_run)),
    )


def _times(end: str, rounds: Rounds) -> list[tuple[Series, Series]]:
    return [
        (times_between("call", end, ours), times_between("call", end, bare))
        for ours, bare in rounds
    ]


def _rows(what: str, rounds: Rounds) -> list[Row]:
    return [
        _row(f"{what.capitalize()} to the callback", _times("callback", rounds)),
        _row(f"{what.capitalize()} to silence", _times("silent", rounds)),
    ]


def _row(what: str, times: list[tuple[Series, Series]]) -> Row:
    ours, bare = (Series.joined(runs) for runs in zip(*times))
    slowest, bare_slowest = series_of(times, lambda run: max(run.values))
    checks = (
        Check(ours.minus(bare), "at most", 0.5, "ms more"),
        Check(slowest.minus(bare_slowest), "at most", 2.0, "ms more in the slowest call"),
    )
    return Row(what, "ms", ours, "bare loop", bare, checks)


def _plot(what: str, rounds: Rounds) -> Plot:
    ours, bare = (Series.joined(runs) for runs in zip(*_times("callback", rounds)))

    def line(times: Series) -> list[tuple[float, Series]]:
        return [(percent, Series.of(times.percentile(percent))) for percent in PERCENTS]

    return Plot(
        f"halt_{what}",
        f"{what.capitalize()} to the callback",
        "Share of the calls, in percent",
        "Milliseconds at most",
        {"library": line(ours), "bare loop": line(bare)},
    )
