#!/usr/bin/env bash
# What the scripts and documents name is a preset. The users' presets need no package of the tests, the developers' build the
# tests and take warnings for errors, and none of them shares the folder of ./run.
# usage: presets_test.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
fail() {
  echo "$*" >&2
  exit 1
}

mapfile -t presets < <(cmake --list-presets | sed -n 's/^ *"\([^"]*\)".*/\1/p')
[ "${#presets[@]}" -gt 0 ] || fail "cmake lists no preset"
for preset in "${presets[@]}"; do
  [ "$preset" != run ] || fail "the preset $preset builds in the folder of ./run"
  shown=$(cmake -N --preset "$preset" 2>&1)
  case $preset in
    release*) wanted='NERIO_TESTS="OFF"' ;;
    bench* | fuzz) wanted='NERIO_WERROR="ON"' ;;
    *) wanted='NERIO_TESTS="ON"*NERIO_WERROR="ON"' ;;
  esac
  case $shown in
    *$wanted*) ;;
    *) fail "the preset $preset does not say $wanted: $shown" ;;
  esac
done

named=0
while IFS=: read -r file preset; do
  case " ${presets[*]} " in
    *" $preset "*) named=$((named + 1)) ;;
    *) fail "$file names the preset $preset, which does not exist" ;;
  esac
done < <(grep -roE -- '--preset [a-z][a-z-]+' run test scripts bench fuzz .ci docs tests/*/CMakeLists.txt ./*.md | sed 's/:--preset /:/')
[ "$named" -gt 5 ] || fail "only $named presets are named in scripts and documents: this test is of no use"
