"""The thread service beside Boost.Asio and libuv."""

from __future__ import annotations

from ..bench import Bench
from ..results import Check, Row, Section, Series
from ..google_benchmark import run

OURS = "service_executor"
ASIO, UV = "Boost.Asio", "libuv"
SECONDS = 0.05
RUNNERS = {ASIO: "asio_executor", UV: "uv_executor"}


def measure(bench: Bench) -> Section:
    return Section(
        "Thread service",
        "Boost.Asio is an `io_context` with one thread, and told so; libuv a loop with an async handle, and the "
        "queue under a mutex that its users put beside it. Each task counts an integer down. Whoever "
        "calls the thread service also pays for a handle, and when posting for the text of a source "
        "position, by value. Idle workers are woken from another core, 200 times a round. The "
        "interval, and the `steady_timer` beside it, tick every 10 ms, 100 times a round, each time armed "
        "from the start of the tick before. Our threads ask the kernel for a timer slack of 1 ns; "
        "Asio's has the default of 50 µs, by which its ticks may be later.",
        [*_throughput(bench), *_run_one(bench), *_wake_up(bench), *_lateness(bench)],
    )


def _throughput(bench: Bench) -> list[Row]:
    results = run(bench.program("task_throughput"), rounds=41, seconds=SECONDS)

    def rate(executor: str, posters: int) -> Series:
        name = f"task_throughput<{executor}>/real_time/threads:{posters}"
        return results.series(name, "items_per_second")

    rows = []
    for posters, who in ((1, "one thread"), (4, "four threads")):
        ours = rate(OURS, posters)
        for name, executor in RUNNERS.items():
            reference = rate(executor, posters)
            checks = (Check(ours.over(reference), "at least", 1.2),) if name == ASIO else ()
            rows.append(Row(f"Tasks posted by {who}", "a second", ours, name, reference, checks))
    return rows


def _run_one(bench: Bench) -> list[Row]:
    results = run(bench.program("run_one_cost"), rounds=21, seconds=SECONDS)

    def time(benchmark: str) -> Series:
        return results.series(benchmark, "real_time")

    handle, idle, armed = map(
        time, ("copy_of_the_handle", "service_idle", "service_interval_armed")
    )
    asio_armed = time("asio_timer_armed")
    poll_one = f"{ASIO}, `poll_one`"
    beside_handle = "ns beside the handle's copy"
    return [
        Row(
            "`run_one_only`, nothing armed",
            "ns",
            idle,
            poll_one,
            time("asio_idle"),
            (Check(idle.minus(handle), "at most", 20, beside_handle),),
        ),
        Row(
            "`run_one_only`, an interval armed",
            "ns",
            armed,
            poll_one,
            asio_armed,
            (Check(armed, "at most", 60, "ns"), Check(armed.over(asio_armed), "at most", 1)),
        ),
        Row("The copy of the handle in both", "ns", handle),
    ]


def _wake_up(bench: Bench) -> list[Row]:
    results = run(bench.program("wake_up_latency"), rounds=11, seconds=SECONDS)

    def median(executor: str) -> Series:
        return results.series(f"wake_up_latency<{executor}>/iterations:200/real_time", "median_us")

    ours = median(OURS)
    rows = []
    for name, executor in RUNNERS.items():
        reference = median(executor)
        checks = (Check(ours.over(reference), "at most", 1.1),) if name == ASIO else ()
        rows.append(Row("Wake-up of an idle worker, median", "µs", ours, name, reference, checks))
    return rows


def _lateness(bench: Bench) -> list[Row]:
    results = run(bench.program("interval_lateness"), rounds=9, seconds=SECONDS)

    def both(figure: str) -> tuple[Series, Series]:
        return (
            results.series("service_interval/iterations:1/real_time", figure),
            results.series("asio_timer/iterations:1/real_time", figure),
        )

    def row(which: str, ours: Series, reference: Series, *checks: Check) -> Row:
        return Row(f"Lateness of a tick, {which}", "µs", ours, ASIO, reference, checks)

    least, asio_least = both("least_us")
    median, asio_median = both("median_us")
    return [
        row("least", least, asio_least, Check(Series.of(min(least.values)), "at least", 0, "µs")),
        row("median", median, asio_median, Check(median.over(asio_median), "at most", 1.2)),
        row("99th percentile", *both("p99_us")),
    ]
