#!/usr/bin/env bash
# Like wine.sh, for a program that starts servers: after it has ended, everything that it left
# running in the prefix is ended too. The output goes through a file, because a server may keep the
# pipe open. Nothing else may run in the prefix.
# usage: tools/wine_alone.sh PREFIX PROGRAM ARGUMENT...
set -uo pipefail
output=$(mktemp)
trap 'rm -f "$output"' EXIT
timeout 600 "$(dirname "$0")/wine.sh" "$@" >"$output" 2>&1 </dev/null
code=$?
cat "$output"
# The prefix's own server ends its programs; without one, none is running.
WINEPREFIX=$1 WINEDEBUG=-all timeout 60 wineserver -k >/dev/null 2>&1 || true
exit $code
