// The shipped stroke fonts, read by a parser of the test's own: every font that
// zmt.fnl lists reads whole within the reader's limits, and its glyphs are the
// Hershey strokes they were converted from.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace {

using Glyph = std::vector<std::vector<std::pair<int, int>>>;

std::string data_path(const std::string& name) {
    return std::string(SAT_DATA_DIR) + "/" + name;
}

// Glyphs by code of a font without labels; empty when a glyph breaks the file rules.
std::map<int, Glyph> read_font(const std::string& path, size_t* bytes) {
    std::ifstream in(path);
    std::vector<int> v;
    for (int w; in >> w;) v.push_back(w);
    const auto end = std::find(v.begin(), v.end(), 254);
    if (v.empty() || v[0] != 255 || v.end() - end != 257) return {};
    std::vector<int> db(v.begin(), end);
    db.push_back(255);
    *bytes = db.size();
    std::map<int, Glyph> glyphs;
    for (int code = 0; code < 256; ++code) {
        const int off = end[1 + code];
        if (off < 0) continue;
        if (off >= static_cast<int>(db.size())) return {};
        Glyph& g = glyphs[code];
        size_t i = off;
        for (; i + 1 < db.size() && db[i] != 255; i += 2) {
            const int x = db[i], y = db[i + 1];
            if (y > 253 || x > 253 || (x < 128 && g.empty())) return {};
            if (x >= 128)
                g.push_back({{x - 128, y}});
            else
                g.back().push_back({x, y});
        }
        if (db[i] != 255) return {};
    }
    return glyphs;
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
        std::erase_if(glyph, [](const auto& s) { return s.empty(); });
        return glyph;
    }
    return {};
}

TEST(ShippedFonts, ListedFontsReadAndMatchTheirHersheySource) {
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
        size_t bytes = 0;
        const auto glyphs = read_font(data_path(file), &bytes);
        EXPECT_GE(glyphs.size(), 90u) << file;
        EXPECT_LE(bytes, 15000u) << file;
        EXPECT_EQ(glyphs.count(' '), 0u) << file << ": the blank has its own width";
        ++stroke_fonts;
    }
    EXPECT_LE(entries, 40);
    EXPECT_EQ(stroke_fonts, 5);
    EXPECT_TRUE(server_font);
    const std::pair<const char*, const char*> fonts[] = {
        {"modern.fnt", "rowmand"}, {"sans.fnt", "rowmans"}, {"serif.fnt", "timesr"}};
    for (const auto& [file, source] : fonts) {
        size_t bytes = 0;
        auto glyphs = read_font(data_path(file), &bytes);
        const std::string hershey = std::string("/usr/share/hershey-fonts/") + source + ".jhf";
        for (int code : {'A', 'H', 'g', '8', '&'})
            EXPECT_EQ(glyphs[code], hershey_glyph(hershey, code)) << file << " " << char(code);
    }
}

}  // namespace
