// The AWIPS reader on the real products of the test data, against Python's
// zlib and netpbm's PNG decode, PROJ for the grids, and on broken and hostile
// copies of both files.
#include "formats/awips.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "app/sat.h"
#include "formats/image.h"
#include "maps/projections.h"
#include "reader_harness.h"

namespace {

const std::string kZlib = "awips/west_conus_ch4_zlib_20030629_1330.gini";
const std::string kPng = "awips/northern_hemisphere_ch1_pngbody_20020403_2330.gini";
const char* kBadSize = "SAT_read_AWIP: Invalid image parameters\n";
const char* kShort = "SAT_read_AWIP: Product header cut short";
const char* kBadPng = "SAT_read_AWIP: Bad PNG body";

// A read in the given form, and the size, type, labels and domain as one text.
struct Read : sat_test::Read {
    Read(const std::string& path, int form)
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

using sat_test::real;

// Python's zlib inflates the chain of streams on its own; the pixels follow
// the 533 bytes of header.
const char* kInflate = R"(
import sys, zlib
d = open(sys.argv[1], 'rb').read()
off, body = d.index(b'\n') + 1, b''
while off < len(d):
    z = zlib.decompressobj(); body += z.decompress(d[off:]); off = len(d) - len(z.unused_data)
open(sys.argv[2], 'wb').write(body[533:])
)";

// PROJ places the corners and the centre of the grid from the first point
// (the lower left) and the spacing; the reader's domain must put each within
// a pixel of it. Prints the largest distance in pixels.
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

class AwipsTest : public sat_test::ReaderTest {
   protected:
    void SetUp() override {
        ReaderTest::SetUp();
        unsetenv("SAT_FUDGE");
    }
};

TEST_F(AwipsTest, RealProductsMatchIndependentDecodesAndProj) {
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
        Read r(sat_test::testdata(c.file), c.form);
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

TEST_F(AwipsTest, FudgeMovesOnlyTheCentre) {
    Read plain(sat_test::testdata(kZlib), SAT_AWIPZ);
    setenv("SAT_FUDGE", "0.5,-0.5", 1);
    Read moved(sat_test::testdata(kZlib), SAT_AWIPZ);
    EXPECT_FLOAT_EQ(moved.image.domain.clat, plain.image.domain.clat + 0.5f);
    EXPECT_FLOAT_EQ(moved.image.domain.clon, plain.image.domain.clon - 0.5f);
    EXPECT_EQ(moved.image.domain.dx, plain.image.domain.dx);
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
    // The heading line of the real zlib product and a first stream with the plain
    // product's header; then thousands of empty streams, or a stream that asks for a
    // preset dictionary and cannot move on.
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
        Read r(copy(c.bytes), c.form);
        EXPECT_EQ(r.status, c.status);
        EXPECT_EQ(r.err.substr(0, std::string(c.message).size()), c.message) << r.err;
        EXPECT_EQ(r.image.data == nullptr, c.status == -1);
    }
}

TEST_F(AwipsTest, ConventionsEndToEnd) {
    // awipz by input type, awip through the gini convention with a date; the PNG
    // product read as the compressed form is unreadable.
    sat_test::write_file(dir.file("20020403_2330_vis.gini"), real(kPng));
    sat_test::expect_runs({
        {{"-inp", "awipz", sat_test::testdata(kZlib)}, 0, "Info: GOES 10 Infrared 11um", ""},
        {{"-sp", dir.path(), "-if", "awip_gini_vis", "20020403_2330"}, 0, "Date: 2330Z  3 APR", ""},
        {{"-inp", "awipz", sat_test::testdata(kPng)}, 10, "", ""},
    });
}

}  // namespace
