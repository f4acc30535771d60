"""Estimators of scikit-learn over rank and screen."""

from __future__ import annotations

import json
import os
from collections.abc import Mapping
from pathlib import Path
from typing import Any

import numpy as np
from sklearn.base import BaseEstimator, ClassifierMixin, TransformerMixin
from sklearn.feature_selection import SelectorMixin
from sklearn.utils.multiclass import check_classification_targets, type_of_target
from sklearn.utils.validation import _check_sample_weight, check_is_fitted, column_or_1d, validate_data

from velmora import _frames
from velmora._library import ResultHandle, Session
from velmora._results import Bins, load_bins

_TASKS = ("auto", "classification", "regression")
_MOST_CLASSES = 20  # of numbers, that "auto" takes for classes


def _is_frame(X: Any) -> bool:
    return hasattr(X, "columns") and not isinstance(X, Mapping)


def _validated(estimator: BaseEstimator, X: Any, *, reset: bool) -> Any:
    """X as it is when it is a frame, whose columns keep their types; else as an array."""
    if not _is_frame(X):
        return validate_data(estimator, X, dtype=None, ensure_all_finite="allow-nan", reset=reset)
    validate_data(estimator, X, reset=reset, skip_check_array=True)
    if len(X) == 0:
        raise ValueError(f"Found array with 0 sample(s) (shape={X.shape}) while a minimum of 1 is required.")
    return X


def _loaded(session: Session, X: Any) -> list[str]:
    """Makes X the table of the session; returns the names of its columns."""
    _frames.load(session, X)
    return _frames.column_names(X)


class _Supervised(BaseEstimator):
    """What both estimators share: the outcome and the weights as variables beside X."""

    def __sklearn_tags__(self) -> Any:
        tags = super().__sklearn_tags__()
        tags.target_tags.required = True
        tags.input_tags.allow_nan = True
        tags.input_tags.string = True
        return tags

    def _is_classification(self, y: np.ndarray) -> bool:
        task: str = self.task
        if task not in _TASKS:
            raise ValueError(f"task is one of {', '.join(_TASKS)}, not {task!r}.")
        if task == "auto":
            # Whole numbers of many values, such as counts and prices, are measured.
            measured = y.dtype.kind in "iuf" and len(np.unique(y)) > _MOST_CLASSES
            regression = measured or type_of_target(y) == "continuous"
            task = "regression" if regression else "classification"
        if task == "classification":
            check_classification_targets(y)
        return task == "classification"

    def _run(self, X: Any, y: Any, sample_weight: Any, analysis: str) -> tuple[ResultHandle, list[str]]:
        if y is None:
            raise ValueError(f"{type(self).__name__} requires y to be passed, but the target y is None.")
        X = _validated(self, X, reset=True)
        y = column_or_1d(y, warn=True)
        if len(y) != len(X):
            raise ValueError(
                f"Found input variables with inconsistent numbers of samples: [{len(X)}, {len(y)}]"
            )
        if len(y) < 2:
            raise ValueError(f"Found array with {len(y)} sample(s) while a minimum of 2 is required.")
        if y.dtype.kind == "f" and not np.isfinite(y).all():
            raise ValueError("Input y contains NaN or infinity.")
        classification = self._is_classification(y)
        session = Session()
        with session.reporting(None):
            names = _loaded(session, X)
            outcome = _frames.unused_name(self._outcome_name(), names)
            options: dict[str, Any] = {
                "predictors": ["*"],
                ("categorical" if classification else "continuous"): [outcome],
            }
            if classification:
                # Classes are codes 0, 1, ...: what they are called does not matter.
                self.classes_, codes = np.unique(y, return_inverse=True)
                if len(self.classes_) < 2:
                    raise ValueError(f"y has one class, {self.classes_[0]!r}; two are needed.")
                y = codes
            _frames.add_array(session, outcome, np.asarray(y, dtype=np.float64))
            if sample_weight is not None:
                weights = _check_sample_weight(sample_weight, X, dtype=np.float64)
                weight = _frames.unused_name("sample_weight", [*names, outcome])
                _frames.add_array(session, weight, weights)
                options["weight"] = weight
            return session.run(analysis, options | self._options(outcome, classification)), names

    def _options(self, outcome: str, classification: bool) -> dict[str, Any]:
        raise NotImplementedError

    def _outcome_name(self) -> str:
        return "y"

    def _binary_codes(self) -> tuple[str, str]:
        """The codes of the bad and of the good class, by the parameter bad."""
        bad = 1
        if self.bad is not None:
            if self.bad not in self.classes_:
                raise ValueError(
                    f"bad={self.bad!r} is not a class of y, whose classes are {list(self.classes_)}."
                )
            bad = int(np.flatnonzero(self.classes_ == self.bad)[0])
        return str(bad), str(1 - bad)


class FeatureSelection(SelectorMixin, _Supervised):
    """Selects the features that are most strongly related to the outcome, one by one.

    The effect is epsilon squared of a continuous outcome and Cramer's V of classes, both corrected
    for the number of levels; continuous features are cut into intervals first, so relations need not
    be linear. Features may hold texts and missing values.

    Parameters
    ----------
    n_features : int, default=10
        How many features are selected: those with the smallest p-values.
    p_value : float, optional
        Select all features with an adjusted p-value up to this one instead.
    cuts : int, default=10
        Intervals of a continuous feature, 1 to 20.
    task : {"auto", "classification", "regression"}, default="auto"
        How y is treated; "auto" takes texts and up to 20 different whole numbers for classes.

    Attributes
    ----------
    scores_ : ndarray of shape (n_features_in_,)
        Effects of the features; NaN where there is none, as for a constant feature.
    pvalues_, adjusted_pvalues_ : ndarray of shape (n_features_in_,)
        p-values, each of one test, and adjusted for the number of tests (Benjamini-Hochberg).
    classes_ : ndarray
        The classes of y, of a classification.
    n_features_in_ : int
    feature_names_in_ : ndarray of str
        Names of the features of a frame.

    Examples
    --------
    >>> import numpy as np
    >>> from velmora import FeatureSelection
    >>> X = np.random.default_rng(0).normal(size=(200, 5))
    >>> FeatureSelection(n_features=1).fit(X, X[:, 3] ** 2).get_support(indices=True)
    array([3])
    """

    def __init__(
        self, n_features: int = 10, *, p_value: float | None = None, cuts: int = 10, task: str = "auto"
    ) -> None:
        self.n_features = n_features
        self.p_value = p_value
        self.cuts = cuts
        self.task = task

    def _options(self, outcome: str, classification: bool) -> dict[str, Any]:
        # By p: as many features as asked for, whether or not they can be told from chance.
        options = {"dependents": [outcome], "cuts": self.cuts, "best": self.n_features, "rank-by": "p"}
        if self.p_value is not None:
            options |= {"show": "p", "p-criterion": self.p_value}
        return options

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> FeatureSelection:
        """Scores the features.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)
        y : array of shape (n_samples,)
        sample_weight : array of shape (n_samples,), optional

        Returns
        -------
        self
        """
        result, names = self._run(X, y, sample_weight, "feature-selection")
        dependent = json.loads(result.text("json"))["dependents"][0]
        by_name = {predictor["name"]: predictor for predictor in dependent["predictors"]}

        def figures(member: str) -> np.ndarray:
            values = [np.nan if by_name[n]["notComputable"] else by_name[n][member] for n in names]
            return np.array(values, dtype=np.float64)

        self.scores_ = figures("effect")
        self.pvalues_ = figures("pValue")
        self.adjusted_pvalues_ = figures("adjustedP")
        best = set(dependent["best"])
        self._support = np.array([name in best for name in names])
        return self

    def _get_support_mask(self) -> np.ndarray:
        check_is_fitted(self)
        return self._support

    def transform(self, X: Any) -> Any:
        """The selected columns of X.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)

        Returns
        -------
        array or frame of shape (n_samples, n_selected)
        """
        check_is_fitted(self)
        if _is_frame(X) and not hasattr(self, "_sklearn_output_config"):
            validate_data(self, X, reset=False, skip_check_array=True)
            return X[[name for name, kept in zip(X.columns, self._support, strict=True) if kept]]
        return super().transform(X)


class Binning(TransformerMixin, _Supervised):
    """Bins every feature by its relation to the outcome and replaces it by a figure of its bin.

    Parameters
    ----------
    output : {"auto", "woe", "mean", "shares", "label", "code"}, default="auto"
        What replaces a feature: the weight of evidence of its bin (100 times the natural logarithm
        of share of goods over share of bads; y with two classes), the mean of y (regression), the
        share of each class (more classes; a column per class), the label of the bin as a text, or
        its number from 0. "auto" is the first of these that y has. In a bin of one class alone the
        weight of evidence counts half a case more of each class.
    bad : object, optional
        The class of a binary y that counts as bad; default: the last one, the event.
    unbinned : {"neutral", "nan"}, default="neutral"
        What replaces a case without a bin, such as a level that fit has not seen: the figure of all
        cases (a weight of evidence of 0, the overall mean or shares), or NaN. Labels and codes are
        None and -1.
    task : {"auto", "classification", "regression"}, default="auto"
        How y is treated; "auto" takes texts and up to 20 different whole numbers for classes.
    unseen : str, optional
        What transform makes of levels that fit has not seen: "missing" puts them into the bin of
        missing values, "error" is a ValueError, another text the label of a bin.

    Attributes
    ----------
    bins_ : Bins
        The bins, to save or to write as SQL and Python.
    iv_ : ndarray of shape (n_features_in_,)
        Information values; NaN where y is not binary or the feature has no bins.
    classes_ : ndarray
        The classes of y, of a classification.
    n_features_in_ : int
    feature_names_in_ : ndarray of str
        Names of the features of a frame.

    Examples
    --------
    >>> import numpy as np
    >>> from velmora import Binning
    >>> X = np.random.default_rng(0).normal(size=(500, 2))
    >>> coded = Binning(output="code").fit_transform(X, X[:, 0] > 0)
    >>> coded.shape
    (500, 2)
    """

    def __init__(
        self,
        *,
        output: str = "auto",
        bad: Any = None,
        unbinned: str = "neutral",
        task: str = "auto",
        unseen: str | None = None,
    ) -> None:
        self.output = output
        self.bad = bad
        self.unbinned = unbinned
        self.task = task
        self.unseen = unseen

    def __sklearn_tags__(self) -> Any:
        tags = super().__sklearn_tags__()
        if self.output in ("label", "code"):
            tags.transformer_tags.preserves_dtype = []
        return tags

    def _options(self, outcome: str, classification: bool) -> dict[str, Any]:
        if not classification:
            return {"continuous-response": outcome}
        if len(self.classes_) > 2:
            return {"categorical-response": outcome}
        bad, good = self._binary_codes()
        return {"binary-response": outcome, "bad": bad, "good": good}

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> Binning:
        """Finds the bins.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)
        y : array of shape (n_samples,)
        sample_weight : array of shape (n_samples,), optional

        Returns
        -------
        self
        """
        result, names = self._run(X, y, sample_weight, "screen")
        response = json.loads(result.text("json"))["responses"][0]
        self.kind_ = response["kind"]
        self._output_kind()
        self.bins_ = Bins(result.bins().text("json"))
        found = {predictor["name"]: predictor for predictor in response["predictors"]}
        self._tables = {name: predictor["rows"] for name, predictor in found.items()}
        self._names = names
        value = [found[n]["informationValue"] if n in found else None for n in names]
        self.iv_ = np.array([np.nan if v is None else v for v in value], dtype=np.float64)
        weights = None if sample_weight is None else np.asarray(sample_weight, dtype=np.float64)
        if self.kind_ == "continuous":
            self._neutral = [float(np.average(np.asarray(y, dtype=np.float64), weights=weights))]
        elif self.kind_ == "categorical":
            self._neutral = [
                float(np.average(np.asarray(y) == class_, weights=weights)) for class_ in self.classes_
            ]
        else:
            self._neutral = [0.0]
        return self

    def _figures_of(self, predictor: Mapping[str, Any]) -> list[list[float]]:
        """The figures of each bin: one, or a share per class."""
        bins = predictor["bins"]
        if self.kind_ == "categorical":
            return [one["shares"] for one in bins]
        if self.kind_ == "continuous":
            return [[one["mean"]] for one in bins]
        total = np.sum([one["counts"] for one in bins], axis=0)

        # A bin of one class alone has no logarithm; half a case is added to each class there.
        def woe(one: Mapping[str, Any]) -> float:
            if one["woe"] is not None:
                return float(one["woe"])
            bad, good = (np.array(one["counts"]) + 0.5) / total
            return 100 * float(np.log(good / bad))

        return [[woe(one)] for one in bins]

    def _output_kind(self) -> str:
        """What transform gives: "figure", "label" or "code"."""
        figure = {"binary": "woe", "continuous": "mean", "categorical": "shares"}[self.kind_]
        if self.output in ("label", "code"):
            return str(self.output)
        if self.output not in ("auto", figure):
            if self.output not in ("woe", "mean", "shares"):
                raise ValueError(f"output is auto, woe, mean, shares, label or code, not {self.output!r}.")
            raise ValueError(f"output={self.output!r} does not fit this y, whose bins have: {figure}.")
        return "figure"

    def _columns(
        self, coded: dict[str, np.ndarray], predictor: Mapping[str, Any] | None, count: int
    ) -> list[Any]:
        """The columns of one feature; predictor: its saved bins, None when it has none."""
        kind = self._output_kind()
        labels = (
            np.full(count, None, dtype=object) if predictor is None else coded[predictor["codedVariable"]]
        )
        if kind == "label":
            return [labels]
        bins = [] if predictor is None else predictor["bins"]
        places = {one["label"]: place for place, one in enumerate(bins)}
        codes = np.array([places.get(label, -1) for label in labels], dtype=np.int64)
        if kind == "code":
            return [codes]
        neutral = self._neutral if self.unbinned == "neutral" else [np.nan] * len(self._neutral)
        # The last figure is that of code -1.
        found = self._figures_of(predictor) if predictor else []
        figures = np.array([*found, neutral], dtype=np.float64)
        return list(figures[codes].T)

    def transform(self, X: Any) -> Any:
        """Codes X.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)

        Returns
        -------
        array or frame of shape (n_samples, n_columns)
            A column per feature, or per feature and class of shares.
        """
        check_is_fitted(self)
        if self.unbinned not in ("neutral", "nan"):
            raise ValueError(f"unbinned is neutral or nan, not {self.unbinned!r}.")
        X = _validated(self, X, reset=False)
        saved = {p["name"]: p for p in self.bins_.json["responses"][0]["predictors"]}
        coded = _frames.columns_of(self.bins_._apply(X, self.unseen)) if saved else {}
        columns: list[Any] = []
        for name in self._names:
            columns += self._columns(coded, saved.get(name), len(X))
        return np.column_stack(columns)

    def get_feature_names_out(self, input_features: Any = None) -> np.ndarray:
        """Names of the columns of transform: those of the features, of shares with the class."""
        check_is_fitted(self)
        names = getattr(self, "feature_names_in_", None)
        if input_features is not None:
            input_features = np.asarray(input_features, dtype=object)
            if names is not None and not np.array_equal(names, input_features):
                raise ValueError("input_features is not equal to feature_names_in_")
            if len(input_features) != self.n_features_in_:
                raise ValueError(
                    f"input_features should have length equal to number of features ({self.n_features_in_}),"
                    f" got {len(input_features)}"
                )
            names = input_features
        if names is None:
            names = self._names
        if self.kind_ == "categorical" and self._output_kind() == "figure":
            names = [f"{name}_{class_}" for name in names for class_ in self.classes_]
        return np.asarray(names, dtype=object)

    def edit(self, operation: str, feature: str, **members: Any) -> Binning:
        """Corrects the bins of a feature by hand, as :meth:`Bins.edit` describes. Returns self."""
        check_is_fitted(self)
        self.bins_ = self.bins_.edit(operation, feature, **members)
        return self

    def merge(self, feature: str, bins: list[int]) -> Binning:
        """Makes several bins of a feature one; they are counted from 0. Returns self."""
        return self.edit("merge", feature, bins=list(bins))

    def split(self, feature: str, cut: float) -> Binning:
        """Cuts a bin of a measured feature in two. Returns self."""
        return self.edit("split", feature, cutPoint=cut)

    def table(self, feature: str) -> Any:
        """The bins of a feature as fit found them, as a pandas frame: a row per bin."""
        check_is_fitted(self)
        if feature not in self._tables:
            known = "has no bins" if feature in self._names else "is not a feature"
            raise ValueError(f"{feature!r} {known}.")
        import pandas

        return pandas.DataFrame(self._tables[feature])

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the bins as the JSON that ``velmora apply`` reads."""
        check_is_fitted(self)
        self.bins_.save(Path(path))

    def to_sql(self, dialect: str = "standard") -> str:
        """The bins as a query; dialects as of :meth:`velmora.Bins.to_sql`."""
        check_is_fitted(self)
        return self.bins_.to_sql(dialect)

    def to_python(self) -> str:
        """The bins as a Python module without dependencies."""
        check_is_fitted(self)
        return self.bins_.to_python()


class Scorecard(ClassifierMixin, _Supervised):
    """A scorecard: points for the bins of every feature, by logistic regression.

    Features are binned as by :class:`Binning`; a logistic regression on the weights of evidence of
    their bins gives the points, and the score of a case is their sum. Higher is better.

    Parameters
    ----------
    base_points, odds, pdo : float, default=600, 50, 20
        The score at these odds of good to bad, and the points more at twice the odds.
    round_points : bool, default=False
        Whole points.
    stepwise : bool, default=False
        Features come in one by one, as long as one lowers the out-of-fold deviance by more than its
        standard error; otherwise all that are better than chance are in.
    bad : object, optional
        The class that counts as bad; default: the last one, the event.
    separation : {"shrink", "error"}, default="shrink"
        What happens where features separate the classes or determine each other: coefficients are
        shrunk by a ridge penalty and ``notices_`` says so, or ``VelmoraError`` is raised.

    Attributes
    ----------
    bins_ : Bins
        The bins with the scorecard, to save, to apply and to write as SQL, Python and PMML.
    coef_ : dict of str to float
        Coefficients of the weights of evidence (as natural logarithms), for the log odds of bad.
    intercept_ : float
    classes_ : ndarray of shape (2,)
    notices_ : list of str
        Remarks on the fit.
    n_features_in_ : int
    feature_names_in_ : ndarray of str
        Names of the features of a frame.

    Notes
    -----
    When no feature is better than chance, every case has the same score, at the rate of ``y``.

    Examples
    --------
    >>> import numpy as np
    >>> from velmora import Scorecard
    >>> X = np.random.default_rng(0).normal(size=(500, 2))
    >>> Scorecard(pdo=50).fit(X, X[:, 0] + X[:, 1] > 0).score(X, X[:, 0] + X[:, 1] > 0) > 0.8
    True
    """

    _is_loaded = False

    def __init__(
        self,
        *,
        base_points: float = 600,
        odds: float = 50,
        pdo: float = 20,
        round_points: bool = False,
        stepwise: bool = False,
        bad: Any = None,
        separation: str = "shrink",
    ) -> None:
        self.base_points = base_points
        self.odds = odds
        self.pdo = pdo
        self.round_points = round_points
        self.stepwise = stepwise
        self.bad = bad
        self.separation = separation

    def __sklearn_tags__(self) -> Any:
        tags = super().__sklearn_tags__()
        tags.classifier_tags.multi_class = False
        return tags

    def _is_classification(self, y: np.ndarray) -> bool:
        check_classification_targets(y)
        if len(np.unique(y)) > 2:
            kind = type_of_target(y)
            raise ValueError(f"Only binary classification is supported. The type of the target is {kind}.")
        return True

    def _options(self, outcome: str, classification: bool) -> dict[str, Any]:
        bad, good = self._binary_codes()
        return {"binary-response": outcome, "bad": bad, "good": good}

    def _outcome_name(self) -> str:
        return self._y_name

    def fit(self, X: Any, y: Any, sample_weight: Any = None) -> Scorecard:
        """Finds the bins and the points.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)
        y : array of shape (n_samples,), of two classes
        sample_weight : array of shape (n_samples,), optional

        Returns
        -------
        self
        """
        if self.separation not in ("shrink", "error"):
            raise ValueError(f"separation is 'shrink' or 'error', not {self.separation!r}.")
        if y is not None and sample_weight is not None:
            values, weights = np.asarray(y), np.asarray(sample_weight)
            if values.shape == weights.shape and len(np.unique(values[weights > 0])) == 1:
                raise ValueError("y has one class in the cases with a weight; two are needed.")
        name = getattr(y, "name", None)
        self._y_name = name if isinstance(name, str) and name else "y"
        result, names = self._run(X, y, sample_weight, "screen")
        self._names = names
        text = result.bins().text("json")
        saved = json.loads(text)
        rates = np.asarray(column_or_1d(y) == self.classes_[int(self._binary_codes()[0])], dtype=np.float64)
        case_weights = None if sample_weight is None else np.asarray(sample_weight, dtype=np.float64)
        self.notices_: list[str] = []
        self.coef_: dict[str, float] = {}
        rate = float(np.average(rates, weights=case_weights))
        self.intercept_ = float(np.log(rate / (1 - rate)))
        self._report: bytes | None = None
        if not any(response["predictors"] for response in saved["responses"]):
            self.notices_.append("No feature is better than chance; every case has the same score.")
            self.bins_ = None
            return self
        outcome = saved["responses"][0]["name"]
        session = Session()
        with session.reporting(None):
            _loaded(session, X)
            _frames.add_array(session, outcome, (column_or_1d(y) == self.classes_[1]).astype(np.float64))
            options: dict[str, Any] = {
                "base-points": self.base_points,
                "odds": self.odds,
                "pdo": self.pdo,
                "round-points": self.round_points,
                "stepwise": self.stepwise,
                "shrink": self.separation == "shrink",
            }
            if sample_weight is not None:
                options["weight"] = _frames.unused_name("sample_weight", [*names, outcome])
                _frames.add_array(session, options["weight"], np.asarray(sample_weight, dtype=np.float64))
            fitted = session.load_bins(text).scorecard(options)
            self._report = fitted.text("json")
            saved = json.loads(fitted.bins().text("json"))
        found = json.loads(self._report)
        self.notices_ = found["run"]["notices"]
        self.intercept_ = found["coefficients"][0]["coefficient"]
        self.coef_ = {row["predictor"]: row["coefficient"] for row in found["coefficients"][1:]}
        # Other programs know the classes by their names.
        saved["responses"][0]["codes"] = [
            _class_text(self.classes_[int(code)]) for code in self._binary_codes()
        ]
        self.bins_ = Bins(json.dumps(saved, ensure_ascii=False))
        return self

    def _scored(self, X: Any) -> tuple[np.ndarray, np.ndarray]:
        """Scores and probabilities of bad."""
        check_is_fitted(self)
        if self._is_loaded and _is_frame(X):
            X = X[self._names]
        X = _validated(self, X, reset=False)
        if self.bins_ is None:
            factor = self.pdo / np.log(2)
            score = self.base_points - factor * (np.log(self.odds) + self.intercept_)
            probability = 1 / (1 + np.exp(-self.intercept_))
            return np.full(len(X), score), np.full(len(X), probability)
        card = self.bins_.json["responses"][0]["scorecard"]
        coded = _frames.columns_of(self.bins_._apply(X))
        return coded[card["scoreVariable"]], coded[card["probabilityVariable"]]

    def score_points(self, X: Any) -> np.ndarray:
        """The points of each case.

        Parameters
        ----------
        X : array or frame of shape (n_samples, n_features)

        Returns
        -------
        ndarray of shape (n_samples,)
        """
        return self._scored(X)[0]

    def predict_proba(self, X: Any) -> np.ndarray:
        """Probabilities of the classes, in the order of ``classes_``; shape (n_samples, 2)."""
        bad = self._scored(X)[1]
        both = (1 - bad, bad) if self._binary_codes()[0] == "1" else (bad, 1 - bad)
        return np.column_stack(both)

    def decision_function(self, X: Any) -> np.ndarray:
        """The log odds of the last class; shape (n_samples,)."""
        probability = self.predict_proba(X)
        return np.asarray(np.log(probability[:, 1]) - np.log(probability[:, 0]))

    def predict(self, X: Any) -> np.ndarray:
        """The more probable class; shape (n_samples,)."""
        last = self.decision_function(X) > 0
        return np.asarray(self.classes_[last.astype(int)])

    @property
    def table_(self) -> Any:
        """Points, weight of evidence, cases and bad rate of every bin, as a pandas frame."""
        check_is_fitted(self)
        import pandas

        return pandas.DataFrame([] if self._report is None else json.loads(self._report)["points"])

    def _card(self) -> Bins:
        check_is_fitted(self)
        if self.bins_ is None:
            raise ValueError("No feature is better than chance, so there is no scorecard to write.")
        return self.bins_

    def to_sql(self, dialect: str = "standard") -> str:
        """A query that adds score and probability to a table; dialect as of :meth:`Bins.to_sql`."""
        return self._card().to_sql(dialect)

    def to_python(self) -> str:
        """A Python module without dependencies, with ``score_case(values)``."""
        return self._card().to_python()

    def to_pmml(self) -> str:
        """A PMML 4.4 document."""
        return self._card().to_pmml()

    def save(self, path: str | os.PathLike[str]) -> None:
        """Writes the JSON that ``velmora apply`` and :meth:`load` read."""
        self._card().save(path)

    @classmethod
    def load(cls, path: str | os.PathLike[str]) -> Scorecard:
        """A fitted scorecard from a file of :meth:`save` or ``velmora scorecard --save``.

        ``classes_`` are the good and the bad code; features are those of the scorecard.
        """
        bins = load_bins(path)
        response = next((r for r in bins.json["responses"] if "scorecard" in r), None)
        if response is None:
            raise ValueError(f"{os.fspath(path)} has no scorecard.")
        card = response["scorecard"]
        bad, good = response["codes"]
        loaded = cls(base_points=card["basePoints"], odds=card["odds"], pdo=card["pdo"], bad=bad)
        loaded.classes_ = np.array([good, bad])
        loaded.bins_ = bins
        loaded.intercept_ = card["intercept"]
        loaded.coef_ = {term["predictor"]: term["coefficient"] for term in card["terms"]}
        loaded.notices_ = []
        loaded._report = None
        loaded._is_loaded = True
        loaded._names = list(loaded.coef_)
        loaded.feature_names_in_ = np.array(loaded._names, dtype=object)
        loaded.n_features_in_ = len(loaded._names)
        return loaded


def _class_text(value: Any) -> str:
    if isinstance(value, (bool, np.bool_)):
        return "true" if value else "false"
    return str(value)
