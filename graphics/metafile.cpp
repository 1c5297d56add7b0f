// The metafile device: one text record per drawing call, or a small binary CGM
// holding the polylines and clip rectangles.
#include "graphics/metafile.h"

#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

struct State {
    int meta_type = 0;         // 0 text, 1 CGM
    FILE* out_file = nullptr;  // open output
    int append = 0;            // opened with "+": no END METAFILE
};
State st;

void put_word(int value) {
    std::fputc((value >> 8) & 0xff, st.out_file);
    std::fputc(value & 0xff, st.out_file);
}

void cgm_header() {
    gcgm_control(0, 1, 0, 0);   // BEGIN METAFILE, no name
    gcgm_control(1, 1, 2, 1);   // METAFILE VERSION 1
    gcgm_control(1, 2, 11, 0);  // METAFILE DESCRIPTION
    std::fputc(10, st.out_file);
    std::fputs("ZMTCGM-1.0", st.out_file);
    std::fputc(0, st.out_file);
    gcgm_control(1, 11, 6, 1);  // METAFILE ELEMENT LIST: one entry, the drawing set
    put_word(-1);
    put_word(1);
    gcgm_control(1, 9, 1, 0);  // MAXIMUM COLOUR INDEX
    std::fputc(255, st.out_file);
    std::fputc(0, st.out_file);
    gcgm_control(2, 6, 8, 0);  // VDC EXTENT
    put_word(0);
    put_word(0);
    put_word(10000);
    put_word(8000);
    gcgm_control(0, 3, 0, 0);  // BEGIN PICTURE
    gcgm_control(0, 4, 0, 0);  // BEGIN PICTURE BODY
}

}  // namespace

int gmeta_set_type(int type) {
    st.meta_type = type;
    return 0;
}
int gmeta_get_type() {
    return st.meta_type;
}

int gmeta_is_text() {
    return st.out_file && st.meta_type == 0 && gtype_is_META();
}

int gmeta_open_file(const char* name) {
    st.append = name[0] == '+';
    MESS_print(MESS_MESS, "Creating metafile: %s\n", name);
    st.out_file = FILE_create(name, st.meta_type == 1 ? "wb" : "w", RES_typed("device"));
    return st.out_file != nullptr;
}

int gmeta_init_file() {
    if (!st.out_file) return -1;
    if (st.meta_type == 1) {
        if (!st.append) cgm_header();
        return 0;
    }
    const time_t now = std::time(nullptr);
    std::fprintf(st.out_file, "ZMTMETA\n");
    std::fprintf(st.out_file, "#Title: ZMT Graphics Display: %s\n", gget_win_title());
    std::fprintf(st.out_file, "#Creator: ZMT Metafile Processor-1.0\n");
    std::fprintf(st.out_file, "#CreationDate: %s", std::ctime(&now));
    return 0;
}

int gmeta_close_file() {
    if (!st.out_file) return -1;
    if (st.meta_type == 1 && !st.append) gcgm_control(0, 5, 0, 0);
    const int status = FILE_commit(st.out_file);
    st.out_file = nullptr;
    MESS_print(MESS_MESS, "Created metafile\n");
    return status;
}

int gmeta_printf(const char* format, ...) {
    if (!st.out_file || st.meta_type != 0) return 0;
    va_list args;
    va_start(args, format);
    const int n = std::vfprintf(st.out_file, format, args);
    va_end(args);
    return n;
}

int gcgm_control(int element_class, int id, int length, int extra) {
    if (!st.out_file) return -1;
    std::fputc(((element_class << 4) + (id >> 3)) & 0xff, st.out_file);
    std::fputc(((length & 31) + (id << 5)) & 0xff, st.out_file);
    if (length == 31 || extra > 0) put_word(extra);
    return 0;
}

int gcgm_point(float x, float y) {
    return gcgm_ps_point(xW_ps(x), yW_ps(y));
}

int gcgm_ps_point(double x, double y) {
    if (!st.out_file) return -1;
    put_word(static_cast<int>(x));
    put_word(static_cast<int>(y));
    return 0;
}

int gcgm_set_type(int type) {
    static int last = 1;
    static const char* const dashes[] = {"[] 0 setdash\n", "[6] 0 setdash\n", "[3 6] 0 setdash\n",
                                         "[6 6 3 6] 0 setdash\n", "[2] 0 setdash\n"};
    if (type != last && st.out_file && type >= 1 && type <= 5)
        std::fputs(dashes[type - 1], st.out_file);
    last = type;
    return 0;
}
int gcgm_set_color(int) {
    return 0;
}
int gcgm_set_width(int, float) {
    return 0;
}
int gcgm_set_fill_color(int) {
    return 0;
}
