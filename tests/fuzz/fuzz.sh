#!/usr/bin/env bash
# fuzz.sh TARGET SEEDS WORK: a libFuzzer target for KORRO_FUZZ_SECONDS (5) on
# the seeds; inputs it finds go to WORK, a failing input next to it. Prints the
# run's figures; the whole log when it fails.
set -uo pipefail
target=$1 seeds=$2 work=$3
mkdir -p "$work"
log=$work.log
export ASAN_OPTIONS=${ASAN_OPTIONS:-detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}
"$target" -max_total_time="${KORRO_FUZZ_SECONDS:-5}" -timeout=10 -rss_limit_mb=2048 -print_final_stats=1 \
  -artifact_prefix="$work-" "$work" "$seeds" >"$log" 2>&1
status=$?
if [ $status -ne 0 ]; then
  cat "$log"
  exit $status
fi
grep -E '^#[0-9]+[[:space:]]+(INITED|DONE)' "$log"
grep -E '^(Done|stat::number_of_executed_units|stat::new_units_added)' "$log"
echo "corpus: $(find "$work" -type f | wc -l) inputs found, $(find "$seeds" -type f | wc -l) seeds"
