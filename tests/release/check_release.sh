#!/usr/bin/env bash
# The release zip as a user gets it: unpacked into an empty folder, it holds
# exactly the release files, both binaries carry their version record, the
# demo session runs against the unpacked plug-in and debugger alone (the
# session host stands in for the IDE, so it is the one file added), and so
# does a program of the user's with C modules linked against each name of
# Lua's core DLL (the tests' module; the program's folder is not the zip's).
set -u
zip=${1:?zip} host=${2:?demo_session.exe} info=${3:?version_info.exe}
examples=${4:?examples folder} check_demo=${5:?check_demo.sh}
cmods=${6:?cmods.lua}; shift 6
modules=("$@")
fail() { echo "check_release: $*"; exit 1; }

dir=$(mktemp -d) work=$(mktemp -d)
trap 'rm -rf "$dir" "$work"' EXIT
(cd "$dir" && cmake -E tar xf "$zip") || fail "cannot unpack $zip"

have=$(cd "$dir" && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ')
want="INSTALL.txt SorbLua.dll SorbLua.exe SorbLua.html config-dialog.png lua5.1.dll lua51.dll "
[ "$have" = "$want" ] || fail "the zip holds: $have
expected:          $want"
grep -q $'\r$' "$dir/INSTALL.txt" || fail "INSTALL.txt has no Windows line ends"

for bin in SorbLua.dll SorbLua.exe; do
  rec=$(wine "$info" "$(winepath -w "$dir/$bin")" | tr -d '\r')
  for line in "ProductName=SorbLua" "ProductVersion=1.20" "FileVersion=1.20" \
              "OriginalFilename=$bin" "fixed=1.20.0.0"; do
    grep -qxF "$line" <<<"$rec" || fail "$bin: no $line in its version record:
$rec"
  done
  grep -q '^FileDescription=.' <<<"$rec" || fail "$bin: no description"
  grep -q '^LegalCopyright=Copyright' <<<"$rec" || fail "$bin: no copyright line"
done

cp "$host" "$dir/" || fail "cannot copy the session host"
bash "$check_demo" "$dir/$(basename "$host")" "$examples" || fail "the demo failed on the unpacked files"

# The C modules run on the zip's one core up to the error raised in C; the
# end of input ends the session at that stop, with the failure's exit code.
# How the debugger steps through their frames is the session tests'.
cp "$cmods" "${modules[@]}" "$work/" || fail "cannot copy the C module program"
(cd "$work" && printf 'run\n' | wine "$dir/SorbLua.exe" cmods.lua >"$work/out" 2>&1)
status=$?
out=$(tr -d '\r' <"$work/out")
rest=$out
for part in "cores	lua51.dll	lua51.dll	5	9" "Error in application file: cmods.lua (11)" \
            "Message: cmods.lua:11: raised in C after 33" "Debugging process terminated."; do
  case $rest in
    *"$part"*) rest=${rest#*"$part"} ;;
    *) fail "C modules from the unpacked zip: no \"$part\" (in order) in:
$out" ;;
  esac
done
[ $status -eq 1 ] || fail "C modules from the unpacked zip: SorbLua.exe exited with $status, not 1"
