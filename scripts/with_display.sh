#!/usr/bin/env bash
# with_display.sh command [args...]
# Runs the command on a private virtual X display that already answers.
# xvfb-run may start its command before the server takes clients, and a
# Wine window created in that moment fails with "no driver could be loaded".
set -euo pipefail

display=""
for n in $(seq 90 140); do
  # A display is free when neither its lock file nor its socket exists.
  if [ ! -e "/tmp/.X$n-lock" ] && [ ! -e "/tmp/.X11-unix/X$n" ]; then display=$n; break; fi
done
[ -n "$display" ] || { echo "with_display: no free display number" >&2; exit 1; }

Xvfb ":$display" -screen 0 1280x1024x24 -nolisten tcp >/dev/null 2>&1 &
xvfb_pid=$!
trap 'kill $xvfb_pid 2>/dev/null || true; wait $xvfb_pid 2>/dev/null || true' EXIT

for _ in $(seq 1 200); do
  if DISPLAY=":$display" xdpyinfo >/dev/null 2>&1; then
    status=0
    DISPLAY=":$display" "$@" || status=$?
    exit $status
  fi
  kill -0 $xvfb_pid 2>/dev/null || break
  sleep 0.1
done
echo "with_display: the virtual display :$display did not answer" >&2
exit 1
