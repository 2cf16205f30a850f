#!/bin/sh
# Runs every libFuzzer target of a build directory for SECONDS each:
#   scripts/run-fuzzers.sh BUILD SECONDS
# Each target starts from a small corpus of valid files written here (and keeps whatever it found in
# earlier runs) in BUILD/fuzz-corpus/<target>/; crashing inputs land in BUILD/fuzz-artifacts/<target>/,
# logs in BUILD/fuzz-logs/. Exits 1 when any target reported a finding.
set -eu
build=${1:-build-fuzz}
seconds=${2:-60}

# The four little-endian bytes of a 32-bit value (decimal, negative or 0x... hexadecimal).
le32() {
  v=$(($1))
  [ "$v" -lt 0 ] && v=$((v + 4294967296))
  printf "\\$(printf %03o $((v & 255)))\\$(printf %03o $((v >> 8 & 255)))"
  printf "\\$(printf %03o $((v >> 16 & 255)))\\$(printf %03o $((v >> 24 & 255)))"
}

# count float bit patterns cycling through 0, 1, -2.5, 1e6, NaN, +inf, the smallest subnormal.
floats() {
  i=0
  while [ "$i" -lt "$1" ]; do
    case $((i % 7)) in
      0) le32 0 ;; 1) le32 0x3f800000 ;; 2) le32 0xc0200000 ;; 3) le32 0x49742400 ;;
      4) le32 0x7fc00000 ;; 5) le32 0x7f800000 ;; 6) le32 1 ;;
    esac
    i=$((i + 1))
  done
}

# The element data of a sizeX x sizeY matrix: sizeX * ((sizeY >> 2) + 1) SIMD elements of four floats.
matrix_body() { le32 "$1"; le32 "$2"; floats $(($1 * (($2 >> 2) + 1) * 4)); }

# Valid files of a few shapes: empty, one pixel, narrower than a SIMD element, wide and tall enough for
# the vectorised scans; the stream form adds its version record (tag "QSVR", version).
seed() {
  dir=$1
  kind=$2
  for shape in "0 0" "1 1" "3 5" "8 12" "1 0"; do
    set -- $shape
    file="$dir/seed-$1x$2"
    if [ "$kind" = stream ]; then { le32 0x52565351; le32 1; matrix_body "$1" "$2"; } >"$file"
    else matrix_body "$1" "$2" >"$file"; fi
  done
  if [ "$kind" = stream ]; then { le32 0x52565351; le32 2; matrix_body 1 1; } >"$dir/seed-version2"; fi
}

# Small valid text files for the readers of text formats (the matrix seeds stay too: they are the binary
# shapes every reader must refuse cleanly).
seed_text() {
  dir=$1
  printf 'OFF\n# a square\n4 1 0\n0 0 0\n1 0 0\n1 1 0.5\n0 1 0\n4 0 1 2 3\n' >"$dir/seed-square.off"
  printf 'solid x\nfacet normal 0 0 1\nouter loop\nvertex 0 0 0\nvertex 1 0 0\nvertex 0 1 0\nendloop\nendfacet\nendsolid x\n' \
    >"$dir/seed-facet.stl"
  printf 'v 0 0 0\nv 1 0 0\nv 1 1 1\nv 0 1 0\nf 1 2 3 -1\n' >"$dir/seed-quad.obj"
  printf 'ply\nformat ascii 1.0\nelement vertex 3\nproperty float x\nproperty float y\nproperty float z\nelement face 1\nproperty list uchar int vertex_indices\nend_header\n0 0 0\n1 0 0\n0 1 0\n3 0 1 2\n' \
    >"$dir/seed-triangle.ply"
  printf '0 0 1\n4 0 1\n4 3 1\n' >"$dir/seed-ring.txt"
}

targets=$(find "$build/fuzz" -maxdepth 1 -type f -perm -u+x 2>/dev/null | sort)
[ -n "$targets" ] || { echo "no fuzz targets in $build/fuzz" >&2; exit 1; }

mkdir -p "$build/fuzz-logs"
failed=0
summary=""
for exe in $targets; do
  name=$(basename "$exe")
  corpus="$build/fuzz-corpus/$name"
  artifacts="$build/fuzz-artifacts/$name"
  log="$build/fuzz-logs/$name.log"
  mkdir -p "$corpus" "$artifacts"
  case "$name" in
    *Stream*) seed "$corpus" stream ;;
    *) seed "$corpus" archive ;;
  esac
  case "$name" in
    Off* | AsciiStl* | Obj* | Ply* | OutlineText* | FileKind* | Stl*) seed_text "$corpus" ;;
  esac
  echo "== $name: $seconds s"
  if "$exe" -max_total_time="$seconds" -max_len=16384 -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$artifacts/" "$corpus" >"$log" 2>&1; then
    runs=$(sed -n 's/^Done \([0-9]*\) runs.*/\1/p' "$log" | tail -n 1)
    summary="$summary
PASS $name: ${runs:-?} runs, corpus $(ls "$corpus" | wc -l) files"
  else
    failed=1
    tail -n 40 "$log"
    summary="$summary
FAIL $name: see $log and $(ls -t "$artifacts" | head -n 1 | sed "s|^|$artifacts/|")"
  fi
done
echo "$summary"
exit "$failed"
