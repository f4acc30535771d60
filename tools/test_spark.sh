#!/usr/bin/env bash
# The tests of velmora.spark on PySpark 3.5 and on PySpark 4: the short ones, which `make test` runs on 3.5, those with
# executors of their own (killed ones, damaged states, ten million levels), and on 4 those over Spark Connect.
# usage: tools/test_spark.sh
set -euo pipefail
cd "$(dirname "$0")/.."
export VELMORA_LIBRARY=$PWD/build/dev/libvelmora.so PYTHONPATH=$PWD/python PYTHONDONTWRITEBYTECODE=1

four=build/venv-pyspark4
packages=$(grep -v -E '^(pyspark|py4j)==' python/requirements.txt; cat python/requirements-pyspark4.txt)
if ! cmp -s <(echo "$packages") "$four/.velmora-stamp"; then
  echo "test_spark: installing PySpark 4"
  rm -rf "$four"
  python3 -m venv "$four"
  echo "$packages" >"$four/requirements.txt"
  "$four/bin/pip" install --quiet --disable-pip-version-check --requirement "$four/requirements.txt"
  echo "$packages" >"$four/.velmora-stamp"
fi

# A process has one kind of session: local, of executors, or over Connect.
run() {
  "$1/bin/python" -m pytest -q -p no:cacheprovider -W ignore "$2"
}
for python in build/venv "$four"; do
  run "$python" python/tests/test_spark.py
  run "$python" python/spark_tests/test_cluster.py
done
run "$four" python/spark_tests/test_connect.py
