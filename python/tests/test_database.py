"""The analyses in DuckDB and PostgreSQL against those in memory."""

import json
import subprocess
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
    """A partitioned table, one part of which is on a second server."""
    far_place = tmp_path_factory.mktemp("postgres_far")
    with (
        postgres_server(tmp_path_factory.mktemp("postgres")) as address,
        postgres_server(far_place) as far_address,
        psycopg.connect(address, autocommit=True) as near,
        psycopg.connect(far_address, autocommit=True) as far,
    ):
        _fill(near, far, many, far_place)
        yield near, address


def _fill(near, far, frame: pd.DataFrame, far_place: Path) -> None:
    types = {"f": "double precision", "i": "bigint"}
    columns = ", ".join(f'"{name}" {types.get(frame[name].dtype.kind, "text")}' for name in frame)
    far.execute(f"CREATE TABLE loans_far ({columns})")
    near.execute(f"CREATE TABLE loans ({columns}) PARTITION BY LIST (housing)")
    near.execute("CREATE EXTENSION postgres_fdw")
    near.execute(
        "CREATE SERVER other FOREIGN DATA WRAPPER postgres_fdw "
        f"OPTIONS (host '{far_place}', dbname 'postgres')"
    )
    near.execute("CREATE USER MAPPING FOR postgres SERVER other OPTIONS (user 'postgres')")
    for i, housing in enumerate(frame.housing.unique()):
        kind, where = ("FOREIGN TABLE", "SERVER other OPTIONS (table_name 'loans_far')")
        if i > 0:
            kind, where = ("TABLE", "")
        near.execute(f"CREATE {kind} loans_{i} PARTITION OF loans FOR VALUES IN ('{housing}') {where}")
    with near.cursor().copy("COPY loans FROM STDIN") as copy:
        for row in frame.itertuples(index=False):
            copy.write_row([None if value != value else value for value in row])


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
    assert "more than 1000 different values" in ours.json["run"]["notices"][0]
    left_out = [(one["name"], one["reason"]) for one in ours.json["run"]["leftOut"]]
    assert left_out == [("id", "looks like an identifier: consecutive numbers, one per case")]
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
    assert 0 < connection.execute("SELECT count(*) FROM loans_0").fetchone()[0] < len(many)
    ours = database.rank(address + "&table=loans_0", outcome="risk", predictors=["age", "purpose"])
    part = many[many.housing == many.housing.unique()[0]]
    whole = velmora.rank(part[["risk", "age", "purpose"]], "risk")
    check_frames(by_predictor(ours.ranking), by_predictor(whole.ranking))


def test_command(postgres, many, command, tmp_path):
    """The command gives the figures of this package, and makes a view of its bins."""
    connection, address = postgres
    table, bins = address + "&table=loans", tmp_path / "bins.json"
    words = ("--dependents", "risk", "--predictors", "age", "purpose", "income")
    ranked = json.loads(
        command("feature-selection", table, *words, "--push-down", "--cells", "5000", "--format", "json")
    )
    whole = velmora.rank(many[["risk", "age", "purpose", "income"]], "risk").ranking
    effects = {one["name"]: one["effect"] for one in ranked["dependents"][0]["predictors"]}
    assert ranked["dependents"][0]["best"] == whole.predictor.tolist()
    np.testing.assert_allclose([effects[name] for name in whole.predictor], whole.effect, rtol=1e-9)
    risk = ("--binary-response", "risk", "--good", "good", "--bad", "bad")
    command("screen", table, *risk, "--push-down", "--where", "age > 25", "--bins", bins)
    command("apply", bins, table, "--create-view", "coded_by_command")
    applied = tmp_path / "coded.csv"
    command("apply", bins, table, "--out", applied)
    expected = pd.read_csv(applied)["risk_income_Coded"].value_counts().to_dict()
    rows = connection.execute('SELECT "risk_income_Coded", count(*) FROM coded_by_command GROUP BY 1')
    assert dict(rows.fetchall()) == expected
    # A view of itself is refused, and the one before is kept.
    with pytest.raises(subprocess.CalledProcessError) as failed:
        command("apply", bins, address + "&table=coded_by_command", "--create-view", "coded_by_command")
    assert failed.value.stderr.startswith("velmora: Cannot change postgresql://")
    assert connection.execute("SELECT count(*) FROM coded_by_command").fetchone()[0] == len(many)


def test_wrong_calls(duck):
    for call, sentence in (
        (lambda: database.rank(duck, "loans", "risq"), "risq"),
        (lambda: database.rank(duck, "loans"), "outcome is missing"),
        (lambda: database.rank("duckdb:///x.duckdb", outcome="risk"), "names no table"),
        (lambda: database.rank("mysql://host/db?table=t", outcome="y"), "begins with postgresql"),
        (lambda: database.rank(sys, "loans", "risk"), "psycopg and duckdb are supported"),
        (
            lambda: database.rank(duck, "loans", "amount", weight="w"),
            "Weights and counts with the measured outcome",
        ),
    ):
        with pytest.raises(ValueError, match=sentence):
            call()
    with pytest.raises(velmora.VelmoraError, match="No case is used"):
        database.rank(duck, "loans", "risk", where="age > 1000")
    with pytest.raises(duckdb.Error, match="agee"):
        database.rank(duck, "loans", "risk", where="agee > 1000")
