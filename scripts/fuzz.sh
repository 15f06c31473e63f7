#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer +
# LeakSanitizer) and runs each for a while on its seed corpus. Exits non-zero when any run
# reports a finding: crash, undefined behaviour, leak, broken invariant, timeout or
# out-of-memory. Installs clang and its sanitizer runtimes first when they are missing.
#
#   scripts/fuzz.sh [SECONDS] [TARGET...]     default: 60 seconds for every target
#
#   ORVANE_FUZZ_BUILD  build folder (default build/fuzz)
#   ORVANE_FUZZ_JOBS   targets fuzzed at the same time (default: the number of cores)
#
# Each run grows <build>/corpus/<target>/ (kept between runs, so longer campaigns can be
# made of short ones) from the seeds in fuzz/corpus/<target>/, which it never changes.
# Findings go to <build>/findings/<target>/, the run's output to <build>/logs/<target>.log.
# Reproduce a finding with: <build>/fuzz/<target> <finding file>
# (ORVANE_FUZZ_DUMP=1 makes the target print the mesh it decoded).
#
# fuzz_model_import runs Assimp in a child process per input (the tool's import sandbox),
# and that child may die: Assimp is not robust against corrupt files, and under the
# sanitizers a huge allocation it asks for cannot become std::bad_alloc. The sanitizers
# write each process's report to <build>/logs/fuzz_model_import.reports/; a report of
# AddressSanitizer whose first frame outside the sanitizer runtime lies in libassimp is
# the importer's (the reader turned it into a message, which the target checked) and is
# counted, not reported as a finding. Any other report is a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
root="$PWD"

seconds="${1:-60}"
[[ $# -gt 0 ]] && shift
all=(fuzz_slicer fuzz_segmentation fuzz_voxelization fuzz_marching_cubes fuzz_bsp_tree
     fuzz_mesh_queries fuzz_model_import)
targets=("$@")
[[ ${#targets[@]} -eq 0 ]] && targets=("${all[@]}")
build="${ORVANE_FUZZ_BUILD:-build/fuzz}"
jobs="${ORVANE_FUZZ_JOBS:-$(nproc 2>/dev/null || echo 2)}"

scripts/deps.sh fuzz
if [[ ! -f "$build/CMakeCache.txt" ]]; then
  CC=clang CXX=clang++ cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_CXX_FLAGS_RELWITHDEBINFO="-O2 -g" -DORVANE_SANITIZE=ON -DORVANE_BUILD_FUZZERS=ON \
    -DORVANE_WARNINGS_AS_ERRORS=ON -DORVANE_BUILD_TESTS=OFF -DORVANE_BUILD_BENCHMARKS=OFF \
    -DORVANE_BUILD_TOOLS=ON >/dev/null
fi
cmake --build "$build" -j "$(nproc 2>/dev/null || echo 2)" --target "${targets[@]}"

export ASAN_OPTIONS="detect_leaks=1:strict_string_checks=1"
export UBSAN_OPTIONS="print_stacktrace=1:halt_on_error=1"
export LSAN_OPTIONS="suppressions=$root/fuzz/lsan.supp:print_suppressions=0"

# "importer" when the sanitizer report $1 is AddressSanitizer's and its first frame outside
# the sanitizer runtime (allocation, interceptors) lies in libassimp, else "ours".
report_origin() {
  awk '
    /ERROR: AddressSanitizer/ { asan = 1 }
    /^ *#[0-9]+ / && !decided {
      if ($0 ~ / in (operator new|operator delete|malloc|calloc|realloc|free|__interceptor_|__asan_|mem(cpy|move|set|cmp) |str[a-z]*\()/) next
      decided = 1
      where = ($0 ~ /libassimp/) ? "importer" : "ours"
    }
    END { print (asan && where == "importer") ? "importer" : "ours" }' "$1"
}

# Runs one target; its summary line goes to <build>/logs/<target>.summary.
fuzz_one() {
  local t="$1"
  local corpus="$build/corpus/$t" findings="$build/findings/$t" log="$build/logs/$t.log"
  mkdir -p "$corpus" "$findings" "$build/logs"
  local status=0
  touch "$log.start"
  # The reader forks a child per input, whose cost grows with this process's memory: keep
  # AddressSanitizer's quarantine of freed memory small there.
  local asan="$ASAN_OPTIONS" ubsan="$UBSAN_OPTIONS" reports="$build/logs/$t.reports"
  local extra=()
  if [[ $t == fuzz_model_import ]]; then
    rm -rf "$reports"
    mkdir -p "$reports"
    asan="$asan:quarantine_size_mb=16:log_path=$reports/report"
    ubsan="$ubsan:log_path=$reports/report"
    # The importer child's allocations are left to the sanitizer (whose report is sorted
    # below) instead of libFuzzer's malloc limit (which would record the input as a finding).
    extra=(-malloc_limit_mb=1048576)
  fi
  ASAN_OPTIONS="$asan" UBSAN_OPTIONS="$ubsan" "$build/fuzz/$t" -max_total_time="$seconds" -timeout=25 \
    -rss_limit_mb=2048 -max_len=4096 "${extra[@]}" -print_final_stats=1 \
    -artifact_prefix="$findings/" "$corpus" "fuzz/corpus/$t" >"$log" 2>&1 || status=$?
  local importer=0 report
  for report in "$reports"/report.*; do
    [[ -f $report ]] || continue
    if [[ $(report_origin "$report") == importer ]]; then
      importer=$((importer + 1))
    else
      { echo "--- $report"; cat "$report"; } >>"$log"
      [[ $status -eq 0 ]] && status=98
    fi
  done
  # A finding file the run leaves behind is a finding even when the run itself ends well
  # (a child process of the target, such as the model reader's importer, can write one).
  [[ $status -eq 0 && -n "$(find "$findings" -type f -newer "$log.start" \( -name 'crash-*' -o \
     -name 'leak-*' -o -name 'timeout-*' -o -name 'oom-*' \) 2>/dev/null)" ]] && status=99
  local runs rate
  runs="$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)"
  rate="$(sed -n 's/^stat::average_exec_per_sec: *//p' "$log" | tail -1)"
  local verdict="ok"
  [[ $importer -gt 0 ]] && verdict="ok (importer deaths in the child: $importer, see $reports/)"
  [[ $status -ne 0 ]] && verdict="FINDING (exit $status, see $log and $findings/)"
  printf '%-22s %6ss %10s runs %8s exec/s  %s\n' "$t" "$seconds" "${runs:-?}" "${rate:-?}" \
    "$verdict" >"$build/logs/$t.summary"
  return "$status"
}

failed=0
running=0
for t in "${targets[@]}"; do
  fuzz_one "$t" &
  running=$((running + 1))
  if [[ $running -ge $jobs ]]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
done
while [[ $running -gt 0 ]]; do
  wait -n || failed=1
  running=$((running - 1))
done

for t in "${targets[@]}"; do cat "$build/logs/$t.summary"; done
if [[ $failed -ne 0 ]]; then
  echo "fuzz: findings reported (see above)" >&2
  exit 1
fi
echo "fuzz: no findings"
