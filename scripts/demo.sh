#!/usr/bin/env bash
# Builds everything from a fresh clone and searches the structures shipped in data/structures for
# carboxylic acid dimers, printing the hits, their contacts and a summary.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/setup.sh >/dev/null
build="${XTALMOTIF_BUILD_DIR:-build}"
"$build/apps/xtalmotif" search "carboxylic acid dimer" --tsv -
