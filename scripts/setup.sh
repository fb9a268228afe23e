#!/usr/bin/env bash
# Installs what the build needs and cross-builds the third-party static
# libraries into a cache outside the clone. Safe to run again: every step
# checks first and returns quickly when its result is already there.
set -euo pipefail

CACHE="${SORBLUA_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/sorblua}"
source "$(dirname "${BASH_SOURCE[0]}")/versions.sh"
HOST=i686-w64-mingw32
SUDO=""
[ "$(id -u)" -ne 0 ] && SUDO=sudo

# Everything but a captured result goes to standard error: fetch_source
# answers on standard output, and its callers take that as a path.
log() { echo "setup: $*" >&2; }

have_packages() {
  local missing=0
  command -v ${HOST}-g++-posix >/dev/null || missing=1
  command -v wine >/dev/null || missing=1
  dpkg -s wine32:i386 >/dev/null 2>&1 || missing=1
  command -v xvfb-run >/dev/null || missing=1
  command -v xwd >/dev/null || missing=1
  command -v xdpyinfo >/dev/null || missing=1
  dpkg -s imagemagick >/dev/null 2>&1 || missing=1
  [ -f /usr/src/googletest/CMakeLists.txt ] || missing=1
  command -v cmake >/dev/null || missing=1
  command -v make >/dev/null || missing=1
  command -v g++ >/dev/null || missing=1
  command -v dpkg-source >/dev/null || missing=1
  command -v lua5.1 >/dev/null || missing=1
  [ -f /usr/include/lua5.1/lua.h ] || missing=1   # the agent's native module
  command -v localedef >/dev/null || missing=1
  return $missing
}

PKGS="wine wine32:i386 wine64 g++-mingw-w64-i686 mingw-w64-tools xvfb x11-apps x11-utils imagemagick
      googletest cmake make g++ dpkg-dev xz-utils lua5.1 liblua5.1-0-dev locales"

install_packages() {
  log "installing Debian packages"
  $SUDO dpkg --add-architecture i386
  $SUDO apt-get update -q || log "apt-get update reported errors; going on with the lists it has"
  if ! DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends $PKGS; then
    # The security suite's i386 index can lag behind amd64; prefer the
    # main suite's matching versions so wine32 can resolve.
    log "plain install failed; retrying with the security suite pinned low"
    echo -e "Package: *\nPin: release l=Debian-Security\nPin-Priority: 100" |
      $SUDO tee /etc/apt/preferences.d/sorblua-security-pin >/dev/null
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends --allow-downgrades $PKGS
    $SUDO rm -f /etc/apt/preferences.d/sorblua-security-pin
  fi
}

enable_deb_src() {
  if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ && ! grep -qs '^deb-src' /etc/apt/sources.list; then
    log "adding a deb-src entry for bookworm main"
    printf 'Types: deb-src\nURIs: http://deb.debian.org/debian\nSuites: bookworm\nComponents: main\nSigned-By: /usr/share/keyrings/debian-archive-keyring.gpg\n' |
      $SUDO tee /etc/apt/sources.list.d/sorblua-src.sources >/dev/null
    $SUDO apt-get update -q >&2 || log "apt-get update reported errors; going on with the lists it has"
  fi
}

fetch_source() { # package upstream-dir
  local pkg=$1 dir=$2
  if [ ! -d "$CACHE/src/$dir" ]; then
    enable_deb_src
    mkdir -p "$CACHE/src"
    (cd "$CACHE/src" && apt-get source -q "$pkg" >&2)
  fi
  # apt-get source names the unpacked tree after the Debian version
  local tree
  tree=$(ls -d "$CACHE/src/$dir"* 2>/dev/null | head -1)
  [ -n "$tree" ] || { echo "setup: source of $pkg not found" >&2; exit 1; }
  echo "$tree"
}

build_pcre() {
  # Once for the target and once for the host, whose copy lets the native
  # sanitizer build test the regular-expression code too.
  local host out
  for host in $HOST native; do
    out="$CACHE/pcre-$PCRE_VER"
    [ "$host" = native ] && out="$out-native"
    [ -f "$out/lib/libpcreposix.a" ] && continue
    log "building PCRE $PCRE_VER ($host)"
    local src; src=$(fetch_source pcre3 pcre3-)
    # Debian's patches leave the autotools outputs older than their inputs;
    # make them current so make does not try to rerun automake.
    (cd "$src" && touch aclocal.m4 && touch configure Makefile.in config.h.in)
    local b; b=$(mktemp -d)
    local cross=""
    [ "$host" = native ] || cross="--host=$host"
    (cd "$b" && "$src/configure" -q $cross --prefix="$out" \
        --disable-shared --enable-static --disable-cpp >/dev/null &&
     make -s -j2 >/dev/null && make -s install >/dev/null)
    rm -rf "$b"
  done
}

build_lua() {
  local out="$CACHE/lua-$LUA_VER"
  [ -f "$out/lib/liblua.a" ] && return
  log "cross-building Lua $LUA_VER"
  local src; src=$(fetch_source lua5.1 lua5.1-)
  # Debian's makefile is libtool-based and Linux-only: compile the library
  # sources directly (everything but the two programs and their printer).
  local b; b=$(mktemp -d)
  local f
  for f in "$src"/src/*.c; do
    case $(basename "$f") in lua.c|luac.c|print.c) continue ;; esac
    ${HOST}-gcc -O2 -w -c "$f" -o "$b/$(basename "${f%.c}").o" &
    [ "$(jobs -r | wc -l)" -ge 2 ] && wait -n
  done
  wait
  ${HOST}-ar rcs "$b/liblua.a" "$b"/*.o
  mkdir -p "$out/lib" "$out/include"
  cp "$b/liblua.a" "$out/lib/"
  cp "$src"/src/{lua.h,luaconf.h,lualib.h,lauxlib.h} "$out/include/"
  rm -rf "$b"
}

# ---------------------------------------------------------------- i386 programs
# Wine's 32-bit half is an i386 Linux program. Some kernels boot with their
# 32-bit support off ("Exec format error"); there every i386 program runs
# through QEMU's user-mode emulator, registered with binfmt_misc. Bookworm's
# own QEMU 7.2 needs about 50 s to start each Wine process: take backports'.
QEMU=/usr/bin/qemu-i386
BINFMT=/proc/sys/fs/binfmt_misc
# Magic and mask of an i386 executable or shared object; F: the kernel opens
# the interpreter now, so it also serves programs started in other roots.
QEMU_LINE=':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:'"$QEMU"':F'

runs_i386() { # a five-line i386 program that exits with 7
  local d rc=0
  d=$(mktemp -d)
  printf '.globl _start\n_start:\n movl $1, %%eax\n movl $7, %%ebx\n int $0x80\n' >"$d/p.s"
  as --32 "$d/p.s" -o "$d/p.o" && ld -m elf_i386 "$d/p.o" -o "$d/p" || { rm -rf "$d"; return 2; }
  "$d/p" 2>/dev/null || rc=$?
  rm -rf "$d"
  [ $rc -eq 7 ]
}

qemu_usable() { # backports' QEMU 10 or later
  local v
  v=$("$QEMU" --version 2>/dev/null | sed -n 's/^qemu-i386 version \([0-9]*\).*/\1/p')
  [ -n "$v" ] && [ "$v" -ge 8 ]
}

install_qemu() {
  local list=/etc/apt/sources.list.d/sorblua-backports.sources uris keyring
  if ! grep -rqs 'bookworm-backports' /etc/apt/sources.list /etc/apt/sources.list.d/; then
    # Same mirror and keyring as the machine's own bookworm entry.
    uris=$(sed -n 's/^URIs: *//p' /etc/apt/sources.list.d/*.sources 2>/dev/null | grep -v security | head -1)
    keyring=$(sed -n 's/^Signed-By: *//p' /etc/apt/sources.list.d/*.sources 2>/dev/null | head -1)
    log "adding bookworm-backports for QEMU's user-mode emulator"
    printf 'Types: deb\nURIs: %s\nSuites: bookworm-backports\nComponents: main\nSigned-By: %s\n' \
      "${uris:-http://deb.debian.org/debian}" "${keyring:-/usr/share/keyrings/debian-archive-keyring.gpg}" |
      $SUDO tee "$list" >/dev/null
  fi
  $SUDO apt-get update -q >&2 || log "apt-get update reported errors; going on with the lists it has"
  log "installing qemu-user-static from bookworm-backports"
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -q --no-install-recommends \
    -t bookworm-backports qemu-user-static >&2
}

# The registration lasts until the next boot and pins the interpreter file
# it was made with: it is checked on every run, against a note of which
# boot and which file it was made for.
register_qemu() {
  local note="$CACHE/qemu-i386.registered" want
  want="$(cat /proc/sys/kernel/random/boot_id) $(stat -L -c '%i %Y %s' "$QEMU")"
  if [ -e "$BINFMT/qemu-i386" ] && grep -qx enabled "$BINFMT/qemu-i386" &&
     grep -qx "interpreter $QEMU" "$BINFMT/qemu-i386" && [ "$(cat "$note" 2>/dev/null)" = "$want" ]; then
    return
  fi
  [ -e "$BINFMT/register" ] || $SUDO mount binfmt_misc -t binfmt_misc "$BINFMT"
  if [ -e "$BINFMT/qemu-i386" ]; then
    log "replacing the i386 registration (another boot, interpreter or state)"
    echo -1 | $SUDO tee "$BINFMT/qemu-i386" >/dev/null
  fi
  log "registering $QEMU for i386 programs with binfmt_misc"
  printf '%s' "$QEMU_LINE" | $SUDO tee "$BINFMT/register" >/dev/null
  echo "$want" >"$note"
}

# SORBLUA_EMULATE_I386=1 takes the emulated road on a machine that runs
# i386 programs itself, to see what such a machine sees.
ensure_i386() {
  if [ ! -e "$BINFMT/qemu-i386" ] && [ -z "${SORBLUA_EMULATE_I386:-}" ] && runs_i386; then
    return  # the kernel runs them
  fi
  qemu_usable || install_qemu
  qemu_usable || { log "no QEMU 8 or later at $QEMU"; exit 1; }
  register_qemu
  runs_i386 || { log "i386 programs do not run, even through $QEMU"; exit 1; }
  log "i386 programs run through $QEMU ($("$QEMU" --version | head -1))"
}

have_packages || install_packages >&2
mkdir -p "$CACHE"
ensure_i386
build_pcre
build_lua
log "ready (cache: $CACHE)"
