// The AREA reader on the real files of the test data, on other physical forms
// of them made by tests/tools/area_tool.cpp, and on broken and hostile files.
#include "formats/area.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "env/messages.h"
#include "test_support.h"
#include "tests/tools/area_tool.cpp"

namespace {

using area_tool::get32;
using area_tool::put32;
using sat_test::testdata;

const char* kGvar = "area/goes8_wv_gvar_1998260_0745.area";
const char* kRadar = "area/radar_composite_ps_2000137_0859.area";
const char* kFullDisk = "area/goes8_fulldisk_gvar_synthetic.area";
const char* kBadParams = "SAT_read_AREA: Invalid image parameters\n";

constexpr bool kLittleHost = std::endian::native == std::endian::little;

// One read of bytes through a real stream; the record is released at the end.
struct Read {
    AreaFile area{};
    int status = -2;
    std::string err;

    explicit Read(const std::string& bytes, const char* keep_nav = "") {
        std::strncpy(area.nav_type, keep_nav, sizeof(area.nav_type) - 1);
        FILE* f = std::tmpfile();
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        std::rewind(f);
        testing::internal::CaptureStderr();
        status = SAT_read_AREA(f, &area);
        err = testing::internal::GetCapturedStderr();
        std::fclose(f);
    }
    ~Read() { SAT_free_AREA(&area); }
    int lines() const { return area.dir[8]; }
    int elements() const { return area.dir[9]; }
    std::vector<unsigned char> pixels() const {
        return std::vector<unsigned char>(area.data,
                                          area.data + static_cast<size_t>(lines()) * elements());
    }
    std::string text(int word, int n) const {
        return std::string(reinterpret_cast<const char*>(area.dir + word), n);
    }
};

struct ShiftGuard {
    explicit ShiftGuard(int s) { SAT_set_bit_shift(s); }
    ~ShiftGuard() { SAT_set_bit_shift(0); }
};

// The 16-bit pixels of a plain, uncompressed, single-sample TIFF.
std::vector<uint16_t> read_tiff16(const std::string& t, int* width, int* height) {
    bool big = t.compare(0, 2, "MM") == 0;
    auto u16 = [&](size_t at) {
        auto b0 = static_cast<unsigned char>(t[at]), b1 = static_cast<unsigned char>(t[at + 1]);
        return static_cast<uint32_t>(big ? b0 << 8 | b1 : b1 << 8 | b0);
    };
    size_t ifd = get32(t, 4, big);
    uint32_t count = u16(ifd), bits = 0, compression = 0, offset = 0;
    for (uint32_t i = 0; i < count; i++) {
        size_t e = ifd + 2 + 12 * i;
        uint32_t tag = u16(e), type = u16(e + 2);
        uint32_t value = type == 3 ? u16(e + 8) : get32(t, e + 8, big);
        if (tag == 256) *width = static_cast<int>(value);
        if (tag == 257) *height = static_cast<int>(value);
        if (tag == 258) bits = value;
        if (tag == 259) compression = value;
        if (tag == 273) offset = value;
    }
    EXPECT_EQ(bits, 16u);
    EXPECT_EQ(compression, 1u);
    std::vector<uint16_t> out(static_cast<size_t>(*width) * *height);
    for (size_t k = 0; k < out.size(); k++) out[k] = static_cast<uint16_t>(u16(offset + 2 * k));
    return out;
}

const std::string& file(const char* rel) {
    static std::map<std::string, std::string> cache;
    auto it = cache.find(rel);
    if (it == cache.end()) it = cache.emplace(rel, area_tool::load(testdata(rel))).first;
    return it->second;
}

// The text of a directory word as a host that swaps it sees it.
std::string reversed(const char* four) {
    return std::string{four[3], four[2], four[1], four[0]};
}

void expect_rows(const std::vector<unsigned char>& got, const std::vector<unsigned char>& want,
                 int elements, int from, int to, const char* what) {
    for (int y = from; y < to; y++)
        ASSERT_EQ(0, std::memcmp(got.data() + static_cast<size_t>(y) * elements,
                                 want.data() + static_cast<size_t>(y) * elements, elements))
            << what << ": row " << y;
}

bool row_is_zero(const std::vector<unsigned char>& got, int elements, int y) {
    for (int x = 0; x < elements; x++)
        if (got[static_cast<size_t>(y) * elements + x] != 0) return false;
    return true;
}

class AreaTest : public testing::Test {
   protected:
    void SetUp() override {
        MESS_reset();
        SAT_set_bit_shift(0);
    }
};

// ---- The real files -------------------------------------------------------

TEST_F(AreaTest, GvarSectorDirectoryAndNavigation) {
    Read r(file(kGvar));
    ASSERT_EQ(r.status, 0) << r.err;
    const int32_t* d = r.area.dir;
    EXPECT_EQ(d[1], 4);
    EXPECT_EQ(d[2], 70);
    EXPECT_EQ(d[3], 98260);
    EXPECT_EQ(d[4], 74500);
    EXPECT_EQ(d[5], 3797);
    EXPECT_EQ(d[6], 10881);
    EXPECT_EQ(d[8], 400);
    EXPECT_EQ(d[9], 1800);
    EXPECT_EQ(d[10], 2);
    EXPECT_EQ(d[11], 8);
    EXPECT_EQ(d[12], 4);
    EXPECT_EQ(d[33], 2816);
    EXPECT_STREQ(r.area.nav_type, "GVAR");
    ASSERT_NE(r.area.gvar, nullptr);
    EXPECT_EQ(std::memcmp(r.area.gvar, "GVAR", 4), 0);
    EXPECT_EQ(r.area.goes, nullptr);
    EXPECT_EQ(r.area.ps, nullptr);
    // A big-endian file: its source and calibration texts lie in the swapped
    // range and come out reversed on a little-endian host.
    EXPECT_EQ(r.text(51, 4), kLittleHost ? reversed("GVAR") : "GVAR");
    EXPECT_EQ(r.text(52, 4), kLittleHost ? reversed("RAW ") : "RAW ");
    EXPECT_EQ(r.err, "");
}

TEST_F(AreaTest, GvarSectorPixelsAreTheHighByteOfTheIndependentTiff) {
    int w = 0, h = 0;
    std::vector<uint16_t> p16 =
        read_tiff16(file("area/goes8_wv_gvar_1998260_0745.pixels16.tiff"), &w, &h);
    ASSERT_EQ(w, 1800);
    ASSERT_EQ(h, 400);
    {
        Read r(file(kGvar));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        size_t bad = 0;
        for (size_t k = 0; k < got.size(); k++) bad += got[k] != (p16[k] >> 8);
        EXPECT_EQ(bad, 0u);
    }
    // The shift applies before the high byte is taken on this path.
    for (int s : {1, 3}) {
        ShiftGuard g(s);
        Read r(file(kGvar));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        size_t bad = 0;
        for (size_t k = 0; k < got.size(); k++) bad += got[k] != (((p16[k] << s) >> 8) & 0xFF);
        EXPECT_EQ(bad, 0u) << "shift " << s;
    }
}

TEST_F(AreaTest, RadarCompositeLittleEndianPolarStereographic) {
    Read r(file(kRadar));
    ASSERT_EQ(r.status, 0) << r.err;
    const int32_t* d = r.area.dir;
    EXPECT_EQ(d[3], 100137);
    EXPECT_EQ(d[4], 85900);
    EXPECT_EQ(d[5], 6);
    EXPECT_EQ(d[6], -159);
    EXPECT_EQ(d[8], 350);
    EXPECT_EQ(d[9], 640);
    EXPECT_EQ(d[10], 1);
    EXPECT_EQ(d[11], 5);
    EXPECT_EQ(d[12], 4);
    EXPECT_EQ(r.text(24, 32), std::string("MDR") + std::string(29, ' '));
    EXPECT_EQ(r.text(51, 4), kLittleHost ? "VISR" : reversed("VISR"));
    EXPECT_EQ(r.text(52, 4), kLittleHost ? "BRIT" : reversed("BRIT"));
    EXPECT_STREQ(r.area.nav_type, "PS");
    ASSERT_NE(r.area.ps, nullptr);
    EXPECT_EQ(r.area.ps[3], 600000);   // standard latitude 60
    EXPECT_EQ(r.area.ps[5], 1050000);  // normal longitude 105 W
    EXPECT_EQ(r.area.gvar, nullptr);

    std::vector<unsigned char> got = r.pixels();
    std::set<int> values(got.begin(), got.end());
    for (int v : values) EXPECT_EQ(v % 32, 0) << v;
    EXPECT_LE(*values.rbegin(), 192);
    EXPECT_GE(values.size(), 4u);
    const std::string& f = file(kRadar);
    EXPECT_EQ(0, std::memcmp(got.data(), f.data() + 768, got.size()));
}

TEST_F(AreaTest, FastPathIgnoresTheBitShift) {
    ShiftGuard g(2);
    Read r(file(kRadar));
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(0, std::memcmp(r.area.data, file(kRadar).data() + 768, 350 * 640));
}

TEST_F(AreaTest, SyntheticFullDisk) {
    Read r(file(kFullDisk));
    ASSERT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.lines(), 2720);
    EXPECT_EQ(r.elements(), 5200);
    EXPECT_EQ(r.area.dir[5], 2573);
    EXPECT_EQ(r.area.dir[6], 4941);
    EXPECT_EQ(r.text(24, 32), "SYNTHETIC FULLDISK REAL GVAR NAV");
    EXPECT_STREQ(r.area.nav_type, "GVAR");
    const std::string& f = file(kFullDisk);
    EXPECT_EQ(0, std::memcmp(r.area.data, f.data() + 2816, size_t{2720} * 5200));
}

// ---- Other physical forms -------------------------------------------------

TEST_F(AreaTest, SwappedCopiesReadBackTheSame) {
    for (const char* name : {kGvar, kRadar}) {
        Read a(file(name));
        Read b(area_tool::swap_copy(file(name)));
        ASSERT_EQ(a.status, 0);
        ASSERT_EQ(b.status, 0) << name;
        for (int w = 0; w < 64; w++) {
            if (w == 51 || w == 52) {
                // Text in the swapped range: exactly one of the two reads reverses it.
                EXPECT_EQ(a.text(w, 4), reversed(b.text(w, 4).c_str())) << name;
            } else {
                EXPECT_EQ(a.area.dir[w], b.area.dir[w]) << name << " word " << w;
            }
        }
        EXPECT_STREQ(a.area.nav_type, b.area.nav_type);
        int32_t* na = a.area.gvar ? a.area.gvar : a.area.ps;
        int32_t* nb = b.area.gvar ? b.area.gvar : b.area.ps;
        ASSERT_NE(nb, nullptr);
        EXPECT_EQ(0, std::memcmp(na, nb, a.area.gvar ? 2560 : 512)) << name;
        EXPECT_EQ(a.pixels(), b.pixels()) << name;
    }
}

TEST_F(AreaTest, PlainLinePrefixIsSkippedAndShifted) {
    // The radar file with a four-byte prefix in front of every line.
    const std::string& f = file(kRadar);
    std::string g = f.substr(0, 768);
    put32(g, 56, 4, false);
    for (int y = 0; y < 350; y++) g += "PFX!" + f.substr(768 + y * 640, 640);
    {
        Read r(g);
        ASSERT_EQ(r.status, 0);
        EXPECT_EQ(0, std::memcmp(r.area.data, f.data() + 768, 350 * 640));
    }
    ShiftGuard s(1);
    Read r(g);
    ASSERT_EQ(r.status, 0);
    std::vector<unsigned char> got = r.pixels();
    for (size_t k = 0; k < got.size(); k += 97)
        ASSERT_EQ(got[k], (static_cast<unsigned char>(f[768 + k]) << 1) & 0xFF) << k;
}

TEST_F(AreaTest, FramedCopiesReadBackTheSame) {
    for (const char* name : {kGvar, kRadar}) {
        Read a(file(name));
        Read b(area_tool::framed_copy(file(name)));
        ASSERT_EQ(b.status, 0) << name;
        for (int w : {3, 4, 5, 6, 8, 9, 11, 12, 33}) EXPECT_EQ(a.area.dir[w], b.area.dir[w]) << w;
        EXPECT_STREQ(a.area.nav_type, b.area.nav_type);
        EXPECT_EQ(a.pixels(), b.pixels()) << name;
    }
}

TEST_F(AreaTest, FramedDepthSixMarksJunkAndPrefix) {
    area_tool::FrameOptions opt;
    for (int y = 0; y < 400; y += 3) opt.depth6.insert(y);
    for (int y = 1; y < 400; y += 7) opt.two_marks.insert(y);
    opt.junk = 5;
    opt.prefix = 3;
    std::string framed = area_tool::framed_copy(file(kGvar), opt);
    std::vector<unsigned char> want = area_tool::pixels8(file(kGvar));

    for (int s : {0, 1}) {
        ShiftGuard g(s);
        Read r(framed);
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        size_t bad = 0;
        for (int y = 0; y < 400; y++)
            for (int x = 0; x < 1800; x++) {
                int p = want[y * 1800 + x];
                if (opt.depth6.count(y)) p &= 0xFC;  // sent as p >> 2, shifted back by 2
                p = (p << s) & 0xFF;
                bad += got[y * 1800 + x] != p;
            }
        EXPECT_EQ(bad, 0u) << "shift " << s;
    }
}

TEST_F(AreaTest, FramedGapsAndJumps) {
    const int E = 640, L = 350;
    std::vector<unsigned char> src = area_tool::pixels8(file(kRadar));
    auto row = [&](std::vector<unsigned char>& v, int y) {
        return v.data() + static_cast<size_t>(y) * E;
    };

    {  // Missing lines are filled with the empty line; the rest stays in place.
        area_tool::FrameOptions opt;
        opt.omit = {20, 21, 22, 100};
        Read r(area_tool::framed_copy(file(kRadar), opt));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        for (int y = 0; y < L; y++) {
            if (opt.omit.count(y))
                EXPECT_TRUE(row_is_zero(got, E, y)) << y;
            else
                ASSERT_EQ(0, std::memcmp(row(got, y), row(src, y), E)) << y;
        }
    }
    // A number 11 or more past the previous one, or below it, counts as the
    // previous number: the line lands at the current row, the next line then
    // sees a gap of one, and everything behind moves down a row.
    for (int bogus : {40 + 11, 3}) {
        area_tool::FrameOptions opt;
        opt.renumber = {{40, bogus}};
        Read r(area_tool::framed_copy(file(kRadar), opt));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        expect_rows(got, src, E, 0, 41, "before the jump");
        EXPECT_TRUE(row_is_zero(got, E, 41));
        for (int y = 42; y < L; y++)
            ASSERT_EQ(0, std::memcmp(row(got, y), row(src, y - 1), E)) << y;
    }
    {  // A jump of 10 is a gap of 9.
        area_tool::FrameOptions opt;
        for (int y = 41; y < 50; y++) opt.omit.insert(y);
        Read r(area_tool::framed_copy(file(kRadar), opt));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        for (int y = 41; y < 50; y++) EXPECT_TRUE(row_is_zero(got, E, y)) << y;
        expect_rows(got, src, E, 50, L, "behind the gap");
    }
}

TEST_F(AreaTest, FramedStreamCutShortOrWithBrokenMarks) {
    const int E = 640, L = 350;
    std::vector<unsigned char> src = area_tool::pixels8(file(kRadar));
    std::string framed = area_tool::framed_copy(file(kRadar));
    // Where each line's mark sits.
    std::vector<size_t> marks;
    for (size_t at = framed.find(area_tool::kSync, 8 + 256 + 8, 8); at != std::string::npos;
         at = framed.find(area_tool::kSync, at + 8, 8))
        marks.push_back(at);
    ASSERT_EQ(marks.size(), static_cast<size_t>(L));

    {  // Cut inside line 200: what came before stays, what follows is empty.
        Read r(framed.substr(0, marks[200] + 40));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        expect_rows(got, src, E, 0, 200, "before the cut");
        for (int y = 201; y < L; y++) EXPECT_TRUE(row_is_zero(got, E, y)) << y;
    }
    {  // A broken mark loses its line: the search goes on to the next mark.
        std::string g = framed;
        g[marks[120] + 3] = 0x00;
        Read r(g);
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        expect_rows(got, src, E, 0, 120, "before the broken mark");
        EXPECT_TRUE(row_is_zero(got, E, 120));
        expect_rows(got, src, E, 121, L, "behind the broken mark");
    }
    {  // No mark within 1024 attempts ends the image there, without error.
        std::string g = framed;
        g.insert(marks[120], 2000, '\x5A');
        Read r(g);
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        expect_rows(got, src, E, 0, 120, "before the noise");
        for (int y = 120; y < L; y++) EXPECT_TRUE(row_is_zero(got, E, y)) << y;
    }
    {  // No mark within 1024 attempts at the start, or behind the directory: no message.
        Read a(std::string(1100, '\x5A') + framed);
        EXPECT_EQ(a.status, -1);
        EXPECT_EQ(a.err, "");
        std::string g = framed;
        g.insert(8 + 256, 1100, '\x5A');
        Read b(g);
        EXPECT_EQ(b.status, -1);
        EXPECT_EQ(b.err, "");
        // Within reach, a broken mark only makes the search go on.
        g = framed;
        g.insert(0, 1000, '\x5A');
        g.insert(1000 + 8 + 256, 20, '\x00');
        Read c(g);
        EXPECT_EQ(c.status, 0);
        EXPECT_EQ(c.pixels(), src);
    }
    {  // Lines longer than the line buffer are refused.
        std::string g = framed;
        put32(g, 8 + 36, 5001, true);
        Read r(g);
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err, kBadParams);
        put32(g, 8 + 36, 5000, true);
        Read ok(g);
        EXPECT_EQ(ok.status, 0);
    }
}

// ---- Broken and hostile plain files ---------------------------------------

TEST_F(AreaTest, EmptyAndNullStreams) {
    Read r("");
    EXPECT_EQ(r.status, -1);
    EXPECT_EQ(r.err, "");
    AreaFile area{};
    EXPECT_EQ(SAT_read_AREA(nullptr, &area), -1);
}

TEST_F(AreaTest, FileCutInsideDirectoryOrNavigation) {
    for (const char* name : {kGvar, kRadar})
        for (size_t cut : {8, 100, 255, 300, 600}) {
            Read r(file(name).substr(0, cut));
            EXPECT_EQ(r.status, -1) << name << " cut at " << cut;
            EXPECT_EQ(r.err, kBadParams) << name << " cut at " << cut;
        }
    Read r(file(kGvar).substr(0, 2000));
    EXPECT_EQ(r.status, -1);
    EXPECT_EQ(r.err, kBadParams);
}

TEST_F(AreaTest, FileCutInsidePixelsKeepsWhatIsThere) {
    {  // Fast path.
        const std::string& f = file(kRadar);
        size_t have = 10 * 640 + 100;
        Read r(f.substr(0, 768 + have));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        EXPECT_EQ(0, std::memcmp(got.data(), f.data() + 768, have));
        for (size_t k = have; k < got.size(); k++) ASSERT_EQ(got[k], 0) << k;
    }
    {  // Two bytes an element, cut between the two bytes of a pixel, past the first window.
        const std::string& f = file(kGvar);
        size_t have = 2 * (30 * 1800 + 7) + 1;
        Read r(f.substr(0, 2816 + have));
        ASSERT_EQ(r.status, 0);
        std::vector<unsigned char> got = r.pixels();
        std::vector<unsigned char> want = area_tool::pixels8(f);
        EXPECT_EQ(0, std::memcmp(got.data(), want.data(), have / 2));
        for (size_t k = have / 2; k < got.size(); k++) ASSERT_EQ(got[k], 0) << k;
    }
    {  // The data offset right at the end: no pixel at all.
        Read r(file(kRadar).substr(0, 768));
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err, kBadParams);
    }
}

TEST_F(AreaTest, AbsurdSizesAreRefused) {
    const std::string& f = file(kRadar);
    for (int word : {8, 9})
        for (uint32_t v : {0u, 100001u, 0xFFFFFFFFu, 0x80000000u}) {
            std::string g = f;
            put32(g, 4 * word, v, false);
            Read r(g);
            EXPECT_EQ(r.status, -1) << word << "=" << v;
            EXPECT_EQ(r.err, kBadParams);
            // The blocks read so far are handed over all the same.
            EXPECT_NE(r.area.dir, nullptr);
        }
    // The bounds themselves pass.
    std::string g = f;
    put32(g, 32, 1, false);
    put32(g, 36, 1, false);
    Read one(g);
    EXPECT_EQ(one.status, 0);
    EXPECT_EQ(one.area.data[0], static_cast<unsigned char>(f[768]));
    put32(g, 32, 100000, false);
    put32(g, 36, 3, false);
    Read tall(g);
    EXPECT_EQ(tall.status, 0);
    EXPECT_EQ(0, std::memcmp(tall.area.data, f.data() + 768, f.size() - 768));
}

TEST_F(AreaTest, DataOffsets) {
    const std::string& f = file(kRadar);
    for (uint32_t offset : {static_cast<uint32_t>(f.size()), static_cast<uint32_t>(f.size()) + 5u,
                            40000000u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
        std::string g = f;
        put32(g, 132, offset, false);
        Read r(g);
        EXPECT_EQ(r.status, -1) << offset;
        EXPECT_EQ(r.err, kBadParams) << offset;
    }
    // Far past the first window, still inside the file: the pixels are found.
    std::string g = f.substr(0, 768) + std::string(50000, '\x11') + f.substr(768);
    put32(g, 132, 768 + 50000, false);
    Read far(g);
    ASSERT_EQ(far.status, 0);
    EXPECT_EQ(0, std::memcmp(far.area.data, f.data() + 768, 350 * 640));
    // An offset inside the directory reads the directory as pixels.
    g = f;
    put32(g, 132, 0, false);
    Read zero(g);
    ASSERT_EQ(zero.status, 0);
    EXPECT_EQ(0, std::memcmp(zero.area.data, g.data(), 1000));
}

TEST_F(AreaTest, UnknownNavigationAndElementWidth) {
    std::string g = file(kRadar);
    g.replace(256, 4, "XYZW");
    Read r(g, "KEEP");
    ASSERT_EQ(r.status, 0);
    EXPECT_STREQ(r.area.nav_type, "KEEP");
    for (int32_t* p : {r.area.goes, r.area.gvar, r.area.ps, r.area.tanc, r.area.proj})
        EXPECT_EQ(p, nullptr);

    for (uint32_t width : {0u, 3u, 4u}) {
        std::string h = file(kRadar);
        put32(h, 40, width, false);
        Read w(h);
        EXPECT_EQ(w.status, 0) << width;
        EXPECT_TRUE(row_is_zero(w.pixels(), 640 * 350, 0));
    }
}

TEST_F(AreaTest, OtherNavigationTypesGoToTheirBlocks) {
    struct Case {
        const char* name;
        int32_t* AreaFile::*slot;
    };
    for (Case c :
         {Case{"GOES", &AreaFile::goes}, Case{"MSAT", &AreaFile::ps}, Case{"TANC", &AreaFile::tanc},
          Case{"MOLL", &AreaFile::proj}, Case{"RECT", &AreaFile::proj},
          Case{"MERC", &AreaFile::proj}, Case{"LAMB", &AreaFile::proj}}) {
        // Opposite byte order, so that the block is corrected on reading.
        std::string g = file(kRadar);
        g.replace(256, 4, c.name);
        g = area_tool::swap_copy(g);
        Read r(g);
        ASSERT_EQ(r.status, 0);
        EXPECT_STREQ(r.area.nav_type, c.name);
        ASSERT_NE(r.area.*c.slot, nullptr) << c.name;
        EXPECT_EQ((r.area.*c.slot)[3], 600000) << c.name;
        // The last eight words are not byte-corrected.
        EXPECT_EQ(0, std::memcmp((r.area.*c.slot) + 120, g.data() + 256 + 480, 32));
    }
}

}  // namespace
