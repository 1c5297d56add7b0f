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
using Pixels = std::vector<unsigned char>;

const char* kGvar = "area/goes8_wv_gvar_1998260_0745.area";
const char* kRadar = "area/radar_composite_ps_2000137_0859.area";
const char* kBadParams = "SAT_read_AREA: Invalid image parameters\n";

const std::string& file(const char* rel) {
    static std::map<std::string, std::string> cache;
    auto it = cache.find(rel);
    if (it == cache.end()) it = cache.emplace(rel, area_tool::load(sat_test::testdata(rel))).first;
    return it->second;
}

// One read of the bytes through a real stream with the bit shift given.
struct Read {
    AreaFile area{};
    int status;
    std::string err;

    explicit Read(const std::string& bytes, int shift = 0, const char* keep_nav = "") {
        std::strncpy(area.nav_type, keep_nav, sizeof(area.nav_type) - 1);
        FILE* f = std::tmpfile();
        std::fwrite(bytes.data(), 1, bytes.size(), f);
        SAT_set_bit_shift(shift);
        testing::internal::CaptureStderr();
        status = SAT_read_AREA(f, &area);
        err = testing::internal::GetCapturedStderr();
        SAT_set_bit_shift(0);
        std::fclose(f);
    }
    ~Read() { SAT_free_AREA(&area); }
    Pixels pixels() const {
        return Pixels(area.data, area.data + size_t{1} * area.dir[8] * area.dir[9]);
    }
    Pixels row(int y) const { return row_of(pixels(), area.dir[9], y); }
    std::string text(int word, int n) const {
        return std::string(reinterpret_cast<const char*>(area.dir + word), n);
    }
    static Pixels row_of(const Pixels& p, int elements, int y) {
        return Pixels(p.begin() + y * elements, p.begin() + (y + 1) * elements);
    }
};

// The pixels of a read that must succeed, none if it fails.
Pixels px(const std::string& bytes, int shift = 0) {
    Read r(bytes, shift);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.status == 0 ? r.pixels() : Pixels();
}

// The text of a directory word as a host that swaps it sees it.
std::string reversed(std::string s) {
    return std::string(s.rbegin(), s.rend());
}

// The 16-bit pixels of a plain, uncompressed, single-sample TIFF.
std::vector<uint16_t> read_tiff16(const std::string& t, int* width, int* height) {
    bool big = t.compare(0, 2, "MM") == 0;
    auto u16 = [&](size_t at) {
        unsigned b0 = static_cast<unsigned char>(t[at]), b1 = static_cast<unsigned char>(t[at + 1]);
        return big ? b0 << 8 | b1 : b1 << 8 | b0;
    };
    size_t ifd = get32(t, 4, big);
    std::map<unsigned, uint32_t> tags;
    for (unsigned i = 0; i < u16(ifd); i++) {
        size_t e = ifd + 2 + 12 * i;
        tags[u16(e)] = u16(e + 2) == 3 ? u16(e + 8) : get32(t, e + 8, big);
    }
    EXPECT_EQ(tags[258], 16u);  // bits a sample
    EXPECT_EQ(tags[259], 1u);   // no compression
    *width = static_cast<int>(tags[256]);
    *height = static_cast<int>(tags[257]);
    std::vector<uint16_t> out(size_t{1} * *width * *height);
    for (size_t k = 0; k < out.size(); k++) out[k] = static_cast<uint16_t>(u16(tags[273] + 2 * k));
    return out;
}

class AreaTest : public testing::Test {
   protected:
    void SetUp() override { MESS_reset(); }
};

TEST_F(AreaTest, RealFilesDirectoryAndNavigationAgreeWithTheReadme) {
    struct Case {
        const char* name;
        const char* nav;
        std::string comment, source, calibration;
    };
    const Case cases[] = {{kGvar, "GVAR", std::string(32, '\0'), "GVAR", "RAW "},
                          {kRadar, "PS", "MDR" + std::string(29, ' '), "VISR", "BRIT"},
                          {"area/goes8_fulldisk_gvar_synthetic.area", "GVAR",
                           "SYNTHETIC FULLDISK REAL GVAR NAV", "GVAR", "BRIT"}};
    // Pairs of word and value: date, time, corrections, size, width, resolutions, offset.
    const std::vector<int32_t> words[] = {
        {3, 98260, 4, 74500, 5, 3797, 6, 10881, 8, 400, 9, 1800, 10, 2, 11, 8, 12, 4, 33, 2816},
        {3, 100137, 4, 85900, 5, 6, 6, -159, 8, 350, 9, 640, 10, 1, 11, 5, 12, 4, 33, 768},
        {5, 2573, 6, 4941, 8, 2720, 9, 5200, 10, 1, 11, 4}};
    for (int i = 0; i < 3; i++) {
        const Case& c = cases[i];
        Read r(file(c.name));
        ASSERT_EQ(r.status, 0) << c.name << r.err;
        EXPECT_EQ(r.err, "");
        for (size_t k = 0; k < words[i].size(); k += 2)
            EXPECT_EQ(r.area.dir[words[i][k]], words[i][k + 1])
                << c.name << " word " << words[i][k];
        EXPECT_STREQ(r.area.nav_type, c.nav);
        EXPECT_EQ(r.text(24, 32), c.comment);
        // Source and calibration texts lie in the swapped range: a big-endian
        // file shows them reversed on a little-endian host, and the other way.
        bool swapped =
            area_tool::big_endian(file(c.name)) == (std::endian::native == std::endian::little);
        EXPECT_EQ(r.text(51, 4), swapped ? reversed(c.source) : c.source) << c.name;
        EXPECT_EQ(r.text(52, 4), swapped ? reversed(c.calibration) : c.calibration) << c.name;
        int32_t* block = c.nav[0] == 'G' ? r.area.gvar : r.area.ps;
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::memcmp(block, c.nav, 2), 0);
        if (block == r.area.ps) {
            EXPECT_EQ(block[3], 600000);   // standard latitude 60
            EXPECT_EQ(block[5], 1050000);  // normal longitude 105 W
        }
        EXPECT_EQ(r.area.goes, nullptr);
        EXPECT_EQ(r.area.proj, nullptr);
        // One byte an element without prefix: the bytes behind the data offset, whatever the shift.
        if (r.area.dir[10] == 1) {
            Read shifted(file(c.name), 3);
            size_t n = size_t{1} * r.area.dir[8] * r.area.dir[9];
            EXPECT_EQ(0, std::memcmp(shifted.area.data, file(c.name).data() + r.area.dir[33], n))
                << c.name;
        }
    }
    std::set<int> values;
    for (unsigned char p : Read(file(kRadar)).pixels()) values.insert(p);
    EXPECT_EQ(values, (std::set<int>{0, 32, 64, 96, 128, 160, 192}));
}

TEST_F(AreaTest, GvarPixelsAreTheHighByteOfTheIndependentTiff) {
    int w = 0, h = 0;
    std::vector<uint16_t> p16 =
        read_tiff16(file("area/goes8_wv_gvar_1998260_0745.pixels16.tiff"), &w, &h);
    ASSERT_EQ(w * h, 1800 * 400);
    for (int s : {0, 1, 3}) {  // the shift applies before the high byte is taken
        Pixels got = px(file(kGvar), s);
        size_t bad = p16.size() - got.size();
        for (size_t k = 0; k < got.size(); k++) bad += got[k] != (((p16[k] << s) >> 8) & 0xFF);
        EXPECT_EQ(bad, 0u) << "shift " << s;
    }
}

TEST_F(AreaTest, SwappedAndFramedCopiesReadBackTheSame) {
    for (const char* name : {kGvar, kRadar}) {
        Read a(file(name)), b(area_tool::swap_copy(file(name))),
            c(area_tool::framed_copy(file(name)));
        ASSERT_EQ(b.status, 0) << name;
        ASSERT_EQ(c.status, 0) << name;
        for (int w = 0; w < 64; w++)
            if (w == 51 || w == 52)  // text that exactly one of the two plain reads reverses
                EXPECT_EQ(a.text(w, 4), reversed(b.text(w, 4))) << name;
            else
                EXPECT_EQ(a.area.dir[w], b.area.dir[w]) << name << " word " << w;
        for (int w : {3, 4, 5, 6, 8, 9, 11, 12, 33})
            EXPECT_EQ(a.area.dir[w], c.area.dir[w]) << name << " word " << w;
        bool gvar = a.area.gvar != nullptr;
        for (const Read* r : {&b, &c}) {
            EXPECT_EQ(0, std::memcmp(gvar ? a.area.gvar : a.area.ps,
                                     gvar ? r->area.gvar : r->area.ps, gvar ? 2560 : 512))
                << name;
            EXPECT_EQ(a.pixels(), r->pixels()) << name;
        }
    }
}

TEST_F(AreaTest, PlainLinePrefixIsSkippedAndPixelsShifted) {
    const std::string& f = file(kRadar);
    std::string g = f.substr(0, 768);
    put32(g, 56, 4, false);
    for (int y = 0; y < 350; y++) g += "PFX!" + f.substr(768 + y * 640, 640);
    for (int s : {0, 1}) {
        Pixels got = px(g, s);
        ASSERT_EQ(got.size(), 350u * 640);
        for (size_t k = 0; k < got.size(); k++)
            ASSERT_EQ(got[k], (static_cast<unsigned char>(f[768 + k]) << s) & 0xFF) << k;
    }
}

TEST_F(AreaTest, FramedDepthSixSecondMarksJunkAndPrefix) {
    area_tool::FrameOptions opt;
    for (int y = 0; y < 400; y += 3) opt.depth6.insert(y);
    for (int y = 1; y < 400; y += 7) opt.two_marks.insert(y);
    opt.junk = 5;
    opt.prefix = 3;
    std::string framed = area_tool::framed_copy(file(kGvar), opt);
    Pixels src = area_tool::pixels8(file(kGvar));
    for (int s : {0, 1}) {  // depth 6 with shift 1 is a shift by 3 in all
        Pixels got = px(framed, s);
        size_t bad = src.size() - got.size();
        for (size_t k = 0; k < got.size(); k++)
            bad += got[k] != (((opt.depth6.count(k / 1800) ? src[k] & 0xFC : src[k]) << s) & 0xFF);
        EXPECT_EQ(bad, 0u) << "shift " << s;
    }
}

TEST_F(AreaTest, FramedLinesByHand) {
    // Two lines of five elements. Line 0: literal FE, +1, +1 (wraps to 00), then
    // three repeats from the fourth element on, one past the end. Line 1 at
    // depth 6: literal 3F, one repeat, the rest left empty.
    std::string sync(area_tool::kSync, 8), dir(256, '\0');
    put32(dir, 32, 2, true);
    put32(dir, 36, 5, true);
    put32(dir, 132, 768, true);
    std::string stream = sync + dir + sync + "PS  " + std::string(508, '\0') + sync +
                         std::string("\0\0\0\0\0\x08\0\x03\x0F\xEC\xCF", 11) + sync +
                         std::string("\0\0\0\x01\0\x06\0\x02\x03\xFD", 10);
    for (int s : {0, 1}) {
        Pixels want{0xFE, 0xFF, 0x00, 0x00, 0x00, 0xFC, 0xFC, 0, 0, 0};
        for (unsigned char& p : want) p = static_cast<unsigned char>(p << s);
        EXPECT_EQ(px(stream, s), want) << "shift " << s;
    }
}

TEST_F(AreaTest, FramedGapsJumpsAndBreaks) {
    const int E = 640, L = 350;
    Pixels src = area_tool::pixels8(file(kRadar));
    // expected(y) gives the source row that image row y holds, -1 for an empty
    // row, -2 for a row not checked.
    auto check = [&](const std::string& stream, auto expected, const char* what) {
        Read r(stream);
        ASSERT_EQ(r.status, 0) << what;
        for (int y = 0; y < L; y++) {
            if (expected(y) == -2) continue;
            ASSERT_EQ(r.row(y), expected(y) < 0 ? Pixels(E, 0) : Read::row_of(src, E, expected(y)))
                << what << ": row " << y;
        }
    };
    area_tool::FrameOptions opt;
    opt.omit = {20, 21, 22, 100, 41, 42, 43, 44, 45, 46, 47, 48, 49};  // 40 to 50 is a jump of 10
    check(
        area_tool::framed_copy(file(kRadar), opt),
        [&](int y) { return opt.omit.count(y) ? -1 : y; }, "gaps");
    // A number 11 or more past the previous one, or below it, counts as the
    // previous number: the line lands at the current row, the next line then
    // sees a gap of one, and everything behind moves down a row.
    for (int bogus : {40 + 11, 3}) {
        opt = {};
        opt.renumber = {{40, bogus}};
        check(
            area_tool::framed_copy(file(kRadar), opt),
            [](int y) { return y <= 40   ? y
                               : y == 41 ? -1
                                         : y - 1; }, "jump");
    }
    std::string framed = area_tool::framed_copy(file(kRadar));
    std::vector<size_t> marks;  // where each line's mark sits
    for (size_t at = framed.find(area_tool::kSync, 8 + 256 + 8, 8); at != std::string::npos;
         at = framed.find(area_tool::kSync, at + 8, 8))
        marks.push_back(at);
    ASSERT_EQ(marks.size(), size_t{L});
    // Cut inside line 200: what came before stays, what follows is empty.
    check(
        framed.substr(0, marks[200] + 40), [](int y) { return y < 200    ? y
                                                              : y == 200 ? -2
                                                                         : -1; },
        "cut");
    std::string broken = framed;
    broken[marks[120] + 3] = 0x00;  // the search goes on to the next mark: one line lost
    check(
        broken, [](int y) { return y == 120 ? -1 : y; }, "broken mark");
    std::string noise = framed;
    noise.insert(marks[120], 2000, '\x5A');  // no mark in 1024 attempts: the image ends there
    check(
        noise, [](int y) { return y < 120 ? y : -1; }, "noise");
}

TEST_F(AreaTest, FramedStreamRefusals) {
    std::string framed = area_tool::framed_copy(file(kRadar)), behind = framed;
    // No mark within 1024 attempts, at the start or behind the directory: no message.
    behind.insert(8 + 256, 1100, '\x5A');
    for (const std::string& s : {std::string(1100, '\x5A') + framed, behind}) {
        Read r(s);
        EXPECT_EQ(r.status, -1);
        EXPECT_EQ(r.err, "");
    }
    // Within reach, and with pairs of zeros that fail an attempt each, the marks are found.
    std::string near = std::string(1000, '\x5A') + framed;
    near.insert(1000 + 8 + 256, 20, '\0');
    EXPECT_EQ(Read(near).status, 0);
    // Lines longer than the line buffer are refused.
    put32(framed, 8 + 36, 5001, true);
    Read r(framed);
    EXPECT_EQ(r.status, -1);
    EXPECT_EQ(r.err, kBadParams);
    put32(framed, 8 + 36, 5000, true);
    EXPECT_EQ(Read(framed).status, 0);
}

TEST_F(AreaTest, EmptyNullAndCutFiles) {
    Read empty("");
    EXPECT_EQ(empty.status, -1);
    EXPECT_EQ(empty.err, "");
    AreaFile area{};
    EXPECT_EQ(SAT_read_AREA(nullptr, &area), -1);
    for (const char* name : {kGvar, kRadar}) {
        const std::string& f = file(name);
        size_t offset = get32(f, 132, area_tool::big_endian(f));
        // Cut inside the directory or the navigation block, or right at the data offset.
        for (size_t cut : {8, 100, 255, 300, 600, 2000}) {
            Read r(f.substr(0, cut < offset ? cut : offset));
            EXPECT_EQ(r.status, -1) << name << " cut at " << cut;
            EXPECT_EQ(r.err, kBadParams) << name << " cut at " << cut;
        }
        // Cut inside the pixels: what is there is read, the rest is 0. On the
        // two-byte path the cut falls between the bytes of a pixel, past the first window.
        size_t have = name == kGvar ? 2 * (30 * 1800 + 7) + 1 : 10 * 640 + 100;
        Read r(f.substr(0, offset + have));
        ASSERT_EQ(r.status, 0);
        Pixels want = area_tool::pixels8(f);
        std::fill(want.begin() + have / (name == kGvar ? 2 : 1), want.end(), 0);
        EXPECT_EQ(r.pixels(), want) << name;
    }
}

TEST_F(AreaTest, AbsurdSizesAndDataOffsets) {
    const std::string& f = file(kRadar);
    auto with = [&](std::initializer_list<std::pair<int, uint32_t>> words) {
        std::string g = f;
        for (auto [w, v] : words) put32(g, 4 * w, v, false);
        return g;
    };
    for (int word : {8, 9})
        for (uint32_t v : {0u, 100001u, 0xFFFFFFFFu, 0x80000000u}) {
            Read r(with({{word, v}}));
            EXPECT_EQ(r.status, -1) << word << "=" << v;
            EXPECT_EQ(r.err, kBadParams);
            EXPECT_NE(r.area.dir, nullptr);  // the blocks are handed over all the same
        }
    // At the bounds; the tall one is mostly beyond the end of the file.
    Read one(with({{8, 1}, {9, 1}})), tall(with({{8, 100000}, {9, 3}}));
    ASSERT_EQ(one.status, 0);
    EXPECT_EQ(one.area.data[0], static_cast<unsigned char>(f[768]));
    ASSERT_EQ(tall.status, 0);
    EXPECT_EQ(0, std::memcmp(tall.area.data, f.data() + 768, f.size() - 768));
    // Offsets beyond the file, or before its start.
    for (uint32_t offset :
         {uint32_t(f.size()), uint32_t(f.size()) + 5u, 40000000u, 0x7FFFFFFFu, 0xFFFFFFF0u}) {
        Read r(with({{33, offset}}));
        EXPECT_EQ(r.status, -1) << offset;
        EXPECT_EQ(r.err, kBadParams) << offset;
    }
    // Far past the first window but inside the file, the pixels are found.
    std::string far = f.substr(0, 768) + std::string(50000, '\x11') + f.substr(768);
    put32(far, 132, 768 + 50000, false);
    Read r(far);
    ASSERT_EQ(r.status, 0);
    EXPECT_EQ(r.pixels(), area_tool::pixels8(f));
    // An offset of 0 reads the directory as pixels.
    std::string at_zero = with({{33, 0}});
    Read zero(at_zero);
    ASSERT_EQ(zero.status, 0);
    EXPECT_EQ(0, std::memcmp(zero.area.data, at_zero.data(), 1000));
}

TEST_F(AreaTest, NavigationTypesAndElementWidths) {
    using Slot = int32_t* AreaFile::*;
    const std::pair<const char*, Slot> types[] = {
        {"GOES", &AreaFile::goes}, {"MSAT", &AreaFile::ps},   {"TANC", &AreaFile::tanc},
        {"MOLL", &AreaFile::proj}, {"RECT", &AreaFile::proj}, {"MERC", &AreaFile::proj},
        {"LAMB", &AreaFile::proj}};
    for (auto [name, slot] : types) {
        // Opposite byte order, so that the block is corrected on reading.
        std::string g = file(kRadar);
        g = area_tool::swap_copy(g.replace(256, 4, name));
        Read r(g);
        ASSERT_EQ(r.status, 0);
        EXPECT_STREQ(r.area.nav_type, name);
        ASSERT_NE(r.area.*slot, nullptr) << name;
        EXPECT_EQ((r.area.*slot)[3], 600000) << name;
        // The last eight words are not corrected.
        EXPECT_EQ(0, std::memcmp((r.area.*slot) + 120, g.data() + 256 + 480, 32)) << name;
    }
    // An unknown type: success, no block, nav_type as the caller left it.
    std::string g = file(kRadar);
    Read r(g.replace(256, 4, "XYZW"), 0, "KEEP");
    ASSERT_EQ(r.status, 0);
    EXPECT_STREQ(r.area.nav_type, "KEEP");
    for (int32_t* p : {r.area.goes, r.area.gvar, r.area.ps, r.area.tanc, r.area.proj})
        EXPECT_EQ(p, nullptr);
    // An element width other than 1 or 2 reads nothing.
    for (uint32_t width : {0u, 3u, 4u}) {
        put32(g, 40, width, false);
        Read w(g);
        EXPECT_EQ(w.status, 0) << width;
        EXPECT_EQ(w.pixels(), Pixels(350 * 640, 0)) << width;
    }
}

}  // namespace
