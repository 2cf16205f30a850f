#!/bin/sh
# Proves that a newcomer can build the committed HEAD: in a minimal Debian 12 chroot that holds only
# git, make and the CA certificates, it clones the repository and runs `make demo` and `make test` as
# root with nothing else typed (the Makefile installs what it needs).
#
#   scripts/newcomer-check.sh [--fresh] [--dir DIR]
#
# The chroot (default /var/tmp/qssse-newcomer, or $NEWCOMER_ROOT) is kept between runs so that re-runs
# skip the debootstrap and the package downloads; --fresh deletes it and starts from a bare system,
# which is the real newcomer case. Needs root and debootstrap. Logs: DIR/root/newcomer-logs/.
set -eu

dir=${NEWCOMER_ROOT:-/var/tmp/qssse-newcomer}
fresh=0
while [ $# -gt 0 ]; do
  case "$1" in
    --fresh) fresh=1 ;;
    --dir) shift; dir=${1:?--dir needs a directory} ;;
    -h|--help) sed -n '2,11p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "newcomer-check: unknown argument '$1'" >&2; exit 2 ;;
  esac
  shift
done

[ "$(id -u)" -eq 0 ] || { echo "newcomer-check: must run as root (chroot, mount, debootstrap)" >&2; exit 2; }
command -v debootstrap >/dev/null || { echo "newcomer-check: debootstrap is not installed" >&2; exit 2; }
repo=$(git -C "$(dirname "$0")/.." rev-parse --show-toplevel)
head=$(git -C "$repo" rev-parse HEAD)

# The Debian mirror this machine's apt uses (its configured bookworm main archive), so the chroot
# downloads from the same place; no mirror is named in this repository.
mirror=$(apt-get indextargets --format '$(REPO_URI)' 'Release: bookworm' 'Component: main' \
  'Created-By: Packages' 'Target-Of: deb' 2>/dev/null | head -n 1 || true)
if [ -z "$mirror" ]; then
  mirror=$(sed -n 's/^URIs:[[:space:]]*\([^[:space:]]*\).*/\1/p' /etc/apt/sources.list.d/*.sources 2>/dev/null |
    grep -v security | head -n 1 || true)
fi
if [ -z "$mirror" ] && [ -f /etc/apt/sources.list ]; then
  mirror=$(awk '$1 == "deb" && $2 !~ /security/ { print $2; exit }' /etc/apt/sources.list)
fi
[ -n "$mirror" ] || {
  echo "newcomer-check: no Debian bookworm archive in this machine's apt configuration" >&2
  exit 2
}

mounted=""
cleanup() {
  for m in $mounted; do umount "$m" 2>/dev/null || umount -l "$m" 2>/dev/null || true; done
  mounted=""
}
trap cleanup EXIT
trap 'exit 130' INT TERM

mount_in() {  # mount_in TARGET mount-arguments...
  target=$1
  shift
  mountpoint -q "$target" && return 0
  mount "$@" "$target"
  mounted="$target $mounted"
}

# ---- the bare system ----------------------------------------------------------------------------------
if [ "$fresh" -eq 1 ] && [ -e "$dir" ]; then
  echo "newcomer-check: removing $dir"
  for m in "$dir/dev/pts" "$dir/dev" "$dir/proc" "$dir/sys"; do
    if mountpoint -q "$m"; then umount "$m" || umount -l "$m"; fi
  done
  rm -rf --one-file-system "$dir"
fi
if [ ! -f "$dir/.newcomer-base" ]; then
  rm -rf --one-file-system "$dir"
  echo "newcomer-check: debootstrap bookworm from $mirror into $dir (a few minutes)"
  debootstrap --variant=minbase --include=git,make,ca-certificates bookworm "$dir" "$mirror" \
    >"$dir.debootstrap.log" 2>&1 || { tail -n 30 "$dir.debootstrap.log"; echo "FAIL: debootstrap"; exit 1; }
  touch "$dir/.newcomer-base"
fi

# Reach the mirror as this machine does: its name servers, and the apt settings that let it accept the
# mirror's Release files (snapshot mirrors need Check-Valid-Until off) or name a proxy.
cp /etc/resolv.conf "$dir/etc/resolv.conf"
apt-config dump 2>/dev/null | grep -E '^Acquire::(Check-Valid-Until|Check-Date|https?::Proxy) ' \
  >"$dir/etc/apt/apt.conf.d/99newcomer-host" || true

mount_in "$dir/proc" -t proc proc
mount_in "$dir/sys" -t sysfs sysfs
mount_in "$dir/dev" --bind /dev
mount_in "$dir/dev/pts" --bind /dev/pts

# ---- the clone of committed HEAD --------------------------------------------------------------------------
logs="$dir/root/newcomer-logs"
rm -rf "$dir/root/qssse" "$logs"
mkdir -p "$logs"
git -C "$repo" bundle create "$dir/root/qssse.bundle" HEAD 2>"$logs/bundle.log"

in_chroot() {  # in_chroot COMMAND: runs COMMAND with sh as root in a clean login-like environment
  chroot "$dir" /usr/bin/env -i HOME=/root TERM=dumb LANG=C.UTF-8 \
    PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin /bin/sh -c "$1"
}

in_chroot "git clone -q /root/qssse.bundle /root/qssse && cd /root/qssse && git checkout -q $head" \
  >"$logs/clone.log" 2>&1 || { cat "$logs/clone.log"; echo "FAIL: clone of $head"; exit 1; }

# ---- what the newcomer types ------------------------------------------------------------------------------
status=0
summary=""
for goal in demo test; do
  echo "newcomer-check: make $goal (log: $logs/make-$goal.log)"
  start=$(date +%s)
  if in_chroot "cd /root/qssse && make $goal" >"$logs/make-$goal.log" 2>&1; then result=PASS; else
    result=FAIL
    status=1
  fi
  summary="$summary
$result  make $goal  ($(($(date +%s) - start)) s)"
  if [ "$result" = FAIL ]; then
    summary="$summary
$(grep -m 5 -E 'error|Error|FAILED|Failed' "$logs/make-$goal.log" | sed 's/^/        /')"
  fi
  echo "---- last lines of make $goal ----"
  tail -n 25 "$logs/make-$goal.log"
done

echo
echo "==== newcomer check of $head in $dir ===="
echo "$summary" | sed '/^$/d'
[ "$status" -eq 0 ] && echo "PASS" || echo "FAIL"
exit "$status"
