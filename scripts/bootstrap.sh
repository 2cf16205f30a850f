#!/bin/sh
# Installs the Debian packages the build needs, and only those that are missing, so that
# `make test` and `make demo` work on a fresh Debian 12 machine with nothing else typed.
#   scripts/bootstrap.sh            packages for building, testing and the demo
#   scripts/bootstrap.sh bench      ... plus Google Benchmark and the optional peer libraries
#   scripts/bootstrap.sh sanitize   the same (g++ brings the sanitizer runtimes)
#   scripts/bootstrap.sh fuzz       ... plus clang and libFuzzer
#   scripts/bootstrap.sh python     ... plus the Python module's headers, pybind11, NumPy and pytest
#                                   (optional: without them the module and its tests are skipped)
set -eu

base="cmake make g++ pkg-config libgtest-dev libgmock-dev libpng-dev libspng-dev libcli11-dev"
extra=""
# Independent readers for the tools tests (they skip without them): NumPy, Pillow, meshio, pngcheck.
optional="python3-numpy python3-pil python3-meshio pngcheck"
for what in "$@"; do
  case "$what" in
    bench) extra="$extra libbenchmark-dev"; optional="$optional libopencv-dev libopencv-contrib-dev libcgal-dev libqhull-dev libpolyclipping-dev" ;;
    sanitize) ;;  # g++ brings the ASan, UBSan and TSan runtimes
    fuzz) extra="$extra clang libclang-rt-14-dev" ;;
    python) optional="$optional python3-dev pybind11-dev python3-numpy python3-pytest" ;;
    *) echo "bootstrap: unknown group '$what'" >&2; exit 2 ;;
  esac
done

missing() {
  for p in "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || printf '%s ' "$p"
  done
}

need=$(missing $base $extra)
want=$(missing $optional)
[ -z "$need$want" ] && exit 0

if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then SUDO=sudo; else
    echo "bootstrap: missing packages ($need$want) and not root; install them or run as root" >&2
    exit 1
  fi
else SUDO=""; fi

export DEBIAN_FRONTEND=noninteractive
echo "bootstrap: installing $need$want" >&2
$SUDO apt-get update -qq >/dev/null
if [ -n "$need" ]; then
  $SUDO apt-get install -y -qq --no-install-recommends $need >/dev/null
fi
# Peer libraries for the benchmarks are optional: the benchmarks compare against them when present.
for p in $want; do
  $SUDO apt-get install -y -qq --no-install-recommends "$p" >/dev/null 2>&1 \
    || echo "bootstrap: optional package $p not installed; its comparisons are skipped" >&2
done
