#!/usr/bin/env bash
# Ranks the variables that separate good loans from bad ones, bins them and writes both
# reports. Run by `make demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
out=out/demo
build/velmora feature-selection samples/german_credit.csv --dependents risk --out "$out"
build/velmora screen samples/german_credit.csv --binary-response risk --good good --bad bad --out "$out" --quiet \
  --format html,xlsx
echo
echo "The ranking, a page for the browser:   $PWD/$out/feature_selection.html"
echo "The bins and scores of each variable:  $PWD/$out/screening.html"
echo "For a spreadsheet: $out/*.xlsx    For a program: $out/feature_selection.json"
