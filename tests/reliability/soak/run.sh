#!/usr/bin/env bash
# Works for NERIO_SECONDS in one process and looks at what it has taken; the component for Windows beside it. A part of
# scripts/check long. --program FILE: only the work on Linux, with a program that is built already (the short form).
set -euo pipefail
cd "$(dirname "$0")/../../.."
seconds=${NERIO_SECONDS:-60}
seed=${NERIO_SEED:-$(od -An -N3 -tu4 /dev/urandom | tr -d ' ')}

program=build/dev/tests/reliability/nerio_soak
short=no
if [ "${1:-}" = --program ]; then
  program=$2
  short=yes
else
  { cmake --preset dev && cmake --build build/dev --target nerio_soak; } >&2
fi

# In memory, where a write is fast; the hour itself is on the disk.
fast=$([ -w /dev/shm ] && echo /dev/shm || echo "${TMPDIR:-/tmp}")
[ "$short" = no ] || export TMPDIR=$fast

# planted LEAK WORDS: the program with this leak is caught.
planted() {
  if words=$(TMPDIR=$fast "$program" 2 "$seed" --leak "$1"); then
    echo "the planted leak was not seen: $program 2 $seed --leak $1" >&2
    exit 1
  fi
  echo "planted: $2 leaked with each round: $words"
}
planted bytes "1 KiB"
planted descriptor "a descriptor"

component() {
  if ! { scripts/setup windows && scripts/setup-wine32; } >&2; then
    echo "not run: the component on 32-bit Windows: no mingw-w64 or no 32-bit Wine"
    return
  fi
  { cmake --preset windows && cmake --build build/windows --target nerio_component_tests; } >&2
  local cycles=$((seconds < 3600 ? seconds * 20 : 100000)) log=$PWD/build/windows/soak.log
  if ctest --test-dir build/windows -R '^wine.prefix$' >&2 &&
    (cd build/windows && WINEPREFIX=$PWD/wine NERIO_CYCLES=$cycles \
      wine32 tests/component/windows/nerio_component_tests.exe --gtest_filter='Soak.*') >"$log" 2>&1; then
    tr -d '\r' <"$log" | sed -n 's/^\([0-9]* calls of each member.*\|[0-9]* loads.*\)/figure: \1: nothing more taken/p
      s/^planted leak of \(.*\)/planted: a host that leaks \1/p'
  else
    cat "$log" >&2
    return 1
  fi
}
if [ "$short" = no ]; then
  component &
  windows=$!
fi
if words=$("$program" "$seconds" "$seed"); then
  echo "figure: $words"
else
  echo "$words; repeat it: $program $seconds $seed" >&2
  exit 1
fi
[ "$short" = yes ] || wait "$windows"
