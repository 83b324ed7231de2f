"""Programs of Google Benchmark."""

from __future__ import annotations

import json
import re
import subprocess
from typing import Callable

from .results import paired

Entry = dict[str, float]
"""What a program reported of one benchmark: its times and counters by name."""


def paired_entries(
    program: str, ours: str, reference: str, rounds: int, seconds: float
) -> list[tuple[Entry, Entry]]:
    """Runs the two benchmarks of `program`, of about `seconds` each, in paired rounds."""

    def entry(name: str) -> Callable[[], Entry]:
        return lambda: _run(program, name, seconds)

    return paired(rounds, entry(ours), entry(reference))


def _run(program: str, name: str, seconds: float) -> Entry:
    """Runs the benchmark `name` in a process of its own; the name may end before what Google Benchmark
    appends to it."""
    ran = subprocess.run(
        [
            program,
            "--benchmark_format=json",
            f"--benchmark_filter=^{re.escape(name)}(/.*)?$",
            f"--benchmark_min_time={seconds}",
        ],
        capture_output=True,
        check=True,
        timeout=600,
    )
    (entry,) = json.loads(ran.stdout)["benchmarks"]
    if entry.get("error_occurred"):
        raise RuntimeError(f"{name}: {entry['error_message']}")
    return entry
