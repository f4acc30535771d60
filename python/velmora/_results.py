"""Analyses that have run, and saved bins."""

from __future__ import annotations

import html
import json
import os
from collections.abc import Mapping
from pathlib import Path
from typing import Any

import numpy as np

from velmora import _frames
from velmora._library import BinsHandle, Progress, ResultHandle, Session

_SHOWN_ROWS = 10


def _html_table(columns: Mapping[str, np.ndarray], caption: str, rows: int = _SHOWN_ROWS) -> str:
    """A small table for a notebook, without columns that hold nothing."""

    def shown(value: Any) -> str:
        if value is None or (isinstance(value, float) and np.isnan(value)):
            return ""
        return html.escape(f"{value:.4g}" if isinstance(value, float) else str(value))

    kept = {name: values for name, values in columns.items() if any(shown(value) for value in values)}
    length = len(next(iter(columns.values()), []))
    head = "".join(f"<th>{html.escape(name)}</th>" for name in kept)
    body = "".join(
        "<tr>" + "".join(f"<td>{shown(values[i])}</td>" for values in kept.values()) + "</tr>"
        for i in range(min(length, rows))
    )
    more = f"<p>... and {length - rows} more</p>" if length > rows else ""
    title = f"<caption>{html.escape(caption)}</caption>"
    return f"<table>{title}<thead><tr>{head}</tr></thead><tbody>{body}</tbody></table>{more}"


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

    def _repr_html_(self) -> str:
        return _html_table(_frames.columns_of(self._handle.table("ranking")), self._caption())

    def _caption(self) -> str:
        return type(self).__name__

    def __repr__(self) -> str:
        return self.text()

    def __reduce__(self) -> Any:
        raise TypeError(f"{type(self).__name__} cannot be pickled; keep its frames, its json or its bins.")


class FeatureSelectionResult(Result):
    """Result of :func:`velmora.rank`."""

    @property
    def best(self) -> list[str]:
        """Names of the predictors shown for the first outcome, best first."""
        best: list[str] = self.json["dependents"][0]["best"]
        return best

    def _caption(self) -> str:
        return "Predictors of " + ", ".join(d["name"] for d in self.json["dependents"])


class ScreenResult(Result):
    """Result of :func:`velmora.screen`."""

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

    def to_sql(self) -> str:
        """A query that adds the coded variables to a table, in standard SQL."""
        text: str = self._with(lambda bins: bins.text("sql"))
        return text

    def to_python(self) -> str:
        """A module with one function, ``code_case(values)``, that needs nothing but Python."""
        text: str = self._with(lambda bins: bins.text("python"))
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

    def apply(self, data: Any, *, progress: Progress | None = None) -> Any:
        """Codes data.

        Parameters
        ----------
        data : path, frame, dict or array
            It has the columns of the predictors, by name, in any order.
        progress : callable, optional
            Called with the stage and a fraction.

        Returns
        -------
        frame of the user's kind
            A column with the label of the bin and one per figure for each predictor, a row per case.
            A case without a bin has nothing in them.
        """
        return _frames.frame_of(self._apply(data, progress), _frames.kind_of(data))

    def _apply(self, data: Any, progress: Progress | None = None) -> Any:
        session = Session()
        with session.reporting(progress):
            _frames.load(session, data)
            bins: BinsHandle = session.load_bins(self._text)
            return bins.apply()

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
