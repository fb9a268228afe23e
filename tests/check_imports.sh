#!/usr/bin/env bash
# Every program and library of the cross build may import only DLLs that
# Windows itself ships; anything else (libgcc, libstdc++, winpthread) would
# be missing on a user's machine. The exceptions are Lua's core DLLs, which
# travel with SorbLua.exe: it and the test C modules import the core under
# the name they were linked against, and lua5.1.dll imports the core alone
# and forwards each of its exports there.
set -u
dir=${1:?build folder}
allowed='^(kernel32|user32|gdi32|advapi32|shell32|shlwapi|ole32|oleaut32|comctl32|comdlg32|msvcrt|version|ws2_32)\.dll$'
bad=0 seen=0
imports() { i686-w64-mingw32-objdump -p "$1" | sed -n 's/^\s*DLL Name: //p' | tr 'A-Z' 'a-z'; }
while IFS= read -r -d '' f; do
  # nodll/ and cp932/ hold copies the tests make while they run: they are
  # the files checked here, and may be half written or from an older build.
  case $f in */googletest/*|*/wineprefix/*|*/CMakeFiles/*|*/nodll/*|*/cp932/*) continue ;; esac
  seen=$((seen + 1))
  if ! i686-w64-mingw32-objdump -f "$f" | grep -q 'file format pei-i386'; then
    echo "not PE32 i386: $f"; bad=1; continue
  fi
  ok=$allowed need=''
  case $(basename "$f") in
    SorbLua.exe|cmod51.dll) ok="$allowed|^lua51\.dll$" need=lua51.dll ;;
    cmod5_1.dll) ok="$allowed|^lua5\.1\.dll$" need=lua5.1.dll ;;
    lua5.1.dll) ok='^lua51\.dll$' need=lua51.dll ;;
  esac
  list=$(imports "$f")
  for dll in $list; do
    echo "$dll" | grep -Eq "$ok" || { echo "$f imports $dll"; bad=1; }
  done
  if [ -n "$need" ] && ! grep -qxF "$need" <<<"$list"; then
    echo "$f does not import $need"; bad=1
  fi
done < <(find "$dir" \( -name '*.exe' -o -name '*.dll' \) -print0)
echo "checked $seen files"

# Each forwarder and the core beside it: the same export names, each one
# passed on to the export of that name in lua51.dll.
exports() { i686-w64-mingw32-objdump -p "$1" | sed -n "$2" | sort; }
pairs=0
while IFS= read -r -d '' fwd; do
  core=$(dirname "$fwd")/lua51.dll
  pairs=$((pairs + 1))
  [ -f "$core" ] || { echo "no lua51.dll beside $fwd"; bad=1; continue; }
  want=$(exports "$core" '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\s*\[ *[0-9]*\] //p' | sed 's/^/lua51./')
  have=$(exports "$fwd" 's/^.*Forwarder RVA -- //p')
  names=$(exports "$fwd" '/^\[Ordinal\/Name Pointer\] Table/,/^$/s/^\s*\[ *[0-9]*\] //p' | sed 's/^/lua51./')
  if [ -z "$want" ] || [ "$want" != "$have" ] || [ "$want" != "$names" ]; then
    echo "$fwd does not forward exactly the exports of $core:"
    diff <(echo "$want") <(echo "$have") | head; bad=1
  fi
done < <(find "$dir" -name lua5.1.dll -not -path '*/wineprefix/*' -not -path '*/nodll/*' -not -path '*/cp932/*' -print0)
echo "checked $pairs forwarders"
[ "$seen" -gt 0 ] && [ "$pairs" -gt 0 ] && [ $bad -eq 0 ]
