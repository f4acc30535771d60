"""velmora apply beside DuckDB, which reads and writes the same file without coding anything.

usage: apply_beside_duckdb.py VELMORA [CASES]

Makes a Parquet file of CASES (default 2,000,000) with 14 columns of random numbers, six of texts and an
outcome, screens 100,000 cases of it, and prints the processor time and the most resident memory of each job on
one thread.
"""

import resource
import subprocess
import sys
import tempfile
import time
from pathlib import Path

import duckdb


def make(folder: Path, cases: int) -> None:
    numbers = [f"random() * {i + 1} * 10 AS x{i}" for i in range(14)]
    texts = [f"'level ' || CAST(floor(random() * {5 + i}) AS INTEGER) AS t{i}" for i in range(6)]
    bad = "random() < 1 / (1 + exp(1.5 - x0 / 5 - x3 / 40))"
    connection = duckdb.connect()
    connection.execute("SELECT setseed(0.5)")
    connection.execute(
        f"CREATE TABLE cases AS SELECT *, CASE WHEN {bad} THEN 'bad' ELSE 'good' END AS y "
        f"FROM (SELECT {', '.join(numbers + texts)} FROM range({cases}))"
    )
    connection.execute(f"COPY cases TO '{folder}/cases.parquet'")
    connection.execute(f"COPY (FROM cases LIMIT 100000) TO '{folder}/some.parquet'")


def timed(name: str, words: list[str]) -> None:
    before, begin = resource.getrusage(resource.RUSAGE_CHILDREN), time.monotonic()
    with subprocess.Popen(words, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        most = 0
        while process.poll() is None:
            status = Path(f"/proc/{process.pid}/status").read_text()
            peaks = [int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM")]
            most = max([most, *peaks])
            time.sleep(0.02)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    used = after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime
    print(f"{name:12} {used:6.1f} s of processor time, {time.monotonic() - begin:6.1f} s, {most // 1024:6} MB")


def main() -> None:
    command, cases = sys.argv[1], int(sys.argv[2]) if len(sys.argv) > 2 else 2_000_000
    with tempfile.TemporaryDirectory() as place:
        folder = Path(place)
        make(folder, cases)
        risk = ["--binary-response", "y", "--good", "good", "--bad", "bad", "--save-chance"]
        bins, source, target = folder / "bins.json", folder / "cases.parquet", folder / "coded.parquet"
        subprocess.run(
            [command, "screen", folder / "some.parquet", *risk, "--bins", bins, "--quiet"],
            check=True,
            stdout=subprocess.DEVNULL,
        )
        apply = [command, "apply", bins, source, "--out", target, "--threads", "1"]
        copy = f"SET threads = 1; COPY (FROM '{source}') TO '{target}'"
        timed("in memory", [*apply, "--memory", "1T"])
        timed("in 1 GB", [*apply, "--memory", "1G"])
        timed("DuckDB", [sys.executable, "-c", f"import duckdb; duckdb.execute({copy!r})"])


if __name__ == "__main__":
    main()
