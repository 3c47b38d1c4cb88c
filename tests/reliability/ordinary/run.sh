#!/usr/bin/env bash
# All tests of ./test but the short forms of the long check: how many passed in each build. A part of scripts/check long.
set -euo pipefail
cd "$(dirname "$0")/../../.."

for preset in dev windows; do
  if [ "$preset" = windows ]; then
    if ! { scripts/setup windows && scripts/setup-wine32; } >&2; then
      echo "not run: the tests on 32-bit Windows: no mingw-w64 or no 32-bit Wine"
      continue
    fi
    beside=()
  else
    beside=(-j "$(nproc)")
  fi
  { cmake --preset "$preset" && cmake --build "build/$preset"; } >&2
  rm -rf "build/$preset/results" "build/$preset/ctest.xml"
  ctest --test-dir "build/$preset" --output-on-failure --output-junit "$PWD/build/$preset/ctest.xml" --no-tests=error \
    -LE reliability "${beside[@]}" >&2
  counts=$(scripts/count-tests "build/$preset" | sed -n 1p)
  echo "figure: $preset: ${counts% *} tests passed, ${counts#* } failed"
done
