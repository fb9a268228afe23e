# Sourced by the test, demo and package scripts: the checkout as ROOT, the
# build jobs, and the build tree (SORBLUA_BUILD, absolute or relative; each
# tree keeps its own Wine prefix).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
ROOT=$PWD
JOBS=${JOBS:-2}
BUILD=${SORBLUA_BUILD:-build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac
export WINEPREFIX="$BUILD/win32/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="

configure() { # dir [cmake args...]: a new tree gets the build type and the args
  local dir=$1; shift
  [ -f "$dir/CMakeCache.txt" ] || cmake -S "$ROOT" -B "$dir" -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
}

configure_win32() { configure "$BUILD/win32" -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-i686.cmake"; }

# This tree's Wine prefix, made once. Its crash debugger is off: a program
# that crashes ends at once with its exception code instead of waiting for
# a user, so a crashing test fails in seconds rather than at its time limit.
wine_prefix() {
  [ -f "$WINEPREFIX/system.reg" ] || wineboot -i >/dev/null 2>&1 || true
  if ! grep -qs '^"ShowCrashDialog"=dword:00000000' "$WINEPREFIX/user.reg"; then
    wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1 || true
  fi
  # A server that an interrupted run left behind (the tests start theirs
  # persistent) never exits on its own: end it instead of waiting forever.
  timeout 120 wineserver -w 2>/dev/null || wineserver -k 2>/dev/null || true
}
