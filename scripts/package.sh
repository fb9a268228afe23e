#!/usr/bin/env bash
# Writes the release a Windows user installs, dist/SorbLua-<version>-win32.zip:
# SorbLua.dll, SorbLua.exe with Lua's lua51.dll and lua5.1.dll, the help page
# with its picture and INSTALL.txt.
# Sets up and builds only what is missing, in the same cross build as the
# tests and the demo.
source "$(dirname "$0")/common.sh"

bash scripts/setup.sh

configure_win32
cmake --build "$BUILD/win32" -j "$JOBS" --target release_zip >/dev/null

mkdir -p dist
zip=$(ls "$BUILD"/win32/release/SorbLua-*-win32.zip)
cp "$zip" dist/
echo "package: wrote dist/$(basename "$zip")"
cmake -E tar tvf "dist/$(basename "$zip")"
