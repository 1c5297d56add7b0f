// The LRIT reader on the real segments of the test data: raw samples against
// the file's own bytes, JPEG segments against djpeg and the expected decodes,
// the geostationary domain against PROJ, and broken and hostile copies.
#include "formats/lrit.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "app/sat.h"
#include "env/messages.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "reader_harness.h"

namespace {

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

struct Read : sat_test::Read {
    explicit Read(const std::string& path) : sat_test::Read(SAT_read_LRIT, path) {}
};

using sat_test::real;

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

using sat_test::pgm_pixels;

class LritTest : public sat_test::ReaderTest {};

TEST_F(LritTest, RealSegmentsGiveTheirSizeDateTitleAndPixels) {
    const std::string hrit = real(kHrit);
    // The HRIT samples are 10-bit counts stored low byte first; the raw path
    // reads high byte first and keeps bits 2 to 9, so only the top two bits
    // of each low byte survive: every pixel is 0, 64, 128 or 192.
    std::string hrit_rule;
    for (size_t i = header_length(hrit); i + 1 < hrit.size(); i += 2)
        hrit_rule += static_cast<char>((be(hrit, i, 2) >> 2) & 0xFF);
    EXPECT_EQ(std::set<char>(hrit_rule.begin(), hrit_rule.end()),
              (std::set<char>{0, 64, static_cast<char>(128), static_cast<char>(192)}));
    auto raw8 = [](const std::string& rel) {
        std::string b = real(rel);
        return b.substr(header_length(b));
    };
    struct Case {
        std::string file;
        const char* summary;
        std::string expected;  // the pixels, from an independent source
    };
    const char* coms = "[0215Z  1 JAN 12] 9:0:128.2:421.61:1 ext 1";
    const Case cases[] = {
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
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Read r(sat_test::testdata(c.file));
        ASSERT_EQ(r.status, 0) << r.err;
        const Image& im = r.image;
        const Domain& d = im.domain;
        char text[160];
        std::snprintf(text, sizeof text, "%dx%d [%s] %d:%g:%g:%g:%g ext %d", im.width, im.height,
                      im.date_label, d.proj, d.plat, d.plon, d.param[0], d.param[1], d.ext);
        EXPECT_EQ(text, std::strchr(c.summary, '[') ? std::string(c.summary)
                                                    : std::string(c.summary) + " " + coms);
        EXPECT_EQ(im.source, SAT_LRIT);
        EXPECT_EQ(d.nx * d.ny, im.width * im.height);
        // The annotation record names the file (MTSAT's names its product).
        const std::string base = c.file.substr(5, 30);
        if (c.file != kMtsat) {
            EXPECT_EQ(std::string(im.info).find(base.substr(0, base.find('_', 12))), 0u) << im.info;
        }
        EXPECT_TRUE(r.pixels() == c.expected.substr(0, size_t{1} * im.width * im.height))
            << "pixels differ";
    }
}

// PROJ's geostationary view with the header's own factors places the centre
// and the corners; the domain must put each within a pixel, or both must find
// the point off the earth. Prints the worst distance in pixels.
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
        Read r(sat_test::testdata(file));
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
        Read r(copy(bytes));
        EXPECT_EQ(r.status, *message ? -1 : 0);
        EXPECT_EQ(r.err.substr(0, std::strlen(message)), message) << r.err;
        EXPECT_EQ(r.image.data == nullptr, *message != 0);
    }
}

TEST_F(LritTest, ConventionAndWaveletRefusalEndToEnd) {
    // The lrit convention is timed to the minute: the VIS segment says 02:15.
    sat_test::write_file(dir.file("20120101_0215_vis.lrit"), real(kJpeg8));
    std::string hrit = real(kHrit);
    put_be(hrit, record(hrit, 1) + 8, 1, 1);
    sat_test::write_file(dir.file("wavelet.hrit"), hrit);
    sat_test::expect_runs({
        {{"-sp", dir.path(), "-if", "lrit_lrit_vis", "20120101_0215"},
         0,
         "Date: 0215Z  1 JAN 12",
         dir.file("v.img")},
        {{"-inp", "lrit", dir.file("wavelet.hrit")}, 10, "Compression 1 is not supported", ""},
    });
}

}  // namespace
