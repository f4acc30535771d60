"""The notebooks of the guide run, and show what is stored in them."""

import json

import guide
import pytest


def shown(notebook: guide.Notebook) -> list[list[str]]:
    """What the cells print and give; of images only that there is one."""

    def text(output: dict) -> str:
        data = output.get("data", {})
        return "".join(output.get("text") or data.get("text/plain") or data.get("text/html") or ["image"])

    return [[text(output) for output in cell["outputs"]] for cell in guide.code_cells(notebook)]


def test_the_guide_has_five_pages():
    assert len(guide.notebooks()) == 5


@pytest.mark.parametrize("page", guide.notebooks(), ids=lambda page: page.stem)
def test_notebooks_show_what_they_give(page):
    stored = json.loads(page.read_text(encoding="utf-8"))
    assert shown(guide.execute(page)) == shown(stored)
