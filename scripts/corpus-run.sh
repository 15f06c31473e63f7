#!/usr/bin/env bash
# Runs every subcommand of the orvane tool, with several parameter choices, over every mesh
# of the public test set (scripts/fetch-meshes.sh: about 140 scans, CAD parts, open and
# non-manifold meshes), each run under a time limit, with a tool built under
# AddressSanitizer, UndefinedBehaviorSanitizer and LeakSanitizer. Reports per mesh the
# crashes (signals), hangs (time limit reached), sanitizer findings and peak memory, and
# exits non-zero when there is any crash, hang or sanitizer finding (or a run the tool
# answers as wrong usage, which means this script is out of date). A clear refusal of an
# unusable input (exit code 1 with a one-line message) is the tool doing its job: it is
# listed, not counted as a failure.
#
#   scripts/corpus-run.sh [--subset] [--jobs N] [--time-limit SECONDS] [--tool PATH] [MESH...]
#
#   --subset          eight small meshes of different kinds (the CI run)
#   --jobs N          runs at the same time (default: the number of cores)
#   --time-limit S    limit per run (default 600; a run that reaches it is a hang)
#   --tool PATH       an orvane binary to test (default: build one in ORVANE_CORPUS_BUILD,
#                     default build/corpus, optimised and with the sanitizers)
#   MESH...           these model files instead of the public set
#
# Peak memory is that of the sanitizer build (several times a plain build's). The report,
# one line per run, is written to <build>/corpus-report.tsv.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"

subset=0
jobs="$(nproc 2>/dev/null || echo 2)"
limit=600
tool=""
meshes=()
while [[ $# -gt 0 ]]; do
  case "$1" in
    --subset) subset=1 ;;
    --jobs) jobs="$2"; shift ;;
    --time-limit) limit="$2"; shift ;;
    --tool) tool="$2"; shift ;;
    -h|--help) sed -n '2,22p' "$0"; exit 0 ;;
    -*) echo "corpus-run: unknown option $1" >&2; exit 2 ;;
    *) meshes+=("$1") ;;
  esac
  shift
done

build="${ORVANE_CORPUS_BUILD:-build/corpus}"
mkdir -p "$build"
build="$(cd "$build" && pwd)"
if [[ -z "$tool" ]]; then
  scripts/deps.sh
  if [[ ! -f "$build/CMakeCache.txt" ]]; then
    cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g" \
      -DORVANE_SANITIZE=ON \
      -DORVANE_BUILD_TOOLS=ON -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_BENCHMARKS=OFF >/dev/null
  fi
  cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target orvane
  tool="$build/apps/orvane/orvane"
fi
tool="$(cd "$(dirname "$tool")" && pwd)/$(basename "$tool")"
[[ -x "$tool" ]] || { echo "corpus-run: no tool at $tool" >&2; exit 2; }
command -v /usr/bin/time >/dev/null || { echo "corpus-run: needs /usr/bin/time (Debian package time)" >&2; exit 2; }

if [[ ${#meshes[@]} -eq 0 ]]; then
  folder="$(scripts/fetch-meshes.sh | tail -1)"
  if [[ $subset -eq 1 ]]; then
    for m in cube.off open_cube.off tetra_intersected_by_triangle.off degtri_sliding.off \
             quads_to_stitch.off joint.off sphere.stl colored_tetra.ply; do
      meshes+=("$folder/$m")
    done
  else
    while IFS= read -r m; do meshes+=("$m"); done < <(find "$folder" -maxdepth 1 -type f \
      \( -name '*.off' -o -name '*.ply' -o -name '*.obj' -o -name '*.stl' \) | sort)
  fi
fi

# Sanitizer reports get exit codes of their own so that they are never mistaken for the
# tool's "unusable input" (1); the text is checked too.
export ASAN_OPTIONS="detect_leaks=1:exitcode=86:abort_on_error=0"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1:exitcode=87"
export LSAN_OPTIONS="suppressions=$root/fuzz/lsan.supp:print_suppressions=0:exitcode=88"

work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT
printf '0 0 0\n1 2 3\n-1e9 0 0\n0.5 0.5 0.5\n1e300 -1e300 0\n' > "$work/probes.txt"

# The runs for one mesh: a name and the arguments after the tool. OUT is a folder of the
# run's own for output files.
runs_for() {
  local m="$1"
  cat <<EOF
info	info $m --json
slice-z20	slice $m -n 20 -o OUT/layers.svg
slice-x1	slice $m -n 1 -d 1,0,0 -o OUT/layers.json
slice-tilted200	slice $m -n 200 -d 1,2,3 -o OUT/layers.json
slice-negy7	slice $m -n 7 -d 0,-1,0 -o OUT/layers.svg
segment-30	segment $m -a 30 -o OUT/faces.obj
segment-5	segment $m -a 5 -o OUT/faces.obj
boundaries	boundaries $m -o OUT/boundaries.json
voxelize-16	voxelize $m -g 16 -o OUT/voxels.stl
voxelize-40x8x3	voxelize $m -g 40 8 3 -o OUT/voxels.ply
inside	inside $m --points $work/probes.txt
EOF
}

# Runs one invocation; appends one report line: mesh, run, status, exit code, seconds,
# peak KB, first line of stderr.
run_one() {
  local mesh="$1" name="$2" args="$3" report="$4"
  local dir
  dir="$(mktemp -d "$work/run.XXXXXX")"
  args="${args//OUT/$dir}"
  local status=0
  # Sanitizer reports go to files of their own, one per process: the tool's model reader
  # imports in a child process whose standard error is discarded, and a report of the
  # child (which ends in a refusal) must count as much as one of the tool.
  # shellcheck disable=SC2086  # the argument list is split on purpose (no spaces in paths)
  ASAN_OPTIONS="$ASAN_OPTIONS:log_path=$dir/report" UBSAN_OPTIONS="$UBSAN_OPTIONS:log_path=$dir/report" \
    /usr/bin/time -f '%M %e' -o "$dir/time" timeout -k 10 "$limit" "$tool" -q $args \
    >"$dir/stdout" 2>"$dir/stderr" || status=$?
  local sanitizer=no
  if compgen -G "$dir/report.*" >/dev/null; then
    sanitizer=yes
    cat "$dir"/report.* >>"$dir/stderr"
  fi
  local kb secs verdict
  read -r kb secs < <(grep -E '^[0-9]+ [0-9.]+$' "$dir/time" | tail -1 || echo "0 0")
  if [[ $status -eq 124 || $status -eq 137 ]]; then
    verdict=HANG
  elif [[ $sanitizer == yes || ($status -ge 86 && $status -le 88) ]] ||
       grep -qE 'ERROR: (AddressSanitizer|LeakSanitizer)|runtime error:' "$dir/stderr"; then
    verdict=SANITIZER
  elif [[ $status -eq 0 ]]; then
    verdict=ok
  elif [[ $status -eq 1 ]]; then
    verdict=rejected
    [[ $(wc -l < "$dir/stderr") -ne 1 ]] && verdict=rejected-unclear
  elif [[ $status -eq 2 ]]; then
    verdict=USAGE
  else
    verdict=CRASH
  fi
  local message
  message="$( (grep -m1 -E 'ERROR: |runtime error:' "$dir/stderr" || head -n1 "$dir/stderr") |
             tr '\t' ' ' | cut -c1-200)"
  if [[ $verdict == SANITIZER || $verdict == CRASH ]]; then
    mkdir -p "$build/corpus-findings"
    cp "$dir/stderr" "$build/corpus-findings/$(basename "$mesh").$name.stderr"
  fi
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$(basename "$mesh")" "$name" "$verdict" "$status" \
    "${secs:-0}" "${kb:-0}" "$message" >> "$report"
  rm -rf "$dir"
}

run_mesh() {
  local mesh="$1" report="$work/report.$2"
  : > "$report"
  while IFS=$'\t' read -r name args; do
    run_one "$mesh" "$name" "$args" "$report"
  done < <(runs_for "$mesh")
}

started=$SECONDS
running=0
i=0
for m in "${meshes[@]}"; do
  i=$((i + 1))
  run_mesh "$m" "$i" &
  running=$((running + 1))
  if [[ $running -ge $jobs ]]; then wait -n || true; running=$((running - 1)); fi
done
# The isosurface command reads no model: once per corpus run.
run_one "(none)" "isosurface-sphere" "isosurface --sphere 3 -g 40 -o OUT/sphere.stl" "$work/report.iso"
run_one "(none)" "isosurface-gyroid" "isosurface --gyroid 2 -g 40 -o OUT/gyroid.ply" "$work/report.iso"
wait

report="$build/corpus-report.tsv"
printf 'mesh\trun\tstatus\texit\tseconds\tpeak_kb\tmessage\n' > "$report"
for ((k = 1; k <= i; k++)); do cat "$work/report.$k"; done >> "$report"
cat "$work/report.iso" >> "$report"

# Per mesh: runs, worst status, peak memory, total time.
awk -F'\t' 'NR > 1 {
    rank["ok"] = 0; rank["rejected"] = 1; rank["rejected-unclear"] = 2; rank["USAGE"] = 3;
    rank["HANG"] = 4; rank["SANITIZER"] = 5; rank["CRASH"] = 6;
    m = $1; n[m]++; t[m] += $5; if ($6 > kb[m]) kb[m] = $6;
    if (!(m in worst) || rank[$3] > rank[worst[m]]) worst[m] = $3;
    if ($3 != "ok") bad[m] = bad[m] " " $2 "=" $3;
    count[$3]++; order[m] = NR
  }
  END {
    printf "%-40s %4s %-17s %9s %8s  %s\n", "mesh", "runs", "worst", "peak MB", "seconds", "not ok";
    for (m in n) printf "%-40s %4d %-17s %9.1f %8.1f %s\n", m, n[m], worst[m], kb[m] / 1024, t[m], bad[m] | "sort";
    close("sort");
    printf "\nruns by status:";
    for (s in count) printf "  %s %d", s, count[s];
    printf "\n";
  }' "$report"
echo "report: $report ($(( SECONDS - started )) s)"

failures="$(awk -F'\t' 'NR > 1 && ($3 == "CRASH" || $3 == "HANG" || $3 == "SANITIZER" || $3 == "USAGE")' "$report" | wc -l)"
if [[ $failures -ne 0 ]]; then
  echo "corpus-run: $failures run(s) crashed, hung, hit a sanitizer or were refused as wrong usage:" >&2
  awk -F'\t' 'NR > 1 && ($3 == "CRASH" || $3 == "HANG" || $3 == "SANITIZER" || $3 == "USAGE") {print "  " $1 " " $2 ": " $3 " (exit " $4 ") " $7}' "$report" >&2
  exit 1
fi
echo "corpus-run: no crash, hang or sanitizer finding in $(( $(wc -l < "$report") - 1 )) runs"
