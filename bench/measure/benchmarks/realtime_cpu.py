"""What playing costs where the sound has its real pace."""

from __future__ import annotations

import contextlib
import subprocess

from .. import pulse
from ..bench import Bench
from ..results import Check, Row, Section, Series
from ..processes import cpu_seconds

SECONDS = 15
ROUNDS = 9
COPIES = 4


def measure(bench: Bench) -> Section:
    track = bench.track(SECONDS)
    commands = {
        "player": [bench.program("player_loop"), track],
        "bare loop": [bench.program("bare_loop"), track],
        "mpg123": ["mpg123", "--quiet", track],
    }
    with pulse.server(bench) as environment:
        rounds = [_play_all(commands, environment, number % 2 == 1) for number in range(ROUNDS)]
    player, bare, mpg123 = (Series(tuple(taken[name] for taken in rounds)) for name in commands)
    return Section(
        "Processor time in real time",
        f"A track of {SECONDS} s is played to a PulseAudio server with a null sink, in real time. In each of "
        f"{ROUNDS} rounds {COPIES} processes of each kind play it at the same time; the value is the mean "
        "user and system time of a whole process per second of audio.",
        [
            Row(
                "Playing in real time",
                "ms/s",
                player,
                "bare loop",
                bare,
                (Check(player.over(bare), "at most", 1.05),),
            ),
            Row(
                "Playing in real time",
                "ms/s",
                player,
                "`mpg123`",
                mpg123,
                (Check(player.over(mpg123), "at most", 1.05),),
            ),
        ],
    )


def _play_all(
    commands: dict[str, list[str]], environment: dict[str, str], backwards: bool
) -> dict[str, float]:
    """Plays with all programs at the same time: milliseconds of processor time for a second of audio."""
    order = list(reversed(commands.items())) if backwards else list(commands.items())
    started: dict[str, list[subprocess.Popen[bytes]]] = {name: [] for name in commands}
    with contextlib.ExitStack() as ends:
        for _ in range(COPIES):
            for name, command in order:
                process = subprocess.Popen(command, env=environment, stdin=subprocess.DEVNULL)
                ends.callback(process.kill)  # where another has failed
                started[name].append(process)
        return {
            name: cpu_seconds(processes) * 1000 / COPIES / SECONDS
            for name, processes in started.items()
        }
