// The drawing convenience layer over the kernel.
#include "graphics/gph.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

#include "env/colors.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

struct GphState {
    int ws_open = 0;        // workstation open
    int wk_type = 0;        // workstation type opened
    int wk_itype = 0;       // type as requested
    float xvp = 1.0f;       // normalised extents of the device
    float yvp = 1.0f;       //
    float sizex = 1.0f;     // panel size, fractions of the page
    float sizey = 1.0f;     //
    float offx = 0.0f;      // panel offset, fractions of the page
    float offy = 0.0f;      //
    std::string font_name;  // default font of GPH_text_font
};

GphState gs;

bool set(int value) {
    return value != ZMT_MISSING;
}
bool set(float value) {
    return value != static_cast<float>(ZMT_MISSING);
}

}  // namespace

int GPH_begin(int* id, const char* connection, int* type) {
    FILE_delete("zmtgks.err");
    *id = 1;
    gs.wk_itype = *type;
    if (*type == 0) {
        char answer[80] = "";
        ZMT_prompts("Display (D) or Postscript (P): ", answer, sizeof answer);
        *type = RES_set_device(answer);
        FLAG_set(2, *type);
    }
    gs.wk_type = *type;
    if (gs.ws_open) return 0;
    if (gopen_gks(nullptr) != 0) {
        MESS_print(MESS_ERROR, "GPH_begin: Error opening Kernel System\n");
        ZMT_exit(4);
    }
    if (gopen_ws(*id, connection, *type) != 0) {
        MESS_print(MESS_ERROR, "GPH_begin: Error opening workstation\n");
        ZMT_exit(4);
    }
    gs.ws_open = 1;
    return 0;
}

int GPH_end(int) {
    gclose_ws();
    gclose_gks();
    gs.ws_open = 0;
    FLAG_set(2, gs.wk_itype);
    return 0;
}

int GPH_setup(int* id, int* type, float aspect, float rect[4]) {
    const char* connection = nullptr;
    RES_getval("device", &connection, RES_DEVICE);
    *type = FLAG_get(2) >= 1 ? FLAG_get(2) : FLAG_batch();
    GPH_set_win_title();
    CLR_read_table(nullptr);
    RES_getval("draw", nullptr, RES_DRAW);
    GPH_begin(id, connection, type);
    return GPH_reset(id, type, aspect, rect);
}

int GPH_reset(int* id, int* type, float aspect, float rect[4]) {
    gclear_ws();
    ginq_maxview(*id, &gs.xvp, &gs.yvp);
    const float page[4] = {0.0f, gs.xvp, 0.0f, gs.yvp};
    gset_ws_win(*id, page);
    gset_vp(1, page);
    gset_win(1, page);
    GPH_panel(*id, *type, aspect, rect);
    const int n = CLR_get_num();
    for (int i = 0; i < n; ++i) {
        float rgb[3] = {0.0f, 0.0f, 0.0f};
        CLR_get_rgb(i, &rgb[0], &rgb[1], &rgb[2]);
        gset_colr_rep(*id, i, rgb);
    }
    GPH_text_font(nullptr);
    return 0;
}

int gset_aspect(const float view[4], float result[4], float w, float h, int hpos, int vpos) {
    const float vw = view[1] - view[0];
    const float vh = view[3] - view[2];
    float width = vw, height = vh;
    if (!(vw > 0.0f && vh > 0.0f && w > 0.0f && h > 0.0f)) {
        // No proportion to keep in an empty view: the view itself.
    } else if (h / vh <= w / vw)
        height = h * vw / w;
    else
        width = w * vh / h;
    float x = view[0], y = view[2];
    if (hpos == 2) x = view[0] + (vw - width) / 2.0f;
    if (hpos == 3) x = view[1] - width;
    if (vpos == 2) y = view[2] + (vh - height) / 2.0f;
    if (vpos == 3) y = view[3] - height;
    result[0] = x;
    result[1] = x + width;
    result[2] = y;
    result[3] = y + height;
    return 0;
}

int GPH_panel(int, int, float aspect, float rect[4]) {
    const float view[4] = {
        (gs.sizex * rect[0] + gs.offx) * gs.xvp,
        (gs.offx + gs.sizex - gs.sizex * rect[1]) * gs.xvp,
        (gs.sizey * rect[2] + gs.offy) * gs.yvp,
        (gs.offy + gs.sizey - rect[3] * gs.sizey) * gs.yvp,
    };
    float rx = aspect, ry = 1.0f;
    if (aspect == 0.0f) {
        rx = gs.sizex * gs.xvp;
        ry = gs.sizey * gs.yvp;
    }
    float result[4];
    gset_aspect(view, result, rx, ry, 2, 2);
    for (int n = 2; n <= 3; ++n) {
        gset_vp(n, result);
        gset_win(n, result);
    }
    GPH_line_attr(nullptr);
    GPH_fill_attr(nullptr);
    GPH_mark_attr(nullptr, 1.0f);
    GPH_text_attr(nullptr, 1.0f);
    std::memcpy(rect, result, sizeof result);
    return 0;
}

int GPH_set_win_title() {
    const char* name = RES_get("name");
    std::string prog = name ? name : "";
    if (prog.empty()) {
        // The program's name: the base name of the command.
        const char* command = RES_get_prog();
        prog = command ? command : "";
        prog = prog.substr(prog.rfind('/') == std::string::npos ? 0 : prog.rfind('/') + 1);
    }
    gset_prog_name(prog.c_str());
    std::string title;
    if (const char* t = RES_get("title")) {
        title = t;
    } else if (name) {
        title = name[0] == '+' ? name + 1 : name;
    } else {
        title = prog;
    }
    gset_win_title(title.c_str());
    return 0;
}

int GPH_hold(int) {
    gupdate_window();
    if (gs.wk_type == 1) ghold();
    return 0;
}

int GPH_get_type() {
    return gs.wk_type;
}

int GPH_trans(int n) {
    return gsel_norm_tran(n);
}

int GPH_get_win(int n, float rect[4]) {
    int status = 0;
    float out[8] = {};
    if (ginq_norm_tran(n, &status, out) != 0) return -1;
    std::memcpy(rect, out, 4 * sizeof(float));
    return 0;
}

int GPH_set_view_size(float sx, float sy, float ox, float oy) {
    gs.sizex = sx;
    gs.sizey = sy;
    gs.offx = ox;
    gs.offy = oy;
    return 0;
}

int GPH_get_view_size(float rect[4]) {
    rect[0] = gs.offx * gs.xvp;
    rect[1] = (gs.offx + gs.sizex) * gs.xvp;
    rect[2] = gs.offy * gs.yvp;
    rect[3] = (gs.offy + gs.sizey) * gs.yvp;
    return 0;
}

int GPH_pprint(const float position[2], const char* text) {
    return gtext(position, text);
}

int GPH_printf(float x, float y, const char* format, ...) {
    char buffer[100];
    va_list args;
    va_start(args, format);
    std::vsnprintf(buffer, sizeof buffer, format, args);
    va_end(args);
    const float position[2] = {x, y};
    return gtext(position, buffer);
}

int GPH_border(const float rect[4]) {
    float points[10] = {rect[0], rect[2], rect[1], rect[2], rect[1],
                        rect[3], rect[0], rect[3], rect[0], rect[2]};
    return gpolyline(5, points);
}

int GPH_mark(float x, float y) {
    float point[2] = {x, y};
    return gpolymarker(1, point);
}

int GPH_get_text_align(int* h, int* v) {
    int status = 0;
    int rec[2] = {0, 0};
    ginq_text_align(&status, rec);
    *h = rec[0];
    *v = rec[1];
    return 0;
}

int GPH_text_align(int h, int v) {
    const int rec[2] = {h, v};
    return gset_text_align(rec);
}

int GPH_set_def_font(const char* name) {
    gs.font_name = name ? std::string(name).substr(0, 19) : std::string();
    return 0;
}

int GPH_text_font(const char* name) {
    const int rec[2] = {gget_font_index(name ? name : gs.font_name.c_str()), 2};
    return gset_fontprec(rec);
}

int GPH_set_color(int index, float red, float green, float blue) {
    const float rgb[3] = {red, green, blue};
    return gset_colr_rep(1, index, rgb);
}

int GPH_line_attr(const Attrib* attrib) {
    if (!attrib) {
        gset_linetype(1);
        gset_linewidth(0.0f);
        return 0;
    }
    if (attrib->color >= 0) gset_line_colr_ind(attrib->color);
    if (set(attrib->style)) gset_linetype(attrib->style);
    if (set(attrib->width)) gset_linewidth(attrib->width);
    return 0;
}

int GPH_fill_attr(const Attrib* attrib) {
    if (!attrib) return gset_fill_int_style(1);
    if (attrib->color >= 0) gset_fill_colr_ind(attrib->color);
    if (attrib->fill == 0) {
        gset_fill_int_style(1);
    } else if (set(attrib->fill)) {
        gset_fill_int_style(2);
        gset_fill_style_ind(attrib->fill);
    }
    return 0;
}

int GPH_mark_attr(const Attrib* attrib, float size) {
    if (!attrib) return gset_marker_width(0.0f);
    if (attrib->color >= 0) gset_marker_colr_ind(attrib->color);
    if (set(attrib->style)) gset_marker_type(attrib->style);
    if (set(attrib->height))
        gset_marker_size(attrib->height * size);
    else if (size > 0.0f)
        gset_marker_size(size);
    if (set(attrib->width)) gset_marker_width(attrib->width);
    return 0;
}

int GPH_text_attr(const Attrib* attrib, float height) {
    if (!attrib) {
        gset_text_width(0.0f);
        gset_expan(1.0f);
        return -1;
    }
    if (attrib->color >= 0) gset_text_colr_ind(attrib->color);
    gset_char_ht(set(attrib->height) ? attrib->height * height : height);
    if (set(attrib->width)) gset_text_width(attrib->width);
    if (set(attrib->expansion)) gset_expan(attrib->expansion);
    if (set(attrib->font)) {
        const int rec[2] = {attrib->font, 2};
        gset_fontprec(rec);
    }
    gset_space(0.25f);
    return 0;
}

int gdevice_setup(const char* text, char* rest, int rest_size) {
    char first[160] = "";
    if (rest && rest_size > 0) rest[0] = '\0';
    if (!text) return RES_set_device(first);
    const char* comma = std::strchr(text, ',');
    const size_t n = comma ? static_cast<size_t>(comma - text) : std::strlen(text);
    std::snprintf(first, sizeof first, "%.*s", static_cast<int>(n), text);
    if (comma && rest && rest_size > 0) {
        // The rest is one word, as "%s" reads it.
        const char* start = comma + 1;
        size_t len = std::strcspn(start, " \t\n");
        std::snprintf(rest, static_cast<size_t>(rest_size), "%.*s", static_cast<int>(len), start);
    }
    return RES_set_device(first);
}
