#!/usr/bin/env bash
# Ranks what tells good credits from bad ones and writes a report. Built by `make demo`.
set -euo pipefail
cd "$(dirname "$0")/.."
out=out/demo
build/velmora feature-selection samples/german_credit.csv --dependents risk --out "$out"
echo
echo "The report: $PWD/$out/feature_selection.html   (open it in a browser)"
echo "For a spreadsheet: $out/feature_selection.xlsx    for a program: $out/feature_selection.json"
