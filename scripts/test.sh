#!/usr/bin/env bash
# Builds everything with AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer and
# warnings as errors, then runs every test. Installs missing Debian packages first.
# Then the robustness checks: a short run of every fuzz target (clang, ORVANE_CI_FUZZ_SECONDS
# each, default 60; 0 skips them) and the corpus run of the orvane tool over a few small
# real meshes (README, "Robustness").
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset ci >/dev/null
cmake --build --preset ci -j "$jobs"
ctest --preset ci -j "$jobs"

fuzz_seconds="${ORVANE_CI_FUZZ_SECONDS:-60}"
if [[ "$fuzz_seconds" != 0 ]]; then
  scripts/fuzz.sh "$fuzz_seconds"
fi
scripts/corpus-run.sh --subset --tool build/ci/apps/orvane/orvane
