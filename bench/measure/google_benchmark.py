"""Programs of Google Benchmark."""

from __future__ import annotations

import json
import subprocess
from dataclasses import dataclass

from .results import Series


@dataclass(frozen=True)
class Results:
    """What a program reported of each of its benchmarks in each round."""

    entries: list[dict]

    @property
    def names(self) -> list[str]:
        return list(dict.fromkeys(entry["run_name"] for entry in self.entries))

    def series(self, name: str, figure: str) -> Series:
        """A figure, or a counter, of the benchmark `name`."""
        rounds = [entry for entry in self.entries if entry["run_name"] == name]
        rounds.sort(key=lambda entry: entry["repetition_index"])
        return Series(tuple(entry[figure] for entry in rounds))


def run(program: str, rounds: int, seconds: float) -> Results:
    """Runs all benchmarks of `program`, of about `seconds` each, `rounds` times in random order."""
    ran = subprocess.run(
        [
            program,
            "--benchmark_format=json",
            "--benchmark_enable_random_interleaving=true",
            f"--benchmark_repetitions={rounds}",
            f"--benchmark_min_time={seconds}",
        ],
        capture_output=True,
        check=True,
        timeout=600,
    )
    entries = json.loads(ran.stdout)["benchmarks"]
    for entry in entries:
        if entry.get("error_occurred"):
            raise RuntimeError(f"{entry['name']}: {entry['error_message']}")
    return Results([entry for entry in entries if entry["run_type"] == "iteration"])


def nanoseconds(program: str, rounds: int, seconds: float) -> dict[str, Series]:
    """The same for the real time of an iteration alone, by the benchmark's name without what Google
    Benchmark adds to it."""
    results = run(program, rounds, seconds)
    return {
        name.partition("/real_time")[0]: results.series(name, "real_time") for name in results.names
    }
