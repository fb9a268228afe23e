#!/usr/bin/env bash
# The main job: one debugging session of examples/demo.lua through the
# plug-in, played by examples/host/demo_session as the IDE would play it,
# printed as a transcript. Sets up and builds only what it needs.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
JOBS=${JOBS:-2}
BUILD=${SORBLUA_BUILD:-build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac

bash scripts/setup.sh >&2  # the transcript alone goes to standard output

# The same cross build as scripts/test.sh, configured the same way; an
# existing one is configured again, in case it predates the demo's targets.
if [ -f "$BUILD/win32"/CMakeCache.txt ]; then
  cmake -S "$ROOT" -B "$BUILD/win32" >/dev/null
else
  cmake -S "$ROOT" -B "$BUILD/win32" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-i686.cmake" >/dev/null
fi
echo "demo: building the plug-in, the debugger and the session host in $BUILD/win32" >&2
cmake --build "$BUILD/win32" -j "$JOBS" --target demo_session >/dev/null

export WINEPREFIX="$BUILD/win32/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
[ -f "$WINEPREFIX/system.reg" ] || wineboot -i >/dev/null 2>&1 || true

# The session needs no window, so no display either. The program is
# debugged where it lies, from its own folder.
cd examples
exec wine "$BUILD/win32/examples/host/demo_session.exe" demo.lua
