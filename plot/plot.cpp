// The plot layer: the workstation of a plot, the plot parameters, the panel on
// the page, and the reactions to the user (zoom box, original view, replot,
// resize, timed refresh).
#include "plot/plot.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/dates.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/gif.h"
#include "graphics/graphics.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "overlays/contour_scale.h"
#include "plot/plot_internal.h"

namespace {

constexpr int PLOT_TYPE_NONE = 99;  // flag 11: no plot at all

struct PlotState {
    int work_id = 0;                                 // workstation identifier
    int work_type = 0;                               // device type the kernel opened
    float view_off[4] = {0.0f, 0.0f, 0.04f, 0.04f};  // margins: left, right, bottom, top
    float view_offset = 0.0f;                        // last PLT_set_view_offset
    int zoom = 0;                                    // zooms in force
    Domain original{};                               // domain before the first zoom
    int zoom_flag = 0;                               // between press and release of a box
    float press[2] = {0.0f, 0.0f};                   // where the box began
    PltDomainFunc zoom_func = nullptr;               // the program's callbacks
    PltDomainFunc resize_func = nullptr;             //
    PltDomainFunc refresh_func = nullptr;            //
    PltCallback callback = nullptr;                  // mouse callback
};

PlotState ps;

// Settings addressed to subsystems this program does not run (cities, grids,
// GRIB) and the loop title; kept so that a query reads them back.
struct ForeignSettings {
    int cty_id_type = 0;
    int grid_factor = 0;
    int use_hdr_file = 1;
    int max_bad = 5;
    std::string grid_format;
    int loop_title = 1;
};

ForeignSettings foreign;

bool no_plot() {
    return FLAG_getplot(12) == 0 || FLAG_get(11) == PLOT_TYPE_NONE;
}

// Name of a dump keyword: none for the bare keyword, else from the fifth character.
const char* dump_name(const char* value) {
    return std::strlen(value) > 3 ? value + 4 : nullptr;
}

// A value from the n-th character on (1-based), or "" when the value is shorter.
const char* from(const char* value, size_t n) {
    return std::strlen(value) >= n ? value + n - 1 : "";
}

bool whole(const char* v, const char* keyword) {
    return stricmp(v, keyword) == 0;
}
bool starts(const char* v, const char* keyword, int n) {
    return strnicmp(v, keyword, n) == 0;
}

// Two numbers "a:b"; a single one doubles.
// "a:b", or a single number for both; false when no number scans.
bool pair_int(const char* text, int out[2]) {
    const int got = std::sscanf(text, "%d:%d", &out[0], &out[1]);
    if (got == 1) out[1] = out[0];
    return got >= 1;
}

bool pair_float(const char* text, float out[2]) {
    const int got = std::sscanf(text, "%f:%f", &out[0], &out[1]);
    if (got == 1) out[1] = out[0];
    return got >= 1;
}

bool decode_dump(const char* v) {
    if (starts(v, "gif", 3)) return PLT_set_dump(2, dump_name(v)), true;
    if (starts(v, "png", 3)) return PLT_set_dump(4, dump_name(v)), true;
    return false;
}

// Keywords of the page and window; true when v was one of them.
bool decode_view(const char* v) {
    if (whole(v, "full")) return PLT_set_view_offset(0.0f), true;
    if (whole(v, "fullab")) {
        PLT_set_view_offset(0.0f);
        plt_set_full_lab(1);
        return true;
    }
    if (whole(v, "nopage")) return MESS_set_page(0), true;
    if (whole(v, "page")) return MESS_set_page(1), true;
    if (whole(v, "noredraw")) return gset_redraw(0), true;
    if (whole(v, "id")) return foreign.cty_id_type = 0, true;
    if (whole(v, "wmo")) return foreign.cty_id_type = 1, true;
    if (whole(v, "cod_wmo")) return foreign.cty_id_type = 2, true;
    if (starts(v, "tz", 2)) return DATE_set_TZ(from(v, 4)), true;
    if (starts(v, "over", 4)) {
        int base = 0, num = 0;
        const int got = std::sscanf(from(v, 6), "%d:%d", &base, &num);
        if (got >= 1) PLT_set_overlay_base(base);
        if (got >= 2) PLT_set_num_overlay(num);
        return true;
    }
    if (starts(v, "lalo", 4)) {
        float lat = 0.0f, lon = 0.0f;
        int dot = 0, extra = 0;
        const int got = std::sscanf(from(v, 6), "%f:%f:%d:%d", &lat, &lon, &dot, &extra);
        if (got == 1) lon = lat;
        MAP_latlon(lat, lon, dot, extra);
        return true;
    }
    return false;
}

// Keywords of other subsystems and of the kernel; true when v was one of them.
bool decode_settings(const char* v) {
    const size_t len = std::strlen(v);
    if (starts(v, "gridx", 5)) {
        if (len > 5) foreign.grid_factor = std::atoi(from(v, 6));
        return true;
    }
    if (starts(v, "plt_skip", 8)) {
        int skip[2] = {0, 0};
        if (pair_int(from(v, 10), skip)) CONT_set_skip(skip[0], skip[1]);
        return true;
    }
    // Eight characters against a keyword of seven: only the bare word matches,
    // and its numbers are read from past its end, which holds none.
    if (starts(v, "plt_off", 8)) {
        float offset[2] = {0.0f, 0.0f};
        if (pair_float(from(v, 10), offset)) CONT_set_plot_offset(offset[0], offset[1]);
        return true;
    }
    if (starts(v, "plt_grid", 8)) {
        MAP_set_plot_limit(len > 8 ? std::atoi(from(v, 10)) : 1);
        return true;
    }
    if (starts(v, "loc_pr", 6)) {
        if (len > 6) DOM_set_loc_prior(std::atoi(from(v, 8)));
        return true;
    }
    if (starts(v, "vp_size", 7)) return PLT_panel_decode(from(v, 9)), true;
    if (starts(v, "font", 4)) return GPH_set_def_font(from(v, 6)), true;
    if (whole(v, "gif_inter")) return GIF_interlace(1), true;
    if (whole(v, "gif_norm")) return GIF_interlace(0), true;
    if (whole(v, "gif_trans")) return GIF_transparent(1), true;
    if (whole(v, "inv")) return gset_inverse(1), true;
    if (whole(v, "lcmap")) return gset_local_colormap(1), true;
    if (whole(v, "nolcmap")) return gset_local_colormap(0), true;
    if (whole(v, "rwclr")) return gset_rw_colors(1), true;
    if (whole(v, "norwclr")) return gset_rw_colors(0), true;
    if (whole(v, "nolooptitle")) return foreign.loop_title = 0, true;
    if (whole(v, "pscolor")) {
        gps_set_colorPS(1);
        gset_inverse(1);
        return true;
    }
    if (whole(v, "psrev")) return gps_set_reverse(1), true;
    if (whole(v, "clear")) return gset_pix_mode(1), true;
    if (whole(v, "new")) return gset_pix_mode(2), true;
    if (whole(v, "kill")) return gset_pix_mode(9), true;
    if (starts(v, "bar", 3)) {
        CONT_set_bar(2);
        float first = 0.0f, second = 0.0f;
        if (len > 3 && std::sscanf(from(v, 5), "%f:%f", &first, &second) >= 1)
            CONT_set_bar_range(second, first);
        return true;
    }
    if (whole(v, "nobar")) return CONT_set_bar(-2), true;
    if (whole(v, "nohdr")) return foreign.use_hdr_file = 0, true;
    if (starts(v, "shadow", 6)) {
        const int n = std::atoi(from(v, 8));
        return gset_font_drop(n > 0 ? n : 4), true;
    }
    if (starts(v, "max_bad", 7)) {
        const int n = std::atoi(from(v, 9));
        return foreign.max_bad = n > 0 ? n : 5, true;
    }
    if (starts(v, "min_size", 8)) {
        const int n = std::atoi(from(v, 10));
        return FILE_set_min_size(n > 0 ? n : 0), true;
    }
    if (starts(v, "grdfmt", 6)) {
        if (len > 7) foreign.grid_format = from(v, 8);
        return true;
    }
    if (decode_dump(v)) return true;
    if (starts(v, "img", 3)) return PLT_set_dump(3, dump_name(v)), true;
    if (starts(v, "xwd", 3)) return PLT_set_dump(1, dump_name(v)), true;
    return false;
}

// The common tail of the three callbacks: the domain goes to the program's
// function under the wait cursor, and the result reaches the screen.
void call_back(PltDomainFunc function, Domain* domain, bool world) {
    if (world) gsel_norm_tran(0);
    const int cursor = gget_cursor_type();
    gset_cursor(8);
    if (function) function(domain);
    gsel_norm_tran(2);
    gupdate_window();
    gset_cursor(cursor);
}

void sort2(float* a, float* b) {
    if (*a > *b) std::swap(*a, *b);
}

// A box on a map projection: the centre and the larger spacing of the two.
void zoom_map(float x, float y, Domain* domain) {
    const float cx = (ps.press[0] + x) / 2.0f;
    const float cy = (ps.press[1] + y) / 2.0f;
    const float w = std::abs(x - ps.press[0]);
    const float h = std::abs(y - ps.press[1]);
    MAP_get_domain(domain);
    DOM_print(256, domain);
    if (ps.zoom == 0) ps.original = *domain;
    ++ps.zoom;
    MAP_untran(cx, cy, &domain->clat, &domain->clon);
    domain->dx = w / static_cast<float>(domain->nx - 1);
    domain->dy = h / static_cast<float>(domain->ny - 1);
    if (domain->dy > domain->dx)
        domain->dx = domain->dy;
    else
        domain->dy = domain->dx;
    DOM_set_base_prior(h);
}

// A box on a graph: the low corner and the extent in earth or graph units.
void zoom_graph(float x, float y, Domain* domain) {
    float x1 = ps.press[0], x2 = x, y1 = ps.press[1], y2 = y;
    sort2(&x1, &x2);
    sort2(&y1, &y2);
    const int proj = MAP_get_proj();
    float hlat = 0.0f, hlon = 0.0f, llat = 0.0f, llon = 0.0f;
    MAP_untran(x2, y2, &hlat, &hlon);
    if (proj != 23) MAP_untran(x1, y1, &llat, &llon);
    const float dx = (proj == 40 || proj == 23) ? x2 - x1 : hlon - llon;
    const float dy = proj == 23 ? y2 - y1 : hlat - llat;
    MAP_get_domain(domain);
    if (ps.zoom == 0) ps.original = *domain;
    ++ps.zoom;
    domain->clat = llat;
    domain->clon = llon;
    domain->dx = dx;
    domain->dy = dy;
}

}  // namespace

int PLT_param_decode() {
    int count = 0;
    char** values = nullptr;
    RES_getvals("plot_param", &count, &values);
    for (int i = 0; i < count; ++i)
        if (!decode_view(values[i])) decode_settings(values[i]);
    free_parsed_array(count, values);

    count = 0;
    values = nullptr;
    RES_getvals("out_file", &count, &values);
    for (int i = 0; i < count; ++i) decode_dump(values[i]);
    free_parsed_array(count, values);
    return 0;
}

int PLT_panel_decode(const char* text) {
    float w = 1.0f, h = 1.0f, x = 0.0f, y = 0.0f;
    const int got = std::sscanf(text ? text : "", "%fx%f+%f+%f", &w, &h, &x, &y);
    if (w > 1.0f) {
        const float columns = std::min(w, 8.0f);
        const float rows = std::clamp(h, 1.0f, 8.0f);
        x = x / columns;
        y = 1.0f - (y + 1.0f) / rows;
        w = 1.0f / columns;
        h = 1.0f / rows;
    }
    // A panel of no size, or of numbers that are none, would leave the picture
    // nowhere to go.
    const bool usable = std::isfinite(x) && std::isfinite(y) && w > 0.0f && h > 0.0f &&
                        std::isfinite(w) && std::isfinite(h);
    if (got == 4 && usable) GPH_set_view_size(w, h, x, y);
    return 0;
}

int PLT_open(float aspect) {
    PLT_param_decode();
    plt_set_view(ps.view_off);
    if (no_plot()) return -1;
    float* view = plt_view();
    GPH_setup(&ps.work_id, &ps.work_type, aspect, view);
    ps.work_type = gget_win_type();
    return 0;
}

int PLT_reset(float aspect) {
    plt_set_view(ps.view_off);
    const int type = PLT_get_label_type();
    if (type < 0) PLT_set_label_type(-1);
    if (type > 0) PLT_set_label_type(1);
    if (no_plot()) return -1;
    GPH_reset(&ps.work_id, &ps.work_type, aspect, plt_view());
    ps.work_type = gget_win_type();
    return 0;
}

int PLT_close() {
    if (FLAG_batch() && ZMT_back_proc() == 0) ZMT_exit(1);
    if (FLAG_get(11) == PLOT_TYPE_NONE) return -1;
    gsel_norm_tran(2);
    if (PLT_get_dump() == PLT_DUMP_NONE) GPH_hold(ps.work_id);
    gclear_ws();
    GPH_end(ps.work_id);
    PLT_init_labels();
    return 0;
}

void PLT_exit(int code) {
    GPH_end(ps.work_id);
    ZMT_exit(code);
}

int PLT_set_callback(PltCallback function) {
    ps.callback = function;
    if (function) gset_mouse_callback(function);
    return 0;
}

int PLT_set_zoom_func(PltDomainFunc function) {
    ps.zoom_func = function;
    return 0;
}

int PLT_set_resize_func(PltDomainFunc function) {
    ps.resize_func = function;
    return 0;
}

int PLT_set_refresh_func(int seconds, PltDomainFunc function) {
    ps.refresh_func = function;
    gset_refresh_callback(seconds, PLT_plot_refresh);
    return 0;
}

int PLT_set_view_offset(float value) {
    ps.view_offset = value;
    ps.view_off[0] = ps.view_off[1] = 0.0f;
    ps.view_off[2] = ps.view_off[3] = value;
    return 0;
}

int PLT_set_view_offsets(float left, float right, float bottom, float top) {
    ps.view_off[0] = left;
    ps.view_off[1] = right;
    ps.view_off[2] = bottom;
    ps.view_off[3] = top;
    return 0;
}

float PLT_get_view_offset() {
    return ps.view_offset;
}

int PLT_get_view(float view[4]) {
    std::memcpy(view, plt_view(), 4 * sizeof(float));
    return 0;
}

int PLT_get_work_type() {
    return ps.work_type;
}

int PLT_plot_zoom(const char* event, float x, float y) {
    if (!event) return 0;
    if (std::strcmp(event, "B1-P-Shft") == 0) {
        ps.press[0] = x;
        ps.press[1] = y;
        ps.zoom_flag = 1;
        return 0;
    }
    if (ps.zoom_flag == 1 && std::strncmp(event, "B1-R", 4) == 0) {
        if (x == ps.press[0] || y == ps.press[1]) return -1;
        Domain domain{};
        const int proj = MAP_get_proj();
        if (proj >= 1 && proj <= 9)
            zoom_map(x, y, &domain);
        else
            zoom_graph(x, y, &domain);
        MESS_print(512, "New domain: ");
        DOM_print(256, &domain);
        call_back(ps.zoom_func, &domain, true);
        ps.zoom_flag = 0;
        return 0;
    }
    if (std::strcmp(event, "u-Alt") == 0 && gget_zoom() == 1 && ps.zoom != 0) {
        MESS_print(512, "Original domain: ");
        Domain domain = ps.original;
        if (domain.proj >= 1 && domain.proj <= 9)
            DOM_set_base_prior(static_cast<float>(domain.ny - 1) * domain.dy);
        DOM_print(256, &domain);
        call_back(ps.zoom_func, &domain, true);
        ps.zoom_flag = 0;
        ps.zoom = 0;
        return 0;
    }
    if (std::strcmp(event, "r-Alt") == 0) {
        Domain domain{};
        MAP_get_domain(&domain);
        call_back(ps.zoom_func, &domain, false);
        return 0;
    }
    ps.zoom_flag = 0;
    return 0;
}

int PLT_plot_resize(const char* event) {
    if (!event || std::strcmp(event, "size") != 0) return 0;
    Domain domain{};
    MAP_get_domain(&domain);
    call_back(ps.resize_func, &domain, false);
    return 0;
}

int PLT_plot_refresh() {
    Domain domain{};
    MAP_get_domain(&domain);
    call_back(ps.refresh_func, &domain, false);
    return 0;
}
