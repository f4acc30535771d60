"""The estimators: scikit-learn's own checks, frames, unseen levels, pipelines."""

import pickle

import numpy as np
import pandas as pd
import pytest
from sklearn.base import clone
from sklearn.compose import ColumnTransformer
from sklearn.exceptions import NotFittedError
from sklearn.linear_model import LogisticRegression
from sklearn.model_selection import GridSearchCV, cross_val_score
from sklearn.pipeline import make_pipeline
from sklearn.utils.estimator_checks import parametrize_with_checks

import velmora
from velmora import Binning, FeatureSelection, Scorecard

WEIGHTS = (
    "Weights are sampling weights: what is no better than chance is decided by the number of cases, which a "
    "repeated case raises and a weight does not."
)


def expected_failures(_estimator):
    return {"check_sample_weight_equivalence_on_dense_data": WEIGHTS}


@parametrize_with_checks(
    [
        FeatureSelection(n_features=2),
        FeatureSelection(p_value=0.05),
        Binning(),
        Binning(output="code"),
        Scorecard(),
    ],
    expected_failed_checks=expected_failures,
)
def test_scikit_learn_conventions(estimator, check):
    check(estimator)


@pytest.fixture
def split(credit):
    X = credit.drop(columns="risk")
    return X.iloc[:700], X.iloc[700:], credit["risk"][:700], credit["risk"][700:]


def test_feature_selection_is_the_commands(credit):
    X, y = credit.drop(columns="risk"), credit["risk"]
    selection = FeatureSelection(n_features=5).fit(X, y)
    result = velmora.rank(credit, "risk", best=5, rank_by="p")
    assert set(selection.get_feature_names_out()) == set(result.best)
    ranking = result.ranking.set_index("predictor")
    assert list(selection.scores_) == list(ranking.loc[list(X.columns), "effect"])
    assert list(selection.pvalues_) == list(ranking.loc[list(X.columns), "p_value"])
    assert list(selection.adjusted_pvalues_) == list(ranking.loc[list(X.columns), "adjusted_p"])
    kept = selection.transform(X)
    pd.testing.assert_frame_equal(kept, X[list(kept.columns)])  # names and types stay
    weighted = FeatureSelection(n_features=5).fit(X, y, sample_weight=credit["amount"])
    by_name = velmora.rank(credit.assign(w=credit["amount"]), "risk", weight="w").ranking.set_index(
        "predictor"
    )
    assert list(weighted.scores_) == list(by_name.loc[list(X.columns), "effect"])


def test_binning_is_the_commands(split):
    X, new, y, _ = split
    binning = Binning(bad="bad").set_output(transform="pandas").fit(X, y)
    screened = velmora.screen(X.assign(risk=y), "risk", good="good", bad="bad")
    for row in screened.to_pandas().to_dict("records"):
        place = list(X.columns).index(row["predictor"])
        assert binning.iv_[place] == row["information_value"]
    coded = screened.bins().apply(new)
    woe = binning.transform(new)
    assert list(woe.columns) == list(X.columns) == list(binning.get_feature_names_out())
    for name in X.columns:
        figures = coded.get(f"risk_{name}_WOE")
        if figures is None:  # it has no bins
            assert set(woe[name]) == {0.0}, name
            continue
        known = figures.notna()
        assert list(woe[name][list(known)]) == list(figures[known]), name
    labels = clone(binning).set_params(output="label").fit(X, y).transform(new)
    assert list(labels["amount"]) == list(coded["risk_amount_Coded"])
    table = binning.table("amount")
    assert table["total"].sum() == 700
    with pytest.raises(ValueError, match="'nothing' is not a feature"):
        binning.table("nothing")
    copy = pickle.loads(pickle.dumps(binning))
    pd.testing.assert_frame_equal(copy.transform(new), woe)


def test_bins_are_corrected_by_hand(split):
    X, new, y, _ = split
    binning = Binning(output="code").fit(X, y)
    before, bins = binning.transform(new), binning.bins_
    place = list(X.columns).index("amount")
    merged = binning.merge("amount", [0, 1]).transform(new)
    assert list(merged[:, place]) == [max(code - 1, 0) for code in before[:, place]]
    assert binning.bins_ != bins
    assert binning.bins_.undo() == bins
    with pytest.raises(velmora.VelmoraError, match="nobody"):
        binning.merge("nobody", [0, 1])
    woe = Binning().fit(X, y).merge("amount", [0, 1])
    assert len(set(woe.transform(X)[:, place])) == len(set(merged[:, place]))


def test_levels_that_fit_has_not_seen(split):
    X, new, y, _ = split
    new = new.assign(purpose="moon")
    neutral = Binning().fit(X, y).transform(new)
    column = list(X.columns).index("purpose")
    assert set(neutral[:, column]) == {0.0}
    assert np.isnan(Binning(unbinned="nan").fit(X, y).transform(new)[:, column]).all()
    assert set(Binning(output="code").fit(X, y).transform(new)[:, column]) == {-1}


def test_kinds_of_outcomes():
    rng = np.random.default_rng(0)
    X = rng.normal(size=(600, 2))
    mean = Binning().fit(X, X[:, 0] ** 2)
    assert mean.kind_ == "continuous"
    counts = np.arange(600.0) // 20  # whole numbers of many values are measured
    assert Binning().fit(X, counts).kind_ == "continuous"
    assert Binning(task="classification").fit(X, counts).kind_ == "categorical"
    assert abs(mean.transform(X)[:, 0].mean() - (X[:, 0] ** 2).mean()) < 1e-9
    classes = np.where(X[:, 0] < -0.5, "low", np.where(X[:, 0] > 0.5, "high", "mid"))
    shares = Binning().fit(X, classes)
    coded = shares.transform(X)
    assert list(shares.get_feature_names_out()) == [
        f"x{i}_{c}" for i in range(2) for c in ("high", "low", "mid")
    ]
    np.testing.assert_allclose(coded[:, :3].sum(axis=1), 1)
    with pytest.raises(ValueError, match="does not fit this y"):
        Binning(output="woe").fit(X, classes)
    pure = Binning(bad=True).fit(X, X[:, 0] > 0)  # bins of one class alone
    assert np.isfinite(pure.transform(X)).all()
    assert np.corrcoef(pure.transform(X)[:, 0], X[:, 0] > 0)[0, 1] < -0.9


def test_pipelines_and_searches(split):
    X, new, y, new_y = split
    model = make_pipeline(Binning(), FeatureSelection(n_features=8), LogisticRegression(max_iter=1000))
    search = GridSearchCV(model, {"featureselection__n_features": [2, 8]}, cv=3).fit(X, y)
    assert search.score(new, new_y) > 0.7
    columns = ColumnTransformer([("woe", Binning(), ["purpose", "age"])], remainder="drop")
    assert cross_val_score(make_pipeline(columns, LogisticRegression()), X, y, cv=3).mean() > 0.6
    with pytest.raises(NotFittedError):
        Binning().transform(X)
