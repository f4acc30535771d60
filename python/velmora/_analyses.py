"""The one-line jobs: rank and screen."""

from __future__ import annotations

from collections.abc import Sequence
from typing import Any

import numpy as np

from velmora import _frames, _progress
from velmora._library import Progress, Session
from velmora._results import Bins, FeatureSelectionResult, MonitorResult, ScreenResult, load_bins

_READING = (
    "delimiter",
    "encoding",
    "no_header",
    "ragged",
    "date_parts",
    "since",
    "missing_text",
    "sheet",
    "range",
    "table",
    "sql_from",
)


def _load(session: Session, data: Any, options: dict[str, Any]) -> None:
    reading = {name: options.pop(name) for name in _READING if name in options}
    if "threads" in options:  # of reading and of computing
        reading["threads"] = options["threads"]
    _frames.load(session, data, reading)


def _outcome_names(session: Session, data: Any, outcome: Any, name: str) -> list[str]:
    """Names of the outcome; one that is given by its values becomes a variable."""
    if isinstance(outcome, str):
        return [outcome]
    if isinstance(outcome, Sequence) and outcome and all(isinstance(item, str) for item in outcome):
        known = {variable["name"] for variable in session.variables()["variables"]}
        if known.issuperset(outcome):
            return list(outcome)
    added = _frames.unused_name(name, _frames.column_names(data))
    _frames.add_array(session, added, np.asarray(outcome))
    return [added]


def rank(
    data: Any,
    outcome: Any,
    *,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    progress: Progress | bool | None = None,
    **options: Any,
) -> FeatureSelectionResult:
    """Ranks the variables of a table by how strongly they are related to an outcome.

    Every predictor is tested on its own. The effect is epsilon squared of a continuous outcome and
    Cramer's V of a categorical one, both corrected for the number of levels; continuous predictors
    are cut into intervals first.

    Parameters
    ----------
    data : path, frame, dict or array
        A file of any kind that the command reads, or the address of a table in a database server;
        ``sheet``, ``range``, ``table`` and ``sql_from`` are among its options. Or a pandas,
        polars or pyarrow frame, or any object with ``__arrow_c_stream__``; a dict of columns; an
        array of shape (n_cases, n_variables).
    outcome : str, list of str, or array of shape (n_cases,)
        Names of columns, or the values themselves.
    predictors : list of str, optional
        Names or patterns such as ``"income_*"``. Default: every usable variable; identifiers,
        dates, constants and free text are left out, which ``notices`` of the result says.
    weight : str, optional
        The column of case weights.
    progress : callable or bool, optional
        Called about twenty times a second with the stage and a fraction from 0 to 1; a result of
        ``False`` ends the run. True shows a bar, which needs tqdm.
    **options
        The long options of ``velmora feature-selection`` with underscores: ``select="age > 30"``,
        ``missing={"income": [-9, -8]}``, ``show="p"``, ``best=20``, ``casewise=True``.

    Returns
    -------
    FeatureSelectionResult

    Raises
    ------
    ValueError
        A name or an option is wrong; the sentence names it.
    VelmoraError
        The data or the analysis failed.

    Examples
    --------
    >>> import velmora
    >>> data = {"size": [1, 2, 3, 4] * 5, "day": [1, 2] * 10, "late": list("nnyy") * 5}
    >>> velmora.rank(data, "late", best=1).best
    ['size']
    """
    session = Session()
    with _progress.shown(progress) as report, session.reporting(report):
        _load(session, data, options)
        options["dependents"] = _outcome_names(session, data, outcome, "y")
        options |= {"predictors": predictors, "weight": weight}
        handle = session.run("feature-selection", options)
    return FeatureSelectionResult(handle, _frames.kind_of(data), session.notices())


def _response_option(session: Session, name: str, kind: str | None, is_binary: bool) -> str:
    kinds = ("binary", "continuous", "categorical")
    if kind is None and is_binary:
        kind = "binary"
    if kind is None:
        by_name = {variable["name"]: variable for variable in session.variables()["variables"]}
        variable = by_name.get(name)
        if variable is None or variable["measurement"] == "continuous":
            kind = "continuous"
        else:
            kind = "binary" if variable["distinct"] == 2 else "categorical"
    if kind not in kinds:
        raise ValueError(f"kind is 'binary', 'continuous' or 'categorical', not {kind!r}.")
    return f"{kind}_response"


def screen(
    data: Any,
    response: Any,
    *,
    good: Any = None,
    bad: Any = None,
    kind: str | None = None,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    progress: Progress | bool | None = None,
    **options: Any,
) -> ScreenResult:
    """Bins every predictor and scores how well the bins predict a response.

    Parameters
    ----------
    data : path, frame, dict or array
        As for :func:`rank`.
    response : str, or array of shape (n_cases,)
        The name of a column, or the values themselves.
    good, bad : str or number, optional
        The two codes of a binary response, which needs both.
    kind : {"binary", "continuous", "categorical"}, optional
        Default: binary with ``good`` and ``bad`` or two values, else as the column is treated.
    predictors, weight, progress
        As for :func:`rank`.
    **options
        The long options of ``velmora screen`` with underscores, such as ``select="age > 30"``.

    Returns
    -------
    ScreenResult

    Raises
    ------
    ValueError
        A name, a code or an option is wrong; the sentence names it.
    VelmoraError
        The data or the analysis failed.
    """
    session = Session()
    with _progress.shown(progress) as report, session.reporting(report):
        _load(session, data, options)
        (name,) = _outcome_names(session, data, response, "y")
        option = _response_option(session, name, kind, good is not None or bad is not None)
        options |= {option: name, "predictors": predictors, "weight": weight}
        for code, value in (("good", good), ("bad", bad)):
            options[code] = value if value is None or isinstance(value, str) else _code(value)
        handle = session.run("screen", options)
    return ScreenResult(handle, _frames.kind_of(data), session.notices())


def monitor(
    bins: Any,
    data: Any,
    *,
    response: str | None = None,
    fail_on: Sequence[str] | str | None = None,
    weight: str | None = None,
    count: str | None = None,
    raw_weights: bool = False,
    select: str | None = None,
    progress: Progress | bool | None = None,
) -> MonitorResult:
    """Compares new cases with those that bins were made from.

    The population stability index of every predictor and of the score, rates, weights of evidence,
    information values, AUC and KS then and now, and levels that the bins do not have.

    Parameters
    ----------
    bins : Bins, Scorecard, Binning, or path
        Bins with their counts; a scorecard's, too.
    data : path, frame, dict or array
        As for :func:`rank`, with the predictors by name.
    response : str, optional
        The column of the response where it is called otherwise. Without a response, shares are
        compared and the rest is not known.
    fail_on : str or list of str, optional
        Conditions such as ``"psi>0.25"``; ``met`` of the result lists those that hold.
    weight, select, progress
        As for :func:`rank`.
    count : str, optional
        The column of the number of equal cases that each row represents.
    raw_weights : bool, default=False
        Weights as they are instead of relative to their mean.

    Returns
    -------
    MonitorResult

    Examples
    --------
    >>> import velmora
    >>> data = {"size": [1, 2, 3, 4] * 25, "late": list("nnyy") * 25}
    >>> bins = velmora.screen(data, "late", good="n", bad="y").bins()
    >>> velmora.monitor(bins, {"size": [3, 4, 4, 3] * 25}, fail_on="psi>0.25").met
    ['psi>0.25']
    """
    saved = getattr(bins, "bins_", bins)
    if not isinstance(saved, Bins):
        saved = load_bins(saved)
    session = Session()
    with _progress.shown(progress) as report, session.reporting(report):
        _frames.load(session, data)
        options: dict[str, Any] = {"response": response, "fail-on": fail_on, "select": select}
        options |= {"weight": weight, "count": count, "raw-weights": raw_weights}
        handle = session.load_bins(saved._text).monitor(options)
    result = MonitorResult(handle, _frames.kind_of(data), session.notices())
    result.notices += result.json["run"]["notices"]
    return result


def _code(value: Any) -> str:
    """A code of a response as the library reads it."""
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    number = float(value)
    return str(int(number)) if number.is_integer() else repr(number)
