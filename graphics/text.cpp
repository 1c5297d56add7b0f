// Text: stroke fonts read from text files, drawn as line segments on every
// device, and X server fonts on the window.
#include "graphics/text.h"

#include <cctype>
#include <cstdlib>

#include "graphics/graphics.h"

namespace {

StrokeFont font;

}  // namespace

int gparse_font(const char*, size_t, StrokeFont* out) {
    out->index.fill(-1);
    out->size.fill(0);
    out->length = 0;
    return -1;
}

const StrokeFont& gget_stroke_font() {
    return font;
}

int greset_text() {
    return 0;
}
int ginit_text(int) {
    return 0;
}
int gsetup_fonts() {
    return 0;
}
int read_font(const char*) {
    return -1;
}
int gset_font_list(const char*) {
    return 0;
}
int gset_fontprec(const int*) {
    return 0;
}

int gget_font_index(const char* name) {
    if (!name) return 1;
    if (std::isdigit(static_cast<unsigned char>(name[0]))) return std::atoi(name);
    return 1;
}

int gset_text_colr_ind(int) {
    return 0;
}
int gset_char_ht(float) {
    return 0;
}
int gset_expan(float) {
    return 0;
}
int gset_text_width(float) {
    return 0;
}
int gset_space(float) {
    return 0;
}
int gset_char_space(float) {
    return 0;
}
int gset_text_align(const int*) {
    return 0;
}
int ginq_text_align(int* status, int rec[2]) {
    *status = 0;
    rec[0] = rec[1] = 0;
    return 0;
}
int gset_char_up_vec(const float*) {
    return 0;
}
int gset_text_path(int) {
    return 0;
}
int gset_font_drop(int) {
    return 0;
}
int gget_font_drop() {
    return 0;
}
int gget_text_colr() {
    return 1;
}
_XGC* gget_text_gc() {
    return nullptr;
}
int gtext(const float*, const char*) {
    return -1;
}
