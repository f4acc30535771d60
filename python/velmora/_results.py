"""Analyses that have run, and saved bins."""

from __future__ import annotations

import html
import json
import os
from collections.abc import Mapping
from pathlib import Path
from typing import Any, ClassVar

import numpy as np

from velmora import _frames, _plots, _progress
from velmora._library import BinsHandle, Progress, ResultHandle, Session

_SHOWN_ROWS = 10


def _shown(value: Any) -> str:
    if value is None or (isinstance(value, float) and np.isnan(value)):
        return ""
    if isinstance(value, (float, np.floating)):
        number = float(value)
        return f"{number:.0f}" if number.is_integer() and abs(number) < 1e15 else f"{number:.4g}"
    return html.escape(str(value))


def _html_table(
    columns: Mapping[str, np.ndarray], headings: Mapping[str, str], caption: str, bar: str, rows: int
) -> str:
    """A small table for a notebook: the columns that have a heading and any value.

    bar: the column whose cells have a bar as long as their value.
    """
    kept = {name: columns[name] for name in headings if name in columns and any(map(_shown, columns[name]))}
    length = len(next(iter(columns.values()), []))
    shown = min(length, rows)
    bars = np.nan_to_num(np.asarray(columns[bar], dtype=np.float64)) if bar in kept else np.zeros(length)
    longest = max(bars[:shown], default=0) or 1

    def cell(name: str, i: int) -> str:
        style = "text-align:left" if kept[name].dtype.kind == "O" else "text-align:right"
        if name == bar:
            width = round(100 * max(bars[i], 0) / longest)
            style += f";background:linear-gradient(90deg,#9ec5e3 {width}%,transparent {width}%)"
        return f'<td style="{style}">{_shown(kept[name][i])}</td>'

    head = "".join(f'<th style="text-align:left">{html.escape(headings[name])}</th>' for name in kept)
    body = "".join(f"<tr>{''.join(cell(name, i) for name in kept)}</tr>" for i in range(shown))
    more = f"<p>... and {length - rows} more</p>" if length > rows else ""
    title = f'<caption style="text-align:left">{html.escape(caption)}</caption>'
    return f"<table>{title}<thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>{more}"


def _rows_of(columns: Mapping[str, np.ndarray], chosen: np.ndarray) -> dict[str, np.ndarray]:
    return {name: values[chosen] for name, values in columns.items()}


def _chosen_outcome(columns: Mapping[str, np.ndarray], name: str, outcome: str | None) -> str:
    """The outcome of that name, or the only one."""
    known = list(dict.fromkeys(str(value) for value in columns[name]))
    if outcome is None and len(known) == 1:
        return known[0]
    if outcome not in known:
        raise ValueError(f"outcome is one of {', '.join(known)}, not {outcome!r}.")
    return outcome


class Result:
    """What an analysis has found.

    Attributes
    ----------
    notices : list of str
        Remarks of the run: variables that were left out, warnings about the data.
    """

    def __init__(self, handle: ResultHandle, kind: str, notices: list[str]) -> None:
        self._handle = handle
        self._kind = kind
        self.notices = notices
        self._json: dict[str, Any] | None = None

    @property
    def json(self) -> dict[str, Any]:
        """The JSON of the command as a dict, described in ``docs/json.md``."""
        if self._json is None:
            self._json = json.loads(self._handle.text("json"))
        return self._json

    @property
    def ranking(self) -> Any:
        """A frame of the user's kind: one row per outcome and predictor, best first.

        Its columns are the members of the predictors in the JSON, in snake case: ``predictor``,
        ``rank``, ``p_value`` and so on.
        """
        return _frames.frame_of(self._handle.table("ranking"), self._kind)

    def to_pandas(self) -> Any:
        """The ranking as a pandas frame, whatever the data were."""
        return _frames.frame_of(self._handle.table("ranking"), "pandas")

    def to_polars(self) -> Any:
        """The ranking as a polars frame."""
        return _frames.frame_of(self._handle.table("ranking"), "polars")

    def text(self, format: str = "terminal") -> str:
        """The result as the command prints it: "terminal", "json", "csv" or "html"."""
        return self._handle.text(format).decode()

    def report(self, path: str | os.PathLike[str]) -> Path:
        """Writes the report, one HTML page without further files, or a workbook (``.xlsx``).

        Returns
        -------
        Path
            The file.
        """
        file = Path(path)
        format = "xlsx" if file.suffix.lower() == ".xlsx" else "html"
        file.write_bytes(self._handle.text(format))
        return file

    def write(self, folder: str | os.PathLike[str], formats: str | None = None) -> None:
        """Writes the files of ``--out DIR``: all formats, or those named between commas."""
        self._handle.write(folder, formats)

    # Columns of the ranking with their headings in a notebook, and the one that is drawn as bars.
    _headings: ClassVar[dict[str, str]] = {}

    def _bar(self, columns: Mapping[str, np.ndarray]) -> str:
        raise NotImplementedError

    def _caption(self) -> str:
        return type(self).__name__

    def _repr_html_(self) -> str:
        columns = _frames.columns_of(self._handle.table("ranking"))
        bar = self._bar(columns)
        # The caption names a single outcome, and the bar is the score that counts.
        outcome = next(iter(self._headings))
        needless = {outcome} if len(set(columns[outcome])) == 1 else set()
        if bar == "out_of_fold_information_value":
            needless.add("out_of_fold_explained")
        headings = {name: text for name, text in self._headings.items() if name not in needless}
        return _html_table(columns, headings, self._caption(), bar, _SHOWN_ROWS)

    def __repr__(self) -> str:
        return self.text()

    def __reduce__(self) -> Any:
        raise TypeError(f"{type(self).__name__} cannot be pickled; keep its frames, its json or its bins.")


class FeatureSelectionResult(Result):
    """Result of :func:`velmora.rank`."""

    _headings: ClassVar[dict[str, str]] = {
        "dependent": "outcome",
        "rank": "rank",
        "predictor": "predictor",
        "kind": "kind",
        "effect": "effect",
        "effect_lower": "from",
        "effect_upper": "to",
        "adjusted_p": "adjusted p",
        "levels": "levels",
        "missing_cases": "missing",
    }

    def _bar(self, columns: Mapping[str, np.ndarray]) -> str:
        return "effect" if "effect" in columns else "statistic"

    def plot(self, best: int = 20, *, outcome: str | None = None, ax: Any = None) -> Any:
        """Draws the effects of the best predictors with their intervals, by matplotlib.

        Parameters
        ----------
        best : int
            How many predictors.
        outcome : str, optional
            Its name, where the result has several.
        ax : matplotlib.axes.Axes, optional
            Where to draw; default: a new figure.

        Returns
        -------
        matplotlib.axes.Axes
            Predictors that are no better than chance are grey.
        """
        columns = _frames.columns_of(self._handle.table("ranking"))
        name = _chosen_outcome(columns, "dependent", outcome)
        shown = _rows_of(columns, np.flatnonzero(columns["dependent"] == name)[:best])
        score = self._bar(columns)
        interval = ("effect_lower", "effect_upper") if "effect_lower" in columns else None
        shown["weak"] = np.array([value is False or value == 0 for value in shown["better_than_chance"]])
        return _plots.draw_ranking(shown, score, score, f"Predictors of {name}", interval, "weak", ax)

    @property
    def best(self) -> list[str]:
        """Names of the predictors shown for the first outcome, best first."""
        best: list[str] = self.json["dependents"][0]["best"]
        return best

    def _caption(self) -> str:
        return "Predictors of " + ", ".join(d["name"] for d in self.json["dependents"])


class ScreenResult(Result):
    """Result of :func:`velmora.screen`."""

    _headings: ClassVar[dict[str, str]] = {
        "response": "response",
        "rank": "rank",
        "predictor": "predictor",
        "kind": "kind",
        "bins": "bins",
        "out_of_fold_information_value": "IV (cross-validated)",
        "information_value": "IV",
        "out_of_fold_explained": "explained (cross-validated)",
        "r_squared": "R squared",
        "cramers_v": "Cramer's V",
    }

    def _bar(self, columns: Mapping[str, np.ndarray]) -> str:
        for name in (
            "out_of_fold_information_value",
            "out_of_fold_explained",
            "information_value",
            "r_squared",
        ):
            if name in columns and any(map(_shown, columns[name])):
                return name
        return "cramers_v"

    def plot(
        self, predictor: str | None = None, best: int = 20, *, outcome: str | None = None, ax: Any = None
    ) -> Any:
        """Draws the scores of the best predictors, or the bins of one, by matplotlib.

        Parameters
        ----------
        predictor : str, optional
            Whose bins: cases per bin, and the bad rate, the mean or the classes of the response.
        best : int
            How many predictors, without ``predictor``.
        outcome : str, optional
            The name of the response, where the result has several.
        ax : matplotlib.axes.Axes, optional
            Where to draw; default: a new figure.

        Returns
        -------
        matplotlib.axes.Axes
            Predictors that are no better than chance are grey.
        """
        if predictor is not None:
            bins = _frames.columns_of(self._handle.table("bins"))
            name = _chosen_outcome(bins, "response", outcome)
            chosen = np.flatnonzero((bins["response"] == name) & (bins["predictor"] == predictor))
            if chosen.size == 0:
                raise ValueError(f"{predictor!r} is not one of the predictors that have bins.")
            return _plots.draw_bins(_rows_of(bins, chosen), f"{predictor} and {name}", ax)
        columns = _frames.columns_of(self._handle.table("ranking"))
        name = _chosen_outcome(columns, "response", outcome)
        shown = _rows_of(columns, np.flatnonzero(columns["response"] == name)[:best])
        score = self._bar(shown)
        label = self._headings.get(score, score)
        weak = shown.get("no_better_than_chance", np.zeros(len(shown["predictor"])))
        shown["weak"] = np.array([value is True or value == 1 for value in weak])
        return _plots.draw_ranking(shown, score, label, f"Predictors of {name}", None, "weak", ax)

    @property
    def best(self) -> list[str]:
        """Names of all predictors of the first response, best first."""
        order: list[str] = self.json["responses"][0]["order"]
        return order

    @property
    def bin_table(self) -> Any:
        """A frame of the user's kind: one row per bin of every predictor."""
        return _frames.frame_of(self._handle.table("bins"), self._kind)

    def bins(self, best: int | None = None) -> Bins:
        """The bins of the best predictors of each response, to code other data with.

        Parameters
        ----------
        best : int, optional
            How many predictors; None means all.
        """
        if best is not None and best < 1:
            raise ValueError(f"best is a number of predictors from 1 on, not {best}.")
        return Bins(self._handle.bins(best or 0).text("json"))

    def _caption(self) -> str:
        return "Predictors of " + ", ".join(r["name"] for r in self.json["responses"])


class MonitorResult(Result):
    """Result of :func:`velmora.monitor`: new cases beside those that the bins were made from.

    ``ranking`` has one row per predictor: population stability index, that of the rates, strengths
    then and now, crossings.
    """

    @property
    def groups(self) -> Any:
        """A frame of the user's kind: one row per predictor and group, "saved" or "new"."""
        return _frames.frame_of(self._handle.table("groups"), self._kind)

    @property
    def bin_table(self) -> Any:
        """A frame of the user's kind: one row per bin and group, with share, rate and WOE."""
        return _frames.frame_of(self._handle.table("bins"), self._kind)

    @property
    def unseen(self) -> dict[str, dict[str, int]]:
        """Levels that the bins do not have, by predictor, with their cases."""
        found: dict[str, dict[str, int]] = {}
        for row in self.json["unseen"]:
            found.setdefault(row["predictor"], {})[row["level"]] = int(row["cases"])
        return found

    @property
    def met(self) -> list[str]:
        """Those conditions of ``fail_on`` that hold."""
        return [row["condition"] for row in self.json["conditions"] if row["met"] == "yes"]

    def _caption(self) -> str:
        return "New cases against those of the bins"


class Bins:
    """Bins of screened predictors, apart from the data that they were found in.

    Made by :meth:`ScreenResult.bins` or :func:`velmora.load_bins`. Two objects are equal when they
    code every case alike.
    """

    def __init__(self, text: str) -> None:
        self._text = text
        self._with(lambda bins: None)  # an error is raised here, not at the first use

    def _with(self, use: Any) -> Any:
        session = Session()
        try:
            return use(session.load_bins(self._text))
        finally:
            session.close()

    @property
    def json(self) -> dict[str, Any]:
        """The saved bins as a dict, described in ``docs/json.md``."""
        bins: dict[str, Any] = json.loads(self._text)
        return bins

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the JSON that ``velmora apply`` and :func:`velmora.load_bins` read."""
        Path(path).write_text(self._text, encoding="utf-8")

    def to_sql(self, dialect: str = "standard", *, table: str | None = None) -> str:
        """A query that adds the coded variables to a table.

        Parameters
        ----------
        dialect : str
            Of SQL: "standard", "postgresql", "mysql", "sqlserver", "oracle", "bigquery", "spark",
            "duckdb" or "sqlite".
        table : str, optional
            The name of the table; default: that of the data.
        """
        named = self if table is None else Bins(json.dumps({**self.json, "dataFile": table}))
        text: str = named._with(lambda bins: bins.text(f"sql:{dialect}"))
        return text

    def to_python(self) -> str:
        """A module with one function, ``code_case(values)``, that needs nothing but Python."""
        text: str = self._with(lambda bins: bins.text("python"))
        return text

    def to_pmml(self) -> str:
        """The scorecard of the bins as a PMML 4.4 document; without one, VelmoraError."""
        text: str = self._with(lambda bins: bins.text("pmml"))
        return text

    def _edited(self, change: Any) -> Bins:
        def use(bins: BinsHandle) -> str:
            change(bins)
            return bins.text("json")

        return Bins(self._with(use))

    def edit(self, operation: str, predictor: str, **members: Any) -> Bins:
        """These bins with a correction by hand; the figures follow from the saved counts.

        Parameters
        ----------
        operation : {"merge", "split", "move", "group", "label", "reset"}
        predictor : str
        **members
            As in the JSON of saved bins (``docs/json.md``): ``bins=[0, 1]``, counted from 0, for
            merge; ``cutPoint=30`` for split; ``levels=["rent"]`` for group.

        Returns
        -------
        Bins
            New bins; these stay as they are.

        Raises
        ------
        VelmoraError
            The edit does not fit the bins; the sentence says why.
        """
        edit = {"operation": operation, "predictor": predictor, **members}
        return self._edited(lambda bins: bins.edit(edit))

    def merge(self, predictor: str, bins: list[int]) -> Bins:
        """These bins with several bins of a predictor as one; they are counted from 0."""
        return self.edit("merge", predictor, bins=list(bins))

    def split(self, predictor: str, cut: float) -> Bins:
        """These bins with one bin of a measured predictor cut in two."""
        return self.edit("split", predictor, cutPoint=cut)

    def undo(self) -> Bins:
        """These bins without their last edit."""
        return self._edited(lambda bins: bins.undo())

    def apply(self, data: Any, *, unseen: str | None = None, progress: Progress | bool | None = None) -> Any:
        """Codes data.

        Parameters
        ----------
        data : path, frame, dict or array
            It has the columns of the predictors, by name, in any order.
        unseen : str, optional
            What becomes of levels that the bins do not have: "missing" (the bin of missing values),
            "error" (a ValueError), or the label of a bin. Default: the bin of other levels, where
            there is one, else none.
        progress : callable or bool, optional
            Called with the stage and a fraction; True shows a bar (tqdm).

        Returns
        -------
        frame of the user's kind
            A column with the label of the bin and one per figure for each predictor, a row per case.
            A case without a bin has nothing in them.
        """
        return _frames.frame_of(self._apply(data, unseen, progress), _frames.kind_of(data))

    def _apply(self, data: Any, unseen: str | None = None, progress: Progress | bool | None = None) -> Any:
        session = Session()
        with _progress.shown(progress) as report, session.reporting(report):
            _frames.load(session, data)
            bins: BinsHandle = session.load_bins(self._text)
            return bins.apply(unseen)

    def __eq__(self, other: object) -> bool:
        return isinstance(other, Bins) and self.json["responses"] == other.json["responses"]

    __hash__ = None  # type: ignore[assignment]

    def __repr__(self) -> str:
        names = [p["name"] for r in self.json["responses"] for p in r["predictors"]]
        shown = ", ".join(names[:5]) + (", ..." if len(names) > 5 else "")
        return f"<Bins of {len(names)} predictors: {shown}>"


def load_bins(path: str | os.PathLike[str]) -> Bins:
    """Reads bins that :meth:`Bins.save` or ``velmora screen --bins`` has written."""
    return Bins(Path(path).read_text(encoding="utf-8"))
