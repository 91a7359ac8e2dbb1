#!/usr/bin/env bash
# Installs, builds and runs every test through CTest. LUMINDRA_SANITIZE=1 runs the suite built
# with AddressSanitizer and UndefinedBehaviorSanitizer.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=$(./scripts/build.sh | tail -n 1)

export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
export GLOG_logtostderr=1
if [ "${LUMINDRA_SANITIZE:-0}" = "1" ]; then
  # Qt and glib keep process-lifetime allocations; leaks are not what this run looks for.
  # Impossible allocations return null, as they do without the sanitizer, so that the code's own
  # out-of-memory handling is what gets tested.
  export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1:allocator_may_return_null=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi
ctest --test-dir "$BUILD_DIR" --output-on-failure -j "$(nproc)"
