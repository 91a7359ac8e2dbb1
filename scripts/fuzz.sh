#!/usr/bin/env bash
# Builds the fuzzing programs (clang, libFuzzer, AddressSanitizer and UndefinedBehaviorSanitizer,
# in build-fuzz/) and runs each for SECONDS (default 60). Each starts from its checked-in corpus
# (tests/fuzz/corpus/NAME), the inputs found before (tests/fuzz/regressions/NAME) and, for the
# image readers, the sample photographs; the words of its format are in tests/fuzz/dict/NAME.dict.
# What it adds goes to build-fuzz/corpus/NAME. An input that crashes or breaks a promise is
# written to build-fuzz/findings/NAME/ and the script exits 1 once every program has run.
# FUZZ_TARGETS="open_image metadata" runs only those.
set -euo pipefail
cd "$(dirname "$0")/.."

SECONDS_EACH=${1:-60}
TARGETS=${FUZZ_TARGETS:-"open_image metadata cache_list session_restore settings_codec"}
BUILD_DIR=build-fuzz
TESTDATA=../shared/testdata

./scripts/install-deps.sh

LAUNCHER=()
if command -v ccache >/dev/null; then LAUNCHER=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache); fi
cmake -S . -B "$BUILD_DIR" -DCMAKE_C_COMPILER=clang -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DLUMINDRA_FUZZ=ON -DLUMINDRA_BUILD_BENCH=OFF "${LAUNCHER[@]}" >/dev/null
programs=()
for t in $TARGETS; do programs+=("fuzz_$t"); done
cmake --build "$BUILD_DIR" -j "$(nproc)" --target "${programs[@]}"

export QT_QPA_PLATFORM=offscreen
# Qt, glib and libvips keep caches for the life of the process; leaks are the bad-input tests' to
# find, through the editor's own open path.
export ASAN_OPTIONS=detect_leaks=0:allocator_may_return_null=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1

status=0
for t in $TARGETS; do
  corpus=("$BUILD_DIR/corpus/$t" "tests/fuzz/corpus/$t")
  [ -d "tests/fuzz/regressions/$t" ] && corpus+=("tests/fuzz/regressions/$t")
  case $t in open_image|metadata) [ -d "$TESTDATA" ] && corpus+=("$TESTDATA") ;; esac
  options=()
  [ -f "tests/fuzz/dict/$t.dict" ] && options+=(-dict="tests/fuzz/dict/$t.dict")
  mkdir -p "$BUILD_DIR/corpus/$t" "$BUILD_DIR/findings/$t"
  echo "== $t for ${SECONDS_EACH}s"
  # -timeout: one input taking longer is a hang; -rss_limit_mb: a decode that asks for more is a
  # bomb the pixel limit did not stop.
  if ! "$BUILD_DIR/bin/fuzz_$t" -max_total_time="$SECONDS_EACH" -timeout=60 -rss_limit_mb=3072 \
      -print_final_stats=1 -artifact_prefix="$BUILD_DIR/findings/$t/" "${options[@]}" "${corpus[@]}"; then
    echo "!! $t: a finding is in $BUILD_DIR/findings/$t/"
    status=1
  fi
done
exit $status
