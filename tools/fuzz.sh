#!/usr/bin/env bash
# Runs each fuzz target for a while, or for a number of inputs, from its seeds; the corpus grows in
# build/fuzz/corpus. Two at a time, or as many as FUZZ_JOBS says. FUZZ_SEED=N begins again and gives
# the same inputs every time, as many of them as there is time for. Fails when a target fails, and
# leaves the input beside the corpus. The time limit allows for a loaded machine: an input that
# takes ten minutes hangs. Leaks are looked for in runs by time, not in the long ones by number.
# Needs the preset fuzz: cmake --preset fuzz && cmake --build --preset fuzz
# FUZZ_PRESET=fuzz-fast takes the targets without sanitizers, for long runs; 0x then runs what they
# have found under the sanitizers.
# usage: tools/fuzz.sh SECONDS [TARGET ...]
#        FUZZ_PRESET=fuzz-fast tools/fuzz.sh 10000000x [TARGET ...]
#        tools/fuzz.sh 0x [TARGET ...]
set -euo pipefail
cd "$(dirname "$0")/.."
length=${1:?usage: tools/fuzz.sh SECONDS [TARGET ...]}
limit=-max_total_time=$length
leaks=1
[[ $length == *x ]] && limit=-runs=${length%x} && leaks=0
# Without these, weighing the corpus and keeping the stack of every allocation take most of the
# time; an input that fails shows its stacks when it is run alone.
speed="-entropic=0 -print_funcs=0 -detect_leaks=$leaks"
export ASAN_OPTIONS="quarantine_size_mb=4:malloc_context_size=0:detect_leaks=$leaks"
shift
build=build/${FUZZ_PRESET:-fuzz}/fuzz
targets=("$@")
[ ${#targets[@]} -gt 0 ] || for program in "$build"/fuzz_*; do targets+=("${program##*/fuzz_}"); done

run_one() {
  corpus=build/fuzz/corpus/$1
  repeat=
  if [ -n "${FUZZ_SEED:-}" ]; then
    corpus=build/fuzz/repeated/$1
    repeat="-seed=$FUZZ_SEED -use_cmp=0"  # the rest depends on addresses
    rm -rf "$corpus"
  fi
  mkdir -p "$corpus"
  seeds=tests/fuzz/seeds/$1
  [ -d "$seeds" ] || seeds=
  dictionary=
  [ -f "tests/fuzz/$1.dict" ] && dictionary=-dict=tests/fuzz/$1.dict
  # shellcheck disable=SC2086
  if ! "$build/fuzz_$1" "$2" $speed $repeat -max_len=2000 -timeout=600 -rss_limit_mb=4000 -print_final_stats=1 $dictionary \
    -artifact_prefix="$corpus-" "$corpus" $seeds >"$corpus.log" 2>&1; then
    echo "fuzz: $1 fell: see $corpus.log"
    tail -n 20 "$corpus.log"
    return 1
  fi
  echo "fuzz: $1 $(grep -o 'number_of_executed_units: [0-9]*' "$corpus.log" | grep -o '[0-9]*') inputs"
}
export -f run_one
export build speed
printf '%s\n' "${targets[@]}" | xargs -P "${FUZZ_JOBS:-2}" -I{} bash -c 'set -euo pipefail; run_one "$1" "$2"' _ {} "$limit"
