#!/bin/sh
# Runs every libFuzzer target of a build directory for SECONDS each, JOBS targets at a time:
#   scripts/run-fuzzers.sh BUILD SECONDS [JOBS] [TARGET...]
# With FUZZ_RUNS=N in the environment a target also stops after N executions. The per-input timeout is
# wall-clock time, 1 s unless FUZZ_TIMEOUT says otherwise (on a loaded machine a higher one keeps waits
# for the processor from ending a run; an input over 1 s is still written as slow-unit-* for a look).
# Each target starts from its committed seeds (fuzz/seeds/<target>/) and regression inputs
# (fuzz/regressions/<target>/) plus whatever it found in earlier runs (BUILD/fuzz-corpus/<target>/).
# An input that runs longer than 1 s or takes more than 2 GB is a finding like a crash. Findings land
# in BUILD/fuzz-artifacts/<target>/, logs in BUILD/fuzz-logs/. Prints one line per target (runs,
# seconds, corpus size) and exits 1 when any target reported a finding.
set -eu
build=${1:-build-fuzz}
seconds=${2:-60}
jobs=${3:-2}
[ $# -ge 3 ] && shift 3 || shift $#
root=$(cd "$(dirname "$0")/.." && pwd)

if [ $# -gt 0 ]; then
  targets=""
  for t in "$@"; do targets="$targets $build/fuzz/$t"; done
else
  targets=$(find "$build/fuzz" -maxdepth 1 -type f -perm -u+x -name '*Fuzz' 2>/dev/null | sort)
fi
[ -n "$targets" ] || { echo "no fuzz targets in $build/fuzz" >&2; exit 1; }
mkdir -p "$build/fuzz-logs"

run_one() {
  exe=$1
  name=$(basename "$exe")
  corpus="$build/fuzz-corpus/$name"
  artifacts="$build/fuzz-artifacts/$name"
  log="$build/fuzz-logs/$name.log"
  mkdir -p "$corpus" "$artifacts"
  started=$(date +%s)
  if "$exe" -max_total_time="$seconds" ${FUZZ_RUNS:+-runs=$FUZZ_RUNS} -max_len=16384 -timeout="${FUZZ_TIMEOUT:-1}" -report_slow_units=1 -rss_limit_mb=2048 -print_final_stats=1 \
      -artifact_prefix="$artifacts/" "$corpus" "$root/fuzz/seeds/$name" \
      $( [ -d "$root/fuzz/regressions/$name" ] && echo "$root/fuzz/regressions/$name" ) >"$log" 2>&1; then
    status=PASS
  else
    status=FAIL
  fi
  runs=$(sed -n 's/^stat::number_of_executed_units: *\([0-9]*\).*/\1/p' "$log" | tail -n 1)
  artifact=$(sed -n 's/.*Test unit written to \(.*\)$/ artifact \1/p' "$log" | tail -n 1)
  slowest=$(sed -n 's/^stat::slowest_unit_time_sec: *\([0-9]*\).*/\1/p' "$log" | tail -n 1)
  echo "$status $name: ${runs:-?} runs in $(( $(date +%s) - started )) s, corpus $(ls "$corpus" | wc -l) files, slowest input ${slowest:-?} s$artifact" \
    >"$log.summary"
}

# JOBS lanes, each running its share of the targets one after another, so a slow target holds up only
# its own lane.
lane=0
while [ "$lane" -lt "$jobs" ]; do
  (
    i=0
    for exe in $targets; do
      [ $((i % jobs)) -eq "$lane" ] && run_one "$exe"
      i=$((i + 1))
    done
  ) &
  lane=$((lane + 1))
done
wait

failed=0
for exe in $targets; do
  name=$(basename "$exe")
  cat "$build/fuzz-logs/$name.log.summary"
  if grep -q '^FAIL' "$build/fuzz-logs/$name.log.summary"; then
    failed=1
    tail -n 30 "$build/fuzz-logs/$name.log"
  fi
done
exit "$failed"
