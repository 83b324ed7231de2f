"""How soon sound begins."""

from __future__ import annotations

from ..bench import Bench
from ..events import Event, events_of, events_until, times_between
from ..results import Check, Row, Section, paired, series_of

SONG = 240
RUNS = 30
PLAYS_A_RUN = 10


def measure(bench: Bench) -> Section:
    song = bench.track(SONG)
    return Section(
        "Start",
        "The device is an ALSA plugin that plays at the real rate and records when the first frames "
        f"arrive. The track is {SONG} s long. Measured is the time from a play of a loaded player, and "
        "from `qz_audio_new`. The bare loop does the same work: it starts an output and plays a block; "
        "it creates a decoder and an output, opens both and plays a block. Each of the "
        f"{RUNS} rounds is a new process that opens once and then starts {PLAYS_A_RUN} times; compared "
        "are the medians of each round. `qz_play` and `mpg123` are measured from exec to the first frames.",
        [*_library(bench, song), _program(bench, song)],
    )


def _library(bench: Bench, song: str) -> list[Row]:
    environment = bench.paced_device()

    def run(program: str) -> list[Event]:
        return events_of([bench.program(program), song, str(PLAYS_A_RUN)], environment)

    rounds = paired(RUNS, lambda: run("player_start_latency"), lambda: run("bare_start_latency"))

    def row(what: str, event: str, limit: float) -> Row:
        ours, bare = series_of(rounds, lambda events: times_between(event, "first", events).median)
        added = ours.minus(bare)
        return Row(
            what, "ms", ours, "bare loop", bare, (Check(added, "at most", limit, "ms more"),)
        )

    return [
        row("Play of a loaded player to the first frames", "play", 0.3),
        row("A new player to the first frames", "open", 0.5),
    ]


def _program(bench: Bench, song: str) -> Row:
    environment = bench.paced_desktop()

    def run(*command: str) -> float:
        events = events_until("first", [bench.program("log_exec"), *command], environment)
        return times_between("exec", "first", events).median

    rounds = paired(
        RUNS,
        lambda: run(bench.program("qz_play"), song),
        lambda: run("mpg123", "-q", "-o", "alsa", song),
    )
    ours, reference = series_of(rounds, float)
    check = Check(ours.over(reference), "at most", 2.0)
    return Row(
        "`qz_play` from exec to the first frames", "ms", ours, "`mpg123`", reference, (check,)
    )
