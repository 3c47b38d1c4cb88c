#!/usr/bin/env bash
# Lets each system call and each allocation of every verb of the tool fail in turn, with every error, and each system call of
# the registry's operations. A part of scripts/check long; ./test takes some of the calls (tool.failing_calls).
set -euo pipefail
cd "$(dirname "$0")/../../.."
{ cmake --preset dev && cmake --build build/dev --target nerio_failing_calls_tests registry_faults_tests; } >&2
log=build/long-failing-calls.log

build/dev/tests/hosts/linux/store/registry_faults_tests --gtest_brief=1 \
  --gtest_filter='RegistryFaults*:*/RegistryFaults*' | tee "$log" >&2
echo "figure: $(sed -n 's/^\[  PASSED  \] \([0-9]*\) tests.*/\1/p' "$log") sweeps over the calls of the registry, none left anything but the old state or the new one"

NERIO_EVERY_CALL=1 build/dev/tests/tools/linux/nerio_failing_calls_tests --gtest_brief=1 | tee "$log" >&2
echo "figure: the tool: $(grep -E '^[0-9]+ runs of' "$log"), every call and every error"
echo "planted: a tool that says it is done, whatever failed, is seen"
