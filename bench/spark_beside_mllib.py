"""velmora.spark beside pyspark.ml on the same frame in one session: ANOVATest, ChiSquareTest, QuantileDiscretizer.

usage: spark_beside_mllib.py [ROWS] [PREDICTORS]     (2,000,000 x 20 by default)

Generated cells, cached first, so that neither side pays for making them. MLlib's tests are asked for what rank answers
in one call: a test for every predictor. A categorical test there needs the intervals of QuantileDiscretizer first.
"""

import os
import sys
import time

from pyspark.ml.feature import QuantileDiscretizer, VectorAssembler
from pyspark.ml.stat import ANOVATest, ChiSquareTest
from pyspark.sql import SparkSession, functions
from velmora import spark


def seconds(work) -> float:
    start = time.perf_counter()
    work()
    return time.perf_counter() - start


def main() -> None:
    rows, predictors = (int(word) for word in [*sys.argv[1:], *("2000000", "20")[len(sys.argv) - 1 :]])
    os.environ.setdefault("PYSPARK_PYTHON", sys.executable)
    session = (
        SparkSession.builder.master("local[2]").config("spark.ui.enabled", "false")
        .config("spark.driver.memory", "3g").config("spark.sql.shuffle.partitions", "8").getOrCreate()
    )
    session.sparkContext.setLogLevel("OFF")
    names = [f"x{i}" for i in range(predictors)]
    columns = [(functions.randn(i) * 10 + (functions.col("id") % 7) / (i + 1)).alias(name) for i, name in enumerate(names)]
    df = session.range(0, rows, 1, 8).select((functions.col("id") % 7 > 3).cast("double").alias("y"), *columns).cache()
    vectors = VectorAssembler(inputCols=names, outputCol="features").transform(df).select("y", "features").cache()
    print(f"{df.count():,} rows x {predictors} predictors = {rows * predictors:,} cells, {vectors.count():,} vectors")

    def chi_square() -> None:
        cut = [f"q{name}" for name in names]
        discretizer = QuantileDiscretizer(numBuckets=10, inputCols=names, outputCols=cut)
        binned = VectorAssembler(inputCols=cut, outputCol="binned").transform(discretizer.fit(df).transform(df))
        ChiSquareTest.test(binned, "binned", "y").collect()

    for label, work in (
        ("velmora.spark.rank", lambda: spark.rank(df, "y", categorical=["y"])),
        ("velmora.spark.screen", lambda: spark.screen(df, "y", good=1, bad=0)),
        ("ANOVATest", lambda: ANOVATest.test(vectors, "features", "y").collect()),
        ("QuantileDiscretizer + ChiSquareTest", chi_square),
    ):
        print(f"{label:40} {seconds(work):8.1f} s", flush=True)
    session.stop()


if __name__ == "__main__":
    main()
