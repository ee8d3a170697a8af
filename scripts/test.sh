#!/usr/bin/env bash
# Builds everything from a fresh clone and runs the whole test suite.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh "$@"
ctest --test-dir "${XTALMOTIF_BUILD_DIR:-build}" --output-on-failure -j "$(nproc)" --timeout 1200
