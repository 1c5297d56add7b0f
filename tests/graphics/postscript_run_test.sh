#!/bin/bash
# PostScript from the real program. The radar composite shown in a window (a
# private Xvfb, dumped by xwd and xwdtopnm) and written with no X server as colour
# PostScript (rendered by Ghostscript) has the same colour at every image pixel;
# an output that cannot be created ends the run with exit code 4 and leaves nothing.
set -u
SAT=$1
SRC=$2
AREA=$3/area/radar_composite_ps_2000137_0859.area
tmp=$(mktemp -d)
xvfb=0
sat=0
trap '[ $sat -gt 0 ] && kill $sat; [ $xvfb -gt 0 ] && kill $xvfb; rm -rf "$tmp"' EXIT
fail() {
    echo "FAIL: $*"
    exit 1
}
run_sat() {  # nothing of the caller's environment but sanitizer settings; $WINDOW the display
    env -i PATH="$PATH" HOME="$tmp" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} ${WINDOW:+DISPLAY="$WINDOW"} \
        "$SAT" -fp "$SRC/data" "$@"
}
render() {  # file.ps -> file.ps.png, letter at 72 dpi; Ghostscript says nothing
    local said
    said=$(gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16m -r72 -sPAPERSIZE=letter \
        -sOutputFile="$1.png" "$1" 2>&1) && [ -z "$said" ] || fail "Ghostscript on $1: $said"
}

# --- the window and colour PostScript of the same run --------------------------
source "$SRC/tests/support/xvfb.sh"
start_xvfb 1024x768x24 || true
xvfb=$XVFB_PID
[ "$XVFB_DISPLAY" != ":" ] || fail "no X server"
# The window is the size of the PostScript plot, so both lay out the same
# viewport; only the image is drawn, no map lines or labels.
WINDOW="$XVFB_DISPLAY" run_sat -dr data -ge 756x576+0+0 "$AREA" >"$tmp/win.out" 2>&1 &
sat=$!
last=
for _ in $(seq 100); do  # two equal dumps that show something: the plot is done
    sleep 0.2
    DISPLAY="$XVFB_DISPLAY" xwd -nobdrs -silent -name sat 2>/dev/null | xwdtopnm 2>/dev/null >"$tmp/win.ppm"
    sum=$(md5sum <"$tmp/win.ppm")
    [ "$sum" = "$last" ] && [ "$(ppmhist -noheader "$tmp/win.ppm" | wc -l)" -gt 2 ] && break
    last=$sum
done
kill $sat
wait $sat 2>/dev/null
sat=0
[ "$(head -c 2 "$tmp/win.ppm")" = "P6" ] || fail "no window dump: $(cat "$tmp/win.out")"

run_sat -dr data -de "ps,$tmp/colour.ps,color" "$AREA" >"$tmp/ps.out" 2>&1 ||
    fail "PostScript run: $(cat "$tmp/ps.out")"
render "$tmp/colour.ps"
# Device point (x, y) lies on page pixel (594 - y, 791 - (x + 18)), which a
# clockwise turn takes to (x + 18, 594 - y); the window counts rows from the top.
read -r vx vy vw vh < <(awk '/^gsave$/ { getline; a = $1 " " $2; getline; print a, $1, $2; exit }' \
    "$tmp/colour.ps")
[ -n "${vh:-}" ] && [ "$vw" -ge 640 ] && [ "$vh" -ge 350 ] || fail "image viewport ${vw:-}x${vh:-}"
pamcut -left "$vx" -top "$vy" -width 640 -height 350 "$tmp/win.ppm" | pnmtoplainpnm |
    tail -n +4 | tr -s ' \n' '\n\n' | grep . >"$tmp/win.txt"
pngtopnm "$tmp/colour.ps.png" | pamflip -cw | pamcut -left $((vx + 18)) -top $((594 - vy - vh)) \
    -width 640 -height 350 | pnmtoplainpnm | tail -n +4 | tr -s ' \n' '\n\n' | grep . >"$tmp/ps.txt"
# Every channel agrees to one step of 255; the lit pixels are the radar's echoes.
read -r total same lit < <(paste "$tmp/win.txt" "$tmp/ps.txt" | awk '
    { c = (NR - 1) % 3; d = $1 - $2 }
    c == 0 { ok = 1; on = 0 }
    { if (d < -1 || d > 1) ok = 0; if ($1 > 0) on = 1 }
    c == 2 { n++; s += ok; e += on }
    END { print n, s, e }')
echoes=$(od -An -v -tu1 -w1 -j768 -N224000 "$AREA" | awk '$1 != 0 { n++ } END { print n }')
[ "$total" -eq 224000 ] || fail "compared $total pixels"
[ "$lit" -eq "$echoes" ] || fail "$lit pixels lit, the file has $echoes echoes"
[ "$same" -eq "$total" ] || fail "only $same of $total pixels agree"

# --- an output that cannot be created --------------------------------------------
mkdir "$tmp/bad"
echo x >"$tmp/bad/plain"
run_sat -de "ps,$tmp/bad/plain/out.ps" "$AREA" >"$tmp/bad.out" 2>&1
rc=$?
[ $rc -eq 4 ] || fail "exit code $rc"
grep -q "gopen_ws: unable to open postscript file" "$tmp/bad.out" || fail "$(cat "$tmp/bad.out")"
[ "$(ls -A "$tmp/bad")" = "plain" ] || fail "left behind: $(ls -A "$tmp/bad")"
exit 0
