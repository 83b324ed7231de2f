"""Programs of Google Benchmark."""

from __future__ import annotations

import json
import subprocess
from collections import defaultdict

from .figures import Series


def nanoseconds(program: str, rounds: int, seconds: float) -> dict[str, Series]:
    """Runs all benchmarks of `program`, of about `seconds` each, `rounds` times in random order.

    Returns the real time of an iteration by the benchmark's name, without what Google Benchmark adds
    to it.
    """
    run = subprocess.run(
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
    times: dict[str, dict[int, float]] = defaultdict(dict)
    for result in json.loads(run.stdout)["benchmarks"]:
        if result["run_type"] == "iteration":
            name = result["run_name"].partition("/real_time")[0]
            times[name][result["repetition_index"]] = result["real_time"]
    return {
        name: Series(tuple(value for _, value in sorted(values.items())))
        for name, values in times.items()
    }
