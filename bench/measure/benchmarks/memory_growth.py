"""Whether memory grows while a track plays on and on."""

from __future__ import annotations

import subprocess

from ..bench import Bench
from ..results import Check, Plot, Row, Section, Series
from ..processes import bytes_read, finish, resident_memory, running

SECONDS = 3600
BYTES_A_MINUTE = 60 * 128_000 // 8
MINUTES = [1, *range(10, 181, 10)]
ROUNDS = 7
TOLERANCE = 16
"""KiB: a few pages, of the code of the libraries among others, are touched late."""


def measure(bench: Bench) -> Section:
    rounds = [_play(bench) for _ in range(ROUNDS)]
    line = [(minute, Series(values)) for minute, values in zip(MINUTES, zip(*rounds))]
    (_, first), (_, last) = line[0], line[-1]
    check = Check(last.minus(first), "at most", TOLERANCE, "KiB more")
    return Section(
        "Memory in the long run",
        f"A player repeats a track of {SECONDS // 60} minutes into ALSA's null device, as fast as it "
        "can, and fades down and up all the time, a step every millisecond. Memory is what is resident. The "
        f"target allows for {TOLERANCE // 4} pages that are touched late; one lost byte per block would be "
        "400 KiB.",
        [
            Row(
                f"Memory after {MINUTES[-1] // 60} hours of audio",
                "KiB",
                last,
                "after the first minute",
                first,
                (check,),
            )
        ],
        plots=[
            Plot(
                "long_track",
                "Resident memory of a process with one player",
                "minutes of audio",
                "KiB",
                {"player": line},
            )
        ],
    )


def _play(bench: Bench) -> list[float]:
    """Memory in KiB at each of the minutes."""
    command = [bench.program("long_fading_player"), bench.track(SECONDS)]
    with running(command, bench.null_device()) as process:
        memory = [_memory_at(minute, process) for minute in MINUTES]
        finish(process)
        return memory


def _memory_at(minute: int, process: subprocess.Popen[str]) -> float:
    while bytes_read(process.pid) < minute * BYTES_A_MINUTE:
        if process.poll() is not None:
            raise RuntimeError(f"{process.args!r} has ended")
    return resident_memory(process.pid)
