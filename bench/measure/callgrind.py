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
        subprocess.run(
            ["valgrind", "--quiet", "--tool=callgrind", f"--callgrind-out-file={out}", *command],
            env=environment,
            stdout=subprocess.DEVNULL,
            check=True,
            timeout=600,
        )
        total = re.search(r"^(?:summary|totals): (\d+)", out.read_text(), re.MULTILINE)
    if total is None:
        raise RuntimeError(f"callgrind counted nothing of {command[0]}")
    return int(total[1])
