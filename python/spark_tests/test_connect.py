"""velmora.spark over Spark Connect, whose sessions have no SparkContext and no RDDs: `make test-spark`."""

import os
import sys
from pathlib import Path

import pandas as pd
import pytest

import velmora
from velmora import spark

pytest.importorskip("grpc", reason="Spark Connect needs grpcio, which comes with pyspark[connect] 4")


@pytest.fixture(scope="module")
def session():
    from pyspark.sql import SparkSession

    os.environ["PYSPARK_PYTHON"] = sys.executable
    built = SparkSession.builder.remote("local[2]").config("spark.ui.enabled", "false").getOrCreate()
    yield built
    built.stop()


def test_connect(session):
    credit = pd.read_csv(Path(__file__).parents[2] / "samples" / "german_credit.csv")
    df = session.createDataFrame(credit)
    assert ".connect." in type(df).__module__
    ours, whole = spark.rank(df, "risk"), velmora.rank(credit, "risk")
    pd.testing.assert_frame_equal(ours.ranking, whole.ranking, check_exact=False, rtol=1e-9)
    binning = spark.Binning("risk", good="good", bad="bad", best=3).fit(df)
    coded = binning.transform(df).toPandas()
    expected = binning.bins_.apply(credit)
    for name in expected.select_dtypes("number"):
        assert coded[name].tolist() == pytest.approx(expected[name].tolist())
    with pytest.raises(velmora.VelmoraError, match=r"^The weight variable w is negative"):
        spark.rank(df.selectExpr("*", "age - 30 AS w"), "risk", weight="w")
