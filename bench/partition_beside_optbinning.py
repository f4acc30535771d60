"""The exact partitions of workbench/binning beside a solver-based program, on the same pre-bins and constraints.

usage: partition_beside_optbinning.py PARTITION_BENCH [PREDICTORS]     (needs optbinning and numpy from PyPI)

Prints, for each shape, how often either optimum is the higher one, the largest shortfall of ours (to be 0) and the
ratio of the processor times.
"""

import subprocess
import sys

import numpy as np
from optbinning import OptimalBinning

CASES, PRE_BINS, MAX_BINS, MIN_SHARE = 20_000, 24, 6, 0.05
SHAPES = {"free": None, "ascending": "ascending", "descending": "descending", "peak": "peak", "valley": "valley"}


def predictor(rng, number):
    """A column and a bad flag that depends on it in one of four ways."""
    x = rng.normal(size=CASES)
    score = (0.8 * x, -0.6 * x, 0.7 * np.abs(x) - 1, np.sin(2 * x))[number % 4]
    return x, (rng.uniform(size=CASES) < 1 / (1 + np.exp(1.5 - score))).astype(int)


def information_value(x, bad, cuts):
    bins = np.searchsorted(cuts, x, side="right")
    value = 0.0
    for b in range(len(cuts) + 1):
        bads = bad[bins == b].sum() / bad.sum()
        goods = (1 - bad[bins == b]).sum() / (1 - bad).sum()
        if bads > 0 and goods > 0:
            value += (goods - bads) * np.log(goods / bads)
    return value


def main():
    program = sys.argv[1]
    predictors = int(sys.argv[2]) if len(sys.argv) > 2 else 8
    rng = np.random.default_rng(1)
    columns = [predictor(rng, i) for i in range(predictors)]
    for shape, trend in SHAPES.items():
        theirs, their_seconds, lines = [], 0.0, []
        for x, bad in columns:
            cuts = np.quantile(x, np.arange(1, PRE_BINS) / PRE_BINS)
            pre = np.searchsorted(cuts, x, side="right")
            counts = [(bad[pre == b].sum(), (1 - bad[pre == b]).sum()) for b in range(PRE_BINS)]
            lines.append(f"{shape} {MAX_BINS} {MIN_SHARE} {PRE_BINS} " + " ".join(f"{b} {g}" for b, g in counts))
            binning = OptimalBinning(dtype="numerical", solver="cp", divergence="iv", user_splits=cuts,
                                     max_n_bins=MAX_BINS, min_bin_size=MIN_SHARE, monotonic_trend=trend,
                                     min_prebin_size=1e-9, max_n_prebins=PRE_BINS, time_limit=120)
            binning.fit(x, bad)
            their_seconds += binning._time_solver
            theirs.append(information_value(x, bad, binning.splits))
        answer = subprocess.run([program], input="\n".join(lines), capture_output=True, text=True, check=True).stdout
        ours = [line.split() for line in answer.splitlines()]
        shortfall = max(their - float(our[1]) for their, our in zip(theirs, ours))
        higher = sum(float(our[1]) > their + 1e-9 for their, our in zip(theirs, ours))
        our_seconds = sum(float(our[0]) for our in ours)
        print(f"{shape:10} {predictors} predictors: ours higher {higher} times, largest shortfall {max(shortfall, 0):.1e}, "
              f"{their_seconds / predictors:.3f} s against {our_seconds / predictors:.6f} s: {their_seconds / our_seconds:.0f} times")


if __name__ == "__main__":
    main()
