"""Parquet files that Spark's executors read themselves, when a frame is no more than their columns.

Spark hands rows to Python cell by cell. A frame that is a plain scan of files need not go that way:
the driver asks Spark's plan which files and columns they are, and the executors read the row groups as
columns by pyarrow. Where that might read something else than Spark does, :class:`UnlikeRowsError` says
why, and the rows are taken from Spark.
"""

from __future__ import annotations

import os
from collections.abc import Iterator
from dataclasses import dataclass
from typing import Any

_BATCH_BYTES = 1 << 26  # of the numbers of a batch
_MOST_ROWS, _FEWEST_ROWS = 1 << 18, 10_000  # of a batch
_SHARE_BYTES = 1 << 29  # of files, per task, where there are more
_LEAST_SHARE_BYTES = 1 << 24  # a smaller share is not worth a task
_SPARK_VERSION = b"org.apache.spark.version"
_LEGACY_MARKS = (b"org.apache.spark.legacyDateTime", b"org.apache.spark.legacyINT96")
# Before these Spark may count days by another calendar: of dates, and of points in time, in their units.
_FIRST_PLAIN_DAY = -141_427  # 1582-10-15
_FIRST_PLAIN_MICROSECOND = -2_208_988_800_000_000  # 1900-01-01


class UnlikeRowsError(Exception):
    """Why the files cannot be read in place of the frame."""


class ChangedFileError(Exception):
    """A file is not the one that Spark listed."""


@dataclass(frozen=True)
class Piece:
    """The row groups of a file that begin within a range of bytes."""

    path: str
    size: int
    modified: int  # milliseconds since 1970
    begin: int
    end: int


@dataclass(frozen=True)
class Scan:
    """What the executors read: the columns of the files, the names that the frame gives them, their types."""

    columns: list[str]
    names: list[str]
    types: list[Any]
    files: int
    shares: list[list[Piece]]


def scan_of(df: Any) -> Scan:
    """The files whose columns a frame of Spark is. Raises UnlikeRowsError when it is anything else."""
    from py4j.protocol import Py4JError

    try:
        return _scan_of(df)
    except Py4JError as error:  # of a version of Spark whose plans are different
        raise UnlikeRowsError("this version of Spark does not show its files") from error


def _class_of(thing: Any) -> str:
    return str(thing.getClass().getSimpleName())


def _items(sequence: Any) -> Iterator[Any]:
    return (sequence.apply(i) for i in range(sequence.size()))


def _scan_of(df: Any) -> Scan:
    plan = df._jdf.queryExecution().optimizedPlan()
    projections = []
    while _class_of(plan) == "Project":
        projections.append(plan.projectList())
        plan = plan.child()
    if _class_of(plan) != "LogicalRelation" or _class_of(plan.relation()) != "HadoopFsRelation":
        raise UnlikeRowsError("the frame is more than columns of Parquet files, or cached")
    relation = plan.relation()
    if _class_of(relation.fileFormat()) != "ParquetFileFormat":
        raise UnlikeRowsError("the files are not Parquet files")
    if relation.partitionSchema().length() > 0:
        raise UnlikeRowsError("the files are in folders by partition")
    if _class_of(relation.location()) != "InMemoryFileIndex":
        raise UnlikeRowsError("the files belong to a table of a catalog")
    columns = {attribute.exprId().id(): attribute.name() for attribute in _items(plan.output())}
    for projection in reversed(projections):
        for expression in _items(projection):
            if _class_of(expression) == "AttributeReference":
                continue
            if _class_of(expression) != "Alias" or _class_of(expression.child()) != "AttributeReference":
                raise UnlikeRowsError("columns of the frame are computed")
            columns[expression.exprId().id()] = columns[expression.child().exprId().id()]
    output = df._jdf.queryExecution().optimizedPlan().output()
    chosen = [columns[attribute.exprId().id()] for attribute in _items(output)]
    if any("." in name for name in chosen) or len(set(chosen)) < len(chosen):
        raise UnlikeRowsError("names of its columns have points or occur twice")
    conf = df.sparkSession.conf
    if conf.get("spark.sql.parquet.fieldId.read.enabled", "false") == "true":
        raise UnlikeRowsError("columns are found by their field ids")
    files = []
    for status in _items(relation.location().allFiles()):
        place = status.getPath().toUri()
        if place.getScheme() not in (None, "file"):
            raise UnlikeRowsError(f"the files are at {place.getScheme()}:, not in folders that executors see")
        files.append((str(place.getPath()), int(status.getLen()), int(status.getModificationTime())))
    if not files:
        raise UnlikeRowsError("there are no files")
    parallel = int(df.sparkSession.sparkContext.defaultParallelism)
    zone = conf.get("spark.sql.session.timeZone")
    return Scan(chosen, list(df.columns), _types(df, zone), len(files), _shares(files, parallel))


def _types(df: Any, zone: str) -> list[Any]:
    """What Spark would hand over, as types of Arrow."""
    import pyarrow
    from pyspark.sql.pandas.types import to_arrow_type

    types = [to_arrow_type(field.dataType) for field in df.schema]
    return [
        pyarrow.timestamp("us", zone) if pyarrow.types.is_timestamp(t) and t.tz is not None else t
        for t in types
    ]


def _shares(files: list[tuple[str, int, int]], parallel: int) -> list[list[Piece]]:
    """Tasks for all cores, of about as many bytes each."""
    total = sum(size for _, size, _ in files)
    count = max(-(-total // _SHARE_BYTES), min(-(-total // _LEAST_SHARE_BYTES), 2 * parallel), 1)
    share = -(-total // count)
    shares: list[list[Piece]] = [[]]
    left = share
    for path, size, modified in sorted(files):
        begin = 0
        while begin < size:
            if left == 0:
                shares.append([])
                left = share
            end = min(size, begin + left)
            shares[-1].append(Piece(path, size, modified, begin, end))
            left -= end - begin
            begin = end
    return shares


def batches_of(scan: Scan, share: int) -> Iterator[Any]:
    """The record batches of a share, as Spark would hand them over."""
    for piece in scan.shares[share]:
        yield from _batches_of_piece(scan, piece)


def _check_unchanged(piece: Piece) -> None:
    try:
        found = os.stat(piece.path)
    except OSError as error:
        raise UnlikeRowsError(f"an executor does not reach {piece.path}: {error.strerror}") from error
    milliseconds = found.st_mtime_ns // 1_000_000
    # Some Java runtimes know whole seconds alone.
    in_seconds = piece.modified % 1000 == 0 and piece.modified // 1000 == milliseconds // 1000
    if found.st_size != piece.size or (piece.modified != milliseconds and not in_seconds):
        raise ChangedFileError(
            f"The file {piece.path} has changed since Spark listed it; read the frame again."
        )


def _batches_of_piece(scan: Scan, piece: Piece) -> Iterator[Any]:
    import pyarrow
    from pyarrow import parquet

    _check_unchanged(piece)
    try:
        with parquet.ParquetFile(piece.path, coerce_int96_timestamp_unit="us", pre_buffer=False) as file:
            groups = [g for g in range(file.num_row_groups) if piece.begin <= _begin_of(file, g) < piece.end]
            if not groups:
                return
            reader = _FileColumns(scan, piece.path, file)
            rows = max(_FEWEST_ROWS, min(_MOST_ROWS, _BATCH_BYTES // (8 * len(scan.columns))))
            for batch in file.iter_batches(
                rows, row_groups=groups, columns=reader.present, use_threads=False
            ):
                yield reader.as_spark(batch)
    except (pyarrow.ArrowException, OSError) as error:
        raise UnlikeRowsError(
            f"pyarrow does not read {piece.path}: {str(error).partition(chr(10))[0]}"
        ) from error


def _begin_of(file: Any, group: int) -> int:
    first = file.metadata.row_group(group).column(0)
    return int(min(at for at in (first.dictionary_page_offset, first.data_page_offset) if at))


class _FileColumns:
    """The columns of a file with the names and types of the frame."""

    def __init__(self, scan: Scan, path: str, file: Any) -> None:
        self.scan, self.path = scan, path
        fields = {field.name: field for field in file.schema_arrow}
        if len(fields) < len(file.schema_arrow):
            raise UnlikeRowsError(f"columns of {path} have the same name")
        folded = {name.casefold() for name in fields}
        for name in scan.columns:
            if name not in fields and name.casefold() in folded:
                raise UnlikeRowsError(f"the column {name} of {path} is written differently")
        self.present = [name for name in scan.columns if name in fields]
        marks = file.metadata.metadata or {}
        self.is_plain = _SPARK_VERSION in marks and not any(mark in marks for mark in _LEGACY_MARKS)
        leaves = {leaf.path: leaf for leaf in (file.schema.column(i) for i in range(len(file.schema)))}
        self.of_utc = {  # Points in time of UTC whose type does not say so.
            name for name in self.present if name in leaves and leaves[name].physical_type == "INT96"
        }
        if self.of_utc and not self.is_plain:
            raise UnlikeRowsError(f"points in time in {path} may be of any zone")

    def as_spark(self, batch: Any) -> Any:
        import pyarrow

        at = {name: i for i, name in enumerate(batch.schema.names)}
        columns = []
        for name, wanted in zip(self.scan.columns, self.scan.types, strict=True):
            if name in at:
                columns.append(self._cast(name, batch.column(at[name]), wanted))
            else:  # as Spark: a file without the column has no values of it
                columns.append(pyarrow.nulls(batch.num_rows, wanted))
        return pyarrow.RecordBatch.from_arrays(columns, names=self.scan.names)

    def _cast(self, name: str, column: Any, wanted: Any) -> Any:
        from pyarrow import types

        has = column.type
        if types.is_dictionary(has):
            column = column.dictionary_decode()
            has = column.type
        alike = (
            has == wanted
            or (types.is_integer(has) and types.is_integer(wanted))
            or (_is_text(has) and _is_text(wanted))
            or (
                types.is_timestamp(has) and types.is_timestamp(wanted) and self._same_clock(name, has, wanted)
            )
        )
        if not alike:
            raise UnlikeRowsError(f"the column {name} is {has} in {self.path}, where Spark has {wanted}")
        if name in self.of_utc:
            column = column.cast("timestamp[us]").view("int64").view(wanted)
        elif has != wanted:
            column = column.cast(wanted)
        if not self.is_plain and (types.is_date(wanted) or types.is_timestamp(wanted)):
            self._check_calendar(name, column)
        return column

    def _same_clock(self, name: str, has: Any, wanted: Any) -> bool:
        return (has.tz is None and name not in self.of_utc) == (wanted.tz is None)

    def _check_calendar(self, name: str, column: Any) -> None:
        from pyarrow import compute, types

        is_date = types.is_date32(column.type)
        lowest = compute.min(column.view("int32" if is_date else "int64")).as_py()
        if lowest is not None and lowest < (_FIRST_PLAIN_DAY if is_date else _FIRST_PLAIN_MICROSECOND):
            raise UnlikeRowsError(f"{name} in {self.path} goes back to days whose calendar Spark decides on")


def _is_text(arrow_type: Any) -> bool:
    from pyarrow import types

    return bool(
        types.is_string(arrow_type) or types.is_large_string(arrow_type) or types.is_string_view(arrow_type)
    )
