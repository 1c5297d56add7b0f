// Stroke fonts: the reader on good and hostile font files, the font list, and
// text drawn in PostScript and HPGL at the positions of its arithmetic, checked
// on the path written and on Ghostscript's rendering of the file.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "tests/graphics/text_stroke.h"

using namespace text_test;
using sat_test::TempDir;

namespace {

StrokeFont parse(const std::string& text) {
    StrokeFont font;
    font.length = gparse_font(text.data(), text.size(), &font) == 0 ? font.length : -1;
    return font;
}

std::string repeat(const std::string& word, int times) {
    std::string out;
    for (int i = 0; i < times; ++i) out += word;
    return out;
}

// Opens a PostScript workstation on file with the given font list source.
class PsText : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
    }
    void TearDown() override {
        if (gchk_graphics()) {
            gclose_ws();
            gclose_gks();
        }
        gset_font_list("");
        RES_reset();
        MESS_reset();
    }
    // Opens the workstation; the font list names the fonts by file.
    void open(const std::string& fonts) {
        gset_font_list(fonts.c_str());
        ASSERT_EQ(gopen_gks(nullptr), 0);
        ASSERT_EQ(gopen_ws(1, ps_file().c_str(), GWS_PS), 0);
    }
    std::string close() {
        gclose_ws();
        gclose_gks();
        return sat_test::read_file(ps_file());
    }
    std::string font_file(const std::string& text, const char* name = "t.fnt") {
        sat_test::write_file(dir.file(name), text);
        return dir.file(name);
    }
    std::string ps_file() const { return dir.file("out.ps"); }

    TempDir dir;
};

// Device points of the path lines of each text comment, in file order.
std::vector<std::vector<std::pair<float, float>>> text_paths(const std::string& ps) {
    std::vector<std::vector<std::pair<float, float>>> paths;
    std::istringstream in(ps);
    std::string line;
    bool inside = false;
    while (std::getline(in, line)) {
        if (line.rfind("%%", 0) == 0) {
            inside = line.rfind("%%TE:", 0) == 0;
            if (inside) paths.emplace_back();
            continue;
        }
        float a = 0, b = 0;
        char op[4] = "";
        if (inside && std::sscanf(line.c_str(), "%f %f %3s", &a, &b, op) == 3 &&
            (std::strcmp(op, "mv") == 0 || std::strcmp(op, "ln") == 0))
            paths.back().emplace_back(a, b);
    }
    return paths;
}

// The box Ghostscript's bbox device finds inked on the page, in points: x0, x1, y0, y1.
Box ink_box(const std::string& ps) {
    const auto run = sat_test::run_program(
        "/usr/bin/gs",
        {"-q", "-dSAFER", "-dBATCH", "-dNOPAUSE", "-sDEVICE=bbox", "-sPAPERSIZE=letter", ps});
    Box b{0, 0, 0, 0};
    const size_t at = run.err.find("%%HiResBoundingBox:");
    if (at != std::string::npos)
        std::sscanf(run.err.c_str() + at, "%%%%HiResBoundingBox: %f %f %f %f", &b.x0, &b.y0, &b.x1,
                    &b.y1);
    return b;
}

// The device box of a case's world box at (0.5, 0.5) on a printing device.
Box device_box(const Case& c) {
    const Box w = world_box(c, 0.5f, 0.5f);
    return {static_cast<float>(xW_ps(w.x0)), static_cast<float>(xW_ps(w.x1)),
            static_cast<float>(yW_ps(w.y0)), static_cast<float>(yW_ps(w.y1))};
}

void grow(Box& b, float x, float y) {
    b = {std::min(b.x0, x), std::max(b.x1, x), std::min(b.y0, y), std::max(b.y1, y)};
}

void expect_box(const Box& got, const Box& want, double tolerance, const char* name) {
    EXPECT_NEAR(got.x0, want.x0, tolerance) << name;
    EXPECT_NEAR(got.x1, want.x1, tolerance) << name;
    EXPECT_NEAR(got.y0, want.y0, tolerance) << name;
    EXPECT_NEAR(got.y1, want.y1, tolerance) << name;
}

}  // namespace

TEST(StrokeFontReader, LabelledAndBareFilesAgreeAndHostileFilesAreRefusedWhole) {
    const StrokeFont labelled = parse(labelled_font());
    const StrokeFont bare = parse(bare_font());
    ASSERT_EQ(labelled.length, 17);
    ASSERT_EQ(bare.length, labelled.length);
    EXPECT_TRUE(std::equal(bare.db.begin(), bare.db.begin() + bare.length, labelled.db.begin()));
    EXPECT_EQ(labelled.index, bare.index);
    EXPECT_EQ(labelled.size['I'], 10);  // the greatest x of a move counts less 128
    EXPECT_EQ(labelled.size[' '], 40);  // a blank is 40 wide with or without a glyph

    const std::string glyphs = "255 128 35 0 140 50 140 254\n";
    std::string no_offsets = bare_font();
    no_offsets.resize(no_offsets.size() - 200);
    const std::vector<std::pair<const char*, std::string>> bad = {
        {"empty", ""},
        {"no_end_of_data", "255 128 35 0 140 50 140"},
        {"offsets_cut_short", no_offsets},
        {"offset_past_data", glyphs + offsets(8, -1)},
        {"offset_far_out", "255 128 35 254\n" + offsets(2147483647, -1)},
        {"glyph_runs_into_end", "255 128 35 0 254\n" + offsets(1, -1)},
        {"byte_above_255", "255 128 35 0 300 254\n" + offsets(1, -1)},
        {"more_than_15000_bytes", "255 " + repeat("10 20 ", 7500) + "254\n" + offsets(1, -1)},
    };
    for (const auto& [name, text] : bad) {
        StrokeFont font;
        font.index.fill(3);
        EXPECT_EQ(gparse_font(text.data(), text.size(), &font), -1) << name;
        EXPECT_EQ(font.length, 0) << name;
        for (int c = 0; c < 256; ++c) ASSERT_EQ(font.index[static_cast<size_t>(c)], -1) << name;
    }
    // The largest font there is room for: 14999 bytes and the end marker.
    const std::string fits = "255 " + repeat("10 20 ", 7499) + "254\n" + offsets(1, -1);
    EXPECT_EQ(parse(fits).length, 15000);
}

TEST_F(PsText, EachAlignmentUpVectorAndExpansionStrokesItsBoxInPostScriptAndHpgl) {
    for (const Case& c : cases()) {
        open(font_file(labelled_font()));
        ASSERT_EQ(draw_case(c, 0.5f, 0.5f), 0) << c.name;
        const Box want = device_box(c);
        const auto paths = text_paths(close());
        // '#' is a move and four lines, 'I' a move and one line.
        ASSERT_EQ(paths.size(), 1u) << c.name;
        ASSERT_EQ(paths[0].size(), 7u) << c.name;
        Box got{1e9f, -1e9f, 1e9f, -1e9f};
        for (auto [x, y] : paths[0]) grow(got, x, y);
        expect_box(got, want, 0.011, c.name);
        // Ghostscript inks the same box. Landscape letter turns the plot a quarter,
        // a quarter inch in: device (X, Y) is page point (594 - Y, 18 + X).
        expect_box(ink_box(ps_file()), {594 - want.y1, 594 - want.y0, 18 + want.x0, 18 + want.x1},
                   1.5, c.name);

        // HPGL pen commands: two moves and five lines, within the same box.
        ASSERT_EQ(gopen_gks(nullptr), 0);
        ASSERT_EQ(gopen_ws(1, dir.file("out.hpgl").c_str(), GWS_HPGL), 0);
        draw_case(c, 0.5f, 0.5f);
        const Box pen_box = device_box(c);
        gclose_ws();
        gclose_gks();
        const std::string hpgl = sat_test::read_file(dir.file("out.hpgl"));
        int moves = 0, lines = 0;
        Box pens{1e9f, -1e9f, 1e9f, -1e9f};
        for (size_t at = hpgl.find('P'); at != std::string::npos; at = hpgl.find('P', at + 1)) {
            float x = 0, y = 0;
            char pen = 0;
            if (std::sscanf(hpgl.c_str() + at, "P%c%f,%f;", &pen, &x, &y) != 3) continue;
            if (pen != 'U' && pen != 'D') continue;
            (pen == 'U' ? moves : lines) += 1;
            grow(pens, x, y);
        }
        EXPECT_EQ(moves, 2) << c.name;
        EXPECT_EQ(lines, 5) << c.name;
        expect_box(pens, pen_box, 0.5, c.name);
    }
}

TEST_F(PsText, FontListEntriesMissingAndHostileFontsDrawNothing) {
    const std::string good = font_file(labelled_font(), "good.fnt");
    const std::string cut = font_file(bare_font().substr(0, 120), "cut.fnt");
    const std::string big =
        font_file("255 " + repeat("10 20 ", 7500) + "254\n" + offsets(1, -1), "big.fnt");
    const std::vector<std::string> bad = {cut, dir.file("missing.fnt"), big};
    std::string list = "good " + good + "\n";
    for (size_t i = 0; i < bad.size(); ++i) list += "bad" + std::to_string(i) + " " + bad[i] + "\n";
    sat_test::write_file(dir.file("list.fnl"), list);
    std::string err;
    {
        testing::internal::CaptureStderr();
        open("fi:" + dir.file("list.fnl"));
        EXPECT_EQ(gget_font_index("BAD1"), 3);
        EXPECT_EQ(gget_font_index("nothing"), 1);
        EXPECT_GE(gget_stroke_font().index['#'], 0);
        const float at[2] = {0.5f, 0.5f};
        gset_char_ht(HEIGHT);
        for (int n = 2; n <= 4; ++n) {
            const int rec[2] = {n, 2};
            EXPECT_EQ(gset_fontprec(rec), -1) << n;
            EXPECT_EQ(gget_stroke_font().index['#'], -1) << n;
            gtext(at, "# I");
            const int back[2] = {1, 2};
            ASSERT_EQ(gset_fontprec(back), 0);
            gtext(at, "#");
        }
        // A number past the list is kept, and the font in use stays.
        const int past[2] = {9, 2};
        EXPECT_EQ(gset_fontprec(past), -1);
        gtext(at, "#");
        err = testing::internal::GetCapturedStderr();
    }
    const auto paths = text_paths(close());
    // Only the good font's '#' ever draws; the refused fonts draw nothing at all.
    ASSERT_EQ(paths.size(), 7u);
    for (size_t i = 0; i < paths.size(); ++i)
        EXPECT_EQ(paths[i].size(), i % 2 || i == 6 ? 5u : 0u) << i;
    for (const std::string& file : bad)
        EXPECT_NE(err.find("read_font: unable to load font file: " + file + "\n"),
                  std::string::npos)
            << file << err;
    EXPECT_NE(err.find("gset_fontprec: invalid font id: 9"), std::string::npos);
}
