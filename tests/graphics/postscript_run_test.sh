#!/bin/bash
# A batch run with no X server writes a complete PostScript page of a real AREA
# file, which Ghostscript renders; an output that cannot be created ends the run
# with exit code 4 and leaves nothing behind.
set -u
SAT=$1
SRC=$2
TESTDATA=$3
AREA=$TESTDATA/area/radar_composite_ps_2000137_0859.area
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT
fail=0
check() {  # check "what" condition...
    local what=$1
    shift
    if ! "$@"; then
        echo "FAIL: $what"
        fail=1
    fi
}
run_sat() {  # no DISPLAY and nothing of the caller's environment but sanitizer settings
    env -i PATH="$PATH" HOME="$tmp" ${ASAN_OPTIONS:+ASAN_OPTIONS="$ASAN_OPTIONS"} "$SAT" "$@"
}

# --- a complete page -----------------------------------------------------------
mkdir "$tmp/ok"
run_sat -fp "$SRC/data" -de "ps,$tmp/ok/out.ps" "$AREA" >"$tmp/ok.out" 2>"$tmp/ok.err"
rc=$?
check "exit code 0 (got $rc): $(cat "$tmp/ok.err")" test "$rc" -eq 0
check "only the finished file is left" test "$(ls -A "$tmp/ok")" = "out.ps"
ps=$tmp/ok/out.ps
check "prolog first" test "$(head -c 15 "$ps")" = "%!PS-Adobe-1.0"
check "trailer last" test "$(tail -n 4 "$ps" | tr '\n' ' ')" = "saveobj restore showpage end %%EOF "
check "an image is drawn" grep -qx 'image' "$ps"

# The image's hex data holds one sample per viewport point: the file's 640 by
# 350 counts from the top left, echoes where the radar saw them, white beyond.
read -r vw vh < <(grep -A1 '^/picstr' "$ps" | awk 'NR == 2 { print $1, $2 }')
awk '/^image$/ { on = 1; next } /^grestore$/ { on = 0 } on' "$ps" | tr -d '\n' >"$tmp/hex"
check "image of ${vw}x${vh} holds $(($(wc -c <"$tmp/hex") / 2)) samples" \
    test "$(wc -c <"$tmp/hex")" -eq $((vw * vh * 2))
od -An -v -tu1 -w640 -j768 -N224000 "$AREA" >"$tmp/counts"
bad=$(awk -v W="$vw" -v H="$vh" '
    NR == FNR { for (i = 1; i <= NF; i++) echo[NR - 1, i - 1] = $i != 0; next }
    {
        for (j = 0; j < H; j++)
            for (i = 0; i < W; i++) {
                s = substr($0, (j * W + i) * 2 + 1, 2)
                if (i < 640 && j < 350 ? (s != "00") != echo[j, i] : s != "FF") bad++
            }
    }
    END { print bad + 0 }' "$tmp/counts" "$tmp/hex")
check "samples that differ from the file's echoes: $bad" test "$bad" -eq 0

gs -q -dSAFER -dBATCH -dNOPAUSE -sDEVICE=png16m -r72 -sPAPERSIZE=letter \
    -sOutputFile="$tmp/page.png" "$ps" >"$tmp/gs.out" 2>&1
gsrc=$?
check "Ghostscript renders the page: $(head -c 300 "$tmp/gs.out")" test "$gsrc" -eq 0 -a ! -s "$tmp/gs.out"
# The radar counts become greys: the page is neither blank nor one flat tone.
if [ -s "$tmp/page.png" ]; then
    colours=$(pngtopnm "$tmp/page.png" | ppmhist -noheader | wc -l)
    check "the page shows more than two tones (got $colours)" test "$colours" -gt 2
fi

# A pipe the user typed receives the same page.
run_sat -fp "$SRC/data" -de "ps,|cat > $tmp/piped.ps" "$AREA" >/dev/null 2>&1
check "the piped page equals the file" \
    cmp -s <(grep -v '^%%CreationDate' "$ps") <(grep -v '^%%CreationDate' "$tmp/piped.ps")

# --- an output that cannot be created ---------------------------------------
mkdir "$tmp/bad"
echo x >"$tmp/bad/plain"
run_sat -de "ps,$tmp/bad/plain/out.ps" "$AREA" >"$tmp/bad.out" 2>"$tmp/bad.err"
rc=$?
check "exit code 4 (got $rc)" test "$rc" -eq 4
check "message names the failure: $(cat "$tmp/bad.err")" \
    grep -q "gopen_ws: unable to open postscript file" "$tmp/bad.err" "$tmp/bad.out"
check "nothing left behind" test "$(ls -A "$tmp/bad")" = "plain"

exit $fail
