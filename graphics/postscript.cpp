// The PostScript device. The plot is a stream of "mv", "ln", "stroke" and "fill"
// lines under a short prolog; attributes are written only when they change.
#include "graphics/postscript.h"

#include <algorithm>
#include <array>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <vector>

#include "env/colors.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "graphics/graphics.h"

namespace {

struct PsState {
    FILE* out_file = nullptr;  // open output, null when closed
    int append = 0;            // output opened with "+": a further plot on the same file
    int pr_eps = 0;            // Encapsulated output
    int pr_port = 0;           // 1 portrait, 0 landscape
    float pr_scale = 1.0f;     // extra scale of the whole plot
    int pr_color = 0;          // colour output instead of greys
    int pr_rev = 0;            // reverse the grey of every colour
    float base_width = 1.0f;   // multiplier of every line width
    float line_type = 1.0f;    // dash type last written
    float line_width = 1.0f;   // width last written, before the base width
    float gray_level = 0.0f;   // grey last written; -1 after a colour
    int ps_col_ind = -1;       // colour index last written
    std::array<float, GCOLR_ENTRIES> gray{};  // grey of each colour table entry
    float sx = 11.0f;                         // paper long side, inches
    float sy = 8.5f;                          // paper short side, inches
};

PsState ps;

// Dash patterns of line types 1 to 5.
constexpr const char* kDashes[] = {"[] 0 setdash\n", "[6] 0 setdash\n", "[3 6] 0 setdash\n",
                                   "[6 6 3 6] 0 setdash\n", "[2] 0 setdash\n"};

// Samples per line of image hex data.
constexpr int kHexLine = 80;

// Print specials come in three groups of three: black, white, grey 0.7.
bool is_special(int index) {
    return index >= GCOLR_SPECIAL_FIRST && index <= GCOLR_SPECIAL_LAST;
}
float special_gray(int index) {
    static constexpr float greys[] = {0.0f, 1.0f, 0.7f};
    return greys[(index - GCOLR_SPECIAL_FIRST) / 3];
}
// Width factor within a group: 0 as set, 1 double, 2 four times.
int special_weight(int index) {
    return (index - GCOLR_SPECIAL_FIRST) % 3;
}

const char* title() {
    const char* text = gget_win_title();
    return text ? text : "";
}

void put(const char* text) {
    if (ps.out_file) std::fputs(text, ps.out_file);
}

void write_gray(float level) {
    if (level == 0.0f)
        put("0 setgray\n");
    else if (level == 1.0f)
        put("1 setgray\n");
    else
        put(".7 setgray\n");
    ps.gray_level = level;
}

void write_special(int index) {
    const float level = special_gray(index);
    if (ps.gray_level != level) write_gray(level);
}

void write_rgb(int index) {
    if (index == ps.ps_col_ind && ps.gray_level < 0.0f) return;
    float r = 0.0f, g = 0.0f, b = 0.0f;
    gget_color_rgb(index, &r, &g, &b);
    gps_printf("%4.2f %4.2f %4.2f setrgbcolor\n", r, g, b);
    ps.ps_col_ind = index;
    ps.gray_level = -1.0f;
}

// Only a name the user gave may open a pipe: a device typed on the command line
// or in the environment, or the output variables of the environment. A device
// from a defaults file in the working directory never reaches a shell.
int user_typed(const char* name) {
    if (RES_typed("device")) return 1;
    for (const char* variable : {"zmtps_print", "PSPRINT"}) {
        const char* value = std::getenv(variable);
        if (value && std::strcmp(value, name) == 0) return 1;
    }
    return 0;
}

// The output: a pipe, an append or a new file, all written through a temporary
// that is renamed into place when the plot is complete.
FILE* open_output(const char* name) {
    return FILE_create(name, "w", user_typed(name));
}

void write_prolog() {
    if (ps.pr_eps) {
        put("%!PS-Adobe-3.0 EPSF-3.0\n");
        put(ps.pr_port ? "%%BoundingBox: 0 0 756 576\n" : "%%BoundingBox: 0 0 576 756\n");
    } else {
        put("%!PS-Adobe-1.0\n");
    }
    gps_printf("%%%%Title: ZMT Graphics Display: %s\n", title());
    put("%%Creator: ZMT Postscript Processor-2.0\n");
    const time_t now = std::time(nullptr);
    char stamp[32] = "";
    if (!ctime_r(&now, stamp)) stamp[0] = '\0';
    gps_printf("%%%%CreationDate: %s", stamp);
    put("%%EndComments\n");
    put("%%Postscript initialization\n");
    if (!ps.pr_eps) {
        put("30 dict begin\n");
        put("/saveobj save def\n");
    }
    put("/inch {72 mul} def\n");
    put("/dot {.33 mul} def\n");
    put("/mv {moveto} def\n");
    put("/ln {lineto} def\n");
    put("/lw {setlinewidth} def\n");
    put("/np {newpath} def\n");
    put("/cp {closepath} def\n");
    if (!ps.pr_port) {
        put("90 rotate\n");
        if (ps.pr_eps)
            gps_printf("0. inch -%.2f inch translate\n", ps.sy);
        else
            gps_printf(".25 inch -%.2f inch translate\n", ps.sy - 0.25f);
    } else if (!ps.pr_eps) {
        put(".25 inch .25 inch translate\n");
    }
    put(ps.pr_color ? "0 0 0 setrgbcolor\n" : "0 setgray\n");
    put("2 setlinejoin\n");
    put("1 dot lw\n");
    put("[] 0 setdash\n");
    if (ps.pr_scale != 1.0f) gps_printf("%.2f %.2f scale\n", ps.pr_scale, ps.pr_scale);
    put("%%Begin plot\n");
    gps_printf("%%%%ZMT Plot: %s\n", title());
}

void write_append_header() {
    put(ps.pr_color ? "0 0 0 setrgbcolor\n" : "0 setgray\n");
    put("1 dot lw\n");
    put("[] 0 setdash\n");
    gps_printf("%%%%ZMT Plot: %s\n", title());
}

// Hex text of every image value: two digits of the value in grey, six of its
// colour table entry in colour.
struct HexTable {
    std::array<std::array<char, 6>, 256> code;
    int width;  // characters per sample
};

// Truncation towards zero of a width that may come from any attribute text; one
// beyond the range of int is held at its end.
int truncated(float value) {
    if (!(value > -2e9f && value < 2e9f)) return value > 0.0f ? 2000000000 : -2000000000;
    return static_cast<int>(value);
}

// A colour channel as a byte, truncated; a table value outside 0 to 1 is held
// at the nearer end.
int channel(float value) {
    const float scaled = value * 255.0f;
    if (!(scaled > 0.0f)) return 0;
    return scaled >= 255.0f ? 255 : static_cast<int>(scaled);
}

void fill_hex_table(HexTable& table) {
    static constexpr char digits[] = "0123456789ABCDEF";
    auto hex = [](char* at, int value) {
        at[0] = digits[(value >> 4) & 0xF];
        at[1] = digits[value & 0xF];
    };
    table.width = ps.pr_color ? 6 : 2;
    for (int v = 0; v < 256; ++v) {
        char* at = table.code[static_cast<size_t>(v)].data();
        if (!ps.pr_color) {
            hex(at, v);
            continue;
        }
        float r = 0.0f, g = 0.0f, b = 0.0f;
        CLR_get_rgb(v, &r, &g, &b);
        hex(at, channel(r));
        hex(at + 2, channel(g));
        hex(at + 4, channel(b));
    }
}

// One output row of vw samples of W hex digits at `out`: image row `row` shifted
// by x columns, white where the shifted row has no image. Returns the end.
template <size_t W>
char* put_image_row(char* out, const HexTable& table, const unsigned char* row, long columns, int x,
                    int vw) {
    for (int i = 0; i < vw; ++i) {
        const long column = static_cast<long>(i) + x;
        if (row && column >= 0 && column < columns)
            std::memcpy(out, table.code[row[column]].data(), W);
        else
            std::memset(out, 'F', W);
        out += W;
        if (i % kHexLine == kHexLine - 1) *out++ = '\n';
    }
    *out++ = '\n';
    return out;
}

}  // namespace

FILE* gps_open_file(const char* name) {
    ps.append = 0;
    if (!name) name = "";
    if (name[0] == '|') {
        MESS_print(MESS_MESS, "Spooling to: %s\n", name + 1);
    } else if (name[0] == '+') {
        MESS_print(MESS_MESS, "Appending to: %s\n", name + 1);
        ps.append = 1;
    } else {
        MESS_print(MESS_MESS, "Creating: %s\n", name);
    }
    ps.out_file = open_output(name);
    if (std::getenv("PSCOLOR")) ps.pr_color = 1;
    return ps.out_file;
}

int gps_init() {
    ps.gray_level = 0.0f;
    ps.ps_col_ind = -1;
    ps.line_width = 1.0f;
    return 0;
}

int gps_init_file() {
    if (!ps.out_file) return -1;
    if (ps.append)
        write_append_header();
    else
        write_prolog();
    return 0;
}

int gps_close_file() {
    if (!ps.out_file) return -1;
    put("%%End of plot\n");
    if (!ps.append) {
        put("saveobj restore\n");
        put("showpage\n");
        put("end\n");
        put("%%EOF\n");
    }
    FILE* file = ps.out_file;
    ps.out_file = nullptr;
    if (FILE_commit(file) != 0) return -1;
    MESS_print(MESS_MESS, "Created Postscript file\n");
    return 0;
}

int gps_set_size(float long_side, float short_side) {
    ps.sx = long_side;
    ps.sy = short_side;
    return 0;
}

int gps_set_color_rep(int index, float red, float green, float blue) {
    if (index == GCOLR_BACK) index = GCOLR_ENTRIES - 1;
    if (index < 0 || index >= GCOLR_ENTRIES) return -1;
    float level = (0.9 * red + green + 0.8 * blue) / 2.7;
    if (ps.pr_rev) level = 1.0f - level;
    ps.gray[static_cast<size_t>(index)] = level;
    return 0;
}

float gps_get_gray(int index) {
    if (index < 0 || index >= GCOLR_ENTRIES) return 0.0f;
    return ps.gray[static_cast<size_t>(index)];
}

int gps_set_base_width(int width) {
    ps.base_width = static_cast<float>(width);
    return 0;
}

int gps_set_EPS(int on) {
    ps.pr_eps = on;
    return 0;
}

int gps_set_orient(int portrait) {
    ps.pr_port = portrait;
    return 0;
}

int gps_set_scale(float scale) {
    ps.pr_scale = scale;
    return 0;
}

int gps_set_colorPS(int on) {
    ps.pr_color = on;
    return 0;
}

int gps_get_colorPS() {
    return ps.pr_color;
}

int gps_set_reverse(int on) {
    ps.pr_rev = on;
    return 0;
}

int gps_set_type(int type) {
    if (static_cast<float>(type) != ps.line_type && type >= 1 && type <= 5) put(kDashes[type - 1]);
    ps.line_type = static_cast<float>(type);
    return 0;
}

int gps_set_width(int colour, float width) {
    if (is_special(colour) && special_weight(colour) > 0) {
        const float factor = special_weight(colour) == 1 ? 2.0f : 4.0f;
        if (factor * width != ps.line_width)
            gps_printf("%d dot lw\n", truncated(factor * ps.base_width * width));
        ps.line_width = factor * width;
        return 0;
    }
    const float bold = static_cast<float>(gget_line_print_bold());
    if (bold * width != ps.line_width) gps_printf("%2.1f dot lw\n", bold * width * ps.base_width);
    ps.line_width = bold * width;
    return 0;
}

int gps_set_color(int index) {
    if (is_special(index))
        write_special(index);
    else if (ps.pr_color)
        write_rgb(index);
    else if (ps.gray_level != 0.0f)
        write_gray(0.0f);  // lines are black in grey output
    return 0;
}

int gps_set_fill_color(int index) {
    if (ps.pr_color) return gps_set_color(index);
    if (gget_fill_print_solid()) {
        write_gray(0.0f);
        return 0;
    }
    if (index == GCOLR_BACK) {
        if (ps.gray_level != 1.0f) write_gray(1.0f);
        return 0;
    }
    const float level = is_special(index) ? special_gray(index) : gps_get_gray(index);
    if (level != ps.gray_level) {
        gps_printf("%3.3f setgray\n", level);
        ps.gray_level = level;
    }
    return 0;
}

int gps_move(float x, float y) {
    return gps_move_abs(xW_ps(x), yW_ps(y));
}

int gps_line(float x, float y) {
    return gps_line_abs(xW_ps(x), yW_ps(y));
}

int gps_move_abs(double x, double y) {
    return gps_printf("%3.2f %3.2f mv\n", x, y);
}

int gps_line_abs(double x, double y) {
    return gps_printf("%3.2f %3.2f ln\n", x, y);
}

int gps_printf(const char* format, ...) {
    if (!ps.out_file) return 0;
    va_list args;
    va_start(args, format);
    const int n = std::vfprintf(ps.out_file, format, args);
    va_end(args);
    return n;
}

int gps_image(const Image* image, int x, int y) {
    if (!ps.out_file || !image) return -1;
    put("gsave\n");
    short viewport[4] = {0, 0, 0, 0};
    gget_xviewport(viewport);
    const int vx = viewport[0], vy = viewport[1], vw = viewport[2], vh = viewport[3];
    if (vw <= 0 || vh <= 0) {
        put("grestore\n");
        return 0;
    }
    gps_printf("%d %d translate\n", vx, vy);
    gps_printf("%d %d scale\n", vw, vh);
    gps_printf("/picstr %d string def\n", vw);
    gps_printf("%d %d 8 [ %d 0 0 %d 0 %d ]\n", vw, vh, vw, -vh, vh);
    put("{ currentfile picstr readhexstring pop }\n");
    put(ps.pr_color ? "false 3 colorimage\n" : "image\n");

    HexTable table;
    fill_hex_table(table);
    const bool has_pixels = image->data && image->width > 0 && image->height > 0;
    // Rows step by the width; a record with shorter lines holds fewer bytes than
    // that, and what lies past its end is white.
    const long stored =
        static_cast<long>(image->bytes_per_line > 0 ? image->bytes_per_line : image->width) *
        image->height;
    // Rows are gathered into blocks of about a megabyte for each write.
    const size_t row_bytes = static_cast<size_t>(vw) * static_cast<size_t>(table.width) +
                             static_cast<size_t>(vw / kHexLine) + 1;
    const int block_rows = static_cast<int>(std::max<size_t>(1, (1u << 20) / row_bytes));
    std::vector<char> block(row_bytes * static_cast<size_t>(std::min(block_rows, vh)));
    char* end = block.data();
    for (int j = 0; j < vh; ++j) {
        const long r = static_cast<long>(j) + y;
        const unsigned char* row = nullptr;
        long columns = 0;
        if (has_pixels && r >= 0 && r < image->height) {
            row = image->data + r * static_cast<long>(image->width);
            columns = std::min<long>(image->width, stored - r * static_cast<long>(image->width));
        }
        end = table.width == 6 ? put_image_row<6>(end, table, row, columns, x, vw)
                               : put_image_row<2>(end, table, row, columns, x, vw);
        if ((j + 1) % block_rows == 0 || j + 1 == vh) {
            std::fwrite(block.data(), 1, static_cast<size_t>(end - block.data()), ps.out_file);
            end = block.data();
        }
    }
    put("grestore\n");
    return 0;
}
