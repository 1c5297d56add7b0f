#!/usr/bin/env bash
# Installs what is missing, builds both configurations and runs every test in each.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
jobs=$(nproc 2>/dev/null || echo 2)
# Formatting is part of the test: any source that differs from the root .clang-format fails the run.
echo "== format check =="
(cd "$root" && find app formats navigation env graphics plot maps overlays tests bench fuzz \
  -type f \( -name '*.cpp' -o -name '*.h' \) -print0 | xargs -0 clang-format --dry-run --Werror) || {
  echo "format check failed: run clang-format -i on the files above" >&2
  exit 1
}
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
