#!/usr/bin/env bash
# The real program draws a raw file of surface observations, placed by station
# identifier, over the shipped satellite sample on a window of its own Xvfb: the
# overlay must add ink where the stations are, none for stations nobody knows.
set -euo pipefail
sat=$1
src=$2
work=$(mktemp -d)
XVFB_PID=
trap '[ -n "$XVFB_PID" ] && kill $XVFB_PID; rm -rf "$work"' EXIT
source "$src/tests/support/xvfb.sh"
start_xvfb 1280x1024x24 || { echo "no X server"; exit 1; }  # the trap ends it
sample="$src/data/samples/20000516_0845_vis.area"

cat > "$work/obs.raw" <<'RAW'
W surface observations
0859Z 16 MAY 00
!Surface observations
stn t:Temperature:%3.0f:ul wind:Wind:barb ww:Weather:wx:lr $
KDCA 21 270,15 61
KORD 12 320,25 03
KDEN 8 180,5 71
KDFW 24 160,65 17
72530 5 90,10 95
RAW
sed -e 's/^K[A-Z]*/ZZZZ/' -e 's/^72530/99998/' "$work/obs.raw" > "$work/unknown.raw"

run() {  # run NAME MAPLIST
    (cd "$work" && DISPLAY=$XVFB_DISPLAY timeout 120 \
        "$sat" -pp "png=$work/$1.png" -mf "$2" "$sample" > "$work/$1.out" 2>&1)
    pngtopnm "$work/$1.png" > "$work/$1.ppm"
}

# Pixels that differ between two PPMs of the same size (so the same header).
differ() {
    python3 -c 'import sys
a, b = (open(f, "rb").read() for f in sys.argv[1:])
assert len(a) == len(b)
at = a.index(b"\n255\n") + 5
print(sum(a[i:i + 3] != b[i:i + 3] for i in range(at, len(a), 3)))' "$1" "$2"
}

fail=0
run bare "lalo:90:360"
run obs "lalo:90:360,rf:obs.raw"
run unknown "lalo:90:360,rf:unknown.raw"

grep -q "Reading the city database file" "$work/obs.out" || { echo "no station table read"; fail=1; }
ink=$(differ "$work/bare.ppm" "$work/obs.ppm")
[ "$ink" -gt 300 ] || { echo "the overlay drew $ink pixels"; fail=1; }
stray=$(differ "$work/bare.ppm" "$work/unknown.ppm")
[ "$stray" -eq 0 ] || { echo "unknown stations drew $stray pixels"; fail=1; }
echo "overlay pixels: $ink, unknown: $stray"
exit $fail
