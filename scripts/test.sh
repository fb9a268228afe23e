#!/usr/bin/env bash
# Sets up what is missing, builds the Windows cross build and the native
# sanitizer build, and runs every test of both. Exits non-zero on any failure.
source "$(dirname "$0")/common.sh"

bash scripts/setup.sh

configure_win32
configure "$BUILD/native"
cmake --build "$BUILD/win32" -j "$JOBS"
cmake --build "$BUILD/native" -j "$JOBS"

# Create the tests' Wine prefix once, before tests run side by side.
wine_prefix

status=0
echo "== native build (AddressSanitizer, UndefinedBehaviorSanitizer) =="
ctest --test-dir "$BUILD/native" --output-on-failure -j "$JOBS" || status=1
echo "== Windows build under Wine =="
# Windows' dialogs need a display: a private virtual one, answering before
# the first Wine program starts. Wine's server, its services and its desktop
# start first, with no test's output attached and kept until the end: a test
# that started them would hold CTest's pipe open for the whole run.
bash scripts/with_display.sh bash -c '
  wineserver -p </dev/null >/dev/null 2>&1
  wine cmd /c exit </dev/null >/dev/null 2>&1
  exec ctest --test-dir "$0" --output-on-failure -j "$1"' "$BUILD/win32" "$JOBS" || status=1
wineserver -k 2>/dev/null || true
exit $status
