#!/usr/bin/env bash
# Installs, builds and starts the editor (on the bundled sample photo when no file is given).
# Without a display it proves itself instead: it renders the window offscreen into
# build/lumindra-screenshot.png.
set -euo pipefail
cd "$(dirname "$0")/.."

BUILD_DIR=$(./scripts/build.sh | tail -n 1)

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "No display: writing a screenshot of the editor to $BUILD_DIR/lumindra-screenshot.png"
  QT_QPA_PLATFORM=offscreen "$BUILD_DIR/bin/lumindra" --screenshot "$BUILD_DIR/lumindra-screenshot.png" "$@"
  echo "Screenshot written: $BUILD_DIR/lumindra-screenshot.png"
else
  exec "$BUILD_DIR/bin/lumindra" "$@"
fi
