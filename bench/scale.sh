#!/usr/bin/env bash
# How indexing and a survey through the index grow with the size of a collection.
#
#   bash bench/scale.sh [PROGRAM] [COLLECTION] [COUNTS]
#
# PROGRAM defaults to build/apps/xtalmotif, COLLECTION to ../shared/data/bulk and COUNTS to
# "1 10 100". For each count N a collection of N copies of COLLECTION is made (hard links under
# renamed folders, so that it costs no disk space), indexed with --store-structures and two
# threads, and surveyed through the index for the carboxylic acid dimer with two threads. One
# line per N: entries, index build wall time, index size, survey wall time, the survey's peak
# memory and the rates per entry; time should grow in proportion to N and the survey's memory
# only by what the index itself holds per entry.
#
# Environment: MOTIF (default "carboxylic acid dimer"), JOBS (default 2), KEEP=1 keeps the
# collections in the scratch folder it names.
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
program="${1:-$repo/build/apps/xtalmotif}"
collection="${2:-$repo/../shared/data/bulk}"
counts="${3:-1 10 100}"
motif="${MOTIF:-carboxylic acid dimer}"
jobs="${JOBS:-2}"

if [[ ! -x "$program" ]]; then
  echo "scale: $program: no such program (build it, or pass its path first)" >&2
  exit 2
fi
if [[ ! -d "$collection" ]]; then
  echo "scale: $collection: no such collection (pass a folder of CIF files second)" >&2
  exit 2
fi
scratch="$(mktemp -d)"
[[ "${KEEP:-0}" == 1 ]] || trap 'rm -rf "$scratch"' EXIT

# Wall seconds and peak resident kilobytes of a command, as "SECONDS KB".
measure() {
  /usr/bin/time -f "%e %M" -o "$scratch/time" "$@" >/dev/null 2>"$scratch/err" || {
    cat "$scratch/err" >&2
    return 1
  }
  cat "$scratch/time"
}

printf '%8s %9s %10s %9s %10s %10s %12s %12s\n' copies entries index_s index_MB survey_s \
  survey_MB index_us/e survey_us/e
for n in $counts; do
  dir="$scratch/copies$n"
  mkdir -p "$dir"
  for ((k = 1; k <= n; k++)); do
    cp -al "$collection" "$dir/copy$k"
  done
  read -r index_s _ < <(measure "$program" index "$dir" -o "$dir.idx" --store-structures -j "$jobs" -q)
  read -r survey_s survey_kb < <(measure "$program" search "$motif" "$dir.idx" -j "$jobs" -q)
  "$program" search "$motif" "$dir.idx" -j 1 2>"$scratch/summary" >/dev/null || true
  entries=$(sed -n 's/^motif "[^"]*": \([0-9]*\) entries.*/\1/p' "$scratch/summary")
  size=$(stat -c %s "$dir.idx")
  awk -v n="$n" -v e="$entries" -v is="$index_s" -v sz="$size" -v ss="$survey_s" -v kb="$survey_kb" \
    'BEGIN { printf "%8d %9d %10.2f %9.1f %10.2f %10.1f %12.1f %12.1f\n", n, e, is, sz / 1e6, ss,
             kb / 1024, 1e6 * is / e, 1e6 * ss / e }'
  rm -rf "$dir" "$dir.idx"
done
