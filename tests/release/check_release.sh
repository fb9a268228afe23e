#!/usr/bin/env bash
# The release zip as a user gets it: unpacked into an empty folder, it holds
# exactly the release files, both binaries carry their version record, and
# the demo session runs against the unpacked plug-in and debugger alone (the
# session host stands in for the IDE, so it is the one file added).
set -u
zip=${1:?zip} host=${2:?demo_session.exe} info=${3:?version_info.exe}
examples=${4:?examples folder} check_demo=${5:?check_demo.sh}
fail() { echo "check_release: $*"; exit 1; }

dir=$(mktemp -d)
trap 'rm -rf "$dir"' EXIT
(cd "$dir" && cmake -E tar xf "$zip") || fail "cannot unpack $zip"

have=$(cd "$dir" && find . -type f | sed 's|^\./||' | sort | tr '\n' ' ')
want="INSTALL.txt SorbLua.dll SorbLua.exe SorbLua.html config-dialog.png "
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
