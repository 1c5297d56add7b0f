#!/usr/bin/env bash
# Installs what is missing, builds the Release configuration, and runs the main job
# on the bundled real AREA file: read it, remap it onto the United States region,
# and write the remapped counts as a native image under out/.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
dir=$("$root/scripts/build.sh" release | tail -n 1)
out="$root/out"
mkdir -p "$out"
set -x
"$dir/sat" -ba -me out2 -sp "$out" -pd us -of img \
  "$root/data/samples/20000516_0845_vis.area"
