// The TIFF reader on the real GeoTIFFs of the test data (pixels against
// netpbm's libtiff decode through each file's palette, geography against
// Python), on small files built here in both byte orders, and on files out of
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
tie = struct.unpack(e + '6d', d[tags[33922][2]:tags[33922][2] + 48])
scale = struct.unpack(e + '3d', d[tags[33550][2]:tags[33550][2] + 24])
print(bad, tie[3], tie[4], scale[0], scale[1])
)";

class TiffTest : public sat_test::ReaderTest {};

TEST_F(TiffTest, RealGeoTiffsMatchLibtiffAndTheirTags) {
    struct Case {
        std::string file;
        int size;
        const char* label;
        int proj;
    };
    const Case cases[] = {{kGeog, 101, "1028Z  1 MAR 08", 2}, {kUtm, 100, "", -9999}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Read r(sat_test::testdata(c.file));
        ASSERT_EQ(r.status, 0) << r.err;
        EXPECT_EQ(r.image.source, SAT_TIFF);
        EXPECT_EQ(r.image.width, c.size);
        EXPECT_EQ(r.image.height, c.size);
        EXPECT_EQ(r.image.bytes_per_line, c.size);
        EXPECT_STREQ(r.image.date_label, c.label);
        EXPECT_EQ(r.image.domain.proj, c.proj);
        sat_test::write_file(dir.file("ours.raw"), r.pixels());
        auto py = sat_test::run_program(
            "/usr/bin/python3", {"-c", kOracle, sat_test::testdata(c.file), dir.file("ours.raw")});
        ASSERT_EQ(py.code, 0) << py.err;
        double bad, tx, ty, sx, sy;
        ASSERT_EQ(std::sscanf(py.out.c_str(), "%lf %lf %lf %lf %lf", &bad, &tx, &ty, &sx, &sy), 5);
        EXPECT_EQ(bad, 0) << "pixels whose palette colour differs from libtiff's";
        const Domain& d = r.image.domain;
        EXPECT_FLOAT_EQ(d.dx, static_cast<float>(sx));
        EXPECT_FLOAT_EQ(d.dy, static_cast<float>(sy));
        if (c.proj == 2) {
            // The grid centre from the tie point of the upper left corner.
            EXPECT_NEAR(d.clat, ty - 50 * sy, 1e-4);
            EXPECT_NEAR(d.clon, tx + 50 * sy, 1e-4);
        }
    }
}

// A small TIFF: one directory of 12-byte entries, then the data it points to.
struct TiffBuilder {
    bool big;
    std::string data;                         // behind the directory
    std::vector<std::vector<uint32_t>> tags;  // tag, type, count, value or offset into data
    std::string num(uint64_t v, int n) const {
        std::string s(n, '\0');
        for (int i = 0; i < n; i++) s[big ? n - 1 - i : i] = static_cast<char>(v >> (8 * i));
        return s;
    }
    void add(uint32_t tag, uint32_t type, uint32_t count, uint32_t value) {
        tags.push_back({tag, type, count, value, 0});
    }
    void add_data(uint32_t tag, uint32_t type, const std::string& bytes, uint32_t count) {
        tags.push_back({tag, type, count, static_cast<uint32_t>(data.size()), 1});
        data += bytes;
    }
    void add_doubles(uint32_t tag, const std::vector<double>& v) {
        std::string s;
        for (double d : v) {
            uint64_t bits;
            std::memcpy(&bits, &d, 8);
            s += num(bits, 8);
        }
        add_data(tag, 12, s, static_cast<uint32_t>(v.size()));
    }
    std::string build() const {
        const uint32_t base = 8 + 2 + 12 * static_cast<uint32_t>(tags.size()) + 4;
        std::string out = big ? "MM" : "II";
        out += num(42, 2) + num(8, 4) + num(tags.size(), 2);
        for (const auto& t : tags) {
            out += num(t[0], 2) + num(t[1], 2) + num(t[2], 4);
            out += t[4] ? num(t[3] + base, 4) : t[1] == 3 ? num(t[3], 2) + num(0, 2) : num(t[3], 4);
        }
        return out + num(0, 4) + data;
    }
};

// 4 x 3 pixels, Mercator by a transformation matrix in metres, centre
// longitude by a GeoKey double; strips as two LONG offsets.
std::string small_tiff(bool big, bool packbits) {
    const std::string px = "\x01\x02\x03\x04\x05\x05\x05\x05\x09\x0a\x0b\x0c";
    const std::string body =
        packbits ? std::string("\x03\x01\x02\x03\x04\xfd\x05\x03\x09\x0a\x0b\x0c", 12) : px;
    TiffBuilder b{big, "", {}};
    b.add(256, 3, 1, 4);
    b.add(257, 3, 1, 3);
    b.add(258, 3, 1, 8);
    b.add(259, 3, 1, packbits ? 32773 : 1);
    b.add_data(271, 2, std::string("Maker\0", 6), 6);
    b.add_data(272, 2, std::string("Model\0", 6), 6);
    b.add_data(306, 2, std::string("2020:10:24 12:34:56\0", 20), 20);
    b.add_doubles(33550, {2000, 2000, 0});
    b.add_doubles(34264, {2000, 0, 0, -400000, 0, -2000, 0, 3000000, 0, 0, 0, 0, 0, 0, 0, 1});
    std::string keys;
    for (int v : {1, 1, 0, 2, 3075, 0, 1, 7, 3088, 34736, 1, 0}) keys += b.num(v, 2);
    b.add_data(34735, 3, keys, 12);
    b.add_doubles(34736, {-75.0});
    // Behind the directory of 13 entries and all data, the two offsets and counts included.
    const uint32_t pixels_at = static_cast<uint32_t>(b.data.size()) + 16 + 8 + 2 + 12 * 13 + 4;
    b.add_data(273, 4, b.num(pixels_at, 4) + b.num(pixels_at + 6, 4), 2);
    b.add_data(279, 4, b.num(6, 4) + b.num(body.size() - 6, 4), 2);
    return b.build() + body;
}

TEST_F(TiffTest, BuiltFilesInBothOrdersAndBothCodings) {
    const char* merc = R"(
import pyproj
lon, lat = pyproj.Proj('+proj=merc +lon_0=-75 +R=6371220')((-400000 + (-400000 + 4 * 2000)) / 2, (3000000 + 3 * -2000 + 3000000) / 2, inverse=True)
print(lat, lon)
)";
    auto py = sat_test::run_program("/usr/bin/python3", {"-c", merc});
    double lat, lon;
    ASSERT_EQ(std::sscanf(py.out.c_str(), "%lf %lf", &lat, &lon), 2) << py.err;
    for (bool big : {false, true})
        for (bool packbits : {false, true}) {
            SCOPED_TRACE(std::string(big ? "big" : "little") + (packbits ? " packbits" : " raw"));
            Read r(copy(small_tiff(big, packbits)));
            ASSERT_EQ(r.status, 0) << r.err;
            EXPECT_EQ(r.pixels(), "\x01\x02\x03\x04\x05\x05\x05\x05\x09\x0a\x0b\x0c");
            EXPECT_STREQ(r.image.info, "Maker Model");
            EXPECT_STREQ(r.image.date_label, "1234Z 24 OCT 20");
            const Domain& d = r.image.domain;
            EXPECT_EQ(d.proj, 3);
            EXPECT_EQ(d.plon, -75.0f);
            EXPECT_EQ(d.ext, 1);
            EXPECT_FLOAT_EQ(d.dx, 0.02f);
            EXPECT_NEAR(d.clat, lat, 1e-3);
            EXPECT_NEAR(d.clon, lon, 1e-3);
        }
}

TEST_F(TiffTest, OutOfScopeBrokenAndHostileFilesAreRefused) {
    const std::string utm = real(kUtm), packed = small_tiff(false, true);
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
    const std::string short3 = std::string("\x03\x00", 2);
    struct Case {
        const char* what;
        std::string bytes;
        const char* message;
    };
    const Case cases[] = {
        {"float, LZW", real("tiff/seaice_south_ps_float32_lzw_20201024.tif"),
         "SAT_read_TIFF: Floating-point samples are not supported"},
        {"RGB, JPEG, tiles", real("tiff/goes_fulldisk_rgb_jpeg_tiled.tif"),
         "SAT_read_TIFF: Tiled images are not supported"},
        {"LZW", with(utm, entry(259) + 8, "\x05"), "SAT_read_TIFF: Only uncompressed and PackBits"},
        {"JPEG", with(utm, entry(259) + 8, "\x07"),
         "SAT_read_TIFF: Only uncompressed and PackBits"},
        {"16 bits", with(utm, entry(258) + 8, "\x10"), "SAT_read_TIFF: Only 8-bit samples"},
        {"three samples", with(utm, entry(277) + 8, "\x03"),
         "SAT_read_TIFF: Only one sample a pixel"},
        {"float samples", with(utm, entry(339) + 8, "\x03"), "SAT_read_TIFF: Floating-point"},
        {"tile offsets", with(utm, entry(273), std::string("\x44\x01", 2)), "SAT_read_TIFF: Tiled"},
        {"width as LONG is not taken", with(utm, entry(256) + 2, "\x04"),
         "SAT_read_TIFF: Invalid image parameters"},
        {"one LONG strip offset", with(utm, entry(273) + 4, "\x01"),
         "SAT_read_TIFF: No strip offsets"},
        {"strips apart", with(utm, entry(279) + 8, "\x01"),
         "SAT_read_TIFF: Strips are not in one run"},
        {"cut pixels", utm.substr(0, utm.size() - 10), "SAT_read_TIFF: Image data cut short"},
        {"cut PackBits", packed.substr(0, packed.size() - 3),
         "SAT_read_TIFF: Image data cut short"},
        {"not a TIFF", "II+\0" + utm.substr(4), "Not a TIFF file"},
        {"empty", "", "Not a TIFF file"},
        {"directory beyond the end", with(utm, 4, "\xff\xff\xff\x7f"),
         "SAT_read_TIFF: Directory outside"},
        // Entries past the real ones are whatever follows: refused one way or another.
        {"entries beyond the end", with(utm, 8, "\xff\x7f"), "SAT_read_TIFF: "},
        {"tag data beyond the end", with(utm, entry(33550) + 8, "\xf0\xff\xff\xff"),
         "SAT_read_TIFF: Tag 33550 points outside the file"},
        {"huge count", with(utm, entry(273) + 4, "\xff\xff\xff\x3f"),
         "SAT_read_TIFF: Tag 273 points outside"},
        {"absurd size", with(with(utm, entry(256) + 8, "\xff\xff"), entry(257) + 8, "\xff\xff"),
         "SAT_read_TIFF: Image data cut short"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        Read r(copy(c.bytes));
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err.substr(0, std::strlen(c.message)), c.message) << r.err;
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
