"""Processor time and memory of large runs of the command, on tables made for them.

usage: large_runs.py VELMORA permutations|bins|memory [CASES] [PREDICTORS] [LIMIT]    (needs numpy and pyarrow from PyPI)

permutations   screen with and without --permutations 1000 (10,000 cases x 100 predictors)
bins           screen of continuous predictors, a twentieth missing (100,000 x 1,000)
memory         feature-selection with and without --memory LIMIT, 1G unless given (5,000,000 x 100)

One thread each. Prints processor time, elapsed time and the most resident memory of the command's processes, beside the
load of the machine, and whether both runs of a pair have the same statistics.
"""

import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import numpy as np
import pyarrow as pa
import pyarrow.parquet as pq

SIZES = {"permutations": (10_000, 100), "bins": (100_000, 1_000), "memory": (5_000_000, 100)}
GROUP = 1 << 20  # cases in a row group


def write_table(path: Path, cases: int, predictors: int) -> None:
    """An outcome that every tenth predictor follows a little."""
    writer = None
    for first in range(0, cases, GROUP):
        rng = np.random.default_rng(first)
        count = min(GROUP, cases - first)
        score = rng.normal(size=count)
        table = {"y": pa.array(np.where(score + rng.normal(size=count) > 1.2, "bad", "good"))}
        for i in range(predictors):
            x = rng.normal(size=count) + (0.3 * score if i % 10 == 0 else 0)
            table[f"x{i}"] = pa.array(x, mask=rng.uniform(size=count) < 0.05)
        part = pa.table(table)
        writer = writer or pq.ParquetWriter(path, part.schema)
        writer.write_table(part)
    writer.close()


def timed(words: list[str], answer: Path) -> None:
    begin = time.perf_counter()
    with answer.open("wb") as out:
        process = subprocess.Popen(words, stdout=out)
        _, status, usage = os.wait4(process.pid, 0)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"exit code {process.returncode}")
    print(f"{usage.ru_utime + usage.ru_stime:8.1f} s of processor time, {time.perf_counter() - begin:7.1f} s elapsed, "
          f"{usage.ru_maxrss / 1024:7.0f} MB, load {os.getloadavg()[0]:.0f}   {' '.join(words[1:2] + words[3:])}", flush=True)


def statistics(path: Path) -> object:
    report = json.loads(path.read_bytes())
    outcomes = report.get("responses") or report["dependents"]
    return [[(one["name"], one.get("outOfFoldInformationValue", one.get("statistic"))) for one in outcome["predictors"]]
            for outcome in outcomes]


def main() -> None:
    velmora, what, *sizes = sys.argv[1:]
    limit = sizes.pop(2) if len(sizes) > 2 else "1G"
    cases, predictors = (int(size) for size in [*sizes, *SIZES[what][len(sizes):]])
    with tempfile.TemporaryDirectory() as folder:
        data = Path(folder) / "data.parquet"
        write_table(data, cases, predictors)
        print(f"{cases:,} cases x {predictors:,} predictors, {data.stat().st_size / 1e6:,.0f} MB of Parquet")
        more = {"permutations": ["--permutations", "1000"], "bins": None, "memory": ["--memory", limit]}[what]
        outcome = ["--dependents", "y"] if what == "memory" else ["--binary-response", "y", "--good", "good", "--bad", "bad"]
        words = [velmora, "feature-selection" if what == "memory" else "screen", str(data), *outcome, "--threads", "1",
                 "--format", "json", "--quiet"]
        answers = Path(folder) / "first.json", Path(folder) / "second.json"
        timed(words, answers[0])
        if more is not None:
            timed([*words, *more], answers[1])
            print("equal statistics" if statistics(answers[0]) == statistics(answers[1]) else "other statistics")


if __name__ == "__main__":
    main()
