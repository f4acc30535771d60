"""The analyses on Apache Spark: what :func:`velmora.rank` and :func:`velmora.screen` find.

>>> from velmora import spark  # doctest: +SKIP
>>> spark.rank(df, "risk").ranking  # doctest: +SKIP
>>> bins = spark.Binning("risk", good="good", bad="bad").fit(df)  # doctest: +SKIP
>>> bins.transform(df).write.parquet("coded")  # doctest: +SKIP

No row leaves the executors. Every partition becomes a state of a few kilobytes to megabytes, states
merge in a tree, and the driver makes the result. There are two Spark jobs, however many predictors
there are. Executors need this package and pyarrow. PySpark 3.5 and 4, also by Spark Connect.
"""

from __future__ import annotations

import contextlib
import math
import uuid
from collections.abc import Callable, Iterable, Iterator, Sequence
from typing import Any

from velmora._analyses import _code
from velmora._library import Session, VelmoraError
from velmora._parts import Run, cells_for
from velmora._results import Bins, FeatureSelectionResult, ScreenResult

__all__ = ["Binning", "rank", "screen"]

_FEW_STATES = 8  # merged by the driver alone, unless they are large
_USUAL_STATES = 200  # where Spark does not say how many partitions there are
_TASK_BYTES = 1 << 29  # of the states that a task or the driver merges: Spark hands them over in one piece
_CELL_BYTES = 17  # of a different number in a state, or nearly so
_MOST_BYTES = 1 << 30  # of a state: Spark carries no value of 2 GB
# A state, or the sentence that says why there is none: an exception would come back as the trace of a
# task that Spark has run four times.
_STATE_SCHEMA = "state binary, failure string"
_USABLE = ("string", "boolean", "tinyint", "smallint", "int", "bigint", "float", "double", "date")


def _is_usable(type_name: str) -> bool:
    return type_name in _USABLE or type_name.startswith(("decimal", "timestamp", "varchar", "char"))


def _named(names: Sequence[str] | str | None) -> list[str]:
    return [names] if isinstance(names, str) else list(names or [])


def _columns(df: Any, needed: list[str], predictors: list[str]) -> list[str]:
    """The columns that the executors read: all that can be predictors, or those that were named."""
    types = dict(df.dtypes)
    for name in needed + predictors:
        if name not in types:
            raise ValueError(
                f"There is no column {name!r} in the data; it has {', '.join(list(types)[:10])}."
            )
    wanted = set(needed) | set(predictors)
    names = [name for name in df.columns if not predictors or name in wanted]
    kept = [name for name in names if _is_usable(types[name])]
    for name in wanted.difference(kept):
        raise ValueError(f"The column {name!r} holds {types[name]}, which is no number or text.")
    return kept


def _answer(state: Callable[[], bytes | None]) -> Iterator[Any]:
    """What a task sends: its state, if it has any cases, or why it failed."""
    import pyarrow

    made, failure = None, None
    try:
        made = state()
        if made is not None and len(made) > _MOST_BYTES:
            failure = (
                f"The state of a part of the data takes {len(made) / 1e9:.1f} GB, more than Spark carries "
                "from task to task; name fewer predictors, or give a lower number of cells."
            )
            made = None
    except (VelmoraError, ValueError) as error:
        failure = str(error)
    if made is not None or failure is not None:
        row = [pyarrow.array([made], pyarrow.binary()), pyarrow.array([failure], pyarrow.string())]
        yield pyarrow.RecordBatch.from_arrays(row, ["state", "failure"])


def _partition_task(run: Run) -> Any:
    def task(batches: Iterable[Any]) -> Iterator[Any]:
        yield from _answer(lambda: run.state_of(batches))

    return task


def _merge_task(run: Run) -> Any:
    def task(batches: Iterable[Any]) -> Iterator[Any]:
        rows = [row for batch in batches for row in batch.to_pylist()]
        if rows:
            yield from _answer(lambda: _merged(run, Session(), rows).to_bytes())

    return task


def _merged(run: Run, session: Session, rows: Sequence[Any]) -> Any:
    """One state of the rows that tasks sent. Raises what the first failure says."""
    for row in rows:
        if row["failure"] is not None:
            raise VelmoraError(row["failure"])
    return run.merged(session, (bytes(row["state"]) for row in rows))


def _is_connect(df: Any) -> bool:
    return getattr(df.sparkSession, "_sc", None) is None


@contextlib.contextmanager
def _job_group(df: Any, description: str) -> Iterator[None]:
    """Names the jobs in Spark's UI; an interrupt of the program cancels them."""
    session = df.sparkSession
    group = f"velmora-{uuid.uuid4()}"
    if _is_connect(df):
        session.addTag(group)
        try:
            yield
        except BaseException:
            session.interruptTag(group)
            raise
        finally:
            session.removeTag(group)
        return
    context = session.sparkContext
    properties = ("spark.jobGroup.id", "spark.job.description", "spark.job.interruptOnCancel")
    before = {name: context.getLocalProperty(name) for name in properties}
    context.setJobGroup(group, description, interruptOnCancel=True)
    try:
        yield
    except BaseException:
        context.cancelJobGroup(group)
        raise
    finally:
        for name, value in before.items():
            context.setLocalProperty(name, value)


def _partitions(df: Any) -> int:
    if _is_connect(df):
        return _USUAL_STATES
    return int(df.rdd.getNumPartitions())


def _merges(partitions: int, state_bytes: int) -> list[int]:
    """How many states are left after each merge on the executors; the driver gets the last ones."""
    left = []
    at_once = max(2, min(max(2 * _FEW_STATES, math.isqrt(partitions)), _TASK_BYTES // max(state_bytes, 1)))
    while partitions > _FEW_STATES or (partitions > 1 and partitions * state_bytes > _TASK_BYTES):
        partitions = math.ceil(partitions / at_once)
        left.append(partitions)
    return left


def _pass(df: Any, run: Run, session: Session, state_bytes: int, description: str) -> Any:
    """One pass over the rows: the merged state."""
    states = df.mapInArrow(_partition_task(run), _STATE_SCHEMA)
    for count in _merges(_partitions(df), state_bytes):
        states = states.repartition(count).mapInArrow(_merge_task(run), _STATE_SCHEMA)
    with _job_group(df, description):
        try:
            rows = states.collect()
        except Exception as error:
            failure = getattr(error, "java_exception", None)
            if failure is None:  # of PySpark, which speaks for itself
                raise
            reason = str(failure.getMessage()).partition("\n")[0].rstrip(". ")
            raise VelmoraError(f"Spark gave up {description}: {reason}.") from error
    return _merged(run, session, rows)


def _run(df: Any, columns: list[str], run: Run, title: str) -> tuple[Any, list[str]]:
    import pyspark.sql.functions as functions

    chosen = df.select([functions.col("`" + name.replace("`", "``") + "`") for name in columns])
    session = Session()
    run.empty(session)  # wrong options are reported before any job
    values = f"velmora: {title}, pass 1 of 2: values of {len(columns)} columns"
    survey = _pass(chosen, run, session, run.settings["cells"] * len(columns) * _CELL_BYTES, values)
    run.second = survey.second_pass()
    counts = f"velmora: {title}, pass 2 of 2: cases by interval and level"
    sums = _pass(chosen, run, session, 4 * len(run.second), counts)
    return survey.finish(sums), session.notices()


def _settings(columns: list[str], cells: int | None) -> dict[str, Any]:
    return {"cells": cells_for(len(columns)) if cells is None else cells}


def rank(
    df: Any,
    outcome: str | Sequence[str],
    *,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    cells: int | None = None,
    **options: Any,
) -> FeatureSelectionResult:
    """Ranks the columns of a Spark frame by how strongly they are related to an outcome.

    Parameters
    ----------
    df : pyspark.sql.DataFrame
        It is read twice; cache it when it is costly to make. It must give the same rows both times.
    outcome : str or list of str
        Names of columns.
    predictors : list of str, optional
        Names. Default: every usable column, as :func:`velmora.rank` says.
    weight : str, optional
        The column of case weights.
    cells : int, optional
        How many different values of a number are kept apart; beyond it ends of intervals come from
        cells of values, and a notice says how exact they are. Default: from 6,400 (many columns) to
        65,536.
    **options
        As of :func:`velmora.rank`, without ``strata``, ``clusters`` and ``classic``.
        ``select="age > 30"`` is an expression of this package; a condition of Spark goes into
        ``df.where`` instead.

    Returns
    -------
    FeatureSelectionResult
        Its frames are of pandas.
    """
    outcomes, named = _named(outcome), _named(predictors)
    needed = [*outcomes, *_named(weight), *_named(options.get("count"))]
    # A selection may use any column.
    selects = options.get("select") or options.get("exclude")
    columns = _columns(df, needed, [] if selects else named)
    run = Run(
        "feature-selection",
        {**options, "dependents": outcomes, "predictors": named or None, "weight": weight},
        _settings(columns, cells),
    )
    handle, notices = _run(df, columns, run, "rank " + ", ".join(outcomes))
    return FeatureSelectionResult(handle, "pandas", notices)


def _response_option(df: Any, response: str, kind: str | None, is_binary: bool) -> str:
    if kind is None:
        texts = ("string", "boolean", "varchar", "char")
        is_text = dict(df.dtypes).get(response, "").startswith(texts)
        kind = "binary" if is_binary else "categorical" if is_text else "continuous"
    if kind not in ("binary", "continuous", "categorical"):
        raise ValueError(f"kind is 'binary', 'continuous' or 'categorical', not {kind!r}.")
    return f"{kind}_response"


def screen(
    df: Any,
    response: str,
    *,
    good: Any = None,
    bad: Any = None,
    kind: str | None = None,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    cells: int | None = None,
    **options: Any,
) -> ScreenResult:
    """Bins every column of a Spark frame and scores how well the bins predict a response.

    Parameters
    ----------
    df, weight, cells
        As of :func:`rank`.
    response : str
        The name of a column.
    good, bad : str or number, optional
        The two codes of a binary response, which needs both.
    kind : {"binary", "continuous", "categorical"}, optional
        Default: binary with ``good`` and ``bad``, categorical for texts, else continuous.
    predictors : list of str, optional
    **options
        As of :func:`velmora.screen`, without trees, ``classic``, ``special`` and ``cut_points``.

    Returns
    -------
    ScreenResult
        Its frames are of pandas. Figures that need the order of all cases are empty.
    """
    named = _named(predictors)
    selects = options.get("select") or options.get("exclude")
    columns = _columns(df, [response, *_named(weight)], [] if selects else named)
    words = {**options, "predictors": named or None, "weight": weight}
    words[_response_option(df, response, kind, good is not None or bad is not None)] = response
    for code, value in (("good", good), ("bad", bad)):
        words[code] = value if value is None or isinstance(value, str) else _code(value)
    run = Run("screen", words, _settings(columns, cells))
    handle, notices = _run(df, columns, run, f"screen {response}")
    return ScreenResult(handle, "pandas", notices)


class Binning:
    """Bins of the columns of a Spark frame, and columns coded by them.

    Parameters
    ----------
    response : str
    best : int, optional
        How many predictors are coded, the best ones; default: all.
    **options
        As of :func:`screen`.

    Attributes
    ----------
    result_ : ScreenResult
    bins_ : Bins
        To be saved, edited, or applied elsewhere.

    Examples
    --------
    >>> coded = Binning("risk", good="good", bad="bad").fit(train).transform(test)  # doctest: +SKIP
    """

    def __init__(self, response: str, *, best: int | None = None, **options: Any) -> None:
        self.response = response
        self.best = best
        self.options = options
        self.result_: ScreenResult | None = None
        self.bins_: Bins | None = None

    def fit(self, df: Any) -> Binning:
        """Finds the bins."""
        self.result_ = screen(df, self.response, **self.options)
        self.bins_ = self.result_.bins(self.best)
        return self

    def transform(self, df: Any) -> Any:
        """df with the label of the bin and its figures for each predictor, as columns of Spark alone."""
        if self.bins_ is None:
            raise ValueError("The Binning has not been fitted; call fit first.")
        return transform(df, self.bins_)


def transform(df: Any, bins: Bins) -> Any:
    """df with the columns that bins give, as CASE expressions of Spark: no Python runs on the executors."""
    view = "velmora_" + uuid.uuid4().hex
    df.createOrReplaceTempView(view)
    try:
        return df.sparkSession.sql(bins.to_sql("spark", table=view))
    finally:
        # Spark Connect looks the view up whenever the frame is used, so there the view lasts as
        # long as the session.
        if not _is_connect(df):
            df.sparkSession.catalog.dropTempView(view)
