#!/usr/bin/env bash
# Builds everything with AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer and
# warnings as errors, then runs every test. Installs missing Debian packages first.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset ci >/dev/null
cmake --build --preset ci -j "$jobs"
ctest --preset ci -j "$jobs"
