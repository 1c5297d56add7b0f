// What the text tests share: a small stroke font of known glyphs, the cases of
// alignment, up vector and expansion, and the box each case must ink.
#pragma once

#include <string>
#include <vector>

#include "graphics/graphics.h"

namespace text_test {

// '#' is a closed box from x 0 to 50 and y 35 (the base line) to 140 (the cap
// height); 'I' a stroke at x 10 over the same height. '.' has no glyph.
inline std::string offsets(int hash, int bar) {
    std::string text;
    for (int c = 0; c < 256; ++c) {
        text += std::to_string(c == '#' ? hash : (c == 'I' ? bar : -1));
        text += c % 16 == 15 ? "\n" : " ";
    }
    return text;
}

inline std::string labelled_font() {
    return "1 test\n255 hash 128 35 0 140 50 140 50 35 0 35\n255 I 138 35 10 140\n254\n" +
           offsets(1, 12);
}

inline std::string bare_font() {
    return "255 128 35 0 140 50 140 50 35 0 35 255 138 35 10 140 254\n" + offsets(1, 12);
}

// A box in world units: x from x0 to x1, y from y0 to y1.
struct Box {
    float x0, x1, y0, y1;
};

struct Case {
    const char* name;
    int halign, valign;
    float upx, upy;
    float expan;
    // The ink of "# I" in glyph units, along the text (u) and across it (v).
    float u0, u1, v0, v1;
};

// Height 0.105 makes a glyph unit 0.001 world units. The string "# I" is 150
// units wide: 25 + 50 for '#', 25 + 40 for the blank, 10 for 'I'.
constexpr float HEIGHT = 0.105f;
constexpr float UNIT = HEIGHT / 105.0f;

inline const std::vector<Case>& cases() {
    static const std::vector<Case> all = {
        {"left_base", 0, 0, 0, 1, 1, 0, 150, 0, 105},
        {"left_top_1", 1, 1, 0, 1, 1, 0, 150, -125, -20},
        {"centre_cap", 2, 2, 0, 1, 1, -75, 75, -105, 0},
        {"right_half", 3, 3, 0, 1, 1, -150, 0, -50, 55},
        {"left_glyph_base", 0, 5, 0, 1, 1, 0, 150, 35, 140},
        {"centre_expanded_1_5", 2, 0, 0, 1, 1.5f, -112, 112, 0, 105},
        {"up_right_runs_down", 0, 0, 1, 0, 1, 0, 150, 0, 105},
        {"up_left_runs_up", 3, 0, -1, 0, 1, -150, 0, 0, 105},
    };
    return all;
}

// The world box of a case drawn at (x, y): u runs along the text, v across it.
inline Box world_box(const Case& c, float x, float y) {
    const float u0 = c.u0 * UNIT, u1 = c.u1 * UNIT, v0 = c.v0 * UNIT, v1 = c.v1 * UNIT;
    // X = v * upx + u * upy + x, Y = v * upy - u * upx + y.
    const float xs[4] = {v0 * c.upx + u0 * c.upy, v0 * c.upx + u1 * c.upy, v1 * c.upx + u0 * c.upy,
                         v1 * c.upx + u1 * c.upy};
    const float ys[4] = {v0 * c.upy - u0 * c.upx, v0 * c.upy - u1 * c.upx, v1 * c.upy - u0 * c.upx,
                         v1 * c.upy - u1 * c.upx};
    Box b{xs[0] + x, xs[0] + x, ys[0] + y, ys[0] + y};
    for (int i = 1; i < 4; ++i) {
        b.x0 = std::min(b.x0, xs[i] + x);
        b.x1 = std::max(b.x1, xs[i] + x);
        b.y0 = std::min(b.y0, ys[i] + y);
        b.y1 = std::max(b.y1, ys[i] + y);
    }
    return b;
}

// Sets the attributes of a case and draws "# I" at (x, y).
inline int draw_case(const Case& c, float x, float y) {
    const int align[2] = {c.halign, c.valign};
    const float up[2] = {c.upx, c.upy};
    gset_text_align(align);
    gset_char_up_vec(up);
    gset_expan(c.expan);
    gset_char_ht(HEIGHT);
    const float position[2] = {x, y};
    return gtext(position, "# I");
}

}  // namespace text_test
