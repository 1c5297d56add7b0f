// Map lists and map files drawn through the map transformation (2), and the
// latitude-longitude graticule.
#include "maps/map_draw.h"

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <strings.h>

#include <string>
#include <vector>

#include "env/colors.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env/tables.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "overlays/raw_plot.h"
#include "plot/plot.h"

namespace {

constexpr float MISSING = -9999.0f;
constexpr int MASK_UNDER = 1;             // entries marked "-"
constexpr int MASK_OVER = 2;              // entries marked "+"
constexpr int MASK_PLAIN = 4;             // unmarked entries
constexpr float SEAM_JUMP = 20.0f;        // x jump of a map line that means a seam
constexpr float LINES_SEAM_JUMP = 50.0f;  // the same for graticule segments
constexpr size_t ENTRY_MAX = 1024;        // longest word kept from a list file
constexpr float MIN_STEP = 0.1f;          // finest graticule, in degrees, that is drawn

// Region block states.
constexpr int REG_NONE = 1;     // no block seen
constexpr int REG_MATCH = 2;    // in a block that matches
constexpr int REG_NOMATCH = 0;  // in a block that does not
constexpr int REG_PAST = -1;    // past a matching block: the list is done

struct State {
    std::string map_name;        // the list in force, kept once chosen
    int over = 0;                // mask of the present pass
    int reg_found = REG_NONE;    // region block state
    int fill = 0;                // an entry named a fill: polygons are filled from then on
    float latln = 0, lonln = 0;  // graticule spacing in degrees
    int dot = 0;                 // spacing of the grid of crosses
    int extra = 0;               // spacing of repeated labels along each line
    std::vector<float> points;   // map file points of the present record, read as lat, lon
    std::vector<float> line;     // projected polyline being built
};
State st;

bool is_map_proj(int proj) {
    return proj >= 1 && proj <= 9;
}

// A table of the program opened from `directory` (a resource), then from the
// installed data directory; `tried` gets the first name tried.
FILE* open_table(const char* resource, const char* name, std::string* tried) {
    FILE_find_table(RES_get(resource), name, tried);
    // A list must not make the program wait on, or close, its standard input.
    if (FILE_is_stdio(tried->c_str())) return nullptr;
    return FILE_open(tried->c_str(), "r");
}

// ---- Map files ---------------------------------------------------------------

// Width of the map at height y, for lines that cross the seam; 0 where lines
// simply break there.
float seam_period(int proj, float y) {
    switch (proj) {
        case 2:
            return 360.0f;
        case 3:
            return 400.31555f;
        case 4:
            return 1000.0f;
        case 7: {
            const float r = y / 63.713f;
            return 254.852f * std::sqrt(std::fmax(0.0f, 1.0f - r * r));
        }
        default:
            return 0.0f;
    }
}

void finish_line() {
    const int n = static_cast<int>(st.line.size() / 2);
    if (n >= 2) {
        if (st.fill)
            gfill_area(n, st.line.data());
        else
            gpolyline(n, st.line.data());
    }
    st.line.clear();
}

// Projects the record's points and draws its lines, split where a point has no
// position and where the line crosses the seam of the map.
void draw_record(int proj, int count) {
    const float* p = st.points.data();
    st.line.clear();
    int i = 0;
    float x = MISSING, y = MISSING;
    for (; i < count; ++i) {
        if (MAP_tran(p[2 * i], p[2 * i + 1], &x, &y) && x != MISSING) break;
    }
    if (i >= count) return;
    st.line.insert(st.line.end(), {x, y});
    float last_x = x;
    for (++i; i < count; ++i) {
        if (!MAP_tran(p[2 * i], p[2 * i + 1], &x, &y) || x == MISSING) {
            finish_line();
            last_x = MISSING;
            continue;
        }
        if (last_x != MISSING && std::fabs(x - last_x) > SEAM_JUMP) {
            const float period = seam_period(proj, y);
            if (period > 0.0f) {
                const float moved = x > last_x ? x - period : x + period;
                st.line.insert(st.line.end(), {moved, y});
            }
            finish_line();
        }
        st.line.insert(st.line.end(), {x, y});
        last_x = x;
    }
    finish_line();
}

// Text records: "count south north west east id" then "lat lon" per point.
int read_text_header(FILE* stream, unsigned* count) {
    short n = 0;
    float bounds[4];
    long id = 0;
    const int got = std::fscanf(stream, "%hd %f %f %f %f %ld\n", &n, &bounds[0], &bounds[1],
                                &bounds[2], &bounds[3], &id);
    *count = static_cast<uint16_t>(n);
    return got;
}

// 1 with a record to draw, 0 at the end, -1 on a short read.
int read_text_record(FILE* stream, int* count, bool header_read) {
    unsigned n = 0;
    if (!header_read) {
        if (read_text_header(stream, &n) != 6) return 0;
    } else {
        n = static_cast<unsigned>(*count);
    }
    if (n == 0) return 0;
    st.points.resize(2 * static_cast<size_t>(n));
    for (unsigned k = 0; k < n; ++k) {
        if (std::fscanf(stream, "%f %f", &st.points[2 * k], &st.points[2 * k + 1]) != 2) return -1;
    }
    *count = static_cast<int>(n);
    return 1;
}

int read_binary_record(FILE* stream, int* count) {
    uint16_t n = 0;
    if (fread_short_swap(&n, stream) != 1 || n == 0) return 0;
    unsigned char header[20];
    if (std::fread(header, 1, sizeof header, stream) != sizeof header) return -1;
    st.points.resize(2 * static_cast<size_t>(n));
    if (std::fread(st.points.data(), 8, n, stream) != n) return -1;
    swap_longs(st.points.data(), 2 * n);
    *count = n;
    return 1;
}

// ---- Graticule ---------------------------------------------------------------

void set_align(int h, int v) {
    const int rec[2] = {h, v};
    gset_text_align(rec);
}

void draw_text(float x, float y, const char* text) {
    const float position[2] = {x, y};
    gtext(position, text);
}

void lat_label(float lat, char* text, size_t size) {
    if (lat == 0.0f)
        std::snprintf(text, size, "EQ");
    else if (lat > 0.0f)
        std::snprintf(text, size, "%1.0fN", static_cast<double>(lat));
    else
        std::snprintf(text, size, "%1.0fS", static_cast<double>(-lat));
}

void lon_label(float lon, char* text, size_t size) {
    if (lon == 0.0f)
        std::snprintf(text, size, "PM");
    else if (lon == 180.0f || lon == -180.0f)
        std::snprintf(text, size, "DL");
    else if (lon > 0.0f)
        std::snprintf(text, size, "%1.0fE", static_cast<double>(lon));
    else
        std::snprintf(text, size, "%1.0fW", static_cast<double>(-lon));
}

void segment(float x0, float y0, float x1, float y1) {
    float pts[4] = {x0, y0, x1, y1};
    gpolyline(2, pts);
}

// One parallel segment, drawn on both sides of a seam it crosses.
void parallel_segment(int proj, float x0, float y0, float x1, float y1) {
    const float period = proj == 2 ? 360.0f : proj == 3 ? 400.31555f : proj == 4 ? 1000.0f : 0.0f;
    if (x1 - x0 < -LINES_SEAM_JUMP || x1 - x0 > LINES_SEAM_JUMP) {
        if (period > 0.0f) {
            if (x1 < x0)
                x1 += period;
            else
                x0 += period;
            segment(x0, y0, x1, y1);
            segment(x0 - period, y0, x1 - period, y1);
        } else {
            segment(x0, y0, x1, y1);
            segment(x0, y0, x1, y1);
        }
        return;
    }
    segment(x0, y0, x1, y1);
}

void draw_parallel(int proj, float lat, float step, const float lim[4]) {
    char text[16];
    lat_label(lat, text, sizeof text);
    float lon0 = -180.0f, x0 = 0, y0 = 0;
    bool have0 = MAP_tran(lat, lon0, &x0, &y0) && x0 != MISSING;
    for (int k = 0; k < 143; ++k) {
        const float lon1 = -175.0f + 2.5f * static_cast<float>(k);
        float x1 = 0, y1 = 0;
        const bool have1 = MAP_tran(lat, lon1, &x1, &y1) && x1 != MISSING;
        if (have0 && have1) {
            const bool seam = std::fabs(x1 - x0) > LINES_SEAM_JUMP;
            parallel_segment(proj, x0, y0, x1, y1);
            const float t = (lim[0] - x0) / (x1 - x0);
            if (!seam && t >= 0.0f && t < 1.0f) {
                const float lx = lim[0] + 0.01f * (lim[1] - lim[0]);
                const float ly = y0 + (lx - x0) / (x1 - x0) * (y1 - y0);
                if (ly > lim[2] && ly < lim[3]) {
                    set_align(1, 3);
                    draw_text(lx, ly, text);
                }
            }
        }
        x0 = x1, y0 = y1, have0 = have1;
    }
    if (st.extra > 0) {
        set_align(2, 3);
        const float start = std::trunc((static_cast<float>(-179 / st.extra * st.extra) -
                                        0.5f * static_cast<float>(st.extra)) /
                                       step) *
                                step -
                            0.5f * step;
        for (float lon = start; lon <= 180.0f; lon += static_cast<float>(st.extra)) {
            float x = 0, y = 0;
            if (MAP_tran(lat, lon, &x, &y) && x != MISSING) draw_text(x, y, text);
        }
    }
}

void draw_meridian(int proj, float lon, float step, const float lim[4]) {
    char text[16];
    lon_label(lon, text, sizeof text);
    float low = -90.0f, high = 90.0f;
    if (proj == 1 || proj == 4 || proj == 9) {
        high = std::trunc(89.0f / step) * step;
        low = -high;
    }
    float x0 = 0, y0 = 0;
    bool have0 = MAP_tran(low, lon, &x0, &y0) && x0 != MISSING;
    for (float lat = low + step; lat <= high + 0.001f * step; lat += step) {
        float x1 = 0, y1 = 0;
        const bool have1 = MAP_tran(lat, lon, &x1, &y1) && x1 != MISSING;
        if (have0 && have1) {
            segment(x0, y0, x1, y1);
            const float t = (lim[2] - y0) / (y1 - y0);
            if (t >= 0.0f && t < 1.0f) {
                const float ly = lim[2] + 0.01f * (lim[1] - lim[0]);
                const float lx = x0 + (ly - y0) / (y1 - y0) * (x1 - x0);
                if (lx > lim[0] && lx < lim[1]) {
                    set_align(2, 4);
                    draw_text(lx, ly, text);
                }
            }
        }
        x0 = x1, y0 = y1, have0 = have1;
    }
    if (st.extra > 0) {
        set_align(2, 3);
        const float start = std::trunc((static_cast<float>(-89 / st.extra * st.extra) -
                                        0.5f * static_cast<float>(st.extra)) /
                                       step) *
                                step -
                            0.5f * step;
        for (float lat = start; lat < 90.0f; lat += static_cast<float>(st.extra)) {
            float x = 0, y = 0;
            if (MAP_tran(lat, lon, &x, &y) && x != MISSING) draw_text(x, y, text);
        }
    }
}

void draw_crosses() {
    const float d = static_cast<float>(st.dot);
    for (float lat = static_cast<float>(-79 / st.dot * st.dot); lat < 80.0f; lat += d) {
        for (float lon = static_cast<float>(-179 / st.dot * st.dot); lon <= 180.0f; lon += d) {
            float a[4], b[4];
            if (MAP_tran(lat, lon - 0.1f, &a[0], &a[1]) &&
                MAP_tran(lat, lon + 0.1f, &a[2], &a[3]) && a[0] != MISSING && a[2] != MISSING &&
                std::fabs(a[2] - a[0]) < 5.0f)
                gpolyline(2, a);
            if (MAP_tran(lat - 0.1f, lon, &b[0], &b[1]) &&
                MAP_tran(lat + 0.1f, lon, &b[2], &b[3]) && b[0] != MISSING && b[2] != MISSING &&
                std::fabs(b[2] - b[0]) < 5.0f)
                gpolyline(2, b);
        }
    }
}

// Graphs and pixel domains: rule lines at multiples of the steps.
void draw_rules(float lat_step, float lon_step, const float lim[4]) {
    constexpr int MAX_RULES = 1000;
    const float sx = std::fabs(lat_step), sy = std::fabs(lon_step);
    if (sx > 0.0f && (lim[1] - lim[0]) / sx < MAX_RULES) {
        for (float x = std::ceil(lim[0] / sx) * sx; x <= lim[1]; x += sx)
            segment(x, lim[2], x, lim[3]);
    }
    if (sy > 0.0f && (lim[3] - lim[2]) / sy < MAX_RULES) {
        for (float y = std::ceil(lim[2] / sy) * sy; y <= lim[3]; y += sy)
            segment(lim[0], y, lim[1], y);
    }
}

// Line attribute of the graticule: color_line, magenta in style 4 on maps.
bool graticule_attrib(const char* given, int proj) {
    const bool map = is_map_proj(proj);
    Attrib attrib;
    ATTRIB_init(&attrib);
    if (given && given[0])
        ATTRIB_parse(given, &attrib);
    else
        ATTRIB_get("color_line", map ? "magenta:s4" : "red", &attrib);
    if (map && attrib.style == -9999) attrib.style = 4;
    GPH_line_attr(nullptr);
    GPH_line_attr(&attrib);
    GPH_text_attr(&attrib, (map ? 0.018f : 0.015f) * MAP_get_vert());
    return attrib.color != -1;
}

// ---- List entries -------------------------------------------------------------

// `[lat1,lat2,lon1,lon2,scale`: selects the entries up to the next block.
int region_block(const char* text) {
    if (st.reg_found == REG_MATCH) {
        st.reg_found = REG_PAST;
        return -1;
    }
    float v[5] = {0, 0, 0, 0, 1000.0f};
    const int got = std::sscanf(text, "%f,%f,%f,%f,%f", &v[0], &v[1], &v[2], &v[3], &v[4]);
    if (got < 4) {
        st.reg_found = REG_MATCH;
        return -1;
    }
    if (v[0] > v[1]) std::swap(v[0], v[1]);
    if (v[2] > v[3]) std::swap(v[2], v[3]);
    const float clat = MAP_get_clat(), clon = MAP_get_clon();
    if (clat >= v[0] && clat <= v[1] && clon >= v[2] && clon <= v[3] && !(MAP_get_vert() > v[4]))
        st.reg_found = REG_MATCH;
    else if (st.reg_found == REG_NONE)
        st.reg_found = REG_NOMATCH;
    return -1;
}

// Reads "%f" at *p and advances past it.
bool read_number(const char** p, float* value) {
    int used = 0;
    if (std::sscanf(*p, "%f%n", value, &used) < 1) return false;
    *p += used;
    return true;
}

// One scale filter at the front of *entry; *pass is cleared when the scale fails
// it. False when the entry does not begin with this filter.
bool scale_filter(const char** entry, const char* prefix, bool* pass) {
    const size_t len = std::strlen(prefix);
    if (std::strncmp(*entry, prefix, len) != 0) return false;
    const char* p = *entry + len;
    float a = 0, b = 0;
    if (!read_number(&p, &a)) return false;
    const float vert = MAP_get_vert();
    bool ok;
    if (prefix[0] == '>' || prefix[0] == '<') {
        const bool at_least = prefix[0] == '>';
        const char second = at_least ? '<' : '>';
        bool has_b = false;
        if (*p == second) {
            ++p;
            if (!read_number(&p, &b)) return false;
            has_b = true;
        }
        ok = at_least ? vert >= a && (!has_b || vert <= b) : vert <= a && (!has_b || vert >= b);
    } else {
        ok = prefix[1] == '+' ? vert >= a : vert <= a;
    }
    if (*p != ':') return false;
    *entry = p + 1;
    if (!ok) *pass = false;
    return true;
}

// im: and if: entries, `name[:colour:x:y]` or `name::x:y`.
int image_entry(const char* rest, bool whole_window) {
    std::string name(rest, std::strcspn(rest, ":"));
    if (name.empty()) return -1;
    const char* tail = rest + name.size();
    char colour[64] = "";
    int x = 0, y = 0;
    if (std::strncmp(tail, "::", 2) == 0)
        std::sscanf(tail, "::%d:%d", &x, &y);
    else
        std::sscanf(tail, ":%63[^:]:%d:%d", colour, &x, &y);
    char path[FILE_NAME_SIZE];
    FILE_add_path(RES_get("image_path"), name.c_str(), path);
    PLT_mess("Map-image: %s", path);
    if (whole_window) GPH_trans(1);
    goverlay_image_file(path, colour[0] ? colour : nullptr, x, y);
    if (whole_window) GPH_trans(2);
    return 0;
}

int rawfile_entry(const char* name) {
    char path[FILE_NAME_SIZE];
    FILE_add_path(RES_get("file_path"), name, path);
    PLT_mess("Map-rawfile: %s", path);
    return RAW_plot_file(path, nullptr);
}

int lalo_entry(const char* entry) {
    float lat = 5.0f, lon = MISSING;
    int used = 0, used2 = 0;
    const char* rest = entry + 5;
    const int got = std::sscanf(rest, "%f%n:%f%n", &lat, &used, &lon, &used2);
    if (got < 1) lat = 5.0f, used = 0;
    if (got < 2) lon = lat;
    const char* after = rest + (got >= 2 ? used2 : used);
    const char* attribute = *after == ':' ? after + 1 : nullptr;
    PLT_mess("Map-lalo: %.1f,%.1f", static_cast<double>(lat), static_cast<double>(lon));
    if (graticule_attrib(attribute, MAP_get_proj())) MAP_lines(lat, lon);
    return 0;
}

int map_file_entry(const char* entry) {
    std::string name(entry, std::strcspn(entry, ":"));
    if (name.empty()) return -1;
    const char* attribute = entry[name.size()] == ':' ? entry + name.size() + 1 : nullptr;
    GPH_line_attr(nullptr);
    GPH_fill_attr(nullptr);
    PLT_mess("Map: %s", name.c_str());
    Attrib attrib;
    ATTRIB_init(&attrib);
    if (attribute)
        ATTRIB_parse(attribute, &attrib);
    else
        ATTRIB_get("color_map", "red", &attrib);
    GPH_line_attr(&attrib);
    if (attrib.fill != -9999) {
        GPH_fill_attr(&attrib);
        st.fill = 1;
    }
    std::string tried;
    FILE* file = open_table("file_path", name.c_str(), &tried);
    if (!file) {
        MESS_print(MESS_WARN, "MAP_process: Map file not found: %s\n", tried.c_str());
        return -1;
    }
    if (attrib.color != -1) MAP_map(file);
    std::fclose(file);
    return 0;
}

// The words of a list file, each an entry.
void list_file(const char* name) {
    std::string tried;
    FILE* file = open_table("file_path", name, &tried);
    if (!file) {
        MESS_print(MESS_WARN, "MAP_draw: Unable to open map list file: %s\n", tried.c_str());
        return;
    }
    std::string word;
    for (int c = std::fgetc(file);; c = std::fgetc(file)) {
        if (c == EOF || c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v') {
            if (!word.empty()) MAP_process(word.c_str());
            word.clear();
            if (c == EOF) break;
        } else if (word.size() < ENTRY_MAX) {
            word.push_back(static_cast<char>(c));
        }
    }
    std::fclose(file);
}

// The items of a list, split at commas outside the brackets of region blocks.
std::vector<std::string> split_list(const std::string& list) {
    std::vector<std::string> items(1);
    int depth = 0;
    for (char c : list) {
        if (c == ',' && depth == 0) {
            items.emplace_back();
            continue;
        }
        if (c == '[') ++depth;
        if (c == ']' && depth > 0) --depth;
        items.back().push_back(c);
    }
    return items;
}

void choose_list() {
    const char* value = RES_get("map_file");
    if (value && value[0]) {
        st.map_name = value;
        return;
    }
    if (!st.map_name.empty()) return;
    const float clat = MAP_get_clat(), clon = MAP_get_clon();
    if (clat > 25.0f && clat < 80.0f && clon > -160.0f && clon < -65.0f && MAP_get_vert() < 75.0f)
        st.map_name = "zmt.map";
    else
        st.map_name = "cont.map,country.map";
}

}  // namespace

int MAP_setup(const Domain* domain) {
    MAP_domain(domain);
    float limits[4];
    MAP_get_limits(limits);
    gset_win(2, limits);
    gsel_norm_tran(2);
    return 0;
}

float MAP_get_vert() {
    float rect[4] = {0, 0, 0, 0};
    GPH_get_win(2, rect);
    return rect[3] - rect[2];
}

int MAP_latlon(float lat_step, float lon_step, int dot, int extra) {
    st.latln = lat_step;
    st.lonln = lon_step;
    st.dot = dot;
    st.extra = extra;
    return 0;
}

int MAP_get_latlon(float* lat_step, float* lon_step) {
    if (lat_step) *lat_step = st.latln;
    if (lon_step) *lon_step = st.lonln;
    return 0;
}

const char* MAP_get_name() {
    return st.map_name.c_str();
}

void MAP_reset() {
    st = State();
}

int MAP_draw(int mask) {
    if (FLAG_getplot(8) == 0) return 0;
    st.over = mask;
    GPH_trans(2);
    GPH_line_attr(nullptr);
    GPH_text_font(nullptr);
    choose_list();
    st.reg_found = REG_NONE;
    for (const std::string& item : split_list(st.map_name)) {
        if (strncasecmp(item.c_str(), "fi:", 3) == 0)
            list_file(item.c_str() + 3);
        else
            MAP_process(item.c_str());
    }
    if (st.latln > 0.0f && graticule_attrib(nullptr, MAP_get_proj())) MAP_lines(st.latln, st.lonln);
    return 0;
}

int MAP_process(const char* entry) {
    if (!entry || !entry[0]) return -1;
    int bit = MASK_PLAIN;
    if (entry[0] == '-')
        bit = MASK_UNDER, ++entry;
    else if (entry[0] == '+')
        bit = MASK_OVER, ++entry;
    if (!(st.over & bit) || !entry[0]) return -1;
    if (entry[0] == '[') return region_block(entry + 1);
    if (st.reg_found <= 0) return -1;
    bool pass = true;
    scale_filter(&entry, "s+", &pass);
    scale_filter(&entry, ">", &pass);
    scale_filter(&entry, "s-", &pass);
    scale_filter(&entry, "<", &pass);
    scale_filter(&entry, "s+", &pass);
    scale_filter(&entry, ">", &pass);
    if (!pass || !entry[0]) return -1;
    if (std::strncmp(entry, "im:", 3) == 0) return image_entry(entry + 3, false);
    if (std::strncmp(entry, "if:", 3) == 0) return image_entry(entry + 3, true);
    if (std::strncmp(entry, "mf:", 3) == 0)
        return PLT_mess("Map-metafile: %s", entry + 3), gread_metafile(entry + 3);
    if (std::strncmp(entry, "rf:", 3) == 0) return rawfile_entry(entry + 3);
    if (std::strncmp(entry, "lalo:", 5) == 0 || std::strcmp(entry, "lalo") == 0)
        return lalo_entry(entry);
    return map_file_entry(entry);
}

int MAP_map(FILE* stream) {
    const int proj = MAP_get_proj();
    if (!is_map_proj(proj) || !stream) return 1;
    const long start = std::ftell(stream);
    unsigned first_count = 0;
    const bool text = read_text_header(stream, &first_count) == 6;
    if (!text) {
        std::clearerr(stream);
        if (std::fseek(stream, start < 0 ? 0 : start, SEEK_SET) != 0) return -1;
        swap_setup(1);
    }
    int count = static_cast<int>(first_count);
    for (bool first = true;; first = false) {
        const int got =
            text ? read_text_record(stream, &count, first) : read_binary_record(stream, &count);
        if (got <= 0) return got;
        draw_record(proj, count);
    }
}

int MAP_lines(float lat_step, float lon_step) {
    if (lat_step == MISSING || lon_step == MISSING) return -1;
    GPH_trans(2);
    PLT_mess("Map-lalo: %.1f,%.1f", static_cast<double>(lat_step), static_cast<double>(lon_step));
    float lim[4];
    MAP_get_limits(lim);
    const int proj = MAP_get_proj();
    if (!is_map_proj(proj)) {
        GPH_line_attr(nullptr);
        GPH_text_attr(nullptr, 1.0f);
        draw_rules(lat_step, lon_step, lim);
    } else if (lat_step >= MIN_STEP && lon_step >= MIN_STEP) {
        for (float lat = 0.0f; lat < 90.0f; lat += lat_step)
            draw_parallel(proj, lat, lon_step, lim);
        for (float lat = -lat_step; lat > -90.0f; lat -= lat_step)
            draw_parallel(proj, lat, lon_step, lim);
        for (float lon = 0.0f; lon <= 180.0f; lon += lon_step)
            draw_meridian(proj, lon, lat_step, lim);
        for (float lon = -lon_step; lon > -180.0f; lon -= lon_step)
            draw_meridian(proj, lon, lat_step, lim);
        if (st.dot > 0) draw_crosses();
    }
    GPH_line_attr(nullptr);
    GPH_text_attr(nullptr, 1.0f);
    return 0;
}
