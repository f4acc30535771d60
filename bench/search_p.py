"""p after a search (`screen --permutations`) over tables of noise: is it uniform?

usage: search_p.py VELMORA [--tables 1000] [--cases 400] [--permutations 199]     (needs numpy and scipy from PyPI)

Each table has an outcome of two classes (30 % bad) and four predictors that have nothing to do with it: 30 levels,
whole numbers from 0 to 6, a continuous one of which a tenth is missing, and two levels. Prints, for each and for the
smallest adjusted p of the four, the share of p at most 0.05 and the test of Kolmogorov and Smirnov.
"""

import argparse
import csv
import json
import subprocess
import tempfile
from pathlib import Path

import numpy as np
from scipy.stats import kstest


def write_table(path: Path, cases: int, rng) -> None:
    with path.open("w", newline="") as file:
        out = csv.writer(file)
        out.writerow(["y", "levels", "whole", "missing", "two"])
        for _ in range(cases):
            out.writerow(["bad" if rng.uniform() < 0.3 else "good", f"L{rng.integers(30)}", int(rng.integers(7)),
                          "" if rng.uniform() < 0.1 else f"{rng.normal():.6f}", "ab"[rng.integers(2)]])


def main() -> None:
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("velmora")
    parser.add_argument("--tables", type=int, default=1000)
    parser.add_argument("--cases", type=int, default=400)
    parser.add_argument("--permutations", type=int, default=199)
    given = parser.parse_args()
    rng = np.random.default_rng(1)
    found: dict[str, list[float]] = {}
    with tempfile.TemporaryDirectory() as folder:
        path = Path(folder) / "noise.csv"
        for table in range(given.tables):
            write_table(path, given.cases, rng)
            words = [given.velmora, "screen", str(path), "--binary-response", "y", "--good", "good", "--bad", "bad",
                     "--permutations", str(given.permutations), "--seed", str(table + 1), "--format", "json", "--quiet"]
            answer = json.loads(subprocess.run(words, capture_output=True, text=True, check=True).stdout)
            predictors = answer["responses"][0]["predictors"]
            for one in predictors:
                found.setdefault(one["name"], []).append(one["searchP"])
            found.setdefault("smallest adjusted", []).append(min(one["adjustedSearchP"] for one in predictors))
    for name, values in found.items():
        # p takes the values 1/(N + 1) to 1; spread over the steps between these values it is
        # continuous.
        steps = np.array(values) - rng.uniform(size=len(values)) / (given.permutations + 1)
        test = kstest(steps, "uniform")
        print(f"{name:18} p <= 0.05: {np.mean(np.array(values) <= 0.05 + 1e-12):6.1%}   "
              f"distance {test.statistic:.3f}, p {test.pvalue:.2f}   ({len(values)} tables)")


if __name__ == "__main__":
    main()
