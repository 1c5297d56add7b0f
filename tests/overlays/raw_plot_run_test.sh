#!/usr/bin/env bash
# The real program draws a raw file of surface observations, placed by station
# identifier, over the shipped satellite sample on a window of its own Xvfb: the
# overlay must add ink where the stations are, none for stations nobody knows,
# and honour "-cf none".
set -euo pipefail
sat=$1
src=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
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

run() {  # run NAME MAPLIST [options...]
    local name=$1 maps=$2
    shift 2
    (cd "$work" && timeout 120 xvfb-run -a -s "-screen 0 1280x1024x24" \
        "$sat" -pp "png=$work/$name.png" -mf "$maps" "$@" "$sample" > "$work/$name.out" 2>&1)
    pngtopnm "$work/$name.png" > "$work/$name.ppm"
}

# Pixels that differ between two pictures of the same size.
differ() {
    python3 - "$1" "$2" <<'PY'
import sys
def read(path):
    data = open(path, "rb").read()
    fields, at = [], 0
    while len(fields) < 4:  # magic, width, height, maxval; one blank before the pixels
        while data[at:at + 1].isspace():
            at += 1
        start = at
        while not data[at:at + 1].isspace():
            at += 1
        fields.append(data[start:at])
    channels = {b"P5": 1, b"P6": 3}[fields[0]]
    return (int(fields[1]), int(fields[2]), channels), data[at + 1:]
(a_size, a), (b_size, b) = read(sys.argv[1]), read(sys.argv[2])
assert a_size == b_size, (a_size, b_size)
n = a_size[2]
print(sum(1 for i in range(0, len(a), n) if a[i:i + n] != b[i:i + n]))
PY
}

fail=0
run bare "lalo:90:360"
run obs "lalo:90:360,rf:obs.raw"
run unknown "lalo:90:360,rf:unknown.raw"
run none "lalo:90:360,rf:obs.raw" -cf none

grep -q "Reading the city database file" "$work/obs.out" || { echo "no station table read"; fail=1; }
ink=$(differ "$work/bare.ppm" "$work/obs.ppm")
[ "$ink" -gt 300 ] || { echo "the overlay drew $ink pixels"; fail=1; }
stray=$(differ "$work/bare.ppm" "$work/unknown.ppm")
[ "$stray" -eq 0 ] || { echo "unknown stations drew $stray pixels"; fail=1; }
quiet=$(differ "$work/bare.ppm" "$work/none.ppm")
[ "$quiet" -eq 0 ] || { echo "-cf none drew $quiet pixels"; fail=1; }
echo "overlay pixels: $ink, unknown: $stray, none: $quiet"
exit $fail
