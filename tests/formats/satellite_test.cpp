// The AWIPS, LRIT, TIFF and Unisys readers on the real files of the test data
// against independent decoders (Python's zlib, netpbm, djpeg's expected decodes,
// libtiff) and PROJ, on broken and hostile copies, and through whole runs.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/sat.h"
#include "formats/awips.h"
#include "formats/lrit.h"
#include "formats/tiff.h"
#include "formats/unisys.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"
#include "reader_harness.h"

namespace {

using sat_test::pgm_pixels;
using sat_test::real;

const std::string kZlib = "awips/west_conus_ch4_zlib_20030629_1330.gini";
const std::string kPng = "awips/northern_hemisphere_ch1_pngbody_20020403_2330.gini";
const char* kBadSize = "SAT_read_AWIP: Invalid image parameters\n";
const char* kShort = "SAT_read_AWIP: Product header cut short";
const char* kBadPng = "SAT_read_AWIP: Bad PNG body";

// A read in the given form, and the size, type, labels and domain as one text.
struct AwipsRead : sat_test::Read {
    AwipsRead(const std::string& path, int form)
        : sat_test::Read((FLAG_set(14, form), SAT_read_AWIP), path) {}
    std::string summary() const {
        const Domain& d = image.domain;
        char text[256];
        std::snprintf(text, sizeof text,
                      "%dx%d/%d src %d type %d [%s] [%s] %d:%g:%g:%g %gx%g %dx%d", image.width,
                      image.height, image.bytes_per_line, image.source, image.type,
                      image.date_label, image.info, d.proj, d.plat, d.plon, d.param[0], d.dx, d.dy,
                      d.nx, d.ny);
        return text;
    }
};

// Python's zlib inflates the chain of streams; the pixels follow the 533-byte header.
const char* kInflate = R"(
import sys, zlib
d = open(sys.argv[1], 'rb').read()
off, body = d.index(b'\n') + 1, b''
while off < len(d):
    z = zlib.decompressobj(); body += z.decompress(d[off:]); off = len(d) - len(z.unused_data)
open(sys.argv[2], 'wb').write(body[533:])
)";

// PROJ places the corners and centre from the first point (lower left) and the spacing;
// prints the largest distance in pixels from where the reader's domain puts them.
const char* kGrid = R"(
import sys, pyproj
crs, lat0, lon0, step, nx, ny = sys.argv[1], *map(float, sys.argv[2:7])
ours = [float(v) for v in sys.argv[7:]]
p = pyproj.Proj(crs + " +units=m")
x0, y0 = p(lon0, lat0)
worst = 0
for k, (i, j) in enumerate([(0, 0), (nx - 1, 0), (0, ny - 1), (nx - 1, ny - 1), ((nx - 1) / 2, (ny - 1) / 2)]):
    x, y = p(ours[2 * k + 1], ours[2 * k])
    worst = max(worst, abs(x - (x0 + i * step)) / step, abs(y - (y0 + (ny - 1 - j) * step)) / step)
print(worst)
)";

class AwipsTest : public sat_test::ReaderTest {};

TEST_F(AwipsTest, RealProductsMatchIndependentDecodesAndProj) {
    unsetenv("SAT_FUDGE");  // it moves the centre
    struct Case {
        std::string file;
        int form;
        const char* summary;
        std::vector<std::string> grid;  // PROJ's projection, first point and spacing in metres
    };
    const Case cases[] = {
        {kZlib,
         SAT_AWIPZ,
         "1100x1280/1100 src 53 type 1304 [1330Z 29 JUN 03] [GOES 10 Infrared 11um] "
         "4:90:-95:25 0.040635x0.040635 1100x1280",
         {"+proj=lcc +lat_1=25 +lat_2=25 +lat_0=25 +lon_0=-95 +R=6371220", "12.19", "-133.4588",
          "4063.5"}},
        {kPng,
         SAT_AWIP,
         "1024x512/1024 src 53 type 1301 [2330Z  3 APR 02] [GOES NH Visible] "
         "1:90:-105:-9999 0.24x0.24 1024x512",
         {"+proj=stere +lat_0=90 +lat_ts=60 +lon_0=-105 +R=6371220", "-21.2451", "-150", "24000"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        AwipsRead r(sat_test::testdata(c.file), c.form);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.summary(), c.summary);
        std::string want;
        if (c.form == SAT_AWIPZ) {
            auto py = sat_test::run_program(
                "/usr/bin/python3",
                {"-c", kInflate, sat_test::testdata(c.file), dir.file("oracle.raw")});
            ASSERT_EQ(py.code, 0) << py.err;
            want = sat_test::read_file(dir.file("oracle.raw"));
        } else {
            const std::string b = real(c.file);
            sat_test::write_file(dir.file("body.png"), b.substr(b.find("\x89PNG", 533)));
            want = sat_test::pgm_pixels(
                sat_test::run_program("/usr/bin/pngtopam", {dir.file("body.png")}).out);
        }
        EXPECT_TRUE(r.pixels() == want.substr(0, r.pixels().size())) << "pixels differ";
        const Domain& d = r.image.domain;
        std::vector<std::string> args = {"-c", kGrid};
        args.insert(args.end(), c.grid.begin(), c.grid.end());
        args.insert(args.end(), {std::to_string(d.nx), std::to_string(d.ny)});
        MAP_domain(&d);
        const float fx = static_cast<float>(d.nx - 1), fy = static_cast<float>(d.ny - 1);
        for (const auto& g :
             {std::pair{0.0f, 0.0f}, {fx, 0.0f}, {0.0f, fy}, {fx, fy}, {fx / 2, fy / 2}}) {
            float x, y, lat, lon;
            MAP_grid_tran(g.first, g.second, &x, &y);
            ASSERT_EQ(MAP_untran(x, y, &lat, &lon), 1);
            args.insert(args.end(), {std::to_string(lat), std::to_string(lon)});
        }
        auto proj = sat_test::run_program("/usr/bin/python3", args);
        ASSERT_EQ(proj.code, 0) << proj.err;
        EXPECT_LT(std::stod(proj.out), 1.0) << "pixels off PROJ's grid";
    }
}

std::string deflated(const std::string& s) {
    uLongf n = compressBound(s.size());
    std::string z(n, '\0');
    compress(reinterpret_cast<Bytef*>(z.data()), &n, reinterpret_cast<const Bytef*>(s.data()),
             s.size());
    z.resize(n);
    return z;
}

TEST_F(AwipsTest, BrokenAndHostileCopiesAreRefusedOrReadSafely) {
    const std::string z = real(kZlib), png = real(kPng);
    // Plain header: WMO heading of 21 bytes, then size at 21 + 16.
    const std::string header(png.substr(0, 533));
    auto sized = [&](int nx, int ny) {
        std::string h = header;
        h[21 + 16] = static_cast<char>(nx >> 8), h[21 + 17] = static_cast<char>(nx);
        h[21 + 18] = static_cast<char>(ny >> 8), h[21 + 19] = static_cast<char>(ny);
        return h;
    };
    std::string bad_crc = png;
    bad_crc[png.find("\x89PNG") + 29] ^= 1;  // IHDR's CRC
    // The real heading line and a stream with the plain header, then thousands of empty
    // streams, or one that asks for a preset dictionary and cannot move on.
    std::string empties = z.substr(0, z.find('\n') + 1) + deflated(header), stuck = empties;
    for (int i = 0; i < 20000; i++) empties += deflated("");
    stuck += std::string("\x78\xbb\x00\x00\x00\x01", 6) + std::string(4000, '\x01');
    struct Case {
        std::string bytes;
        int form;
        int status;
        const char* message;  // expected at the start of standard error
    };
    const Case cases[] = {
        {png.substr(0, 300), SAT_AWIP, -1, kShort},
        {z.substr(0, 400), SAT_AWIPZ, -1, kShort},
        {sized(0, 10), SAT_AWIP, -1, kBadSize},
        {sized(10001, 10), SAT_AWIP, -1, kBadSize},
        {sized(10000, 10000), SAT_AWIP, 0, ""},  // largest size, no body
        {png.substr(0, png.size() / 2), SAT_AWIP, -1, kBadPng},
        {bad_crc, SAT_AWIP, -1, kBadPng},
        {header + "xPNG" + std::string(100, 'x'), SAT_AWIP, -1, "SAT_read_AWIP: Bad PNG body: no"},
        {z.substr(0, z.size() / 3), SAT_AWIPZ, 0, ""},
        {z + std::string(5000, '\x78'), SAT_AWIPZ, 0, ""},
        {png + std::string(5000, '\0'), SAT_AWIP, 0, ""},
        {z.substr(0, 600) + std::string(3000, '\xff'), SAT_AWIPZ, 0, ""},
        {empties, SAT_AWIPZ, 0, ""},
        {stuck, SAT_AWIPZ, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(&c - cases);
        AwipsRead r(copy(c.bytes), c.form);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err.substr(0, std::string(c.message).size()), c.message) << r.err;
        EXPECT_EQ(r.image.data == nullptr, c.status == -1);
    }
}

const std::string kVis = "lrit/IMG_FD_01_VIS_20120101_024020_05.lrit";
const std::string kIr = "lrit/IMG_FD_01_IR1_20120101_024020_01.lrit";
const std::string kWv = "lrit/IMG_ENH_01_WV_20120101_000920_04.lrit";
const std::string kMtsat = "lrit/mtsat1r_ir_seg3_eumetsat_layout_200912210900.lrit";
const std::string kHrit = "lrit/IMG_FD_01_IR1_20120101_024020_01.hrit";
const std::string kJpeg8 = "lrit/IMG_FD_01_VIS_20120101_024020_05_jpeg8.lrit";
const std::string kJpeg12 = "lrit/IMG_FD_01_IR1_20120101_024020_01_jpeg12.hrit";
const char* kCut = "SAT_read_LRIT: Image data cut short";
const char* kBadJpeg = "SAT_read_LRIT: Bad JPEG data";
const char* kBadParams = "SAT_read_LRIT: Invalid image parameters";
const char* kBadRecord = "SAT_read_LRIT: Bad header record";

using LritRead = sat_test::ReadWith<SAT_read_LRIT>;

uint32_t be(const std::string& b, size_t at, int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; i++) v = v << 8 | static_cast<unsigned char>(b[at + i]);
    return v;
}

void put_be(std::string& b, size_t at, int n, uint32_t v) {
    for (int i = n - 1; i >= 0; i--, v >>= 8) b[at + i] = static_cast<char>(v & 0xFF);
}

size_t header_length(const std::string& b) {
    return be(b, 4, 4);
}

// Offset of the first record of a type in the header chain.
size_t record(const std::string& b, int type) {
    for (size_t at = 0; at < header_length(b); at += be(b, at + 1, 2))
        if (static_cast<unsigned char>(b[at]) == type) return at;
    ADD_FAILURE() << "no record " << type;
    return 0;
}

class LritTest : public sat_test::ReaderTest {};

TEST_F(LritTest, RealSegmentsGiveTheirSizeDateTitleAndPixels) {
    const std::string hrit = real(kHrit);
    // The HRIT samples are 10-bit counts stored low byte first: read high byte first with
    // bits 2 to 9 kept, as the raw path's rule says, only 0, 64, 128 and 192 remain.
    std::string hrit_rule;
    for (size_t i = header_length(hrit); i + 1 < hrit.size(); i += 2)
        hrit_rule += static_cast<char>((be(hrit, i, 2) >> 2) & 0xFF);
    auto raw8 = [](const std::string& rel) {
        std::string b = real(rel);
        return b.substr(header_length(b));
    };
    const char* coms = "[0215Z  1 JAN 12] 9:0:128.2:421.61:1 ext 1";
    // File, summary, and the pixels from an independent source.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {kVis, "2200x220", raw8(kVis)},
        {kWv, "1547x308 [2345Z 31 DEC 11] 9:0:128.2:421.61:1 ext 1", raw8(kWv)},
        {kMtsat, "2752x464 [0915Z 21 DEC 09] 9:0:140:421.61:1 ext 1", raw8(kMtsat)},
        {kHrit, "2750x275", hrit_rule},
        // lfac is negative in the COMS segments: the JPEG path stores rows from the
        // bottom up, as the expected decodes (djpeg's, and two 12-bit decoders') have them.
        {kJpeg8, "2200x220",
         pgm_pixels(real("lrit/IMG_FD_01_VIS_20120101_024020_05_jpeg8.expected.pgm"))},
        {kJpeg12, "2750x275",
         pgm_pixels(real("lrit/IMG_FD_01_IR1_20120101_024020_01_jpeg12.expected_shr2.pgm"))},
    };
    for (const auto& [file, summary, expected] : cases) {
        SCOPED_TRACE(file);
        LritRead r(sat_test::testdata(file));
        ASSERT_EQ(r.status, 0) << r.err;
        const Image& im = r.image;
        const Domain& d = im.domain;
        char text[160];
        std::snprintf(text, sizeof text, "%dx%d [%s] %d:%g:%g:%g:%g ext %d", im.width, im.height,
                      im.date_label, d.proj, d.plat, d.plon, d.param[0], d.param[1], d.ext);
        EXPECT_EQ(text, summary.find('[') != std::string::npos ? summary : summary + " " + coms);
        EXPECT_EQ(im.source, SAT_LRIT);
        EXPECT_EQ(d.nx * d.ny, im.width * im.height);
        // The annotation record names the file (MTSAT's names its product).
        const std::string base = file.substr(5, 30);
        if (file != kMtsat) {
            EXPECT_EQ(std::string(im.info).find(base.substr(0, base.find('_', 12))), 0u) << im.info;
        }
        EXPECT_TRUE(r.pixels() == expected.substr(0, size_t{1} * im.width * im.height))
            << "pixels differ";
    }
}

// PROJ's geostationary view with the header's factors places centre and corners; prints
// the worst distance in pixels from the domain's (99 if only one finds a point off the earth).
const char* kGeos = R"(
import sys, math, pyproj
cfac, lfac, coff, loff, seg, ncol, nrow, lon0 = map(float, sys.argv[1:9])
ours = [float(v) for v in sys.argv[9:]]
h = 42161000.0 - 6378137.0
p = pyproj.Proj('+proj=geos +h=%f +a=6378137 +b=6356752 +lon_0=%f +sweep=y' % (h, lon0))
sx, sy = math.radians(65536 / abs(cfac)), math.radians(65536 / abs(lfac))
xdir, ydir = math.copysign(1, cfac), math.copysign(1, lfac)
xc = (coff - int(ncol) // 2) * xdir * sx
yc = (loff - (seg - 0.5) * nrow) * ydir * sy
worst = 0
pts = [((ncol - 1) / 2, (nrow - 1) / 2), (0, 0), (ncol - 1, 0), (0, nrow - 1), (ncol - 1, nrow - 1), ((ncol - 1) / 2, 0), ((ncol - 1) / 2, nrow - 1)]
for k, (i, j) in enumerate(pts):
    x = (xc + (i - (ncol - 1) / 2) * sx) * h
    y = (yc - (j - (nrow - 1) / 2) * sy) * h
    lon, lat = p(x, y, inverse=True)
    proj_on = math.isfinite(lat) and abs(lat) <= 90
    lat2, lon2 = ours[2 * k], ours[2 * k + 1]
    if lat2 == -9999 or not proj_on:
        worst = max(worst, 0 if (lat2 == -9999) == (not proj_on) else 99)
        continue
    x2, y2 = p(lon2, lat2)
    worst = max(worst, abs(x2 - x) / (sx * h), abs(y2 - y) / (sy * h))
print(worst)
)";

TEST_F(LritTest, FullDiskDomainsAgreeWithProj) {
    for (const std::string& file : {kVis, kIr}) {  // on the earth, and off it at the corners
        SCOPED_TRACE(file);
        const std::string b = real(file);
        LritRead r(sat_test::testdata(file));
        ASSERT_EQ(r.status, 0);
        const Domain& d = r.image.domain;
        const size_t nav = record(b, 2) + 3, seg = record(b, 128) + 3;
        std::vector<std::string> args = {"-c", kGeos};
        for (int k = 0; k < 4; k++)
            args.push_back(std::to_string(static_cast<int32_t>(be(b, nav + 32 + 4 * k, 4))));
        for (int v : {static_cast<int>(be(b, seg, 1)), d.nx, d.ny})
            args.push_back(std::to_string(v));
        args.push_back("128.2");
        const float fx = static_cast<float>(d.nx - 1), fy = static_cast<float>(d.ny - 1);
        const float pts[7][2] = {{fx / 2, fy / 2}, {0, 0},      {fx, 0},     {0, fy},
                                 {fx, fy},         {fx / 2, 0}, {fx / 2, fy}};
        MAP_domain(&d);
        for (const auto& pt : pts) {
            float x, y, lat, lon;
            MAP_grid_tran(pt[0], pt[1], &x, &y);
            MAP_untran(x, y, &lat, &lon);
            args.push_back(std::to_string(lat));
            args.push_back(std::to_string(lon));
        }
        auto py = sat_test::run_program("/usr/bin/python3", args);
        ASSERT_EQ(py.code, 0) << py.err;
        EXPECT_LT(std::stod(py.out), 1.0);
    }
}

TEST_F(LritTest, BrokenAndHostileCopiesAreRefused) {
    const std::string vis = real(kVis), jpeg = real(kJpeg8), j12 = real(kJpeg12);
    const size_t jhdr = header_length(jpeg);
    auto with = [](std::string b, size_t at, int n, uint32_t v) {
        put_be(b, at, n, v);
        return b;
    };
    const size_t structure = record(vis, 1), nav = record(vis, 2), func = record(vis, 3);
    std::string not_geos = vis;
    not_geos.replace(nav + 3, 4, "MERC");
    // The frame header's precision byte of each stream.
    const size_t sof8 = jpeg.find("\xff\xc0", jhdr),
                 sof12 = j12.find("\xff\xc1", header_length(j12));
    const std::pair<std::string, const char*> cases[] = {
        // message empty: the read succeeds
        {"", "SAT_read_LRIT: Projection \"\" is not geostationary"},
        {vis.substr(0, vis.size() - 1), kCut},
        {vis + std::string(1000, '\x7f'), ""},
        {with(vis, func + 1, 2, 0), "SAT_read_LRIT: Bad header record 3 of length 0"},
        // The chain reads on into the pixels until a record is too short.
        {with(vis, func + 1, 2, 65535), kBadRecord},
        {with(vis, 4, 4, 0x7FFFFFFF), kBadRecord},
        {not_geos, "SAT_read_LRIT: Projection \"MERC"},
        {with(vis, nav + 3 + 32, 4, 0), kBadParams},  // column factor 0
        {with(with(vis, structure + 4, 2, 65535), structure + 6, 2, 65535), kBadParams},
        {jpeg.substr(0, jpeg.size() - 5000), kBadJpeg},
        {jpeg.substr(0, jhdr) + std::string(5000, '\0'), "SAT_read_LRIT: No JPEG frame"},
        {with(jpeg, sof8 + 4, 1, 16), "SAT_read_LRIT: JPEG precision of 16 bits"},
        // Streams whose frame lies about the precision decode as noise, safely.
        {with(jpeg, sof8 + 4, 1, 12), ""},
        {j12.substr(0, j12.size() - 3000), kBadJpeg},
        {with(j12, sof12 + 4, 1, 8), ""},
    };
    for (const auto& [bytes, message] : cases) {
        SCOPED_TRACE(message);
        LritRead r(copy(bytes));
        EXPECT_EQ(r.status, *message ? -1 : 0);
        EXPECT_EQ(r.err.substr(0, std::strlen(message)), message) << r.err;
        EXPECT_EQ(r.image.data == nullptr, *message != 0);
    }
}

const std::string kGeog = "tiff/GeogToWGS84GeoKey5.tif";
const std::string kUtm = "tiff/utm.tif";

using TiffRead = sat_test::ReadWith<SAT_read_TIFF>;

// Prints how many of our indexes miss libtiff's colour (tifftopnm) through the file's
// palette, then the file's tie point and pixel scale.
const char* kOracle = R"(
import sys, struct, subprocess
path, ours = sys.argv[1], open(sys.argv[2], 'rb').read()
d = open(path, 'rb').read()
e = '<' if d[:2] == b'II' else '>'
off = struct.unpack(e + 'I', d[4:8])[0]
tags = {}
for i in range(struct.unpack(e + 'H', d[off:off + 2])[0]):
    tag, typ, cnt, val = struct.unpack(e + 'HHII', d[off + 2 + 12 * i:off + 14 + 12 * i])
    tags[tag] = (typ, cnt, val)
typ, cnt, val = tags[320]
c = struct.unpack(e + '%dH' % cnt, d[val:val + 2 * cnt])
pal = [(c[k] >> 8, c[256 + k] >> 8, c[512 + k] >> 8) for k in range(256)]
ppm = subprocess.run(['tifftopnm', path], capture_output=True).stdout
body = ppm[len(b'\n'.join(ppm.split(b'\n')[:3])) + 1:]
bad = sum(pal[ours[i]] != tuple(body[3 * i:3 * i + 3]) for i in range(len(ours)))
tie, scale = tags.get(33922, (0, 0, 0))[2], tags.get(33550, (0, 0, 0))[2]
tie = struct.unpack(e + '6d', d[tie:tie + 48]) if tie else [0] * 6
scale = struct.unpack(e + '3d', d[scale:scale + 24]) if scale else [0] * 3
print(bad, tie[3], tie[4], scale[0], scale[1])
)";

class TiffTest : public sat_test::ReaderTest {};

TEST_F(TiffTest, RealGeoTiffsMatchLibtiffAndTheirTags) {
    const std::string big = dir.file("big.tif");
    auto im = sat_test::run_program(
        "/usr/bin/convert", {sat_test::testdata(kUtm), "-define", "tiff:endian=msb", "-compress",
                             "RLE", "-define", "tiff:rows-per-strip=8", big});
    ASSERT_EQ(im.code, 0) << im.err;
    const std::tuple<std::string, int, const char*, int> cases[] = {
        {sat_test::testdata(kGeog), 101, "1028Z  1 MAR 08", 2},
        {sat_test::testdata(kUtm), 100, "", -9999},
        {big, 100, "", -9999}};
    for (const auto& [path, size, label, proj] : cases) {
        SCOPED_TRACE(path);
        TiffRead r(path);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.image.source, SAT_TIFF);
        EXPECT_EQ(std::vector({r.image.width, r.image.height, r.image.bytes_per_line}),
                  std::vector(3, size));
        EXPECT_STREQ(r.image.date_label, label);
        EXPECT_EQ(r.image.domain.proj, proj);
        sat_test::write_file(dir.file("ours.raw"), r.pixels());
        auto py =
            sat_test::run_program("/usr/bin/python3", {"-c", kOracle, path, dir.file("ours.raw")});
        ASSERT_EQ(py.code, 0) << py.err;
        double bad, tx, ty, sx, sy;
        ASSERT_EQ(std::sscanf(py.out.c_str(), "%lf %lf %lf %lf %lf", &bad, &tx, &ty, &sx, &sy), 5);
        EXPECT_EQ(bad, 0) << "pixels whose palette colour differs from libtiff's";
        const Domain& d = r.image.domain;
        if (path == big) continue;  // ImageMagick drops the geographic tags
        EXPECT_FLOAT_EQ(d.dx, static_cast<float>(sx));
        EXPECT_FLOAT_EQ(d.dy, static_cast<float>(sy));
        if (proj == 2) {
            // The grid centre from the tie point of the upper left corner.
            EXPECT_NEAR(d.clat, ty - 50 * sy, 1e-4);
            EXPECT_NEAR(d.clon, tx + 50 * sy, 1e-4);
        }
    }
}

TEST_F(TiffTest, OutOfScopeBrokenAndHostileFilesAreRefused) {
    const std::string utm = real(kUtm);
    // The value of a SHORT entry of utm.tif (little-endian, directory at 8).
    auto entry = [&](int tag) {
        for (size_t e = 10; e + 12 <= utm.size(); e += 12)
            if (static_cast<unsigned char>(utm[e]) + 256 * static_cast<unsigned char>(utm[e + 1]) ==
                tag)
                return e;
        ADD_FAILURE() << tag;
        return size_t{0};
    };
    auto with = [](std::string b, size_t at, std::string bytes) {
        return b.replace(at, bytes.size(), bytes);
    };
    const std::pair<std::string, const char*> cases[] = {
        {real("tiff/seaice_south_ps_float32_lzw_20201024.tif"),
         "SAT_read_TIFF: Floating-point samples are not supported"},
        {real("tiff/goes_fulldisk_rgb_jpeg_tiled.tif"),
         "SAT_read_TIFF: Tiled images are not supported"},
        {with(utm, entry(259) + 8, "\x05"), "SAT_read_TIFF: Only uncompressed and PackBits"},
        {with(utm, entry(258) + 8, "\x10"), "SAT_read_TIFF: Only 8-bit samples"},
        {with(utm, entry(277) + 8, "\x03"), "SAT_read_TIFF: Only one sample a pixel"},
        {with(utm, entry(256) + 2, "\x04"), "SAT_read_TIFF: Invalid image parameters"},  // LONG
        {with(utm, entry(273) + 4, "\x01"), "SAT_read_TIFF: No strip offsets"},          // one LONG
        {with(utm, entry(279) + 8, "\x01"), "SAT_read_TIFF: Strips are not in one run"},
        {utm.substr(0, utm.size() - 10), "SAT_read_TIFF: Image data cut short"},
        {"II+\0" + utm.substr(4), "Not a TIFF file"},
        {with(utm, 4, "\xff\xff\xff\x7f"), "SAT_read_TIFF: Directory outside"},
        {with(utm, entry(33550) + 8, "\xf0\xff\xff\xff"),
         "SAT_read_TIFF: Tag 33550 points outside the file"},
        {with(with(utm, entry(256) + 8, "\xff\xff"), entry(257) + 8, "\xff\xff"),
         "SAT_read_TIFF: Image data cut short"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second);
        TiffRead r(copy(c.first));
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err.substr(0, std::strlen(c.second)), c.second) << r.err;
        EXPECT_EQ(r.image.data, nullptr);
    }
    // A grown file still reads.
    TiffRead grown(copy(utm + std::string(1000, '\x55')));
    EXPECT_EQ(grown.status, 0);
}

using UnisysRead = sat_test::ReadWith<SAT_read_Unisys>;

// A number of the expected JSON by its key; the keys are unique in these files.
double json(const std::string& text, const std::string& key) {
    const size_t at = text.find("\"" + key + "\":");
    EXPECT_NE(at, std::string::npos) << key;
    return at == std::string::npos ? -1e30
                                   : std::strtod(text.c_str() + at + key.size() + 3, nullptr);
}

// The four values AREA_set_res last stored, from the satellite lines of image pixels 0 and 1.
std::vector<float> resolution() {
    float l0, e0, l1, e1;
    AREA_line_elem(1, 0, 0, &l0, &e0);
    AREA_line_elem(1, 1, 1, &l1, &e1);
    return {l0 + 1, e0 + 1, l1 - l0, e1 - e0};
}

class UnisysTest : public sat_test::ReaderTest {};

TEST_F(UnisysTest, SyntheticFilesGiveTheirExpectedPixelsAndDomains) {
    for (const char* name : {"unisys_lambert_synthetic.uni", "unisys_unnav_synthetic.uni"}) {
        SCOPED_TRACE(name);
        const std::string path = sat_test::testdata(std::string("unisys/") + name);
        const std::string want = sat_test::read_file(path + ".expected.json");
        AREA_set_res(1, 2, 3, 4);
        UnisysRead r(path);
        ASSERT_EQ(r.status, 0) << r.err;
        const Image& im = r.image;
        const Domain& d = im.domain;
        EXPECT_TRUE(r.pixels() == pgm_pixels(sat_test::read_file(path + ".expected.pgm")));
        EXPECT_NE(want.find("\"info\": \"" + std::string(im.info) + "\""), std::string::npos);
        const std::pair<const char*, double> values[] = {{"source", im.source},
                                                         {"width", im.width},
                                                         {"height", im.height},
                                                         {"bits_per_pixel", im.bits_per_pixel},
                                                         {"bytes_per_line", im.bytes_per_line},
                                                         {"proj", d.proj},
                                                         {"clat", d.clat},
                                                         {"clon", d.clon},
                                                         {"dx", d.dx},
                                                         {"dy", d.dy},
                                                         {"nx", d.nx},
                                                         {"ny", d.ny}};
        for (auto [key, value] : values) EXPECT_FLOAT_EQ(value, json(want, key)) << key;
        // The time token is seconds since 1970 in UTC, as Python breaks it down. (The
        // expected JSON's "date_utc" disagrees with the token by 9600 s.)
        const std::string header = sat_test::read_file(path).substr(0, 200);
        const size_t f = header.find(" fld") + 4;
        auto py = sat_test::run_program(
            "/usr/bin/python3", {"-c",
                                 "import sys,time; t=time.gmtime(int(sys.argv[1])); "
                                 "print(t.tm_year, t.tm_mon, t.tm_mday, t.tm_hour, t.tm_min)",
                                 header.substr(f, header.find(' ', f) - f)});
        char when[64];
        std::snprintf(when, sizeof when, "%d %d %d %d %d\n", im.date.year, im.date.month,
                      im.date.day, im.date.hour, im.date.minute);
        EXPECT_EQ(py.out, when);
        if (d.proj == 4) {
            EXPECT_FLOAT_EQ(d.plat, json(want, "plat"));
            EXPECT_FLOAT_EQ(d.plon, json(want, "plon"));
            EXPECT_FLOAT_EQ(d.param[0], json(want, "param0"));
            EXPECT_FLOAT_EQ(d.param[1], json(want, "param1"));
            EXPECT_EQ(resolution(), (std::vector<float>{1, 2, 3, 4}));  // no "lr": untouched
        } else {
            EXPECT_EQ(resolution(), (std::vector<float>{static_cast<float>(json(want, "lcor")),
                                                        static_cast<float>(json(want, "ecor")),
                                                        static_cast<float>(json(want, "lres")),
                                                        static_cast<float>(json(want, "eres"))}));
        }
    }
}

TEST_F(UnisysTest, HandMadeHeaders) {
    std::string filler;
    for (int i = 0; i < 27; i++) filler += " zz";
    const std::string open30 = "idOPEN x16 y8" + filler + " ";
    std::string tail;
    for (int i = 0; i < 128; i++) tail += static_cast<char>('A' + i % 26);
    struct Case {
        std::string bytes;
        int status;
        const char* message;
        float dx;
    };
    const Case cases[] = {
        // Three matches suffice without "end": the pixels start behind the 30 tokens.
        {open30 + tail, 0, "", 1.0f},
        {"idX x8 " + tail, -1, "SAT_read_Unisys: Unable to determine image parameters", 0},
        {"x16 y8 range end " + tail, 0, "", 0.08f},
        {"y8 end " + tail, -1, "SAT_read_Unisys: Invalid image parameters", 0},
        {"x2000000000 y2000000000 end", -1, "SAT_read_Unisys: Image data cut short", 0},
        {"x8 y8 end " + tail.substr(0, 40), -1, "SAT_read_Unisys: Image data cut short", 0},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.bytes.substr(0, 20));
        AREA_set_res(1, 2, 3, 4);
        UnisysRead r(copy(c.bytes));
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err.substr(0, std::strlen(c.message)), c.message) << r.err;
        if (c.status != 0) {
            EXPECT_EQ(r.image.data, nullptr);
            continue;
        }
        EXPECT_EQ(r.image.domain.dx, c.dx);
        EXPECT_EQ(resolution(), (std::vector<float>{1, 2, 3, 4}));
    }
}

// Each format's name convention in a whole run, and a refusal that ends it with 10.
TEST(ReadersEndToEnd, ConventionsAndRefusals) {
    sat_test::TempDir dir;
    sat_test::write_file(dir.file("20020403_2330_vis.gini"), real(kPng));
    // The lrit convention is timed to the minute: the VIS segment says 02:15.
    sat_test::write_file(dir.file("20120101_0215_vis.lrit"), real(kJpeg8));
    std::string hrit = real(kHrit);
    put_be(hrit, record(hrit, 1) + 8, 1, 1);
    sat_test::write_file(dir.file("wavelet.hrit"), hrit);
    sat_test::write_file(dir.file("20080301_1015_geo.tif"), real(kGeog));
    sat_test::write_file(dir.file("20120101_0230_ir.uni"),
                         real("unisys/unisys_lambert_synthetic.uni"));
    sat_test::write_file(dir.file("bad.uni"), "idX x1");
    const std::string tiled = sat_test::testdata("tiff/goes_fulldisk_rgb_jpeg_tiled.tif");
    const std::tuple<std::vector<std::string>, int, std::string> runs[] = {
        {{"-inp", "awipz", sat_test::testdata(kZlib)}, 0, "Info: GOES 10 Infrared 11um"},
        {{"-if", "awip_gini_vis", "20020403_2330"}, 0, "Date: 2330Z  3 APR 02"},
        {{"-inp", "awipz", sat_test::testdata(kPng)}, 10, ""},
        {{"-if", "lrit_lrit_vis", "20120101_0215"}, 0, "Date: 0215Z  1 JAN 12"},
        {{"-inp", "lrit", dir.file("wavelet.hrit")}, 10, "Compression 1 is not supported"},
        {{"-if", "tiff_tiff_geo", "20080301_1015"}, 0, "Processing image file"},
        {{"-inp", "tiff", tiled}, 10, "Tiled images are not supported"},
        {{"-if", "unis_unisys_ir", "20120101_0230"}, 0, "Info: SYNTH_LC"},
        {{"-inp", "unisat", dir.file("bad.uni")}, 10, "Unable to determine image parameters"},
    };
    for (const auto& [args, code, says] : runs) {
        std::vector<std::string> all = {"-ba", "-pl", "none", "-me", "out2", "-sp", dir.path()};
        all.insert(all.end(), args.begin(), args.end());
        const sat_test::RunResult r = sat_test::run_sat(all);
        EXPECT_EQ(r.code, code) << args.back() << "\n" << r.err;
        EXPECT_NE((r.out + r.err).find(says), std::string::npos) << r.out << r.err;
    }
}

}  // namespace
