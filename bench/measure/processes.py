"""Running programs, and what /proc reports of them."""

from __future__ import annotations

import contextlib
import os
import signal
import subprocess
from collections import Counter
from dataclasses import dataclass
from pathlib import Path
from typing import Iterator

PATIENCE = 60


@contextlib.contextmanager
def running(command: list[str], environment: dict[str, str]) -> Iterator[subprocess.Popen[str]]:
    """A program with pipes for its input and output, killed at the end if it still runs."""
    process = subprocess.Popen(
        command,
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.DEVNULL,
        text=True,
    )
    with process:
        try:
            yield process
        finally:
            process.kill()


def next_line(process: subprocess.Popen[str]) -> str:
    """The next line that the program writes."""
    assert process.stdout is not None
    line = process.stdout.readline()
    if not line:
        raise RuntimeError(f"{process.args!r} ended without a word")
    return line.strip()


def send_line(process: subprocess.Popen[str]) -> None:
    """Lets a program go on that waits for a line."""
    assert process.stdin is not None
    process.stdin.write("\n")
    process.stdin.flush()


def finish(process: subprocess.Popen[str]) -> None:
    """Ends the program's input and waits until it has ended, too, without a failure."""
    process.communicate(timeout=PATIENCE)
    if process.returncode != 0:
        raise RuntimeError(f"{process.args!r} failed")


def cpu_seconds(processes: list[subprocess.Popen[bytes]]) -> float:
    """Waits for the programs and returns the user and system time that they have taken together."""
    total = 0.0
    for process in processes:
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        if process.returncode != 0:
            raise RuntimeError(f"{process.args!r} failed")
        total += usage.ru_utime + usage.ru_stime
    return total


@dataclass(frozen=True)
class Holdings:
    """What a process has, or what each of some things in it has: memory in KiB that is shared with no
    other process, threads and descriptors."""

    memory: float
    threads: float
    descriptors: float

    def each_further(self, few: Holdings, more: int) -> Holdings:
        """What each of `more` things holds that this process has beyond another with `few`."""
        return Holdings(
            (self.memory - few.memory) / more,
            (self.threads - few.threads) / more,
            (self.descriptors - few.descriptors) / more,
        )


def holdings(pid: int) -> Holdings:
    """Looks at a child process, which is halted meanwhile."""
    os.kill(pid, signal.SIGSTOP)
    try:
        os.waitid(os.P_PID, pid, os.WSTOPPED)  # until its last thread has halted
        memory = _sum(_read(pid, "smaps_rollup"), "Private_Clean:", "Private_Dirty:")
        return Holdings(memory, len(_entries(pid, "task")), len(_entries(pid, "fd")))
    finally:
        os.kill(pid, signal.SIGCONT)


def resident_memory(pid: int) -> float:
    """The KiB of all pages in memory."""
    return _sum(_read(pid, "smaps_rollup"), "Rss:")


def bytes_read(pid: int) -> int:
    """What the process has read from files."""
    return int(_sum(_read(pid, "io"), "rchar:"))


def context_switches(pid: int) -> int:
    """How often the threads of a process have been given a processor up to now."""
    names = ("voluntary_ctxt_switches:", "nonvoluntary_ctxt_switches:")
    return sum(int(_sum((task / "status").read_text(), *names)) for task in _entries(pid, "task"))


def wake_ups(pid: int) -> Counter[str]:
    """How often the threads of a process have waited up to now, by the names of the threads."""
    counts: Counter[str] = Counter()
    for task in _entries(pid, "task"):
        name = (task / "comm").read_text().strip()
        counts[name] += int(_sum((task / "status").read_text(), "voluntary_ctxt_switches:"))
    return counts


def _read(pid: int, name: str) -> str:
    return Path(f"/proc/{pid}/{name}").read_text()


def _entries(pid: int, name: str) -> list[Path]:
    return list(Path(f"/proc/{pid}/{name}").iterdir())


def _sum(text: str, *names: str) -> float:
    """The sum of the numbers that follow `names` at the beginning of a line."""
    words = (line.split() for line in text.splitlines())
    return float(sum(int(line[1]) for line in words if line and line[0] in names))
