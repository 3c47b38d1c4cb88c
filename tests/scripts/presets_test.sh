#!/usr/bin/env bash
# What ./run and the documents switch off in a build folder, the preset switches on again: ./test uses the same folders.
# usage: presets_test.sh SOURCE_FOLDER
set -euo pipefail
cd "$1"
mapfile -t presets < <(grep -hoE -- '--preset [a-z-]+ -DNERIO_TESTS=OFF' run README.md docs/*.md | cut -d' ' -f2 | sort -u)
[ "${#presets[@]}" -gt 0 ] || { echo "no preset is configured without the tests any more: this test is of no use" >&2; exit 1; }
for preset in "${presets[@]}"; do
  shown=$(cmake -N --preset "$preset" 2>&1)
  case $shown in
    *'NERIO_TESTS="ON"'*) ;;
    *) echo "the preset $preset leaves NERIO_TESTS as it finds it: $shown" >&2; exit 1 ;;
  esac
done
