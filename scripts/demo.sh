#!/usr/bin/env bash
# Builds everything from a fresh clone (installing the Debian packages it needs), then searches
# the real crystal structures shipped in data/structures for a carboxylic acid dimer and for
# rings of six hydrogen-bonded waters, listing each hit with its hydrogen bonds.
set -euo pipefail
cd "$(dirname "$0")/.."
echo "== Building xtalmotif (the first build takes a few minutes on two cores)"
# Only the build's progress lines and problems, not every compiler command.
set +e
bash scripts/setup.sh 2>&1 |
  grep -E --line-buffered '^\[ *[0-9]+%\] (Built target|Linking)|installing|[Ee]rror|[Ww]arning'
status=${PIPESTATUS[0]}
set -e
if [ "$status" -ne 0 ]; then
  echo "the build failed (bash scripts/setup.sh shows every step)" >&2
  exit "$status"
fi
build="${XTALMOTIF_BUILD_DIR:-build}"
program="$build/apps/xtalmotif"
[ -x "$program" ] || { echo "the build did not produce $program" >&2; exit 1; }
for motif in "carboxylic acid dimer" "water ring of six"; do
  echo
  echo "== xtalmotif search \"$motif\" data/structures"
  "$program" search "$motif" data/structures
done
