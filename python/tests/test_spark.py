"""The analyses on Spark against those in memory."""

import itertools
import os

import numpy as np
import pandas as pd
import pyarrow as pa
import pyarrow.parquet
import pytest

import velmora

pyspark = pytest.importorskip("pyspark")

from pyspark.sql import functions  # noqa: E402
from test_parts import check_frames  # noqa: E402

from velmora import _parquet, spark  # noqa: E402


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
    df.count()  # it is cached
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
    (sent,) = spark._answer(3, [0], lambda: b"x" * 11)
    (row,) = sent.to_pylist()
    assert row["state"] is None
    assert row["failure"].endswith("name fewer predictors, or give a lower number of cells.")


def test_states_are_dealt_evenly(session):
    """By numbers that Spark's own hash puts into one partition each."""
    for count in (1, 2, 7, 13):
        targets = spark._targets(count)
        numbers = session.createDataFrame([(number,) for number in targets], "target int")
        dealt = numbers.repartition(count, "target").select(functions.spark_partition_id()).collect()
        assert sorted(row[0] for row in dealt) == list(range(count))
        assert numbers.selectExpr(f"pmod(hash(target), {count}) AS p").toPandas().p.tolist() == list(
            range(count)
        )


def test_many_levels(session):
    rows = session.range(0, 60000, 1, 6).selectExpr(
        "concat('u', id % 30000) AS town", "id % 7 AS day", "CASE WHEN id % 7 < 3 THEN 'a' ELSE 'b' END AS y"
    )
    result = spark.rank(rows, "y")
    frame: pd.DataFrame = result.ranking
    assert frame.predictor[0] == "day"
    assert frame.set_index("predictor").levels["town"] == 30000


@pytest.fixture(scope="module")
def typed() -> pa.Table:
    """Columns of every type that a Parquet file has, with missing values, and an outcome."""
    rng = np.random.default_rng(4)
    count = 3000
    z = rng.normal(size=count)

    def column(values, arrow_type):
        return pa.array(values, arrow_type, mask=rng.uniform(size=count) < 0.1)

    days = (z * 1000 + 12000).astype("int64")
    measured = np.where(rng.uniform(size=count) < 0.05, np.nan, z)
    columns = {
        "y": pa.array(np.where(z + rng.normal(size=count) > 0, "a", "b")),
        "measured": column(measured, pa.float64()),
        "short": column(z.astype("f4"), pa.float32()),
        "tiny": column((z * 9).astype("i1"), pa.int8()),
        "whole": column((z * 50).astype("int64"), pa.int64()),
        "truth": column(z > 0.3, pa.bool_()),
        "town": column([f"t{int(v * 2)}" for v in z], pa.string()),
        "day": column(days.astype("datetime64[D]"), pa.date32()),
        "at": column((days * 86_400_000_000 + 5).astype("datetime64[us]"), pa.timestamp("us", "UTC")),
        "clock": column((days * 3_600_000_000).astype("datetime64[us]"), pa.timestamp("us")),
        "money": pa.array([round(float(v) * 100, 2) for v in z]).cast(pa.decimal128(9, 2), safe=False),
    }
    return pa.table(columns)


def check_sources(df, outcome="y", **options):
    """Files and rows give the same; returns the notice that says which was read."""
    files = spark.rank(df, outcome, **options)
    rows = spark.rank(df, outcome, source="rows", **options)
    check_frames(files.ranking, rows.ranking)
    assert files.notices[:-1] == rows.notices[:-1]
    return files.notices[-1]


def test_files_are_read_as_spark_reads_them(session, typed, tmp_path, monkeypatch):
    # Files in several pieces, and pieces of several files.
    monkeypatch.setattr(_parquet, "_LEAST_SHARE_BYTES", 20_000)
    folder = tmp_path / "by_pyarrow"
    folder.mkdir()
    for i in range(5):
        part = typed.slice(600 * i, 600)
        if i == 3:  # another way to write the same texts
            part = part.set_column(6, "town", part.column("town").dictionary_encode())
        pa.parquet.write_table(part, folder / f"{i} %20.parquet", row_group_size=130)
    (folder / "_SUCCESS").touch()
    df = session.read.parquet(str(folder))
    shares = _parquet.scan_of(df).shares
    assert len(shares) == 4
    assert any(piece.begin > 0 for share in shares for piece in share)
    rows = sum(batch.num_rows for i in range(4) for batch in _parquet.batches_of(_parquet.scan_of(df), i))
    assert rows == len(typed)
    assert check_sources(df) == "The executors read 5 files themselves."
    renamed = df.select("town", df.measured.alias("score"), "y").withColumnRenamed("town", "place")
    assert check_sources(renamed) == "The executors read 5 files themselves."
    # Spark writes points in time in its own form, and pads nothing.
    df.write.parquet(str(tmp_path / "by_spark"))
    written = session.read.parquet(str(tmp_path / "by_spark"))
    assert check_sources(written).startswith("The executors read")
    screened = [spark.screen(df, "y", good="a", bad="b", source=source) for source in ("files", "rows")]
    check_frames(screened[0].bin_table, screened[1].bin_table)


def test_rows_where_files_could_be_read_otherwise(session, typed, tmp_path):
    path = str(tmp_path / "typed.parquet")
    pa.parquet.write_table(typed, path)
    df = session.read.parquet(path)
    for frame, reason in (
        (df.where("whole > 0"), "the frame is more than columns of Parquet files, or cached"),
        (df.withColumn("twice", df.whole * 2), "columns of the frame are computed"),
    ):
        assert check_sources(frame) == f"Spark handed over the rows of the frame: {reason}."
        with pytest.raises(velmora.VelmoraError, match="cannot be read in place of the frame"):
            spark.rank(frame, "y", source="files")
    with pytest.raises(ValueError, match="source is 'auto', 'rows' or 'files'"):
        spark.rank(df, "y", source="file")


def test_rows_where_executors_refuse_a_file(session, typed, tmp_path):
    """Of two files, one lacks a column that Spark finds nevertheless, as its case does not matter to it."""
    pa.parquet.write_table(typed.select(["y", "whole"]), tmp_path / "0.parquet")
    pa.parquet.write_table(
        typed.select(["y", "whole"]).rename_columns(["y", "Whole"]), tmp_path / "1.parquet"
    )
    result = spark.rank(session.read.parquet(str(tmp_path)), "y")
    assert "is written differently" in result.notices[-1]
    assert result.ranking.cases.tolist() == [2 * (len(typed) - typed.column("whole").null_count)]


def scan_of_file(path, table: pa.Table) -> _parquet.Scan:
    """A table as the frame of a file that holds something else."""
    found = path.stat()
    piece = _parquet.Piece(str(path), found.st_size, found.st_mtime_ns // 1_000_000, 0, found.st_size)
    names = table.column_names
    return _parquet.Scan(names, names, [field.type for field in table.schema], 1, [[piece]])


def test_what_a_file_may_hold(typed, tmp_path):
    path = tmp_path / "typed.parquet"
    typed = typed.drop_columns(["measured"])  # its NaN equal nothing

    def read(file: pa.Table, frame: pa.Table) -> pa.Table:
        pa.parquet.write_table(file, path, row_group_size=700)
        return pa.Table.from_batches(_parquet.batches_of(scan_of_file(path, frame), 0))

    assert read(typed, typed).equals(typed)
    # The frame's order, and the types of the frame.
    assert read(typed, typed.select(["day", "y"])).equals(typed.select(["day", "y"]))
    wider = typed.select(["tiny"]).cast(pa.schema([("tiny", pa.int64())]))
    assert read(typed, wider).equals(wider)
    # A column that the file lacks has no values.
    lacking = read(typed.drop_columns(["whole"]), typed.select(["whole", "y"]))
    assert lacking.column("whole").null_count == len(typed)
    ancient = pa.table({"day": pa.array([-200_000], pa.int32()).cast(pa.date32())})
    texts = pa.table({"whole": pa.array(["1", "2"])})
    for file, frame, reason in (
        (ancient, ancient, "goes back to days whose calendar Spark decides on"),
        (texts, typed.select(["whole"]), "the column whole is string in .*, where Spark has int64"),
        (typed.rename_columns([n.upper() for n in typed.column_names]), typed, "is written differently"),
        (
            typed.select(["clock"]),
            typed.select(["at"]).rename_columns(["clock"]),
            "where Spark has timestamp",
        ),
    ):
        with pytest.raises(_parquet.UnlikeRowsError, match=reason):
            read(file, frame)
    scan = scan_of_file(path, typed)
    path.write_bytes(b"no Parquet file, but as long".ljust(path.stat().st_size))
    with pytest.raises(_parquet.ChangedFileError):
        os.utime(path, (1, 1))
        list(_parquet.batches_of(scan, 0))
    with pytest.raises(_parquet.UnlikeRowsError, match="pyarrow does not read"):
        list(_parquet.batches_of(scan_of_file(path, typed), 0))
    path.unlink()
    with pytest.raises(_parquet.UnlikeRowsError, match="an executor does not reach"):
        list(_parquet.batches_of(scan, 0))


def test_a_file_that_has_changed(session, typed, tmp_path):
    path = tmp_path / "typed.parquet"
    pa.parquet.write_table(typed, path)
    df = session.read.parquet(str(path))
    pa.parquet.write_table(typed.slice(0, 2000), path)
    with pytest.raises(velmora.VelmoraError, match=r"^The file \S*typed.parquet has changed since Spark"):
        spark.rank(df, "y")
