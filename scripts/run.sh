#!/usr/bin/env bash
# Installs what is missing, builds the Release configuration, and runs the main job
# on the bundled real AREA file: read it, remap it onto the United States region
# with the state map and a 10-degree graticule over it, and write the remapped
# counts as a native image under out/. With a DISPLAY the picture opens in a window
# (Return ends it); without one the program draws on a private X server and dumps
# the window to out/sample.png.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/install-deps.sh"
dir=$("$root/scripts/build.sh" release | tail -n 1)
out="$root/out"
mkdir -p "$out"
sample="$root/data/samples/20000516_0845_vis.area"
if [ -n "${DISPLAY:-}" ]; then
  set -x
  "$dir/sat" -me out2 -sp "$out" -pd us -pp lalo=10 -of img "$sample"
else
  rm -f "$out/sample.png"
  set -x
  xvfb-run -a -s "-screen 0 1280x1024x24" \
    "$dir/sat" -ba -me out2 -sp "$out" -pd us -pp "lalo=10,png:$out/sample.png" -of img "$sample"
  set +x
  test -s "$out/sample.png"
  echo "The picture: $out/sample.png"
fi
