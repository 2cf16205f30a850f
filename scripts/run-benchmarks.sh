#!/bin/sh
# Runs every benchmark program of a build directory; JSON results land beside the console output in
# BUILD/bench-results/ so that ratios can be computed from one run.
set -eu
build=${1:-build-bench}
out="$build/bench-results"
mkdir -p "$out"
found=0
for exe in "$build"/bench/bench_*; do
  [ -x "$exe" ] || continue
  found=1
  name=$(basename "$exe")
  echo "== $name"
  "$exe" --benchmark_out="$out/$name.json" --benchmark_out_format=json ${BENCH_ARGS:-}
done
[ "$found" -eq 1 ] || { echo "no benchmark programs in $build/bench" >&2; exit 1; }
# The round trip scripted through the Python module against the same pipeline in C++, when the module
# was built (pybind11 and NumPy present).
module=$(ls "$build"/python/qssse*.so 2>/dev/null | head -n 1)
if [ -n "$module" ] && [ -x "$build/bench/bench_RoundTrip" ] && [ -x /usr/bin/python3 ]; then
  echo "== python round trip (python/bench/round_trip.py)"
  PYTHONPATH="$build/python" /usr/bin/python3 "$(dirname "$0")/../python/bench/round_trip.py" \
    --cpp "$build/bench/bench_RoundTrip" --json "$out/python_round_trip.json"
fi
