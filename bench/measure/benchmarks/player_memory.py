"""What each further player that plays holds."""

from __future__ import annotations

import time

from ..bench import Bench
from ..results import Check, Row, Section, memory_row, paired, series_of
from ..processes import Holdings, holdings, next_line, running

FEW, MANY = 1, 32
SECONDS = 3600
SETTLE = 1.0
ROUNDS = 7


def measure(bench: Bench) -> Section:
    environment = bench.null_device()
    track = bench.track(SECONDS)

    def playing(program: str, count: int) -> Holdings:
        with running([bench.program(program), str(count), track], environment) as process:
            next_line(process)
            time.sleep(SETTLE)
            return holdings(process.pid)

    def each(program: str) -> Holdings:
        few, many = playing(program, FEW), playing(program, MANY)
        return many.each_further(few, MANY - FEW)

    rounds = paired(ROUNDS, lambda: each("parallel_players"), lambda: each("parallel_bare_loops"))
    memory, bare_memory = series_of(rounds, lambda held: held.memory)
    threads, bare_threads = series_of(rounds, lambda held: held.threads)
    descriptors, bare_descriptors = series_of(rounds, lambda held: held.descriptors)
    return Section(
        "Memory of a playing player",
        f"{FEW} and {MANY} players play a track of an hour into ALSA's null device; the reference "
        "is as many threads with a bare loop each. The difference of the two processes gives what each "
        "further player holds. Memory is what `/proc/PID/smaps_rollup` counts as private.",
        [
            memory_row(
                f"Memory of each player, {MANY} playing", memory, "bare loop", bare_memory, 2, 160
            ),
            Row(
                "Threads of each player",
                "",
                threads,
                "bare loop",
                bare_threads,
                (Check(threads, "at most", 1, "thread"),),
            ),
            Row(
                "Descriptors of each player",
                "",
                descriptors,
                "bare loop",
                bare_descriptors,
                (Check(descriptors.minus(bare_descriptors), "at most", 0, "more"),),
            ),
        ],
    )
