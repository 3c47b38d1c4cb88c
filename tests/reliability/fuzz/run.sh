#!/usr/bin/env bash
# Feeds every parser with what nobody expects, and the component for Windows with random calls. A part of scripts/check long:
# NERIO_SECONDS is divided evenly over the targets, two at a time; a sixth of it is for Windows. NERIO_SEED repeats a run there.
set -euo pipefail
cd "$(dirname "$0")/../../.."
seconds=${NERIO_SECONDS:-120}

{ cmake --preset fuzz && cmake --build build/fuzz --target nerio_fuzz_targets; } >&2
targets=$(find build/fuzz/fuzz -maxdepth 1 -name 'fuzz_*' -type f -perm -u+x | wc -l)
each=$((seconds * 5 / 6 * 2 / targets))
failed=no

# say WORD COMMAND...: turns each line "passed TEXT" into "WORD: TEXT"; another answer is a failure.
say() {
  local word=$1 answer
  shift
  while read -r answer; do
    case $answer in
      passed\ *) echo "$word: ${answer#passed }" ;;
      *) echo "$answer" >&2 ;;
    esac
  done < <("$@" || echo "exit code $?")
  case $answer in *", 0 failed") ;; *) failed=yes ;; esac
}
say planted fuzz/run --jobs 2 --planted
say "figure" fuzz/run --jobs 2 "$each"
echo "figure: $targets targets, $each s each, two at a time"
grep -qw avx512_vbmi /proc/cpuinfo || echo "not run: the AVX-512 form of the Base64 codec: this processor does not have it"

if ! { scripts/setup windows && scripts/setup-wine32; } >&2; then
  echo "not run: the component and the dates on 32-bit Windows: no mingw-w64 or no 32-bit Wine"
else
  { cmake --preset windows && cmake --build build/windows --target nerio_component_tests nerio_tests; } >&2
  seed=${NERIO_SEED:-$(od -An -N3 -tu4 /dev/urandom | tr -d ' ')}
  calls=$((seconds < 1200 ? seconds * 100 : 200000))
  inputs=$((seconds < 1200 ? seconds * 50 : 200000))
  log=build/windows/random.log
  if ctest --test-dir build/windows -R '^wine.prefix$' >&2 && (
    cd build/windows
    export WINEPREFIX=$PWD/wine NERIO_CALLS=$calls NERIO_SEED=$seed NERIO_TEST_SEED=$seed NERIO_INPUTS=$inputs
    wine32 tests/component/windows/nerio_component_tests.exe --gtest_filter='RandomCalls.*' &&
      wine32 tests/nerio_tests.exe --gtest_filter='*Differential*:Seeds/Differential.*'
  ) >"$log" 2>&1; then
    tr -d '\r' <"$log" | sed -n 's/^\([0-9]* random calls, seed .*\)/figure: IDispatch::Invoke: \1, nothing left taken/p
      s/^planted leak of \(.*\)/planted: a host that leaks \1/p
      s/^\(DateFromText\|TextFromDate\)\/[A-Za-z]*: \(.*\)/figure: \1: \2 from the system/p
      s/^planted difference: /planted: /p'
  else
    cat "$log" >&2
    echo "repeat it: NERIO_SEED=$seed NERIO_CALLS=$calls NERIO_INPUTS=$inputs" >&2
    failed=yes
  fi
fi
[ "$failed" = no ]
