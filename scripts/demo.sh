#!/usr/bin/env bash
# The main job: one debugging session of examples/demo.lua through the
# plug-in, played by examples/host/demo_session as the IDE would play it,
# printed as a transcript. Sets up and builds only what it needs.
source "$(dirname "$0")/common.sh"

bash scripts/setup.sh >&2  # the transcript alone goes to standard output

# The same cross build as scripts/test.sh; an older tree regenerates itself
# when the build files changed.
configure_win32
echo "demo: building the plug-in, the debugger and the session host in $BUILD/win32" >&2
cmake --build "$BUILD/win32" -j "$JOBS" --target demo_session >/dev/null

wine_prefix

# The session needs no window, so no display either. The program is
# debugged where it lies, from its own folder.
cd examples
exec wine "$BUILD/win32/examples/host/demo_session.exe" demo.lua
