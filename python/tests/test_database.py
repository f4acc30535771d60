"""The analyses in DuckDB and PostgreSQL against those in memory."""

import sys
from pathlib import Path

import numpy as np
import pandas as pd
import psycopg
import pytest
from servers import postgres_server
from test_parts import check_frames

import velmora
from velmora import database

duckdb = pytest.importorskip("duckdb")


def wide(frame: pd.DataFrame) -> pd.DataFrame:
    """The cases several times, with more values than are counted one by one, and weights."""
    rng = np.random.default_rng(5)
    many = pd.concat([frame] * 3, ignore_index=True)
    many["income"] = np.where(rng.random(len(many)) < 0.1, np.nan, rng.lognormal(8, 1, len(many)))
    many.loc[many.risk == "bad", "income"] *= 0.5
    return many.assign(w=rng.gamma(2, 1, len(many)), id=np.arange(len(many)) + 1)


@pytest.fixture(scope="module")
def many(credit):
    return wide(credit)


@pytest.fixture(scope="module")
def duck(many):
    connection = duckdb.connect()
    connection.execute("CREATE TABLE loans AS SELECT * FROM many")
    return connection


@pytest.fixture(scope="module")
def postgres(many, tmp_path_factory):
    """A server of its own: a partitioned table, and a table of another server's."""
    place = tmp_path_factory.mktemp("postgres")
    with postgres_server(place) as address, psycopg.connect(address, autocommit=True) as connection:
        _fill(connection, many, place)
        yield connection, address


def _fill(connection, frame: pd.DataFrame, place: Path) -> None:
    types = {"f": "double precision", "i": "bigint"}
    columns = ", ".join(f'"{name}" {types.get(frame[name].dtype.kind, "text")}' for name in frame)
    connection.execute(f"CREATE TABLE loans ({columns}) PARTITION BY LIST (housing)")
    for i, housing in enumerate(frame.housing.unique()):
        connection.execute(f"CREATE TABLE loans_{i} PARTITION OF loans FOR VALUES IN ('{housing}')")
    with connection.cursor().copy("COPY loans FROM STDIN") as copy:
        for row in frame.itertuples(index=False):
            copy.write_row([None if value != value else value for value in row])
    connection.execute("CREATE EXTENSION postgres_fdw")
    connection.execute(
        f"CREATE SERVER other FOREIGN DATA WRAPPER postgres_fdw OPTIONS (host '{place}', dbname 'postgres')"
    )
    connection.execute("CREATE USER MAPPING FOR postgres SERVER other OPTIONS (user 'postgres')")
    connection.execute(f"CREATE FOREIGN TABLE far ({columns}) SERVER other OPTIONS (table_name 'loans')")


def by_predictor(frame: pd.DataFrame) -> pd.DataFrame:
    return frame.sort_values("predictor").drop(columns=["rank", "number"]).reset_index(drop=True)


def check_rankings(connection, table: str, many: pd.DataFrame) -> None:
    counted = [name for name in many if name not in ("income", "id", "w")]
    whole = velmora.rank(many[counted], "risk")
    ours = database.rank(connection, table, "risk", predictors=counted[1:], cells=3000)
    check_frames(ours.ranking, whole.ranking)
    # A measured outcome, whose groups come as moments.
    names = [name for name in counted[5:] if name != "amount"]
    whole = velmora.rank(many[counted], "amount", predictors=names)
    ours = database.rank(connection, table, "amount", predictors=names, cells=3000)
    check_frames(by_predictor(ours.ranking), by_predictor(whole.ranking), rtol=1e-9)
    # Ends of intervals between quantiles of the database.
    whole = velmora.rank(many, "risk", weight="w")
    ours = database.rank(connection, table, "risk", weight="w", cells=1000)
    assert ours.notices == ["id is left out: consecutive numbers, one per case."]
    a, b = by_predictor(ours.ranking), by_predictor(whole.ranking)
    assert a.predictor.tolist() == b.predictor.tolist()
    np.testing.assert_allclose(a.effect, b.effect, atol=0.01)
    few = (a.predictor != "income").to_numpy()
    check_frames(a[few].reset_index(drop=True), b[few].reset_index(drop=True), ["adjusted_p"], rtol=1e-8)


def check_screening(connection, table: str, many: pd.DataFrame) -> None:
    names = [name for name in many if name not in ("income", "id", "w")]
    options = {"good": "good", "bad": "bad"}
    whole = velmora.screen(many[names], "risk", **options)
    ours = database.screen(connection, table, "risk", predictors=names[1:], cells=3000, **options)
    order = ["predictor", "bin"]
    check_frames(
        ours.bin_table.sort_values(order).reset_index(drop=True),
        whole.bin_table.sort_values(order).reset_index(drop=True),
        rtol=1e-11,
    )
    # Bins go back as a view, whose rows are those that the library codes.
    wide = database.screen(
        connection, table, "risk", predictors=["income", "purpose"], where="age > 25", **options
    )
    bins = wide.bins()
    database.create_view(connection, "coded", bins, table)
    cursor = connection.cursor()
    cursor.execute('SELECT "risk_income_Coded", count(*) FROM coded WHERE age > 25 GROUP BY 1')
    counts = dict(cursor.fetchall())
    table_of = wide.bin_table
    expected = table_of[table_of.predictor == "income"].set_index("label").total.to_dict()
    assert {label: count for label, count in counts.items() if label is not None} == expected


def test_duckdb(duck, many):
    check_rankings(duck, "loans", many)
    check_screening(duck, "main.loans", many)


def test_duckdb_file(tmp_path, credit):
    path = tmp_path / "bank.duckdb"
    with duckdb.connect(str(path)) as connection:
        connection.execute("CREATE TABLE loans AS SELECT * FROM credit")
    ours = database.rank(f"duckdb://{path}?table=loans", outcome="risk", cells=3000)
    check_frames(ours.ranking, velmora.rank(credit, "risk").ranking)


def test_postgresql(postgres, many):
    connection, address = postgres
    check_rankings(connection, "loans", many)
    check_screening(connection, "loans", many)
    ours = database.rank(address + "&table=far", outcome="risk", predictors=["age", "purpose"])
    whole = velmora.rank(many[["risk", "age", "purpose"]], "risk")
    check_frames(by_predictor(ours.ranking), by_predictor(whole.ranking))


def test_wrong_calls(duck):
    for call, sentence in (
        (lambda: database.rank(duck, "loans", "risq"), "There is no column 'risq'"),
        (lambda: database.rank(duck, "loans"), "outcome is missing"),
        (lambda: database.rank("duckdb:///x.duckdb", outcome="risk"), "names no table"),
        (lambda: database.rank("mysql://host/db?table=t", outcome="y"), "begins with postgresql"),
        (lambda: database.rank(sys, "loans", "risk"), "psycopg and duckdb are supported"),
        (lambda: database.rank(duck, "loans", "amount", weight="w"), "Weights with a measured outcome"),
        (lambda: database.rank(duck, "loans", "risk", where="age > 1000"), "no cases"),
    ):
        with pytest.raises(ValueError, match=sentence):
            call()
