"""Measured values, the targets they have to reach, and how they are shown."""

from __future__ import annotations

import math
import statistics
from dataclasses import dataclass, field
from typing import Callable, Iterable, Literal, TypeVar

T = TypeVar("T")


@dataclass(frozen=True)
class Series:
    """The values of one measurement, one for each round."""

    values: tuple[float, ...]

    @staticmethod
    def joined(parts: Iterable[Series]) -> Series:
        return Series(tuple(value for part in parts for value in part.values))

    @staticmethod
    def of(*values: float) -> Series:
        return Series(tuple(values))

    @property
    def median(self) -> float:
        return statistics.median(self.values)

    @property
    def interval(self) -> tuple[float, float]:
        """Bounds that hold the true median with a probability of at least 95 %.

        They are order statistics, which assume nothing of the distribution: a limit outside them is
        what a sign test of the rounds rejects at 5 %. A single value is a count, which has no spread.
        """
        if len(self.values) == 1:
            return self.values[0], self.values[0]
        ordered = sorted(self.values)
        rank = _rank_of_interval(len(ordered))
        return ordered[rank], ordered[-1 - rank]

    def percentile(self, percent: int) -> float:
        return statistics.quantiles(self.values, n=100, method="inclusive")[percent - 1]

    def each(self, convert: Callable[[float], float]) -> Series:
        return Series(tuple(convert(value) for value in self.values))

    def paired(self, other: Series, combine: Callable[[float, float], float]) -> Series:
        """Combines the rounds of both, one by one."""
        return Series(tuple(combine(a, b) for a, b in zip(self.values, other.values, strict=True)))

    def over(self, reference: Series) -> Series:
        return self.paired(reference, lambda ours, theirs: ours / theirs)

    def minus(self, reference: Series) -> Series:
        return self.paired(reference, lambda ours, theirs: ours - theirs)

    def show(self, unit: str = "") -> str:
        """The median and, where there are several rounds, the least and the greatest value."""
        suffix = f" {unit}" if unit else ""
        if len(self.values) == 1:
            return f"{_number(self.median)}{suffix}"
        low, high = min(self.values), max(self.values)
        return f"{_number(self.median)}{suffix} ({_number(low)} … {_number(high)})"


def paired(rounds: int, ours: Callable[[], T], reference: Callable[[], T]) -> list[tuple[T, T]]:
    """Measures ours and the reference one right after the other, in an order that alternates."""
    return [_pair(ours, reference, ours_first=number % 2 == 0) for number in range(rounds)]


def _pair(ours: Callable[[], T], reference: Callable[[], T], ours_first: bool) -> tuple[T, T]:
    if ours_first:
        return ours(), reference()
    theirs = reference()
    return ours(), theirs


def series_of(rounds: list[tuple[T, T]], value: Callable[[T], float]) -> tuple[Series, Series]:
    """One value of paired rounds: a series of ours and one of the reference."""
    return (
        Series(tuple(value(ours) for ours, _ in rounds)),
        Series(tuple(value(theirs) for _, theirs in rounds)),
    )


def _rank_of_interval(count: int) -> int:
    """How many values at each end lie outside the interval of the median."""
    outside, rank = 2 / 2**count, 0
    if outside > 0.05:
        raise ValueError(f"{count} rounds are too few for an interval of the median")
    while (outside := outside + 2 * math.comb(count, rank + 1) / 2**count) <= 0.05:
        rank += 1
    return rank


def _number(value: float) -> str:
    """Four significant digits, thousands apart."""
    magnitude = abs(value)
    if magnitude >= 1000 or value == int(value):
        return f"{value:,.0f}"
    decimals = 1 if magnitude >= 100 else 2 if magnitude >= 10 else 4 if magnitude < 1.1 else 3
    return f"{value:.{decimals}f}"


@dataclass(frozen=True)
class Check:
    """A measured value and the target that its median has to reach."""

    measured: Series
    bound: Literal["at most", "at least"]
    limit: float
    unit: str = "times"

    @property
    def verdict(self) -> Literal["yes", "no", "inconclusive"]:
        """Where the whole interval of the median lies."""
        low, high = self.measured.interval
        if self.bound == "at least":
            low, high = -high, -low
        limit = self.limit if self.bound == "at most" else -self.limit
        if high <= limit:
            return "yes"
        return "no" if low > limit else "inconclusive"

    @property
    def median(self) -> str:
        return f"{_number(self.measured.median)} {self.unit}"

    @property
    def interval(self) -> str:
        if len(self.measured.values) == 1:
            return ""
        return " … ".join(map(_number, self.measured.interval))

    @property
    def target(self) -> str:
        return f"{self.bound} {_number(self.limit)} {self.unit}"


@dataclass(frozen=True)
class Row:
    """One measurement of ours and of the reference."""

    what: str
    unit: str
    ours: Series
    reference_name: str = ""
    reference: Series | None = None
    checks: tuple[Check, ...] = ()


def memory_row(
    what: str, ours: Series, reference_name: str, reference: Series, times: float, kib: float
) -> Row:
    """KiB that must stay within a factor of the reference's, and within a size."""
    checks = (
        Check(ours.over(reference), "at most", times),
        Check(ours, "at most", kib, "KiB"),
    )
    return Row(what, "KiB", ours, reference_name, reference, checks)


@dataclass(frozen=True)
class Plot:
    """Lines over a common axis, written as docs/performance/NAME.svg."""

    name: str
    title: str
    x_label: str
    y_label: str
    lines: dict[str, list[tuple[float, Series]]]
    logarithmic_x: bool = False


@dataclass(frozen=True)
class Table:
    """Cells that compare nothing with a reference."""

    headers: list[str]
    rows: list[list[str]]


@dataclass(frozen=True)
class Section:
    """Measurements of one subject and how they were made."""

    title: str
    text: str
    rows: list[Row] = field(default_factory=list)
    tables: list[Table] = field(default_factory=list)
    plots: list[Plot] = field(default_factory=list)
