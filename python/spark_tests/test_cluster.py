"""Spark with executors of their own: killed ones, many partitions, a million levels: `make test-spark`."""

import os
import signal
import subprocess
import sys
import threading
import time

import numpy as np
import pandas as pd
import pytest
from pyspark.sql import SparkSession, functions

import velmora
from velmora import spark


@pytest.fixture(scope="module")
def session():
    os.environ["PYSPARK_PYTHON"] = sys.executable
    executor = {
        name: os.environ[name]
        for name in ("VELMORA_LIBRARY", "VELMORA_MODULE", "PYTHONPATH")
        if name in os.environ
    }
    builder = (
        SparkSession.builder.master("local-cluster[2,1,1024]")
        .config("spark.ui.enabled", "false")
        .config("spark.driver.bindAddress", "127.0.0.1")
        .config("spark.driver.host", "127.0.0.1")
        .config("spark.sql.shuffle.partitions", "8")
        .config("spark.task.maxFailures", "8")
    )
    for name, value in executor.items():
        builder = builder.config(f"spark.executorEnv.{name}", value)
    built = builder.getOrCreate()
    built.sparkContext.setLogLevel("OFF")
    yield built
    built.stop()


@pytest.fixture(scope="module")
def frame() -> pd.DataFrame:
    rng = np.random.default_rng(8)
    count = 40000
    frame = pd.DataFrame({f"x{i}": rng.integers(0, 1000, count) / 10 for i in range(6)})
    frame["town"] = rng.choice(["Bonn", "Kiel", "Ulm"], count)
    frame["y"] = np.where(frame.x0 + 40 * rng.normal(size=count) > 60, "a", "b")
    return frame


def executors() -> list[int]:
    """Those of this test's own session."""
    listed = subprocess.run(
        ["ps", "-ww", "-eo", "pid,ppid,args"], capture_output=True, text=True, check=True
    ).stdout
    parents, found = {}, []
    for line in listed.splitlines()[1:]:
        pid, parent, words = line.split(None, 2)
        parents[int(pid)] = int(parent)
        if "CoarseGrainedExecutorBackend" in words:
            found.append(int(pid))

    def is_ours(pid: int) -> bool:
        while pid in parents and pid != os.getpid():
            pid = parents[pid]
        return pid == os.getpid()

    return [pid for pid in found if is_ours(pid)]


@pytest.mark.parametrize("partitions", [1, 7, 200])
def test_partitions(session, frame, partitions):
    df = session.createDataFrame(frame).repartition(partitions).sortWithinPartitions(functions.rand(3))
    ours, whole = spark.rank(df, "y"), velmora.rank(frame, "y")
    pd.testing.assert_frame_equal(ours.ranking, whole.ranking, check_exact=False, rtol=1e-9)


def test_killed_executors(session, frame):
    """An executor dies in each pass; Spark runs its tasks again."""
    whole = velmora.rank(frame, "y")
    df = session.createDataFrame(frame).repartition(60)
    for delay in (0.5, 4):
        killed = []

        def kill(wait: float, victims: list[int] = killed) -> None:
            time.sleep(wait)
            victims.extend(executors()[:1])
            for pid in victims:
                os.kill(pid, signal.SIGKILL)

        thread = threading.Thread(target=kill, args=(delay,))
        thread.start()
        ours = spark.rank(df, "y")
        thread.join()
        assert killed
        pd.testing.assert_frame_equal(ours.ranking, whole.ranking, check_exact=False, rtol=1e-9)


def test_a_million_levels(session):
    rows = session.range(0, 2_000_000, 1, 16).selectExpr(
        "concat('u', id % 1000000) AS user",
        "id % 7 AS day",
        "CASE WHEN id % 7 < 3 THEN 'a' ELSE 'b' END AS y",
    )
    result = spark.rank(rows, "y")
    assert result.best == ["day"]
    left_out = result.json["run"]["leftOut"]
    assert [one["name"] for one in left_out] == ["user"]
    assert "more than 100000 different texts" in left_out[0]["reason"]
