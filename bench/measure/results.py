"""What was measured: series of values, what they are held against, and how they are shown."""

from __future__ import annotations

import statistics
from dataclasses import dataclass, field
from typing import Callable, Iterable, Literal, TypeVar

T = TypeVar("T")


@dataclass(frozen=True)
class Series:
    """The values of one figure, a value a round."""

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

    def percentile(self, percent: int) -> float:
        return statistics.quantiles(self.values, n=100, method="inclusive")[percent - 1]

    def paired(self, other: Series, combine: Callable[[float, float], float]) -> Series:
        """Combines the rounds of both, one by one: each was measured beside its counterpart."""
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


def side_by_side(rounds: list[tuple[T, T]], figure: Callable[[T], float]) -> tuple[Series, Series]:
    """One figure of rounds in which ours and the reference were measured: a series of each."""
    return (
        Series(tuple(figure(ours) for ours, _ in rounds)),
        Series(tuple(figure(theirs) for _, theirs in rounds)),
    )


def _number(value: float) -> str:
    """Four significant digits, thousands apart."""
    magnitude = abs(value)
    if magnitude >= 1000 or value == int(value):
        return f"{value:,.0f}"
    decimals = 1 if magnitude >= 100 else 2 if magnitude >= 10 else 4 if magnitude < 1.1 else 3
    return f"{value:.{decimals}f}"


@dataclass(frozen=True)
class Check:
    """A measured value and what it has to reach in the median."""

    measured: Series
    bound: Literal["at most", "at least"]
    limit: float
    unit: str = "times"

    @property
    def met(self) -> bool:
        value = self.measured.median
        return value <= self.limit if self.bound == "at most" else value >= self.limit

    @property
    def target(self) -> str:
        return f"{self.bound} {_number(self.limit)} {self.unit}"


@dataclass(frozen=True)
class Row:
    """One figure of ours beside the reference's."""

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
    """Cells that are no comparison of two."""

    headers: list[str]
    rows: list[list[str]]


@dataclass(frozen=True)
class Section:
    """A group of figures with a word on how they were got."""

    title: str
    text: str
    rows: list[Row] = field(default_factory=list)
    tables: list[Table] = field(default_factory=list)
    plots: list[Plot] = field(default_factory=list)
