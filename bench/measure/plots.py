"""Plots as SVG files, by matplotlib."""

from __future__ import annotations

from pathlib import Path

import matplotlib

matplotlib.use("svg")
matplotlib.rcParams["svg.hashsalt"] = "performance"  # the same picture gives the same file

from matplotlib import pyplot  # noqa: E402

from .results import Plot  # noqa: E402


def write(plot: Plot, folder: Path) -> None:
    """Writes the plot into `folder`: medians as lines, the spread as bars."""
    folder.mkdir(parents=True, exist_ok=True)
    figure, axes = pyplot.subplots(figsize=(7, 4))
    for label, points in plot.lines.items():
        xs = [x for x, _ in points]
        medians = [series.median for _, series in points]
        below = [series.median - min(series.values) for _, series in points]
        above = [max(series.values) - series.median for _, series in points]
        axes.errorbar(xs, medians, yerr=[below, above], label=label, marker="o", capsize=3)
    if plot.logarithmic_x:
        axes.set_xscale("log", base=2)
        ticks = sorted({x for points in plot.lines.values() for x, _ in points})
        axes.set_xticks(ticks, [f"{tick:g}" for tick in ticks])
    axes.set(title=plot.title, xlabel=plot.x_label, ylabel=plot.y_label)
    axes.set_ylim(bottom=0)
    axes.grid(alpha=0.3)
    axes.legend()
    figure.savefig(folder / f"{plot.name}.svg", bbox_inches="tight", metadata={"Date": None})
    pyplot.close(figure)
