"""SQL of saved bins in every dialect: databases give each case the bin that the library gives it.

DuckDB, SQLite, PostgreSQL, MariaDB and Spark run the queries themselves. Those of SQL Server, Oracle and
BigQuery are read by sqlglot in their dialect, and DuckDB runs what it makes of them.
"""

import itertools
import json
import math
import sqlite3
import sys

import duckdb
import psycopg
import pyarrow as pa
import pymysql
import pytest
import sqlglot
from servers import mariadb_server, postgres_server
from sqlglot import expressions

import velmora

SMALLEST = sys.float_info.min
LARGEST = sys.float_info.max
SUBNORMAL = 1e-310
TABLE = "cases of a day's `work`"

# Names and texts that a query has to quote.
INCOME = "in\"come's <b>`ß`</b>]"
WOE = "inc\\ome ☃"
LEVELS = [
    ["own", "it's", 'say "x"', "<b>&amp;</b>"],
    ["Zürich", "東京", "😀", "é", "a\\b", "ends in \\", "%", "_%", "two\nlines", "a\ttab"],
    ["null", "--", "/*"],
]
# Letter case, blanks and accents count.
OTHER_LEVELS = ["OWN", "own ", " own", "own\n", "Zurich", "zürich", "e\u0301", "NULL", ";"]
OTHER_LEVELS += ["'", '"', "\\", "a\\\\b"]
BLANKS = ["", " ", "\t", " \t "]  # missing


def predictor(name: str, labels: list[str], **members: object) -> dict[str, object]:
    figures = [-1.5, 0.1, 1e-12, None, math.pi, -0.30000000000000004, 1e15, 1 / 3]
    bins = [{"label": label, "woe": figures[i % len(figures)]} for i, label in enumerate(labels)]
    short = members.pop("short", name)
    variables = {"codedVariable": f"{short}_bin", "figureVariables": [f"{short}_woe"]}
    return {"name": name, **variables, "bins": bins, **members}


# Cut points and special codes of the measured predictor.
CUTS = [-1e300, -10.5, -SMALLEST, 0, 1e-9, 10.5, 0.1 + 20.2, 1e15, 1e300]
SPECIAL = [-999, 15, 0.30000000000000004]


def saved(cuts: list[float]) -> dict[str, object]:
    """Measured values, texts, whole numbers that are levels, truth values; with points for each."""
    count = len(cuts) + 1
    measured = [f"up to {i}" for i in range(count)] + ["it's \\ special", 'wei"rd', "Missing"]
    predictors = [
        predictor(
            INCOME,
            measured,
            short=WOE,
            kind="continuous",
            missingCode=-7,
            cutPoints=cuts,
            specialCodes=[{"level": code, "bin": count + (code > 0)} for code in SPECIAL],
            missing={"bin": count + 2},
        ),
        predictor(
            "home",
            ["<Eigen>", "other\nplaces", "it's", "Missing", "nëu"],
            kind="categorical",
            levels=[{"level": text, "bin": i} for i, texts in enumerate(LEVELS) for text in texts],
            missing={"bin": 3},
            otherLevels={"bin": 4},
        ),
        predictor(
            "grade",
            ["first", "second"],
            kind="categorical",
            levels=[{"level": 1, "bin": 0}, {"level": 2, "bin": 1}, {"level": -3, "bin": 1}],
            missing={"bin": 1},
        ),
        predictor(
            "flag",
            ["yes", "no"],
            kind="categorical",
            truth=True,
            levels=[{"level": 1, "bin": 0}, {"level": 0, "bin": 1}],
        ),
    ]
    terms = [
        {
            "predictor": each["name"],
            "coefficient": -1,
            "points": [10.25 * (i + 1) * (-1) ** i for i in range(len(each["bins"]))],
            "neutralPoints": 0.1,
        }
        for each in predictors
    ]
    scale = {"basePoints": 11, "odds": 4, "pdo": 20, "intercept": 0}
    variables = {"scoreVariable": "score", "probabilityVariable": "p"}
    response = {"name": "risk", "kind": "binary", "codes": ["bad", "good"], "predictors": predictors}
    response["scorecard"] = {"version": 1, **variables, **scale, "terms": terms}
    return {"format": "velmora bins", "version": 2, "dataFile": TABLE, "responses": [response]}


def measured_values(cuts: list[float]) -> list[float | None]:
    values: list[float | None] = [None, math.nan, math.inf, -math.inf, -0.0]
    values += [SUBNORMAL, -SUBNORMAL, LARGEST, -LARGEST]
    for value in [*cuts, *SPECIAL, -7, 0.30000000000000004 * 3]:
        # A cut at 0 is written as 0, although the smallest subnormal numbers next to it equal it.
        steps = [0] if value == 0 else [-1000, -16, -15, -1, 0, 1, 15, 16, 1000]
        values += [value + step * math.ulp(value) for step in steps]
    return values


@pytest.fixture(scope="module")
def cases() -> list[tuple[object, ...]]:
    """Every kind of value of each predictor, beside some of the others; a number for each case."""
    measured = measured_values(CUTS)
    texts = [*itertools.chain(*LEVELS), *OTHER_LEVELS, *BLANKS, None]
    columns = [measured, texts, [1, 2, -3, 0, 7, None], [True, False, None]]
    count = max(len(column) for column in columns)
    return [(i, *(column[i % len(column)] for column in columns)) for i in range(count)]


@pytest.fixture(scope="module")
def bins() -> velmora.Bins:
    return velmora.Bins(json.dumps(saved(CUTS)))


def expected_rows(bins: velmora.Bins, cases: list[tuple[object, ...]]) -> list[tuple[object, ...]]:
    _, measured, texts, grades, flags = zip(*cases, strict=True)
    frame = pa.table(
        {INCOME: pa.array(measured, pa.float64()), "home": texts, "grade": grades, "flag": pa.array(flags)}
    )
    return list(zip(*bins.apply(frame).to_pydict().values(), strict=True))


def check(bins: velmora.Bins, cases: list[tuple[object, ...]], rows: list[tuple[object, ...]]) -> None:
    """rows: those of the table, each with the columns that the query adds."""
    given = {int(row[0]): row[len(COLUMNS) :] for row in rows}
    assert len(given) == len(rows) == len(cases)
    wrong = []
    for case, expected in zip(cases, expected_rows(bins, cases), strict=True):
        for value, right in zip(given[case[0]], expected, strict=True):
            same = value == right
            if not same and isinstance(right, float) and value is not None:
                # Some databases sum decimals; some round once more in the exponential.
                same = math.isclose(float(value), right, rel_tol=1e-14, abs_tol=1e-13)
            if not same:
                wrong.append(f"{case}: {value!r} instead of {right!r}")
    assert not wrong, f"{len(wrong)} wrong:\n" + "\n".join(wrong[:40])


COLUMNS = ["id", INCOME, "home", "grade", "flag"]


def rows_of(connection, sql: str) -> list[tuple[object, ...]]:
    cursor = connection.cursor()
    cursor.execute(sql)
    return list(cursor.fetchall())


def quoted(mark: str, name: str) -> str:
    return mark + name.replace(mark, 2 * mark) + mark


def create_table(mark: str, number: str, text: str, truth: str) -> str:
    types = ["INTEGER", number, text, "INTEGER", truth]
    columns = ", ".join(f"{quoted(mark, a)} {b}" for a, b in zip(COLUMNS, types, strict=True))
    return f"CREATE TABLE {quoted(mark, TABLE)} ({columns})"


@pytest.fixture(scope="module")
def duck(cases):
    connection = duckdb.connect()
    connection.execute(create_table('"', "DOUBLE", "VARCHAR", "BOOLEAN"))
    connection.executemany(f'INSERT INTO "{TABLE}" VALUES (?, ?, ?, ?, ?)', cases)
    return connection


@pytest.mark.parametrize("dialect", ["duckdb", "standard"])
def test_duckdb(duck, bins, cases, dialect):
    check(bins, cases, rows_of(duck, bins.to_sql(dialect)))


def test_sqlite(bins, cases):
    connection = sqlite3.connect(":memory:")
    connection.execute(create_table('"', "DOUBLE", "TEXT", "BOOLEAN"))
    connection.executemany(f'INSERT INTO "{TABLE}" VALUES (?, ?, ?, ?, ?)', cases)
    check(bins, cases, rows_of(connection, bins.to_sql("sqlite")))


@pytest.fixture(scope="module")
def postgres(cases, tmp_path_factory):
    with (
        postgres_server(tmp_path_factory.mktemp("postgres")) as address,
        psycopg.connect(address, autocommit=True) as connection,
    ):
        connection.execute(create_table('"', "DOUBLE PRECISION", "TEXT", "BOOLEAN"))
        connection.cursor().executemany(f'INSERT INTO "{TABLE}" VALUES (%s, %s, %s, %s, %s)', cases)
        yield connection


@pytest.mark.parametrize("dialect", ["postgresql", "standard"])
def test_postgresql(postgres, bins, cases, dialect):
    check(bins, cases, rows_of(postgres, bins.to_sql(dialect)))


def finite(cases: list[tuple[object, ...]]) -> list[tuple[object, ...]]:
    """Some databases have neither NaN nor infinity."""
    return [case for case in cases if not isinstance(case[1], float) or math.isfinite(case[1])]


def test_mariadb(bins, cases, tmp_path_factory):
    cases = finite(cases)
    with mariadb_server(tmp_path_factory.mktemp("mariadb")) as socket:
        connection = pymysql.connect(unix_socket=socket, user="root", charset="utf8mb4")
        with connection.cursor() as cursor:
            cursor.execute("CREATE DATABASE bank CHARACTER SET utf8mb4")
            cursor.execute("USE bank")
            cursor.execute(create_table("`", "DOUBLE", "TEXT", "BOOLEAN"))
            cursor.executemany(f"INSERT INTO {quoted('`', TABLE)} VALUES (%s, %s, %s, %s, %s)", cases)
        check(bins, cases, rows_of(connection, bins.to_sql("mysql")))


def test_spark(session, bins, cases):
    schema = f"id INT, {quoted('`', INCOME)} DOUBLE, home STRING, grade INT, flag BOOLEAN"
    session.createDataFrame(cases, schema).createOrReplaceTempView("cases_of_a_day")
    query = bins.to_sql("spark", table="cases_of_a_day").rstrip().rstrip(";")
    check(bins, cases, [tuple(row) for row in session.sql(query).collect()])


def for_duckdb(node: expressions.Expression) -> expressions.Expression:
    """Functions of other databases that sqlglot does not translate."""
    if isinstance(node, expressions.Collate):  # DuckDB compares bytes
        return node.this
    if isinstance(node, expressions.DataType) and node.is_type("nvarchar"):  # of any length
        return expressions.DataType.build("text")
    if isinstance(node, expressions.Is) and isinstance(node.this, expressions.Replace):
        # An empty text is NULL in Oracle.
        return expressions.Is(
            this=expressions.Nullif(this=node.this, expression=expressions.Literal.string("")),
            expression=node.expression,
        )
    if isinstance(node, expressions.Column) and node.name == "BINARY_DOUBLE_INFINITY":
        return sqlglot.parse_one("CAST('Infinity' AS DOUBLE)", read="duckdb")
    return node


@pytest.mark.parametrize(
    ("dialect", "read"), [(name, name) for name in ("oracle", "bigquery", "spark")] + [("sqlserver", "tsql")]
)
def test_read_by_sqlglot(duck, bins, cases, dialect, read):
    if dialect == "oracle":  # whose form of numbers beyond the range of its decimals is unknown to sqlglot
        bins = velmora.Bins(json.dumps(saved([cut for cut in CUTS if cut == 0 or 1e-125 < abs(cut) < 1e125])))
    tree = sqlglot.parse_one(bins.to_sql(dialect), read=read, error_level=sqlglot.ErrorLevel.RAISE)
    rows = rows_of(duck, tree.transform(for_duckdb).sql("duckdb"))
    if dialect == "sqlserver":
        cases = finite(cases)
        rows = finite(rows)
    check(bins, cases, rows)
