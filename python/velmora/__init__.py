"""Velmora: which variables in a data set matter, and how to bin them.

>>> import velmora
>>> result = velmora.rank({"x": [1, 2, 3, 4] * 5, "y": list("aabb") * 5}, "y", predictors=["x"])
>>> result.best
['x']

``rank`` and ``screen`` take a file, a frame of pandas, polars or pyarrow, a dict or an array.
``FeatureSelection``, ``Binning`` and ``Scorecard`` do the same as estimators of scikit-learn, which
they need; ``monitor`` compares new cases with those that bins were made from.
"""

from typing import TYPE_CHECKING, Any

from velmora._analyses import monitor, rank, screen
from velmora._library import Cancelled, VelmoraError, library_version
from velmora._results import (
    Bins,
    FeatureSelectionResult,
    MonitorResult,
    Result,
    ScreenResult,
    load_bins,
)

if TYPE_CHECKING:
    from velmora._estimators import Binning, FeatureSelection, Scorecard

__version__ = library_version()

__all__ = [
    "Binning",
    "Bins",
    "Cancelled",
    "FeatureSelection",
    "FeatureSelectionResult",
    "MonitorResult",
    "Result",
    "Scorecard",
    "ScreenResult",
    "VelmoraError",
    "load_bins",
    "monitor",
    "rank",
    "screen",
]


def __getattr__(name: str) -> Any:
    if name in ("Binning", "FeatureSelection", "Scorecard"):
        from velmora import _estimators

        return getattr(_estimators, name)
    raise AttributeError(f"module 'velmora' has no attribute {name!r}")
