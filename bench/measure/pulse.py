"""A PulseAudio server of the run's own, whose sound goes nowhere at the real pace."""

from __future__ import annotations

import contextlib
import subprocess
import time
from typing import Iterator

from .bench import Bench

PATIENCE = 30


@contextlib.contextmanager
def server(bench: Bench) -> Iterator[dict[str, str]]:
    """Runs the server and gives an environment in which it is libout123's default output."""
    runtime = bench.work / "pulse"
    runtime.mkdir(mode=0o700, exist_ok=True)
    environment = bench.only_output("pulse")
    environment |= {"XDG_RUNTIME_DIR": str(runtime), "HOME": str(runtime)}
    environment.pop("PULSE_SERVER", None)
    modules = ["-L", "module-null-sink sink_name=null", "-L", "module-native-protocol-unix"]
    process = subprocess.Popen(
        ["pulseaudio", "--daemonize=no", "--exit-idle-time=-1", "-n", *modules],
        env=environment,
        stderr=subprocess.DEVNULL,
    )
    try:
        _wait_until_it_answers(environment)
        yield environment
    finally:
        process.terminate()
        process.wait()


def _wait_until_it_answers(environment: dict[str, str]) -> None:
    deadline = time.monotonic() + PATIENCE
    while time.monotonic() < deadline:
        asked = subprocess.run(["pactl", "info"], env=environment, capture_output=True, check=False)
        if asked.returncode == 0:
            return
        time.sleep(0.1)
    raise RuntimeError("PulseAudio does not start")
