#!/usr/bin/env bash
# Installs the dependencies, configures and builds; prints the build folder on its last line.
# LUMINDRA_SANITIZE picks the build:
#   0 (or unset)  build/          the editor, the tests and the benchmarks (RelWithDebInfo)
#   1 or address  build-sanitize/ AddressSanitizer and UndefinedBehaviorSanitizer: the editor and
#                                 the tests
#   thread        build-tsan/     ThreadSanitizer: the test programs of the threaded code only
# The sanitizer builds are -O1 with line tables: fast enough to run the suite, exact enough to
# point at a line, and with assertions on.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

SANITIZER_FLAGS=(-DCMAKE_BUILD_TYPE=Debug "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -g1" "-DCMAKE_C_FLAGS_DEBUG=-O1 -g1"
                 -DLUMINDRA_BUILD_BENCH=OFF)
TARGETS=()
case "${LUMINDRA_SANITIZE:-0}" in
  0)
    BUILD_DIR=build
    EXTRA=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
  1|address)
    BUILD_DIR=build-sanitize
    EXTRA=(-DLUMINDRA_SANITIZE=ON "${SANITIZER_FLAGS[@]}") ;;
  thread)
    BUILD_DIR=build-tsan
    EXTRA=(-DLUMINDRA_TSAN=ON "${SANITIZER_FLAGS[@]}")
    # Event lists and worker threads, the forwarder, the settings writer and objects connector,
    # the background pool, the render threads, the provider with its preload worker and the helper.
    TARGETS=(--target test_core test_util test_proc test_photocore test_workspace) ;;
  *)
    echo "LUMINDRA_SANITIZE must be 0, 1, address or thread" >&2
    exit 1 ;;
esac

cmake -S . -B "$BUILD_DIR" "${EXTRA[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)" "${TARGETS[@]}"
echo "$BUILD_DIR"
