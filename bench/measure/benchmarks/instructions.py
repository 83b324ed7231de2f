"""What the library adds to the instructions of the bare decode loop."""

from __future__ import annotations

from ..bench import Bench
from ..callgrind import instructions
from ..results import Check, Row, Section, Series

SHORT, LONG = 20, 60


def measure(bench: Bench) -> Section:
    environment = bench.null_device()
    short, long = bench.track(SHORT), bench.track(LONG)

    def cost(program: str) -> tuple[Series, Series]:
        """Instructions for a second of audio, and for what does not depend on the length."""
        at_short, at_long = (
            instructions([bench.program(program), track], environment) for track in (short, long)
        )
        slope = (at_long - at_short) / (LONG - SHORT)
        return Series.of(slope), Series.of(at_short - SHORT * slope)

    slope, start = cost("player_loop")
    bare_slope, bare_start = cost("bare_loop")
    added = start.minus(bare_start).each(lambda count: count / 1e6)
    return Section(
        "Instructions",
        f"A track of {SHORT} s and one of {LONG} s are played into ALSA's null device under "
        "callgrind. The difference gives the instructions per second of audio; the rest is start-up and end. "
        "The bare loop calls `mpg123_read` for one `mpg123_outblock`, then `out123_play`, in a C++ program.",
        [
            Row(
                "A second of audio",
                "instructions",
                slope,
                "bare loop",
                bare_slope,
                (Check(slope.over(bare_slope), "at most", 1.005),),
            ),
            Row(
                "Start-up and end",
                "instructions",
                start,
                "bare loop",
                bare_start,
                (Check(added, "at most", 1.0, "M instructions more"),),
            ),
        ],
    )
