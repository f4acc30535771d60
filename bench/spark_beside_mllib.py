"""velmora.spark beside pyspark.ml on the same cached frame in one session: seconds by the clock and of processors.

usage: spark_beside_mllib.py [--master MASTER] [--rows N] [--predictors N] [--partitions N] [--scaling]

Generated cells, cached first, so that neither side pays for making them. MLlib's tests and selector are asked for what
rank answers in one call: a test for every predictor. A categorical test there needs the intervals of
QuantileDiscretizer first. Processor seconds are those of this process and all that it started (the JVM, executors and
their Python workers), so that they do not depend on what else the machine does. With --scaling, also the passes by
number of partitions, and the sizes of their states.
"""

import argparse
import os
import sys
import time
from pathlib import Path

from pyspark.ml.feature import QuantileDiscretizer, UnivariateFeatureSelector, VectorAssembler
from pyspark.ml.stat import ChiSquareTest
from pyspark.sql import SparkSession, functions
from velmora import spark
from velmora._library import Session
from velmora._parts import Run, cells_for


def processor_seconds() -> dict[int, float]:
    """Of this process and each of its living descendants."""
    parents, seconds = {}, {}
    for place in Path("/proc").iterdir():
        try:
            fields = (place / "stat").read_text().rpartition(")")[2].split() if place.name.isdigit() else []
        except OSError:
            continue
        if fields:
            parents[int(place.name)] = int(fields[1])
            seconds[int(place.name)] = sum(map(int, fields[11:13])) / os.sysconf("SC_CLK_TCK")

    def is_ours(pid: int) -> bool:
        while pid in parents and pid != os.getpid():
            pid = parents[pid]
        return pid == os.getpid()

    return {pid: used for pid, used in seconds.items() if is_ours(pid)}


def measure(label: str, work, cells: int = 0, shown: bool = True) -> None:
    start, before = time.perf_counter(), processor_seconds()
    work()
    elapsed = time.perf_counter() - start
    used = sum(seconds - before.get(pid, 0) for pid, seconds in processor_seconds().items())
    if shown:
        per_cell = f"  {used / cells * 1e6:6.2f} s per million cells" if cells else ""
        print(f"{label:44} {elapsed:8.1f} s  {used:8.1f} s of processors{per_cell}", flush=True)


def make_frames(session, rows: int, names: list[str], partitions: int):
    columns = [
        (functions.randn(i) * 10 + (functions.col("id") % 7) / (i + 1)).alias(name) for i, name in enumerate(names)
    ]
    label = (functions.col("id") % 7 > 3).cast("double").alias("y")
    df = session.range(0, rows, 1, partitions).select(label, *columns).cache()
    vectors = VectorAssembler(inputCols=names, outputCol="features").transform(df).select("y", "features").cache()
    print(f"{df.count():,} rows x {len(names)} predictors = {rows * len(names):,} cells, {vectors.count():,} vectors")
    return df, vectors


def compare(df, vectors, names: list[str], cells: int, shown: bool = True) -> None:
    def chi_square() -> None:
        cut = [f"q{name}" for name in names]
        discretizer = QuantileDiscretizer(numBuckets=10, inputCols=names, outputCols=cut)
        binned = VectorAssembler(inputCols=cut, outputCol="binned").transform(discretizer.fit(df).transform(df))
        ChiSquareTest.test(binned, "binned", "y").collect()

    def select() -> None:
        selector = UnivariateFeatureSelector(featuresCol="features", labelCol="y", selectionMode="numTopFeatures")
        selector.setFeatureType("continuous").setLabelType("categorical").setSelectionThreshold(5).fit(vectors)

    # It has no Python class.
    anova = vectors.sparkSession._jvm.org.apache.spark.ml.stat.ANOVATest
    for label, work in (
        ("velmora.spark.rank", lambda: spark.rank(df, "y", categorical=["y"])),
        ("velmora.spark.screen", lambda: spark.screen(df, "y", good=1, bad=0)),
        ("ANOVATest", lambda: anova.test(vectors._jdf, "features", "y").collect()),
        ("UnivariateFeatureSelector", select),
        ("QuantileDiscretizer + ChiSquareTest", chi_square),
    ):
        measure(label, work, cells, shown)


def show_scaling(df, names: list[str]) -> None:
    """Both passes of a ranking by number of partitions, and the sizes of a partition's states."""
    for partitions in (2, 8, 32, 128):
        parts = df.repartition(partitions).cache()
        run = Run("feature-selection", {"dependents": ["y"], "categorical": ["y"]}, {"cells": cells_for(len(names))})
        session = Session()
        sizes = []
        cells = parts.count() * len(names)
        for name in ("first", "second"):
            states = parts.mapInArrow(spark._partition_task(run, [0], parts.columns), spark._STATE_SCHEMA)

            def merge(states=states, sizes=sizes):
                rows = [bytes(row.state) for row in states.collect()]
                sizes.append(max(map(len, rows)))
                return run.merged(session, rows)

            merged = []
            measure(f"{partitions} partitions, {name} pass", lambda keep=merged, work=merge: keep.append(work()), cells)
            if name == "first":
                run.second = merged[0].second_pass()
        print(f"{'':44} states of {sizes[0]:,} and {sizes[1]:,} bytes", flush=True)
        parts.unpersist()


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--master", default="local[2]")
    parser.add_argument("--rows", type=int, default=5_000_000)
    parser.add_argument("--predictors", type=int, default=20)
    parser.add_argument("--partitions", type=int, default=8)
    parser.add_argument("--scaling", action="store_true")
    options = parser.parse_args()
    os.environ.setdefault("PYSPARK_PYTHON", sys.executable)
    builder = (
        SparkSession.builder.master(options.master).config("spark.ui.enabled", "false")
        .config("spark.ui.showConsoleProgress", "false")
        .config("spark.driver.memory", "4g").config("spark.sql.shuffle.partitions", "8")
        .config("spark.driver.bindAddress", "127.0.0.1").config("spark.driver.host", "127.0.0.1")
    )
    for name in ("VELMORA_LIBRARY", "VELMORA_MODULE", "PYTHONPATH"):
        if name in os.environ:
            builder = builder.config(f"spark.executorEnv.{name}", os.environ[name])
    session = builder.getOrCreate()
    session.sparkContext.setLogLevel("OFF")
    print(f"Spark {session.version}, {options.master}")
    names = [f"x{i}" for i in range(options.predictors)]
    # Run once over a few rows, so that neither side pays for starting workers and compiling.
    few = make_frames(session, 2000 * options.partitions, names, options.partitions)
    compare(*few, names, 0, shown=False)
    for frame in few:
        frame.unpersist()
    df, vectors = make_frames(session, options.rows, names, options.partitions)
    compare(df, vectors, names, options.rows * options.predictors)
    if options.scaling:
        vectors.unpersist()
        show_scaling(df, names)
    session.stop()


if __name__ == "__main__":
    main()
