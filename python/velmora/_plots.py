"""Charts of results, drawn by matplotlib where it is installed."""

from __future__ import annotations

from collections.abc import Mapping
from typing import Any

import numpy as np

Columns = Mapping[str, np.ndarray]

_STRONG = "#2f6f9f"
_WEAK = "#b8c4cc"
_LINE = "#c1440e"
_HIGHEST_CHART = 12.0  # inches


def _axes(ax: Any, rows: int | None = None) -> Any:
    if ax is not None:
        return ax
    try:
        import matplotlib.pyplot as plt
    except ImportError as error:
        raise ImportError(
            "plot() needs matplotlib: install it, or use report() for a page with charts."
        ) from error
    height = 4.0 if rows is None else min(1.0 + 0.28 * rows, _HIGHEST_CHART)
    return plt.subplots(figsize=(7.0, height), layout="constrained")[1]


def _numbers(columns: Columns, name: str) -> np.ndarray:
    return np.asarray(columns[name], dtype=np.float64)


def draw_ranking(
    columns: Columns, score: str, label: str, title: str, interval: tuple[str, str] | None, weak: str, ax: Any
) -> Any:
    """Bars of a score, best first; columns have the rows that are drawn.

    weak: a column of booleans, true where a predictor is no better than chance.
    """
    names = [str(name) for name in columns["predictor"]]
    axes = _axes(ax, len(names))
    values = _numbers(columns, score)
    places = np.arange(len(names))
    colors = [_WEAK if is_weak else _STRONG for is_weak in columns[weak]]
    errors = None
    if interval is not None:
        lower, upper = _numbers(columns, interval[0]), _numbers(columns, interval[1])
        errors = np.vstack([np.maximum(values - lower, 0), np.maximum(upper - values, 0)])
    axes.barh(places, values, color=colors, xerr=errors, ecolor="#555555", capsize=2)
    axes.set_yticks(places, names)
    axes.invert_yaxis()
    axes.set_xlabel(label)
    axes.set_title(title)
    axes.spines[["top", "right"]].set_visible(False)
    return axes


def draw_bins(columns: Columns, title: str, ax: Any) -> Any:
    """How many cases the bins of a predictor have, and what the response does in them."""
    axes = _axes(ax)
    labels = [str(label) for label in columns["label"]]
    places = np.arange(len(labels))
    classes = [name for name in columns if name.startswith("counts_")]
    if "bad_rate_row" in columns or "mean" in columns:
        is_binary = "bad_rate_row" in columns
        axes.bar(places, _numbers(columns, "total" if is_binary else "n"), color=_WEAK)
        axes.set_ylabel("cases")
        line = axes.twinx()
        line.plot(places, _numbers(columns, "bad_rate_row" if is_binary else "mean"), color=_LINE, marker="o")
        line.set_ylabel("bad rate" if is_binary else "mean", color=_LINE)
        line.spines["top"].set_visible(False)
    else:
        totals = np.maximum(sum(_numbers(columns, name) for name in classes), 1)
        below = np.zeros(len(labels))
        for name in classes:
            shares = _numbers(columns, name) / totals
            axes.bar(places, shares, bottom=below, label=name.removeprefix("counts_"))
            below += shares
        axes.set_ylabel("share of cases")
        axes.legend()
    axes.set_xticks(places, labels, rotation=30 if len("".join(labels)) > 50 else 0, ha="center")
    axes.set_title(title)
    axes.spines["top"].set_visible(False)
    return axes
