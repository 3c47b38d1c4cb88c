#!/usr/bin/env bash
# The mutants of one source, each against the tests of that source: what the long form does with all of them.
#
#   short.sh BUILD LIBRARY...     BUILD: a build folder with compile_commands.json; LIBRARY: what the source links
set -euo pipefail
cd "$(dirname "$0")/../../.."
here=tests/reliability/mutants
source=nerio/support/build_path
build=$1
shift
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

git ls-files -z 'nerio/*.h' | xargs -0 cp --parents -t "$work"
cp --parents $source.cpp tests/support/build_path_test.cpp "$work"
/usr/bin/python3 $here/make_mutants.py "$build" "$work" /dev/null $source.cpp
c++ -std=c++20 -O0 -w -I "$work" -I . -include $here/mutant.h -o "$work/program" "$work/$source.cpp" $here/chosen.cpp \
  "$work/tests/support/build_path_test.cpp" "$@" -lgtest_main -lgtest
"$work/program" --gtest_brief=1 >/dev/null || { echo "the tests fail without a mutant" >&2; exit 1; }

killed=0
explained=0
failed=0
while IFS=$'\t' read -r number file line change text key; do
  [ "$file" = $source.cpp ] || continue
  if ! NERIO_MUTANT=$number timeout 20 "$work/program" --gtest_brief=1 --gtest_fail_fast >/dev/null 2>&1; then
    killed=$((killed + 1))
  elif grep -q "^$key	" $here/survivors.tsv; then
    explained=$((explained + 1))
  else
    printf 'alive: %s\t%s\t%s\t%s\t%s\n' "$key" "$file" "$line" "$change" "$text" >&2
    failed=1
  fi
done <"$work/mutants.tsv"
echo "figure: $source.cpp: $killed mutants killed, $explained survive with a reason"
[ "$failed" = 0 ] && [ "$killed" -gt 20 ]
