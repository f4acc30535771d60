"""The analyses on Apache Spark: what :func:`velmora.rank` and :func:`velmora.screen` find.

>>> from velmora import spark  # doctest: +SKIP
>>> spark.rank(df, "risk").ranking  # doctest: +SKIP
>>> bins = spark.Binning("risk", good="good", bad="bad").fit(df)  # doctest: +SKIP
>>> bins.transform(df).write.parquet("coded")  # doctest: +SKIP

No row leaves the executors. They read the Parquet files of a plain frame themselves and take the rows of
any other from Spark. Every partition becomes a state of a few kilobytes to megabytes, states merge in a
tree, and the driver makes the result. There are two Spark jobs, however many predictors there are.
Executors need this package and pyarrow. PySpark 3.5 and 4, also by Spark Connect.
"""

from __future__ import annotations

import contextlib
import math
import uuid
from collections.abc import Callable, Iterable, Iterator, Sequence
from typing import Any

from velmora._analyses import _code
from velmora._library import Session, VelmoraError
from velmora._parquet import ChangedFileError, Scan, UnlikeRowsError, batches_of, scan_of
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
# task: that sent it. target: by which it is dealt. unlike: why files cannot be read in place of rows.
_STATE_SCHEMA = "task int, target int, state binary, failure string, unlike string"
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


def _answer(task: int, targets: list[int], state: Callable[[], bytes | None]) -> Iterator[Any]:
    """What a task sends: its state, if it has any cases, or why it has none."""
    import pyarrow

    made, failure, unlike = None, None, None
    try:
        made = state()
        if made is not None and len(made) > _MOST_BYTES:
            failure = (
                f"The state of a part of the data takes {len(made) / 1e9:.1f} GB, more than Spark carries "
                "from task to task; name fewer predictors, or give a lower number of cells."
            )
            made = None
    except (VelmoraError, ValueError, ChangedFileError) as error:
        failure = str(error)
    except UnlikeRowsError as error:
        unlike = str(error)
    if made is not None or failure is not None or unlike is not None:
        row = {
            "task": pyarrow.array([task], pyarrow.int32()),
            "target": pyarrow.array([targets[task % len(targets)]], pyarrow.int32()),
            "state": pyarrow.array([made], pyarrow.binary()),
            "failure": pyarrow.array([failure], pyarrow.string()),
            "unlike": pyarrow.array([unlike], pyarrow.string()),
        }
        yield pyarrow.RecordBatch.from_pydict(row)


def _task_number() -> int:
    """The partition that a task works on, which is the same when it is run again."""
    from pyspark import TaskContext

    context = TaskContext.get()
    return 0 if context is None else context.partitionId()


def _partition_task(run: Run, targets: list[int], source: Scan | list[str]) -> Any:
    """The state of rows, whose columns have these names, or of the shares whose numbers the rows are."""

    def task(batches: Iterable[Any]) -> Iterator[Any]:
        import pyarrow

        if isinstance(source, list):
            read = (pyarrow.RecordBatch.from_arrays(batch.columns, names=source) for batch in batches)
        else:
            shares = [number for batch in batches for number in batch.column(0).to_pylist()]
            read = (batch for share in shares for batch in batches_of(source, share))
        yield from _answer(_task_number(), targets, lambda: run.state_of(read))

    return task


def _merge_task(run: Run, targets: list[int]) -> Any:
    def task(batches: Iterable[Any]) -> Iterator[Any]:
        rows = [row for batch in batches for row in batch.to_pylist()]
        if rows:
            yield from _answer(_task_number(), targets, lambda: _merged(run, Session(), rows).to_bytes())

    return task


def _merged(run: Run, session: Session, rows: Sequence[Any]) -> Any:
    """One state of the rows that tasks sent, in the order of the tasks. Raises what the first one says."""
    in_order = sorted(rows, key=lambda row: int(row["task"]))
    for row in in_order:
        if row["unlike"] is not None:
            raise UnlikeRowsError(row["unlike"])
    for row in in_order:
        if row["failure"] is not None:
            raise VelmoraError(row["failure"])
    return run.merged(session, (bytes(row["state"]) for row in in_order))


def _hash(number: int) -> int:
    """Spark's hash of an int: MurmurHash3 of one word (Austin Appleby, public domain), seed 42."""

    def rotated(word: int, by: int) -> int:
        return (word << by | word >> (32 - by)) & 0xFFFFFFFF

    word = rotated(number * 0xCC9E2D51 & 0xFFFFFFFF, 15) * 0x1B873593 & 0xFFFFFFFF
    mixed = (rotated(42 ^ word, 13) * 5 + 0xE6546B64) & 0xFFFFFFFF ^ 4
    mixed = (mixed ^ mixed >> 16) * 0x85EBCA6B & 0xFFFFFFFF
    mixed = (mixed ^ mixed >> 13) * 0xC2B2AE35 & 0xFFFFFFFF
    mixed ^= mixed >> 16
    return mixed - (1 << 32) if mixed >= 1 << 31 else mixed


def _targets(partitions: int) -> list[int]:
    """A number for each of so many partitions that Spark's hash puts there, and nothing else.

    States are dealt by them: in equal numbers, and the same way when a task is run again.
    """
    found: dict[int, int] = {}
    number = 0
    while len(found) < partitions:
        found.setdefault(_hash(number) % partitions, number)
        number += 1
    return [found[partition] for partition in range(partitions)]


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


def _pass(
    df: Any, source: Scan | list[str], run: Run, session: Session, state_bytes: int, description: str
) -> Any:
    """One pass over what _partition_task reads: the merged state."""
    counts = _merges(_partitions(df), state_bytes)
    targets = [_targets(count) for count in counts] + [[0]]
    states = df.mapInArrow(_partition_task(run, targets[0], source), _STATE_SCHEMA)
    for count, following in zip(counts, targets[1:], strict=True):
        states = states.repartition(count, "target").mapInArrow(_merge_task(run, following), _STATE_SCHEMA)
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


def _both_passes(df: Any, source: Scan | list[str], run: Run, title: str) -> tuple[Any, list[str]]:
    session = Session()
    run.empty(session)  # wrong options are reported before any job
    columns = len(source if isinstance(source, list) else source.columns)
    values = f"velmora: {title}, pass 1 of 2: values of {columns} columns"
    survey = _pass(df, source, run, session, run.settings["cells"] * columns * _CELL_BYTES, values)
    run.second = survey.second_pass()
    counts = f"velmora: {title}, pass 2 of 2: cases by interval and level"
    sums = _pass(df, source, run, session, 4 * len(run.second), counts)
    return survey.finish(sums), session.notices()


def _run(df: Any, columns: list[str], run: Run, title: str, source: str) -> tuple[Any, list[str]]:
    import pyspark.sql.functions as functions

    if source not in ("auto", "rows", "files"):
        raise ValueError(f"source is 'auto', 'rows' or 'files', not {source!r}.")
    chosen = df.select([functions.col("`" + name.replace("`", "``") + "`") for name in columns])
    reason = "as asked for"
    if source != "rows":
        try:
            if _is_connect(df):
                raise UnlikeRowsError("Spark Connect does not show which files a frame is made of")
            scan = scan_of(chosen)
            shares = df.sparkSession.range(0, len(scan.shares), 1, len(scan.shares))
            handle, notices = _both_passes(shares, scan, run, title)
            files = "1 file" if scan.files == 1 else f"{scan.files:,} files"
            return handle, [*notices, f"The executors read {files} themselves."]
        except UnlikeRowsError as error:
            if source == "files":
                raise VelmoraError(f"The files cannot be read in place of the frame: {error}.") from error
            reason, run.second = str(error), None
    # Spark 3.5 hands over no columns whose names have points.
    numbered = chosen.toDF(*[f"c{i}" for i in range(len(columns))])
    handle, notices = _both_passes(numbered, columns, run, title)
    return handle, [*notices, f"Spark handed over the rows of the frame: {reason}."]


def _settings(columns: list[str], cells: int | None) -> dict[str, Any]:
    return {"cells": cells_for(len(columns)) if cells is None else cells}


def rank(
    df: Any,
    outcome: str | Sequence[str],
    *,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    cells: int | None = None,
    source: str = "auto",
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
    source : {"auto", "rows", "files"}
        Whether executors read the Parquet files of a frame that is no more than their columns
        ("files"), which spares Spark turning every cell into what Python takes, or Spark hands over
        rows ("rows"). Default: files where they can be read as Spark does, else rows; a notice says
        which and why.
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
    handle, notices = _run(df, columns, run, "rank " + ", ".join(outcomes), source)
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
    source: str = "auto",
    **options: Any,
) -> ScreenResult:
    """Bins every column of a Spark frame and scores how well the bins predict a response.

    Parameters
    ----------
    df, weight, cells, source
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
    handle, notices = _run(df, columns, run, f"screen {response}", source)
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
