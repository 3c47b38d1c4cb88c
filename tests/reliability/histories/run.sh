#!/usr/bin/env bash
# Records what 16 processes with 8 threads each do to one registry, in memory and on a disk, and looks for an order that
# explains every answer; then the tests of threads under ThreadSanitizer. A part of scripts/check long.
#
#   run.sh           NERIO_SECONDS: at most about so long (900); NERIO_SEED: gives the calls
#   run.sh --short PROGRAM    a few seconds, in memory, with a program that is built already
set -euo pipefail
cd "$(dirname "$0")/../../.."
seconds=${NERIO_SECONDS:-900}
seed=${NERIO_SEED:-$RANDOM}
failed=0
work=()
trap 'rm -rf "${work[@]}"' EXIT

# judge WHERE OPERATIONS SECONDS [FAULT]: says what came out in $said; its exit code is the program's
judge() {
  local folder=$1/nerio-histories-$$ status=0
  work+=("$folder")
  rm -rf "$folder"
  said=$("$program" "$folder" "$2" "$3" "$seed" "${@:4}") || status=$?
  rm -rf "$folder"
  return $status
}

# Each planted fault must be an answer that nothing explains.
plant() {
  local fault status
  for fault in stale-read lost-write; do
    status=0
    judge "$1" 30000 60 "$fault" 2>/dev/null || status=$?
    if [ $status = 1 ]; then
      echo "planted: ${fault/-/ } in one of 50 calls: $said"
    else
      echo "histories: a planted $fault was not seen (exit $status): $said" >&2
      failed=1
    fi
  done
}

if [ "${1:-}" = --short ]; then
  program=$2
  judge "${TMPDIR:-/tmp}" 30000 20
  echo "figure: $said"
  plant "${TMPDIR:-/tmp}"
  exit $failed
fi

{ cmake --preset dev && cmake --build build/dev --target nerio_histories; } >&2
program=build/dev/tests/reliability/nerio_histories
for where in /dev/shm build; do
  kind=$(stat -f -c %T "$where")
  if judge "$where" 1000000 $((seconds / 4)); then
    echo "figure: $kind: $said"
  else
    echo "histories: on $kind, NERIO_SEED=$seed: $said" >&2
    failed=1
  fi
done
plant /dev/shm

{ cmake --preset tsan && cmake --build build/tsan --target registry_stress_tests; } >&2
rounds=0
until [ $SECONDS -gt $((seconds * 9 / 10)) ]; do
  if ! build/tsan/tests/hosts/linux/store/registry_stress_tests --gtest_filter='Stress.FourThreads*:Stress.ThreadsThrough*' >&2; then
    failed=1
    break
  fi
  rounds=$((rounds + 1))
done
echo "figure: ThreadSanitizer: the tests of threads $rounds times, $((failed == 0 ? 0 : 1)) races"
exit $failed
