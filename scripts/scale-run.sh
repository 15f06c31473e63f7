#!/usr/bin/env bash
# Times every subcommand of the orvane tool end to end on a large model and prints a table of
# wall time, peak memory (the largest process, from /usr/bin/time -v) and the time of each
# phase the tool reports (reading, welding, building, the algorithm, writing).
#
# The model is made by the tool itself, so nothing is downloaded: a gyroid lattice of
# 7.76 million triangles (a 388 MB binary STL) at the default grid of 400.
#   scripts/scale-run.sh                      build the release tool, make the model, run all
#   scripts/scale-run.sh --grid 200           a smaller model (about 1.9 M triangles)
#   scripts/scale-run.sh --tool PATH --model FILE --work DIR --only "info slice"
# ORVANE_SCALE_TIMEOUT (default 600) limits each run, in seconds, and ORVANE_SCALE_MEMORY_GB
# (default 16) its address space, so that a run that outgrows the machine fails with the
# tool's "out of memory" instead of waking the kernel's OOM killer.
set -euo pipefail
cd "$(dirname "$0")/.."

grid=400
tool=""
model=""
work="build/scale"
only="info slice segment boundaries voxelize inside"
while [[ $# -gt 0 ]]; do
  case "$1" in
    --grid) grid="$2"; shift 2 ;;
    --tool) tool="$2"; shift 2 ;;
    --model) model="$2"; shift 2 ;;
    --work) work="$2"; shift 2 ;;
    --only) only="$2"; shift 2 ;;
    -h|--help) sed -n '2,12p' "$0"; exit 0 ;;
    *) echo "scale-run: unknown argument '$1' (see --help)" >&2; exit 2 ;;
  esac
done
limit="${ORVANE_SCALE_TIMEOUT:-600}"
memory_kb=$(( ${ORVANE_SCALE_MEMORY_GB:-16} * 1024 * 1024 ))

scripts/deps.sh
if [[ -z "$tool" ]]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target orvane -j "$(nproc 2>/dev/null || echo 2)" >/dev/null
  tool="build/release/apps/orvane/orvane"
fi
mkdir -p "$work"
if [[ -z "$model" ]]; then
  model="$work/gyroid-$grid.stl"
  if [[ ! -s "$model" ]]; then
    echo "scale-run: making $model" >&2
    "$tool" --quiet isosurface --gyroid 8 --size 40 --grid "$grid" -o "$model" >/dev/null
  fi
fi

# One run: the command's arguments after the model. Prints a table row.
run() {
  local name="$1"; shift
  local log="$work/$name.log" timing="$work/$name.time"
  local status=0
  (ulimit -v "$memory_kb"
   exec timeout "$limit" /usr/bin/time -v -o "$timing" "$tool" --progress "$name" "$model" "$@") \
    >"$work/$name.out" 2>"$log" || status=$?
  local wall rss phases
  wall=$(awk -F': ' '/Elapsed \(wall clock\)/ {print $2}' "$timing" 2>/dev/null || true)
  rss=$(awk -F': ' '/Maximum resident set size/ {printf "%.2f GB", $2 / 1048576}' "$timing" 2>/dev/null || true)
  # "Stage: done, 1.23 s" lines, shortened to their first word.
  phases=$(awk -F': done, ' '/: done, / {split($1, w, " "); printf "%s%s %s", sep, w[1], $2; sep = "; "}' "$log")
  if [[ $status -eq 124 ]]; then wall="> ${limit} s (stopped)"; fi
  if [[ $status -ne 0 && $status -ne 124 ]]; then phases="failed (exit $status): $(tail -1 "$log")"; fi
  printf '| `%s %s` | %s | %s | %s |\n' "$name" "$*" "${wall:-?}" "${rss:-?}" "$phases"
}

triangles=$("$tool" --quiet info "$model" | awk '/^triangles/ {print $2}')
echo "Model: $model ($triangles triangles, $(du -h "$model" | cut -f1)); tool: $tool; $(nproc) cores"
echo
echo "| command | wall | peak memory | phases |"
echo "|---|---|---|---|"
for command in $only; do
  case "$command" in
    info) run info ;;
    slice) run slice --layer-height 0.2 -o "$work/layers.json" ;;
    segment) run segment --angle 30 -o "$work/faces.ply" ;;
    boundaries) run boundaries -o "$work/borders.json" ;;
    voxelize) run voxelize --grid 128 -o "$work/voxels.stl" ;;
    inside) run inside 0 0 0 ;;
    *) echo "scale-run: unknown command '$command'" >&2; exit 2 ;;
  esac
done
