#!/bin/bash
# Native images written by the program, checked with a zlib of its own: Python's
# zlib inflates the compressed body stream by stream, and the pixels are compared
# with independent decodes of the same satellite files.
set -u
sat=$(realpath "$1")
src=$2
data=$(realpath "$3")
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

fail=0
run() {
    # $1 the -of value, $2 the input file
    if ! (cd "$tmp" && timeout 120 "$sat" -of "$1" -pl none -dr none "$2" >"$tmp/log" 2>&1); then
        echo "sat failed for $1 $2:"
        cat "$tmp/log"
        return 1
    fi
}

gvar=$data/area/goes8_wv_gvar_1998260_0745.area
radar=$data/area/radar_composite_ps_2000137_0859.area
run "imgz:$tmp/gvar_z.img" "$gvar" || fail=1
run "img:$tmp/gvar_p.img" "$gvar" || fail=1
run "imgz:$tmp/radar_z.img" "$radar" || fail=1
run "img:$tmp/radar_p.img" "$radar" || fail=1
[ $fail = 0 ] || exit 1

python3 - "$tmp" "$data" <<'PY' || exit 1
import struct, sys, zlib

tmp, data = sys.argv[1], sys.argv[2]
bad = []

def check(cond, what):
    if not cond:
        bad.append(what)

def split(path):
    b = open(path, 'rb').read()
    lines = []
    at = 0
    for _ in range(4):
        nl = b.index(b'\n', at)
        lines.append(b[at:nl].decode('latin-1'))
        at = nl + 1
    return lines, b[at:]

def inflate_chain(body):
    """Inflates a run of independent zlib streams; returns the pieces."""
    pieces = []
    while body:
        d = zlib.decompressobj()
        pieces.append(d.decompress(body))
        if not d.eof:
            raise ValueError('stream not ended')
        body = d.unused_data
    return pieces

def tiff16(path):
    b = open(path, 'rb').read()
    e = '<' if b[:2] == b'II' else '>'
    off = struct.unpack(e + 'I', b[4:8])[0]
    n = struct.unpack(e + 'H', b[off:off + 2])[0]
    tags = {}
    for i in range(n):
        t, typ, cnt = struct.unpack(e + 'HHI', b[off + 2 + 12 * i: off + 10 + 12 * i])
        raw = b[off + 10 + 12 * i: off + 14 + 12 * i]
        tags[t] = struct.unpack(e + ('H' if typ == 3 else 'I'), raw[:2 if typ == 3 else 4])[0]
    w, h, strip = tags[256], tags[257], tags[273]
    return w, h, struct.unpack(e + '%dH' % (w * h), b[strip:strip + 2 * w * h])

for name, nx, ny in (('gvar', 1800, 400), ('radar', 640, 350)):
    zl, zbody = split('%s/%s_z.img' % (tmp, name))
    pl, pbody = split('%s/%s_p.img' % (tmp, name))
    check(zl[0] == 'ZMTIMGZ' and pl[0] == 'ZMTIMG', name + ': magic')
    check(zl[1:] == pl[1:], name + ': headers differ: %r %r' % (zl, pl))
    nums = pl[3].split()
    check(int(nums[-2]) == nx and int(nums[-1]) == ny, name + ': grid ' + pl[3])
    check(len(pbody) == nx * ny, name + ': plain body of %d bytes' % len(pbody))
    try:
        pieces = inflate_chain(zbody)
    except Exception as exc:
        bad.append('%s: zlib: %s' % (name, exc))
        continue
    check(all(len(p) == 10000 for p in pieces[:-1]) and 0 < len(pieces[-1]) <= 10000,
          name + ': pieces of 10000 bytes')
    check(b''.join(pieces) == pbody, name + ': inflated body differs from the plain one')

# Pixels against independent decodes of the satellite files.
w, h, px16 = tiff16(data + '/area/goes8_wv_gvar_1998260_0745.pixels16.tiff')
_, gbody = split(tmp + '/gvar_p.img')
check(gbody == bytes(v >> 8 for v in px16), 'gvar: pixels differ from the TIFF decode')
area = open(data + '/area/radar_composite_ps_2000137_0859.area', 'rb').read()
_, rbody = split(tmp + '/radar_p.img')
check(rbody == area[768:768 + 640 * 350], 'radar: pixels differ from the file body')

for b in bad:
    print('FAIL', b)
sys.exit(1 if bad else 0)
PY
status=$?
[ $status = 0 ] && echo "native zlib: ok"
exit $status
