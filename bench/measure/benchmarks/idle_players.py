"""What players cost that do nothing."""

from __future__ import annotations

import os
import time
from dataclasses import dataclass

from ..bench import Bench
from ..results import Check, Row, Section, Series, memory_row, paired, series_of
from ..processes import (
    Holdings,
    context_switches,
    holdings,
    next_line,
    running,
    send_line,
)

FEW, MANY = 1, 1000
ROUNDS = 25
SETTLE = 0.1
WATCHED, WATCHED_SECONDS = 100, 10
REFERENCE = "thread with a queue"


@dataclass(frozen=True)
class Cost:
    """Of all in a process, or of each. Times in µs."""

    creation: float
    held: Holdings
    destruction: float


def measure(bench: Bench) -> Section:
    players, threads = bench.program("idle_players"), bench.program("idle_threads")
    rounds = paired(ROUNDS, lambda: _cost_of_each(players), lambda: _cost_of_each(threads))
    memory, bare_memory = series_of(rounds, lambda cost: cost.held.memory)
    descriptors, bare_descriptors = series_of(rounds, lambda cost: cost.held.descriptors)
    creation, bare_creation = series_of(rounds, lambda cost: cost.creation)
    destruction, bare_destruction = series_of(rounds, lambda cost: cost.destruction)
    wake_ups = Series.of(_wake_ups(players))
    return Section(
        "Idle players",
        f"A process creates {MANY:,} players, waits, and destroys them. The reference does the same with "
        "threads of an application: a `std::thread` that waits on a condition variable for a `std::deque`. The "
        "value is the difference to a process with one. Destruction ends when no object and no thread is left. "
        "Memory is what `/proc/PID/smaps_rollup` counts as private; wake-ups are the context switches of all "
        f"threads of a process with {WATCHED} players in {WATCHED_SECONDS} s.",
        [
            memory_row(
                f"Memory of each idle player at {MANY:,}", memory, REFERENCE, bare_memory, 1.5, 16
            ),
            Row(
                "Descriptors of each idle player",
                "",
                descriptors,
                REFERENCE,
                bare_descriptors,
                (Check(descriptors, "at most", 0, "descriptors"),),
            ),
            _timed_row("Creation of a player", creation, bare_creation),
            _timed_row("Destruction of a player", destruction, bare_destruction),
            Row(
                f"Wake-ups of {WATCHED} idle players",
                "",
                wake_ups,
                checks=(Check(wake_ups, "at most", 0, "wake-ups"),),
            ),
        ],
    )


def _timed_row(what: str, ours: Series, bare: Series) -> Row:
    return Row(what, "µs", ours, REFERENCE, bare, (Check(ours.over(bare), "at most", 1.5),))


def _cost_of_each(program: str) -> Cost:
    few, many = _cost_of_all(program, FEW), _cost_of_all(program, MANY)
    more = MANY - FEW
    return Cost(
        (many.creation - few.creation) / more,
        many.held.each_further(few.held, more),
        (many.destruction - few.destruction) / more,
    )


def _cost_of_all(program: str, count: int) -> Cost:
    with running([program, str(count)], dict(os.environ)) as process:
        creation = float(next_line(process)) * 1e6
        time.sleep(SETTLE)
        held = holdings(process.pid)
        send_line(process)
        return Cost(creation, held, float(next_line(process)) * 1e6)


def _wake_ups(program: str) -> int:
    """How often a thread of the process is given a processor while all players are idle."""
    with running([program, str(WATCHED)], dict(os.environ)) as process:
        next_line(process)
        time.sleep(SETTLE)
        before = context_switches(process.pid)
        time.sleep(WATCHED_SECONDS)
        return context_switches(process.pid) - before
