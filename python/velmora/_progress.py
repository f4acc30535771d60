"""The progress bar of ``progress=True``."""

from __future__ import annotations

from collections.abc import Iterator
from contextlib import contextmanager
from typing import Any

from velmora._library import Progress


@contextmanager
def shown(progress: Progress | bool | None) -> Iterator[Progress | None]:
    """The function that a call reports to; of True a bar of tqdm, which ends with the block."""
    if progress is None or callable(progress):
        yield progress
        return
    if progress is False:
        yield None
        return
    try:
        from tqdm.auto import tqdm
    except ImportError as error:
        raise ImportError("progress=True needs tqdm: install it, or pass a function.") from error
    bar: Any = tqdm(total=100, leave=False, bar_format="{desc} {percentage:3.0f}%|{bar}| {elapsed}")

    def report(stage: str, fraction: float) -> None:
        bar.set_description_str(stage, refresh=False)
        bar.n = round(100 * fraction)
        bar.refresh()

    try:
        yield report
    finally:
        bar.close()
