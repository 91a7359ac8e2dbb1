#!/usr/bin/env bash
# A long browse in the real editor window, outside the default test run: FILES photographs
# (default 500) with preloading, an edit and a save every tenth. Prints resident memory at the
# end and its growth, both as ratios of the cache bound (see bench/SoakBench.cpp). Fails when
# memory at the end is above 1.5 times the bound or grew by more than a tenth of it.
# Usage: scripts/soak.sh [FILES]
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=$(./scripts/build.sh | tail -n 1)
OUT=$(mktemp)
trap 'rm -f "$OUT"' EXIT
LUMINDRA_SOAK_FILES=${1:-500} GLOG_v=${GLOG_v:-30} GLOG_logtostderr=1 \
  xvfb-run -a -s "-screen 0 1920x1200x24" "$BUILD_DIR/bin/lumindra-bench" soak | tee "$OUT"
awk '$1 == "soak_rss_end_vs_bound" { end = $2 } $1 == "soak_rss_growth_vs_bound" { growth = $2 }
     END { if (end == "" || end > 1.5 || growth > 0.1) { print "soak: memory did not return to the bound"; exit 1 }
           print "soak: memory returned to the bound" }' "$OUT"
