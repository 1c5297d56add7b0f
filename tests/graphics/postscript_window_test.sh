#!/bin/bash
# The same run shown in a window (Xvfb of the test's own, dumped by xwd and
# xwdtopnm) and written as colour PostScript (rendered by Ghostscript): the image
# of the radar composite has the same colours at the same places in both.
set -u
SAT=$1
SRC=$2
AREA=$3/area/radar_composite_ps_2000137_0859.area
tmp=$(mktemp -d)
xvfb=0
sat=0
cleanup() {
    [ "$sat" -gt 0 ] && kill "$sat" 2>/dev/null
    [ "$xvfb" -gt 0 ] && kill "$xvfb" 2>/dev/null
    rm -rf "$tmp"
}
trap cleanup EXIT
fail() {
    echo "FAIL: $*"
    exit 1
}

for n in $(seq 210 290); do
    [ -e "/tmp/.X$n-lock" ] || [ -e "/tmp/.X11-unix/X$n" ] && continue
    Xvfb ":$n" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
    xvfb=$!
    for _ in $(seq 50); do
        DISPLAY=":$n" xwd -root -silent >/dev/null 2>&1 && break 2
        kill -0 "$xvfb" 2>/dev/null || break
        sleep 0.1
    done
    kill "$xvfb" 2>/dev/null
    xvfb=0
done
[ "$xvfb" -gt 0 ] || fail "no X server"
export DISPLAY=":$n"

# The window the size of the PostScript plot, so both lay out the same viewport;
# only the image is drawn, no map lines or labels.
env -i PATH="$PATH" HOME="$tmp" DISPLAY="$DISPLAY" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} \
    "$SAT" -fp "$SRC/data" -dr data -ge 756x576+0+0 "$AREA" >"$tmp/win.out" 2>&1 &
sat=$!
# Two dumps in a row that agree and show more than the background: the plot is done.
last=
for _ in $(seq 100); do
    sleep 0.2
    xwd -nobdrs -silent -name sat 2>/dev/null | xwdtopnm 2>/dev/null >"$tmp/win.ppm" || continue
    sum=$(md5sum <"$tmp/win.ppm")
    [ "$sum" = "$last" ] && [ "$(ppmhist -noheader "$tmp/win.ppm" | wc -l)" -gt 2 ] && break
    last=$sum
done
kill "$sat" 2>/dev/null
wait "$sat" 2>/dev/null
sat=0
[ "$(head -c 2 "$tmp/win.ppm")" = "P6" ] || fail "no window dump: $(cat "$tmp/win.out")"

env -i PATH="$PATH" HOME="$tmp" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} \
    "$SAT" -fp "$SRC/data" -dr data -de "ps,$tmp/out.ps,color" "$AREA" >"$tmp/ps.out" 2>&1 ||
    fail "PostScript run: $(cat "$tmp/ps.out")"
gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16m -r72 -sPAPERSIZE=letter \
    -sOutputFile="$tmp/page.png" "$tmp/out.ps" || fail "Ghostscript"

# The image's place on the device, and the window's rows counted from the top:
# device point (x, y) lies on page pixel (594 - y, 791 - (x + 18)), which the
# clockwise turn takes to column x + 18, row 594 - y.
read -r vx vy < <(awk '/^gsave$/ { getline; print $1, $2; exit }' "$tmp/out.ps")
read -r vw vh < <(awk '/^gsave$/ { getline; getline; print $1, $2; exit }' "$tmp/out.ps")
[ -n "$vw" ] || fail "no image in the PostScript file"
w=$((vw < 640 ? vw : 640))
h=$((vh < 350 ? vh : 350))
pamcut -left "$vx" -top "$vy" -width "$w" -height "$h" "$tmp/win.ppm" |
    pnmtoplainpnm | tail -n +4 | tr -s ' \n' '\n\n' | grep . >"$tmp/win.txt"
pngtopnm "$tmp/page.png" | pamflip -cw |
    pamcut -left $((vx + 18)) -top $((594 - vy - vh)) -width "$w" -height "$h" |
    pnmtoplainpnm | tail -n +4 | tr -s ' \n' '\n\n' | grep . >"$tmp/ps.txt"

# Every channel agrees to one step of 255, and the lit pixels are the radar's echoes.
read -r total same echoes < <(paste "$tmp/win.txt" "$tmp/ps.txt" | awk '
    { c = (NR - 1) % 3; d = $1 - $2 }
    c == 0 { ok = 1; lit = 0 }
    { if (d < -1 || d > 1) ok = 0; if ($1 > 0) lit = 1 }
    c == 2 { n++; s += ok; e += lit }
    END { print n, s, e }')
echo "pixels $total, equal $same, lit in the window $echoes"
[ "$total" -eq $((w * h)) ] || fail "compared $total pixels of $((w * h))"
counted=$(od -An -v -tu1 -w1 -j768 -N224000 "$AREA" | awk '$1 != 0 { n++ } END { print n }')
[ "$echoes" -eq "$counted" ] || fail "$echoes pixels lit, the file has $counted echoes"
[ "$same" -eq "$total" ] || fail "only $same of $total pixels agree"
exit 0
