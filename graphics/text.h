// Stroke and server fonts and the text primitive.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

struct _XGC;

// Size of the stroke data of one font, its end marker included.
constexpr int FONT_DB_SIZE = 15000;
// Most entries of a font list.
constexpr int FONT_LIST_MAX = 40;

// A stroke font as read from its file: a byte program per character.
struct StrokeFont {
    std::array<uint8_t, FONT_DB_SIZE> db{};  // stroke data, glyphs ending in 255
    std::array<int, 256> index{};            // offset of each glyph in db, -1 for none
    std::array<uint8_t, 256> size{};         // width of each glyph
    int length = 0;                          // bytes of db in use, the end marker included
};

// Reads the text of a stroke font file into font. Returns 0, or -1 when the
// text is no stroke font (truncated, values out of range, data past the limit,
// glyphs that do not end inside the data); font then holds no glyph.
int gparse_font(const char* text, size_t length, StrokeFont* font);
// The font in use.
const StrokeFont& gget_stroke_font();

// Defaults of every text attribute but the drop shadow.
int greset_text();
// Text GC set-up for the window: 0 first time, 1 after a resize.
int ginit_text(int mode);
// Frees the text GC and the server font with the window.
int gclose_text();
// The font list and the font in use.
int gsetup_fonts();
int read_font(const char* name);
int gset_font_list(const char* list);
// rec: font number (1-based), precision.
int gset_fontprec(const int rec[2]);
// The index of a font by name or number in the font list.
int gget_font_index(const char* name);

// Attributes.
int gset_text_colr_ind(int index);
int gset_char_ht(float height);
int gset_expan(float expansion);
int gset_text_width(float width);
int gset_space(float space);
int gset_char_space(float space);
// rec: horizontal, vertical alignment.
int gset_text_align(const int rec[2]);
int ginq_text_align(int* status, int rec[2]);
// rec: x, y of the up vector; stored at unit length.
int gset_char_up_vec(const float rec[2]);
int gset_text_path(int path);
int gset_font_drop(int depth);
int gget_font_drop();
int gget_text_colr();
_XGC* gget_text_gc();

// Draws string at position (x, y in world units of the selected transformation).
int gtext(const float position[2], const char* string);
