#!/usr/bin/env bash
# Installs what is missing, builds both configurations and runs every test in each.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
jobs=$(nproc 2>/dev/null || echo 2)
status=0
for config in release debug; do
  dir=$("$root/scripts/build.sh" "$config" | tail -n 1)
  echo "== tests: $config =="
  if [ "$config" = debug ]; then
    export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
    export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
  fi
  (cd "$dir" && ctest --output-on-failure -j "$jobs") || status=1
done
exit $status
