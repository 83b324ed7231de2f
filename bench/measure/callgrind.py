"""Instructions, as valgrind's callgrind counts them: the same on every run and machine load."""

from __future__ import annotations

import re
import subprocess
import tempfile
from pathlib import Path


def instructions(command: list[str], environment: dict[str, str]) -> int:
    """Runs `command` and returns how many instructions all its threads executed."""
    with tempfile.TemporaryDirectory() as folder:
        out = Path(folder) / "callgrind.out"
        _run([f"--callgrind-out-file={out}", *command], environment)
        return _total(out.read_text())


def dumped_instructions(command: list[str], environment: dict[str, str]) -> dict[str, int]:
    """Runs `command`, which has callgrind dump its counts several times, each time under a name.

    Returns by these names how many instructions the main thread executed.
    """
    with tempfile.TemporaryDirectory() as folder:
        out = Path(folder) / "callgrind.out"
        options = [f"--callgrind-out-file={out}", "--separate-threads=yes"]
        _run([*options, *command], environment)
        dumps = [dump.read_text() for dump in Path(folder).glob("callgrind.out.*-01")]
    return {_find(r"^desc: Trigger: Client Request: (.+)$", dump): _total(dump) for dump in dumps}


def _run(arguments: list[str], environment: dict[str, str]) -> None:
    subprocess.run(
        ["valgrind", "--quiet", "--tool=callgrind", *arguments],
        env=environment,
        stdout=subprocess.DEVNULL,
        check=True,
        timeout=600,
    )


def _total(dump: str) -> int:
    return int(_find(r"^(?:summary|totals): (\d+)", dump))


def _find(pattern: str, dump: str) -> str:
    found = re.search(pattern, dump, re.MULTILINE)
    if found is None:
        raise RuntimeError(f"callgrind wrote nothing like {pattern}")
    return found[1]
