"""Scorecards and monitoring: the command's figures, other forms of the same score, new cases."""

import json
import pickle

import numpy as np
import pandas as pd
import pytest
from sklearn.base import clone
from sklearn.metrics import roc_auc_score
from sklearn.model_selection import cross_val_score

import velmora
from velmora import Scorecard


@pytest.fixture
def parts(credit):
    return credit.drop(columns="risk"), credit["risk"]


def test_scores_are_those_of_the_command(parts, credit, command, tmp_path):
    X, y = parts
    card = Scorecard(bad="bad", pdo=40).fit(X, y)
    data, out = tmp_path / "credit.csv", tmp_path / "scored.csv"
    credit.to_csv(data, index=False)
    card.save(tmp_path / "card.json")
    command("apply", tmp_path / "card.json", data, "--only-scores", "--out", out, "--quiet")
    scored = pd.read_csv(out)
    assert np.array_equal(card.score_points(X), scored["risk_Score"])
    bad = card.predict_proba(X)[:, list(card.classes_).index("bad")]
    assert np.array_equal(bad, scored["risk_Probability"])
    assert abs(bad.mean() - 0.3) < 1e-9
    odds = (1 - bad) / bad
    assert np.allclose(card.score_points(X), 600 + 40 * np.log2(odds / 50), rtol=0, atol=1e-9)

    namespace: dict = {}
    exec(card.to_python(), namespace)
    case = {name: None if pd.isna(value) else value for name, value in X.iloc[3].items()}
    assert namespace["score_case"](case)["risk_Score"] == card.score_points(X)[3]
    assert "<Scorecard" in card.to_pmml() and "risk_Score" in card.to_sql()
    assert set(card.table_["predictor"]) == set(card.coef_)


def test_it_clones_pickles_and_loads(parts, tmp_path):
    X, y = parts
    card = Scorecard(stepwise=True).fit(X, y)
    again = pickle.loads(pickle.dumps(card))
    assert np.array_equal(again.predict_proba(X), card.predict_proba(X))
    assert clone(card).stepwise
    card.save(tmp_path / "card.json")
    loaded = Scorecard.load(tmp_path / "card.json")
    assert list(loaded.classes_) == ["bad", "good"] or list(loaded.classes_) == ["good", "bad"]
    assert np.array_equal(loaded.score_points(X), card.score_points(X))
    assert set(loaded.predict(X)) == {"bad", "good"}
    assert np.mean(loaded.predict(X) == card.predict(X)) == 1


def test_it_predicts_what_it_has_not_seen(parts):
    X, y = parts
    assert cross_val_score(Scorecard(stepwise=True), X, y, scoring="roc_auc").mean() > 0.72
    weights = np.where(y == "bad", 2.0, 1.0)
    weighted = Scorecard().fit(X, y, sample_weight=weights)
    bad = weighted.predict_proba(X)[:, 0]
    assert abs(np.average(bad, weights=weights) - np.average(y == "bad", weights=weights)) < 1e-9
    assert roc_auc_score(y == "bad", bad) > 0.75


def test_separation_and_noise():
    generator = np.random.default_rng(1)
    X = generator.normal(size=(300, 2))
    shrunk = Scorecard().fit(X, X[:, 0] > 0)
    assert any("shrunk" in notice for notice in shrunk.notices_)
    assert shrunk.score(X, X[:, 0] > 0) > 0.95
    with pytest.raises(velmora.VelmoraError, match="separates"):
        Scorecard(separation="error").fit(X, X[:, 0] > 0)
    noise = Scorecard().fit(X, generator.integers(0, 2, 300))
    assert len(set(noise.score_points(X))) == 1
    with pytest.raises(ValueError, match="no scorecard"):
        noise.to_sql()


def test_monitor_compares_new_cases(parts, credit):
    X, y = parts
    card = Scorecard(bad="bad").fit(X, y)
    same = velmora.monitor(card, credit)
    assert same.ranking["psi"].abs().max() < 1e-12
    assert same.ranking["predictor"].iloc[0] == "risk_Score"
    groups = same.groups.set_index(["predictor", "group"])
    auc = roc_auc_score(y == "good", card.score_points(X))
    assert abs(groups.loc[("risk_Score", "new"), "auc"] - auc) < 1e-12

    young = X[X["age"] < 26].assign(checking_account="unheard of")
    changed = velmora.monitor(card, young, fail_on=["psi>0.25", "iv>5"])
    assert changed.met == ["psi>0.25"]
    assert changed.unseen == {"checking_account": {"unheard of": len(young)}}
    assert changed.notices
    with pytest.raises(ValueError, match="no figure psy"):
        velmora.monitor(card, credit, fail_on="psy>1")
    assert json.loads(changed.text("json"))["run"]["groups"] == ["saved", "new"]
