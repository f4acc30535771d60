"""rank and screen: the command's figures whatever holds the data, frames out, errors, cancelling."""

import contextlib
import datetime
import decimal
import doctest
import json
import os
import pickle
import signal
import sqlite3
import threading
import xml.dom.minidom

import numpy as np
import pandas as pd
import polars as pl
import pyarrow as pa
import pytest
from conftest import SAMPLES

import velmora

KINDS = {
    "pandas": lambda frame: frame,
    "pandas categories": lambda frame: frame.astype(
        {
            name: "category"
            for name in frame.columns
            if frame[name].dtype.kind == "O" or frame[name].dtype == "str"
        }
    ),
    "polars": pl.from_pandas,
    "polars lazy": lambda frame: pl.from_pandas(frame).lazy(),
    "pyarrow": lambda frame: pa.Table.from_pandas(frame, preserve_index=False),
    "pyarrow in batches": lambda frame: pa.Table.from_batches(
        pa.Table.from_pandas(frame, preserve_index=False).slice(0, 1000).to_batches(max_chunksize=77)
    ),
    "dict of arrays": lambda frame: {name: frame[name].to_numpy() for name in frame.columns},
}


def figures(report: dict, with_file: bool = False) -> dict:
    """A report without what only a command has: the file and how to repeat the command."""
    of_command = {"provenance"} if with_file else {"provenance", "dataFile"}
    return report | {"run": {name: fact for name, fact in report["run"].items() if name not in of_command}}


@pytest.mark.parametrize("kind", KINDS)
def test_rank_gives_the_bits_of_the_command(kind, credit, command):
    words = ("feature-selection", SAMPLES / "german_credit.csv", "--dependents", "risk", "--format", "json")
    expected = figures(json.loads(command(*words)))
    assert figures(velmora.rank(KINDS[kind](credit), "risk").json) == expected


@pytest.mark.parametrize("kind", ["pandas", "polars", "pyarrow"])
def test_screen_gives_the_bits_of_the_command(kind, schools, command):
    # Missing values, weights, a selection.
    words = ("screen", SAMPLES / "schools.csv", "--continuous-response", "api2000", "--weight", "weight")
    selected = ("--select", "enrolled > 200", "--format", "json")
    expected = figures(json.loads(command(*words, *selected)))
    result = velmora.screen(KINDS[kind](schools), "api2000", weight="weight", select="enrolled > 200")
    assert figures(result.json) == expected


def test_a_file_is_read_as_the_command_reads_it(command):
    file = SAMPLES / "vehicle.csv"
    expected = json.loads(command("screen", file, "--categorical-response", "class", "--format", "json"))
    assert figures(velmora.screen(file, "class").json, True) == figures(expected, True)


@pytest.mark.parametrize("kind", ["pandas", "polars", "pyarrow"])
def test_tables_are_frames_of_the_users_kind(kind, credit):
    result = velmora.screen(KINDS[kind](credit), "risk", good="good", bad="bad")
    assert type(result.ranking).__module__.startswith(kind)
    as_pandas = result.to_pandas()
    predictors = result.json["responses"][0]["predictors"]
    assert list(as_pandas["predictor"]) == result.best == [p["name"] for p in predictors]
    assert list(as_pandas["information_value"]) == [p["informationValue"] for p in predictors]
    assert len(result.bin_table) == sum(len(p["rows"]) for p in predictors)
    assert "<table>" in result._repr_html_()
    assert "Predictor screening" in repr(result)


# Every type that a column may have, with values that only the right reading gives.
def test_arrow_types():
    day = datetime.date(2024, 2, 29)
    columns = {
        "int8": pa.array([1, None, -3, 4], pa.int8()),
        "uint64": pa.array([1, 2, None, 2**63], pa.uint64()),
        "half": pa.array(np.array([1.5, -2, 65504, 6e-8], np.float16)),
        "float": pa.array([0.5, None, float("nan"), 3], pa.float32()),
        "text": pa.array(["b", None, "", "a"]),
        "large": pa.array(["ä", "b", None, "c"], pa.large_string()),
        "view": pa.array(["short", None, "longer than twelve bytes", "z"], pa.string_view()),
        "category": pa.array(["y", "x", None, "y"]).dictionary_encode(),
        "flag": pa.array([True, None, False, True]),
        "day": pa.array([day, None, day, datetime.date(1969, 12, 31)]),
        "time": pa.array([0, 1500, None, -500], pa.timestamp("ms")),
        "decimal": pa.array([decimal.Decimal("-12.30"), None, decimal.Decimal("0.07"), decimal.Decimal("1")]),
        "null": pa.nulls(4),
        "lists": pa.array([[1], [2], None, [3]]),
        "huge": pa.array([2**53 + 1, 1, 2, None], pa.int64()),
    }
    table = pa.table(columns)
    # Sliced, so that offsets count.
    padded = pa.concat_tables([table, table]).combine_chunks().slice(2, 4)
    from velmora._frames import load
    from velmora._library import Session

    session = Session()
    load(session, padded)
    assert any("lists" in notice for notice in session.notices())
    found = {v["name"]: v for v in session.variables()["variables"]}
    facts = {
        name: (v["type"], v["valid"], v["minimum"], v["maximum"], [item["label"] for item in v["labels"]])
        for name, v in found.items()
    }
    assert facts == {
        "int8": ("whole number", 3, -3, 4, []),
        "uint64": ("text", 3, 1, 3, ["1", "2", str(2**63)]),  # as files of such numbers
        "half": ("number", 4, -2, 65504, []),
        "float": ("number", 2, 0.5, 3, []),
        "text": ("text", 2, 1, 2, ["a", "b"]),
        "large": ("text", 3, 1, 3, ["b", "c", "ä"]),
        "view": ("text", 3, 1, 3, ["longer than twelve bytes", "short", "z"]),
        "category": ("text", 3, 1, 2, ["x", "y"]),
        "flag": ("yes/no", 3, 0, 1, ["false", "true"]),
        "day": ("date", 3, -1, 19782, []),
        "time": ("date and time", 3, -0.5, 1.5, []),
        "decimal": ("number", 3, -12.3, 1, []),
        "null": facts["null"],
        "huge": ("text", 3, 1, 3, ["1", "2", str(2**53 + 1)]),
    }
    assert facts["null"][1] == 0


def test_outcome_as_values_and_names_that_are_taken():
    rng = np.random.default_rng(1)
    X = rng.normal(size=(300, 3))
    result = velmora.rank(X, X[:, 1] > 0)
    assert result.best[0] == "x1"
    frame = pd.DataFrame({"y": X[:, 0], 7: X[:, 1]})
    assert velmora.rank(frame, X[:, 1], best=1).best == ["7"]


@pytest.mark.parametrize(
    ("call", "error", "words"),
    [
        (lambda df: velmora.rank(df, "risq"), ValueError, 'did you mean "risk"'),
        (lambda df: velmora.rank(df, "risk", predictors=["nobody"]), ValueError, "nobody"),
        (lambda df: velmora.rank(df, "risk", bst=3), ValueError, "did you mean --best"),
        (lambda df: velmora.rank(df, "risk", out="x"), ValueError, "--out is no option of a call"),
        (lambda df: velmora.screen(df, "risk"), ValueError, "its codes are bad and good"),
        (
            lambda df: velmora.screen(df, "risk", good="gut", bad="bad"),
            ValueError,
            "gut is not a value of risk",
        ),
        (lambda df: velmora.screen(df, "risk", kind="ordinal"), ValueError, "ordinal"),
        (lambda df: velmora.rank("nowhere.csv", "x"), velmora.VelmoraError, "nowhere.csv"),
        (lambda df: velmora.rank(df.assign(odd=[1, "a"] * 500), "risk"), ValueError, "odd"),
        (lambda df: velmora.rank({"a": [1, 2], "b": [1]}, "a"), ValueError, "b has 1 cases"),
        (lambda df: velmora.rank({"a": [1, 2], "b": [1, object()]}, "a"), ValueError, "'b'"),
        (lambda df: velmora.rank(np.zeros(3), "x0"), ValueError, "1 dimensions"),
        (lambda df: velmora.load_bins(SAMPLES / "README.md"), velmora.VelmoraError, "the bins"),
    ],
)
def test_errors_name_what_is_wrong(call, error, words, credit):
    with pytest.raises(error, match=words):
        call(credit)


def test_progress_and_cancelling():
    rng = np.random.default_rng(0)
    X = rng.normal(size=(400_000, 8))
    seen = []
    velmora.screen(
        X, X[:, 0] + rng.normal(size=len(X)), progress=lambda stage, fraction: seen.append(fraction)
    )
    assert seen and 0 <= min(seen) <= max(seen) <= 1
    with pytest.raises(velmora.Cancelled):
        velmora.screen(X, X[:, 0], progress=lambda stage, fraction: False)
    with pytest.raises(ZeroDivisionError):
        velmora.screen(X, X[:, 0], progress=lambda stage, fraction: 1 / 0)
    with pytest.raises(KeyboardInterrupt):
        threading.Timer(0.3, os.kill, (os.getpid(), signal.SIGINT)).start()
        for _ in range(1000):
            velmora.screen(X, X[:, 0])


def test_threads_run_side_by_side(credit):
    expected = velmora.rank(credit, "risk").json
    found = []
    threads = [
        threading.Thread(target=lambda: found.append(velmora.rank(credit, "risk").json)) for _ in range(4)
    ]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert found == [expected] * 4


def test_bins_travel(credit, command, tmp_path):
    bins = velmora.screen(credit, "risk", good="good", bad="bad").bins()
    bins.save(tmp_path / "bins.json")
    assert velmora.load_bins(tmp_path / "bins.json") == bins
    coded = bins.apply(credit)
    file = tmp_path / "coded.csv"
    command("apply", tmp_path / "bins.json", SAMPLES / "german_credit.csv", "--keep", "risk", "--out", file)
    expected = pd.read_csv(file, keep_default_na=False, na_values=[""]).drop(columns="risk")
    pd.testing.assert_frame_equal(coded, expected, check_dtype=False, check_exact=True)
    # The Python form agrees case by case.
    scope: dict = {}
    exec(bins.to_python(), scope)
    for case, values in enumerate(credit.head(50).to_dict("records")):
        assert scope["code_case"](values)["risk_amount_WOE"] == coded["risk_amount_WOE"][case]
    assert "CASE" in bins.to_sql() and "DOUBLE PRECISION" in bins.to_sql("postgresql")
    with pytest.raises(ValueError, match="sqlserver"):
        bins.to_sql("mssql")
    assert isinstance(bins.apply(pl.from_pandas(credit)), pl.DataFrame)


def test_reports(credit, tmp_path):
    result = velmora.rank(credit, "risk")
    assert result.report(tmp_path / "r.html").read_text(encoding="utf-8").rstrip().endswith("</html>")
    assert result.report(tmp_path / "r.xlsx").read_bytes().startswith(b"PK")
    result.write(tmp_path / "all")
    assert {p.name for p in (tmp_path / "all").iterdir()} == {
        f"feature_selection.{suffix}" for suffix in ("json", "csv", "html", "xlsx")
    }
    with pytest.raises(TypeError, match="cannot be pickled"):
        pickle.dumps(result)


def test_tables_of_workbooks_and_databases(credit, tmp_path):
    expected = velmora.rank(credit, "risk").json["dependents"]
    file = tmp_path / "credit.sqlite"
    with contextlib.closing(sqlite3.connect(file)) as database:
        credit.to_sql("loans", database, index=False)
        credit.head(5).to_sql("few", database, index=False)
    assert velmora.rank(file, "risk", table="loans").json["dependents"] == expected
    assert velmora.rank(file, "risk", sql_from="SELECT * FROM loans").json["dependents"] == expected
    csv = SAMPLES / "german_credit.csv"
    old = f"SELECT * FROM '{csv}' WHERE age > 60"
    assert set(velmora.rank("", "risk", sql_from=old).ranking["cases"]) == {45}
    with pytest.raises(velmora.VelmoraError, match="2 tables \\(loans, few\\)"):
        velmora.rank(file, "risk")
    with pytest.raises(ValueError, match="--table"):
        velmora.rank(credit, "risk", table="loans")


def test_arrow_files(credit, tmp_path):
    expected = velmora.rank(credit, "risk").json["dependents"]
    credit.to_feather(tmp_path / "credit.feather")
    assert velmora.rank(tmp_path / "credit.feather", "risk").json["dependents"] == expected
    table = pa.Table.from_pandas(credit)
    with pa.OSFile(str(tmp_path / "credit.arrow"), "wb") as file, pa.ipc.new_file(file, table.schema) as out:
        out.write_table(table)
    assert velmora.rank(str(tmp_path / "credit.arrow"), "risk").json["dependents"] == expected
    frame = pl.from_pandas(credit)
    frame.write_ipc(tmp_path / "views.ipc", compression="zstd")
    frame.write_ipc_stream(tmp_path / "credit.arrows")
    for name in ("views.ipc", "credit.arrows"):
        assert velmora.rank(tmp_path / name, "risk").json["dependents"] == expected
    (tmp_path / "no.arrow").write_text("no table")
    with pytest.raises(velmora.VelmoraError, match=r"Cannot read .*no\.arrow"):
        velmora.rank(tmp_path / "no.arrow", "risk")


def test_unseen_levels(credit):
    bins = velmora.screen(credit, "risk", good="good", bad="bad", predictors=["housing"]).bins()
    new = pd.DataFrame({"housing": ["own", "boat", None]})
    labels = [p["label"] for p in bins.json["responses"][0]["predictors"][0]["bins"]]
    assert bins.apply(new)["risk_housing_Coded"].isna().tolist() == [False, True, True]
    assert bins.apply(new, unseen=labels[0])["risk_housing_Coded"][1] == labels[0]
    with pytest.raises(ValueError, match=r'1 case of housing .* such as "boat"'):
        bins.apply(new, unseen="error")
    fitted = velmora.Binning(bad="bad", unseen="error").fit(credit[["housing"]], credit["risk"])
    assert fitted.transform(new.head(1)).shape == (1, 1)
    with pytest.raises(ValueError, match="boat"):
        fitted.transform(new)


def test_charts_show_the_figures(credit, schools):
    ranked = velmora.rank(credit, "risk")
    axes = ranked.plot(best=4)
    frame = ranked.ranking.head(4)
    assert [label.get_text() for label in axes.get_yticklabels()] == list(frame["predictor"])
    assert [bar.get_width() for bar in axes.patches] == list(frame["effect"])
    screened = velmora.screen(credit, "risk", good="good", bad="bad")
    assert len(screened.plot(best=7).patches) == 7
    axes = screened.plot("amount")
    bins = screened.bin_table.query("predictor == 'amount'")
    assert [bar.get_height() for bar in axes.patches] == list(bins["total"])
    assert list(axes.figure.axes[1].lines[0].get_ydata()) == list(bins["bad_rate_row"])
    assert velmora.screen(schools, "api2000").plot("meals_pct").get_title() == "meals_pct and api2000"
    classes = velmora.screen(credit, "job", kind="categorical").plot("age")
    assert len(classes.get_legend().get_texts()) == credit["job"].nunique()
    with pytest.raises(ValueError, match="'nothing'"):
        screened.plot("nothing")
    with pytest.raises(ValueError, match="outcome is one of risk"):
        ranked.plot(outcome="amount")


def test_a_notebook_shows_a_table(credit):
    odd = credit.rename(columns={"amount": "<b>&amount"})
    page = velmora.rank(odd, "risk")._repr_html_()
    assert "&lt;b&gt;&amp;amount" in page and "<b>&amount" not in page
    assert page.count("<tr>") == 11 and "... and 10 more" in page
    xml.dom.minidom.parseString(f"<div>{page}</div>")
    screened = velmora.screen(credit, "risk", good="good", bad="bad")._repr_html_()
    assert "IV (cross-validated)" in screened and "checking_account" in screened


def test_progress_bar(credit, capsys):
    velmora.rank(pd.concat([credit] * 300), "risk", progress=True)
    assert "%|" in capsys.readouterr().err


def test_examples_of_the_documentation():
    import velmora._analyses
    import velmora._estimators

    for module in (velmora, velmora._analyses, velmora._estimators):
        found = doctest.testmod(module)
        assert found.attempted > 0 and found.failed == 0, module
