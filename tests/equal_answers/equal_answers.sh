#!/usr/bin/env bash
# Does one script of random operations with the program of each host and compares every answer, and the branches of the
# registry byte by byte.
#
#   equal_answers.sh OPERATIONS SEED LINUX-PROGRAM WINDOWS-PROGRAM [LAUNCHER]
#
# SEED is a number, or "random" for one that the environment variable NERIO_TEST_SEED sets, to try a failure again. LAUNCHER
# starts the program of Windows.
set -euo pipefail
operations=$1 seed=$2 linux=$3 windows=$4
shift 4
[ "$seed" != random ] || seed=${NERIO_TEST_SEED:-$(od -An -N4 -tu4 /dev/urandom | tr -d ' ')}
echo "seed $seed"

for program in "$linux" "$windows"; do
  [ -x "$program" ] || { echo "equal_answers: there is no program $program; build it first" >&2; exit 1; }
done
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
"$linux" script "$seed" "$operations" >"$work/script"

answer() {  # answer FOLDER PROGRAM [LAUNCHER]: the program's own folder is where its trace file lies
  local folder=$work/$1 program=$2
  shift 2
  mkdir "$folder"
  cp "$program" "$folder/"
  (cd "$folder" && "$@" "./${program##*/}" run ../script answers) || { echo "equal_answers: $program failed" >&2; exit 1; }
}
answer linux "$linux"
answer windows "$windows" "$@"

result=0
"$linux" compare "$operations" "$work/linux/answers" "$work/windows/answers" || result=1
exports=("$work"/linux/answers.*.reg)
[ -e "${exports[0]}" ] || { echo "equal_answers: no branch was exported" >&2; exit 1; }
for export in "${exports[@]}"; do
  # The words for a place in a file are another language's elsewhere.
  LC_ALL=C cmp "$export" "$work/windows/${export##*/}" || result=1
done
echo "${#exports[@]} exports of the branch compared, the last of $(stat -c %s "${exports[-1]}") bytes"
exit $result
