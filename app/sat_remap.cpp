#include "app/sat_remap.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "app/sat.h"
#include "app/sat_params.h"
#include "env/domains.h"
#include "env/messages.h"
#include "env/missing.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"

namespace {

// The source pixels as the resampling sees them: rows of `width` bytes. The
// neighbours of the last column and the last line are fetched without a test of
// the position, so whatever lies past the end of the buffer reads as a line of
// zeros; reads inside the buffer (the right neighbour of the last column is the
// first pixel of the next line) keep their content.
struct Source {
    const unsigned char* data;
    int64_t size;  // bytes that may be read
    int64_t width;

    int at(int64_t i) const { return (i >= 0 && i < size) ? data[i] : 0; }
};

Source source_of(const Image* image) {
    Source src{image->data, 0, image->width};
    if (image->data != nullptr && image->height > 0 && image->bytes_per_line > 0)
        src.size = static_cast<int64_t>(image->height) * image->bytes_per_line;
    return src;
}

// Float to pixel: truncation towards zero, low byte kept. Values outside the
// 32-bit range (only reachable through extreme cutoff classes) give 0.
inline int low_byte(float value) {
    if (!(value > -2147483648.0f && value < 2147483648.0f)) return 0;
    return static_cast<int>(static_cast<uint32_t>(static_cast<int32_t>(value)) & 0xffu);
}

// fy or fx of the nearest-pixel mode.
inline float nearest(float f) {
    return f > 0.5f ? 1.0f : 0.0f;
}

// depth * width / 8 with integer division, kept within 32 bits for odd depths.
int32_t line_bytes(int32_t depth, int32_t width) {
    const int64_t n = static_cast<int64_t>(depth) * width / 8;
    return n > INT32_MAX ? INT32_MAX : n < INT32_MIN ? INT32_MIN : static_cast<int32_t>(n);
}

unsigned char* alloc_pixels(int64_t count, const char* caller) {
    const size_t n = count > 0 ? static_cast<size_t>(count) : 1;
    auto* p = static_cast<unsigned char*>(std::calloc(n, 1));
    if (p == nullptr) MESS_print(MESS_ERROR, "%s: Unable to allocate image\n", caller);
    return p;
}

// Resampling state of one remap: the source record and its grid, the target
// domain, and the display parameters that shape the sampling.
struct Remap {
    const Image* image;
    Domain source;  // the image's own domain
    const Domain* target;
    Source src;
    int tran_sat;
    int pix_ave;
    float min_lon;
    float max_lon;
    int cutbase;
    int numcut;
    const int32_t* cutoff;
    // The target's columns: first and last x, step and count; its top row's y.
    float xmin, xmax, dx, ymax;
    int nx;
    int remap_inc;        // columns between interpolation anchors; 0 for exact
    bool no_source_grid;  // the source has no grid to place a point on
};

// The longitude clip: a point beyond min_lon or max_lon, on the near side of the
// target's centre, loses its latitude so that it is sent down the exact path.
void clip_lon(const Remap& r, float& lat, float lon) {
    if ((r.min_lon != ZMT_FMISSING && lon < r.min_lon && r.target->clon - lon < 180.0f) ||
        (r.max_lon != ZMT_FMISSING && lon > r.max_lon && lon - r.target->clon < 180.0f))
        lat = ZMT_FMISSING;
}

// Earth point to source element (e) and line (l). Leaves the target domain
// current when it went through the projections.
void to_source(const Remap& r, float lat, float lon, float& e, float& l) {
    if (r.tran_sat != 0) {
        // Missing unless the navigation writes them: without a navigated image
        // it leaves them alone.
        float line = ZMT_FMISSING, elem = ZMT_FMISSING;
        AREA_tran(2, &lat, &lon, &line, &elem);
        AREA_line_elem(2, line, elem, &l, &e);
    } else {
        float x = 0.0f, y = 0.0f;
        MAP_domain(&r.source);
        MAP_tran(lat, lon, &x, &y);
        MAP_grid_untran(x, y, &e, &l);
        MAP_domain(r.target);
    }
}

// One output pixel from the source position (ix, iy).
unsigned char sample(const Remap& r, float ix, float iy) {
    const Image* image = r.image;
    // Written so that a position that is not a number (a failed transform, a
    // zero-length last segment) also falls outside.
    if (!(iy >= 0.0f && iy <= static_cast<float>(static_cast<int64_t>(image->height) - 1) &&
          ix >= 0.0f && ix <= static_cast<float>(static_cast<int64_t>(image->width) - 1)))
        return 0;

    const auto ty = static_cast<int32_t>(iy);
    const auto tx = static_cast<int32_t>(ix);
    float fy = iy - static_cast<float>(ty);
    float fx = ix - static_cast<float>(tx);
    const int64_t i = static_cast<int64_t>(ty) * r.src.width + tx;
    int p[4];  // p00, p01, p10, p11
    p[0] = r.src.at(i);
    p[1] = r.src.at(i + 1);
    p[2] = r.src.at(i + r.src.width);
    p[3] = r.src.at(i + r.src.width + 1);
    if (p[0] == p[1] && p[0] == p[2] && p[0] == p[3]) return static_cast<unsigned char>(p[0]);

    // Classified values: never average across classes; inside one class the
    // base marker is first lifted to the class's lower bound.
    int special = -1;
    int mixed = 0;
    for (int c = 0; r.numcut > 0 && c <= r.numcut; ++c) {
        const int lo = r.cutoff[c];
        const int hi = r.cutoff[c + 1];
        int count = 0;
        for (int v : p)
            if (v == r.cutbase || (v >= lo && v < hi)) ++count;
        if (count == 4) {
            for (int& v : p) {
                if (v == r.cutbase) {
                    v = lo;
                    special = lo;
                }
            }
            mixed = 0;
            break;
        }
        if (count > 0) mixed = 1;
    }

    if (r.pix_ave == 0 || mixed == 1) {
        fy = nearest(fy);
        fx = nearest(fx);
    }
    const float value =
        static_cast<float>(p[0]) * (1 - fy) * (1 - fx) + static_cast<float>(p[1]) * (1 - fy) * fx +
        static_cast<float>(p[2]) * fy * (1 - fx) + static_cast<float>(p[3]) * fy * fx;
    const int out = low_byte(value);
    if (out == special) return static_cast<unsigned char>(r.cutbase & 0xff);
    return static_cast<unsigned char>(out);
}

// Where the zoomed image starts in the source's pixels (x0, y0) and the centre of its
// domain: around (lat, lon) when given, else the centre of what the window shows.
// Satellite-navigated AREA images go through their own navigation.
void zoom_origin(Image* image, float lat, float lon, float zoom, int nw, int nh, Image* tmp,
                 float* x0, float* y0) {
    const SatParams& params = SAT_params();
    if (image->source == SAT_AREA && image->domain.proj == 9 && params.tran_sat != 0) {
        if (lat != ZMT_FMISSING) {
            float line = ZMT_FMISSING, elem = ZMT_FMISSING, l = 0.0f, e = 0.0f;
            float la = lat, lo = lon;
            AREA_tran(2, &la, &lo, &line, &elem);
            AREA_line_elem(2, line, elem, &l, &e);
            *x0 = -0.5f * static_cast<float>(nw) / zoom + e;
            *y0 = -0.5f * static_cast<float>(nh) / zoom + l;
            tmp->domain.clat = lat;
            tmp->domain.clon = lon;
        } else {
            float line = 0.0f, elem = 0.0f;
            AREA_line_elem(1, static_cast<float>(nh) / zoom * 0.5f,
                           static_cast<float>(nw) / zoom * 0.5f, &line, &elem);
            AREA_tran(1, &tmp->domain.clat, &tmp->domain.clon, &line, &elem);
        }
        AREA_set_res(*y0 * image->yres + image->yoff, *x0 * image->xres + image->xoff,
                     image->yres / zoom, image->xres / zoom);
    } else {
        MAP_domain(&image->domain);
        if (lat != ZMT_FMISSING) {
            float x = 0.0f, y = 0.0f, e = 0.0f, l = 0.0f;
            MAP_tran(lat, lon, &x, &y);
            MAP_grid_untran(x, y, &e, &l);
            *x0 = -0.5f * static_cast<float>(nw) / zoom + e;
            *y0 = -0.5f * static_cast<float>(nh) / zoom + l;
            tmp->domain.clat = lat;
            tmp->domain.clon = lon;
        } else {
            float x = 0.0f, y = 0.0f;
            MAP_grid_tran(static_cast<float>(nw) / zoom * 0.5f,
                          static_cast<float>(nh) / zoom * 0.5f, &x, &y);
            MAP_untran(x, y, &tmp->domain.clat, &tmp->domain.clon);
        }
    }
}

// Samples the source every 1/zoom pixels from (x0, y0) into `out`, rows `stride` apart:
// bilinear, or the nearest pixel when pixel averaging is off.
void zoom_pixels(const Image* image, unsigned char* out, int64_t stride, int nw, int nh, float x0,
                 float y0, float zoom, int pix_ave) {
    const Source src = source_of(image);
    const float width = static_cast<float>(image->width);
    const float height = static_cast<float>(image->height);
    const float s = 1 / zoom;
    float y = y0;
    for (int row = 0; row < nh; ++row, y = y + s) {
        unsigned char* line = out + row * stride;
        // Written so that a position that is not a number leaves the line empty.
        if (!(y >= 0.0f && y < height)) continue;
        const auto ty = static_cast<int32_t>(y);
        float fy = y - static_cast<float>(ty);
        if (pix_ave == 0) fy = nearest(fy);
        const int64_t base = static_cast<int64_t>(ty) * src.width;
        float x = x0;
        for (int col = 0; col < nw; ++col, x = x + s) {
            if (!(x >= 0.0f && x < width)) continue;
            const auto tx = static_cast<int32_t>(x);
            float fx = x - static_cast<float>(tx);
            if (pix_ave == 0) fx = nearest(fx);
            const int64_t i = base + tx;
            const float value = static_cast<float>(src.at(i + src.width + 1)) * fy * fx +
                                static_cast<float>(src.at(i + src.width)) * fy * (1 - fx) +
                                static_cast<float>(src.at(i + 1)) * (1 - fy) * fx +
                                static_cast<float>(src.at(i)) * (1 - fy) * (1 - fx);
            line[col] = static_cast<unsigned char>(low_byte(value));
        }
    }
}

}  // namespace

int SAT_zoom_image(Image* image, float lat, float lon, float zoom) {
    MESS_print(MESS_OUT2, "Zooming image: %2.1fx...\n", static_cast<double>(zoom));
    gsel_norm_tran(2);
    int viewport[4] = {0, 0, 0, 0};
    gget_gviewport(viewport);
    return SAT_zoom_image_to(image, lat, lon, zoom, viewport[2], viewport[3]);
}

int SAT_zoom_image_to(Image* image, float lat, float lon, float zoom, int vw, int vh) {
    const SatParams& params = SAT_params();

    // The output never exceeds the window.
    const float ph = zoom * static_cast<float>(image->height);
    const float pw = zoom * static_cast<float>(image->width);
    int nh = ph < static_cast<float>(vh) ? (ph > 0.0f ? static_cast<int>(ph) : 0) : vh;
    int nw = pw < static_cast<float>(vw) ? (pw > 0.0f ? static_cast<int>(pw) : 0) : vw;
    if (nh < 0) nh = 0;
    if (nw < 0) nw = 0;
    MESS_print(MESS_OUT4, "Old image size: %dx%d\n", image->width, image->height);
    MESS_print(MESS_OUT4, "New image size: %dx%d\n", nw, nh);

    Image tmp = *image;
    tmp.width = nw;
    tmp.height = nh;
    tmp.bytes_per_line = line_bytes(tmp.depth, nw);

    float x0 = 0.0f, y0 = 0.0f;
    zoom_origin(image, lat, lon, zoom, nw, nh, &tmp, &x0, &y0);

    tmp.domain.nx = nw;
    tmp.domain.ny = nh;
    tmp.domain.dx = image->domain.dx / zoom;
    tmp.domain.dy = image->domain.dy / zoom;
    MESS_print(MESS_OUT3, "Zoomed image domain: ");
    DOM_print(MESS_OUT3, &tmp.domain);

    // Rows are as wide as the larger of the pixel count and the line length, so
    // that an odd depth can't make the writes overrun.
    const int64_t stride = tmp.bytes_per_line > nw ? tmp.bytes_per_line : nw;
    unsigned char* out = alloc_pixels(stride * nh, "SAT_zoom_image");
    if (out == nullptr) return 0;

    zoom_pixels(image, out, stride, nw, nh, x0, y0, zoom, params.pix_ave);

    std::free(image->data);
    tmp.data = out;
    *image = tmp;
    return 0;
}

namespace {

// The remap's sources and parameters; the target's plot limits must be current.
Remap start_remap(const Image* image, const Domain* domain) {
    float limits[4] = {0.0f, 0.0f, 0.0f, 0.0f};
    MAP_get_limits(limits);
    const SatParams& params = SAT_params();
    Remap r{};
    r.image = image;
    r.source = image->domain;
    r.target = domain;
    r.src = source_of(image);
    r.tran_sat = params.tran_sat;
    r.pix_ave = params.pix_ave;
    r.min_lon = params.min_lon;
    r.max_lon = params.max_lon;
    r.cutbase = params.cutbase;
    // The class table holds five bounds, so at most four classes.
    r.numcut = params.numcut < 3 ? params.numcut : 3;
    r.cutoff = params.cutoff;
    r.xmin = limits[0];
    r.xmax = limits[1];
    r.ymax = limits[3];
    r.dx = domain->dx;
    r.nx = domain->nx > 0 ? domain->nx : 0;
    r.remap_inc = params.remap_inc;
    r.no_source_grid = r.source.dx == 0.0f || r.source.clat == ZMT_FMISSING;
    return r;
}

// One output row at plot y. Every remap_inc columns an anchor is placed exactly
// and the columns between are interpolated along the row; the per-pixel loop
// stays in one piece because it is the program's hottest.
void remap_row(const Remap& r, float y, unsigned char* o) {
    // Locals, so that the calls in the loop don't make the compiler reload them.
    const float dx = r.dx, xmax = r.xmax;
    const int remap_inc = r.remap_inc, nx = r.nx;
    const Domain* target = r.target;
    const bool no_source_grid = r.no_source_grid;
    float ax = 0.0f, ay = 0.0f;    // anchor position in the source
    float vx = 0.0f, vy = 0.0f;    // vector to the next anchor
    float step = 0.0f;             // columns from this anchor to the next
    int k = 0;                     // columns since the anchor
    float lat = 0.0f, lon = 0.0f;  // at the segment's end
    float alat = 0.0f;             // at the anchor
    float x = r.xmin;
    for (int col = 0; col < nx; ++col, x = x + dx, ++o) {
        MAP_domain(target);
        float ix = ZMT_FMISSING, iy = ZMT_FMISSING;
        if (remap_inc == 0) {
            float la = 0.0f, lo = 0.0f, px = 0.0f, py = 0.0f;
            MAP_untran(x, y, &la, &lo);
            MAP_domain(&r.source);
            MAP_tran(la, lo, &px, &py);
            if (no_source_grid) continue;
            MAP_grid_untran(px, py, &ix, &iy);
        } else {
            if (col == 0) {
                MAP_untran(x, y, &lat, &lon);
                clip_lon(r, lat, lon);
                to_source(r, lat, lon, vx, vy);
                ax = 0.0f;
                ay = 0.0f;
            }
            if (col % remap_inc == 0) {
                ax = ax + vx;
                ay = ay + vy;
                alat = lat;
                step = static_cast<float>(remap_inc);
                const float xn = step * dx + x;
                if (xn > xmax) {
                    step = (xmax - x) / dx;
                    MAP_untran(xmax, y, &lat, &lon);
                } else {
                    MAP_untran(xn, y, &lat, &lon);
                }
                clip_lon(r, lat, lon);
                to_source(r, lat, lon, vx, vy);
                // The segment's end has fallen off the source.
                if (vx < 0.0f || vy < 0.0f) lat = ZMT_FMISSING;
                vx = vx - ax;
                vy = vy - ay;
                k = 0;
            }
            if (lat == ZMT_FMISSING || alat == ZMT_FMISSING) {
                // Near the limb or the clip, interpolation would smear: exact.
                float la = 0.0f, lo = 0.0f;
                MAP_untran(x, y, &la, &lo);
                clip_lon(r, la, lo);
                to_source(r, la, lo, ix, iy);
            } else {
                const float t = static_cast<float>(k) / step;
                ix = t * vx + ax;
                iy = t * vy + ay;
            }
            ++k;
        }
        *o = sample(r, ix, iy);
    }
}

}  // namespace

int SAT_remap_image(Image* image, const Domain* domain) {
    if (domain == nullptr || domain->proj == ZMT_MISSING) return 0;

    MESS_print(MESS_MESS, "Remapping image...\n");
    MESS_print(MESS_OUT2, "New domain: ");
    DOM_print(MESS_OUT1, domain);
    gsel_norm_tran(2);

    MAP_domain(domain);
    const Remap r = start_remap(image, domain);
    const int nx = r.nx;
    const int ny = domain->ny > 0 ? domain->ny : 0;
    unsigned char* out = alloc_pixels(static_cast<int64_t>(nx) * ny, "SAT_remap_image");
    if (out == nullptr) return 0;
    float y = r.ymax;
    for (int row = 0; row < ny; ++row, y = y - domain->dy)
        remap_row(r, y, out + static_cast<size_t>(row) * static_cast<size_t>(nx));

    std::free(image->data);
    image->data = out;
    image->source = SAT_NATIVE;
    image->width = nx;
    image->height = ny;
    image->bytes_per_line = line_bytes(image->depth, nx);
    image->domain = *domain;
    image->domain.nx = nx;
    image->domain.ny = ny;
    if (image->domain.plon == ZMT_FMISSING) image->domain.plon = domain->clon;
    return 1;
}
