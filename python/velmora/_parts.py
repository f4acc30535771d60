"""Analyses of data in parts: what Spark and databases share."""

from __future__ import annotations

from collections.abc import Iterable, Mapping
from typing import Any

from velmora._library import Session

# Different numbers that a run keeps, over all variables: states of about 100 MB at most.
_ALL_CELLS = 1 << 21
_FEWEST_CELLS = 6400
_MOST_CELLS = 65536


def cells_for(columns: int) -> int:
    """How many different numbers of each column the first pass keeps apart."""
    return max(_FEWEST_CELLS, min(_MOST_CELLS, _ALL_CELLS // max(columns, 1)))


class Run:
    """An analysis whose cases are in parts. Executors receive a copy."""

    def __init__(self, analysis: str, options: Mapping[str, Any], settings: Mapping[str, Any]) -> None:
        self.analysis = analysis
        self.options = dict(options)
        self.settings = dict(settings)
        self.second: bytes | None = None  # the empty state of the second pass

    def empty(self, session: Session) -> Any:
        if self.second is None:
            return session.new_state(self.analysis, self.options, self.settings)
        return session.load_state(self.second)

    def state_of(self, batches: Iterable[Any]) -> bytes | None:
        """The state of the rows of record batches; nothing without rows."""
        import pyarrow

        session = Session()
        state = None
        for batch in batches:
            if batch.num_rows == 0:
                continue
            if state is None:
                state = self.empty(session)
            state.update(pyarrow.Table.from_batches([batch]))
        return None if state is None else state.to_bytes()

    def merged(self, session: Session, states: Iterable[bytes]) -> Any:
        """One state of all."""
        merged = self.empty(session)
        for state in states:
            merged.merge(state)
        return merged
