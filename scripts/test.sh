#!/usr/bin/env bash
# Sets up what is missing, builds the Windows cross build and the native
# sanitizer build, and runs every test of both. Exits non-zero on any failure.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
JOBS=${JOBS:-2}

bash scripts/setup.sh

configure() { # dir [cmake args...]
  local dir=$1; shift
  [ -f "$dir/CMakeCache.txt" ] || cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
}

configure build/win32 -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-i686.cmake"
configure build/native
cmake --build build/win32 -j "$JOBS"
cmake --build build/native -j "$JOBS"

# Create the tests' Wine prefix once, before tests run side by side.
export WINEPREFIX="$ROOT/build/win32/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
[ -f "$WINEPREFIX/system.reg" ] || wineboot -i >/dev/null 2>&1 || true
wineserver -w 2>/dev/null || true

status=0
echo "== native build (AddressSanitizer, UndefinedBehaviorSanitizer) =="
ctest --test-dir build/native --output-on-failure -j "$JOBS" || status=1
echo "== Windows build under Wine =="
# Windows' dialogs need a display: a private virtual one.
xvfb-run -a -s "-screen 0 1280x1024x24" \
  ctest --test-dir build/win32 --output-on-failure -j "$JOBS" || status=1
wineserver -k 2>/dev/null || true
exit $status
