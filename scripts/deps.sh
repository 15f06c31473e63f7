#!/usr/bin/env bash
# Installs the Debian packages that building, testing and running Orvane need, when they
# are missing. Runs apt-get as root, or through sudo when that is available.
#   scripts/deps.sh            everything (library, tests, benchmarks, command-line tool, Python
#                              module with its tests and example)
#   scripts/deps.sh fuzz       also clang and its sanitizer runtimes, for the fuzz targets
set -euo pipefail

packages=(cmake g++ make pkg-config libgtest-dev libbenchmark-dev libassimp-dev libcli11-dev
          nlohmann-json3-dev python3 time
          python3-dev pybind11-dev python3-pybind11 python3-numpy python3-pytest python3-matplotlib)
if [[ "${1:-}" == "fuzz" ]]; then
  packages+=(clang libclang-rt-dev)
fi

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed"; then
    missing+=("$p")
  fi
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

if [[ "$(id -u)" == 0 ]]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "deps: missing Debian packages: ${missing[*]} (run as root or install sudo)" >&2
  exit 1
fi
echo "deps: installing ${missing[*]}" >&2
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -qq >&2
"${sudo[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >&2
