#!/usr/bin/env bash
# The main job: builds the orvane tool (release), slices the built-in part (a flange plate
# with holes and a boss) into 20 layers and writes the layer picture out/orvane-demo.svg.
# Installs missing Debian packages first. Open the printed file in any web browser.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/deps.sh
jobs="$(nproc 2>/dev/null || echo 2)"
cmake --preset release >/dev/null
cmake --build --preset release --target orvane -j "$jobs"
mkdir -p out
build/release/apps/orvane/orvane slice -o out/orvane-demo.svg -o out/orvane-demo.json
echo "Layer picture: $(pwd)/out/orvane-demo.svg"
