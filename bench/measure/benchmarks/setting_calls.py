"""What the calls cost that act on the caller's thread, and whether players wait for each other."""

from __future__ import annotations

import subprocess
from dataclasses import dataclass

from ..bench import Bench
from ..callgrind import dumped_instructions
from ..results import Check, Row, Section, Series, Table, series_of
from ..google_benchmark import paired_entries

ROUNDS = 15
SECONDS = 0.03
COUNTED_CALLS = 1000

WAYS = {
    "alone": "one thread",
    "shared": "8 threads on one player",
    "own": "8 threads on a player each",
}

TEXT = f"""\
These calls do their work on the caller's thread. The reference is what an application would write to store
its settings: a `std::map<std::string, boost::any>` under a `std::mutex`. Google Benchmark times them in
{ROUNDS} rounds. With 8 threads a value is the whole time divided by the calls of all threads.

The difference has two causes: each access of a property is reported to the platform with its text, its name
and its source position, as strings; and values are `boost::any`, so that a read copies one and a write
creates one. The last table counts the instructions on the caller's thread with callgrind. Requests are only
counted, since they post a task and return.

Players do not wait for each other: no mutex that one of these calls or requests locks is locked for another
player too, except that of the module path, of which there is one per process. A program that records each
`pthread_mutex_lock` checks this. Threads on one player share its mutex."""

Times = dict[tuple[str, str], tuple[Series, Series]]
"""By call and way: ours and by hand."""


@dataclass(frozen=True)
class Locks:
    """How many mutexes a call locks, and how many of them for another player too."""

    locked: int
    common: int


def measure(bench: Bench) -> Section:
    locks = _locks(bench)
    counted = _counted_instructions(bench)
    calls = [call for call in locks if _by_hand(call) in counted]
    times = {(call, way): _nanoseconds(bench, call, way) for call in calls for way in WAYS}
    return Section(
        "Queries, settings and callbacks",
        TEXT,
        [
            _gain(times, calls, "own"),
            _gain(times, calls, "shared"),
            _common_mutexes(calls, locks),
        ],
        [*(_times(times, calls, way) for way in WAYS), _instructions(counted, locks)],
    )


def _nanoseconds(bench: Bench, call: str, way: str) -> tuple[Series, Series]:
    """The real time of a call, ours and by hand."""
    names = (f"{call}/{whose}/{way}" for whose in ("ours", "by_hand"))
    rounds = paired_entries(bench.program("setting_call_times"), *names, ROUNDS, SECONDS)
    return series_of(rounds, lambda entry: entry["real_time"])


def _gain(times: Times, calls: list[str], way: str) -> Row:
    """How many times the calls of one thread are done in the same time.

    Of all calls together: each has few rounds for a quotient of quotients.
    """

    def gain(whose: int) -> Series:
        return Series.joined(
            times[call, "alone"][whose].over(times[call, way][whose]) for call in calls
        )

    what = f"Calls in the same time: {WAYS[way]}, over one thread; the rounds of all calls"
    return Row(what, "times", gain(0), "by hand", gain(1))


def _common_mutexes(calls: list[str], locks: dict[str, Locks]) -> Row:
    common = Series.of(sum(locks[call].common for call in calls))
    return Row(
        "Mutexes that these calls lock for two players alike",
        "mutexes",
        common,
        checks=(Check(common, "at most", 0, "mutexes"),),
    )


def _times(times: Times, calls: list[str], way: str) -> Table:
    def row(call: str) -> list[str]:
        ours, by_hand = times[call, way]
        return [f"`{call}`", ours.show("ns"), by_hand.show("ns"), ours.over(by_hand).show("times")]

    headers = [f"A call, {WAYS[way]}", "Ours", "By hand", "Ours over by hand"]
    return Table(headers, [row(call) for call in calls])


def _locks(bench: Bench) -> dict[str, Locks]:
    run = subprocess.run(
        [bench.program("setting_call_locks")],
        env=bench.null_device(),
        capture_output=True,
        text=True,
        check=True,
        timeout=60,
    )
    lines = (line.split() for line in run.stdout.splitlines())
    return {call: Locks(int(locked), int(common)) for call, locked, common in lines}


def _counted_instructions(bench: Bench) -> dict[str, int]:
    return dumped_instructions(
        [bench.program("setting_call_instructions"), str(COUNTED_CALLS)], bench.null_device()
    )


def _by_hand(call: str) -> str:
    return f"{call} by hand"


def _instructions(counted: dict[str, int], locks: dict[str, Locks]) -> Table:
    def show(name: str) -> str:
        return f"{counted[name] / COUNTED_CALLS:,.0f}" if name in counted else ""

    def row(call: str, of_call: Locks) -> list[str]:
        return [
            f"`{call}`",
            show(call),
            show(_by_hand(call)),
            str(of_call.locked),
            str(of_call.common),
        ]

    return Table(
        ["A call", "Instructions", "By hand", "Mutexes locked", "For another player too"],
        [
            *(row(call, of_call) for call, of_call in locks.items()),
            ["The report of a status query alone", show("qz_assertion_faild"), "", "", ""],
        ],
    )
