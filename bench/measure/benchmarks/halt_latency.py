"""How soon a pause and a stop take effect."""

from __future__ import annotations

import random

from ..bench import Bench
from ..events import Event, events_of, times_between
from ..results import Check, Plot, Row, Section, Series

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
        "A track plays into the device of the section on the start, whose buffer of 4096 frames is "
        "freed in periods of 1024, 23 ms at 44.1 kHz. At a random moment a pause or a stop is asked "
        "for; noted are the moments of the call, of the callback and of the device's silence. The "
        "bare loop looks at a flag between two blocks, and then pauses or stops the output; it is told "
        f"when its own thread has done so. Each of {RUNS} rounds has {CALLS_A_RUN} calls, at the same "
        "moments for both. What the library needs more is the difference of the two medians, and of the "
        "two 99th percentiles, over all calls: both wait for the device first, until it has room for "
        "the block at hand, so that a single call may come a whole period earlier or later than its "
        "counterpart.",
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

    def both() -> tuple[list[Event], list[Event]]:
        last = SETTLED_MS + CYCLE_MS
        delays = [f"{moments.uniform(SETTLED_MS, last):.3f}" for _ in range(CALLS_A_RUN)]
        return run("player_halt_latency", delays), run("bare_halt_latency", delays)

    return [both() for _ in range(RUNS)]


def _both(end: str, rounds: Rounds) -> tuple[Series, Series]:
    ours, bare = (
        Series.joined(times_between("call", end, events) for events in runs)
        for runs in zip(*rounds)
    )
    return ours, bare


def _rows(what: str, rounds: Rounds) -> list[Row]:
    return [
        _row(f"{what.capitalize()} to the callback", *_both("told", rounds)),
        _row(f"{what.capitalize()} to silence", *_both("silent", rounds)),
    ]


def _row(what: str, ours: Series, bare: Series) -> Row:
    later = Series.of(ours.median - bare.median)
    latest = Series.of(ours.percentile(99) - bare.percentile(99))
    checks = (
        Check(later, "at most", 0.5, "ms more"),
        Check(latest, "at most", 2.0, "ms more at the 99th percentile"),
    )
    return Row(what, "ms", ours, "bare loop", bare, checks)


def _plot(what: str, rounds: Rounds) -> Plot:
    ours, bare = _both("told", rounds)

    def line(times: Series) -> list[tuple[float, Series]]:
        return [(percent, Series.of(times.percentile(percent))) for percent in PERCENTS]

    return Plot(
        f"halt_{what}",
        f"{what.capitalize()} to the callback",
        "Share of the calls, in percent",
        "Milliseconds at most",
        {"library": line(ours), "bare loop": line(bare)},
    )
