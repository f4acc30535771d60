"""Velmora: which variables in a data set matter, and how to bin them.

>>> import velmora
>>> result = velmora.rank({"x": [1, 2, 3, 4] * 5, "y": list("aabb") * 5}, "y", predictors=["x"])
>>> result.best
['x']

``rank`` and ``screen`` take a file, a frame of pandas, polars or pyarrow, a dict or an array.
``FeatureSelection``, ``Binning`` and ``Scorecard`` do the same as estimators of scikit-learn, which
they need; ``monitor`` compares new cases with those that bins were made from. ``Application`` is the
workbench itself, with its dialogs and documents, as scripts drive it; ``new_application`` starts
another one.
"""

from typing import TYPE_CHECKING, Any

from velmora._library import Cancelled, VelmoraError, library_version
from velmora._objects import Collection, Error, Object, new_application

try:
    from velmora._analyses import monitor, rank, screen
    from velmora._results import (
        Bins,
        FeatureSelectionResult,
        MonitorResult,
        Result,
        ScreenResult,
        load_bins,
    )
except ModuleNotFoundError as _error:  # scripts can do without NumPy
    if _error.name != "numpy":
        raise

if TYPE_CHECKING:
    from velmora._estimators import Binning, FeatureSelection, Scorecard

    Application: Object

__version__ = library_version()

__all__ = [
    "Binning",
    "Bins",
    "Cancelled",
    "Collection",
    "Error",
    "FeatureSelection",
    "FeatureSelectionResult",
    "MonitorResult",
    "Object",
    "Result",
    "Scorecard",
    "ScreenResult",
    "VelmoraError",
    "load_bins",
    "monitor",
    "new_application",
    "rank",
    "screen",
]


def __getattr__(name: str) -> Any:
    if name == "Application":
        from velmora import _objects

        return _objects.application()
    if name in ("Binning", "FeatureSelection", "Scorecard"):
        from velmora import _estimators

        return getattr(_estimators, name)
    if name in __all__:
        raise ImportError(f"velmora.{name} needs NumPy, which this Python does not have.")
    raise AttributeError(f"module 'velmora' has no attribute {name!r}")
