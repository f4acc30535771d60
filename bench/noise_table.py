"""Columns of noise through `velmora screen`: how many come out above chance, and how many as strong.

usage: noise_table.py VELMORA [CASES ...] [--columns N] [--repeats N]     (needs numpy and pyarrow from PyPI)

For each number of cases (200 400 2000 10000 100000), an outcome of two classes (a quarter bad) and a measured one,
with and without sampling weights (lognormal, sigma 1), three runs of N predictors (3,000) that have nothing to do with
the outcome: normal ones; categorical ones of 40 levels; and half of each with a fifth of the values missing. A row has
the columns above chance and those whose out-of-fold figure is strong (information value 0.3, R-squared 0.1) above
chance / at all, and the largest out-of-fold figure. With repeats the counts are sums.
"""

import argparse
import json
import subprocess
import tempfile
from pathlib import Path

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq

KINDS = {"continuous": ["ax*", "bx*"], "40 levels": ["al*", "bl*"], "both, missing": ["mx*", "ml*"]}
LEVELS = pa.array([f"L{i}" for i in range(40)])


def write_noise(path: Path, cases: int, columns: int, seed: int) -> None:
    rng = np.random.default_rng(seed)
    table = {
        "y": pa.array(np.where(rng.uniform(size=cases) < 0.25, "bad", "good")),
        "amount": rng.normal(size=cases),
        "w": rng.lognormal(size=cases),
    }
    half = columns // 2
    for first in "abm":
        for i in range(half):
            missing = rng.uniform(size=cases) < 0.2 if first == "m" else None
            table[f"{first}x{i}"] = pa.array(rng.normal(size=cases), mask=missing)
            codes = pa.array(rng.integers(0, len(LEVELS), size=cases).astype(np.int32), mask=missing)
            table[f"{first}l{i}"] = pa.DictionaryArray.from_arrays(codes, LEVELS)
    pq.write_table(pa.table(table), path)


def counts(program: str, path: Path, kind: str, measured: bool, weighted: bool) -> tuple[int, int, int, int, float]:
    """Predictors, those above chance, strong ones above chance, strong ones, the largest figure."""
    outcome = ["--continuous-response", "amount"] if measured else [
        "--binary-response", "y", "--good", "good", "--bad", "bad"]
    weight = ["--weight", "w"] if weighted else []
    words = [program, "screen", str(path), *outcome, *weight, "--predictors", *KINDS[kind], "--format", "json", "--quiet"]
    answer = json.loads(subprocess.run(words, capture_output=True, text=True, check=True).stdout)
    figure, strong = ("outOfFoldExplained", 0.1) if measured else ("outOfFoldInformationValue", 0.3)
    predictors = answer["responses"][0]["predictors"]
    above = [one[figure] for one in predictors if not one["noBetterThanChance"]]
    every = [one[figure] for one in predictors]
    return (len(every), len(above), sum(value >= strong for value in above), sum(value >= strong for value in every),
            max(every))


def main() -> None:
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("velmora")
    parser.add_argument("cases", type=int, nargs="*", default=[200, 400, 2_000, 10_000, 100_000])
    parser.add_argument("--columns", type=int, default=3_000)
    parser.add_argument("--repeats", type=int, default=1)
    given = parser.parse_args()
    print("| cases | outcome | weights | predictors | above chance | strong | largest figure |\n|---|---|---|---|---|---|---|")
    for cases in given.cases:
        with tempfile.TemporaryDirectory() as folder:
            paths = [Path(folder) / f"{seed}.parquet" for seed in range(given.repeats)]
            for seed, path in enumerate(paths):
                write_noise(path, cases, given.columns, seed)
            for measured in (False, True):
                for weighted in (False, True):
                    for kind in KINDS:
                        rows = [counts(given.velmora, path, kind, measured, weighted) for path in paths]
                        total, above, strong, any_strong = (sum(row[i] for row in rows) for i in range(4))
                        largest = max(row[4] for row in rows)
                        print(f"| {cases:,} | {'measured' if measured else 'two classes'} | {'yes' if weighted else 'no'} "
                              f"| {total:,} {kind} | {above} | {strong} / {any_strong} | {largest:.3f} |", flush=True)


if __name__ == "__main__":
    main()
