#!/usr/bin/env bash
# Installs what the build needs and cross-builds the third-party static
# libraries into a cache outside the clone. Safe to run again: every step
# checks first and returns quickly when its result is already there.
set -euo pipefail

CACHE="${SORBLUA_CACHE:-${XDG_CACHE_HOME:-$HOME/.cache}/sorblua}"
PCRE_VER=8.39
LUA_VER=5.1.5
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
  return $missing
}

PKGS="wine wine32:i386 wine64 g++-mingw-w64-i686 mingw-w64-tools xvfb x11-apps x11-utils imagemagick
      googletest cmake make g++ dpkg-dev xz-utils lua5.1"

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

have_packages || install_packages >&2
mkdir -p "$CACHE"
build_pcre
build_lua
log "ready (cache: $CACHE)"
