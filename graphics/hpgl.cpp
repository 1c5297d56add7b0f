// The HPGL/2 device: pen moves in 1015 units to the inch, shades for lines and
// fills, and a PCL wrapper for laser printers.
#include "graphics/hpgl.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

struct State {
    FILE* out_file = nullptr;  // open output
    int append = 0;            // "+" output: more plots on one file
    int pcl = 1;               // 0 none, 1 PCL wrapper, 2 wrapper and rotation
    int pr_rot = 0;            // 0, 90, 180 or 270
    float pr_scale = 1.0f;     // stored only
    float base_width = 0.2f;   // pen width multiplier, millimetres
    float line_type = 1.0f;    // type last written
    float line_width = 1.0f;   // width last written
    float gray_level = 0.0f;   // line shade last written
    float fill_level = 0.0f;   // fill shade last written
    int col_ind = -1;
    int pr_color = 0;  // PSCOLOR seen at open; not used in drawing
};
State st;

// Writes the pen width when the stored width (multiplier times width) changes.
void width_out(float stored) {
    if (stored != st.line_width) {
        ghpgl_printf("PW%.1f;\n", stored * st.base_width);
        st.line_width = stored;
    }
}

// Only a name the user gave may open a pipe: a typed device, or the output
// variable of the environment.
int user_typed(const char* name) {
    if (RES_typed("device")) return 1;
    const char* value = std::getenv("zmthp_out");
    return value && std::strcmp(value, name) == 0;
}

}  // namespace

int ghpgl_open_file(const char* name) {
    st.append = 0;
    if (name[0] == '|')
        MESS_print(MESS_MESS, "Spooling to: %s\n", name + 1);
    else if (name[0] == '+') {
        MESS_print(MESS_MESS, "Appending to: %s\n", name + 1);
        st.append = 1;
    } else
        MESS_print(MESS_MESS, "Creating: %s\n", name);
    st.out_file = FILE_create(name, "w", user_typed(name));
    if (std::getenv("PSCOLOR")) st.pr_color = 1;
    return st.out_file != nullptr;
}

int ghpgl_init() {
    st.pcl = 1;
    st.gray_level = 0.0f;
    st.col_ind = -1;
    st.line_type = 1.0f;
    st.line_width = 1.0f;
    return 0;
}

int ghpgl_init_file() {
    if (!st.append) {
        if (st.pcl) ghpgl_printf("\033E\033%%1B\033&l1O\n");
        ghpgl_printf("IN;SP1;PA;\n");
        if (st.pcl == 2) ghpgl_printf("RO90;\n");
        if (st.pr_rot == 90 || st.pr_rot == 180 || st.pr_rot == 270)
            ghpgl_printf("RO%d;\n", st.pr_rot);
    }
    ghpgl_printf("PW%.1f;SV;LT;\n", st.base_width);
    return 0;
}

int ghpgl_close_file() {
    if (!st.out_file) return -1;
    if (!st.append) {
        ghpgl_printf("SP;PG;\n");
        if (st.pcl) ghpgl_printf("\033%%0A\033E");
    }
    const int status = FILE_commit(st.out_file);
    st.out_file = nullptr;
    MESS_print(MESS_MESS, "Created HPGL file\n");
    return status;
}

int ghpgl_set_pcl(int mode) {
    st.pcl = mode;
    return 0;
}
int ghpgl_set_rotate(int degrees) {
    st.pr_rot = degrees;
    return 0;
}
int ghpgl_set_scale(float scale) {
    st.pr_scale = scale;
    return 0;
}
int ghpgl_set_base_width(float width) {
    st.base_width = width;
    return 0;
}

int ghpgl_set_type(int type) {
    static const char* const types[] = {"LT;\n", "LT2,5,1;\n", "LT5,8,1;\n", "LT6,10,1;\n",
                                        "LT2,1,1;\n"};
    if (static_cast<float>(type) != st.line_type && type >= 1 && type <= 5)
        ghpgl_printf("%s", types[type - 1]);
    st.line_type = static_cast<float>(type);
    return 0;
}

int ghpgl_set_color(int index) {
    float level = 0.0f;
    const char* text = "SV;\n";
    if (index >= 503 && index <= 505) {
        level = 1.0f;
        text = "SV1,0;\n";
    } else if (index >= 506 && index <= 508) {
        level = 0.7f;
        text = "SV1,30;\n";
    }
    if (st.gray_level != level) {
        ghpgl_printf("%s", text);
        st.gray_level = level;
    }
    return 0;
}

int ghpgl_set_width(int colour, float width) {
    if (width == 0.0f) width = 1.0f;
    if (colour == 501 || colour == 504 || colour == 507)
        width_out(2.0f * width);
    else if (colour == 502 || colour == 505 || colour == 508)
        width_out(4.0f * width);
    else
        width_out(static_cast<float>(gget_line_print_bold()) * width);
    return 0;
}

int ghpgl_set_fill_color(int index) {
    const float g = gps_get_gray(index);
    if (gget_fill_print_solid()) {
        ghpgl_printf("FT1;\n");
        st.fill_level = 0.0f;
    } else if (index == GCOLR_BACK && st.fill_level != 1.0f) {
        ghpgl_printf("FT10,0;\n");
        st.fill_level = 1.0f;
    } else if (g != st.fill_level) {
        ghpgl_printf("FT10,%.0f;\n", 100.0f - 100.0f * g);
        st.fill_level = g;
    }
    return 0;
}

int ghpgl_move(float x, float y) {
    return ghpgl_move_abs(xW_ps(x), yW_ps(y));
}
int ghpgl_line(float x, float y) {
    return ghpgl_line_abs(xW_ps(x), yW_ps(y));
}
int ghpgl_move_abs(double x, double y) {
    return ghpgl_printf("PU%.0f,%.0f;", x, y);
}
int ghpgl_line_abs(double x, double y) {
    return ghpgl_printf("PD%.0f,%.0f;", x, y);
}

int ghpgl_printf(const char* format, ...) {
    if (!st.out_file) return 0;
    va_list args;
    va_start(args, format);
    const int n = std::vfprintf(st.out_file, format, args);
    va_end(args);
    return n;
}
