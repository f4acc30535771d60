"""Out-of-fold figures of `velmora screen` beside those on cases that the run has not seen.

usage: held_out.py VELMORA [--samples FOLDER] [--halves 30]     (needs numpy from PyPI)

Each table of samples/ is split into random halves. One half is screened; the bins of all its predictors code the other
half, where the information value is the sum of (share of goods - share of bads) times the weight of evidence of the
first half, and R-squared is about the first half's mean. A line per table: means over predictors and halves of the
figure in the screened half, out of fold and on the other half; the mean of the differences of the last two with its
standard error over halves; and the mean rank correlation of the predictors by the last two.
"""

import argparse
import csv
import json
import subprocess
import tempfile
from pathlib import Path

import numpy as np

# Table, response, the class that counts as bad (None: measured).
TABLES = [("german_credit", "risk", "bad"), ("vehicle", "class", "van"), ("house_prices", "price", None),
          ("schools", "api2000", None)]


def run(*words: str) -> str:
    return subprocess.run(words, capture_output=True, text=True, check=True).stdout


def ranks(values: np.ndarray) -> np.ndarray:
    return np.argsort(np.argsort(values)).astype(float)


def halves(path: Path, response: str, bad: str | None, folder: Path, rng) -> tuple[Path, Path]:
    with path.open(newline="") as file:
        header, *rows = csv.reader(file)
    place = header.index(response)
    if bad is not None:
        for row in rows:
            row[place] = "bad" if row[place] == bad else "good"
    order = rng.permutation(len(rows))
    paths = folder / "screened.csv", folder / "other.csv"
    for out, part in zip(paths, (order[: len(rows) // 2], order[len(rows) // 2 :])):
        with out.open("w", newline="") as file:
            csv.writer(file).writerows([header, *(rows[i] for i in part)])
    return paths


def figures(velmora: str, screened: Path, other: Path, response: str, binary: bool) -> np.ndarray:
    """In sample, out of fold and on the other half, a row for each predictor."""
    bins = screened.with_name("bins.json")
    outcome = ["--binary-response", response, "--good", "good", "--bad", "bad"] if binary else [
        "--continuous-response", response]
    report = json.loads(run(velmora, "screen", str(screened), *outcome, "--bins", str(bins), "--best", "1000",
                            "--save-chance", "--format", "json", "--quiet"))["responses"][0]["predictors"]
    with open(screened, newline="") as file:
        mean = np.mean([float(row[response]) for row in csv.DictReader(file)]) if not binary else 0.0
    coded = list(csv.DictReader(run(velmora, "apply", str(bins), str(other), "--quiet").splitlines()))
    rows = []
    for one in report:  # one bin of all cases has no column
        column = f"{response}_{one['name']}_{'WOE' if binary else 'Mean'}"
        value = np.array([float(row.get(column) or (0.0 if binary else mean)) for row in coded])
        if binary:
            isbad = np.array([row[response] == "bad" for row in coded])
            found = (value[~isbad].mean() - value[isbad].mean()) / 100
            rows.append((one["informationValue"], one["outOfFoldInformationValue"], found))
        else:
            y = np.array([float(row[response]) for row in coded])
            rows.append((one["rSquared"], one["outOfFoldExplained"], 1 - ((y - value) ** 2).sum() / ((y - mean) ** 2).sum()))
    return np.array(rows, dtype=float)


def main() -> None:
    parser = argparse.ArgumentParser(usage=__doc__)
    parser.add_argument("velmora")
    parser.add_argument("--samples", default=str(Path(__file__).parent.parent / "samples"))
    parser.add_argument("--halves", type=int, default=30)
    given = parser.parse_args()
    print("| table | figure | in sample | out of fold | other half | out of fold - other half | rank correlation |")
    print("|---|---|---|---|---|---|---|")
    for table, response, bad in TABLES:
        rng = np.random.default_rng(1)
        means, correlations = [], []
        with tempfile.TemporaryDirectory() as folder:
            for _ in range(given.halves):
                paths = halves(Path(given.samples) / f"{table}.csv", response, bad, Path(folder), rng)
                found = figures(given.velmora, *paths, response, bad is not None)
                means.append(found.mean(axis=0))
                correlations.append(np.corrcoef(ranks(found[:, 1]), ranks(found[:, 2]))[0, 1])
        means = np.array(means)
        gap = means[:, 1] - means[:, 2]
        own, fold, other = means.mean(axis=0)
        name = "information value" if bad else "R-squared"
        print(f"| {table} | {name} | {own:.3f} | {fold:.3f} | {other:.3f} | {gap.mean():+.4f} "
              f"(s.e. {gap.std(ddof=1) / np.sqrt(len(gap)):.4f}) | {np.mean(correlations):.2f} |", flush=True)


if __name__ == "__main__":
    main()
