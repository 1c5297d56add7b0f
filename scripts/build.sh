#!/usr/bin/env bash
# Builds one configuration: release (default) or debug (AddressSanitizer and
# UndefinedBehaviorSanitizer). Prints the build directory on the last line.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
config=${1:-release}
jobs=$(nproc 2>/dev/null || echo 2)
case "$config" in
  release) dir="$root/build/release"; flags=(-DCMAKE_BUILD_TYPE=Release) ;;
  debug) dir="$root/build/debug"; flags=(-DCMAKE_BUILD_TYPE=Debug -DSAT_SANITIZE=ON -DSAT_BENCH=OFF) ;;
  *) echo "usage: $0 [release|debug]" >&2; exit 2 ;;
esac
cmake -S "$root" -B "$dir" "${flags[@]}" >/dev/null
cmake --build "$dir" -j "$jobs" >&2
echo "$dir"
