"""Velmora: which variables in a data set matter, and how to bin them.

>>> import velmora
>>> result = velmora.rank({"x": [1, 2, 3, 4] * 5, "y": list("aabb") * 5}, "y", predictors=["x"])
>>> result.best
['x']

``rank`` and ``screen`` take a file, a frame of pandas, polars or pyarrow, a dict or an array.
``FeatureSelection`` and ``Binning`` do the same as estimators of scikit-learn, which they need.
"""

from typing import TYPE_CHECKING, Any

from velmora._analyses import rank, screen
from velmora._library import Cancelled, VelmoraError, library_version
from velmora._results import Bins, FeatureSelectionResult, Result, ScreenResult, load_bins

if TYPE_CHECKING:
    from velmora._estimators import Binning, FeatureSelection

__version__ = library_version()

__all__ = [
    "Binning",
    "Bins",
    "Cancelled",
    "FeatureSelection",
    "FeatureSelectionResult",
    "Result",
    "ScreenResult",
    "VelmoraError",
    "load_bins",
    "rank",
    "screen",
]


def __getattr__(name: str) -> Any:
    if name in ("Binning", "FeatureSelection"):
        from velmora import _estimators

        return getattr(_estimators, name)
    raise AttributeError(f"module 'velmora' has no attribute {name!r}")
