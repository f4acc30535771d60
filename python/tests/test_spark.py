"""The analyses on Spark against those in memory."""

import itertools

import pandas as pd
import pytest

import velmora

pyspark = pytest.importorskip("pyspark")

from pyspark.sql import functions  # noqa: E402
from test_parts import check_frames  # noqa: E402

from velmora import spark  # noqa: E402


@pytest.fixture(scope="module")
def df(session, credit):
    return session.createDataFrame(credit).cache()


@pytest.mark.parametrize("partitions", [1, 20])
def test_rank(df, credit, partitions):
    # Partitions of all sizes, of rows in random order.
    ours = spark.rank(df.repartition(partitions, functions.rand(1)), "risk", best=5)
    whole = velmora.rank(credit, "risk", best=5)
    check_frames(ours.ranking, whole.ranking)
    assert ours.best == whole.best


def test_options(df, credit):
    skewed = df.withColumn("w", functions.expr("0.5 + age / 40")).repartition(5, "housing")
    frame = credit.assign(w=0.5 + credit.age / 40)
    options = {"weight": "w", "select": "age > 30", "predictors": ["housing", "purpose", "duration_months"]}
    ours = spark.rank(skewed, ["risk", "amount"], **options)
    check_frames(ours.ranking, velmora.rank(frame, ["risk", "amount"], **options).ranking, rtol=1e-10)


def test_binning(df, credit):
    binning = spark.Binning("risk", good="good", bad="bad", best=4).fit(df)
    whole = velmora.screen(credit, "risk", good="good", bad="bad")
    ours = binning.result_.bin_table.sort_values(["predictor", "bin"]).reset_index(drop=True)
    check_frames(ours, whole.bin_table.sort_values(["predictor", "bin"]).reset_index(drop=True), rtol=1e-11)
    unseen = df.withColumn(
        "amount", functions.when(functions.rand(2) < 0.1, None).otherwise(functions.col("amount"))
    )
    coded = binning.transform(unseen).cache()
    assert "Python" not in coded._jdf.queryExecution().executedPlan().toString()
    frame = coded.toPandas()
    expected = binning.bins_.apply(frame[df.columns])
    for name in expected.columns:
        missing = expected[name].isna()
        assert (frame[name].isna() == missing).all(), name
        if expected[name].dtype.kind == "f":
            assert frame[name][~missing].tolist() == pytest.approx(expected[name][~missing].tolist())
        else:
            assert (frame[name][~missing] == expected[name][~missing].astype(str)).all(), name


def test_jobs_and_failures(session, df):
    def jobs() -> int:
        return int(session.sparkContext._jsc.sc().statusStore().jobsList(None).size())

    counts = []
    for predictors in (["age"], None):  # as many jobs, however many predictors
        before = jobs()
        spark.rank(df.coalesce(2), "risk", predictors=predictors)
        counts.append(jobs() - before)
    assert counts[0] == counts[1] == 2
    assert session.sparkContext.getLocalProperty("spark.jobGroup.id") is None
    with pytest.raises(ValueError, match="There is no column 'risq'"):
        spark.rank(df, "risq")
    with pytest.raises(ValueError, match="needs all cases in one place"):
        spark.rank(df, "risk", classic=True)
    with pytest.raises(ValueError, match="needs --good CODE"):
        spark.screen(df, "risk", good="good")
    empty = df.where("age > 1000")
    # The sentence of a task, not its trace, with and without merging on the executors.
    for partitions in (2, 9):
        negative = df.withColumn("w", functions.expr("age - 30")).repartition(partitions)
        with pytest.raises(velmora.VelmoraError, match=r"^--weight: at least one case has a negative weight"):
            spark.rank(negative, "risk", weight="w")
    with pytest.raises(velmora.VelmoraError, match="no cases"):
        spark.rank(empty, "risk")


@pytest.mark.parametrize("state_bytes", [1000, 22_000_000, 110_000_000, 2_000_000_000])
def test_merges_fit_into_tasks(state_bytes):
    for partitions in (0, 1, 8, 9, 200, 10_000):
        left = [partitions, *spark._merges(partitions, state_bytes)]
        at_once = [-(-before // after) for before, after in itertools.pairwise(left)]
        assert all(count == 2 or count * state_bytes <= 2**29 for count in at_once)
        assert left[-1] <= 8
        assert left[-1] <= 1 or left[-1] * state_bytes <= 2**29
        assert len(at_once) <= (2 if state_bytes == 1000 else 14)


def test_a_state_that_spark_cannot_carry(monkeypatch):
    monkeypatch.setattr(spark, "_MOST_BYTES", 10)
    (sent,) = spark._answer(lambda: b"x" * 11)
    state, failure = (column[0].as_py() for column in sent.columns)
    assert state is None
    assert failure.endswith("name fewer predictors, or give a lower number of cells.")


def test_many_levels(session):
    rows = session.range(0, 60000, 1, 6).selectExpr(
        "concat('u', id % 30000) AS town", "id % 7 AS day", "CASE WHEN id % 7 < 3 THEN 'a' ELSE 'b' END AS y"
    )
    result = spark.rank(rows, "y")
    frame: pd.DataFrame = result.ranking
    assert frame.predictor[0] == "day"
    assert frame.set_index("predictor").levels["town"] == 30000
