"""Data and places of the tests. VELMORA_COMMAND is the command whose figures the package must give."""

import os
import subprocess
import sys
from pathlib import Path

import matplotlib
import pandas as pd
import pytest

matplotlib.use("agg")

SAMPLES = Path(__file__).parents[2] / "samples"


@pytest.fixture(scope="session")
def credit() -> pd.DataFrame:
    return pd.read_csv(SAMPLES / "german_credit.csv")


@pytest.fixture(scope="session")
def schools() -> pd.DataFrame:
    return pd.read_csv(SAMPLES / "schools.csv")


@pytest.fixture(scope="session")
def command():
    """Runs the command and returns its standard output."""

    def run(*words: object) -> str:
        line = [os.environ["VELMORA_COMMAND"], *map(str, words)]
        return subprocess.run(line, check=True, capture_output=True, text=True).stdout

    return run


@pytest.fixture(scope="session")
def session():
    """Spark in this process; one small session serves all tests."""
    from pyspark.sql import SparkSession

    os.environ["PYSPARK_PYTHON"] = sys.executable
    built = (
        SparkSession.builder.master("local[2]")
        .appName("velmora")
        .config("spark.ui.enabled", "false")
        .config("spark.driver.bindAddress", "127.0.0.1")
        .config("spark.driver.host", "127.0.0.1")
        .config("spark.sql.shuffle.partitions", "4")
        .config("spark.sql.execution.arrow.maxRecordsPerBatch", "200")
        .getOrCreate()
    )
    built.sparkContext.setLogLevel("OFF")
    yield built
    built.stop()
