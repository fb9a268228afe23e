#!/usr/bin/env bash
# The main job end to end: the demo session ends cleanly, the marker walks
# the lines a user stepping through demo.lua expects, and the answers and
# the program's own output reach the pane. Paths and table addresses vary
# with the checkout and the build, so they are left out.
set -u
exe=${1:?demo_session.exe} examples=${2:?examples folder}
out=$(cd "$examples" && wine "$exe" demo.lua)
status=$?
fail() { printf '%s\n' "$out"; echo "check_demo: $*"; exit 1; }
[ $status -eq 0 ] || fail "demo_session exited with $status"

stop=$(grep -n 'stops here' "$examples/demo.lua" | cut -d: -f1)
later=$(grep -n 'stops here' "$examples/shapes.lua" | cut -d: -f1)
walk=$(sed -n -e 's/^  marker -> .*\\\([^\\]*\) line \([0-9]*\)$/\1 \2/p' \
              -e 's/^  marker cleared$/cleared/p' <<<"$out" | tr '\n' ' ')
want="cleared demo.lua $stop demo.lua 5 shapes.lua 19 demo.lua 6 demo.lua 18 cleared shapes.lua $later cleared cleared cleared cleared "
[ "$walk" = "$want" ] || fail "the marker walked: $walk
expected:          $want"

for line in "  | Breakpoint set in file demo.lua line $stop" \
            "  | [3]	main in " \
            "  | Paused at file: ./shapes.lua ($later) (3) (breakpoint)" \
            "  | [1]***	area in ./shapes.lua:$later" \
            '  |   kind = "circle";' \
            "  | 3.1415926535898	" \
            "  | circle    3.14" \
            "  | in order: circle, rect, square" \
            "  | Debugging process terminated."; do
  grep -qF -- "$line" <<<"$out" || fail "no line: $line"
done
grep -q '^  notice' <<<"$out" && fail "an error notice in a clean session"
exit 0
