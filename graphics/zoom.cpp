// Pixel zoom of the window: the picture enlarged by whole-pixel replication in
// client memory and written to the base pixmap, and the way back.
#include <X11/Xlib.h>
#include <X11/Xutil.h>

#include <cstring>
#include <vector>

#include "env/messages.h"
#include "graphics/graphics.h"

// Xlib's own: sets the function pointers of an image made by hand.
extern "C" int _XInitImageFuncPtrs(XImage* image);

namespace {

constexpr int MAX_ZOOM = 1024;

struct State {
    int zoom = 1;                // factor of the picture on the window
    int zoom_x = 0, zoom_y = 0;  // unzoomed pixel at the window's centre, 0 unzoomed
    XResId base_image = 0;       // the unzoomed picture when there are no frames
};
State st;

void free_base_image() {
    if (st.base_image && gget_display()) XFreePixmap(gget_display(), st.base_image);
    st.base_image = 0;
}

// Left (or top) edge of the source run that fills a side of `size` at factor f
// round the centre c.
int source_edge(int c, int size, int f) {
    const int half = (size / f) / 2;
    int edge = c - half;
    if (edge < 0) edge = 0;
    if (edge + size / f > size) edge = size - (size + 1) / f;
    return edge;
}

// Replicates the source rectangle from (left, top) into a picture of the same size.
void replicate(const XImage* image, char* out, int left, int top, int f) {
    const int w = image->width, h = image->height, bpl = image->bytes_per_line;
    const int bpp = image->bits_per_pixel;
    const char* in = image->data;
    for (int row = 0; row < h; ++row) {
        const char* src = in + static_cast<long>(top + row / f) * bpl;
        char* dst = out + static_cast<long>(row) * bpl;
        if (bpp >= 8) {
            const int bytes = bpp / 8;
            for (int col = 0; col < w; ++col)
                std::memcpy(dst + col * bytes, src + (left + col / f) * bytes,
                            static_cast<size_t>(bytes));
        } else if (bpp == 4) {
            // Nibbles in the image's own order: the first pixel of a byte in the low
            // nibble unless the image is most-significant first.
            const bool high_first = image->byte_order == MSBFirst;
            for (int col = 0; col < w; ++col) {
                const int s = left + col / f;
                const unsigned char sb = static_cast<unsigned char>(src[s / 2]);
                const int nib = ((s & 1) != high_first) ? sb >> 4 : sb & 0x0F;
                unsigned char& db = reinterpret_cast<unsigned char&>(dst[col / 2]);
                if ((col & 1) != high_first)
                    db = static_cast<unsigned char>((db & 0x0F) | nib << 4);
                else
                    db = static_cast<unsigned char>((db & 0xF0) | nib);
            }
        } else if (bpp == 1) {
            const bool msb = image->bitmap_bit_order == MSBFirst;
            for (int col = 0; col < w; ++col) {
                const int s = left + col / f;
                const int sbit = msb ? 7 - (s & 7) : (s & 7);
                const int dbit = msb ? 7 - (col & 7) : (col & 7);
                const int on = (static_cast<unsigned char>(src[s / 8]) >> sbit) & 1;
                unsigned char& db = reinterpret_cast<unsigned char&>(dst[col / 8]);
                db = static_cast<unsigned char>(on ? db | 1 << dbit : db & ~(1 << dbit));
            }
        }
    }
}

}  // namespace

int gzoom(int frame, int x, int y, int factor, int redisplay) {
    Display* d = gget_display();
    if (!d || !gtype_is_WIN()) return 0;
    if (st.zoom == 1 && redisplay) return 0;
    if (st.zoom >= MAX_ZOOM) {
        MESS_print(MESS_WARN, "gzoom: Cannot zoom past 1024x\n");
        return 0;
    }
    const bool frames = gget_num_images() > 0;
    const bool looping = frames && gget_looping();
    const XResId source = looping ? gget_frame_id(frame) : gget_base_window();
    if (!source) return 0;
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    if (w <= 0 || h <= 0) return 0;
    XImage* image = XGetImage(d, source, 0, 0, static_cast<unsigned>(w), static_cast<unsigned>(h),
                              AllPlanes, ZPixmap);
    if (!image) return 0;
    if (!frames && st.zoom == 1 && !redisplay) {
        free_base_image();
        st.base_image =
            XCreatePixmap(d, gget_root_window(), static_cast<unsigned>(w), static_cast<unsigned>(h),
                          static_cast<unsigned>(gget_win_depth()));
        XCopyArea(d, gget_base_window(), st.base_image, gget_root_gc(), 0, 0,
                  static_cast<unsigned>(w), static_cast<unsigned>(h), 0, 0);
    }
    if (x == -1) {
        x = st.zoom_x;
        y = st.zoom_y;
    } else if (frames && st.zoom != 1) {
        x = (x - w / 2) / st.zoom + st.zoom_x;
        y = (y - h / 2) / st.zoom + st.zoom_y;
    }
    int f = 0;
    if (factor == -1) {
        f = st.zoom;
    } else if (factor < -1) {
        f = -factor;
        st.zoom *= f;
        if (looping) f = st.zoom;
    } else {
        st.zoom = f = factor;
    }
    if (f < 1) f = 1;
    const int left = source_edge(x, w, f), top = source_edge(y, h, f);
    st.zoom_x = left + (w / f) / 2;
    st.zoom_y = top + (h / f) / 2;

    const size_t size = static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(h);
    std::vector<char> out(image->data, image->data + size);
    replicate(image, out.data(), left, top, f);
    std::memcpy(image->data, out.data(), size);
    _XInitImageFuncPtrs(image);
    XPutImage(d, gget_base_window(), gget_root_gc(), image, 0, 0, 0, 0, static_cast<unsigned>(w),
              static_cast<unsigned>(h));
    XSync(d, False);
    XDestroyImage(image);
    gupdate_window();
    return 1;
}

int gunzoom() {
    Display* d = gget_display();
    if (!d || !gtype_is_WIN() || st.zoom == 1) return 0;
    st.zoom = 1;
    st.zoom_x = st.zoom_y = 0;
    if (st.base_image) {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        XCopyArea(d, st.base_image, gget_base_window(), gget_root_gc(), 0, 0,
                  static_cast<unsigned>(w), static_cast<unsigned>(h), 0, 0);
        free_base_image();
        gupdate_window();
    } else {
        gdisplay_frame(-2);
    }
    return 1;
}

int greset_zoom() {
    if (st.zoom >= 2) {
        free_base_image();
        st.zoom = 1;
        st.zoom_x = st.zoom_y = 0;
    }
    return 0;
}

int gget_zoom() {
    return st.zoom;
}

double xZ_p(float x) {
    return static_cast<double>(x) / st.zoom + st.zoom_x;
}
double yZ_p(float y) {
    return static_cast<double>(y) / st.zoom + st.zoom_y;
}
