"""The thread service compared with Boost.Asio, libuv and the textbook queue."""

from __future__ import annotations

from typing import Callable

from ..bench import Bench
from ..google_benchmark import paired_entries
from ..results import Check, Row, Section, Series, series_of

SECONDS = 0.05
OURS = "service_executor"
ASIO, UV = "Boost.Asio", "libuv"
BATCH_SWAP = "batch-swap queue, same arguments"
EXECUTORS = {
    ASIO: "asio_executor",
    UV: "uv_executor",
    BATCH_SWAP: "batch_swap_executor<same_arguments>",
}
PLAIN_BATCH_SWAP = "batch_swap_executor<task_alone>"
LEAST_THROUGHPUT = {ASIO: 1.5, BATCH_SWAP: 0.7}
POSTERS = {1: "one thread", 4: "four threads"}

TEXT = """\
Boost.Asio is an `io_context` for a single thread; libuv is a loop with an async handle and a queue under a
mutex. The batch-swap queue is the textbook's: a mutex, a condition variable and a `std::vector` that the
worker swaps out; it has no intervals and no nested calls. Each task decrements an integer. The interface of
the thread service takes its arguments by value: a handle, a `std::function`, and a source position with a
`std::string`. The batch-swap queue takes the same ones; another one takes the task alone and shows what they
cost. An idle worker is woken from another core, 200 times a round. Intervals and the `steady_timer` tick
every 10 ms, 100 times a round, measured from the start of the tick before. Neither has the kernel's usual
timer slack of 50 µs: our threads ask for 1 ns, and a `timerfd` has none. If a thread loses the processor
before its tick reads the clock, the next tick seems early, so that the minimum of a round may be negative."""


def measure(bench: Bench) -> Section:
    return Section(
        "Thread service",
        TEXT,
        [*_throughput(bench), *_run_one(bench), *_wake_up(bench), *_lateness(bench)],
    )


def _throughput(bench: Bench) -> list[Row]:
    def rates(ours: str, reference: str, posters: int) -> tuple[Series, Series]:
        names = (
            f"task_throughput<{name}>/real_time/threads:{posters}" for name in (ours, reference)
        )
        rounds = paired_entries(bench.program("task_throughput"), *names, 31, SECONDS)
        return series_of(rounds, lambda entry: entry["items_per_second"])

    def row(name: str, posters: int) -> Row:
        ours, reference = rates(OURS, EXECUTORS[name], posters)
        least = LEAST_THROUGHPUT.get(name)
        checks = (Check(ours.over(reference), "at least", least),) if least else ()
        what = f"Tasks posted by {POSTERS[posters]}"
        return Row(what, "a second", ours, name, reference, checks)

    def arguments_row(posters: int) -> Row:
        loaded, plain = rates(EXECUTORS[BATCH_SWAP], PLAIN_BATCH_SWAP, posters)
        cost = loaded.paired(plain, lambda with_all, alone: 1e9 / with_all - 1e9 / alone)
        what = f"The arguments by value, {POSTERS[posters]}: what they add to each task"
        return Row(what, "ns", cost, "batch-swap queue, task alone", plain.each(lambda n: 1e9 / n))

    return [
        *(row(name, posters) for posters in POSTERS for name in EXECUTORS),
        *(arguments_row(posters) for posters in POSTERS),
    ]


def _run_one(bench: Bench) -> list[Row]:
    def times(ours: str, reference: str) -> tuple[Series, Series]:
        rounds = paired_entries(bench.program("run_one_cost"), ours, reference, 21, SECONDS)
        return series_of(rounds, lambda entry: entry["real_time"])

    idle, asio_idle = times("service_idle", "asio_idle")
    idle_again, handle = times("service_idle", "copy_of_the_handle")
    armed, asio_armed = times("service_interval_armed", "asio_timer_armed")
    beyond_copy = "ns more than the handle's copy"
    poll_one = f"{ASIO}, `poll_one`"
    return [
        Row("`run_one_only`, nothing armed", "ns", idle, poll_one, asio_idle),
        Row(
            "`run_one_only`, nothing armed",
            "ns",
            idle_again,
            "copy of the handle alone",
            handle,
            (Check(idle_again.minus(handle), "at most", 20, beyond_copy),),
        ),
        Row(
            "`run_one_only`, an interval armed",
            "ns",
            armed,
            poll_one,
            asio_armed,
            (Check(armed, "at most", 60, "ns"), Check(armed.over(asio_armed), "at most", 1)),
        ),
    ]


def _wake_up(bench: Bench) -> list[Row]:
    def row(name: str, *, limit: float | None) -> Row:
        names = (f"wake_up_latency<{executor}>" for executor in (OURS, EXECUTORS[name]))
        rounds = paired_entries(bench.program("wake_up_latency"), *names, 15, SECONDS)
        ours, reference = series_of(rounds, lambda entry: entry["median_us"])
        checks = (Check(ours.over(reference), "at most", limit),) if limit else ()
        return Row("Wake-up of an idle worker, median", "µs", ours, name, reference, checks)

    return [row(ASIO, limit=1.1), row(UV, limit=None)]


def _lateness(bench: Bench) -> list[Row]:
    rounds = paired_entries(
        bench.program("interval_lateness"), "service_interval", "asio_timer", 21, SECONDS
    )

    def row(which: str, counter: str, check: Callable[[Series, Series], Check]) -> Row:
        ours, reference = series_of(rounds, lambda entry: entry[counter])
        checks = (check(ours, reference),)
        return Row(f"Lateness of a tick, {which}", "µs", ours, ASIO, reference, checks)

    def at_most_as_late(ours: Series, reference: Series) -> Check:
        return Check(ours.over(reference), "at most", 1)

    def not_early(ours: Series, _: Series) -> Check:
        return Check(ours, "at least", 0, "µs")

    return [
        row("least", "least_us", not_early),
        row("median", "median_us", at_most_as_late),
        row("99th percentile", "p99_us", at_most_as_late),
    ]
