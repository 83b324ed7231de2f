"""Times of events that programs and the paced device write into one file, on one clock."""

from __future__ import annotations

import contextlib
import subprocess
from dataclasses import dataclass
from pathlib import Path
from typing import IO, Iterator

from .results import Series


@dataclass(frozen=True)
class Event:
    """What happened, and when, in nanoseconds."""

    what: str
    at: int


def events_of(command: list[str], environment: dict[str, str]) -> list[Event]:
    """Runs `command` on the paced device and returns the events meanwhile, in order of time."""
    log = _new_log(environment)
    subprocess.run(command, env=environment, check=True, timeout=120)
    return _events(log.read_text())


def events_until(what: str, command: list[str], environment: dict[str, str]) -> list[Event]:
    """The same, but ends `command` as soon as `what` is logged."""
    with running_since(what, command, environment) as (_, logged):
        return logged


@contextlib.contextmanager
def running_since(
    what: str,
    command: list[str],
    environment: dict[str, str],
    terminal: int = subprocess.DEVNULL,
) -> Iterator[tuple[int, list[Event]]]:
    """A program that has logged `what`, and is ended afterwards: its process and the events so far.

    `terminal` is its standard input and its standard error.
    """
    log = _new_log(environment)
    with subprocess.Popen(
        command, env=environment, stdin=terminal, stdout=subprocess.DEVNULL, stderr=terminal
    ) as process, log.open() as stream:
        logged = _read_until(what, stream, process)
        try:
            yield process.pid, _events(logged)
        finally:
            process.terminate()


def times_between(first: str, then: str, events: list[Event]) -> Series:
    """Milliseconds from each event `first` to the next event `then`."""
    waiting = [event for event in events if event.what in (first, then)]
    pairs = zip(waiting, waiting[1:])
    gaps = [(b.at - a.at) / 1e6 for a, b in pairs if (a.what, b.what) == (first, then)]
    if len(gaps) != sum(event.what == first for event in events):
        raise RuntimeError(f"not every {first} was followed by a {then}")
    return Series(tuple(gaps))


def _new_log(environment: dict[str, str]) -> Path:
    log = Path(environment["BENCH_EVENTS"])
    log.write_text("")
    return log


def _read_until(what: str, stream: IO[str], process: subprocess.Popen[bytes]) -> str:
    logged = ""
    while f"{what} " not in logged:
        try:
            process.wait(0.01)
        except subprocess.TimeoutExpired:
            logged += stream.read()
        else:
            raise RuntimeError(f"{process.args!r} has ended before {what}")
    return logged


def _events(logged: str) -> list[Event]:
    words = [line.split() for line in logged.splitlines()]
    return sorted((Event(what, int(at)) for what, at in words), key=lambda event: event.at)
