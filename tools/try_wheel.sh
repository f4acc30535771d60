#!/usr/bin/env bash
# Installs the wheel into a fresh virtual environment and uses it there: first with NumPy alone,
# then with the libraries that it works with. By hand; takes a minute.
# usage: tools/try_wheel.sh dist/velmora-VERSION-py3-none-manylinux*.whl [PYTHON]
set -euo pipefail
wheel=$(realpath "$1")
data=$(realpath "$(dirname "$0")/../samples/german_credit.csv")
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
"${2:-python3}" -m venv bare
bare/bin/pip install --quiet --disable-pip-version-check "$wheel"
bare/bin/velmora --version
bare/bin/velmora screen "$data" --binary-response risk --good good --bad bad --best 1 --quiet --coded coded.parquet | tail -n 2
bare/bin/velmora variables coded.parquet | head -n 2
echo 'import sys, velmora; print(sys.prefix, velmora.Application.Open(sys.argv[1]).CaseCount)' >script.py
bare/bin/velmora run script.py "$data"
bare/bin/python - "$data" <<'END'
import sys
import numpy as np
import velmora

rng = np.random.default_rng(0)
X = rng.normal(size=(5000, 4))
assert velmora.rank(X, X[:, 2] + rng.normal(size=5000)).best[0] == "x2"
assert "duckdb" not in open("/proc/self/maps").read(), "DuckDB is loaded for an array"
print(velmora.rank(sys.argv[1], "risk", best=3).best)
END
bare/bin/pip install --quiet --disable-pip-version-check pandas pyarrow polars scikit-learn matplotlib tqdm
bare/bin/python - "$data" <<'END'
import sys
import pandas as pd
import polars as pl
from sklearn.utils.estimator_checks import check_estimator
import velmora

credit = pd.read_csv(sys.argv[1])
figures = velmora.rank(sys.argv[1], "risk").ranking
pd.testing.assert_frame_equal(velmora.rank(credit, "risk").ranking, figures, check_exact=True)
polars = velmora.rank(pl.from_pandas(credit), "risk").ranking.to_pandas()
pd.testing.assert_frame_equal(polars, figures, check_exact=True, check_dtype=False)
weights = "check_sample_weight_equivalence_on_dense_data"  # weights are no numbers of cases
for estimator in (velmora.Binning(), velmora.FeatureSelection()):
    results = check_estimator(estimator, on_fail=None, expected_failed_checks={weights: "see docs/python.md"})
    failed = [r["check_name"] for r in results if r["status"] == "failed"]
    assert not failed, failed
    print(type(estimator).__name__, len(results), "checks")
END
echo "The wheel installs and works."
