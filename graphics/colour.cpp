// The colour table of the kernel: 256 indices and the background, each with its
// RGB and X pixel, private colormaps, read-write cells and reuse of near colours.
#include <X11/Xlib.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "env/colors.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

constexpr int BACK_ENTRY = GCOLR_ENTRIES - 1;  // the background's table entry
constexpr float NEAR_LIMIT = 0.01f;            // sum of channel differences that counts as near
constexpr long NO_PIXEL = -1;                  // not allocated
constexpr long PS_PIXEL = -2;                  // allocated on PostScript, no pixel
constexpr uint32_t COLOUR_DEBUG = 0x40000000;  // the debug level of colour allocation

struct State {
    std::array<long, GCOLR_ENTRIES> color_ind{};  // X pixel of each index
    std::array<float, GCOLR_ENTRIES> red{}, grn{}, blu{};
    int max_color_ind = 0;       // highest index used so far
    Colormap user_colormap = 0;  // private colormap, or zero
    Colormap def_colormap = 0;   // the screen's default
    int local_cmap = 0;          // a private colormap was asked for
    int rw_colors = 0;           // use read-write cells
    int inverse = 0;             // black on white
    std::string background;      // gset_background
    XColor color{};              // the background colour record
};
State st = [] {
    State s;
    s.color_ind.fill(NO_PIXEL);
    return s;
}();

bool window_type() {
    return gtype_is_WIN_PIX() && gget_display();
}

Colormap current_cmap() {
    return st.user_colormap ? st.user_colormap : st.def_colormap;
}

unsigned short channel16(float v) {
    return static_cast<unsigned short>(v * 65535.0f);
}

int table_entry(int index) {
    return index == GCOLR_BACK ? BACK_ENTRY : index;
}

bool in_table(int index) {
    return index >= GCOLR_BACK && index <= BACK_ENTRY;
}

// The table index holding the colour nearest to r, g, b; for a full table.
int nearest_entry(float r, float g, float b) {
    int best = 0;
    float best_d = 1e9f;
    for (int i = 0; i < BACK_ENTRY; ++i) {
        const float d =
            std::fabs(st.red[i] - r) + std::fabs(st.grn[i] - g) + std::fabs(st.blu[i] - b);
        if (d < best_d) {
            best_d = d;
            best = i;
        }
    }
    return best;
}

void debug_cells(const char* what, int index, unsigned long pixel, float r, float g, float b,
                 const XColor& c) {
    MESS_print(COLOUR_DEBUG, "%s: %d %lu (%.2f %.2f %.2f) (%5d %5d %5d)\n", what, index, pixel, r,
               g, b, c.red, c.green, c.blue);
}

// Window types: gives the index a pixel, reusing its cell when it has one.
long alloc_window(int index, XColor& xc, float r, float g, float b) {
    Display* d = gget_display();
    const Colormap cmap = current_cmap();
    if (st.color_ind[index] >= 0) {
        xc.pixel = static_cast<unsigned long>(st.color_ind[index]);
        if (st.rw_colors) {
            XStoreColor(d, cmap, &xc);
            gsync();
            XQueryColor(d, cmap, &xc);
            debug_cells("Stored RW Cells", index, xc.pixel, r, g, b, xc);
            return static_cast<long>(xc.pixel);
        }
        // The reply holds the colour the cell got: no further round trips.
        XAllocColor(d, cmap, &xc);
        debug_cells("Allocated RW Cells", index, xc.pixel, r, g, b, xc);
        return static_cast<long>(xc.pixel);
    }
    bool stored = false;
    if (st.rw_colors) {
        unsigned long pixel = 0;
        const Status status = XAllocColorCells(d, cmap, False, nullptr, 0, &pixel, 1);
        gsync();
        if (!status) {
            st.rw_colors = 0;
            MESS_print(COLOUR_DEBUG, "Allocated RW Cells: %d\n", status);
        } else {
            xc.pixel = pixel;
            XStoreColor(d, cmap, &xc);
            gsync();
            XQueryColor(d, cmap, &xc);
            debug_cells("Stored new RW Cells", index, xc.pixel, r, g, b, xc);
            stored = true;
        }
    }
    if (!stored) {
        // The reply holds the colour the cell got: no further round trips.
        XAllocColor(d, cmap, &xc);
        debug_cells("Allocated new RW Cells", index, xc.pixel, r, g, b, xc);
    }
    st.color_ind[index] = static_cast<long>(xc.pixel);
    return st.color_ind[index];
}

// The foreground of every attribute GC whose colour is index.
void refresh_foregrounds(int index, long pixel) {
    Display* d = gget_display();
    const std::array<std::pair<int, GC>, 4> users = {{{gget_line_colr(), gget_line_gc()},
                                                      {gget_text_colr(), gget_text_gc()},
                                                      {gget_marker_colr(), gget_marker_gc()},
                                                      {gget_fill_colr(), gget_fill_gc()}}};
    for (const auto& [colour, gc] : users)
        if (colour == index && gc) XSetForeground(d, gc, static_cast<unsigned long>(pixel));
}

// Finds the background name; keep is set for the names that leave the pixmap alone.
std::string background_name(bool& keep) {
    const char* name = nullptr;
    if (!st.background.empty()) name = st.background.c_str();
    if (!name) name = RES_get("background");
    if (!name && gget_display()) name = XGetDefault(gget_display(), gget_prog_name(), "background");
    keep = false;
    if (!name) return {};
    if (stricmp(name, "none") == 0 || stricmp(name, "def") == 0 || stricmp(name, "over") == 0) {
        keep = true;
        return {};
    }
    return name;
}

}  // namespace

int gcheck_colr_ind(const char* function, int* index) {
    if (!gis_valid_colr(*index)) {
        gerr_printf(function, "invalid color index: %d\n", *index);
        return -1;
    }
    const bool special = *index >= GCOLR_SPECIAL_FIRST && *index <= GCOLR_SPECIAL_LAST;
    if (special && gtype_is_WIN_PIX()) *index = 1;
    if (special && !gtype_is_WIN_PIX()) return 0;
    if (gget_color_ind(*index) == NO_PIXEL) {
        gerr_printf(function, "color index not initialized\n");
        return -1;
    }
    return 0;
}

int gapply_colr_ind(int object, const char* record, _XGC* gc, int index) {
    if (gtype_is_META()) {
        gmeta_printf("%s %d\n", record, index);
        return 0;
    }
    gnew_obj(object, index, 0, nullptr);
    if (gtype_is_WIN_PIX() && gget_display() && gc)
        XSetForeground(gget_display(), gc, static_cast<unsigned long>(gget_color_ind(index)));
    return 0;
}

int ginit_xcolr() {
    if (gtype_is_WIN() && gget_display()) {
        if (st.local_cmap || std::getenv("LOCAL_CMAP") || std::getenv("zmtlocal_cmap")) {
            Display* d = gget_display();
            st.user_colormap = XCreateColormap(d, gget_root_window(),
                                               static_cast<Visual*>(gget_visual()), AllocNone);
        }
        if (st.user_colormap)
            XSetWindowColormap(gget_display(), gget_root_window(), st.user_colormap);
    }
    st.color_ind.fill(NO_PIXEL);
    return 0;
}

int gis_valid_colr(int index) {
    return (index >= GCOLR_BACK && index <= BACK_ENTRY) ||
           (index >= GCOLR_SPECIAL_FIRST && index <= GCOLR_SPECIAL_LAST);
}

int gis_color_near(long index, float red, float green, float blue, int by_pixel) {
    if (index == GCOLR_BACK) return 0;
    if (by_pixel) {
        // A chained search: a later entry equal to the number found replaces it again.
        for (int i = 0; i < GCOLR_ENTRIES; ++i)
            if (st.color_ind[i] != NO_PIXEL && st.color_ind[i] == index) index = i;
    }
    if (index < 0 || index > BACK_ENTRY) return 0;
    const size_t i = static_cast<size_t>(index);
    return std::fabs(st.red[i] - red) + std::fabs(st.grn[i] - green) + std::fabs(st.blu[i] - blue) <
           NEAR_LIMIT;
}

int galloc_colr(int index, float r, float g, float b) {
    if (index > st.max_color_ind) st.max_color_ind = index;
    XColor xc{};
    xc.flags = DoRed | DoGreen | DoBlue;
    xc.red = channel16(r);
    xc.green = channel16(g);
    xc.blue = channel16(b);
    gis_color_near(BACK_ENTRY, r, g, b, 0);
    if (index < 0) {
        for (int i = 0; i < st.max_color_ind; ++i)
            if (gis_color_near(i, r, g, b, 0)) index = i;
        if (index >= 0) {
            MESS_print(COLOUR_DEBUG, "Used existing ind: %d (%.2f %.2f %.2f)\n", index, r, g, b);
        } else if (st.max_color_ind + 1 >= BACK_ENTRY) {
            // The table is full: the nearest colour stands in.
            index = nearest_entry(r, g, b);
            MESS_print(COLOUR_DEBUG, "Used existing ind: %d (%.2f %.2f %.2f)\n", index, r, g, b);
            if (window_type() && st.color_ind[index] >= 0)
                return static_cast<int>(st.color_ind[index]);
            return 1;
        } else {
            index = st.max_color_ind + 1;
            st.max_color_ind = index;
            MESS_print(COLOUR_DEBUG, "Allocated new ind: %d (%.2f %.2f %.2f)\n", index, r, g, b);
        }
    }
    if (index > BACK_ENTRY) return 1;
    st.red[index] = r;
    st.grn[index] = g;
    st.blu[index] = b;
    gps_set_color_rep(index, r, g, b);
    if (gtype_is_PS()) {
        if (st.color_ind[index] == NO_PIXEL) st.color_ind[index] = PS_PIXEL;
        return 1;
    }
    if (!window_type()) return 1;
    return static_cast<int>(alloc_window(index, xc, r, g, b));
}

int gset_colr_rep(int id, int index, const float rgb[3]) {
    if (gchk_open("gset_colr_rep") != 0) return -1;
    if (index >= GCOLR_SPECIAL_FIRST && index <= GCOLR_SPECIAL_LAST) return 0;
    if (!gis_valid_colr(index)) {
        gerr_printf("gset_colr_rep", "invalid color index: %d\n", index);
        return -1;
    }
    if (gmeta_is_text()) {
        gmeta_printf("CLR %d %d %f %f %f\n", id, index, rgb[0], rgb[1], rgb[2]);
        return 0;
    }
    gnew_obj(20, index, 3 * static_cast<int>(sizeof(float)), rgb);
    const int pixel = galloc_colr(index, rgb[0], rgb[1], rgb[2]);
    if (window_type()) refresh_foregrounds(index, pixel);
    return 0;
}

long gget_color_ind(int index) {
    if (!in_table(index)) return NO_PIXEL;
    return st.color_ind[static_cast<size_t>(table_entry(index))];
}

int gget_color_rgb(int index, float* red, float* green, float* blue) {
    if (!in_table(index)) {
        *red = *green = *blue = 0.0f;
        return 0;
    }
    const size_t i = static_cast<size_t>(table_entry(index));
    *red = st.red[i];
    *green = st.grn[i];
    *blue = st.blu[i];
    return 1;
}

unsigned long gget_back_color() {
    return st.color.pixel;
}

unsigned long gget_color_rgb_Xval(int red, int green, int blue) {
    const Visual* v = static_cast<const Visual*>(gget_visual());
    if (!v) return 0;
    const int depth = gget_win_depth();
    const std::array<unsigned long, 3> masks = {v->red_mask, v->green_mask, v->blue_mask};
    const std::array<int, 3> values = {red, green, blue};
    std::array<int, 3> shift{}, width{};
    unsigned long pixel = 0;
    for (size_t c = 0; c < 3; ++c) {
        unsigned long m = masks[c];
        while (m && !(m & 1) && shift[c] < depth) {
            m >>= 1;
            ++shift[c];
        }
        while ((m & 1) && shift[c] + width[c] < depth) {
            m >>= 1;
            ++width[c];
        }
        const unsigned long v = static_cast<unsigned long>(values[c] & 0xffff);
        const int down = 16 - width[c];
        pixel |= (down >= 0 ? v >> down : v << -down) << shift[c];
    }
    MESS_print(COLOUR_DEBUG, "mask: %d-%d-%d %d-%d-%d %d-%d-%d\n", shift[0], width[0],
               (1 << width[0]) - 1, shift[1], width[1], (1 << width[1]) - 1, shift[2], width[2],
               (1 << width[2]) - 1);
    return pixel;
}

int ginit_background() {
    bool keep = false;
    const std::string name = background_name(keep);
    if (window_type()) {
        Display* d = gget_display();
        const int screen = gget_screen();
        XColor& c = st.color;
        c = XColor{};
        if (name.empty()) {
            c.pixel = st.inverse ? WhitePixel(d, screen) : BlackPixel(d, screen);
            XQueryColor(d, st.def_colormap, &c);
        } else {
            const int ind = CLR_get_ind(name.c_str());
            if (ind >= 0) {
                float r = 0, g = 0, b = 0;
                CLR_get_rgb(ind, &r, &g, &b);
                c.red = channel16(r);
                c.green = channel16(g);
                c.blue = channel16(b);
                c.flags = DoRed | DoGreen | DoBlue;
            } else {
                XParseColor(d, current_cmap(), name.c_str(), &c);
            }
        }
        XAllocColor(d, current_cmap(), &c);
        MESS_print(COLOUR_DEBUG, "Allocated BG Color: %lu (%5d %5d %5d)\n", c.pixel, c.red, c.green,
                   c.blue);
        XQueryColor(d, current_cmap(), &c);
        MESS_print(COLOUR_DEBUG, "Queried BG Color: %lu (%5d %5d %5d)\n", c.pixel, c.red, c.green,
                   c.blue);
        st.color_ind[BACK_ENTRY] = static_cast<long>(c.pixel);
        st.red[BACK_ENTRY] = static_cast<float>(c.red) / 65535.0f;
        st.grn[BACK_ENTRY] = static_cast<float>(c.green) / 65535.0f;
        st.blu[BACK_ENTRY] = static_cast<float>(c.blue) / 65535.0f;
    } else if (gtype_is_PS()) {
        st.red[BACK_ENTRY] = st.grn[BACK_ENTRY] = st.blu[BACK_ENTRY] = 1.0f;
    }
    if (!keep && gtype_is_WIN()) gclear_frame(-3);
    return 0;
}

int gset_background(const char* name) {
    st.background = name ? std::string(name).substr(0, 49) : std::string();
    return 0;
}
int gset_rw_colors(int on) {
    st.rw_colors = on;
    return 0;
}
int gset_inverse(int on) {
    st.inverse = on;
    return 0;
}
int gget_inverse() {
    return st.inverse;
}
int gset_def_cmap(XResId colormap) {
    st.def_colormap = colormap;
    return 0;
}
int gset_user_cmap(XResId colormap) {
    st.user_colormap = colormap;
    return 0;
}
XResId gget_user_cmap() {
    return st.user_colormap;
}
XResId gget_colormap() {
    return current_cmap();
}
int gset_local_colormap(int on) {
    st.local_cmap = on;
    return 1;
}
