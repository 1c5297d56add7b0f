// The shipped stroke fonts and font list, read by a parser of the test's own and
// checked against the Hershey sources they were converted from.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using Stroke = std::vector<std::pair<int, int>>;
using Glyph = std::vector<Stroke>;

struct Font {
    std::vector<int> db;
    std::map<int, Glyph> glyphs;
    std::string error;
};

// Reads a stroke font by the file rules, refusing what the drawing layer cannot draw.
Font parse_font(const std::string& path) {
    Font font;
    std::ifstream in(path);
    std::vector<std::string> words;
    for (std::string w; in >> w;) words.push_back(w);
    if (words.empty()) return font.error = "empty", font;
    size_t pos = 1;
    bool labels = std::stoi(words[0]) != 255;
    if (labels) pos = 2;
    font.db.push_back(255);
    for (;; ++pos) {
        if (pos >= words.size()) return font.error = "no 254", font;
        int v = std::stoi(words[pos]);
        if (v == 254) break;
        if (v < 0 || v > 255) return font.error = "byte out of range", font;
        font.db.push_back(v);
        if (v == 255 && labels) ++pos;
    }
    font.db.push_back(255);
    if (words.size() - pos - 1 != 256) return font.error = "offset count", font;
    for (int code = 0; code < 256; ++code) {
        int off = std::stoi(words[pos + 1 + code]);
        if (off < 0) continue;
        if (off >= static_cast<int>(font.db.size())) return font.error = "offset past data", font;
        Glyph glyph;
        size_t i = off;
        for (; i + 1 < font.db.size() && font.db[i] != 255; i += 2) {
            int x = font.db[i], y = font.db[i + 1];
            if (y > 253 || x > 253) return font.error = "coordinate past 253", font;
            if (x >= 128) {
                glyph.push_back({{x - 128, y}});
            } else {
                if (glyph.empty()) return font.error = "line before move", font;
                glyph.back().push_back({x, y});
            }
        }
        if (font.db[i] != 255) return font.error = "glyph runs off the end", font;
        font.glyphs[code] = glyph;
    }
    return font;
}

// Glyph `code` of a Hershey .jhf file, converted by the rule the fonts are made by:
// x from the glyph's leftmost ink, 5 units to one Hershey unit, baseline at 35.
Glyph hershey_glyph(const std::string& path, int code) {
    std::ifstream in(path);
    std::string line, pending;
    int index = 0;
    while (std::getline(in, line)) {
        pending += line;
        if (pending.size() < 8) continue;
        size_t n = std::stoul(pending.substr(5, 3));
        if (pending.size() - 8 < 2 * n) continue;
        if (32 + index++ != code) {
            pending.clear();
            continue;
        }
        Glyph glyph(1);
        int left = 1000;
        for (size_t i = 10; i < 8 + 2 * n; i += 2) {
            if (pending[i] == ' ' && pending[i + 1] == 'R') {
                glyph.emplace_back();
                continue;
            }
            glyph.back().push_back({pending[i] - 'R', pending[i + 1] - 'R'});
            left = std::min(left, pending[i] - 'R');
        }
        for (auto& stroke : glyph)
            for (auto& [x, y] : stroke) x = 5 * (x - left), y = 35 + 5 * (9 - y);
        std::erase_if(glyph, [](const Stroke& s) { return s.empty(); });
        return glyph;
    }
    return {};
}

std::string data_path(const std::string& name) {
    return std::string(SAT_DATA_DIR) + "/" + name;
}

TEST(MapDrawFonts, ListedFontsAreDrawable) {
    std::ifstream list(data_path("zmt.fnl"));
    ASSERT_TRUE(list) << "zmt.fnl missing";
    int entries = 0, stroke_fonts = 0;
    bool server_font = false;
    for (std::string name, file; list >> name >> file; ++entries) {
        EXPECT_LE(name.size(), 9u) << name;
        if (file[0] == '#') {
            server_font = true;
            continue;
        }
        Font font = parse_font(data_path(file));
        ASSERT_EQ(font.error, "") << file;
        EXPECT_LE(font.db.size(), 15000u) << file;
        EXPECT_GE(font.glyphs.size(), 90u) << file;
        EXPECT_EQ(font.glyphs.count(' '), 0u) << file << ": the blank has its own width";
        ++stroke_fonts;
    }
    EXPECT_LE(entries, 40);
    EXPECT_EQ(stroke_fonts, 5);
    EXPECT_TRUE(server_font);
}

// The capital height is 105 above a baseline at 35, descenders end at 0, and the
// strokes are the Hershey strokes scaled by 5.
TEST(MapDrawFonts, GlyphsMatchTheirHersheySource) {
    const struct {
        const char* file;
        const char* source;
    } fonts[] = {{"modern.fnt", "rowmand"}, {"sans.fnt", "rowmans"}, {"serif.fnt", "timesr"}};
    for (const auto& f : fonts) {
        Font font = parse_font(data_path(f.file));
        ASSERT_EQ(font.error, "") << f.file;
        for (int code : {'A', 'H', 'g', '8', '&'}) {
            std::string hershey = std::string("/usr/share/hershey-fonts/") + f.source + ".jhf";
            EXPECT_EQ(font.glyphs[code], hershey_glyph(hershey, code))
                << f.file << " " << char(code);
        }
        int top = 0, bottom = 1000, low = 1000;
        for (const auto& s : font.glyphs['H'])
            for (auto [x, y] : s) top = std::max(top, y), bottom = std::min(bottom, y);
        for (const auto& s : font.glyphs['g'])
            for (auto [x, y] : s) low = std::min(low, y);
        EXPECT_EQ(top, 140) << f.file;
        EXPECT_EQ(bottom, 35) << f.file;
        EXPECT_GE(low, 0) << f.file;
        EXPECT_LT(low, 20) << f.file;
    }
}

}  // namespace
