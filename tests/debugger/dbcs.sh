#!/usr/bin/env bash
# Code page 932 under Wine: a script and a module whose names hold a second
# byte 0x5C ('\'), a file whose second bytes are ASCII capitals; each loads,
# is named as on disk and is stopped in. Files are written and commands sent
# in code page 932, as the IDE would; the output is read back from it.
# usage: dbcs.sh <folder of SorbLua.exe, SorbLua.dll and lua51.dll> <scratch folder>
set -eu
run=$1 work=$2
here=$(cd "$(dirname "$0")" && pwd)
rm -rf "$work" && mkdir -p "$work"
cd "$work"
cp "$run/SorbLua.exe" "$run/SorbLua.dll" "$run/lua51.dll" .
sjis() { iconv -f UTF-8 -t CP932; }
{ printf 'local t = require(string.char(0x95, 0x5C))\nlocal x = dofile("'; printf 'テスト.lua' | sjis
  printf '")\nprint(t.v + x)\n'; } > ソース.lua
printf 'return { v = 1 }\n' > 表.lua
printf 'local y = 2\nreturn y\n' > テスト.lua
printf 'setb 1 テスト.lua\nstep\nstep\nstep\nrun\nrun\n' | sjis > input
OS=Windows_NT bash "$here/cp932.sh" "$work" wine SorbLua.exe ソース.lua < input 2>&1 |
  tr -d '\r' | iconv -f CP932 -t UTF-8 | tail -n +6 > output
cat > expected <<'END'
[DEBUG]> Breakpoint set in file テスト.lua line 1
[DEBUG]> Paused at file: ソース.lua (1) (1)
[DEBUG]> Paused at file: ./表.lua (1) (3)
[DEBUG]> Paused at file: ソース.lua (2) (1)
[DEBUG]> Paused at file: テスト.lua (1) (3) (breakpoint)
[DEBUG]> 3
Debugging process terminated.
END
diff expected output && echo "code page 932: passed"
