#!/usr/bin/env bash
# Builds the fuzzing configuration and runs every libFuzzer target for SECONDS each
# (default 60), from a scratch copy of its seed corpus so that the repository's seeds
# stay as they are; as many targets at a time as there are cores. Fails when any
# target finds a crash, a hang, a leak or undefined behaviour; the input that did it
# is kept in build/fuzz/findings/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-60}
dir=${SAT_FUZZ_DIR:-$root/build/fuzz}
jobs=$(nproc 2>/dev/null || echo 2)

CC=clang CXX=clang++ cmake -S "$root" -B "$dir" -DSAT_FUZZ=ON -DCMAKE_BUILD_TYPE=Debug >/dev/null
targets=()
for src in "$root"/fuzz/*_fuzz.cpp; do targets+=("$(basename "$src" .cpp)"); done
cmake --build "$dir" -j "$jobs" --target "${targets[@]}" >&2

work=$(mktemp -d /tmp/sat_fuzz_XXXXXX)
trap 'rm -rf "$work"' EXIT
mkdir -p "$dir/findings"

# One target: 0 when it ran its time without a finding.
run_target() {
  local t=$1 name=${1%_fuzz}
  mkdir -p "$work/$name"
  if [ -d "$root/fuzz/corpus/$name" ]; then cp -r "$root/fuzz/corpus/$name/." "$work/$name/"; fi
  # Headers may ask for large pixel buffers that are allocated zeroed and never
  # touched; a single input running over 10 seconds counts as a hang.
  if "$dir/fuzz/$t" -max_total_time="$seconds" -timeout=10 -malloc_limit_mb=20000 \
       -rss_limit_mb=4096 -close_fd_mask=1 -print_final_stats=0 \
       -artifact_prefix="$dir/findings/$name-" "$work/$name" >"$work/$name.log" 2>&1; then
    echo "fuzz $t: $(grep -o 'Done [0-9]* runs' "$work/$name.log" | tail -n 1)"
  else
    echo "fuzz $t: FAILED" >&2
    tail -n 40 "$work/$name.log" >&2
    return 1
  fi
}

status=0
running=()
for t in "${targets[@]}"; do
  run_target "$t" &
  running+=($!)
  if [ ${#running[@]} -ge "$jobs" ]; then
    wait "${running[0]}" || status=1
    running=("${running[@]:1}")
  fi
done
for pid in "${running[@]}"; do wait "$pid" || status=1; done
exit $status
