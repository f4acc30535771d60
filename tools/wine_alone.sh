#!/usr/bin/env bash
# Like wine.sh, for a program that starts servers: when it has ended, whatever it left running is ended too. What they
# print goes by way of a file, so that nobody waits for a server's end of a pipe. Nothing else may run in the prefix.
# usage: tools/wine_alone.sh PREFIX PROGRAM ARGUMENT...
set -uo pipefail
output=$(mktemp)
trap 'rm -f "$output"' EXIT
timeout 600 "$(dirname "$0")/wine.sh" "$@" >"$output" 2>&1 </dev/null
code=$?
cat "$output"
WINEPREFIX=$1 WINEDEBUG=-all wineserver -k >/dev/null 2>&1 || pkill -f "$1/drive_c" || true
exit $code
