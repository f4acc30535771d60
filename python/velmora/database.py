"""The analyses inside a database: it counts, and only counts leave it.

>>> import duckdb  # doctest: +SKIP
>>> from velmora import database  # doctest: +SKIP
>>> connection = duckdb.connect("bank.duckdb")  # doctest: +SKIP
>>> database.rank(connection, "loans", "risk").ranking  # doctest: +SKIP
>>> database.rank("postgresql://host/bank?table=loans", outcome="risk")  # doctest: +SKIP

PostgreSQL (by psycopg) and DuckDB. The library writes the statements, a scan for twenty columns, and
this module runs them. Tables may be partitioned, foreign, or views.
"""

from __future__ import annotations

import contextlib
import urllib.parse
import uuid
from collections.abc import Iterator, Mapping, Sequence
from typing import Any

from velmora._analyses import _code
from velmora._library import Session
from velmora._results import Bins, FeatureSelectionResult, ScreenResult

__all__ = ["create_view", "rank", "screen"]


class _Database:
    """A connection and its dialect."""

    def __init__(self, connection: Any, table: str) -> None:
        module = type(connection).__module__.partition(".")[0].lstrip("_")
        if not module.startswith(("duckdb", "psycopg")):
            raise ValueError(f"The connection is of {module}; psycopg and duckdb are supported.")
        self.connection = connection
        self.dialect = "duckdb" if module.startswith("duckdb") else "postgresql"
        self.table = table

    def query(self, sql: str) -> list[tuple[Any, ...]]:
        # A cursor of DuckDB is another connection, which does not see temporary tables.
        cursor = self.connection if self.dialect == "duckdb" else self.connection.cursor()
        cursor.execute(sql)
        return [] if cursor.description is None else list(cursor.fetchall())

    def run(self, analysis: str, options: Mapping[str, Any]) -> tuple[Any, list[str]]:
        session = Session()
        chosen = {name: value for name, value in options.items() if value is not None}
        handle = session.run_in_database(
            analysis, chosen, {"dialect": self.dialect, "table": self.table}, self.query
        )
        return handle, session.notices()


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
        with psycopg.connect(rest) as connection:
            # All statements see the same rows.
            connection.isolation_level = psycopg.IsolationLevel.REPEATABLE_READ
            connection.read_only = True
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


def _names(names: Sequence[str] | str | None) -> list[str] | None:
    return [names] if isinstance(names, str) else list(names or []) or None


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
        As of :func:`velmora.rank`, without what needs the cases; ``select`` is ``where`` here.

    Returns
    -------
    FeatureSelectionResult
    """
    outcomes = _names(outcome)
    if outcomes is None:
        raise ValueError("The name of the outcome is missing.")
    words = {**options, "dependents": outcomes, "weight": weight, "predictors": _names(predictors)}
    with _opened(source, table) as database:
        handle, notices = database.run("feature-selection", {**words, "where": where, "cells": cells})
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
    if kind is None:
        kind = "binary" if good is not None or bad is not None else "categorical"
    if kind not in ("binary", "categorical"):
        raise ValueError("The kind of the response is 'binary' or 'categorical' in a database.")
    words = {**options, f"{kind}_response": response, "weight": weight, "predictors": _names(predictors)}
    for code, value in (("good", good), ("bad", bad)):
        words[code] = value if value is None or isinstance(value, str) else _code(value)
    with _opened(source, table) as database:
        handle, notices = database.run("screen", {**words, "where": where, "cells": cells})
    return ScreenResult(handle, "pandas", notices)


def create_view(connection: Any, name: str, bins: Bins, table: str) -> None:
    """Makes a view: the table with the label of the bin and its figures for each predictor of bins."""
    database = _Database(connection, table)

    def quoted(path: str) -> str:
        return ".".join('"' + part.replace('"', '""') + '"' for part in path.split("."))

    mark = "velmora_" + uuid.uuid4().hex
    query = bins.to_sql(database.dialect, table=mark).rstrip().rstrip(";")
    database.query(f"CREATE OR REPLACE VIEW {quoted(name)} AS\n" + query.replace(quoted(mark), quoted(table)))
