#!/usr/bin/env python3
"""The speed that is aimed at, beside what is reached: kernels and whole commands, with their peers.

    bench/goals.py FOLDER [--scale SHARE] [--only PART,PART] [--data FOLDER]

FOLDER holds velmora, velmora-read, bench_screen, machine_limits and text_limit (`make bench`). The Python that runs this
needs numpy, duckdb, polars and pyarrow; comparisons with scikit-learn and pandas are left out where they are missing. --scale 0.01 makes all tables smaller, to try the program. PARTs: kernels, trees, threads, text, parquet,
memory, apply, growth.

A goal is compared with the median of the ratios of pairs of runs, both sides in turns. Kernels and apply are compared by
their processor time, whole commands by the clock. A machine with other work on it gives other figures.
"""

import argparse
import json
import os
import resource
import statistics
import subprocess
import sys
import tempfile
import time
from collections.abc import Callable
from pathlib import Path

for variable in ("OMP_NUM_THREADS", "OPENBLAS_NUM_THREADS", "MKL_NUM_THREADS"):
    os.environ[variable] = "1"

import duckdb
import numpy as np
import polars as pl

import compare

CORES = sorted(os.sched_getaffinity(0))
Z = compare.Z


class Table:
    """The lines of the result; prints each as soon as it is known."""

    def __init__(self) -> None:
        self.missed = 0

    def head(self, text: str) -> None:
        print(f"\n{text}", flush=True)

    def line(self, text: str, value: float, goal: str = "") -> None:
        """goal: '>= 4.2' or '<= 1.3'; without one the figure is for comparison."""
        verdict = ""
        if goal:
            sign, bound = goal.split()
            is_reached = value >= float(bound) if sign == ">=" else value <= float(bound)
            verdict = "reached" if is_reached else "MISSED"
            self.missed += not is_reached
        print(f"  {text:<66}{value:9.3g}   {goal:<9} {verdict}", flush=True)


def has(module: str) -> bool:
    try:
        __import__(module)
    except ImportError:
        return False
    return True


def ratio(other: Callable[[], float], ours: Callable[[], float], pairs: int = 3) -> float:
    return statistics.median(other() / ours() for _ in range(pairs))


class Command:
    """A whole process; a call runs it once and gives its seconds."""

    def __init__(self, words: list, cores: int = 0, clock: str = "elapsed") -> None:
        self.words = [str(word) for word in words]
        self.cores = set(CORES[:cores]) if cores else set(CORES)
        self.clock = clock
        self.peak = 0.0  # most resident memory, MB
        self.output = ""

    def __call__(self) -> float:
        before = resource.getrusage(resource.RUSAGE_CHILDREN)
        begin = time.perf_counter()
        with tempfile.TemporaryFile() as out, tempfile.TemporaryFile() as messages:
            process = subprocess.Popen(
                self.words, stdout=out, stderr=messages, preexec_fn=lambda: os.sched_setaffinity(0, self.cores)
            )
            _, status, usage = os.wait4(process.pid, 0)
            process.returncode = os.waitstatus_to_exitcode(status)
            elapsed = time.perf_counter() - begin
            if process.returncode != 0:
                messages.seek(0)
                sys.exit(f"{' '.join(self.words)}: {messages.read().decode(errors='replace')}")
            out.seek(0)
            self.output = out.read().decode(errors="replace")
        self.peak = usage.ru_maxrss / 1024
        after = resource.getrusage(resource.RUSAGE_CHILDREN)
        used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
        return elapsed if self.clock == "elapsed" else used


def python(code: str, **more) -> Command:
    return Command([sys.executable, "-c", code], **more)


class Benchmark:
    def __init__(self, programs: Path, data: Path, scale: float) -> None:
        self.programs, self.data, self.scale = programs, data, scale
        self.table = Table()

    def size(self, count: int, least: int) -> int:
        return max(least, int(count * self.scale))

    def velmora(self, *words, **more) -> Command:
        return Command([self.programs / "velmora", *words, *([] if words[0] in ("variables", "bins") else ["--quiet"])], **more)

    def job(self, size: str, job: str, *arguments, **options) -> compare.Ours:
        return compare.Ours(str(self.programs / "bench_screen"), self.stem(size), job, *arguments, **options)

    def shape(self, size: str) -> tuple[int, int, int]:
        cases, continuous, categorical = compare.SIZES[size]
        return self.size(cases, 1000), *((self.size(continuous, 40), self.size(categorical, 10)))

    def stem(self, size: str) -> str:
        stem = str(self.data / size)
        if not os.path.exists(stem + ".json"):
            compare.make_data(stem, *self.shape(size))
        return stem

    def peers(self, size: str) -> dict:
        return dict(compare.peers(self.stem(size)))

    # The parts.

    def kernels(self) -> None:
        self.table.head("Kernels, one thread, processor time")
        narrow = self.peers("S")
        ours = self.job("S", "fs1")
        self.table.line("fs1, S: NumPy / ours", ratio(narrow["NumPy"], ours, 9), ">= 4.2")
        if "scikit-learn" in narrow:
            self.table.line("fs1, S: scikit-learn / ours", ratio(narrow["scikit-learn"], ours), ">= 34")
        limits = json.loads(subprocess.check_output([self.programs / "machine_limits"]))
        bound = 2 * limits["read"] + limits["vector_division"] + max(limits["scalar_division"], limits["table_sum"])
        cases, continuous, categorical = self.shape("S")
        cells = cases * (continuous + categorical)
        cost = statistics.median(ours() for _ in range(9)) / cells * 1e9
        self.table.line("fs1, S: ns a cell", cost)
        self.table.line("machine: two reads, a division each way, ns a cell", bound)
        self.table.line("fs1, S: ours / machine's bound", cost / bound, "<= 1.3")
        self.table.line("fs3 / fs1, S", ratio(self.job("S", "fs3"), ours, 9), "<= 1.2")
        wide_cases, wide_continuous, wide_categorical = self.shape("W")
        wide = self.job("W", "fs1")
        per_cell = ratio(wide, ours) * cells / (wide_cases * (wide_continuous + wide_categorical))
        self.table.line("W per cell / S per cell", per_cell, "<= 1.4")
        self.table.line("fs1, W: NumPy / ours", ratio(self.peers("W")["NumPy"], wide), ">= 4")
        self.table.line("fs1, S: weights / none", ratio(self.job("S", "fs1", "weights"), ours, 9), "<= 1.2")

    def trees(self) -> None:
        self.table.head("Trees of every continuous predictor, S, one thread, processor time")
        if not has("sklearn.tree"):
            return print("  scikit-learn is missing")
        from sklearn.tree import DecisionTreeClassifier, DecisionTreeRegressor

        cases, continuous, _ = self.shape("S")
        columns = list(np.fromfile(self.stem("S") + ".npy", offset=128).reshape(-1, cases))
        predictors = columns[compare.DEPENDENTS : compare.DEPENDENTS + continuous]
        for job, kind, outcome, goal in (
            ("tree_bin", DecisionTreeClassifier, columns[0], ">= 80"),
            ("tree_cont", DecisionTreeRegressor, columns[1], ">= 60"),
        ):

            def grow(kind=kind, outcome=outcome) -> float:
                begin = time.process_time()
                for x in predictors:
                    kind(min_samples_leaf=0.05, random_state=0).fit(x.reshape(-1, 1), outcome)
                return time.process_time() - begin

            self.table.line(f"{job}: scikit-learn / ours", ratio(grow, self.job("S", job)), goal)

    def cases_file(self) -> tuple[Path, Path, list]:
        """2,000,000 cases of 14 numbers, six texts and an outcome, bins for them, and their options."""
        source, some, bins = self.data / "cases.parquet", self.data / "some.parquet", self.data / "bins.json"
        risk = ["--binary-response", "y", "--good", "good", "--bad", "bad"]
        if not bins.exists():
            import apply_beside_duckdb

            apply_beside_duckdb.make(self.data, self.size(2_000_000, 20_000))
            self.velmora("screen", some, *risk, "--save-chance", "--bins", bins)()
        return source, bins, risk

    def threads(self) -> None:
        self.table.head("Two threads: one thread / two, by the clock")
        for job in ("fs1", "fs3", "screen_bin"):
            one, two = (self.job("S", job, threads=count, clock="wall_s") for count in (1, 2))
            self.table.line(f"{job}, S", ratio(one, two, 9), ">= 1.85")
        source, bins, risk = self.cases_file()
        target = self.data / "coded.parquet"
        jobs = {
            "feature-selection": ["feature-selection", source, "--dependents", "y"],
            "screen (bins)": ["screen", source, *risk],
            "apply": ["apply", bins, source, "--out", target],
            "variables": ["variables", source],
        }
        print("  A command reads its file in a process of its own, beside what it does with the rows, so one thread")
        print("  keeps more than one processor busy; the second figure of each has one processor for the first run.")
        for name, words in jobs.items():
            two = self.velmora(*words, "--threads", 2)
            self.table.line(f"{name}: one thread / two", ratio(self.velmora(*words, "--threads", 1), two))
            pinned = self.velmora(*words, "--threads", 1, cores=1)
            self.table.line(f"{name}: one thread on one processor / two", ratio(pinned, two), ">= 1.85")

    def numbers_frame(self) -> pl.DataFrame:
        """1,000,000 cases of 40 numbers with all digits, 10 small whole numbers and three outcomes."""
        cases = self.size(1_000_000, 10_000)
        rng = np.random.default_rng(1)
        columns = {f"x{j}": rng.normal(size=cases) for j in range(40)}
        columns |= {f"c{j}": rng.integers(0, 2 + j, cases) for j in range(10)}
        columns |= {
            "y_cont": columns["x0"] + rng.normal(size=cases),
            "y_bin": (rng.uniform(size=cases) < 0.3).astype(int),
            "y_cls": rng.integers(0, 5, cases),
        }
        return pl.DataFrame(columns)

    def numbers(self, ending: str) -> Path:
        path = self.data / f"numbers.{ending}"
        if not path.exists():
            frame = self.numbers_frame()
            frame.write_csv(path) if ending == "csv" else frame.write_parquet(path)
        return path

    def text(self) -> None:
        path = self.numbers("csv")
        self.table.head(f"Whole command, a text file of {path.stat().st_size / 1e6:.0f} MB, by the clock")

        def limit(threads: int) -> float:
            return float(subprocess.check_output([self.programs / "text_limit", path, str(threads)]))

        run = ["feature-selection", path, "--dependents", "y_cont", "--threads"]
        for threads in (1, 2):
            ours = self.velmora(*run, threads, cores=threads)
            share = statistics.median(ours() / limit(threads) for _ in range(3))
            self.table.line(f"{threads} threads: ours / text_limit", share, "<= 1.6")
        ours = self.velmora(*run, 1, cores=1)
        for name, code, goal in (
            ("polars reading", f"import polars; polars.read_csv({str(path)!r})", ">= 1"),
            ("pandas reading", f"import pandas; pandas.read_csv({str(path)!r})", ""),
            (
                "DuckDB importing",
                f"import duckdb; duckdb.execute(\"SET threads = 1; CREATE TABLE t AS FROM '{path}'\")",
                "",
            ),
        ):
            if not has(code.split(";")[0].split()[1]):
                continue
            os.environ["POLARS_MAX_THREADS"] = "1"
            self.table.line(f"one thread: {name} / ours", ratio(python(code, cores=1), ours), goal)
            del os.environ["POLARS_MAX_THREADS"]
        one = self.velmora(*run, 1, "--predictors", "x0", cores=1)
        self.table.line("one predictor / all, one thread", ratio(one, ours), "<= 0.25")

    def parquet(self) -> None:
        path = self.numbers("parquet")
        self.table.head(f"Whole command, Parquet of {path.stat().st_size / 1e6:.0f} MB, all threads, by the clock")
        ours = self.velmora("feature-selection", path, "--dependents", "y_cont")
        script = str(Path(__file__).resolve())
        for name, goal in (("numpy", ">= 4"), ("sklearn", ">= 20")):
            if has(name):
                peer = Command([sys.executable, script, "--peer", name, path])
                self.table.line(f"polars reading, {name} computing / ours", ratio(peer, ours), goal)
        one = self.velmora("feature-selection", path, "--dependents", "y_cont", "--predictors", "x0")
        self.table.line("one predictor / all", ratio(one, ours), "<= 0.25")
        classic = self.velmora("feature-selection", path, "--dependents", "y_cont", "--classic")
        self.table.line("--classic, which computes what the peers compute / ours", ratio(classic, ours))

    def memory(self) -> None:
        path = self.data / "large.parquet"
        if not path.exists():
            import large_runs

            large_runs.write_table(path, self.size(5_000_000, 50_000), 50)
        size = path.stat().st_size / 1e6
        self.table.head(f"Parquet of {size:.0f} MB, --memory 256M")
        bins = self.data / "large.json"
        risk = ["--binary-response", "y", "--good", "good", "--bad", "bad"]
        self.velmora("screen", path, *risk, "--predictors", "x0", "x10", "--bins", bins)()
        for words in (
            ["feature-selection", path, "--dependents", "y"],
            ["screen", path, *risk, "--predictors", "x?", "x1?"],
            ["apply", bins, path, "--out", self.data / "large_coded.parquet"],
            ["variables", path],
        ):
            whole, limited = self.velmora(*words, "--memory", "1T"), self.velmora(*words, "--memory", "256M")
            self.table.line(f"{words[0]}: limited / in memory, by the clock", ratio(limited, whole, 1), "<= 1.5")
            self.table.line(f"{words[0]}: most resident memory in memory, MB", whole.peak)
            self.table.line(f"{words[0]}: most resident memory limited, MB", limited.peak, "<= 256")

    def apply(self) -> None:
        source, bins, _ = self.cases_file()
        cases = duckdb.sql(f"SELECT count(*) FROM '{source}'").fetchone()[0]
        self.table.head(f"apply, Parquet to Parquet, {cases:,} cases x 20 predictors, one thread, processor time")
        target = self.data / "coded.parquet"
        used = [
            self.velmora("apply", bins, source, "--out", target, "--threads", 1, cores=1, clock="used")()
            for _ in range(3)
        ]
        self.table.line("million rows a second and core", cases / statistics.median(used) / 1e6, ">= 1")
        bound = [self.coding_by_duckdb(source, bins)() for _ in range(3)]
        self.table.line("DuckDB making the same columns by SQL, the same", cases / statistics.median(bound) / 1e6)
        copy = f"COPY (FROM '{source}') TO '{self.data}/copy.parquet'"
        copied = [self.duckdb(copy)() for _ in range(3)]
        self.table.line("DuckDB copying the file, nothing coded, the same", cases / statistics.median(copied) / 1e6)

    def duckdb(self, statement: str) -> Command:
        return python(f"import duckdb; duckdb.execute('SET threads = 1'); duckdb.execute({statement!r})", cores=1, clock="used")

    def coding_by_duckdb(self, source: Path, bins: Path) -> Command:
        """COPY of the file with the SQL that velmora itself writes for these bins."""
        sql = self.data / "bins.sql"
        if not sql.exists():
            self.velmora("bins", "export", bins, "--sql", sql, "--sql-dialect", "duckdb")()
        query = "\n".join(line for line in sql.read_text().splitlines() if not line.startswith("--"))
        columns = query.strip().rstrip(";").replace('FROM "some" AS cases', "").removeprefix("SELECT")
        return self.duckdb(f"COPY (SELECT cases.*, {columns} FROM '{source}' AS cases) TO '{self.data}/by_sql.parquet'")

    def growth(self) -> None:
        self.table.head("Growth: twice the columns, twice the levels, by the clock")
        times = []
        for columns in (self.size(50_000, 500), self.size(100_000, 1000)):
            path = self.data / f"wide{columns}.csv"
            rng = np.random.default_rng(2)
            cells = rng.integers(0, 1000, size=(500, columns))
            names = ",".join(f"x{i}" for i in range(columns))
            np.savetxt(path, cells, fmt="%d", delimiter=",", header=names, comments="")
            run = self.velmora("feature-selection", path, "--dependents", "x0", "--format", "json")
            times.append(statistics.median(run() for _ in range(3)))
        self.table.line("100,000 columns x 500 cases / 50,000 columns", times[1] / times[0], "<= 2.3")
        times = []
        for levels in (self.size(500_000, 5000), self.size(1_000_000, 10_000)):
            path = self.data / f"levels{levels}.csv"
            rng = np.random.default_rng(3)
            frame = pl.DataFrame({"y": rng.normal(size=2 * levels), "k": np.arange(2 * levels) % levels})
            frame.with_columns(("level " + pl.col("k").cast(pl.String)).alias("k")).write_csv(path)
            run = self.velmora("feature-selection", path, "--dependents", "y", "--predictors", "k")
            times.append(statistics.median(run() for _ in range(3)))
        self.table.line("a column of 1,000,000 levels / of 500,000", times[1] / times[0], "<= 2.3")


def peer(name: str, path: str) -> None:
    """Reads all and computes F of y_cont by every other column, in a process of its own."""
    frame = pl.read_parquet(path)
    names = [f"x{j}" for j in range(40)] + [f"c{j}" for j in range(10)]
    columns = [frame["y_bin"], frame["y_cont"], frame["y_cls"], *(frame[one] for one in names)]
    arrays = [column.to_numpy().astype(float) for column in columns]
    if name == "numpy":
        compare.numpy_fs1(np, arrays, 40)
    else:
        import sklearn.feature_selection
        import sklearn.preprocessing

        compare.sklearn_fs1(np, sklearn, arrays, 40)


def main() -> None:
    if sys.argv[1:2] == ["--peer"]:
        return peer(*sys.argv[2:])
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("programs", type=Path)
    parser.add_argument("--scale", type=float, default=1)
    parser.add_argument("--only", default="kernels,trees,threads,text,parquet,memory,apply,growth")
    parser.add_argument("--data", type=Path)
    options = parser.parse_args()
    with tempfile.TemporaryDirectory() as scratch:
        data = options.data or Path(scratch)
        data.mkdir(exist_ok=True)
        benchmark = Benchmark(options.programs, data, options.scale)
        print(f"{len(CORES)} processors, load {os.getloadavg()[0]:.1f}")
        begin = time.monotonic()
        for part in options.only.split(","):
            getattr(benchmark, part)()
        print(f"\n{benchmark.table.missed} missed, {time.monotonic() - begin:.0f} s, load {os.getloadavg()[0]:.1f}")


if __name__ == "__main__":
    main()
