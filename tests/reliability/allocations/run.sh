#!/usr/bin/env bash
# Refuses each allocation of every public routine in turn, on both hosts. A part of scripts/check long; ./test runs the same
# programs (the entries allocations and component).
set -euo pipefail
cd "$(dirname "$0")/../../.."
figures='s/^\([0-9]* allocations refused in [0-9]* routines\).*/figure: HOST: \1/p
  s/^\([0-9]* requests refused in [0-9]* members\).*/figure: HOST: \1/p
  s/^planted, \(.*\)/planted: HOST: \1/p'

{ cmake --preset dev && cmake --build build/dev --target nerio_allocation_tests; } >&2
build/dev/tests/allocations/nerio_allocation_tests | tee >(cat >&2) | sed -n "${figures//HOST/Linux}"

if ! { scripts/setup windows && scripts/setup-wine32; } >&2; then
  echo "not run: the routines and the component on 32-bit Windows: no mingw-w64 or no 32-bit Wine"
  exit
fi
{ cmake --preset windows && cmake --build build/windows --target nerio_allocation_tests nerio_component_tests; } >&2
ctest --test-dir build/windows -R '^wine.prefix$' >&2
cd build/windows
export WINEPREFIX=$PWD/wine
for program in "tests/allocations/nerio_allocation_tests.exe" "tests/component/windows/nerio_component_tests.exe --gtest_filter=ShortMemory.*"; do
  # shellcheck disable=SC2086
  wine32 $program | tr -d '\r' | tee >(cat >&2) | sed -n "${figures//HOST/Windows}"
done
