#!/usr/bin/env bash
# Every program and library of the cross build may import only DLLs that
# Windows itself ships; anything else (libgcc, libstdc++, winpthread) would
# be missing on a user's machine.
set -u
dir=${1:?build folder}
allowed='^(kernel32|user32|gdi32|advapi32|shell32|shlwapi|ole32|oleaut32|comctl32|comdlg32|msvcrt|version|ws2_32)\.dll$'
bad=0 seen=0
while IFS= read -r -d '' f; do
  case $f in */googletest/*|*/wineprefix/*|*/CMakeFiles/*) continue ;; esac
  seen=$((seen + 1))
  if ! i686-w64-mingw32-objdump -f "$f" | grep -q 'file format pei-i386'; then
    echo "not PE32 i386: $f"; bad=1; continue
  fi
  for dll in $(i686-w64-mingw32-objdump -p "$f" | sed -n 's/^\s*DLL Name: //p'); do
    if ! echo "$dll" | tr 'A-Z' 'a-z' | grep -Eq "$allowed"; then
      echo "$f imports $dll"; bad=1
    fi
  done
done < <(find "$dir" \( -name '*.exe' -o -name '*.dll' \) -print0)
echo "checked $seen files"
[ "$seen" -gt 0 ] && [ $bad -eq 0 ]
