#!/usr/bin/env bash
# equal_answers.sh finds equal what is equal, and one changed answer, a missing one, one changed byte of a branch, a program
# that fails and one that is missing.
#
#   equal_answers_test.sh EQUAL-ANSWERS PROGRAM
set -euo pipefail
compare=$1 program=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# other NAME COMMAND: a program that does what the real one does and COMMAND afterwards.
other() {
  printf '#!/bin/bash\nset -e\ncp "%s" program\n./program "$@"\n%s\n' "$program" "$2" >"$work/$1"
  chmod +x "$work/$1"
}
expect() {  # expect 0|1 WORDS NAME: the exit code of the comparison, and words in what it says
  local code=0
  bash "$compare" 1000 4711 "$program" "$work/$3" >"$work/said" 2>&1 || code=$?
  if [ "$code" != "$1" ] || ! grep -q -- "$2" "$work/said"; then
    echo "$3: exit code $code instead of $1, or no word of \"$2\":"
    cat "$work/said"
    exit 1
  fi
}

other same true
other changed "sed -i '500s/\$/ x/' answers"
other short "sed -i '\$d' answers"
other byte "printf X | dd of=answers.1.reg bs=1 seek=100 conv=notrunc status=none"
other unexported "rm answers.1.reg"
other failing "exit 3"
expect 0 "; 0 differences" same
expect 1 "operation 500: " changed
expect 1 "; 1 differences" changed
expect 1 "999 answers of Windows instead of 1000" short
expect 1 "answers.1.reg .* differ: char 101" byte
expect 1 "answers.1.reg" unexported
expect 1 "failing failed" failing
expect 1 "there is no program $work/missing" missing
