#!/usr/bin/env bash
# The program's tables are found the same way from any working directory: a default
# run from an empty scratch directory colours the image and draws the maps and the
# latitude lines from the installed tables, to the pixel as a run pointed at them
# with -fp; a colour table in the working directory comes before the installed one.
set -euo pipefail
sat=$(realpath "$1")
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
sample="$src/data/samples/20000516_0845_vis.area"

run() {  # run NAME [options...], from the scratch directory
    local name=$1
    shift
    (cd "$work" && timeout 120 xvfb-run -a -s "-screen 0 1280x1024x24" \
        "$sat" -ba -pd us "$@" -pp "lalo=10,png:$work/$name.png" "$sample" \
        > "$work/$name.out" 2>&1)
    pngtopnm "$work/$name.png" > "$work/$name.ppm"
}

# Number of pixels of colour R G B, by netpbm's histogram.
count() {
    ppmhist -noheader "$1" | awk -v c="$2 $3 $4" '$1" "$2" "$3 == c { n = $5 } END { print n + 0 }'
}

fail() {
    echo "FAIL: $*"
    exit 1
}

run default
run pointed -fp "$src/data"
cmp -s "$work/default.ppm" "$work/pointed.ppm" ||
    fail "a default run differs from one given the installed tables"

red=$(count "$work/default.ppm" 255 0 0)
magenta=$(count "$work/default.ppm" 255 0 255)
blue=$(count "$work/default.ppm" 0 0 255)
[ "$red" -gt 5000 ] || fail "map lines missing: $red red pixels"
[ "$magenta" -gt 1000 ] || fail "latitude lines missing: $magenta magenta pixels"
[ "$blue" -gt 500 ] || fail "image not coloured by the enhancement: $blue blue pixels"

# The working directory's own table wins: red becomes green there.
sed 's/^red #FF0000$/red #00FF00/' "$src/data/zmt.clr" > "$work/zmt.clr"
grep -q '^red #00FF00$' "$work/zmt.clr" || fail "test table not made"
run own
[ "$(count "$work/own.ppm" 255 0 0)" -lt $((red / 10)) ] ||
    fail "the working directory's colour table was passed over"
[ "$(count "$work/own.ppm" 0 255 0)" -gt 5000 ] || fail "maps not drawn in the table's red"
echo PASS
