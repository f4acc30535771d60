"""Data and places of the tests. VELMORA_COMMAND is the command whose figures the package must give."""

import os
import subprocess
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
