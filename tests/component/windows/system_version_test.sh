#!/usr/bin/env bash
# The built files say that they are for Windows 7 and later, which is what docs/windows.md promises and what the headers'
# version lets them use, and hold no time of their linking.
# usage: system_version_test.sh OBJDUMP FILE...
set -u
objdump=$1
shift
failures=0
for file in "$@"; do
  header=$(LC_ALL=C "$objdump" -p "$file") || exit 1
  Has() { # FIELD VALUE
    local found
    found=$(sed -n "s|^$1[[:space:]]*||p" <<<"$header" | head -n 1)
    [ "$found" = "$2" ] && return
    echo "FAILED: $file: $1 is $found, not $2"
    failures=$((failures + 1))
  }
  Has MajorSubsystemVersion 6
  Has MinorSubsystemVersion 1
  Has MajorOSystemVersion 6
  Has MinorOSystemVersion 1
  Has Time/Date 'Thu Jan  1 00:00:00 1970'
done
[ "$failures" = 0 ]
