// The metafile device: one text record per drawing call, or a small binary CGM
// holding the polylines and clip rectangles.
#include "graphics/metafile.h"

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

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

// Only a name the user gave may open a pipe: a typed device, or the output
// variables of the environment.
int user_typed(const char* name) {
    if (RES_typed("device")) return 1;
    for (const char* variable : {"zmtmeta_out", "METAOUT"}) {
        const char* value = std::getenv(variable);
        if (value && std::strcmp(value, name) == 0) return 1;
    }
    return 0;
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
    st.out_file = FILE_create(name, st.meta_type == 1 ? "wb" : "w", user_typed(name));
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

// ---- Reading a text metafile back through the kernel ----------------------------

namespace {

constexpr int MAX_TEXT = 100;          // characters of a text record
constexpr float MAX_COORD = 1e30f;     // windows and viewports beyond this are refused
constexpr float MAX_ATTRIB = 1000.0f;  // widths, sizes and heights
constexpr float MAX_SPACING = 10.0f;   // expansion and character spacing

// Reads the file a character at a time in the manner of scanf: a failed number
// leaves the character that stopped it unread.
class Scanner {
   public:
    explicit Scanner(FILE* file) : f_(file) {}

    int peek() {
        const int c = std::getc(f_);
        if (c != EOF) std::ungetc(c, f_);
        return c;
    }
    void skip_space() {
        int c = 0;
        while ((c = std::getc(f_)) != EOF && std::isspace(c)) {
        }
        if (c != EOF) std::ungetc(c, f_);
    }
    void skip_line() {
        int c = 0;
        while ((c = std::getc(f_)) != EOF && c != '\n') {
        }
    }
    // A word of at most `limit` characters; false at the end of the file.
    bool word(std::string& out, size_t limit) {
        skip_space();
        out.clear();
        int c = 0;
        while (out.size() < limit && (c = std::getc(f_)) != EOF) {
            if (std::isspace(c)) {
                std::ungetc(c, f_);
                break;
            }
            out += static_cast<char>(c);
        }
        return !out.empty();
    }
    bool literal(char expected) {
        if (peek() != expected) return false;
        std::getc(f_);
        return true;
    }
    bool integer(int& value) {
        std::string text;
        if (!number_text(text, false)) return false;
        errno = 0;
        const long v = std::strtol(text.c_str(), nullptr, 10);
        if (errno != 0 || v < -2147483647L || v > 2147483647L) return false;
        value = static_cast<int>(v);
        return true;
    }
    // A finite float.
    bool real(float& value) {
        std::string text;
        if (!number_text(text, true)) return false;
        value = std::strtof(text.c_str(), nullptr);
        return std::isfinite(value);
    }
    bool point(float& x, float& y) { return real(x) && literal(',') && real(y); }
    // The rest of the line, at most `limit` characters, after blank space.
    bool text(std::string& out, size_t limit) {
        skip_space();
        out.clear();
        int c = 0;
        while (out.size() < limit && (c = std::getc(f_)) != EOF) {
            if (c == '\n') {
                std::ungetc(c, f_);
                break;
            }
            out += static_cast<char>(c);
        }
        return !out.empty();
    }

   private:
    // Sign, digits, and for a float a fraction and an exponent.
    bool number_text(std::string& text, bool fraction) {
        skip_space();
        if (peek() == '+' || peek() == '-') text += static_cast<char>(std::getc(f_));
        const size_t digits_from = text.size();
        take_digits(text);
        bool any = text.size() > digits_from;
        if (fraction && peek() == '.') {
            text += static_cast<char>(std::getc(f_));
            const size_t before = text.size();
            take_digits(text);
            any = any || text.size() > before;
        }
        if (!any) return false;
        if (fraction && (peek() == 'e' || peek() == 'E')) {
            text += static_cast<char>(std::getc(f_));
            if (peek() == '+' || peek() == '-') text += static_cast<char>(std::getc(f_));
            const size_t before = text.size();
            take_digits(text);
            if (text.size() == before) return false;
        }
        return true;
    }
    void take_digits(std::string& text) {
        while (std::isdigit(peek())) text += static_cast<char>(std::getc(f_));
    }

    FILE* f_;
};

using Reader = void (*)(Scanner&, const char* word);

void out_of_range(const char* word) {
    MESS_print(MESS_WARN, "gread_metafile: value out of range in %s record\n", word);
}

bool in_range(float v, float limit) {
    return v >= -limit && v <= limit;
}

// Number, xmin, ymin, xmax, ymax into the kernel's order xmin, xmax, ymin, ymax.
bool read_rect(Scanner& in, const char* word, int& n, float rect[4]) {
    float x1 = 0, y1 = 0, x2 = 0, y2 = 0;
    if (!in.integer(n) || !in.real(x1) || !in.real(y1) || !in.real(x2) || !in.real(y2))
        return false;
    if (!in_range(x1, MAX_COORD) || !in_range(x2, MAX_COORD) || !in_range(y1, MAX_COORD) ||
        !in_range(y2, MAX_COORD) || x1 == x2 || y1 == y2) {
        out_of_range(word);
        return false;
    }
    rect[0] = x1;
    rect[1] = x2;
    rect[2] = y1;
    rect[3] = y2;
    return true;
}

// A count and as many points as the data holds, up to the count.
bool read_points(Scanner& in, int& count, std::vector<float>& points) {
    if (!in.integer(count)) return false;
    points.clear();
    float x = 0, y = 0;
    for (int i = 0; i < count && in.point(x, y); ++i) {
        points.push_back(x);
        points.push_back(y);
    }
    if (static_cast<int>(points.size() / 2) < count) count = static_cast<int>(points.size() / 2);
    return true;
}

void read_ws_win(Scanner& in, const char*) {
    int id = 0;
    std::string dropped;
    in.integer(id);
    for (int i = 0; i < 4; ++i) in.word(dropped, std::string::npos);
}
void read_skipped(Scanner& in, const char*) {
    in.skip_line();
}
void read_win(Scanner& in, const char* word) {
    int n = 0;
    float rect[4];
    if (read_rect(in, word, n, rect)) gset_win(n, rect);
}
void read_vp(Scanner& in, const char* word) {
    int n = 0;
    float rect[4];
    if (read_rect(in, word, n, rect)) gset_vp(n, rect);
}
void read_select(Scanner& in, const char*) {
    int n = 0;
    if (in.integer(n)) gsel_norm_tran(n);
}
void read_polyline(Scanner& in, const char*) {
    int count = 0;
    std::vector<float> points;
    if (read_points(in, count, points)) gpolyline(count, points.data());
}
void read_polymarker(Scanner& in, const char*) {
    int count = 0;
    std::vector<float> points;
    if (read_points(in, count, points) && count > 0) gpolymarker(count, points.data());
}
void read_fill(Scanner& in, const char*) {
    int count = 0;
    std::vector<float> points;
    if (read_points(in, count, points) && count > 0) gfill_area(count, points.data());
}
void read_text(Scanner& in, const char*) {
    float position[2] = {0, 0};
    std::string text;
    if (in.point(position[0], position[1]) && in.text(text, MAX_TEXT))
        gtext(position, text.c_str());
}
void read_colour(Scanner& in, const char* word) {
    int id = 0, index = 0;
    float rgb[3] = {0, 0, 0};
    if (!in.integer(id) || !in.integer(index) || !in.real(rgb[0]) || !in.real(rgb[1]) ||
        !in.real(rgb[2]))
        return;
    for (float v : rgb)
        if (v < 0.0f || v > 1.0f) return out_of_range(word);
    gset_colr_rep(1, index, rgb);
}

// Records of one integer or one float, each for its setter.
struct IntRecord {
    const char* word;
    int (*set)(int);
};
constexpr IntRecord int_records[] = {
    {"PL_CLR", gset_line_colr_ind},   {"PL_TYPE", gset_linetype},
    {"PM_CLR", gset_marker_colr_ind}, {"PM_TYPE", gset_marker_type},
    {"FA_CLR", gset_fill_colr_ind},   {"FA_INT", gset_fill_int_style},
    {"FA_ST", gset_fill_style_ind},   {"TE_CLR", gset_text_colr_ind},
};
struct FloatRecord {
    const char* word;
    int (*set)(float);
    float limit;
};
constexpr FloatRecord float_records[] = {
    {"PL_LW", gset_linewidth, MAX_ATTRIB},      {"PM_SIZE", gset_marker_size, MAX_ATTRIB},
    {"PM_WDTH", gset_marker_width, MAX_ATTRIB}, {"TE_HGHT", gset_char_ht, MAX_ATTRIB},
    {"TE_WDTH", gset_text_width, MAX_ATTRIB},   {"TE_EXP", gset_expan, MAX_SPACING},
    {"TE_SPC", gset_space, MAX_SPACING},        {"TE_CSPC", gset_char_space, MAX_SPACING},
};

void read_int_record(Scanner& in, const char* word) {
    int v = 0;
    if (!in.integer(v)) return;
    for (const IntRecord& r : int_records)
        if (std::strcmp(r.word, word) == 0) r.set(v);
}
void read_float_record(Scanner& in, const char* word) {
    float v = 0;
    if (!in.real(v)) return;
    for (const FloatRecord& r : float_records)
        if (std::strcmp(r.word, word) == 0) {
            if (!in_range(v, r.limit)) return out_of_range(word);
            r.set(v);
        }
}
void read_up_vector(Scanner& in, const char* word) {
    float up[2] = {0, 0};
    if (!in.point(up[0], up[1])) return;
    if (!in_range(up[0], MAX_ATTRIB) || !in_range(up[1], MAX_ATTRIB) ||
        (up[0] == 0.0f && up[1] == 0.0f))
        return out_of_range(word);
    gset_char_up_vec(up);
}
void read_pair(Scanner& in, const char* word) {
    int rec[2] = {0, 0};
    if (!in.integer(rec[0]) || !in.integer(rec[1])) return;
    if (std::strcmp(word, "TE_ALGN") == 0)
        gset_text_align(rec);
    else
        gset_fontprec(rec);
}

struct Record {
    const char* word;
    Reader read;
};
constexpr Record records[] = {
    {"WS_WIN", read_ws_win},
    {"WS_VP", read_skipped},
    {"ME", read_skipped},
    {"CLR_REG", read_skipped},
    {"WIN", read_win},
    {"VP", read_vp},
    {"TR", read_select},
    {"PL", read_polyline},
    {"PM", read_polymarker},
    {"FA", read_fill},
    {"TE", read_text},
    {"CLR", read_colour},
    {"PL_CLR", read_int_record},
    {"PL_TYPE", read_int_record},
    {"PM_CLR", read_int_record},
    {"PM_TYPE", read_int_record},
    {"FA_CLR", read_int_record},
    {"FA_INT", read_int_record},
    {"FA_ST", read_int_record},
    {"TE_CLR", read_int_record},
    {"PL_LW", read_float_record},
    {"PM_SIZE", read_float_record},
    {"PM_WDTH", read_float_record},
    {"TE_HGHT", read_float_record},
    {"TE_WDTH", read_float_record},
    {"TE_EXP", read_float_record},
    {"TE_SPC", read_float_record},
    {"TE_CSPC", read_float_record},
    {"TE_UP", read_up_vector},
    {"TE_ALGN", read_pair},
    {"TE_FNT", read_pair},
};

Reader reader_of(const std::string& word) {
    for (const Record& r : records)
        if (word == r.word) return r.read;
    return read_skipped;
}

}  // namespace

int gread_metafile(const char* file) {
    FILE* f = FILE_open(file, "r");
    if (!f) {
        MESS_print(MESS_WARN, "gread_metafile: Unable to open image file: %s\n", file);
        return 0;
    }
    Scanner in(f);
    in.skip_line();  // the header's first line
    std::string word;
    while (in.word(word, 9)) reader_of(word)(in, word.c_str());
    std::fclose(f);
    return 0;
}
