#!/usr/bin/env bash
# Runs a Windows program under Wine, with its own Windows in a folder of the build tree.
# usage: tools/wine.sh PREFIX PROGRAM ARGUMENT...
# Standard streams and the exit code are those of the program. The first call creates the
# prefix, which takes a while.
set -euo pipefail
prefix=$1
shift
export WINEPREFIX=$prefix WINEDEBUG=${WINEDEBUG:--all}
# File names in UTF-8 whatever the caller's locale: Wine takes them from it.
export LC_ALL=C.UTF-8
# No offers to install other runtimes, no menu entries on the desktop.
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
if [ ! -e "$prefix/.ready" ]; then
  mkdir -p "$prefix"
  (
    flock 9
    if [ ! -e "$prefix/.ready" ]; then
      wine wineboot --init >"$prefix.log" 2>&1 </dev/null || { cat "$prefix.log" >&2; exit 1; }
      touch "$prefix/.ready"
    fi
  ) 9>"$prefix.lock"
fi
exec wine "$@"
