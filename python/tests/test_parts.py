"""Data in parts give the figures of the data as a whole."""

import itertools

import numpy as np
import pandas as pd
import pyarrow as pa
import pytest

import velmora
from velmora._library import Session
from velmora._parts import Run
from velmora._results import FeatureSelectionResult, ScreenResult


def cut(frame: pd.DataFrame, count: int, seed: int) -> list[pa.Table]:
    """Shuffled parts of all sizes, some of them empty."""
    rng = np.random.default_rng(seed)
    table = pa.Table.from_pandas(frame.sample(frac=1, random_state=seed), preserve_index=False)
    ends = [0, *np.sort(rng.integers(0, len(frame) + 1, count - 1)), len(frame)]
    parts = [table.slice(low, high - low) for low, high in itertools.pairwise(ends)]
    return [parts[i] for i in rng.permutation(count)]


def in_parts(analysis: str, options: dict, parts: list[pa.Table], **settings):
    """Merged as a tree, every state as bytes."""
    run, session = Run(analysis, options, settings), Session()

    def merged():
        states = [state for part in parts if (state := run.state_of(part.to_batches(max_chunksize=100)))]
        while len(states) > 3:
            groups = [states[i : i + 3] for i in range(0, len(states), 3)]
            states = [run.merged(Session(), group).to_bytes() for group in groups]
        return run.merged(session, states)

    first = merged()
    run.second = first.second_pass()
    handle = first.finish(merged())
    kind = ScreenResult if analysis == "screen" else FeatureSelectionResult
    return kind(handle, "pandas", session.notices())


def check_frames(ours: pd.DataFrame, reference: pd.DataFrame, leave_out=(), rtol=1e-12):
    """Equal, numbers within a relative tolerance; ends of intervals come from a search to 1e-10."""
    assert list(ours.columns) == list(reference.columns)
    for name in reference.columns:
        if name in leave_out:
            continue
        a, b = ours[name], reference[name]
        if b.dtype.kind == "f":
            loose = 1e-9 if name in ("effect_lower", "effect_upper") else rtol
            np.testing.assert_allclose(a, b, rtol=loose, atol=1e-12, err_msg=name)
        else:
            assert a.fillna("none").tolist() == b.fillna("none").tolist(), name


def with_weights(frame: pd.DataFrame) -> pd.DataFrame:
    rng = np.random.default_rng(1)
    weighted = frame.assign(w=rng.gamma(2, 1, len(frame)), n=rng.integers(0, 4, len(frame)))
    weighted.loc[::9, weighted.columns[3]] = None
    return weighted


RANKINGS = [
    ("credit", {"dependents": "risk"}, 0),
    ("credit", {"dependents": ["risk", "amount"], "weight": "w", "count": "n"}, 1e-10),
    ("credit", {"dependents": "amount", "select": "age > 30", "intervals": "tree"}, 1e-11),
    ("credit", {"dependents": "risk", "intervals": "equal-width", "chi-square": True, "exact": True}, 0),
    ("schools", {"dependents": None, "cut-dependents": True}, 0),
    ("schools", {"dependents": None, "casewise": True}, 1e-11),
]


@pytest.mark.parametrize(("data", "options", "rtol"), RANKINGS)
def test_rankings_of_parts(request, data, options, rtol):
    frame = with_weights(request.getfixturevalue(data))
    outcome = options["dependents"] or frame.select_dtypes("number").columns[0]
    options = {**options, "dependents": outcome}
    if options.get("casewise"):
        options["predictors"] = [name for name in frame.columns[:8] if name != outcome]
    whole = velmora.rank(
        frame, outcome, **{k.replace("-", "_"): v for k, v in options.items() if k != "dependents"}
    )
    for count in (1, 7, 200):
        ours = in_parts("feature-selection", options, cut(frame, count, count))
        check_frames(ours.ranking, whole.ranking, rtol=rtol)
        assert ours.best == whole.best
        for member in ("cases", "validCases", "excludedCases", "totalWeight", "leftOut"):
            assert ours.json["run"].get(member) == pytest.approx(whole.json["run"].get(member))


# Held-out figures depend on the folds, which are dealt by another rule; the others need all cases.
FOLDS = ["out_of_fold_information_value", "out_of_fold_gini", "out_of_fold_explained"]
# The first where every pre-bin is one value; the last compare predictors or look at cases.
ALL_CASES = [
    "gini_before",
    "r_squared_ranks",
    "out_of_fold_lower",
    "out_of_fold_upper",
    "cluster",
    "says_the_same_as",
    "association",
    "warnings",
]
# Parts have no tests by the design of the sample.
DESIGN = ["design_effect", "test_statistic", "test_df1", "test_df2", "test_p", "minus_log10_test_p"]
SCREENINGS = [
    {"binary-response": "risk", "good": "good", "bad": "bad"},
    {"binary-response": "risk", "good": "good", "bad": "bad", "weight": "w", "shape": "monotone"},
    {"continuous-response": "amount"},
    {"categorical-response": "housing", "select": "age > 25"},
]


@pytest.mark.parametrize("options", SCREENINGS)
def test_screenings_of_parts(credit, options):
    frame = with_weights(credit)
    kind = next(name for name in options if name.endswith("response"))
    rest = {k: v for k, v in options.items() if k != kind}
    whole = velmora.screen(frame, options[kind], kind=kind.partition("-")[0], **rest)
    first = None
    for count in (1, 7, 200):
        ours = in_parts("screen", options, cut(frame, count, count))
        by_name = [result.ranking.sort_values("predictor").reset_index(drop=True) for result in (ours, whole)]
        check_frames(*by_name, leave_out=["rank", *FOLDS, *ALL_CASES, *DESIGN], rtol=1e-11)
        if kind == "binary-response":
            known = by_name[0]["gini_before"].notna()
            assert known.sum() > 10
            np.testing.assert_allclose(
                by_name[0].gini_before[known], by_name[1].gini_before[known], rtol=1e-11
            )
        for name in set(FOLDS) & set(by_name[0].columns):
            np.testing.assert_allclose(by_name[0][name], by_name[1][name], atol=0.1, err_msg=name)
        bins = [
            result.bin_table.sort_values(["predictor", "bin"]).reset_index(drop=True)
            for result in (ours, whole)
        ]
        check_frames(*bins, leave_out=["counts"], rtol=1e-11)
        # The parts themselves do not matter at all.
        first = first or ours
        check_frames(ours.ranking, first.ranking, rtol=1e-11)
    coded = [result.bins().apply(frame) for result in (ours, whole)]
    check_frames(coded[0][coded[1].columns], coded[1], rtol=1e-11)


def test_cells_of_many_values():
    rng = np.random.default_rng(4)
    frame = pd.DataFrame({"x": rng.normal(size=20000).cumsum(), "z": rng.normal(size=20000)})
    frame["y"] = np.where(frame.x + frame.x.std() * rng.normal(size=20000) > 0, "a", "b")
    whole = velmora.rank(frame, "y")
    results = [
        in_parts("feature-selection", {"dependents": "y"}, cut(frame, count, count), cells=2000)
        for count in (1, 7, 40)
    ]
    assert results[0].json["run"]["notices"]
    assert "off by up to" in results[0].json["run"]["notices"][0]
    for ours in results:
        check_frames(ours.ranking, results[0].ranking)
        assert ours.ranking.effect[0] == pytest.approx(whole.ranking.effect[0], rel=0.01)


def test_faults(credit):
    options = {"dependents": "risk"}
    parts = cut(credit, 2, 1)
    run, session = Run("feature-selection", options, {}), Session()
    state = run.state_of(parts[0].to_batches())
    damaged = bytearray(state)
    damaged[len(damaged) // 2] ^= 1
    with pytest.raises(velmora.VelmoraError, match="damaged"):
        run.merged(session, [bytes(damaged)])
    other = Run("feature-selection", {"dependents": "age"}, {}).state_of(parts[1].to_batches())
    with pytest.raises(velmora.VelmoraError, match="different runs"):
        run.merged(session, [state, other])
    more = run.merged(session, [state, run.state_of(parts[1].to_batches())])
    run.second = run.merged(session, [state]).second_pass()
    sums = run.merged(session, [run.state_of(parts[0].to_batches())])
    with pytest.raises(velmora.VelmoraError, match="not made from this state of the first pass"):
        more.finish(sums)
    run.second = None
    place = parts[1].column_names.index("amount")
    texts = parts[1].set_column(place, "amount", pa.array(["much"] * len(parts[1])))
    with pytest.raises(velmora.VelmoraError, match='"amount" holds numbers in one part'):
        run.merged(session, [state, run.state_of(texts.to_batches())])
    flag = {"binary-response": "risk", "good": "good", "bad": "bad"}
    for analysis, wrong, sentence in (
        ("feature-selection", {"dependents": "risk", "classic": True}, "needs all cases in one place"),
        (
            "feature-selection",
            {"dependents": "risk", "strata": "age"},
            "--strata and --clusters need all cases",
        ),
        ("feature-selection", {}, "--dependents is missing"),
        ("screen", {**flag, "strata": "age"}, "--strata needs all cases in one place"),
        ("screen", {**flag, "clusters": "age"}, "--clusters needs all cases in one place"),
        ("screen", {**flag, "special": "user-missing"}, "--special needs all cases in one place"),
    ):
        with pytest.raises(ValueError, match=sentence):
            Run(analysis, wrong, {}).empty(session)
