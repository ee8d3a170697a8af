#!/usr/bin/env bash
# End-to-end timing of `xtalmotif search` over a whole collection with one and with two threads.
#
#   bash bench/jobs_speedup.sh [PROGRAM] [COLLECTION]
#
# PROGRAM defaults to build/apps/xtalmotif and COLLECTION to ../shared/data/bulk, both relative
# to the repository. Each motif is searched with --jobs 1 and --jobs 2, several times in turn
# (REPEATS, default 3); the fastest wall time of each is taken, so that a burst of other work on
# the machine spoils one run rather than the figure. Every run writes --save and --json, and every
# one of those files must be byte-identical to the first one-thread run's. The output ends with
# the speed-up of each motif; the exit status is 1 when an output differs between runs, else 0.
#
# Environment: REPEATS (runs per thread count), TARGET (the speed-up called for, default 1.7;
# reported, not enforced), MOTIFS (motif names separated by '|', each optionally followed by
# search options after a ':', default "carboxylic acid dimer|donor pair:--all").
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
program="${1:-$repo/build/apps/xtalmotif}"
collection="${2:-$repo/../shared/data/bulk}"
repeats="${REPEATS:-3}"
target="${TARGET:-1.7}"
IFS='|' read -r -a motifs <<<"${MOTIFS:-carboxylic acid dimer|donor pair:--all}"

if [[ ! -x "$program" ]]; then
  echo "jobs_speedup: $program: no such program (build it, or pass its path first)" >&2
  exit 2
fi
if [[ ! -e "$collection" ]]; then
  echo "jobs_speedup: $collection: no such collection (pass a folder of CIF files second)" >&2
  exit 2
fi

work="$(mktemp -d -t jobs_speedup.XXXXXX)"
trap 'rm -rf "$work"' EXIT

load() { if [[ -r /proc/loadavg ]]; then cut -d' ' -f1-3 /proc/loadavg; else echo unknown; fi; }
now() { date +%s.%N; }

echo "program:    $program"
echo "collection: $collection"
echo "cores:      $(nproc 2>/dev/null || echo unknown)   load average at start: $(load)"
echo "repeats:    $repeats per thread count, fastest taken"
echo

status=0
summary=()
for entry in "${motifs[@]}"; do
  motif="${entry%%:*}"
  extra=""
  [[ "$entry" == *:* ]] && extra="${entry#*:}"
  declare -A best=()
  for ((r = 1; r <= repeats; ++r)); do
    for jobs in 1 2; do
      tag="j${jobs}-r${r}"
      start=$(now)
      # Exit status 1 only means "no hit"; 2 and 3 are failures.
      set +e
      # shellcheck disable=SC2086 # $extra holds options, split on purpose
      "$program" search "$motif" "$collection" --jobs "$jobs" -q $extra \
        --save "$work/$tag.save" --json "$work/$tag.json" >"$work/$tag.out" 2>"$work/$tag.err"
      rc=$?
      set -e
      end=$(now)
      if ((rc > 1)); then
        echo "jobs_speedup: \"$motif\" --jobs $jobs failed (status $rc):" >&2
        grep -v '^refused: ' "$work/$tag.err" >&2 || true
        exit 3
      fi
      wall=$(awk -v a="$start" -v b="$end" 'BEGIN { printf "%.3f", b - a }')
      printf '  %-28s --jobs %d  run %d  %7.3f s\n' "\"$motif\" $extra" "$jobs" "$r" "$wall"
      if [[ -z "${best[$jobs]:-}" ]] || awk -v w="$wall" -v b="${best[$jobs]}" \
        'BEGIN { exit !(w < b) }'; then
        best[$jobs]=$wall
      fi
      for kind in save json out; do
        if ! cmp -s "$work/j1-r1.$kind" "$work/$tag.$kind"; then
          echo "jobs_speedup: \"$motif\": $kind output of --jobs $jobs run $r" \
            "differs from that of --jobs 1 run 1" >&2
          status=1
        fi
      done
    done
  done
  hits=$(($(wc -l <"$work/j1-r1.save") - 1))
  matches=$(wc -l <"$work/j1-r1.json")
  ratio=$(awk -v a="${best[1]}" -v b="${best[2]}" 'BEGIN { printf "%.2f", a / b }')
  printf -v line '%-28s %5d hit entries %6d matches  jobs 1: %6.3f s  jobs 2: %6.3f s  %s' \
    "\"$motif\" $extra" "$hits" "$matches" "${best[1]}" "${best[2]}" "speed-up ${ratio}x"
  summary+=("$line")
  if awk -v r="$ratio" -v t="$target" 'BEGIN { exit !(r < t) }'; then
    summary+=("    below the target of ${target}x (load average now: $(load))")
  fi
  unset best
  rm -f "$work"/j*
done

echo
echo "load average at end: $(load)"
printf '%s\n' "${summary[@]}"
if ((status == 0)); then
  echo "outputs (--save, --json, hit lines): byte-identical with --jobs 1 and --jobs 2"
else
  echo "outputs: DIFFER between --jobs 1 and --jobs 2"
fi
exit $status
