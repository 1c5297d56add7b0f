// Text: stroke fonts read from text files, drawn as line segments on every
// device, and X server fonts on the window.
#include "graphics/text.h"

#include <X11/Xlib.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

constexpr int FONT_TYPE_STROKE = 1;
constexpr int FONT_TYPE_SERVER = 2;
constexpr int GLYPH_END = 255;              // ends a glyph and the stroke data
constexpr int DATA_END = 254;               // ends the stroke data in a file
constexpr int MOVE_BASE = 128;              // x at or above this moves the pen up
constexpr int UNITS_HIGH = 105;             // glyph units to the character height
constexpr int BLANK_WIDTH = 40;             // width of a blank, in glyph units
constexpr int MAX_PENDING = 30;             // points of a stroke sent to the device at once
constexpr size_t MAX_FONT_FILE = 4u << 20;  // bigger files hold no 15000-byte font
constexpr int LIST_FILE_MAX = 10;           // entries of a list named by "fi:"
constexpr int MAX_DROP = 100;               // deepest drop shadow, pixels

struct FontEntry {
    std::string name;  // up to 9 characters
    std::string file;  // file name, or "#" and an X font name
};

struct TextState {
    int color = 1;                     // colour index
    float width = 1.0f;                // line width of the strokes
    float height = 0.01f;              // character height, world units
    float expan = 1.0f;                // expansion of x
    float space = 0.25f;               // gap between characters, fraction of the height
    float char_space = 0.0f;           // fixed pitch when above 0
    int halign = 0;                    // horizontal alignment 0 to 3
    int valign = 0;                    // vertical alignment 0 to 5
    float upx = 0.0f;                  // unit up vector
    float upy = 1.0f;                  //
    int font_ind = 1;                  // 1-based number of the font in use
    int drop_shadow = 0;               // depth of the drop shadow, pixels
    int font_type = FONT_TYPE_STROKE;  // stroke or X server font
    XFontStruct* font_info = nullptr;  // the X server font of type 2
    GC gc = nullptr;                   // the text GC of the window
    StrokeFont font;                   // the stroke font in use
    std::vector<FontEntry> fonts;      // the font list
    std::string font_list;             // list given by gset_font_list
};

TextState st;

bool is_window() {
    const int type = gget_win_type();
    return type == 1 || type == 6;
}

Display* display() {
    return gget_display();
}

// Reads whitespace-separated words of a font file.
struct WordReader {
    const char* p;
    const char* end;

    bool word(std::string* out) {
        while (p < end && std::isspace(static_cast<unsigned char>(*p))) ++p;
        if (p >= end) return false;
        const char* start = p;
        while (p < end && !std::isspace(static_cast<unsigned char>(*p))) ++p;
        if (out) out->assign(start, p);
        return true;
    }

    bool integer(long* value) {
        std::string w;
        if (!word(&w)) return false;
        errno = 0;
        char* stop = nullptr;
        *value = std::strtol(w.c_str(), &stop, 10);
        return errno == 0 && stop != w.c_str() && *stop == '\0';
    }
};

// Walks a glyph; false if it does not end with a 255 in place of an x inside
// the data. Gives the greatest x of its points.
bool walk_glyph(const StrokeFont& f, int offset, int* widest) {
    int greatest = 0;
    for (int i = offset; i < f.length; i += 2) {
        const int x = f.db[static_cast<size_t>(i)];
        if (x == GLYPH_END) {
            *widest = greatest;
            return true;
        }
        if (i + 1 >= f.length - 1) return false;  // its y would be the end marker
        const int xp = x >= MOVE_BASE ? x - MOVE_BASE : x;
        if (xp > greatest) greatest = xp;
    }
    return false;
}

int refuse(StrokeFont* f) {
    f->index.fill(-1);
    f->size.fill(0);
    f->length = 0;
    return -1;
}

bool store(StrokeFont* f, long value) {
    if (f->length >= FONT_DB_SIZE) return false;
    f->db[static_cast<size_t>(f->length++)] = static_cast<uint8_t>(value);
    return true;
}

// Opens a font or font list on the file path, then among the program's own
// tables. Never a pipe: these names come out of files.
FILE* open_table(const char* name, std::string* path) {
    FILE_find_table(RES_get("file_path"), name, path);
    return FILE_is_stdio(path->c_str()) ? nullptr : FILE_open(path->c_str(), "r");
}

std::string trimmed(std::string s) {
    while (!s.empty() && std::isspace(static_cast<unsigned char>(s.back()))) s.pop_back();
    size_t start = 0;
    while (start < s.size() && std::isspace(static_cast<unsigned char>(s[start]))) ++start;
    return s.substr(start);
}

// A list file: a name and a file a line. With whole_rest the file is the rest
// of the line, otherwise its next word. Lines beginning with "#" are comments.
void read_list_file(FILE* file, size_t max, bool whole_rest) {
    char line[512];
    while (st.fonts.size() < max && std::fgets(line, sizeof line, file)) {
        std::string text = line;
        if (text.find('\n') == std::string::npos) {
            int c;
            while ((c = std::fgetc(file)) != EOF && c != '\n') {
            }
        }
        text = trimmed(text);
        if (text.empty() || text[0] == '#') continue;
        size_t gap = 0;
        while (gap < text.size() && !std::isspace(static_cast<unsigned char>(text[gap]))) ++gap;
        if (gap >= text.size()) continue;
        FontEntry entry;
        entry.name = text.substr(0, gap).substr(0, 9);
        std::string rest = trimmed(text.substr(gap));
        if (!whole_rest) rest = rest.substr(0, rest.find_first_of(" \t"));
        entry.file = rest.substr(0, 105);
        st.fonts.push_back(entry);
    }
}

int load_server_font(const char* name) {
    Display* d = display();
    XFontStruct* info = d && st.gc ? XLoadQueryFont(d, name + 1) : nullptr;
    if (!info) {
        MESS_print(MESS_WARN, "read_font: unable to load font: %s\n", name);
        return -1;
    }
    if (st.font_info) XFreeFont(d, st.font_info);
    st.font_info = info;
    XSetFont(d, st.gc, info->fid);
    st.font_type = FONT_TYPE_SERVER;
    return 0;
}

int load_stroke_font(const char* name) {
    std::string path;
    FILE* file = open_table(name, &path);
    std::string text;
    bool ok = file != nullptr;
    if (file) {
        char buffer[65536];
        size_t got;
        while ((got = std::fread(buffer, 1, sizeof buffer, file)) > 0 && ok) {
            text.append(buffer, got);
            ok = text.size() <= MAX_FONT_FILE;
        }
        std::fclose(file);
    }
    st.font_type = FONT_TYPE_STROKE;
    if (!ok || gparse_font(text.data(), text.size(), &st.font) != 0) {
        MESS_print(MESS_WARN, "read_font: unable to load font file: %s\n", path.c_str());
        return -1;
    }
    return 0;
}

// The pattern of the plain attribute setters: unchanged values do nothing; a
// text metafile gets the record, other devices an object for the redraw list.
int set_float(float* variable, float value, int object, const char* record) {
    if (value == *variable) return 0;
    *variable = value;
    if (gmeta_is_text()) {
        gmeta_printf("%s %f\n", record, value);
        return 0;
    }
    gnew_obj(object, 0, static_cast<int>(sizeof(float)), &value);
    return 0;
}

// Text metafiles and the other vector devices keep a newline out of a comment line.
std::string one_line(const char* string) {
    std::string s = string;
    for (char& c : s)
        if (c == '\n' || c == '\r') c = ' ';
    return s;
}

// Points of the stroke being drawn, on the window as pixels.
struct Pen {
    std::vector<XPoint> points;
    int pending = 0;

    void flush_window() {
        if (points.size() > 1 && display() && st.gc)
            XDrawLines(display(), gget_draw_window(), st.gc, points.data(),
                       static_cast<int>(points.size()), CoordModeOrigin);
    }
};

// Truncation towards zero into the range of T; NaN becomes 0. Attributes
// from the user may be huge, and a cast past the range is undefined.
template <typename T>
T clamp_to(double v) {
    if (!(v == v)) return 0;
    if (v <= static_cast<double>(std::numeric_limits<T>::min()))
        return std::numeric_limits<T>::min();
    if (v >= static_cast<double>(std::numeric_limits<T>::max()))
        return std::numeric_limits<T>::max();
    return static_cast<T>(v);
}

XPoint pixel(float x, float y) {
    XPoint p;
    p.x = clamp_to<short>(xW_p(x) + 0.5);
    p.y = clamp_to<short>(yW_p(y) + 0.5);
    return p;
}

// The pen moved on by a truncated step, kept within the int range.
int step(int px, float by) {
    return clamp_to<int>(static_cast<double>(px) + clamp_to<int>(by));
}

// Width of a string in glyph units, truncated at each step.
int string_width(const unsigned char* s, size_t n) {
    long long w = 0;
    for (size_t i = 0; i + 1 < n; ++i) {
        if (st.char_space > 0.0f)
            w += clamp_to<int>((st.space * 100.0f + 100.0f) * st.char_space);
        else
            w += clamp_to<int>(st.space * 100.0f + st.font.size[s[i]]);
    }
    if (n > 0) {
        if (st.char_space > 0.0f)
            w += clamp_to<int>(st.char_space * 100.0f);
        else
            w += st.font.size[s[n - 1]];
    }
    return clamp_to<int>(static_cast<double>(w));
}

int start_y() {
    switch (st.valign) {
        case 1:
            return -160;
        case 2:
            return -140;
        case 3:
            return -85;
        case 0:
        case 4:
            return -35;
        default:
            return 0;
    }
}

// The string's devices: what the pen draws on.
struct Devices {
    bool window, ps, hpgl;
};

// Opens the string on the current device with the text's colour, width and a
// solid line; false when the device draws no stroke text.
bool start_text(float x, float y, const char* string, Devices* dev) {
    const int type = gget_win_type();
    *dev = {type == GWS_WIN || type == GWS_PIX, type == GWS_PS, type == GWS_HPGL};
    if (dev->ps) {
        gps_printf("%%%%TE:%f %f %s\n", x, y, one_line(string).c_str());
        gps_set_width(st.color, st.width);
        gps_set_color(st.color);
        gps_set_type(1);
    } else if (dev->hpgl) {
        ghpgl_set_width(st.color, st.width);
        ghpgl_set_color(st.color);
        ghpgl_set_type(1);
    } else if (type == GWS_META) {
        // A CGM has no text element: only the attributes go out.
        gcgm_set_width(st.color, st.width);
        gcgm_set_color(st.color);
        gcgm_set_type(1);
        return false;
    }
    return dev->window || dev->ps || dev->hpgl;
}

// The strokes of the glyph at `offset` in the font, its pen at (px, py) in glyph
// units from the string's origin (x, y).
void stroke_glyph(const Devices& dev, Pen& pen, int offset, int px, int py, float x, float y) {
    const float scale = st.height / static_cast<float>(UNITS_HIGH);
    if (dev.ps) gps_printf("np\n");
    pen.points.clear();
    pen.pending = 0;
    for (int i = offset; i + 1 < st.font.length; i += 2) {
        const int gx = st.font.db[static_cast<size_t>(i)];
        if (gx == GLYPH_END) break;
        const int gy = st.font.db[static_cast<size_t>(i + 1)];
        const bool move = gx >= MOVE_BASE;
        const int xp = move ? gx - MOVE_BASE : gx;
        const float u = (static_cast<float>(px) + static_cast<float>(xp) * st.expan) * scale;
        const float v = static_cast<float>(py + gy) * scale;
        const float X = v * st.upx + u * st.upy + x;
        const float Y = v * st.upy + (y - st.upx * u);
        if (move) {
            if (pen.pending > 1) {
                if (dev.window) pen.flush_window();
                if (dev.ps) gps_printf("stroke\nnp\n");
            }
            pen.points.clear();
            if (dev.ps) gps_move(X, Y);
            if (dev.hpgl) ghpgl_move(X, Y);
            if (dev.window) pen.points.push_back(pixel(X, Y));
            pen.pending = 1;
            continue;
        }
        if (dev.ps) gps_line(X, Y);
        if (dev.hpgl) ghpgl_line(X, Y);
        if (dev.window) pen.points.push_back(pixel(X, Y));
        if (++pen.pending >= MAX_PENDING) {
            if (dev.window) {
                pen.flush_window();
                const XPoint last = pen.points.back();
                pen.points.assign(1, last);
            }
            // A stroke clears the current point, so the path starts again there.
            if (dev.ps) {
                gps_printf("stroke\nnp\n");
                gps_move(X, Y);
            }
            if (dev.hpgl) ghpgl_printf("\n");
            pen.pending = 1;
        }
    }
    if (pen.pending > 1) {
        if (dev.window) pen.flush_window();
        if (dev.ps) gps_printf("stroke\n");
        if (dev.hpgl) ghpgl_printf("\n");
    }
}

// One stroke-font string at (x, y).
int text(float x, float y, const char* string) {
    const auto* s = reinterpret_cast<const unsigned char*>(string);
    const size_t n = std::strlen(string);
    const int w = string_width(s, n);
    int px = 0;
    if (st.halign == 2) px = clamp_to<int>(-(static_cast<float>(w) * st.expan) / 2.0f);
    if (st.halign == 3) px = clamp_to<int>(-(static_cast<float>(w) * st.expan));
    const int py = start_y();
    Devices dev{};
    if (!start_text(x, y, string, &dev)) return 0;

    const float pitch = (st.space * 100.0f + 100.0f) * st.char_space;
    Pen pen;
    for (size_t k = 0; k < n; ++k) {
        const int c = s[k];
        const int offset = st.font.index[static_cast<size_t>(c)];
        if (offset < 0) {
            if (c == ' ') {
                if (st.char_space > 0.0f)
                    px = step(px, pitch * st.expan);
                else
                    px = step(px, (st.space * 100.0f + BLANK_WIDTH) * st.expan);
            }
            continue;
        }
        stroke_glyph(dev, pen, offset, px, py, x, y);
        if (st.char_space > 0.0f)
            px = step(px, pitch * st.expan);
        else
            px = step(px, (st.space * 100.0f + st.font.size[static_cast<size_t>(c)]) * st.expan);
    }
    return 0;
}

int server_text(const float position[2], const char* string) {
    Display* d = display();
    if (!d || !st.gc || !st.font_info || !is_window()) return 0;
    const XPoint at = pixel(position[0], position[1]);
    const int len = static_cast<int>(std::strlen(string));
    const int width = XTextWidth(st.font_info, string, len);
    int dx = 0;
    if (st.halign == 2) dx = -width / 2;
    if (st.halign == 3) dx = -width;
    int dy = 0;
    const int ascent = st.font_info->ascent;
    if (st.valign == 1 || st.valign == 2) dy = ascent;
    if (st.valign == 3) dy = ascent / 2;
    if (st.valign == 5) dy = -st.font_info->descent;
    const Drawable to = gget_draw_window();
    if (st.drop_shadow > 0) {
        XSetForeground(d, st.gc, BlackPixel(d, DefaultScreen(d)));
        for (int i = 0; i < st.drop_shadow; ++i)
            XDrawString(d, to, st.gc, at.x + dx + i, at.y + dy + i, string, len);
        XSetForeground(d, st.gc, static_cast<unsigned long>(gget_color_ind(st.color)));
    }
    XDrawString(d, to, st.gc, at.x + dx, at.y + dy, string, len);
    return 0;
}

}  // namespace

int gparse_font(const char* text, size_t length, StrokeFont* f) {
    f->index.fill(-1);
    f->size.fill(0);
    f->length = 0;
    WordReader in{text, text + length};
    long value = 0;
    if (!in.integer(&value)) return refuse(f);
    const bool labelled = value != GLYPH_END;
    if (labelled) {
        if (!in.word(nullptr)) return refuse(f);
    } else {
        store(f, GLYPH_END);
    }
    for (;;) {
        if (!in.integer(&value) || value < 0 || value > GLYPH_END) return refuse(f);
        if (value == DATA_END) {
            if (!store(f, GLYPH_END)) return refuse(f);
            break;
        }
        if (!store(f, value)) return refuse(f);
        // In a labelled file the word after a 255 names the glyph that follows.
        if (labelled && value == GLYPH_END && !in.word(nullptr)) return refuse(f);
    }
    for (int c = 0; c < 256; ++c) {
        if (!in.integer(&value) || value < -1 || value >= f->length) return refuse(f);
        f->index[static_cast<size_t>(c)] = static_cast<int>(value);
    }
    for (int c = 0; c < 256; ++c) {
        const int offset = f->index[static_cast<size_t>(c)];
        if (offset < 0) continue;
        int widest = 0;
        if (!walk_glyph(*f, offset, &widest)) return refuse(f);
        f->size[static_cast<size_t>(c)] = static_cast<uint8_t>(widest);
    }
    f->size[' '] = BLANK_WIDTH;
    return 0;
}

const StrokeFont& gget_stroke_font() {
    return st.font;
}

int greset_text() {
    const int drop = st.drop_shadow;
    st.color = 1;
    st.width = 1.0f;
    st.height = 0.01f;
    st.expan = 1.0f;
    st.space = 0.25f;
    st.char_space = 0.0f;
    st.halign = st.valign = 0;
    st.upx = 0.0f;
    st.upy = 1.0f;
    st.font_ind = 1;
    st.drop_shadow = drop;
    return 0;
}

int ginit_text(int mode) {
    Display* d = display();
    if (mode > 1 || !d || !is_window()) return 0;
    if (mode == 0) {
        if (st.gc) XFreeGC(d, st.gc);
        st.gc = XCreateGC(d, gget_root_window(), 0, nullptr);
        st.font_info = nullptr;
    }
    if (!st.gc) return -1;
    short vp[4];
    gget_xviewport(vp);
    XRectangle clip{vp[0], vp[1], static_cast<unsigned short>(vp[2]),
                    static_cast<unsigned short>(vp[3])};
    XSetClipRectangles(d, st.gc, 0, 0, &clip, 1, Unsorted);
    const int screen = DefaultScreen(d);
    XSetForeground(d, st.gc, WhitePixel(d, screen));
    XSetBackground(d, st.gc, BlackPixel(d, screen));
    XSetLineAttributes(d, st.gc, 1, LineSolid, CapProjecting, JoinBevel);
    return 0;
}

int gclose_text() {
    Display* d = display();
    if (d && st.font_info) XFreeFont(d, st.font_info);
    if (d && st.gc) XFreeGC(d, st.gc);
    st.font_info = nullptr;
    st.gc = nullptr;
    st.font_type = FONT_TYPE_STROKE;
    return 0;
}

int gset_font_list(const char* list) {
    st.font_list = list ? list : "";
    return 0;
}

int gsetup_fonts() {
    st.fonts.clear();
    std::string source = st.font_list;
    if (source.empty() && RES_get("font_list")) source = RES_get("font_list");
    if (source.empty() && display()) {
        const char* value = XGetDefault(display(), gget_prog_name(), "font_list");
        if (value) source = value;
    }
    std::string path;
    if (source.empty()) {
        if (FILE* file = open_table("zmt.fnl", &path)) {
            read_list_file(file, FONT_LIST_MAX, true);
            std::fclose(file);
        }
    } else if (strnicmp(source.c_str(), "fi:", 3) == 0) {
        if (FILE* file = open_table(source.c_str() + 3, &path)) {
            read_list_file(file, LIST_FILE_MAX, false);
            std::fclose(file);
        } else {
            MESS_print(MESS_WARN, "gsetup_fonts: unable to load font list file: %s\n",
                       path.c_str());
        }
    } else {
        int count = 0;
        char** items = nullptr;
        parse_string(source.c_str(), ',', &count, &items);
        for (int i = 0; i < count && st.fonts.size() < FONT_LIST_MAX; ++i)
            st.fonts.push_back({"", std::string(items[i]).substr(0, 105)});
        free_parsed_array(count, items);
    }
    if (st.fonts.empty()) return read_font("modern.fnt");
    const size_t which = st.font_ind >= 1 && static_cast<size_t>(st.font_ind) <= st.fonts.size()
                             ? static_cast<size_t>(st.font_ind - 1)
                             : 0;
    return read_font(st.fonts[which].file.c_str());
}

int read_font(const char* name) {
    if (!gchk_graphics() || !name) return -1;
    st.font.index.fill(-1);
    st.font.size.fill(0);
    st.font.length = 0;
    if (name[0] == '#') return load_server_font(name);
    return load_stroke_font(name);
}

int gset_fontprec(const int rec[2]) {
    const int n = rec[0];
    if (n == st.font_ind) return 0;
    st.font_ind = n;
    if (gmeta_is_text()) {
        gmeta_printf("TE_FNT %d %d\n", rec[0], rec[1]);
        return 0;
    }
    gnew_obj(59, 0, 2 * static_cast<int>(sizeof(int)), rec);
    if (st.fonts.empty()) return 0;
    if (n < 1 || static_cast<size_t>(n) > st.fonts.size()) {
        MESS_print(MESS_WARN, "gset_fontprec: invalid font id: %d\n", n);
        return -1;
    }
    return read_font(st.fonts[static_cast<size_t>(n - 1)].file.c_str());
}

int gget_font_index(const char* name) {
    if (!name) return 1;
    if (std::isdigit(static_cast<unsigned char>(name[0]))) return std::atoi(name);
    for (size_t i = 0; i < st.fonts.size(); ++i)
        if (stricmp(st.fonts[i].name.c_str(), name) == 0) return static_cast<int>(i + 1);
    return 1;
}

int gset_text_colr_ind(int index) {
    if (gchk_open("gset_text_colr_ind") != 0) return -1;
    if (gcheck_colr_ind("gset_text_colr_ind", &index) != 0) return -1;
    const bool window = is_window();
    if (index == st.color) return 0;
    st.color = index;
    if (gmeta_is_text()) {
        gmeta_printf("TE_CLR %d\n", index);
        return 0;
    }
    gnew_obj(56, index, 0, nullptr);
    if (window && display() && st.gc)
        XSetForeground(display(), st.gc, static_cast<unsigned long>(gget_color_ind(index)));
    return 0;
}

int gset_char_ht(float height) {
    if (!(height >= 0.0f) || std::isinf(height)) {
        gerr_printf("gset_char_ht", "invalid character height: %f\n", height);
        return -1;
    }
    return set_float(&st.height, height, 57, "TE_HGHT");
}

int gset_expan(float expansion) {
    if (!(expansion >= 0.0f) || std::isinf(expansion)) {
        gerr_printf("gset_expan", "invalid expansion factor: %f\n", expansion);
        return -1;
    }
    return set_float(&st.expan, expansion, 55, "TE_EXP");
}

int gset_text_width(float width) {
    if (!(width >= 0.0f) || std::isinf(width)) {
        gerr_printf("gset_text_width", "invalid text width: %f\n", width);
        return -1;
    }
    if (width == st.width) return 0;
    if (width == 0.0f && gget_win_type() == GWS_PS) width = 1.0f;
    set_float(&st.width, width, 61, "TE_WDTH");
    if (is_window() && display() && st.gc) {
        XGCValues values;
        values.line_width = clamp_to<int>(width);
        XChangeGC(display(), st.gc, GCLineWidth, &values);
    }
    return 0;
}

int gset_space(float space) {
    return set_float(&st.space, space, 53, "TE_SPC");
}

int gset_char_space(float space) {
    return set_float(&st.char_space, space, 54, "TE_CSPC");
}

int gset_text_align(const int rec[2]) {
    if (rec[0] == st.halign && rec[1] == st.valign) return 0;
    st.halign = rec[0];
    st.valign = rec[1];
    if (gmeta_is_text()) {
        gmeta_printf("TE_ALGN %d %d\n", rec[0], rec[1]);
        return 0;
    }
    gnew_obj(60, 0, 2 * static_cast<int>(sizeof(int)), rec);
    return 0;
}

int ginq_text_align(int* status, int rec[2]) {
    *status = 0;
    rec[0] = st.halign;
    rec[1] = st.valign;
    return 0;
}

int gset_char_up_vec(const float rec[2]) {
    const float length = std::sqrt(rec[0] * rec[0] + rec[1] * rec[1]);
    if (!(length > 0.0f) || std::isinf(length)) return -1;
    const float up[2] = {rec[0] / length, rec[1] / length};
    if (up[0] == st.upx && up[1] == st.upy) return 0;
    // A metafile keeps no vector, so the same one is written again next time.
    if (gmeta_is_text()) {
        gmeta_printf("TE_UP %f,%f\n", up[0], up[1]);
        return 0;
    }
    st.upx = up[0];
    st.upy = up[1];
    gnew_obj(58, 0, 2 * static_cast<int>(sizeof(float)), up);
    return 0;
}

int gset_text_path(int) {
    return 0;
}

int gset_font_drop(int depth) {
    // Each pixel of depth draws the text once more: a shadow deeper than any
    // text is high would only stall the plot.
    st.drop_shadow = std::min(depth, MAX_DROP);
    return 0;
}

int gget_font_drop() {
    return st.drop_shadow;
}
int gget_text_colr() {
    return st.color;
}
_XGC* gget_text_gc() {
    return st.gc;
}

int gtext(const float position[2], const char* string) {
    if (gchk_open("gtext") != 0) return -1;
    if (!string || !string[0]) return 0;
    if (gmeta_is_text()) {
        gmeta_printf("TE %f,%f %s\n", position[0], position[1], one_line(string).c_str());
        return 0;
    }
    const size_t len = std::strlen(string);
    if (auto* data = static_cast<char*>(gnew_obj(50, 0, static_cast<int>(8 + len + 1), nullptr))) {
        std::memcpy(data, position, 8);
        std::memcpy(data + 8, string, len + 1);
    }
    if (st.font_type == FONT_TYPE_SERVER) return server_text(position, string);
    const float x = position[0], y = position[1];
    if (st.drop_shadow > 0) {
        const float dx = static_cast<float>(1.0 / (xW_p(x + 1.0f) - xW_p(x)));
        const float dy = static_cast<float>(1.0 / (yW_p(y + 1.0f) - yW_p(y)));
        Display* d = display();
        if (d && st.gc) XSetForeground(d, st.gc, BlackPixel(d, DefaultScreen(d)));
        for (int i = 0; i < st.drop_shadow; ++i)
            text(x + static_cast<float>(i) * dx, y + static_cast<float>(i) * dy, string);
        if (d && st.gc)
            XSetForeground(d, st.gc, static_cast<unsigned long>(gget_color_ind(st.color)));
    }
    return text(x, y, string);
}
