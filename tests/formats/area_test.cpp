// The AREA reader on the real files of the test data, on other physical forms
// of them made by tests/tools/area_tool.cpp, and on broken and hostile files.
#include "formats/area.h"

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstring>
#include <map>
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
    std::string text(int word, int n) const {
        return std::string(reinterpret_cast<const char*>(area.dir + word), n);
    }
};

// The pixels of a read that must succeed, none if it fails.
Pixels px(const std::string& bytes, int shift = 0) {
    Read r(bytes, shift);
    EXPECT_EQ(r.status, 0) << r.err;
    return r.status == 0 ? r.pixels() : Pixels();
}

std::string reversed(std::string s) {
    return std::string(s.rbegin(), s.rend());
}

// The 16-bit pixels of a plain, uncompressed, single-sample TIFF.
std::vector<uint16_t> read_tiff16(const std::string& t) {
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
    std::vector<uint16_t> out(size_t{1} * tags[256] * tags[257]);
    for (size_t k = 0; k < out.size(); k++) out[k] = static_cast<uint16_t>(u16(tags[273] + 2 * k));
    return out;
}

class AreaTest : public testing::Test {
   protected:
    void SetUp() override { MESS_reset(); }
};

TEST_F(AreaTest, RealFilesAgreeWithTheReadmeAndTheIndependentTiff) {
    struct Case {
        const char* name;
        const char* nav;
        std::string comment, source, calibration;
    };
    const Case cases[] = {{kGvar, "GVAR", std::string(32, '\0'), "GVAR", "RAW "},
                          {kRadar, "PS", "MDR" + std::string(29, ' '), "VISR", "BRIT"}};
    // Pairs of word and value: date, time, corrections, size, width, resolutions, offset.
    const std::vector<int32_t> words[] = {
        {3, 98260, 4, 74500, 5, 3797, 6, 10881, 8, 400, 9, 1800, 10, 2, 11, 8, 12, 4, 33, 2816},
        {3, 100137, 4, 85900, 5, 6, 6, -159, 8, 350, 9, 640, 10, 1, 11, 5, 12, 4, 33, 768}};
    for (int i = 0; i < 2; i++) {
        const Case& c = cases[i];
        Read r(file(c.name));
        ASSERT_EQ(r.status, 0) << c.name << r.err;
        EXPECT_EQ(r.err, "");
        for (size_t k = 0; k < words[i].size(); k += 2)
            EXPECT_EQ(r.area.dir[words[i][k]], words[i][k + 1])
                << c.name << " word " << words[i][k];
        EXPECT_STREQ(r.area.nav_type, c.nav);
        EXPECT_EQ(r.text(24, 32), c.comment);
        // Texts in the swapped range read reversed when the file's order is not the host's.
        bool swapped =
            area_tool::big_endian(file(c.name)) == (std::endian::native == std::endian::little);
        EXPECT_EQ(r.text(51, 4), swapped ? reversed(c.source) : c.source) << c.name;
        EXPECT_EQ(r.text(52, 4), swapped ? reversed(c.calibration) : c.calibration) << c.name;
        int32_t* block = c.nav[0] == 'G' ? r.area.gvar : r.area.ps;
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(std::memcmp(block, c.nav, 2), 0);
        EXPECT_EQ(r.area.goes, nullptr);
        EXPECT_EQ(r.area.proj, nullptr);
    }
    // One byte an element: the bytes behind the data offset, whatever the shift.
    EXPECT_EQ(px(file(kRadar), 3), Pixels(&file(kRadar)[768], &file(kRadar)[768 + 640 * 350]));
    // Two: the high byte of the independent 16-bit decode, after the shift.
    std::vector<uint16_t> p16 = read_tiff16(file("area/goes8_wv_gvar_1998260_0745.pixels16.tiff"));
    ASSERT_EQ(p16.size(), 1800u * 400);
    for (int s : {0, 1, 3}) {
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
    const Pixels got = px(g, 1);
    ASSERT_EQ(got.size(), 350u * 640);
    for (size_t k = 0; k < got.size(); k++)
        ASSERT_EQ(got[k], (static_cast<unsigned char>(f[768 + k]) << 1) & 0xFF) << k;
}

TEST_F(AreaTest, BrokenAndHostileFilesAreRefused) {
    const std::string& f = file(kRadar);
    std::string framed = area_tool::framed_copy(f), wide = framed;
    put32(wide, 8 + 36, 5001, true);  // longer than the line buffer
    auto with = [&](int word, uint32_t v) {
        std::string g = f;
        put32(g, 4 * word, v, false);
        return g;
    };
    const std::pair<std::string, const char*> cases[] = {
        {"", ""},
        {std::string(1100, '\x5A') + framed, ""},  // no mark within 1024 attempts: no message
        {wide, kBadParams},
        {file(kGvar).substr(0, 300), kBadParams},  // cut in the navigation block
        {with(8, 0), kBadParams},
        {with(9, 100001), kBadParams},
        {with(8, 0x80000000u), kBadParams},
        {with(33, uint32_t(f.size())), kBadParams},  // offset at the end of the file
        {with(33, 0xFFFFFFF0u), kBadParams},
    };
    for (const auto& [bytes, err] : cases) {
        Read r(bytes);
        EXPECT_EQ(r.status, -1) << bytes.size();
        EXPECT_EQ(r.err, err) << bytes.size();
    }
    EXPECT_NE(Read(with(9, 0)).area.dir, nullptr);  // the blocks are handed over all the same
}

TEST_F(AreaTest, EdgesThatStillRead) {
    const std::string& f = file(kRadar);
    std::string framed = area_tool::framed_copy(f);
    put32(framed, 8 + 36, 5000, true);  // lines as long as the line buffer
    EXPECT_EQ(Read(framed).status, 0);
    // Cut in the pixels: the rest reads 0, but the two-byte path reads on the stale first
    // byte of the last window (here the cut falls between the bytes of a pixel).
    for (const char* name : {kGvar, kRadar}) {
        const bool two = name == kGvar;
        size_t have = two ? 2 * (30 * 1800 + 7) + 1 : 10 * 640 + 100;
        Pixels want = area_tool::pixels8(file(name));
        size_t offset = get32(file(name), 132, area_tool::big_endian(file(name)));
        const std::string cut = file(name).substr(0, offset + have);
        const unsigned char stale =
            static_cast<unsigned char>(cut[(cut.size() - 1) / 20000 * 20000]);
        std::fill(want.begin() + have / (two ? 2 : 1), want.end(), two ? stale : 0);
        if (two)
            want[have / 2] = static_cast<unsigned char>(cut.back());  // high byte read, low stale
        EXPECT_EQ(px(cut), want) << name;
    }
}

TEST_F(AreaTest, NavigationTypesByteOrderAndUnknownType) {
    using Slot = int32_t* AreaFile::*;
    const std::pair<const char*, Slot> types[] = {{"GOES", &AreaFile::goes},
                                                  {"MSAT", &AreaFile::ps},
                                                  {"TANC", &AreaFile::tanc},
                                                  {"MERC", &AreaFile::proj}};
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
}

// Framed lines left out leave empty rows; a line number 11 or more past the one
// before, or below it, counts as the one before: the line lands at the current
// row and the rest move down.
TEST_F(AreaTest, FramedGapsAndJumps) {
    const int E = 640, L = 350;
    const Pixels src = area_tool::pixels8(file(kRadar));
    auto rows = [&](const std::vector<int>& want) {  // source row of each row, -1 empty
        Pixels out(src.size(), 0);
        for (int y = 0; y < L; y++)
            if (want[y] >= 0) std::copy_n(&src[want[y] * E], E, &out[y * E]);
        return out;
    };
    std::vector<int> want(L);
    area_tool::FrameOptions opt;
    opt.omit = {20, 21, 22, 100, 41, 42, 43, 44, 45, 46, 47, 48, 49};  // 40 to 50: a jump of 10
    for (int y = 0; y < L; y++) want[y] = opt.omit.count(y) ? -1 : y;
    EXPECT_EQ(px(area_tool::framed_copy(file(kRadar), opt)), rows(want)) << "gaps";
    for (int y = 0; y < L; y++) want[y] = y <= 40 ? y : y - 1;
    want[41] = -1;
    for (int bogus : {40 + 11, 3}) {
        opt = {};
        opt.renumber = {{40, bogus}};
        EXPECT_EQ(px(area_tool::framed_copy(file(kRadar), opt)), rows(want)) << bogus;
    }
}

}  // namespace
