#!/usr/bin/env python3
"""Checks that results are the same to the last bit for every reader and every number of threads.

    bench/same_bits.py VELMORA [RUNS] [SEED]    (needs numpy and polars from PyPI)

Each of the RUNS (default 100) makes a table of random size with missing values, levels, weights and counts, analyses it
by random options as text on one thread, and again as Parquet and Arrow and on 2, 3 and 8 threads. Ends at the first
difference and keeps its tables; the name of their folder and the command are printed then.
"""

import json
import random
import subprocess
import sys
import tempfile
from pathlib import Path

import numpy as np
import polars as pl


def write_tables(folder: Path, rng: np.random.Generator) -> list[Path]:
    cases = int(rng.integers(30, 6000))
    score = rng.normal(size=cases)
    columns: dict[str, list] = {
        "risk": ["bad" if one > 0.8 else "good" for one in score + rng.normal(size=cases)],
        "amount": (score * 100 + rng.normal(size=cases)).round(int(rng.integers(0, 6))).tolist(),
        "weight": rng.uniform(0.1, 4, cases).tolist(),
        "count": rng.integers(1, 5, cases).tolist(),
    }
    for i in range(int(rng.integers(1, 25))):
        kind = rng.integers(3)
        if kind == 0:
            cells = (rng.normal(size=cases) + rng.uniform() * score).tolist()
        elif kind == 1:
            cells = rng.integers(0, int(rng.integers(2, 40)), cases).tolist()
        else:
            cells = [f"level {one}" for one in rng.integers(0, int(rng.integers(2, 12)), cases)]
        missing = rng.uniform(size=cases) < rng.choice([0, 0.02, 0.3])
        columns[f"x{i}"] = [None if gone else cell for cell, gone in zip(cells, missing)]
    frame = pl.DataFrame(columns)
    paths = [folder / f"table.{ending}" for ending in ("csv", "parquet", "arrow")]
    frame.write_csv(paths[0])
    frame.write_parquet(paths[1], row_group_size=int(rng.integers(100, 5000)))
    frame.write_ipc(paths[2])
    return paths


def options(choice: random.Random) -> list[str]:
    if choice.random() < 0.5:
        words = ["feature-selection", "--dependents", "risk", "amount"]
        words += choice.choice([[], ["--casewise"]])
    else:
        words = ["screen", "--binary-response", "risk", "--good", "good", "--bad", "bad"]
        words += choice.choice([[], ["--shape", "monotone"]])
    words += choice.choice([[], ["--weight", "weight"], ["--count", "count"], ["--classic"]])
    return words + ["--predictors", "x*", "--format", "json", "--quiet"]


def without_names(part: object) -> object:
    """The report without what names its file and command."""
    if isinstance(part, dict):
        return {name: without_names(one) for name, one in part.items() if name not in ("provenance", "dataFile")}
    return [without_names(one) for one in part] if isinstance(part, list) else part


def analyse(velmora: str, words: list[str], path: Path, threads: int) -> tuple[int, object]:
    command = [velmora, words[0], str(path), *words[1:], "--threads", str(threads)]
    done = subprocess.run(command, capture_output=True, text=True, check=False)
    if done.returncode != 0:
        return done.returncode, done.stderr.replace(str(path), "")
    return 0, without_names(json.loads(done.stdout))


def main() -> None:
    velmora, runs, seed = sys.argv[1], *(int(word) for word in (sys.argv[2:] + ["100", "1"][len(sys.argv) - 2 :]))
    failed = 0
    for run in range(seed, seed + runs):
        folder = Path(tempfile.mkdtemp())
        paths = write_tables(folder, np.random.default_rng(run))
        words = options(random.Random(run))
        first = analyse(velmora, words, paths[0], 1)
        failed += first[0] != 0
        for path, threads in [(paths[0], 2), (paths[1], 1), (paths[1], 3), (paths[2], 8), (paths[1], 8)]:
            if analyse(velmora, words, path, threads) != first:
                sys.exit(f"other results of {path} with {threads} threads: {' '.join(words)}")
        for path in paths:
            path.unlink()
        folder.rmdir()
    print(f"{runs} runs, each six times with the same results ({failed} of them the same refusal)")


if __name__ == "__main__":
    main()
