// Normalisation transformations: world windows onto viewports, the workstation
// window onto the device, and the clip rectangle of the selected viewport.
#include <X11/Xlib.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "graphics/graphics.h"

namespace {

constexpr int NUM_TRANS = 6;
constexpr double CLAMP_X11 = 30000.0;     // keeps X's 16-bit coordinates in range
constexpr double CLAMP_PRINT = 100000.0;  // the printing devices

struct Scale {
    float x = 1.0f, y = 1.0f;
};

// Laid out in this order so that transformation 6, which the selection lets
// through, finds the viewports behind the windows and the workstation window
// behind the viewports, as a plain array overrun would.
struct State {
    std::array<NormTransformation, NUM_TRANS + 1> wn{};  // world windows
    std::array<NormTransformation, NUM_TRANS + 1> vp{};  // viewports, normalised
    NormTransformation wkwn{};                           // workstation window
    NormTransformation wkvp{};                           // workstation viewport, device units
    NormTransformation plt{};                            // device rectangle in use
    int cur_trans = 0;                                   // selected transformation
    NormTransformation cur_wn{}, cur_vp{};               // copies of the selected pair
    Scale wn_vp;                                         // world to normalised
    Scale wkwn_plt;                                      // normalised to device
    std::array<short, 4> clip_rect{};                    // x, y, width, height in pixels
};
State st;

constexpr NormTransformation unit_square = {0.0f, 0.0f, 1.0f, 1.0f, 1.0f, 1.0f};

// Rectangles come in as xmin, xmax, ymin, ymax.
NormTransformation from_rect(const float rect[4]) {
    return {rect[0], rect[2], rect[1], rect[3], rect[1] - rect[0], rect[3] - rect[2]};
}

NormTransformation& wn_entry(int n) {
    return n < NUM_TRANS ? st.wn[n] : st.vp[0];
}
NormTransformation& vp_entry(int n) {
    return n < NUM_TRANS ? st.vp[n] : st.wkwn;
}

void update_scales() {
    st.wn_vp.x = st.cur_vp.width / st.cur_wn.width;
    st.wn_vp.y = st.cur_vp.height / st.cur_wn.height;
    st.wkwn_plt.x = st.plt.width / st.wkwn.width;
    st.wkwn_plt.y = st.plt.height / st.wkwn.height;
}

// Fits the workstation window into the workstation viewport keeping its aspect.
void apply_aspect(float vw, float vh, float origin_x, float origin_y) {
    const float ww = st.wkwn.width, wh = st.wkwn.height;
    if (vw / ww <= vh / wh) {
        st.plt.width = vw;
        st.plt.height = wh * vw / ww;
        st.plt.xmax = st.wkvp.xmax;
        st.plt.ymax = st.plt.height + origin_y;
    } else {
        st.plt.height = vh;
        st.plt.width = ww * vh / wh;
        st.plt.xmax = st.plt.width + origin_x;
        st.plt.ymax = st.wkvp.ymax;
    }
    int x = 0, y = 0;
    gget_win_offset(&x, &y);
    st.plt.xmin = static_cast<float>(x) + origin_x;
    st.plt.ymin = static_cast<float>(y) + origin_y;
    update_scales();
}

// X keeps clip rectangles in 16 bits. A viewport selected before any workstation
// sized the device maps to NaN, and a huge one past the int range: NaN gives 0, the
// rest is held to the int range and then truncated to 16 bits.
short clip_short(double v) {
    if (std::isnan(v)) return 0;
    return static_cast<short>(static_cast<int>(std::clamp(v, -2147483648.0, 2147483647.0)));
}

void compute_clip_rect(short out[4]) {
    const short x = clip_short(xNDC_p(st.cur_vp.xmin) + 0.5);
    const short y = clip_short(yNDC_p(st.cur_vp.ymax) + 0.5);
    out[0] = x;
    out[1] = y;
    out[2] = clip_short(xNDC_p(st.cur_vp.xmax) - x + 1.5);
    out[3] = clip_short(yNDC_p(st.cur_vp.ymin) - y + 1.5);
}

void set_gc_clip(_XGC* gc) {
    if (!gc) return;
    XRectangle r;
    r.x = st.clip_rect[0];
    r.y = st.clip_rect[1];
    r.width = static_cast<unsigned short>(st.clip_rect[2]);
    r.height = static_cast<unsigned short>(st.clip_rect[3]);
    XSetClipRectangles(gget_display(), gc, 0, 0, &r, 1, Unsorted);
}

// The viewport's corners on the printing devices, widened by 0.1 when asked.
struct PrintBox {
    double x1, y1, x2, y2;
};
PrintBox print_box(double widen) {
    return {xNDC_ps(st.cur_vp.xmin) - widen, yNDC_ps(st.cur_vp.ymin) - widen,
            xNDC_ps(st.cur_vp.xmax) + widen, yNDC_ps(st.cur_vp.ymax) + widen};
}

void ps_clip() {
    const PrintBox b = print_box(0.1);
    gps_printf("initclip\n");
    gps_printf("np\n");
    gps_printf("%3.2f %3.2f mv\n", b.x1, b.y1);
    gps_printf("%3.2f %3.2f ln\n", b.x1, b.y2);
    gps_printf("%3.2f %3.2f ln\n", b.x2, b.y2);
    gps_printf("%3.2f %3.2f ln\n", b.x2, b.y1);
    gps_printf("cp\n");
    gps_printf("clip\n");
}

void hpgl_clip() {
    const PrintBox b = print_box(0.1);
    ghpgl_printf("IW %.0f,%.0f,%.0f,%.0f;\n", b.x1, b.y1, b.x2, b.y2);
}

void cgm_clip() {
    if (gmeta_get_type() != 1) return;
    const PrintBox b = print_box(0.0);
    gcgm_control(3, 5, 8, 0);
    gcgm_ps_point(b.x1, b.y1);
    gcgm_ps_point(b.x2, b.y2);
}

void refresh_clip() {
    compute_clip_rect(st.clip_rect.data());
    switch (gget_win_type()) {
        case GWS_WIN:
        case GWS_PIX:
            if (!gget_display()) return;
            set_gc_clip(gget_line_gc());
            set_gc_clip(gget_marker_gc());
            set_gc_clip(gget_fill_gc());
            set_gc_clip(gget_text_gc());
            return;
        case GWS_PS:
            ps_clip();
            return;
        case GWS_HPGL:
            hpgl_clip();
            return;
        case GWS_META:
            cgm_clip();
            return;
        default:
            return;
    }
}

double clamp(long double v, double limit) {
    const double d = static_cast<double>(v);
    if (d > limit) return limit;
    if (d < -limit) return -limit;
    return d;
}

// World to normalised, in the widest float type.
long double x_world_ndc(float x) {
    return (static_cast<long double>(x) - st.cur_wn.xmin) * st.wn_vp.x + st.cur_vp.xmin;
}
long double y_world_ndc(float y) {
    return (static_cast<long double>(y) - st.cur_wn.ymin) * st.wn_vp.y + st.cur_vp.ymin;
}

// The metafile record of a window or viewport: number, xmin, ymin, xmax, ymax.
void meta_rect(const char* tag, int n, const float rect[4]) {
    gmeta_printf("%s %d %f %f %f %f\n", tag, n, rect[0], rect[2], rect[1], rect[3]);
}

void* record_rect(int type, int n, const float rect[4]) {
    return gnew_obj(type, n, 4 * static_cast<int>(sizeof(float)), rect);
}

}  // namespace

int gget_cur_tran() {
    return st.cur_trans;
}

double xW_p(float x) {
    return clamp((x_world_ndc(x) - st.wkwn.xmin) * st.wkwn_plt.x + st.plt.xmin, CLAMP_X11);
}
double yW_p(float y) {
    return clamp((st.wkwn.ymax - y_world_ndc(y)) * st.wkwn_plt.y + st.plt.ymin, CLAMP_X11);
}
double xW_ps(float x) {
    return clamp((x_world_ndc(x) - st.wkwn.xmin) * st.wkwn_plt.x + st.plt.xmin, CLAMP_PRINT);
}
double yW_ps(float y) {
    return clamp((y_world_ndc(y) - st.wkwn.ymin) * st.wkwn_plt.y + st.plt.ymin, CLAMP_PRINT);
}
double xNDC_p(float x) {
    return clamp((static_cast<long double>(x) - st.wkwn.xmin) * st.wkwn_plt.x + st.plt.xmin,
                 CLAMP_X11);
}
double yNDC_p(float y) {
    return clamp((st.wkwn.ymax - static_cast<long double>(y)) * st.wkwn_plt.y + st.plt.ymin,
                 CLAMP_X11);
}
double xNDC_ps(float x) {
    return clamp((static_cast<long double>(x) - st.wkwn.xmin) * st.wkwn_plt.x + st.plt.xmin,
                 CLAMP_PRINT);
}
double yNDC_ps(float y) {
    return clamp((static_cast<long double>(y) - st.wkwn.ymin) * st.wkwn_plt.y + st.plt.ymin,
                 CLAMP_PRINT);
}
double xp_W(float x) {
    const long double ndc = (static_cast<long double>(x) - st.plt.xmin) / st.wkwn_plt.x;
    return static_cast<double>((ndc + st.wkwn.xmin - st.cur_vp.xmin) / st.wn_vp.x + st.cur_wn.xmin);
}
double yp_W(float y) {
    const long double ndc = (static_cast<long double>(y) - st.plt.ymin) / st.wkwn_plt.y;
    return static_cast<double>((st.wkwn.ymax - ndc - st.cur_vp.ymin) / st.wn_vp.y + st.cur_wn.ymin);
}
double xW_trans(float v, int from, int to) {
    if (from < 0 || from > NUM_TRANS || to < 0 || to > NUM_TRANS) return v;
    const NormTransformation &wf = wn_entry(from), &vf = vp_entry(from);
    const NormTransformation &wt = wn_entry(to), &vt = vp_entry(to);
    const long double ndc = (static_cast<long double>(v) - wf.xmin) * vf.width / wf.width + vf.xmin;
    return static_cast<double>((ndc - vt.xmin) / vt.width * wt.width + wt.xmin);
}
double yW_trans(float v, int from, int to) {
    if (from < 0 || from > NUM_TRANS || to < 0 || to > NUM_TRANS) return v;
    const NormTransformation &wf = wn_entry(from), &vf = vp_entry(from);
    const NormTransformation &wt = wn_entry(to), &vt = vp_entry(to);
    const long double ndc =
        (static_cast<long double>(v) - wf.ymin) * vf.height / wf.height + vf.ymin;
    return static_cast<double>((ndc - vt.ymin) / vt.height * wt.height + wt.ymin);
}

int gset_win(int n, const float rect[4]) {
    if (n < 0 || n >= NUM_TRANS) return -1;
    if (gmeta_is_text()) meta_rect("WIN", n, rect);
    record_rect(17, n, rect);
    st.wn[n] = from_rect(rect);
    if (n == st.cur_trans) {
        st.cur_wn = st.wn[n];
        update_scales();
    }
    return 0;
}

int gset_vp(int n, const float rect[4]) {
    if (n < 0 || n >= NUM_TRANS) return -1;
    if (gmeta_is_text()) meta_rect("VP", n, rect);
    record_rect(16, n, rect);
    st.vp[n] = from_rect(rect);
    if (n == st.cur_trans) {
        st.cur_vp = st.vp[n];
        update_scales();
        refresh_clip();
    }
    return 0;
}

int gset_ws_win(int id, const float rect[4]) {
    if (gmeta_is_text()) meta_rect("WS_WIN", id, rect);
    record_rect(11, id, rect);
    st.wkwn = from_rect(rect);
    apply_aspect(st.wkvp.width, st.wkvp.height, st.wkvp.xmin, st.wkvp.ymin);
    refresh_clip();
    return 0;
}

int gset_ws_vp(int id, const float rect[4]) {
    if (gmeta_is_text()) meta_rect("WS_VP", id, rect);
    record_rect(10, id, rect);
    st.wkvp = from_rect(rect);
    apply_aspect(st.wkvp.width, st.wkvp.height, st.wkvp.xmin, st.wkvp.ymin);
    refresh_clip();
    return 0;
}

int gsel_norm_tran(int n) {
    if (static_cast<unsigned>(n) > NUM_TRANS) {
        gerr_printf("gsel_norm_tran", "invalid transformation number: %d\n", n);
        return -1;
    }
    if (n == st.cur_trans) return 0;
    gmeta_printf("TR %d\n", n);
    gnew_obj(15, n, 0, nullptr);
    st.cur_trans = n;
    st.cur_wn = wn_entry(n);
    st.cur_vp = vp_entry(n);
    update_scales();
    refresh_clip();
    return 0;
}

int ginit_tran(int mode) {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const float fw = static_cast<float>(w - 1), fh = static_cast<float>(h - 1);
    st.wkvp = {0.0f, 0.0f, fw, fh, fw, fh};
    if (mode != 10) {
        st.wkwn = unit_square;
        st.wn.fill(unit_square);
        st.vp.fill(unit_square);
    }
    apply_aspect(fw, fh, 0.0f, 0.0f);
    if (mode != 10) {
        st.cur_trans = 0;
        st.cur_wn = st.wn[0];
        st.cur_vp = st.vp[0];
    }
    update_scales();
    switch (mode) {
        case 0:
        case 1:
        case 10:
            compute_clip_rect(st.clip_rect.data());
            break;
        case 2:
            ps_clip();
            break;
        case 3:
            hpgl_clip();
            break;
        case 4:
            cgm_clip();
            break;
        default:
            break;
    }
    return 0;
}

int ginq_norm_tran(int n, int* status, float out[8]) {
    if (n < 0 || n > NUM_TRANS) return -1;
    const NormTransformation &w = wn_entry(n), &v = vp_entry(n);
    const float values[8] = {w.xmin, w.xmax, w.ymin, w.ymax, v.xmin, v.xmax, v.ymin, v.ymax};
    for (int i = 0; i < 8; ++i) out[i] = values[i];
    *status = 0;
    return 0;
}

int ginq_disp_space_size(int, int* status, DisplaySpace* out) {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    out->units = 1;
    out->width = static_cast<float>(w - 1);
    out->height = static_cast<float>(h - 1);
    out->raster_width = w;
    out->raster_height = h;
    *status = 0;
    return 0;
}

int ginq_maxview(int, float* x, float* y) {
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    const float fw = static_cast<float>(w - 1), fh = static_cast<float>(h - 1);
    if (fw >= fh) {
        *x = fw / fh;
        *y = 1.0f;
    } else {
        *x = 1.0f;
        *y = fh / fw;
    }
    return 0;
}

int gpts_in_win(int count, const float* points) {
    if (count <= 0) return 1;
    float xmin = points[0], xmax = points[0], ymin = points[1], ymax = points[1];
    for (int i = 1; i < count; ++i) {
        xmin = std::fmin(xmin, points[2 * i]);
        xmax = std::fmax(xmax, points[2 * i]);
        ymin = std::fmin(ymin, points[2 * i + 1]);
        ymax = std::fmax(ymax, points[2 * i + 1]);
    }
    return !(xmax < st.cur_wn.xmin || xmin > st.cur_wn.xmax || ymax < st.cur_wn.ymin ||
             ymin > st.cur_wn.ymax);
}

int gget_xviewport(short viewport[4]) {
    compute_clip_rect(viewport);
    return 0;
}

void gclip_gc(GC gc) {
    Display* d = gget_display();
    short clip[4];
    gget_xviewport(clip);
    XRectangle r = {clip[0], clip[1], static_cast<unsigned short>(clip[2]),
                    static_cast<unsigned short>(clip[3])};
    XSetClipRectangles(d, gc, 0, 0, &r, 1, Unsorted);
    XSetForeground(d, gc, WhitePixel(d, gget_screen()));
    XSetBackground(d, gc, BlackPixel(d, gget_screen()));
}

int gget_gviewport(int viewport[4]) {
    const int type = gget_win_type();
    if (type == GWS_WIN || type == GWS_PIX) {
        const int x = static_cast<int>(xNDC_p(st.cur_vp.xmin) + 0.5);
        const int y = static_cast<int>(yNDC_p(st.cur_vp.ymax) + 0.5);
        viewport[0] = x;
        viewport[1] = y;
        viewport[2] = static_cast<int>(xNDC_p(st.cur_vp.xmax) - x + 1.5);
        viewport[3] = static_cast<int>(yNDC_p(st.cur_vp.ymin) - y + 1.5);
    } else if (type == GWS_PS || type == GWS_HPGL) {
        const int x = static_cast<int>(xNDC_ps(st.cur_vp.xmin));
        const int y = static_cast<int>(yNDC_ps(st.cur_vp.ymin));
        viewport[0] = x;
        viewport[1] = y;
        viewport[2] = static_cast<int>(xNDC_ps(st.cur_vp.xmax) - x + 1.5);
        viewport[3] = static_cast<int>(yNDC_ps(st.cur_vp.ymax) - y + 1.5);
    } else if (type != GWS_META) {
        viewport[0] = viewport[1] = viewport[2] = viewport[3] = 0;
    }
    return 0;
}
