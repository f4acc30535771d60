#!/usr/bin/env bash
# Ranks what tells good credits from bad ones, cuts it into bins and writes both reports. Built by `make demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
out=out/demo
build/velmora feature-selection samples/german_credit.csv --dependents risk --out "$out"
build/velmora screen samples/german_credit.csv --binary-response risk --good good --bad bad --out "$out" --quiet \
  --format html,xlsx
echo
echo "The ranking, to open in a browser:        $PWD/$out/feature_selection.html"
echo "Bins, rates and weights of each variable: $PWD/$out/screening.html"
echo "For a spreadsheet: $out/*.xlsx    for a program: $out/feature_selection.json"
