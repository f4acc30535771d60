"""The analyses inside a database: it counts, and only counts leave it.

>>> import duckdb  # doctest: +SKIP
>>> from velmora import database  # doctest: +SKIP
>>> connection = duckdb.connect("bank.duckdb")  # doctest: +SKIP
>>> database.rank(connection, "loans", "risk").ranking  # doctest: +SKIP
>>> database.rank("postgresql://host/bank?table=loans", outcome="risk")  # doctest: +SKIP

PostgreSQL (by psycopg) and DuckDB. Values of numbers with more different values than ``cells`` are
grouped by the database between quantiles; sums come from ``GROUP BY GROUPING SETS``, so that one scan
serves many columns. Tables may be partitioned, foreign, or views.
"""

from __future__ import annotations

import contextlib
import math
import urllib.parse
import uuid
from collections.abc import Iterator, Sequence
from typing import Any

from velmora._analyses import _code
from velmora._library import Session
from velmora._parts import Run
from velmora._results import Bins, FeatureSelectionResult, ScreenResult

__all__ = ["create_view", "rank", "screen"]

_CASES, _SQUARES = "velmora cases", "velmora squares"
_COLUMNS_PER_SCAN = 20
_MOST_TEXTS = 100_000
_FEWEST_FOR_IDENTIFIER = 10
_NAN = "CAST('NaN' AS DOUBLE PRECISION)"

_WHOLE = (
    "smallint",
    "integer",
    "bigint",
    "tinyint",
    "hugeint",
    "ubigint",
    "uinteger",
    "usmallint",
    "utinyint",
)
_FRACTIONS = ("double", "float", "real", "numeric", "decimal")
_TEXTS = ("varchar", "text", "character", "enum", "uuid")


def _literal(value: float) -> str:
    if math.isinf(value):
        return f"CAST('{'-' if value < 0 else ''}Infinity' AS DOUBLE PRECISION)"
    return repr(float(value))


def _quoted(name: str) -> str:
    return '"' + name.replace('"', '""') + '"'


class _Database:
    """What differs between databases."""

    def __init__(self, connection: Any, table: str) -> None:
        module = type(connection).__module__.partition(".")[0].lstrip("_")
        if not module.startswith(("duckdb", "psycopg")):
            raise ValueError(f"The connection is of {module}; psycopg and duckdb are supported.")
        self.connection = connection
        self.dialect = "duckdb" if module.startswith("duckdb") else "postgresql"
        self.table = ".".join(_quoted(part) for part in table.split("."))

    def query(self, sql: str) -> list[tuple[Any, ...]]:
        cursor = self.connection.cursor()
        try:
            cursor.execute(sql)
            return list(cursor.fetchall())
        finally:
            cursor.close()

    def run(self, sql: str) -> None:
        cursor = self.connection.cursor()
        try:
            cursor.execute(sql)
        finally:
            cursor.close()

    def types(self) -> dict[str, str]:
        """Columns of the table and their types, in lower case."""
        if self.dialect == "duckdb":
            rows = self.query(f"DESCRIBE SELECT * FROM {self.table}")
        else:
            name = self.table.replace("'", "''")
            rows = self.query(
                "SELECT attname, format_type(atttypid, NULL) FROM pg_attribute WHERE attrelid = "
                f"'{name}'::regclass AND attnum > 0 AND NOT attisdropped ORDER BY attnum"
            )
        return {str(row[0]): str(row[1]).lower() for row in rows}

    def quantiles(self, column: str, count: int) -> str:
        """An expression: the values at count equal steps of the ordered column, as a list."""
        shares = ", ".join(repr(i / count) for i in range(1, count))
        if self.dialect == "duckdb":
            return f"quantile_disc({column}, [{shares}])"
        return f"percentile_disc(ARRAY[{shares}]) WITHIN GROUP (ORDER BY {column})"


class _Column:
    """A column of the table that can be counted."""

    def __init__(self, name: str, kind: str, is_whole: bool, place: int) -> None:
        self.name, self.kind, self.is_whole = name, kind, is_whole
        self.alias = f"c{place}"
        self.valid = self.distinct = 0
        self.bounds: list[float] = []  # ends of the groups of a column of many numbers
        self.highest: dict[int, float] = {}  # highest value of each of these groups

    @property
    def key(self) -> str:
        """What the column is grouped by."""
        return "b" + self.alias[1:] if self.bounds else self.alias

    def expression(self) -> str:
        name = _quoted(self.name)
        if self.kind == "number":
            return f"NULLIF(CAST({name} AS DOUBLE PRECISION), {_NAN}) AS {self.alias}"
        if self.kind == "text":
            return f"NULLIF(CAST({name} AS TEXT), '') AS {self.alias}"
        return f"{name} AS {self.alias}"

    def bucket(self) -> str:
        """The number of the group as nested conditions, so that any database counts it in few comparisons."""

        def between(low: int, high: int) -> str:
            if low == high:
                return str(low)
            middle = (low + high) // 2
            test = f"{self.alias} <= {_literal(self.bounds[middle])}"
            return f"CASE WHEN {test} THEN {between(low, middle)} ELSE {between(middle + 1, high)} END"

        tree = between(0, len(self.bounds))
        return f"CASE WHEN {self.alias} IS NULL THEN NULL ELSE {tree} END AS {self.key}"


def _kind_of(type_name: str) -> tuple[str, bool] | None:
    if type_name == "boolean":
        return "truth", False
    if type_name.startswith(_WHOLE):
        return "number", True
    if type_name.startswith(_FRACTIONS):
        return "number", False
    return ("text", False) if type_name.startswith(_TEXTS) else None


def _slices(columns: Sequence[_Column]) -> Iterator[Sequence[_Column]]:
    for start in range(0, len(columns), _COLUMNS_PER_SCAN):
        yield columns[start : start + _COLUMNS_PER_SCAN]


class _Counter:
    """Counts the columns of a table and feeds the counts to the states of a run."""

    def __init__(
        self,
        database: _Database,
        columns: list[_Column],
        weight: str | None,
        conditions: list[str],
        cells: int,
        outcomes: list[str],
    ) -> None:
        self.database, self.columns, self.weight, self.cells = database, columns, weight, cells
        self.outcomes = outcomes
        self.notices: list[str] = []
        self._conditions = [f"({condition})" for condition in conditions]
        self._state: Any = None

    # --- Statements
    def _source(self, columns: Sequence[_Column]) -> str:
        expressions = [column.expression() for column in columns]
        where = list(self._conditions)
        if self.weight is not None:
            weight = f"CAST({_quoted(self.weight)} AS DOUBLE PRECISION)"
            expressions.append(f"{weight} AS w")
            where.append(f"({weight} > 0 AND {weight} < CAST('Infinity' AS DOUBLE PRECISION))")
        condition = f" WHERE {' AND '.join(where)}" if where else ""
        rows = f"(SELECT {', '.join(expressions) or '1 AS one'} FROM {self.database.table}{condition}) s"
        buckets = [column.bucket() for column in columns if column.bounds]
        return f"(SELECT s.*, {', '.join(buckets)} FROM {rows}) s" if buckets else rows

    def _sums(self) -> str:
        return "count(*), sum(w), sum(w * w)" if self.weight is not None else "count(*), count(*), count(*)"

    def _grouped(
        self, columns: Sequence[_Column], more: str, beside: Sequence[_Column] = (), condition: str = ""
    ) -> Iterator[tuple[_Column, tuple[Any, ...]]]:
        """One scan: each column by itself, beside the same others. Rows begin with key, others, sums."""
        keys = [column.key for column in columns]
        others = [column.key for column in beside]
        sets = ", ".join("(" + ", ".join([key, *others]) + ")" for key in keys)
        selected = ", ".join(
            [f"GROUPING({', '.join(keys)})", *keys, *others, self._sums(), *([more] if more else [])]
        )
        source = self._source([*columns, *beside])
        sql = f"SELECT {selected} FROM {source}{condition} GROUP BY GROUPING SETS ({sets})"
        for row in self.database.query(sql):
            grouped = [i for i in range(len(keys)) if not int(row[0]) >> (len(keys) - 1 - i) & 1]
            if len(grouped) == 1:
                place = grouped[0]
                yield columns[place], (row[1 + place], *row[1 + len(keys) :])

    # --- Feeding
    def _feed(self, values: dict[_Column, list[Any]], rows: list[tuple[float, float, float]]) -> None:
        """rows: cases, their weight and their squared weights."""
        import pyarrow as pa

        types = {"number": pa.float64(), "text": pa.string(), "truth": pa.bool_()}
        table = {column.name: pa.array(of, types[column.kind]) for column, of in values.items()}
        sums = [pa.array([float(row[i]) for row in rows], pa.float64()) for i in range(3)]
        table |= {_CASES: sums[0], _SQUARES: sums[2]}
        if self.weight is not None:
            table[self.weight] = sums[1]
        self._state.update(pa.table(table))

    def survey(self, state: Any) -> None:
        """The first pass."""
        self._state = state
        totals = self.database.query(f"SELECT {self._sums()} FROM {self._source([])}")[0]
        if not totals[0]:
            raise ValueError("The table has no cases that count.")
        self._feed({}, [totals])
        for columns in _slices(self.columns):
            parts = ", ".join(f"count({c.alias}), count(DISTINCT {c.alias})" for c in columns)
            counts = self.database.query(f"SELECT {parts} FROM {self._source(columns)}")[0]
            for i, column in enumerate(columns):
                column.valid, column.distinct = int(counts[2 * i]), int(counts[2 * i + 1])
        self.columns = [c for c in self.columns if c.name in self.outcomes or not self._is_left_out(c)]
        # Registers the columns in order before any is counted.
        self._feed({column: [None] for column in self.columns}, [(0, 0, 0)])
        wide = [c for c in self.columns if c.kind == "number" and c.distinct > self.cells]
        for columns in _slices(wide):
            parts = ", ".join(self.database.quantiles(column.alias, self.cells) for column in columns)
            for column, found in zip(
                columns, self.database.query(f"SELECT {parts} FROM {self._source(columns)}")[0], strict=True
            ):
                column.bounds = sorted({float(value) for value in found})
            self._feed_wide(columns)
        for columns in _slices([column for column in self.columns if not column.bounds]):
            groups: dict[_Column, list[tuple[Any, ...]]] = {column: [] for column in columns}
            for column, row in self._grouped(columns, ""):
                groups[column].append(row)
            for column, rows in groups.items():
                self._feed({column: [row[0] for row in rows]}, [row[1:4] for row in rows])

    def _feed_wide(self, columns: Sequence[_Column]) -> None:
        """Groups of many values: all cases at the highest one, and a mark at the lowest."""
        ends = ", ".join(f"min({column.alias}), max({column.alias})" for column in columns)
        groups: dict[_Column, tuple[list[Any], list[Any]]] = {column: ([], []) for column in columns}
        for column, row in self._grouped(columns, ends):
            values, sums = groups[column]
            bucket, place = row[0], 4 + 2 * list(columns).index(column)
            if bucket is not None:
                low, high = float(row[place]), float(row[place + 1])
                column.highest[int(bucket)] = high
                if low < high:
                    values.append(low)
                    sums.append((0, 0, 0))
                values.append(high)
            else:
                values.append(None)
            sums.append(row[1:4])
        for column, (values, sums) in groups.items():
            self._feed({column: values}, sums)

    def _is_left_out(self, column: _Column) -> bool:
        nearly_all = column.valid >= _FEWEST_FOR_IDENTIFIER and 10 * column.distinct > 9 * column.valid
        if column.kind == "text" and (nearly_all or column.distinct > _MOST_TEXTS):
            self.notices.append(f"{column.name} is left out: {column.distinct} different texts.")
            return True
        if not column.is_whole or column.distinct != column.valid or not nearly_all:
            return False
        low, high = self.database.query(
            f"SELECT min({column.alias}), max({column.alias}) FROM {self._source([column])}"
        )[0]
        if high - low != column.valid - 1:
            return False
        self.notices.append(f"{column.name} is left out: consecutive numbers, one per case.")
        return True

    def _value(self, column: _Column, key: Any) -> Any:
        return column.highest[int(key)] if column.bounds and key is not None else key

    def count_pairs(self, state: Any, outcomes: list[tuple[str, bool]]) -> None:
        """The second pass. outcomes: name, and whether it is measured."""
        self._state = state
        by_name = {column.name: column for column in self.columns}
        for name, is_measured in outcomes:
            outcome = by_name[name]
            others = [column for column in self.columns if column is not outcome]
            for columns in _slices(others):
                count = self._moments if is_measured else self._classes
                count(columns, outcome)

    def _classes(self, columns: Sequence[_Column], outcome: _Column) -> None:
        groups: dict[_Column, list[tuple[Any, ...]]] = {column: [] for column in columns}
        condition = f" WHERE {outcome.alias} IS NOT NULL"
        for column, row in self._grouped(columns, "", [outcome], condition):
            groups[column].append(row)
        for column, rows in groups.items():
            values = {
                column: [self._value(column, row[0]) for row in rows],
                outcome: [self._value(outcome, row[1]) for row in rows],
            }
            self._feed(values, [row[2:5] for row in rows])

    def _moments(self, columns: Sequence[_Column], outcome: _Column) -> None:
        """Two values with the mean and the variance of a group have its moments."""
        alias = outcome.alias
        values: dict[_Column, tuple[list[Any], list[Any], list[Any]]] = {c: ([], [], []) for c in columns}
        source = self._source([*columns, outcome])
        keys = [column.key for column in columns]
        sets = ", ".join(f"({key})" for key in keys)
        sql = (
            f"SELECT GROUPING({', '.join(keys)}), {', '.join(keys)}, "
            f"count(*), avg({alias}), var_pop({alias}) "
            f"FROM {source} WHERE {alias} IS NOT NULL GROUP BY GROUPING SETS ({sets})"
        )
        for row in self.database.query(sql):
            place = next(i for i in range(len(keys)) if not int(row[0]) >> (len(keys) - 1 - i) & 1)
            count, mean, variance = row[-3:]
            deviation = math.sqrt(max(float(variance or 0), 0.0))
            of, ys, sums = values[columns[place]]
            for sign in (-1, 1):
                of.append(self._value(columns[place], row[1 + place]))
                ys.append(float(mean) + sign * deviation)
                sums.append((count / 2, count / 2, count / 2))
        for column, (of, ys, sums) in values.items():
            self._feed({column: of, outcome: ys}, sums)


@contextlib.contextmanager
def _opened(source: Any, table: str | None) -> Iterator[_Database]:
    """A connection, or the address of a database: closed afterwards."""
    if not isinstance(source, str):
        if table is None:
            raise ValueError("The name of the table is missing.")
        yield _Database(source, table)
        return
    address = urllib.parse.urlsplit(source)
    query = dict(urllib.parse.parse_qsl(address.query))
    table = query.pop("table", table)
    if table is None:
        raise ValueError(f"The address names no table: add ?table=NAME to {source}.")
    if address.scheme in ("postgresql", "postgres"):
        import psycopg

        rest = address._replace(query=urllib.parse.urlencode(query)).geturl()
        with psycopg.connect(rest, autocommit=True) as connection:
            yield _Database(connection, table)
        return
    if address.scheme != "duckdb":
        raise ValueError(f"An address begins with postgresql:// or duckdb://, unlike {source}.")
    import duckdb

    # duckdb:///abs/path, and duckdb://relative
    file = duckdb.connect(address.netloc + address.path, read_only=True)
    try:
        yield _Database(file, table)
    finally:
        file.close()


def _columns(
    database: _Database, needed: list[str], predictors: list[str], weight: str | None
) -> list[_Column]:
    types = database.types()
    for name in [*needed, *predictors, *([weight] if weight else [])]:
        if name not in types:
            raise ValueError(f"There is no column {name!r} in {database.table}.")
    columns: list[_Column] = []
    for name, type_name in types.items():
        kind = _kind_of(type_name)
        is_wanted = name in needed or (name in predictors if predictors else name != weight)
        if not is_wanted:
            continue
        if kind is None:
            if name in needed or name in predictors:
                raise ValueError(f"The column {name!r} holds {type_name}, which is no number or text.")
            continue
        columns.append(_Column(name, *kind, len(columns)))
    return columns


def _run(
    database: _Database,
    run: Run,
    columns: list[_Column],
    outcomes: list[str],
    weight: str | None,
    conditions: list[str],
    cells: int,
) -> tuple[Any, list[str]]:
    session = Session()
    first = run.empty(session)
    counter = _Counter(database, columns, weight, conditions, cells, outcomes)
    counter.survey(first)
    run.second = first.second_pass()
    second = run.empty(session)
    measured = _measured(counter, outcomes, run)
    if weight is not None and any(measured.values()):
        raise ValueError("Weights with a measured outcome need the cases; use velmora.rank or velmora.spark.")
    counter.count_pairs(second, list(measured.items()))
    handle = first.finish(second)
    return handle, [*counter.notices, *session.notices()]


def _measured(counter: _Counter, outcomes: list[str], run: Run) -> dict[str, bool]:
    """Which outcomes have moments instead of classes, as the library treats them."""
    named = {name: run.options.get(name) or [] for name in ("continuous", "categorical")}
    measured = {}
    for column in counter.columns:
        if column.name not in outcomes:
            continue
        few = column.distinct <= 2 or (column.distinct <= 10 and column.valid >= 5 * column.distinct)
        is_classes = column.kind != "number" or (column.is_whole and few)
        if column.name in named["continuous"] or "continuous_response" in run.options:
            is_classes = False
        if column.name in named["categorical"] or run.options.get("cut_dependents"):
            is_classes = True
        if {"binary_response", "categorical_response"} & set(run.options):
            is_classes = True
        measured[column.name] = not is_classes
    return measured


def _settings(columns: list[_Column]) -> dict[str, Any]:
    return {"cases": _CASES, "squares": _SQUARES, "cells": 1 << 16, "levels": _MOST_TEXTS}


def _names(names: Sequence[str] | str | None) -> list[str]:
    return [names] if isinstance(names, str) else list(names or [])


def rank(
    source: Any,
    table: str | None = None,
    outcome: str | Sequence[str] = (),
    *,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    where: str | None = None,
    cells: int = 400,
    **options: Any,
) -> FeatureSelectionResult:
    """Ranks the columns of a table by how strongly they are related to an outcome.

    Parameters
    ----------
    source : connection or str
        Of psycopg or duckdb; or an address: ``postgresql://host/database?table=loans``,
        ``duckdb:///folder/file.duckdb?table=loans``.
    table : str
        May have a schema before a point.
    outcome : str or list of str
        Names of columns.
    predictors : list of str, optional
        Names. Default: every column of numbers, texts or truth values that is no identifier.
    weight : str, optional
        The column of case weights, with outcomes of classes.
    where : str, optional
        A condition in SQL.
    cells : int
        Columns of numbers with more different values than this are cut at so many quantiles first.
    **options
        As of :func:`velmora.rank`; ``select`` is ``where`` here.

    Returns
    -------
    FeatureSelectionResult
    """
    outcomes, named = _names(outcome), _names(predictors)
    if not outcomes:
        raise ValueError("The name of the outcome is missing.")
    with _opened(source, table) as database:
        columns = _columns(database, outcomes, named, weight)
        words = {**options, "dependents": outcomes, "weight": weight, "predictors": named or None}
        run = Run("feature-selection", words, _settings(columns))
        conditions = [where] if where else []
        handle, notices = _run(database, run, columns, outcomes, weight, conditions, cells)
    return FeatureSelectionResult(handle, "pandas", notices)


def screen(
    source: Any,
    table: str | None = None,
    response: str = "",
    *,
    good: Any = None,
    bad: Any = None,
    kind: str | None = None,
    predictors: Sequence[str] | str | None = None,
    weight: str | None = None,
    where: str | None = None,
    cells: int = 400,
    **options: Any,
) -> ScreenResult:
    """Bins the columns of a table and scores how well the bins predict a response of classes.

    Parameters
    ----------
    source, table, predictors, weight, where, cells
        As of :func:`rank`.
    response : str
    good, bad : str or number, optional
        The two codes of a binary response, which needs both.
    kind : {"binary", "categorical"}, optional
        Default: binary with ``good`` and ``bad``.
    **options
        As of :func:`velmora.screen`.

    Returns
    -------
    ScreenResult
    """
    named = _names(predictors)
    if kind is None:
        kind = "binary" if good is not None or bad is not None else "categorical"
    if kind not in ("binary", "categorical"):
        raise ValueError("The kind of the response is 'binary' or 'categorical' in a database.")
    with _opened(source, table) as database:
        columns = _columns(database, [response], named, weight)
        words = {**options, f"{kind}_response": response, "weight": weight, "predictors": named or None}
        conditions = [f"{_quoted(response)} IS NOT NULL", *([where] if where else [])]
        for code, value in (("good", good), ("bad", bad)):
            words[code] = value if value is None or isinstance(value, str) else _code(value)
        if kind == "binary":
            texts = ", ".join("'" + str(words[code]).replace("'", "''") + "'" for code in ("good", "bad"))
            conditions.append(f"CAST({_quoted(response)} AS TEXT) IN ({texts})")
        run = Run("screen", words, _settings(columns))
        handle, notices = _run(database, run, columns, [response], weight, conditions, cells)
    return ScreenResult(handle, "pandas", notices)


def create_view(connection: Any, name: str, bins: Bins, table: str) -> None:
    """Makes a view: the table with the label of the bin and its figures for each predictor of bins."""
    database = _Database(connection, table)
    mark = "velmora_" + uuid.uuid4().hex
    query = bins.to_sql(database.dialect, table=mark).rstrip().rstrip(";")
    view = ".".join(_quoted(part) for part in name.split("."))
    database.run(f"CREATE OR REPLACE VIEW {view} AS\n" + query.replace(_quoted(mark), database.table))
