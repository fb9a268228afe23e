#!/usr/bin/env bash
# A fresh machine's first run, as far as one can be made here: no deb-src
# entry, an empty library cache, and a kernel that runs no i386 program (no
# QEMU, no backports source, no binfmt entry; where the kernel does run
# them, the setup is told to take the emulated road all the same).
# setup.sh must fetch and build the libraries, make i386 programs run,
# print nothing on standard output (callers capture it), and the demo must
# then pass first time on that cache. What the setup installs stays; the
# deb-src and other backports entries moved aside come back. Not part of the
# tests: it needs root (it edits apt's sources) and the network, and takes
# minutes. On a machine that runs i386 itself, `echo -1 >
# /proc/sys/fs/binfmt_misc/qemu-i386` gives native speed back afterwards.
#   sudo bash .ci/fresh_setup.sh
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/versions.sh
[ "$(id -u)" -eq 0 ] || { echo "fresh_setup: run as root" >&2; exit 1; }

work=$(mktemp -d)
aside="$work/sources-aside"
mkdir -p "$aside"
restore() {
  # Put back every source entry moved aside, then refresh the lists.
  if compgen -G "$aside/*" >/dev/null; then mv "$aside"/* /etc/apt/sources.list.d/; fi
  [ -f "$aside.list" ] && cp "$aside.list" /etc/apt/sources.list
  apt-get update -q >/dev/null 2>&1 || true
  rm -rf "$work"
}
trap restore EXIT

# No i386 emulation: the registration, QEMU and the backports source go.
[ -e /proc/sys/fs/binfmt_misc/qemu-i386 ] && echo -1 >/proc/sys/fs/binfmt_misc/qemu-i386
qemu=$(dpkg-query -W -f '${Package} ${Status}\n' qemu-user-static qemu-user qemu-user-binfmt 2>/dev/null |
       awk '/ installed$/ {print $1}')
[ -z "$qemu" ] || apt-get purge -y -q $qemu >/dev/null
rm -f /etc/apt/sources.list.d/sorblua-backports.sources
for f in /etc/apt/sources.list.d/*.sources; do
  [ -e "$f" ] && grep -q '^Types:.*deb-src\|bookworm-backports' "$f" && mv "$f" "$aside/"
done
if grep -qs '^deb-src\|^deb .*bookworm-backports' /etc/apt/sources.list; then
  cp /etc/apt/sources.list "$aside.list"
  sed -i -e 's/^deb-src/# deb-src/' -e 's/^\(deb .*bookworm-backports\)/# \1/' /etc/apt/sources.list
fi
apt-get update -q >/dev/null 2>&1 || true

export SORBLUA_CACHE="$work/cache" SORBLUA_BUILD="$work/build" SORBLUA_EMULATE_I386=1
status=0
bash scripts/setup.sh >"$work/setup.out" 2>"$work/setup.err" || status=$?
if [ $status -ne 0 ]; then
  cat "$work/setup.err" >&2
  echo "fresh_setup: setup.sh failed ($status)" >&2; exit 1
fi
if [ -s "$work/setup.out" ]; then
  cat "$work/setup.out" >&2
  echo "fresh_setup: setup.sh printed the above on standard output" >&2; exit 1
fi
for lib in pcre-$PCRE_VER/lib/libpcreposix.a pcre-$PCRE_VER-native/lib/libpcreposix.a \
           lua-$LUA_VER/lib/liblua.a; do
  [ -f "$SORBLUA_CACHE/$lib" ] || { echo "fresh_setup: no $lib in the cache" >&2; exit 1; }
done

# The first README command on that cache, in a build tree of its own.
bash scripts/demo.sh >"$work/demo.out" 2>"$work/demo.err" || {
  cat "$work/demo.err" >&2; echo "fresh_setup: demo.sh failed" >&2; exit 1; }
grep -q 'Debugging process terminated.' "$work/demo.out" || {
  cat "$work/demo.out" >&2; echo "fresh_setup: the demo did not run to its end" >&2; exit 1; }
[ -e /proc/sys/fs/binfmt_misc/qemu-i386 ] || { echo "fresh_setup: no i386 registration after the setup" >&2; exit 1; }
echo "fresh_setup: setup and demo passed first time on an empty cache, without deb-src and i386 support"
