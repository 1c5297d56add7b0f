#!/bin/bash
# The vector devices of the real program against its window (a private Xvfb,
# dumped by xwd and xwdtopnm). One plot of maps, graticule, labels and an "mf:"
# metafile in PostScript (Ghostscript) and in HPGL (hp2xx): each rendering's ink,
# scaled to the window's by its bounding box, lies within a pixel of the window's
# lines. A metafile laid on an image changes only its own viewport. The radar
# composite in colour PostScript has the window's colour at every image pixel;
# an output that cannot be created ends the run with exit code 4, leaving nothing.
set -u
SAT=$1
SRC=$2
AREA=$3/area/radar_composite_ps_2000137_0859.area
tmp=$(mktemp -d)
xvfb=0
sat=0
trap '[ $sat -gt 0 ] && kill $sat; [ $xvfb -gt 0 ] && kill $xvfb; [ -n "${KEEP:-}" ] || rm -rf "$tmp"' EXIT
fail() {
    echo "FAIL: $*"
    exit 1
}
run_sat() {  # a clean environment but for sanitizer settings and what the caller adds
    env -i PATH="$PATH" HOME="$tmp" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} "$@"
}

source "$SRC/tests/support/xvfb.sh"
start_xvfb 1280x1024x24 || true
xvfb=$XVFB_PID
[ "$XVFB_DISPLAY" != ":" ] || fail "no X server"

window() {  # out.ppm args...: the window of a run once two dumps agree
    local out=$1 last= sum
    shift
    # Not through run_sat: $! must be the program itself, for the kill below.
    env -i PATH="$PATH" HOME="$tmp" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} DISPLAY="$XVFB_DISPLAY" \
        "$SAT" -fp "$SRC/data" -de d "$@" </dev/null >"$out.log" 2>&1 &
    sat=$!
    for _ in $(seq 100); do
        sleep 0.2
        DISPLAY="$XVFB_DISPLAY" xwd -nobdrs -silent -name sat 2>/dev/null | xwdtopnm 2>/dev/null >"$out"
        sum=$(md5sum <"$out")
        [ "$sum" = "$last" ] && [ "$(ppmhist -noheader "$out" 2>/dev/null | wc -l)" -gt 2 ] && break
        last=$sum
    done
    kill $sat
    wait $sat 2>/dev/null
    sat=0
    [ "$(head -c 2 "$out")" = "P6" ] || fail "no window dump: $(cat "$out.log")"
}

# A PBM of the ink, cropped to its bounding box, scaled to the window's crop
# (black pixels are ink; a pixel at most `threshold` white counts as ink).
scaled() {  # in.pbm out.pbm threshold
    pnmcrop -white "$1" | pamscale -width "$W" -height "$H" 2>/dev/null |
        pamditherbw -threshold -value "$3" | pamtopnm >"$2"
}
# Ink of one with no ink of the other within a pixel, both ways.
compare() {  # a.pbm b.pbm -> "ink_a misses_a ink_b misses_b"
    pnmtoplainpnm "$1" >"$tmp/a.txt"
    pnmtoplainpnm "$2" >"$tmp/b.txt"
    awk '
        FNR == 1 { f++; n = 0; dims = 0; next }
        !dims { if (NF == 2) { w = $1; h = $2; dims = 1 }; next }
        {
            gsub(/[ \t\r]/, "")
            for (i = 1; i <= length($0); i++) {
                if (substr($0, i, 1) == "1") { if (f == 1) A[n] = 1; else B[n] = 1 }
                n++
            }
        }
        function near(M, p,   x, y, dx, dy) {
            x = p % w; y = int(p / w)
            for (dy = -1; dy <= 1; dy++) for (dx = -1; dx <= 1; dx++)
                if (x + dx >= 0 && x + dx < w && y + dy >= 0 && y + dy < h && ((p + dy * w + dx) in M))
                    return 1
            return 0
        }
        END {
            for (p in A) { na++; if (!near(B, p)) ma++ }
            for (p in B) { nb++; if (!near(A, p)) mb++ }
            print na + 0, ma + 0, nb + 0, mb + 0
        }' "$tmp/a.txt" "$tmp/b.txt"
}

# --- one plot on three devices ----------------------------------------------------
cat >"$tmp/lines.meta" <<'EOF'
ZMTMETA
VP 5 0.200000 0.200000 0.500000 0.500000
WIN 5 0.000000 0.000000 10.000000 10.000000
TR 5
PL 3 1.000000,1.000000 9.000000,2.000000 5.000000,9.000000 
TE_HGHT 1.000000
TE_ALGN 2 3
TE 5.000000,0.200000 Marks 42
EOF
# A fixed domain on pages of the window's shape (1000x800 points, 3999x3197 units).
PLOT=(-pd us -dr map,text -mf "zmt.map,lalo:10:10:white:s1,mf:$tmp/lines.meta" "$AREA")
window "$tmp/win.ppm" -ge 1000x800+0+0 "${PLOT[@]}"
run_sat "$SAT" -fp "$SRC/data" -de "ps,$tmp/p.ps,port" -ge 1389x1112+0+0 "${PLOT[@]}" \
    >"$tmp/ps.log" 2>&1 || fail "PostScript run: $(cat "$tmp/ps.log")"
run_sat zmthp_param=nopcl "$SAT" -fp "$SRC/data" -de "hpgl,$tmp/h.hpgl" -ge 394x315+0+0 \
    "${PLOT[@]}" >"$tmp/hp.log" 2>&1 || fail "HPGL run: $(cat "$tmp/hp.log")"
grep -q '^IN;SP1;PA;' "$tmp/h.hpgl" || fail "HPGL start: $(head -c 200 "$tmp/h.hpgl")"

said=$(gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=pnggray -r72 -g1100x900 \
    -sOutputFile="$tmp/p.png" "$tmp/p.ps" 2>&1) && [ -z "$said" ] || fail "Ghostscript: $said"
# A 0.1 mm pen at 1016 dots to the inch is 4 pixels: a quarter scale makes it one.
hp2xx -q -m pbm -f "$tmp/h.pbm" -d 1016 -t -p 1 "$tmp/h.hpgl" || fail "hp2xx"

ppmtopgm "$tmp/win.ppm" | pamditherbw -threshold -value 0.02 | pamtopnm | pnminvert |
    pnmcrop -white >"$tmp/w.pbm"
read -r W H < <(pnmfile "$tmp/w.pbm" | awk '{ print $4, $6 }')
[ "$W" -gt 900 ] && [ "$H" -gt 600 ] || fail "window ink ${W}x$H"
pngtopnm "$tmp/p.png" | pamditherbw -threshold -value 0.9 | pamtopnm >"$tmp/pfull.pbm"
scaled "$tmp/pfull.pbm" "$tmp/ps.pbm" 0.99
scaled "$tmp/h.pbm" "$tmp/hp.pbm" 0.7

for device in ps hp; do
    read -r win_ink win_miss dev_ink dev_miss < <(compare "$tmp/w.pbm" "$tmp/$device.pbm")
    echo "$device: window ink $win_ink, $win_miss off the device's; device ink $dev_ink, $dev_miss off the window's"
    [ "$win_ink" -gt 20000 ] && [ "$dev_ink" -gt 20000 ] || fail "$device: too little ink"
    # A handful of window pixels may miss where rasterisers part on a corner, and
    # device ink where round pen caps overshoot line ends.
    [ "$win_miss" -le 10 ] || fail "$device: $win_miss window pixels with no device line near"
    [ $((dev_miss * 200)) -le "$dev_ink" ] || fail "$device: $dev_miss device pixels off the window's lines"
done

# --- a metafile laid on an image ------------------------------------------------
printf 'ZMTMETA\n' >"$tmp/empty.meta"
cat >"$tmp/marks.meta" <<'EOF'
ZMTMETA
VP 5 0.200000 0.200000 0.500000 0.500000
WIN 5 0.000000 0.000000 10.000000 10.000000
TR 5
PL_CLR 3
PL 3 1.000000,1.000000 9.000000,2.000000 5.000000,9.000000 
PM_CLR 2
PM_SIZE 1.500000
PM_TYPE 4
PM 1 2.000000,6.000000 
PM_TYPE 6
PM 1 8.000000,6.000000 
TE_CLR 5
TE_HGHT 1.000000
TE 1.000000,4.000000 Marks 42
EOF
window "$tmp/bare.ppm" -ge 1000x800+0+0 -dr data,map -mf "mf:$tmp/empty.meta" "$AREA"
window "$tmp/over.ppm" -ge 1000x800+0+0 -dr data,map -mf "mf:$tmp/marks.meta" "$AREA"
# Changed pixels, and those outside the metafile's viewport (x 160..400, y 400..640).
read -r lit changed outside < <(paste <(pnmtoplainpnm "$tmp/bare.ppm" | tail -n +4 | tr -s ' \n' '\n\n' | grep .) \
    <(pnmtoplainpnm "$tmp/over.ppm" | tail -n +4 | tr -s ' \n' '\n\n' | grep .) | awk '
    { c = (NR - 1) % 3; if ($1 > 0) on = 1; if ($1 != $2) d = 1 }
    c == 2 { p = int((NR - 1) / 3); x = p % 1000; y = int(p / 1000)
             e += on; if (d) { n++; if (x < 158 || x > 402 || y < 398 || y > 642) o++ }
             on = 0; d = 0 }
    END { print e + 0, n + 0, o + 0 }')
echo "image pixels lit $lit; changed by the metafile $changed, $outside outside its viewport"
[ "$lit" -gt 5000 ] || fail "no image under the metafile"
[ "$changed" -gt 200 ] || fail "the metafile drew $changed pixels"
[ "$outside" -eq 0 ] || fail "$outside pixels changed outside the metafile's viewport"

# --- the radar composite in colour PostScript and on a window of its page's size
window "$tmp/pswin.ppm" -ge 756x576+0+0 -dr data "$AREA"
run_sat "$SAT" -fp "$SRC/data" -dr data -de "ps,$tmp/colour.ps,color" "$AREA" >"$tmp/ps.out" 2>&1 ||
    fail "PostScript run: $(cat "$tmp/ps.out")"
said=$(gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16m -r72 -sPAPERSIZE=letter \
    -sOutputFile="$tmp/colour.ps.png" "$tmp/colour.ps" 2>&1) && [ -z "$said" ] || fail "Ghostscript: $said"
# Device point (x, y) lies on page pixel (594 - y, 791 - (x + 18)), which a
# clockwise turn takes to (x + 18, 594 - y); the window counts rows from the top.
read -r vx vy vw vh < <(awk '/^gsave$/ { getline; a = $1 " " $2; getline; print a, $1, $2; exit }' \
    "$tmp/colour.ps")
[ -n "${vh:-}" ] && [ "$vw" -ge 640 ] && [ "$vh" -ge 350 ] || fail "image viewport ${vw:-}x${vh:-}"
pamcut -left "$vx" -top "$vy" -width 640 -height 350 "$tmp/pswin.ppm" | pnmtoplainpnm |
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
run_sat "$SAT" -fp "$SRC/data" -de "ps,$tmp/bad/plain/out.ps" "$AREA" >"$tmp/bad.out" 2>&1
rc=$?
[ $rc -eq 4 ] || fail "exit code $rc"
grep -q "gopen_ws: unable to open postscript file" "$tmp/bad.out" || fail "$(cat "$tmp/bad.out")"
[ "$(ls -A "$tmp/bad")" = "plain" ] || fail "left behind: $(ls -A "$tmp/bad")"
echo "PASS"
