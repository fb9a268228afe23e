#!/usr/bin/env bash
# cp932.sh <scratch folder> command [args...]: runs the command (a Wine
# program) in a Japanese locale made under the scratch folder, so that Wine's
# ANSI code page is 932. Needs Debian's locales (localedef).
set -eu
work=$1; shift
mkdir -p "$work/locale"
[ -d "$work/locale/ja_JP.UTF-8" ] || localedef -i ja_JP -f UTF-8 "$work/locale/ja_JP.UTF-8" >/dev/null 2>&1 || true
[ -d "$work/locale/ja_JP.UTF-8" ] || { echo "cannot make the ja_JP.UTF-8 locale (Debian package locales)"; exit 1; }
LOCPATH=$work/locale LANG=ja_JP.UTF-8 LC_ALL= "$@"
