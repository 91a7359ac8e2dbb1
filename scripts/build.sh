#!/usr/bin/env bash
# Installs the dependencies, configures and builds. With LUMINDRA_SANITIZE=1 the build goes to
# build-sanitize/ with AddressSanitizer and UndefinedBehaviorSanitizer; otherwise to build/.
set -euo pipefail
cd "$(dirname "$0")/.."

./scripts/install-deps.sh

if [ "${LUMINDRA_SANITIZE:-0}" = "1" ]; then
  BUILD_DIR=build-sanitize
  EXTRA=(-DLUMINDRA_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug)
else
  BUILD_DIR=build
  EXTRA=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
fi

cmake -S . -B "$BUILD_DIR" "${EXTRA[@]}" >/dev/null
cmake --build "$BUILD_DIR" -j "$(nproc)"
echo "$BUILD_DIR"
