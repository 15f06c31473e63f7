#!/usr/bin/env bash
# Fetches the public CGAL demo meshes (Debian package libcgal-demo: scans and CAD parts in
# OFF, PLY, OBJ and STL) into a cache folder and prints the folder as the last line.
# Benchmarks and the corpus run read them from there. Does nothing when they are present.
#   ORVANE_MESHES  cache folder (default: $HOME/.cache/orvane-meshes)
set -euo pipefail

cache="${ORVANE_MESHES:-${MESH_CACHE:-$HOME/.cache/orvane-meshes}}"
stamp="$cache/.libcgal-demo"
if [[ -f "$stamp" ]]; then
  echo "$cache"
  exit 0
fi

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
cd "$work"
if ! apt-get download libcgal-demo >/dev/null 2>&1; then
  if [[ "$(id -u)" == 0 ]]; then
    apt-get update -qq >&2
  elif command -v sudo >/dev/null 2>&1; then
    sudo apt-get update -qq >&2
  fi
  apt-get download libcgal-demo >&2
fi
dpkg -x libcgal-demo_*.deb pkg
archive="pkg/usr/share/doc/libcgal-dev/data.tar.gz"
tar tzf "$archive" | grep -E '^data/meshes/[^/]+\.(off|ply|obj|stl)$' > wanted || true
if [[ ! -s wanted ]]; then
  echo "fetch-meshes: no meshes in $archive" >&2
  exit 1
fi
mkdir -p "$cache"
tar xzf "$archive" -C "$cache" --strip-components=2 --no-wildcards --verbatim-files-from -T wanted
dpkg-deb -f libcgal-demo_*.deb Version > "$stamp"
echo "fetch-meshes: $(wc -l < wanted) meshes in $cache" >&2
echo "$cache"
