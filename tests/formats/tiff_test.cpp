// The TIFF reader on the real GeoTIFFs of the test data and a big-endian
// PackBits copy made by ImageMagick (pixels against netpbm's libtiff decode
// through each file's palette, geography against Python), and on files out of
// scope, cut or mutated.
#include "formats/tiff.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "app/sat.h"
#include "env/messages.h"
#include "formats/image.h"
#include "reader_harness.h"

namespace {

const std::string kGeog = "tiff/GeogToWGS84GeoKey5.tif";
const std::string kUtm = "tiff/utm.tif";

struct Read : sat_test::Read {
    explicit Read(const std::string& path) : sat_test::Read(SAT_read_TIFF, path) {}
};

using sat_test::real;

// tifftopnm decodes the file with libtiff into colours; each of our indexes
// must give that colour through the file's palette. Prints the mismatches,
// then the tie point and pixel scale of the file.
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
    struct Case {
        std::string file;
        int size;
        const char* label;
        int proj;
    };
    const Case cases[] = {
        {kGeog, 101, "1028Z  1 MAR 08", 2}, {kUtm, 100, "", -9999}, {big, 100, "", -9999}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        const std::string path = c.file == big ? big : sat_test::testdata(c.file);
        Read r(path);
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.image.source, SAT_TIFF);
        EXPECT_EQ(r.image.width, c.size);
        EXPECT_EQ(r.image.height, c.size);
        EXPECT_EQ(r.image.bytes_per_line, c.size);
        EXPECT_STREQ(r.image.date_label, c.label);
        EXPECT_EQ(r.image.domain.proj, c.proj);
        sat_test::write_file(dir.file("ours.raw"), r.pixels());
        auto py =
            sat_test::run_program("/usr/bin/python3", {"-c", kOracle, path, dir.file("ours.raw")});
        ASSERT_EQ(py.code, 0) << py.err;
        double bad, tx, ty, sx, sy;
        ASSERT_EQ(std::sscanf(py.out.c_str(), "%lf %lf %lf %lf %lf", &bad, &tx, &ty, &sx, &sy), 5);
        EXPECT_EQ(bad, 0) << "pixels whose palette colour differs from libtiff's";
        const Domain& d = r.image.domain;
        if (c.file == big) continue;  // ImageMagick drops the geographic tags
        EXPECT_FLOAT_EQ(d.dx, static_cast<float>(sx));
        EXPECT_FLOAT_EQ(d.dy, static_cast<float>(sy));
        if (c.proj == 2) {
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
        {with(utm, entry(259) + 8, "\x07"), "SAT_read_TIFF: Only uncompressed and PackBits"},
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
        Read r(copy(c.first));
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err.substr(0, std::strlen(c.second)), c.second) << r.err;
        EXPECT_EQ(r.image.data, nullptr);
    }
    // A grown file still reads.
    Read grown(copy(utm + std::string(1000, '\x55')));
    EXPECT_EQ(grown.status, 0);
}

TEST_F(TiffTest, ConventionAndRefusalEndToEnd) {
    sat_test::write_file(dir.file("20080301_1015_geo.tif"), real(kGeog));
    sat_test::expect_runs({
        {{"-sp", dir.path(), "-if", "tiff_tiff_geo", "20080301_1015"},
         0,
         "Processing image file",
         dir.file("g.img")},
        {{"-inp", "tiff", sat_test::testdata("tiff/goes_fulldisk_rgb_jpeg_tiled.tif")},
         10,
         "Tiled images are not supported",
         ""},
    });
}

}  // namespace
