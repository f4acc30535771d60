"""Executes the notebooks of docs/guide. `python guide.py` writes what they show into them.

It runs the cells as a notebook does, without one: the value of a cell's last expression, what was
printed, and the figures that were drawn.
"""

from __future__ import annotations

import ast
import base64
import contextlib
import io
import json
import os
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import matplotlib

matplotlib.use("agg")
import matplotlib.pyplot as plt

GUIDE = Path(__file__).parents[2] / "docs" / "guide"
Notebook = dict[str, Any]


def notebooks() -> list[Path]:
    """The pages of the guide."""
    return sorted(GUIDE.glob("*.ipynb"))


def code_cells(notebook: Notebook) -> list[dict[str, Any]]:
    """The cells that are executed."""
    return [cell for cell in notebook["cells"] if cell["cell_type"] == "code"]


def _figures() -> Iterator[dict[str, Any]]:
    for number in plt.get_fignums():
        image = io.BytesIO()
        # Nothing in the image says when or by which version it was drawn.
        plt.figure(number).savefig(image, format="png", dpi=70, metadata={"Software": None})
        data = {"image/png": base64.b64encode(image.getvalue()).decode()}
        yield {"output_type": "display_data", "metadata": {}, "data": data}
    plt.close("all")


def _run_cell(source: str, scope: dict[str, Any]) -> list[dict[str, Any]]:
    tree = ast.parse(source)
    last = tree.body.pop().value if tree.body and isinstance(tree.body[-1], ast.Expr) else None
    printed = io.StringIO()
    outputs: list[dict[str, Any]] = []
    with contextlib.redirect_stdout(printed):
        exec(compile(tree, "cell", "exec"), scope)
        value = None if last is None else eval(compile(ast.Expression(last), "cell", "eval"), scope)
    if printed.getvalue():
        text = printed.getvalue().splitlines(keepends=True)
        outputs.append({"output_type": "stream", "name": "stdout", "text": text})
    figures = list(_figures())
    if value is not None and not figures:
        page = getattr(value, "_repr_html_", None)
        kind, text = ("text/plain", repr(value)) if page is None else ("text/html", page())
        data = {kind: text.splitlines(keepends=True)}
        outputs.append(
            {"output_type": "execute_result", "metadata": {}, "execution_count": None, "data": data}
        )
    return outputs + figures


def execute(path: Path) -> Notebook:
    """The notebook with the outputs of its cells."""
    notebook: Notebook = json.loads(path.read_text(encoding="utf-8"))
    scope: dict[str, Any] = {"__name__": "__main__"}
    plt.close("all")  # figures of others are none of the cells'
    before = Path.cwd()
    os.chdir(path.parent)
    try:
        for number, cell in enumerate(code_cells(notebook), start=1):
            cell["outputs"] = _run_cell("".join(cell["source"]), scope)
            cell["execution_count"] = number
            for output in cell["outputs"]:
                if output["output_type"] == "execute_result":
                    output["execution_count"] = number
    finally:
        os.chdir(before)
    return notebook


if __name__ == "__main__":
    for page in notebooks():
        page.write_text(json.dumps(execute(page), indent=1, ensure_ascii=False) + "\n", encoding="utf-8")
        print(page.name)
