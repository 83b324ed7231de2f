"""How often qz_play wakes up, and how soon it shows what a key does."""

from __future__ import annotations

import contextlib
import fcntl
import shutil
import signal
import subprocess
import threading
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Callable, Iterator

from . import report
from .bench import Bench
from .events import running_since
from .processes import PATIENCE, wake_ups
from .results import Series
from .terminal import Terminal

ROUNDS = 5
SETTLED_SECONDS = 2
MEASURED_SECONDS = 10
KEYS = 20
SECONDS_BETWEEN_KEYS = 0.11
"""The live line is drawn every 250 ms anyway: the keys come at different times before that."""

WAKE_UPS = f"""\
Wake-ups are the voluntary context switches of threads over {MEASURED_SECONDS} s, from {SETTLED_SECONDS} s after the start or the
pause on; the values are of {ROUNDS} rounds. The program's threads are the main thread and the worker (both have
the name `qz_play`). The library's are `audio`, which plays, and `system`; they are counted separately.

The targets: the program's threads wake up at most 6 times a second with a live line, and never without one.
Only a check every 5 s that the output still responds is allowed there: 0.2 a second. While paused no thread
of the process wakes up."""

KEY_TIMES = f"""\
The time is from the moment a volume key is written to a pseudo terminal until the live line there shows the
new volume. {KEYS} keys are pressed while a track plays, and {KEYS} on a stalled disk: after a skip to a file
that does not open, since this benchmark has a lease on it and does not end it. The worker waits for that
file meanwhile, and nothing plays.

The target: a stalled disk makes no difference."""


@dataclass(frozen=True)
class WakeUps:
    """Each second, of one round."""

    program: float
    library: float


def section(bench: Bench) -> str:
    """What docs/peers.md has of it."""
    parts = ["## qz_play alone", WAKE_UPS, _wake_up_table(bench), KEY_TIMES, _key_table(bench)]
    return "\n\n".join(parts)


def _wake_up_table(bench: Bench) -> str:
    rounds = [
        (_with_live_line(bench), _without_live_line(bench), _paused(bench)) for _ in range(ROUNDS)
    ]
    names = [
        ("playing with a live line", "at most 6"),
        ("playing without one", "0 (at most 0.2)"),
        ("paused", "0, all threads"),
    ]
    rows = [
        [
            name,
            Series(tuple(cost.program for cost in costs)).show(),
            target,
            Series(tuple(cost.library for cost in costs)).show(),
        ]
        for (name, target), costs in zip(names, zip(*rounds))
    ]
    headers = ["Wake-ups a second", "The program's threads", "Target", "The library's threads"]
    return report.table(headers, rows)


def _with_live_line(bench: Bench) -> WakeUps:
    with Terminal() as terminal, _playing(bench, terminal.program_end) as pid:
        return _wake_ups(pid, terminal.watch)


def _without_live_line(bench: Bench) -> WakeUps:
    with _playing(bench, subprocess.DEVNULL) as pid:
        return _wake_ups(pid, time.sleep)


def _paused(bench: Bench) -> WakeUps:
    with Terminal() as terminal, _playing(bench, terminal.program_end) as pid:
        terminal.press(" ")
        return _wake_ups(pid, terminal.watch)


def _wake_ups(pid: int, wait: Callable[[float], None]) -> WakeUps:
    wait(SETTLED_SECONDS)
    before, start = wake_ups(pid), time.monotonic()
    wait(MEASURED_SECONDS)
    counts, elapsed = wake_ups(pid) - before, time.monotonic() - start
    program = counts["qz_play"]
    return WakeUps(program / elapsed, (counts.total() - program) / elapsed)


def _key_table(bench: Bench) -> str:
    rows = [
        ["while a track plays", _while_playing(bench).show("ms")],
        ["on a stalled disk", _on_stalled_disk(bench).show("ms")],
    ]
    return report.table(["From a key to the live line", "Time"], rows)


def _while_playing(bench: Bench) -> Series:
    with Terminal() as terminal, _playing(bench, terminal.program_end):
        return _key_times(terminal)


def _on_stalled_disk(bench: Bench) -> Series:
    stalled = bench.work / "stalled.mp3"
    shutil.copy(bench.track(60), stalled)
    with _stalling(stalled) as somebody_waits, Terminal() as terminal:
        with _playing(bench, terminal.program_end, str(stalled)):
            terminal.press("n")
            if not somebody_waits.wait(PATIENCE):
                raise RuntimeError(f"nobody opens {stalled}")
            terminal.watch(SETTLED_SECONDS)
            return _key_times(terminal)


def _key_times(terminal: Terminal) -> Series:
    times = []
    for number in range(KEYS):
        terminal.watch(SECONDS_BETWEEN_KEYS)
        key, shown = ("-", " 95 %") if number % 2 == 0 else ("+", " 100 %")
        times.append(terminal.milliseconds_until(shown, key))
    return Series(tuple(times))


@contextlib.contextmanager
def _playing(bench: Bench, terminal: int, *further_tracks: str) -> Iterator[int]:
    """The process of a qz_play that plays."""
    command = [bench.program("qz_play"), bench.track(60), *further_tracks]
    environment = {**bench.paced_desktop(), "TERM": "xterm"}
    with running_since("first", command, environment, terminal) as (pid, _):
        yield pid


@contextlib.contextmanager
def _stalling(path: Path) -> Iterator[threading.Event]:
    """An open of the file waits, and sets the event. The kernel ends this after the seconds in
    /proc/sys/fs/lease-break-time, 45 by default."""
    somebody_waits = threading.Event()
    signal.signal(signal.SIGIO, lambda *_: somebody_waits.set())
    with path.open("r+b") as file:
        fcntl.fcntl(file, fcntl.F_SETLEASE, fcntl.F_WRLCK)
        yield somebody_waits
