#!/usr/bin/env bash
# The HTML report of a whole collection: its size, and how long headless Chromium takes to open it
# and draw its first match (three openings; each is printed).
#
#   bash bench/report_load.sh [PROGRAM] [COLLECTION]
#
# PROGRAM defaults to build/apps/xtalmotif and COLLECTION to ../shared/data/bulk, both relative
# to the repository; MOTIF (default "O or N donor pair") is searched with --all and --report at
# the default --report-limit. Needs what the report's browser test needs (scripts/setup.sh).
set -euo pipefail

repo="$(cd "$(dirname "$0")/.." && pwd)"
program="${1:-$repo/build/apps/xtalmotif}"
collection="${2:-$repo/../shared/data/bulk}"
work="$(mktemp -d -t report_load.XXXXXX)"
trap 'rm -rf "$work"' EXIT

# Exit status 1 only means "no hit".
"$program" search "${MOTIF:-O or N donor pair}" "$collection" --all -j 2 -q \
  --report "$work/report.html" >/dev/null 2>&1 || (($? == 1))
echo "load average: $(cut -d' ' -f1-3 /proc/loadavg 2>/dev/null || echo unknown)"
for _ in 1 2 3; do
  node "$repo/tests/apps/html_report_browser_test.js" --time "$work/report.html"
done
