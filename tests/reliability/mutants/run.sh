#!/usr/bin/env bash
# Plants thousands of mutants in registry, support and store, draws 600 by a seed, and lets the tests that reach each one try to
# kill it. A part of scripts/check long.
#
#   run.sh     NERIO_SECONDS: at most about so long (3600); NERIO_SEED: what is drawn
set -euo pipefail
cd "$(dirname "$0")/../../.."
exec /usr/bin/python3 tests/reliability/mutants/run_mutants.py build/mutants "${NERIO_SECONDS:-3600}" "${NERIO_SEED:-1}"
