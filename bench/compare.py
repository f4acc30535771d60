#!/usr/bin/env python3
"""Compares bench_screen with itself and, where Python has them, with NumPy and scikit-learn.

    bench/compare.py build/bench_screen [FOLDER]

Makes its data in FOLDER (default: a scratch folder, removed afterwards), runs both sides of every
comparison in turns, and prints the median of the ratios of the pairs: a machine whose other users
come and go slows both sides of a pair. Processor time, one thread, unless a line says otherwise.
"""

import array
import json
import os
import random
import statistics
import subprocess
import sys
import tempfile
import time

# Set before NumPy is loaded, so that it uses one thread, like ours.
for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[variable] = "1"

PAIRS = 9
Z = 2.5758293009489543
INTERVALS = 10
DEPENDENTS = 3
SIZES = {"S": (100_000, 40, 10), "W": (5_000, 4_000, 1_000)}  # cases, continuous, categorical


def make_data(stem, cases, continuous, categorical):
    """Whole columns of doubles after 128 bytes, as bench_screen reads them."""
    generator = random.Random(1)
    base = [array.array("d", (generator.gauss(0, 1) for _ in range(cases))) for _ in range(8)]
    with open(stem + ".npy", "wb") as file:
        file.write(bytes(128))
        array.array("d", (float(x > 0) for x in base[0])).tofile(file)
        base[1].tofile(file)
        array.array("d", (float(generator.randrange(5)) for _ in range(cases))).tofile(file)
        for j in range(continuous):
            turn = j * 7919 % cases
            (base[j % 8][turn:] + base[j % 8][:turn]).tofile(file)
        for j in range(categorical):
            array.array("d", (float(generator.randrange(2 + j % 20)) for _ in range(cases))).tofile(file)
    shape = {"n": cases, "header_bytes": 128, "continuous": continuous, "categorical": categorical}
    with open(stem + ".json", "w", encoding="utf-8") as file:
        json.dump(shape, file)


class Ours:
    """One way of running bench_screen; a call gives the seconds of one go."""

    def __init__(self, program, stem, job, variations="", threads=1, clock="cpu_s"):
        self.words = [program] + ([variations] if variations else []) + [stem, job, str(threads), "0", "3"]
        self.clock = clock
        self.check = None

    def __call__(self):
        line = json.loads(subprocess.run(self.words, capture_output=True, check=True, text=True).stdout)
        self.check = line["check"]
        return min(line[self.clock])


def numpy_fs1(np, columns, continuous):
    """F of column 1 by every predictor: intervals of the module's own, then grouped sums."""
    y = columns[1] - columns[1].mean()
    total = float(np.dot(y, y))
    figures = []
    for j in range(DEPENDENTS, len(columns)):
        x = columns[j]
        if j < DEPENDENTS + continuous:
            d = x - x.mean()
            deviation = np.sqrt(np.dot(d, d) / (len(x) - 1))
            lower = min(x.min(), x.mean() - Z * deviation)
            place = np.ceil((x - lower) / (2 * Z * deviation / (INTERVALS + 1)))
            group = np.clip(place.astype(np.int64) - 1, 0, INTERVALS - 1)
        else:
            group = x.astype(np.int64)
        counts, sums = np.bincount(group), np.bincount(group, weights=y)
        kept = counts > 0
        between = float((sums[kept] ** 2 / counts[kept]).sum())
        k = int(kept.sum())
        figures.append(between * (len(y) - k) / (total - between) / (k - 1))
    return figures


def sklearn_fs1(np, sklearn, columns, continuous):
    """The same with its own transformer and test."""
    x = np.column_stack(columns[DEPENDENTS:])
    x[:, :continuous] = sklearn.preprocessing.KBinsDiscretizer(
        INTERVALS, encode="ordinal", strategy="uniform", subsample=None
    ).fit_transform(x[:, :continuous])
    y = columns[1]
    return [
        float(sklearn.feature_selection.f_classif(y[:, None], x[:, j])[0][0]) for j in range(x.shape[1])
    ]


def peers(stem):
    """Names and calls of the programs that this Python has."""
    try:
        import numpy as np
    except ImportError:
        return
    with open(stem + ".json", encoding="utf-8") as file:
        shape = json.load(file)
    data = np.fromfile(stem + ".npy", offset=shape["header_bytes"]).reshape(-1, shape["n"])

    def timed(function, *arguments):
        def call():
            begin = time.process_time()
            call.figures = function(*arguments)
            return time.process_time() - begin

        return call

    yield "NumPy", timed(numpy_fs1, np, list(data), shape["continuous"])
    try:
        import sklearn.feature_selection
        import sklearn.preprocessing
    except ImportError:
        return
    yield "scikit-learn", timed(sklearn_fs1, np, sklearn, list(data), shape["continuous"])


def ratio(other, ours, pairs=PAIRS):
    """The median of other / ours."""
    ratios = []
    for _ in range(pairs):
        seconds = other()
        ratios.append(seconds / ours())
    return statistics.median(ratios)


def compare(program, folder):
    stems = {}
    for name, shape in SIZES.items():
        stems[name] = os.path.join(folder, name)
        make_data(stems[name], *shape)
    cells = {name: cases * (continuous + categorical) for name, (cases, continuous, categorical) in SIZES.items()}

    def run(size, job="fs1", *arguments, **options):
        return Ours(program, stems[size], job, *arguments, **options)

    def row(text, value):
        print(f"{text:<58}{value:6.2f}", flush=True)

    rows, columns = run("S", "fs1", "rows"), run("S")
    row("S, fs1: single cases / columns across the contract", ratio(rows, columns))
    if rows.check != columns.check:
        sys.exit("single cases and columns give different figures")
    row("S, fs3 / fs1", ratio(run("S", "fs3"), run("S")))
    row("S, weights / none", ratio(run("S", "fs1", "weights"), run("S")))
    row("W per cell / S per cell", ratio(run("W"), run("S")) * cells["S"] / cells["W"])
    for size in SIZES:
        one, two = run(size, threads=1, clock="wall_s"), run(size, threads=2, clock="wall_s")
        row(f"{size}, fs1, wall clock: one thread / two", ratio(one, two))
        if one.check != two.check:
            sys.exit("one thread and two give different figures")
    for size in SIZES:
        for name, call in peers(stems[size]):
            ours, slow = run(size), name != "NumPy"
            row(f"{size}, fs1: {name} / ours", ratio(call, ours, pairs=3 if slow else PAIRS))
            # scikit-learn cuts from minimum to maximum, so its figures differ.
            if not slow and any(abs(a - b[0]) > 1e-9 * a for a, b in zip(call.figures, ours.check)):
                sys.exit("NumPy and we give different figures")
    one, two = (run("S", "screen_bin", threads=threads, clock="wall_s") for threads in (1, 2))
    row("S, screen_bin, wall clock: one thread / two", ratio(one, two))
    if one.check != two.check:
        sys.exit("one thread and two screen differently")


def main():
    if len(sys.argv) not in (2, 3):
        sys.exit(__doc__)
    if len(sys.argv) == 3:
        os.makedirs(sys.argv[2], exist_ok=True)
        compare(sys.argv[1], sys.argv[2])
        return
    with tempfile.TemporaryDirectory() as folder:
        compare(sys.argv[1], folder)


if __name__ == "__main__":
    main()
