#!/usr/bin/env python3
"""The same runs on the sample data by the command for this system and by the one for Windows.

usage: compare_systems.py LINUX_COMMAND SAMPLES WINDOWS_COMMAND_AND_ITS_RUNNER...

Every JSON must be the same, key by key and bit by bit, but for numbers that pass through log, pow or a distribution
function, whose last bits the two C libraries see differently: those agree to 1e-12 relative, ends of intervals, which
an iteration finds, to 1e-10. Terminal texts, CSV and pages are compared number by number to 1e-10, refusals word by word
with their exit codes. Exit code 1 when something differs; each difference is named.
"""
import gzip
import json
import os
import re
import subprocess
import sys
import tempfile

# The relative tolerance of such numbers, by key.
ITERATED = 1e-10
TOLERANCES = dict.fromkeys(["pValue", "adjustedP", "minusLog10P", "minusLog10AdjustedP", "woe", "informationValue"], 1e-12)
TOLERANCES |= {"effectLower": ITERATED, "effectUpper": ITERATED}

FEATURES = [
    ["german_credit.csv", "--dependents", "risk", "duration_months"],
    ["house_prices.csv", "--dependents", "price", "driveway"],
    ["vehicle.csv", "--dependents", "class"],
    ["schools.csv", "--dependents", "api2000", "school_type", "--weight", "weight"],
]
SCREENS = [
    ["german_credit.csv", "--binary-response", "risk", "--good", "good", "--bad", "bad"],
    ["house_prices.csv", "--continuous-response", "price"],
    ["vehicle.csv", "--categorical-response", "class"],
    ["schools.csv", "--continuous-response", "api2000", "--categorical-response", "school_type"],
]
OUTPUTS = ["json", "csv", "terminal", "html"]
REFUSED = [
    [],
    ["feature-selection", "none.csv", "--dependents", "x"],
    ["feature-selection", "vehicle.csv", "--dependents", "klass"],
    ["feature-selection", "vehicle.csv", "--dependents", "class", "--best", "many"],
    ["feature-selection", "vehicle.csv", "--dependents", "class", "--format", "json,csv"],
    ["screen", "german_credit.csv", "--binary-response", "risk", "--good", "fine", "--bad", "bad"],
    ["screen", "vehicle.csv"],
    ["sreen", "vehicle.csv"],
    ["variables", "README.md"],
]
RUNS = [["feature-selection", *words] for words in FEATURES] + [["screen", *words] for words in SCREENS]


def same_number(a, b, tolerance):
    return a == b or abs(a - b) <= tolerance * max(abs(a), abs(b))


def differences(a, b, place, tolerance=0.0):
    if isinstance(a, dict) and isinstance(b, dict):
        if list(a) != list(b):
            return [f"{place}: keys {list(a)} and {list(b)}"]
        return [d for key in a for d in differences(a[key], b[key], f"{place}.{key}", TOLERANCES.get(key, tolerance))]
    if isinstance(a, list) and isinstance(b, list):
        if len(a) != len(b):
            return [f"{place}: {len(a)} and {len(b)} elements"]
        return [d for i, (x, y) in enumerate(zip(a, b)) for d in differences(x, y, f"{place}[{i}]", tolerance)]
    numbers = isinstance(a, float) and isinstance(b, float)
    same = same_number(a, b, tolerance) if numbers else a == b and type(a) is type(b)
    return [] if same else [f"{place}: {a!r} and {b!r}"]


NUMBER = re.compile(r"[-+]?\d+\.?\d*(?:e[-+]?\d+)?")


def text_differences(a, b, place):
    if NUMBER.split(a) != NUMBER.split(b):
        return [f"{place}: the texts differ"]
    return [f"{place}: {x} and {y}" for x, y in zip(NUMBER.findall(a), NUMBER.findall(b))
            if not same_number(float(x), float(y), ITERATED)]


def run(command, words):
    done = subprocess.run([*command, *words], capture_output=True)
    if done.returncode != 0:
        sys.exit(f"{' '.join(words)}: exit code {done.returncode}\n{done.stderr.decode(errors='replace')}")
    return done.stdout.decode("utf-8")


# The cells of a workbook, by an independent reader.
def cells_of(workbook):
    reader = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "documents", "read_xlsx.py")
    return json.loads(run(["/usr/bin/python3", reader], [workbook]))


# The Windows build refuses kinds of data for which it has no library, and names them.
def refusals_of_what_is_left_out(windows):
    with tempfile.TemporaryDirectory() as folder:
        cases = [
            (["run", "feature_selection.py"], 1, ["feature_selection.py", "runs no Python scripts"]),
        ]
        path = os.path.join(folder, "a.sqlite")
        with open(path, "w", encoding="ascii") as file:
            file.write("SQLite format 3")
        cases.append((["variables", path], 1, ["a.sqlite", "SQLite databases are not read by this build of velmora"]))
        found = []
        for words, code, said in cases:
            done = subprocess.run([*windows, *words], capture_output=True)
            message = done.stderr.decode("utf-8")
            if done.returncode != code or done.stdout or not all(part in message for part in said):
                found.append(f"{' '.join(words)}: {done.returncode} {message}")
        return found


def main():
    linux, samples, windows = [os.path.abspath(sys.argv[1])], sys.argv[2], sys.argv[3:]
    if not os.path.exists(linux[0]):
        sys.exit(f"{linux[0]} is missing: build the preset dev first")
    os.chdir(samples)
    found = []
    for words in RUNS:
        for output in OUTPUTS:
            line = [*words, "--format", output, "--quiet"]
            a, b = run(linux, line), run(windows, line)
            place = " ".join(line)
            if output == "json":
                found += differences(json.loads(a), json.loads(b), place)
            else:
                found += text_differences(a, b, place)
    # Letters beyond ASCII in every name, files of all kinds that Windows writes, and a
    # data file it wrote itself.
    with tempfile.TemporaryDirectory(prefix="velmora größe Ω ") as folder:
        data = os.path.join(folder, "käse Ж.csv")
        with open("german_credit.csv", encoding="utf-8") as source, open(data, "w", encoding="utf-8") as copy:
            copy.write(source.read())
        line = ["screen", data, "--binary-response", "risk", "--good", "good", "--bad", "bad", "--quiet", "--format", "json"]
        found += differences(json.loads(run(linux, line)), json.loads(run(windows, line)), "names beyond ASCII")
        out = os.path.join(folder, "aus µ")
        saved = {option: os.path.join(folder, name) for option, name in [
            ("--recode", "recode ü"), ("--rules", "rules ü.txt"), ("--coded", "coded ü.parquet"), ("--bins", "bins ü.json")]}
        run(windows, [*line[:-2], "--out", out, *[word for pair in saved.items() for word in pair]])
        for path in [*saved.values(), os.path.join(out, "screening.html"), os.path.join(out, "screening.json")]:
            if not os.path.exists(path):
                found.append(f"{path} was not written")
        # Its workbook, whose first sheet has the run's own facts, and a packed file are as on this system.
        run(linux, [*line[:-2], "--format", "xlsx", "--out", folder])
        books = [os.path.join(place, "screening.xlsx") for place in (folder, out)]
        found += differences(*(cells_of(book)[1:] for book in books), "the workbook of Windows", ITERATED)
        packed = data + ".gz"
        with open(data, "rb") as source, gzip.open(packed, "wb") as copy:
            copy.write(source.read())
        for line in (["variables", books[1], "--sheet", "2", "--format", "json"], ["variables", packed, "--format", "json"]):
            found += differences(json.loads(run(linux, line)), json.loads(run(windows, line)), " ".join(line))
        line = ["feature-selection", saved["--coded"], "--dependents", "risk", "--quiet", "--format", "json"]
        found += differences(json.loads(run(linux, line)), json.loads(run(windows, line)), "the Parquet file of Windows")
    for words in REFUSED:
        a, b = (subprocess.run([*command, *words], capture_output=True) for command in (linux, windows))
        # The list of commands has one more there, and the build reads fewer kinds of files.
        own = rb"^  (?:dialog|serve) .*\n|^DATA is [\s\S]*?\n(?=Results)|known endings are .*"  # what one system has alone
        said = [re.sub(own, b"", done.stderr, flags=re.MULTILINE) for done in (a, b)]
        if (a.returncode, a.stdout, said[0]) != (b.returncode, b.stdout, said[1]):
            found.append(f"{' '.join(words)}: {a.returncode} {a.stderr.decode()} and {b.returncode} {b.stderr.decode()}")
    found += refusals_of_what_is_left_out(windows)
    print("\n".join(found) or f"{len(OUTPUTS) * len(RUNS)} outputs, the refusals and the files agree")
    sys.exit(1 if found else 0)


main()
