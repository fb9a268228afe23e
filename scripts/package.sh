#!/usr/bin/env bash
# Writes the release a Windows user installs, dist/SorbLua-<version>-win32.zip:
# SorbLua.dll, SorbLua.exe, the help page with its picture and INSTALL.txt.
# Sets up and builds only what is missing, in the same cross build as the
# tests and the demo.
set -euo pipefail
cd "$(dirname "$0")/.."
ROOT=$PWD
JOBS=${JOBS:-2}
BUILD=${SORBLUA_BUILD:-build}
case $BUILD in /*) ;; *) BUILD=$ROOT/$BUILD ;; esac

bash scripts/setup.sh

if [ -f "$BUILD/win32/CMakeCache.txt" ]; then
  cmake -S "$ROOT" -B "$BUILD/win32" >/dev/null
else
  cmake -S "$ROOT" -B "$BUILD/win32" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
        -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-i686.cmake" >/dev/null
fi
cmake --build "$BUILD/win32" -j "$JOBS" --target release_zip >/dev/null

mkdir -p dist
zip=$(ls "$BUILD"/win32/release/SorbLua-*-win32.zip)
cp "$zip" dist/
echo "package: wrote dist/$(basename "$zip")"
cmake -E tar tvf "dist/$(basename "$zip")"
