#!/usr/bin/env bash
# Installs, builds and runs the tests through CTest, three ways: the whole suite as the editor is
# built; the whole suite built with AddressSanitizer and UndefinedBehaviorSanitizer; the test
# programs of the threaded code built with ThreadSanitizer. A sanitizer report fails its test.
# LUMINDRA_SANITIZE=0, =address (or 1) or =thread runs only that one (see scripts/build.sh).
set -euo pipefail
cd "$(dirname "$0")/.."

export QT_QPA_PLATFORM=${QT_QPA_PLATFORM:-offscreen}
export GLOG_logtostderr=1

run() {
  local variant=$1
  local build_dir
  build_dir=$(LUMINDRA_SANITIZE=$variant ./scripts/build.sh | tail -n 1) || return 1
  local select=()
  case $variant in
    0) ;;
    1|address)
      # Leaks: Qt and glib keep process-lifetime allocations. Impossible allocations return null,
      # as they do without the sanitizer, so that the code's own out-of-memory handling is tested.
      export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1:allocator_may_return_null=1
      export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
      # Installing and building a host tests the package, not the code the sanitizers watch.
      select=(-E '^package\.') ;;
    thread)
      export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:allocator_may_return_null=1:suppressions=$PWD/tests/sanitizers/tsan.supp"
      select=(-L '^test_(core|util|proc|photocore|workspace)$') ;;
  esac
  echo "== tests ($variant) in $build_dir"
  ctest --test-dir "$build_dir" --output-on-failure -j "$(nproc)" "${select[@]}"
}

# Each run goes ahead when an earlier one failed, so that one CI run reports every finding.
status=0
case "${LUMINDRA_SANITIZE:-all}" in
  all) for variant in 0 address thread; do run "$variant" || status=1; done ;;
  *) run "$LUMINDRA_SANITIZE" || status=1 ;;
esac
exit $status
