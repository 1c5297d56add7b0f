// Raw point files drawn over the map.
#include "overlays/raw_plot.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "env/domains.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "overlays/cities.h"
#include "overlays/contour_scale.h"
#include "overlays/symbols.h"
#include "plot/plot.h"

namespace {

constexpr int NO_PLOT = 99;
constexpr float KNOT_KM = 1.852f;

struct PlotState {
    RawAttrib base{};        // attributes of the plot, before each point's own format
    bool have_last = false;  // line mode: the point before
    float last_x = ZMT_FMISSING, last_y = ZMT_FMISSING;
    bool draw_after = false;  // line type "post"
    int count = 0;            // points drawn by the last file
};
PlotState ps;

bool set(float v) {
    return v != ZMT_FMISSING;
}

void copy_text(char* out, size_t size, const char* text) {
    if (size == 0) return;
    size_t n = text ? strnlen(text, size - 1) : 0;
    std::memcpy(out, text ? text : "", n);
    out[n] = '\0';
}

bool starts(const char* text, const char* word) {
    return std::strncmp(text, word, std::strlen(word)) == 0;
}

// Anchors: the point's text to the left, centre or right, up, top, centre, bottom, low.
struct Anchor {
    const char* word;
    float xoff, yoff;
};
constexpr Anchor anchors[] = {
    {"ul", -0.012f, 0.02f},   {"uc", 0.0f, 0.02f},   {"ur", 0.012f, 0.02f},
    {"tl", -0.012f, 0.012f},  {"tc", 0.0f, 0.012f},  {"tr", 0.012f, 0.012f},
    {"cl", -0.012f, 0.0f},    {"cc", 0.0f, 0.0f},    {"cr", 0.012f, 0.0f},
    {"bl", -0.012f, -0.012f}, {"bc", 0.0f, -0.012f}, {"br", 0.012f, -0.012f},
    {"ll", -0.012f, -0.02f},  {"lc", 0.0f, -0.02f},  {"lr", 0.012f, -0.02f},
};

const Anchor* find_anchor(const char* word) {
    for (const Anchor& a : anchors)
        if (!std::strcmp(word, a.word)) return &a;
    return nullptr;
}

int halign_of(float xoff) {
    return xoff < 0.0f ? 3 : xoff == 0.0f ? 2 : 1;
}

// Names of the variable types a format may give.
struct TypeName {
    const char* name;
    int type;
};
constexpr TypeName type_names[] = {
    {"text", RAW_TEXT},   {"num", RAW_NUMBER},     {"mark", RAW_MARK}, {"int", RAW_INT},
    {"cld", RAW_CLOUD},   {"calm", RAW_BARB_CALM}, {"barb", RAW_BARB}, {"wind", RAW_BARB_CIRCLE},
    {"vect", RAW_VECTOR}, {"trk", RAW_TRACK},      {"wx", RAW_SYMBOL}, {"lines", RAW_LINES},
};

int type_of(const char* word) {
    for (const TypeName& t : type_names)
        if (!stricmp(word, t.name)) return t.type;
    return 0;
}

int marker_of(const char* word) {
    static const struct {
        const char* name;
        int mark;
    } names[] = {{"dot", 8}, {"pnt", 1}, {"plus", 2},   {"star", 3}, {"crcl", 4}, {"circle", 4},
                 {"x", 5},   {"sqr", 6}, {"square", 6}, {"tri", 7},  {"itri", 9}};
    for (const auto& n : names)
        if (!std::strcmp(word, n.name)) return n.mark;
    return std::atoi(word);
}

int text_align(char c, const char* letters, const int* values, int other) {
    for (int i = 0; letters[i]; i++)
        if (c == letters[i] || c == letters[i] - 'a' + 'A') return values[i];
    return other;
}

// One item of a format; returns the type it gives, or the running result.
int parse_item(RawAttrib* a, const char* item, int result) {
    const char* v = item + 3;
    if (item[0] == '%') {
        std::snprintf(a->format, sizeof a->format, "%%%s", item + 1);
        return RAW_NUMBER;
    }
    if (int type = type_of(item)) return type;
    if (const Anchor* anchor = find_anchor(item)) {
        a->xoff = anchor->xoff;
        a->yoff = anchor->yoff;
        a->halign = halign_of(anchor->xoff);
        a->valign = 3;
    } else if (starts(item, "xy=")) {
        float x = 0, y = 0;
        std::sscanf(v, "%f%*[ ,/]%f", &x, &y);
        a->xoff = x * 0.012f;
        a->yoff = y * 0.02f;
        a->valign = 3;
        a->halign = halign_of(x);
    } else if (starts(item, "rs=")) {
        Attrib from;
        ATTRIB_init(&from);
        ATTRIB_get(v, "green", &from);
        ATTRIB_update(&a->attrib, &from);
    } else if (starts(item, "co=")) {
        a->attrib.color = CLR_get_ind(v);
    } else if (starts(item, "wi=")) {
        a->attrib.width = static_cast<float>(std::atof(v));
    } else if (starts(item, "hi=")) {
        a->attrib.height = static_cast<float>(std::atof(v));
    } else if (starts(item, "te=")) {
        a->attrib.expansion = static_cast<float>(std::atof(v));
    } else if (starts(item, "sc=")) {
        float s = static_cast<float>(std::atof(v));
        a->scale = (s < 0.01f || s > 1000.0f) ? 1.0f : s;
    } else if (starts(item, "fo=")) {
        a->attrib.font = gget_font_index(v);
    } else if (starts(item, "fm=")) {
        copy_text(a->format, sizeof a->format, v);
        return RAW_NUMBER;
    } else if (starts(item, "tx=")) {
        copy_text(a->text, sizeof a->text, v);
    } else if (starts(item, "ta=")) {
        static const int h_values[] = {1, 3};
        static const int v_values[] = {1, 2, 4, 5};
        if (v[0]) a->halign = text_align(v[0], "lr", h_values, 2);
        if (v[0] && v[1]) a->valign = text_align(v[1], "tcsb", v_values, 3);
    } else if (starts(item, "mk=")) {
        a->mark = marker_of(v);
    } else if (starts(item, "sf=") || starts(item, "wf=")) {
        copy_text(a->symbol_file, sizeof a->symbol_file, v);
    } else if (starts(item, "mn=")) {
        a->min = static_cast<float>(std::atof(v));
    } else if (starts(item, "mx=")) {
        a->max = static_cast<float>(std::atof(v));
    } else if (starts(item, "sk=")) {
        a->skip = std::atoi(v);
    }
    return result;
}

// A number by its format; a format starting "z" drops the leading 0 of the number
// or of its digits behind "-".
void number_text(const RawAttrib& a, float value, char* out, size_t size) {
    const char* format = a.format[0] ? a.format : "%1.0f";
    bool strip = format[0] == 'z';
    if (strip) format++;
    if (!std::strchr(format, '%')) format = "%1.0f";
    std::snprintf(out, size, format, static_cast<double>(value));
    if (!strip) return;
    char* digits = out[0] == '-' ? out + 1 : out;
    if (digits[0] == '0' && digits[1]) std::memmove(digits, digits + 1, std::strlen(digits));
}

void draw_marker(float x, float y, const char* text, float size) {
    static const char chars[] = ".+*o#^vx";
    static const int marks[] = {1, 2, 3, 4, 6, 7, 9, 5};
    int mark = 0;
    if (text[0] && !text[1]) {
        const char* at = std::strchr(chars, text[0]);
        if (at) mark = marks[at - chars];
    }
    if (!mark) mark = marker_of(text);
    if (mark <= 0) return;
    gset_marker_type(mark);
    gset_marker_size(size);
    GPH_mark(x, y);
}

// A wind barb, on a small circle for RAW_BARB_CIRCLE; a calm is a circle whose
// size depends on the barb type.
void draw_barb(const RawAttrib& a, float x, float y, float v, float dir, float speed) {
    const float s = a.scale;
    if (!set(speed) || speed < 0.0f) return;
    float calm = a.var_type == RAW_BARB ? 0.013f : a.var_type == RAW_BARB_CIRCLE ? 0.006f : 0.003f;
    float inner = a.var_type == RAW_BARB ? 0.01f : a.var_type == RAW_BARB_CIRCLE ? 0.003f : 0.0f;
    if (a.var_type == RAW_BARB_CIRCLE) WX_cloud(x, y, 0.003f * v * s, "0");
    if (speed == 0.0f)
        WX_cloud(x, y, calm * v * s, "0");
    else
        WIND_barb_map(x, y, dir, speed, 0.05f * v * s, inner * v * s);
}

// A line point: "pre" joins the point before to this one, "post" asks for the
// join after the next point, else the value pair is the line's other end.
void draw_line_point(const RawData* d, float x, float y) {
    if (!std::strcmp(d->text, "pre")) {
        if (ps.have_last) {
            float p[4] = {ps.last_x, ps.last_y, x, y};
            gpolyline(2, p);
        }
    } else if (!std::strcmp(d->text, "post")) {
        ps.draw_after = true;
    } else if (set(d->value) && set(d->value2)) {
        float x2 = 0, y2 = 0;
        if (MAP_tran(d->value, d->value2, &x2, &y2) == 1) {
            float p[4] = {x, y, x2, y2};
            gpolyline(2, p);
        }
    }
}

// The drawing of one point by the variable type.
void draw_by_type(const RawAttrib& a, const RawData* d, float x, float y, float v) {
    const float s = a.scale;
    const float dir = d->value, speed = d->value2;
    switch (a.var_type) {
        case RAW_TEXT:
        case RAW_TEXT2:
            if (d->text[0]) GPH_printf(x, y, "%s", d->text);
            break;
        case RAW_NUMBER:
            if (set(d->value)) {
                char text[64];
                number_text(a, d->value, text, sizeof text);
                GPH_printf(x, y, "%s", text);
            }
            break;
        case RAW_INT:
            if (set(d->value)) {
                const char* format = a.format[0] && std::strchr(a.format, '%') ? a.format : "%d";
                char text[64];
                std::snprintf(text, sizeof text, format, static_cast<int>(d->value));
                GPH_printf(x, y, "%s", text);
            }
            break;
        case RAW_MARK:
            draw_marker(x, y, d->text, 0.01f * v * s);
            break;
        case RAW_CLOUD:
            WX_cloud(x, y, 0.01f * v * s, d->text);
            break;
        case RAW_BARB:
        case RAW_BARB_CIRCLE:
        case RAW_BARB_CALM:
            draw_barb(a, x, y, v, dir, speed);
            break;
        case RAW_VECTOR:
            if (set(speed) && speed > 0.0f)
                WIND_vect_map(x, y, dir, speed * KNOT_KM / 100.0f, s, 1.0f);
            break;
        case RAW_TRACK:
            if (set(speed) && speed > 0.0f) {
                float lat = 0, lon = 0;
                MAP_untran(x, y, &lat, &lon);
                WIND_track(x, y, dir, 2.0f * speed * KNOT_KM * MAP_factor(lat) / 100.0f,
                           s * 0.1f * v, 4);
            }
            break;
        case RAW_SYMBOL:
            WX_symb(x, y, d->text, 0.03f * v * s);
            break;
        case RAW_LINES:
            draw_line_point(d, x, y);
            break;
        default:
            break;
    }
}

bool plot_off() {
    return FLAG_getplot(12) == 0 || PLT_get_work_type() == NO_PLOT;
}

// Text of a resource, empty when not set.
std::string resource(const char* name) {
    const char* v = RES_get(name);
    return v ? v : "";
}

}  // namespace

int RAW_init_attrib(RawAttrib* a) {
    *a = RawAttrib{};
    ATTRIB_init(&a->attrib);
    a->var_type = 0;
    a->mark = 0;
    a->line = 0;
    a->xoff = a->yoff = 0.0f;
    a->halign = 2;
    a->valign = 3;
    a->min = a->max = ZMT_FMISSING;
    a->scale = 1.0f;
    a->skip = 1;
    a->ybar = ZMT_FMISSING;
    a->base = a->interval = ZMT_FMISSING;
    return 0;
}

int RAW_plot_param(RawAttrib* a) {
    int count = 0;
    char** items = nullptr;
    RES_getvals("plot_param", &count, &items);
    for (int i = 0; i < count; i++) {
        const char* item = items[i];
        if (starts(item, "skip")) {
            const char* n = item + 4;
            if (*n == '=' || *n == ':') n++;
            a->skip = std::atoi(n);
        } else if (starts(item, "text")) {
            copy_text(a->text, sizeof a->text, item + 4 + (item[4] == '=' || item[4] == ':'));
        } else if (starts(item, "mark")) {
            const char* m = item + 4 + (item[4] == '=' || item[4] == ':');
            a->mark = !std::strcmp(m, "cld") ? RAW_MARK_CLOUD : ATTR_parse_marker(m);
        } else if (!std::strcmp(item, "line")) {
            a->line = 1;
        } else if (starts(item, "ybar")) {
            a->ybar = item[4] ? static_cast<float>(std::atof(item + 4)) : 0.0f;
        } else if (starts(item, "xy=")) {
            float x = 0, y = 0;
            std::sscanf(item + 3, "%f:%f", &x, &y);
            a->xoff = x * 0.012f;
            a->yoff = y * 0.02f;
        } else if (const Anchor* anchor = find_anchor(item)) {
            a->xoff = anchor->xoff;
            a->yoff = anchor->yoff;
            // The plot parameters place these three differently from a format.
            if (!std::strcmp(item, "ur")) a->xoff = -0.012f;
            if (!std::strcmp(item, "cl")) a->xoff = -0.015f;
            if (!std::strcmp(item, "cr")) a->xoff = 0.015f;
        }
    }
    if (items) free_parsed_array(count, items);
    return 0;
}

int RAW_parse_format(RawAttrib* a, const char* text) {
    if (!a || !text) return 0;
    int result = 0;
    std::string all = text;
    size_t start = 0;
    while (start <= all.size()) {
        size_t end = all.find(':', start);
        if (end == std::string::npos) end = all.size();
        std::string item = all.substr(start, end - start);
        if (!item.empty()) result = parse_item(a, item.c_str(), result);
        start = end + 1;
    }
    return result;
}

int RAW_set_attribs(const RawAttrib* a) {
    const float v = MAP_get_vert();
    GPH_text_attr(&a->attrib, 0.018f * v * a->scale);
    GPH_line_attr(&a->attrib);
    GPH_mark_attr(&a->attrib, 0.01f * v * a->scale);
    GPH_fill_attr(&a->attrib);
    GPH_text_align(a->halign, a->valign);
    if (a->symbol_file[0]) WX_symb_file(a->symbol_file);
    return 0;
}

int RAW_plot_init(RawAttrib* a, int flag) {
    (void)flag;
    if (plot_off()) return -1;
    Attrib colour = a->attrib;
    RAW_init_attrib(a);
    a->attrib = colour;
    RAW_plot_param(a);
    GPH_line_attr(nullptr);
    GPH_trans(2);
    CONT_init();
    CONT_set_fill_colors(0, 0);
    if (CONT_get_type() == ZMT_MISSING) CONT_set_type(15);
    std::string format = resource("plot_format");
    if (!format.empty()) {
        int type = RAW_parse_format(a, format.c_str());
        if (type) a->var_type = type;
    }
    // ">v": the scale starts at v and nothing below is coloured; "<v": nothing above.
    std::string base = resource("con_base");
    float cut_low = ZMT_FMISSING, cut_high = ZMT_FMISSING;
    if (!base.empty()) {
        const float v =
            static_cast<float>(std::atof(base.c_str() + (base[0] == '>' || base[0] == '<')));
        if (base[0] == '<') {
            cut_high = v;
        } else {
            a->base = v;
            if (base[0] == '>') cut_low = v;
        }
    }
    CONT_set_base(a->base);
    CONT_set_cutoff(cut_low, cut_high);
    std::string interval = resource("con_interval");
    if (!interval.empty()) a->interval = static_cast<float>(std::atof(interval.c_str()));
    CONT_set_intrvl(a->interval);
    RAW_set_attribs(a);
    GPH_text_align(halign_of(a->xoff), a->valign);
    return 0;
}

int RAW_plot_data(const RawData* d, float x, float y) {
    if (!d || FLAG_getplot(7) == 0 || PLT_get_work_type() == NO_PLOT) return -1;
    RawAttrib a = ps.base;
    const bool has_value = set(d->value);
    const float value = a.var_type == RAW_BARB || a.var_type == RAW_BARB_CALM ||
                                a.var_type == RAW_BARB_CIRCLE || a.var_type == RAW_VECTOR ||
                                a.var_type == RAW_TRACK || a.var_type == 21 || a.var_type == 22
                            ? d->value2
                            : d->value;
    if (set(value) && ((set(a.min) && value < a.min) || (set(a.max) && value > a.max))) return 0;
    // The value's class colour; a number beyond the scale's cutoffs is not drawn,
    // a point without a number keeps the base colour.
    int klass = 0;
    const int scaled = set(value) ? CONT_get_values(value, &klass, nullptr, nullptr) : -1;
    if (scaled == CONT_BEYOND) return 0;
    if (scaled == 0) CONT_get_fill_attrib(klass, &a.attrib);
    if (d->format[0]) {
        int type = RAW_parse_format(&a, d->format);
        if (type) a.var_type = type;
    }
    RAW_set_attribs(&a);
    const float v = MAP_get_vert();
    const float px = x + v * a.xoff * a.scale, py = y + v * a.yoff * a.scale;
    MESS_print(MESS_DEBUG_B, "PLOT: %8.3f %8.3f %-5s %-10s %-10s %8.3f\n", static_cast<double>(px),
               static_cast<double>(py), d->id, d->text, d->format, static_cast<double>(d->value));
    ps.count++;
    if (a.text[0]) {
        GPH_printf(px, py, "%s", a.text);
    } else if (a.mark) {
        if (d->text[0] || has_value) {
            if (a.mark == RAW_MARK_CLOUD) {
                WX_cloud(px, py, 0.01f * v * a.scale, "0");
            } else {
                gset_marker_type(a.mark);
                GPH_mark(px, py);
            }
        }
    } else if (a.line) {
        if (ps.have_last && set(ps.last_x) && set(ps.last_y)) {
            float p[4] = {ps.last_x, ps.last_y, px, py};
            gpolyline(2, p);
        }
    } else if (set(a.ybar)) {
        float p[4] = {px, py, px, a.ybar};
        gpolyline(2, p);
    } else {
        draw_by_type(a, d, px, py, v);
    }
    ps.last_x = px;
    ps.last_y = py;
    ps.have_last = true;
    return 0;
}

namespace {

// The file's field and description upper left, its label upper right.
void label_raw_plot(int handle, RawVar& var, const RawInfo& info) {
    const char* field = var.number > 1 || var.name[0] ? RAW_get_field_info(handle, &var) : nullptr;
    std::string left = info.info;
    if (var.number > 1 || var.name[0]) {
        std::string name = field && field[0] ? field : var.name;
        left = name + "-" + left;
    }
    PLT_label_up_left(left.c_str());
    PLT_label_up_right(info.label);
}

// How the points of one file find their place on the plot.
struct Placement {
    Domain domain;             // the plot's
    bool table = false;        // the station table is loaded
    bool table_first = false;  // stations come before the points' own positions
    bool tried = false;        // the table was loaded for want of positions
};

// The plot position of a point: its station's, else its own latitude and
// longitude; false when it has neither on the plot.
bool locate_point(Placement& p, RawData& data, int points, float* x, float* y) {
    // Sections and time series put values on an axis.
    if (p.domain.proj == MAP_CAT) {
        data.lon = data.value;
        data.lat = static_cast<float>(points);
    } else if (p.domain.proj == MAP_XLOGP) {
        data.lon = data.lat;
        data.lat = data.value;
    }
    const bool has_position = set(data.lat) && set(data.lon);
    if (!p.table && !has_position && !p.tried) {
        p.tried = true;  // once a file: a missing database is told once
        p.table = CTY_store("sao.cty", CTY_STORE_LOC, &p.domain, 5) >= 0;
    }
    CityXY station{};
    if (p.table && CTY_search(data.id, &station)) {
        *x = station.x;
        *y = station.y;
        return true;
    }
    return !p.table_first && has_position && MAP_tran(data.lat, data.lon, x, y) == 1;
}

}  // namespace

int RAW_plot_file(const char* request, const char* label) {
    RawVar var;
    char format[RAW_FORMAT_SIZE] = "";
    const int handle = RAW_file_open(request, &var, format, 0);
    if (handle < 0) return 0;
    ps.count = 0;
    ps.have_last = false;
    RawAttrib& a = ps.base;
    ATTRIB_init(&a.attrib);
    ATTRIB_get("color_data", "green", &a.attrib);
    gset_fill_print_solid(1);
    float plot_scale = 1.0f;
    RES_getval("plot_scale", &plot_scale, RES_FLOAT);
    int id_count = 0;
    char** ids = nullptr;
    RES_getvals("identifier", &id_count, &ids);
    if (RAW_plot_init(&a, 0) != 0) {
        if (ids) free_parsed_array(id_count, ids);
        RAW_close(handle);
        return 0;
    }
    if (plot_scale > 0.0f) a.scale *= plot_scale;
    Placement where;
    MAP_get_domain(&where.domain);
    // A database named or a priority given: the stations are read before the points.
    if (RES_get("city_file") || RES_get("stat_prior"))
        where.table = where.table_first =
            CTY_store("sao.cty", CTY_STORE_LOC, &where.domain, CTY_get_prior()) >= 0;
    int type = RAW_parse_format(&a, format);
    if (type) a.var_type = type;
    if (!a.var_type) a.var_type = RAW_TEXT;

    // Asked even without a label: it reads the header, so the first point's line
    // number counts from there.
    RawInfo info;
    RAW_getinfo(handle, &info);
    if (label) label_raw_plot(handle, var, info);

    RawData data;
    int line = 0, points = 0;
    for (;;) {
        int next = -1;
        int result = RAW_read(handle, &data, &var, &next);
        if (result < 0) break;
        if (next != line) points++;
        line = next;
        if (a.skip > 1 && (line - 1) % a.skip != 0) continue;
        if (label && !CTY_ids_cmp(id_count, ids, data.id)) continue;
        float x = ZMT_FMISSING, y = ZMT_FMISSING;
        if (!locate_point(where, data, points, &x, &y)) continue;
        fill_string(data.id, '_', ' ');
        RAW_plot_data(&data, x, y);
    }
    if (ids) free_parsed_array(id_count, ids);
    RAW_close(handle);
    return 0;
}

int RAW_plot_count() {
    return ps.count;
}
