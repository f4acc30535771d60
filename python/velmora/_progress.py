"""Progress bars: that of ``progress=True``, and that of automation objects on a terminal."""

from __future__ import annotations

import math
import shutil
import sys
import time
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


_QUIET_START = 0.3  # seconds; short stages show no bar
_BAR_CELLS = 30


class TerminalBar:
    """A bar of one line on standard error, redrawn in place; without a terminal it shows nothing."""

    def __init__(self) -> None:
        self._stage = ""
        self._begun = 0.0
        self._drawn = ""

    def show(self, stage: str, fraction: float) -> None:
        """Draws the bar of a stage at a fraction from 0 to 1."""
        if sys.stderr is None or not sys.stderr.isatty():
            return
        now = time.monotonic()
        if stage != self._stage or fraction == 0:
            self._stage, self._begun = stage, now
        elapsed = now - self._begun
        if elapsed < _QUIET_START:
            return
        cells = min(max(shutil.get_terminal_size().columns - len(stage) - 30, 5), _BAR_CELLS)
        full = int(fraction * cells)
        utf8 = (sys.stderr.encoding or "").lower().replace("-", "") == "utf8"
        done, left = ("\u2588", "\u2591") if utf8 else ("#", "-")
        line = f"{stage}  {done * full}{left * (cells - full)}  {int(fraction * 100):3} %"
        if fraction > 0.02 and elapsed > 1:
            seconds = math.ceil(elapsed * (1 - fraction) / fraction)
            rest = f"{seconds} s" if seconds < 90 else f"{(seconds + 30) // 60} min"
            line += f"  about {rest} left"
        if line != self._drawn:
            self._drawn = line
            sys.stderr.write(f"\r{line}\x1b[K")
            sys.stderr.flush()

    def clear(self) -> None:
        """Erases the bar at the end of a call."""
        self._stage = ""
        if self._drawn:
            self._drawn = ""
            sys.stderr.write("\r\x1b[K")
            sys.stderr.flush()
