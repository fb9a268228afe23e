#!/usr/bin/env bash
# Fuzzes each target in turn for the given seconds (default 60) with clang's
# libFuzzer, AddressSanitizer and UBSan, and prints executions and crashes
# per target. The seeds in tests/fuzz/corpus/<target> start each run; what
# the fuzzer adds stays in <build>/fuzz/corpus/<target>, crash inputs in
# <build>/fuzz/crashes/<target> (copy each into the seed corpus with its
# fix: the tests replay every seed). Options: FUZZ_TARGETS="reader string"
# picks targets; FUZZ_NICE (default 10) the niceness.
source "$(dirname "$0")/common.sh"
SECONDS_EACH=${1:-60}
FUZZ=$BUILD/fuzz
TARGETS=${FUZZ_TARGETS:-reader streamcache breakpoints regexp string}
CLANG=${CLANG:-clang-14}
CLANGXX=${CLANGXX:-clang++-14}

bash scripts/setup.sh >&2
CC=$CLANG CXX=$CLANGXX configure "$FUZZ" -DSORB_FUZZ=ON
cmake --build "$FUZZ" -j "$JOBS" --target $(printf 'fuzz_%s ' $TARGETS) >/dev/null

printf '%-12s %8s %14s %8s\n' target seconds executions crashes
status=0
for t in $TARGETS; do
  corpus=$FUZZ/corpus/$t crashes=$FUZZ/crashes/$t
  mkdir -p "$corpus" "$crashes"
  log=$FUZZ/$t.log
  nice -n "${FUZZ_NICE:-10}" "$FUZZ/tests/fuzz/fuzz_$t" "$corpus" "tests/fuzz/corpus/$t" \
    -max_total_time="$SECONDS_EACH" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
    -artifact_prefix="$crashes/" >"$log" 2>&1 || true
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
  found=$(find "$crashes" -type f | wc -l)
  [ "$found" -eq 0 ] || status=1
  printf '%-12s %8s %14s %8s\n' "$t" "$SECONDS_EACH" "${runs:-?}" "$found"
done
exit $status
