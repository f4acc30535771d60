"""Automation objects in a program of one's own; tests/cli/script_test.cpp has whole scripts."""

import gc
import io
import pickle
import subprocess
import sys
import threading
from pathlib import Path

import numpy as np
import pandas as pd
import pytest

import velmora
from velmora import _progress

SAMPLES = Path(__file__).parents[2] / "samples"


@pytest.fixture
def app():
    return velmora.new_application(quiet=True)


def test_a_data_frame_becomes_the_open_table(credit: pd.DataFrame):
    app = velmora.new_application(credit, quiet=True)
    data = app.InputSpreadsheet
    assert data.CaseCount == 1000
    assert data.Variables["age"].Values == credit["age"].tolist()
    startup = app.StartFeatureSelection()
    startup.Variables = [[], ["risk"], ["age", "amount"], data.VariableNumbers("purp*")]
    assert startup.ok() == 1, "the case of letters is free"
    summary = app.Analyses[0].ResultsDialog.Summary[0]
    assert sorted(summary.RowNames) == ["age", "amount", "purpose"]


def test_values_keep_their_bits(app, tmp_path):
    (tmp_path / "four.csv").write_text("x\n1\n2\n3\n4\n")
    data = app.Open(tmp_path / "four.csv")
    values = [0.1 + 0.2, -0.0, None, 5e-324]
    data.AddVariable("größe", values)
    read = data.Variables["größe"].Values
    assert read == values
    assert np.signbit(read[1])
    data.AddVariable("numbers", np.array([1.5, 2.5, 3.5, 2.0**53]))
    assert data.Variables["numbers"].Values[-1] == 2.0**53
    assert data.VariableNumbers(["x", 3]) == [1, 3]
    assert app.InputSpreadsheet.Value(1, np.int64(1)) == 1


@pytest.mark.parametrize(
    ("use", "kind", "sentence"),
    [
        (lambda app: app.Wrkbook, AttributeError, "did you mean Workbook?"),
        (lambda app: app._repr_html_, AttributeError, "no member _repr_html_"),
        (lambda app: setattr(app, "Name", "x"), AttributeError, "Application.Name cannot be set."),
        (lambda app: app.Open(), TypeError, "takes 1 argument, 0 given"),
        (lambda app: app.Open({1, 2}), TypeError, "type set cannot be passed"),
        (lambda app: app.Open("nothing.csv"), velmora.Error, "nothing.csv"),
        (lambda app: app.Analyses[0], IndexError, "0 of 0"),
        (lambda app: pickle.dumps(app), TypeError, "cannot be pickled"),
        (lambda app: setattr(app, "PruneTrees", 2**60), OverflowError, "2 to the power of 53"),
    ],
)
def test_wrong_uses_are_pythons_exceptions(app, use, kind, sentence):
    with pytest.raises(kind, match=sentence.replace("?", r"\?")):
        use(app)


def test_objects_outlive_what_made_them_and_cross_threads(app):
    data = app.Open(SAMPLES / "german_credit.csv")
    counts: list[int] = []

    def work(data: velmora.Object = data) -> None:
        held = [data.Variables for _ in range(50)]
        counts.extend(len(variables) for variables in held)

    threads = [threading.Thread(target=work) for _ in range(4)]
    for thread in threads:
        thread.start()
    held = [data.Variables[index] for index in range(10)]
    for thread in threads:
        thread.join()
    assert counts == [21] * 200
    del app, data
    gc.collect()
    assert [variable.Number for variable in held] == list(range(1, 11))


def test_the_application_of_the_process_is_one():
    assert velmora.Application.Workbook is not None
    velmora.Application.Open(SAMPLES / "german_credit.csv")
    assert velmora.Application.InputSpreadsheet.CaseCount == 1000
    assert velmora.new_application().InputSpreadsheet.CaseCount == 0


# An own process: signals, and what is shown when.
def test_an_interruption_cancels_the_call(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(
        """
import os, signal, threading
import numpy as np
import velmora
rng = np.random.default_rng(1)
columns = {f"x{i}": rng.normal(size=20000) for i in range(40)} | {"y": rng.normal(size=20000)}
app = velmora.new_application(columns)
try:
    threading.Timer(0.05, lambda: os.kill(os.getpid(), signal.SIGINT)).start()
    for _ in range(1000):
        startup = app.StartFeatureSelection()
        startup.Variables = [["y"], [], list(range(1, 41)), []]
        startup.OK()
        app.Analyses[-1].Close()
except KeyboardInterrupt:
    print("interrupted")
startup = app.StartFeatureSelection()
startup.Variables = [["y"], [], [1], []]
print(startup.OK(), app.StartScreening().OK())
"""
    )
    ended = subprocess.run([sys.executable, program], capture_output=True, text=True)
    assert ended.stdout == "interrupted\n1 0\n", ended.stderr
    assert "No predictor variables have been selected." in ended.stderr


def test_scripts_run_without_numpy(tmp_path):
    program = tmp_path / "program.py"
    program.write_text(
        """
import sys
sys.modules["numpy"] = None
import velmora
print(velmora.Application.Name)
try:
    velmora.rank
except ImportError as error:
    print(error)
"""
    )
    ended = subprocess.run([sys.executable, program], capture_output=True, text=True)
    assert ended.stdout == "Velmora\nvelmora.rank needs NumPy, which this Python does not have.\n", (
        ended.stderr
    )


def test_a_terminal_has_a_bar_only_for_long_stages(monkeypatch):
    class Terminal(io.StringIO):
        encoding = "utf-8"  # type: ignore[assignment]

        def isatty(self) -> bool:
            return True

    terminal, now = Terminal(), [100.0]
    monkeypatch.setattr("sys.stderr", terminal)
    monkeypatch.setattr("time.monotonic", lambda: now[0])
    monkeypatch.setenv("COLUMNS", "80")
    bar = _progress.TerminalBar()
    for later, fraction in [(0.0, 0.0), (0.2, 0.1), (1.8, 0.25)]:
        now[0] += later
        bar.show("Reading", fraction)
    assert (
        terminal.getvalue() == f"\rReading  {7 * chr(0x2588)}{23 * chr(0x2591)}   25 %  about 6 s left\x1b[K"
    )
    bar.clear()
    bar.clear()
    assert terminal.getvalue().endswith("left\x1b[K\r\x1b[K")
    assert terminal.getvalue().count("\r") == 2
