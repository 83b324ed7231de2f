"""What many players at once cost."""

from __future__ import annotations

from ..bench import Bench
from ..results import Check, Plot, Row, Section, Series, paired, series_of
from ..processes import next_line, running

COUNTS = [1, 8, 32, 128, 512]
PLAYED = 2560
"""Seconds of audio that all players of a process play together."""
LONGEST, SHORTEST = 600, 5
ROUNDS = 9


def measure(bench: Bench) -> Section:
    environment = bench.null_device()

    def cost(program: str, count: int) -> float:
        """Microseconds of processor time for a second of audio of one player."""
        seconds = min(max(PLAYED // count, SHORTEST), LONGEST)
        command = [bench.program(program), str(count), bench.track(seconds)]
        with running(command, environment) as process:
            next_line(process)
            return float(next_line(process)) * 1e6 / count / seconds

    def costs(count: int) -> tuple[Series, Series]:
        players, loops = (
            lambda: cost("parallel_players", count),
            lambda: cost("parallel_bare_loops", count),
        )
        return series_of(paired(ROUNDS, players, loops), float)

    series = {count: costs(count) for count in COUNTS}
    return Section(
        "Many players at once",
        f"{', '.join(map(str, COUNTS))} players play a track at the same time into ALSA's null "
        "device, as fast as they can; the reference is as many threads with a bare loop each. The "
        "value is the processor time of the process from the first play to the last end, per player and "
        f"second of audio. The tracks have from {LONGEST} s for {COUNTS[0]} player to {SHORTEST} s for "
        f"{COUNTS[-1]}.",
        [
            Row(
                f"{count} playing at once",
                "µs/s",
                players,
                "bare loop",
                loops,
                (Check(players.over(loops), "at most", 1.1),),
            )
            for count, (players, loops) in series.items()
        ],
        plots=[
            Plot(
                "scaling",
                "Processor time by the number of players",
                "players at once",
                "µs for each player and second of audio",
                {
                    "player": [(count, players) for count, (players, _) in series.items()],
                    "bare loop": [(count, loops) for count, (_, loops) in series.items()],
                },
                logarithmic_x=True,
            )
        ],
    )
