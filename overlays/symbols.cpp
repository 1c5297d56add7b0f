// Wind barbs, vectors and tracks, the cloud-cover circle, and vector symbols.
#include "overlays/symbols.h"

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "maps/projections.h"

namespace {

constexpr double DEG2RAD = 0.017453292519943334;
constexpr float MAX_SPEED = 300.0f;
constexpr int SOLID = 1;
constexpr const char* DEFAULT_FILE = "wx.smb";
constexpr int TOKEN_MAX = 63;

// One point run of a symbol: drawn as a line or filled.
struct Run {
    bool fill;
    std::vector<float> points;  // x, y pairs
};

struct Entry {
    char name[WX_NAME_SIZE];
    long position;  // file position behind the name
    std::vector<Run> runs;
};

struct SymbolState {
    FILE* ifile = nullptr;       // the symbol file in use
    std::string filename;        // its name as asked for
    bool init = false;           // the index has been read
    std::vector<Entry> entries;  // at most WX_MAX_ENTRIES
};
SymbolState sym;

bool missing(float v) {
    return v == ZMT_FMISSING;
}

void line2(float x1, float y1, float x2, float y2) {
    float p[4] = {x1, y1, x2, y2};
    gpolyline(2, p);
}

// ---- The symbol file --------------------------------------------------------------

bool read_token(FILE* file, std::string* token) {
    token->clear();
    int c;
    while ((c = std::fgetc(file)) != EOF && (c == ' ' || c == '\n' || c == '\r' || c == '\t')) {
    }
    while (c != EOF && c != ' ' && c != '\n' && c != '\r' && c != '\t') {
        if (token->size() < TOKEN_MAX) *token += static_cast<char>(c);
        c = std::fgetc(file);
    }
    return !token->empty();
}

bool read_pair(const std::string& token, float* x, float* y) {
    int used = 0;
    return std::sscanf(token.c_str(), "%f,%f%n", x, y, &used) == 2 &&
           used == static_cast<int>(token.size()) && std::isfinite(*x) && std::isfinite(*y);
}

// The runs of an entry, up to its "$". A run that grows past the limit is drawn
// as a line so far and goes on from its last point.
void read_runs(FILE* file, Entry* entry) {
    std::string token;
    Run run{false, {}};
    while (read_token(file, &token)) {
        float x, y;
        if (read_pair(token, &x, &y)) {
            if (static_cast<int>(run.points.size()) >= 2 * WX_RUN_MAX) {
                entry->runs.push_back(run);
                run.points.assign(run.points.end() - 2, run.points.end());
            }
            run.points.push_back(x);
            run.points.push_back(y);
            continue;
        }
        if (!run.points.empty()) {
            run.fill = token[0] == 'F';
            entry->runs.push_back(run);
            run = Run{false, {}};
        }
        if (token == "$") return;
    }
}

// Names, positions and runs of every entry, up to the limit.
void read_index() {
    sym.entries.clear();
    sym.init = true;
    if (!sym.ifile) return;
    std::rewind(sym.ifile);
    std::string token;
    while (static_cast<int>(sym.entries.size()) < WX_MAX_ENTRIES && read_token(sym.ifile, &token)) {
        Entry entry{};
        std::snprintf(entry.name, sizeof entry.name, "%.14s", token.c_str());
        entry.position = std::ftell(sym.ifile);
        read_runs(sym.ifile, &entry);
        sym.entries.push_back(std::move(entry));
    }
}

FILE* open_on_path(const char* name, std::string* tried) {
    FILE_find_table(RES_get("file_path"), name, tried);
    return FILE_is_stdio(tried->c_str()) ? nullptr : FILE_open(tried->c_str(), "r");
}

// ---- Cloud cover --------------------------------------------------------------------

// A pie from the centre through the arc from a to b (radians), filled.
void pie(float x, float y, float r, double a, double b) {
    std::vector<float> p = {x, y};
    int steps = static_cast<int>(std::ceil((b - a) / (30.0 * DEG2RAD)));
    if (steps < 1) steps = 1;
    for (int k = 0; k <= steps; k++) {
        double t = a + (b - a) * k / steps;
        p.push_back(static_cast<float>(x + r * std::cos(t)));
        p.push_back(static_cast<float>(y + r * std::sin(t)));
    }
    p.push_back(x);
    p.push_back(y);
    gset_fill_int_style(SOLID);
    gfill_area(static_cast<int>(p.size() / 2), p.data());
}

void cloud_outline(float x, float y, float r) {
    float p[26];
    for (int k = 0; k < 13; k++) {
        double t = k * 30.0 * DEG2RAD;
        p[2 * k] = static_cast<float>(x + r * std::cos(t));
        p[2 * k + 1] = static_cast<float>(y + r * std::sin(t));
    }
    gpolyline(13, p);
}

void vertical(float x, float y, float r) {
    line2(x, y - r, x, y + r);
}
void horizontal(float x, float y, float r) {
    line2(x - r, y, x + r, y);
}

}  // namespace

// ---- Wind -----------------------------------------------------------------------------

int WIND_barb(float x, float y, float dir, float speed, float length, float inner) {
    if (missing(dir) || missing(speed) || speed == 0.0f) return -1;
    if (speed > MAX_SPEED) speed = MAX_SPEED;
    const float s = static_cast<float>(std::sin(dir * DEG2RAD));
    const float c = static_cast<float>(std::cos(dir * DEG2RAD));
    // A point at fraction f of the staff, moved w lengths to the side.
    auto at = [&](float f, float w, float* px, float* py) {
        *px = x + f * length * s + w * length * c;
        *py = y + f * length * c - w * length * s;
    };
    line2(x + inner * s, y + inner * c, x + length * s, y + length * c);

    const float v = speed + 0.01f + 2.0f;
    const int flags = static_cast<int>(std::floor(v / 50.0f));
    const float rest = v - 50.0f * flags;
    const int barbs = static_cast<int>(std::floor(rest / 10.0f));
    const bool half = static_cast<int>(std::floor(rest / 5.0f)) % 2 != 0;
    float p[8];
    if (half && flags == 0 && barbs == 0) {
        at(0.88f, 0.0f, &p[0], &p[1]);
        at(0.94f, 0.25f, &p[2], &p[3]);
        gpolyline(2, p);
        return 0;
    }
    gset_fill_int_style(SOLID);
    for (int i = 0; i < flags; i++) {
        at(1.0f - 0.12f * i, 0.0f, &p[0], &p[1]);
        at(1.0f - 0.12f * i, 0.5f, &p[2], &p[3]);
        at(0.88f - 0.12f * i, 0.0f, &p[4], &p[5]);
        p[6] = p[0];
        p[7] = p[1];
        gfill_area(4, p);
        gpolyline(4, p);
    }
    for (int i = 0; i < barbs; i++) {
        const int k = i + flags;
        at(0.88f - 0.12f * k, 0.0f, &p[0], &p[1]);
        at(1.0f - 0.12f * k, 0.5f, &p[2], &p[3]);
        gpolyline(2, p);
    }
    if (half) {
        const int k = flags + barbs;
        at(0.88f - 0.12f * k, 0.0f, &p[0], &p[1]);
        at(0.94f - 0.12f * k, 0.25f, &p[2], &p[3]);
        gpolyline(2, p);
    }
    return 0;
}

int WIND_barb_map(float x, float y, float dir, float speed, float length, float inner) {
    if (!missing(dir)) dir = MAP_dir_adj(dir, x, y);
    return WIND_barb(x, y, dir, speed, length, inner);
}

int WIND_vect(float x, float y, float dir, float speed, float size, float head) {
    if (missing(dir) || missing(speed) || speed == 0.0f) return -1;
    const float dx = static_cast<float>(-std::sin(dir * DEG2RAD)) * speed;
    const float dy = static_cast<float>(-std::cos(dir * DEG2RAD)) * speed;
    const float tx = x + size * dx, ty = y + size * dy;
    line2(x, y, tx, ty);
    if (head > 0.0f) {
        const float h = 0.2f * head * size;
        line2(tx, ty, tx - h * dx + h * dy, ty - h * dy - h * dx);
        line2(tx, ty, tx - h * dx - h * dy, ty - h * dy + h * dx);
    }
    return 0;
}

int WIND_vect_map(float x, float y, float dir, float speed, float size, float head) {
    if (!missing(dir)) dir = MAP_dir_adj(dir, x, y);
    return WIND_vect(x, y, dir, speed, size, head);
}

int WIND_track(float x, float y, float dir, float length, float head, int ticks) {
    if (missing(dir) || missing(length) || length == 0.0f) return -1;
    const float sx = static_cast<float>(-std::sin(dir * DEG2RAD));
    const float sy = static_cast<float>(-std::cos(dir * DEG2RAD));
    const float ex = x + length * sx, ey = y + length * sy;
    line2(x, y, ex, ey);
    const float a = 0.2f * head;
    for (int i = 0; i < ticks; i++) {
        const float px = x + sx * (i * length / ticks), py = y + sy * (i * length / ticks);
        line2(px - a * sy, py + a * sx, px + a * sy, py - a * sx);
    }
    if (head > 0.0f) {
        line2(ex, ey, ex - a * sx + a * sy, ey - a * sy - a * sx);
        line2(ex, ey, ex - a * sx - a * sy, ey - a * sy + a * sx);
    }
    return 0;
}

// ---- Cloud cover ----------------------------------------------------------------------

int WX_cloud(float x, float y, float radius, const char* code) {
    const char k = code ? code[0] : '\0';
    const double quarter = 90.0 * DEG2RAD;
    switch (k) {
        case '0':
        case 'C':
        case 'b':
        case 'o':
        case 's':
        case 'x':
            break;
        case '1':
        case 'F':
            vertical(x, y, radius);
            break;
        case '2':
        case '3':
        case 'S':
            pie(x, y, radius, 0.0, quarter);
            if (k == '3') vertical(x, y, radius);
            break;
        case '4':
        case '5':
            pie(x, y, radius, -quarter, quarter);
            if (k == '5') horizontal(x, y, radius);
            break;
        case '6':
        case 'B':
            pie(x, y, radius, -2.0 * quarter, quarter);
            break;
        case '7':
            pie(x, y, radius, -1.3089969, 1.3089969);
            pie(x, y, radius, 1.8325957, 4.4505895);
            break;
        case '8':
        case 'O':
            pie(x, y, radius, 0.0, 4.0 * quarter);
            break;
        case '9':
        case 'X': {
            const float d = static_cast<float>(radius * std::cos(45.0 * DEG2RAD));
            line2(x + d, y + d, x - d, y - d);
            line2(x - d, y + d, x + d, y - d);
            break;
        }
        default: {
            const float h = 0.7f * radius;
            float p[10] = {x - h, y - h, x + h, y - h, x + h, y + h, x - h, y + h, x - h, y - h};
            gpolyline(5, p);
            break;
        }
    }
    cloud_outline(x, y, radius);
    return 0;
}

// ---- Symbols --------------------------------------------------------------------------

int WX_symb_file(const char* name) {
    if (!name) name = DEFAULT_FILE;
    if (sym.ifile && sym.filename == name) return -1;
    if (sym.ifile) std::fclose(sym.ifile);
    sym.ifile = nullptr;
    sym.init = false;
    sym.entries.clear();
    sym.filename = name;
    std::string tried;
    sym.ifile = open_on_path(name, &tried);
    if (!sym.ifile) {
        MESS_print(MESS_WARN_A, "WX_symb_file: Unable to open file: %s\n", tried.c_str());
        return -1;
    }
    return 0;
}

int WX_symb(float x, float y, const char* name, float size) {
    if (!sym.ifile && sym.filename.empty()) WX_symb_file(nullptr);
    if (!name || !name[0] || name[0] == ' ') return 0;
    if (!sym.init) read_index();
    const Entry* found = nullptr;
    for (const Entry& e : sym.entries) {
        if (strnicmp(e.name, name, static_cast<int>(std::strlen(e.name))) == 0) {
            found = &e;
            break;
        }
    }
    if (!found) return 0;
    int status = 0, align[2] = {0, 0};
    ginq_text_align(&status, align);
    if (align[0] == 3) x -= size;
    if (align[0] == 2) x -= 0.5f * size;
    if (align[1] == 1 || align[1] == 2) y -= size;
    if (align[1] == 3) y -= 0.5f * size;
    float p[2 * WX_RUN_MAX];
    for (const Run& run : found->runs) {
        const int n = static_cast<int>(run.points.size() / 2);
        for (int i = 0; i < n; i++) {
            p[2 * i] = size * run.points[2 * i] + x;
            p[2 * i + 1] = size * run.points[2 * i + 1] + y;
        }
        if (run.fill)
            gfill_area(n, p);
        else
            gpolyline(n, p);
    }
    return 1;
}

int WX_symb_count() {
    return static_cast<int>(sym.entries.size());
}

void WX_reset() {
    if (sym.ifile) std::fclose(sym.ifile);
    sym = SymbolState{};
}
