// Images on the window: an Image of one depth adapted to the window's visual and
// put into the viewport, overlays with a transparent colour, and the window read
// back into an Image for the raster dumps.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
extern "C" {
#include <X11/ImUtil.h>
}

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "env/colors.h"
#include "env/messages.h"
#include "formats/gif.h"
#include "formats/image.h"
#include "formats/png.h"
#include "formats/xwd.h"
#include "graphics/graphics.h"

namespace {

constexpr int OUTPUT_GIF = 56;
constexpr int OUTPUT_PNG = 58;
constexpr int NO_TRANSPARENT = -1;

int output_type = OUTPUT_GIF;  // format of gsave_image_file

// Owns the buffer of an X image when it is not the Image's own data.
struct XBuffer {
    char* data = nullptr;
    bool owned = false;
    ~XBuffer() {
        if (owned) std::free(data);
    }
};

int host_byte_order() {
    const uint16_t probe = 1;
    unsigned char first = 0;
    std::memcpy(&first, &probe, 1);
    return first ? LSBFirst : MSBFirst;
}

bool has_drawable() {
    return gget_display() && gget_draw_window();
}

struct Channel {
    int shift = 0, width = 0;
    unsigned max = 0;
};

Channel channel_of(unsigned long mask) {
    Channel c;
    while (mask && !(mask & 1)) {
        mask >>= 1;
        ++c.shift;
    }
    while (mask & 1) {
        mask >>= 1;
        ++c.width;
    }
    c.max = (1u << c.width) - 1;
    return c;
}

// Colour of an image value; values past the table take colour 0.
const float* colour_of(const Image* image, int v) {
    if (v >= image->num_colors) v = 0;
    return image->colors + 3 * v;
}

bool match_truecolor(int depth, XVisualInfo& info) {
    return XMatchVisualInfo(gget_display(), gget_screen(), depth, TrueColor, &info) != 0;
}

// 8-bit values to 16-bit true-colour pixels, high byte first.
void expand_to_16(const Image* image, XImage* xim) {
    XVisualInfo info{};
    match_truecolor(xim->depth, info);
    const Channel r = channel_of(info.red_mask), g = channel_of(info.green_mask),
                  b = channel_of(info.blue_mask);
    MESS_print(MESS_DEBUG, "mask: %d-%d-%d %d-%d-%d %d-%d-%d\n", r.shift, r.width, r.max, g.shift,
               g.width, g.max, b.shift, b.width, b.max);
    std::array<uint16_t, 256> lut{};
    for (int v = 0; v < 256; ++v) {
        if (!image->colors || image->num_colors == 0) {
            lut[static_cast<size_t>(v)] = static_cast<uint16_t>(v << 8 | v);
            continue;
        }
        const float* c = colour_of(image, v);
        lut[static_cast<size_t>(v)] = static_cast<uint16_t>(
            (static_cast<unsigned>(static_cast<float>(r.max) * c[0]) << r.shift) +
            (static_cast<unsigned>(static_cast<float>(g.max) * c[1]) << g.shift) +
            (static_cast<unsigned>(static_cast<float>(b.max) * c[2]) << b.shift));
    }
    for (int row = 0; row < image->height; ++row) {
        const unsigned char* src =
            image->data + static_cast<size_t>(row) * static_cast<size_t>(image->bytes_per_line);
        unsigned char* dst = reinterpret_cast<unsigned char*>(xim->data) +
                             static_cast<size_t>(row) * static_cast<size_t>(xim->bytes_per_line);
        // High byte first, as the image's rows are; the other order for an image
        // that says its bytes run low first.
        const int hi = xim->byte_order == LSBFirst ? 1 : 0;
        for (int col = 0; col < image->width; ++col) {
            const uint16_t p = lut[src[col]];
            dst[2 * col + hi] = static_cast<unsigned char>(p >> 8);
            dst[2 * col + 1 - hi] = static_cast<unsigned char>(p & 0xff);
        }
    }
}

// 8-bit values to 24-bit pixels: r, g, b (or b, g, r when blue is not the low
// byte), three bytes a pixel high byte first, or as 32-bit words in the
// server's own layout so that the server takes the rows as they are.
void expand_to_24(const Image* image, XImage* xim) {
    const bool rgb = xim->blue_mask == 0xff;
    std::array<uint32_t, 256> lut{};
    for (int v = 0; v < 256; ++v) {
        uint32_t r = static_cast<uint32_t>(v), g = r, b = r;
        if (image->colors && image->num_colors > 0) {
            const float* c = colour_of(image, v);
            r = static_cast<unsigned char>(c[0] * 255.0f);
            g = static_cast<unsigned char>(c[1] * 255.0f);
            b = static_cast<unsigned char>(c[2] * 255.0f);
        }
        lut[static_cast<size_t>(v)] = rgb ? r << 16 | g << 8 | b : b << 16 | g << 8 | r;
    }
    const bool words = xim->bits_per_pixel == 32;
    for (int row = 0; row < image->height; ++row) {
        const unsigned char* src =
            image->data + static_cast<size_t>(row) * static_cast<size_t>(image->bytes_per_line);
        unsigned char* dst = reinterpret_cast<unsigned char*>(xim->data) +
                             static_cast<size_t>(row) * static_cast<size_t>(xim->bytes_per_line);
        if (words) {
            for (int col = 0; col < image->width; ++col) {
                const uint32_t p = lut[src[col]];
                std::memcpy(dst + 4 * col, &p, 4);
            }
            continue;
        }
        for (int col = 0; col < image->width; ++col) {
            const uint32_t p = lut[src[col]];
            dst[0] = static_cast<unsigned char>(p >> 16);
            dst[1] = static_cast<unsigned char>(p >> 8);
            dst[2] = static_cast<unsigned char>(p);
            dst += 3;
        }
    }
}

// Bits a pixel of the server's images of a depth; 0 if it has none.
int server_bits_per_pixel(int depth) {
    static int cached_depth = -1, cached_bits = 0;
    if (depth == cached_depth) return cached_bits;
    int n = 0;
    XPixmapFormatValues* formats = XListPixmapFormats(gget_display(), &n);
    cached_bits = 0;
    for (int i = 0; i < n; ++i)
        if (formats[i].depth == depth) cached_bits = formats[i].bits_per_pixel;
    if (formats) XFree(formats);
    cached_depth = depth;
    return cached_bits;
}

// Swaps bytes 0 and 2 of each pixel of a 24-bit image, in place.
void swap_red_blue(XImage* xim, int step) {
    for (int row = 0; row < xim->height; ++row) {
        unsigned char* p = reinterpret_cast<unsigned char*>(xim->data) +
                           static_cast<size_t>(row) * static_cast<size_t>(xim->bytes_per_line);
        for (int col = 0; col < xim->width; ++col, p += step) std::swap(p[0], p[2]);
    }
}

void convert_for_24(Image* image, XImage* xim) {
    XVisualInfo info{};
    match_truecolor(24, info);
    if (image->depth == 8) {
        xim->red_mask = info.red_mask;
        xim->green_mask = info.green_mask;
        xim->blue_mask = info.blue_mask;
        expand_to_24(image, xim);
        return;
    }
    xim->red_mask = image->red_mask;
    xim->green_mask = image->green_mask;
    xim->blue_mask = image->blue_mask;
    if (image->depth != 24 || image->red_mask == info.red_mask) return;
    if (image->bits_per_pixel == 24)
        swap_red_blue(xim, 3);
    else if (image->bits_per_pixel == 32)
        swap_red_blue(xim, 4);
}

void debug_ximage(const XImage* x) {
    if (!MESS_check(MESS_DEBUG)) return;
    MESS_print(MESS_DEBUG, "width: %d\n", x->width);
    MESS_print(MESS_DEBUG, "height: %d\n", x->height);
    MESS_print(MESS_DEBUG, "depth: %d\n", x->depth);
    MESS_print(MESS_DEBUG, "bits_per_pixel: %d\n", x->bits_per_pixel);
    MESS_print(MESS_DEBUG, "bytes_per_line: %d\n", x->bytes_per_line);
    MESS_print(MESS_DEBUG, "byte_order: %d\n", x->byte_order);
}

// Placement in the viewport: a negative offset counts from the right or bottom.
void place(const Image* image, int x, int y, const short vp[4], int& px, int& py) {
    px = x < 0 ? vp[0] + vp[2] - image->width + x : vp[0] + x;
    py = y < 0 ? vp[1] + vp[3] - image->height + y : vp[1] + y;
}

// Value of pixel (col) of an X image row, by depth, high byte first.
unsigned long pixel_at(const XImage* xim, const unsigned char* row, int col) {
    switch (xim->depth) {
        case 4:
            return col % 2 == 0 ? row[col / 2] >> 4 : row[col / 2] & 0x0f;
        case 8:
            return row[col];
        case 15:
        case 16:
            return xim->byte_order == LSBFirst
                       ? static_cast<unsigned long>(row[2 * col + 1] << 8 | row[2 * col])
                       : static_cast<unsigned long>(row[2 * col] << 8 | row[2 * col + 1]);
        case 24: {
            const int step = xim->bits_per_pixel == 32 ? 4 : 3;
            const unsigned char* p = row + step * col;
            if (xim->byte_order == MSBFirst)
                return step == 4 ? static_cast<unsigned long>(p[1] << 16 | p[2] << 8 | p[3])
                                 : static_cast<unsigned long>(p[0] << 16 | p[1] << 8 | p[2]);
            return static_cast<unsigned long>(p[2] << 16 | p[1] << 8 | p[0]);
        }
        default:
            return (row[col / 8] >> (col % 8)) & 1;
    }
}

long transparent_pixel(const char* colour) {
    if (!colour) return gget_color_ind(GCOLR_BACK);
    const int index = CLR_get_ind(colour);
    if (index != -1) return gget_color_ind(index);
    XColor c{};
    const Colormap cmap = gget_colormap();
    XParseColor(gget_display(), cmap, colour, &c);
    XAllocColor(gget_display(), cmap, &c);
    return static_cast<long>(c.pixel);
}

}  // namespace

int gsetup_image_colors(Image* image, long transparent) {
    const int depth = gget_win_depth();
    if (image->num_colors == 0 || !image->colors || !image->data) return 0;
    if (depth != 8 && depth != 4 && depth != 1) return 0;
    std::array<long, 256> map;
    map.fill(-1);
    const long values = static_cast<long>(image->bytes_per_line) * image->height * (8 / depth);
    auto remap = [&](int v) {
        if (map[static_cast<size_t>(v)] == -1) {
            const float* c = colour_of(image, v);
            if (transparent != NO_TRANSPARENT && gis_color_near(transparent, c[0], c[1], c[2], 1))
                map[static_cast<size_t>(v)] = transparent;
            else
                map[static_cast<size_t>(v)] = galloc_colr(-1, c[0], c[1], c[2]);
        }
        return map[static_cast<size_t>(v)];
    };
    unsigned char* data = image->data;
    for (long n = 0; n < values; ++n) {
        if (depth == 8) {
            data[n] = static_cast<unsigned char>(remap(data[n]));
        } else if (depth == 4) {
            unsigned char& byte = data[n / 2];
            if (n % 2 == 0)
                byte = static_cast<unsigned char>((remap(byte >> 4) & 0x0f) << 4 | (byte & 0x0f));
            else
                byte = static_cast<unsigned char>((byte & 0xf0) | (remap(byte & 0x0f) & 0x0f));
        } else {
            unsigned char& byte = data[n / 8];
            const int bit = static_cast<int>(n % 8);
            const int v = (byte >> bit) & 1;
            const long p = remap(v) & 1;
            byte = static_cast<unsigned char>((byte & ~(1 << bit)) | (p << bit));
        }
    }
    return 0;
}

int gset_ximage_params(Image* image, _XImage* ximage) {
    XImage* xim = ximage;
    const int depth = gget_win_depth();
    *xim = XImage{};
    xim->width = image->width;
    xim->height = image->height;
    xim->xoffset = 0;
    xim->format = ZPixmap;
    xim->byte_order = image->byte_order;
    xim->bitmap_bit_order = image->byte_order;
    xim->bitmap_unit = 32;
    xim->bitmap_pad = 32;
    xim->depth = depth;
    if (image->depth == 24)
        xim->bits_per_pixel = image->bits_per_pixel;
    else
        xim->bits_per_pixel = depth == 15 ? 16 : depth;
    if (image->depth == 24) {
        xim->bytes_per_line = image->bytes_per_line;
    } else {
        switch (depth) {
            case 24:
                // A server that keeps 24-bit pixels in 32-bit words gets them so:
                // the same pixels, with no conversion in the client library.
                if (image->depth == 8 && server_bits_per_pixel(24) == 32) {
                    xim->bits_per_pixel = 32;
                    xim->byte_order = host_byte_order();
                    xim->bytes_per_line = image->width * 4;
                } else {
                    xim->bytes_per_line = image->width * 3;
                }
                break;
            case 15:
            case 16:
                xim->bytes_per_line = image->width * 2;
                break;
            case 8:
                xim->bytes_per_line = image->width;
                break;
            case 4:
                xim->bytes_per_line = (image->width + 1) / 2;
                break;
            default:
                xim->bytes_per_line = (image->width + 7) / 8;
                break;
        }
    }
    if (depth == image->depth) {
        // The image's own rows: their length is the image's, padding and all.
        if (image->bytes_per_line > xim->bytes_per_line)
            xim->bytes_per_line = image->bytes_per_line;
        xim->data = reinterpret_cast<char*>(image->data);
    } else {
        xim->data = static_cast<char*>(std::malloc(
            static_cast<size_t>(image->height) * static_cast<size_t>(xim->bytes_per_line) + 1));
        if (!xim->data) return 0;
    }
    xim->red_mask = xim->green_mask = xim->blue_mask = 0xffff;
    xim->obdata = nullptr;
    if (depth == 15 || depth == 16) {
        XVisualInfo info{};
        match_truecolor(depth, info);
        xim->red_mask = info.red_mask;
        xim->green_mask = info.green_mask;
        xim->blue_mask = info.blue_mask;
        if (image->depth == 8) expand_to_16(image, xim);
    } else if (depth == 24) {
        convert_for_24(image, xim);
    }
    // The row length is the one asked for, not padded, so no validation here.
    _XInitImageFuncPtrs(xim);
    debug_ximage(xim);
    return 1;
}

int gload_image(Image* image, int x, int y) {
    gsetup_image_colors(image, NO_TRANSPARENT);
    short vp[4];
    gget_xviewport(vp);
    if (gtype_is_WIN_PIX()) {
        if (!has_drawable()) return 0;
        int px = 0, py = 0;
        place(image, x, y, vp, px, py);
        XImage xim;
        if (!gset_ximage_params(image, &xim)) return 0;
        XBuffer buffer{xim.data, xim.data != reinterpret_cast<char*>(image->data)};
        XPutImage(gget_display(), gget_draw_window(), gget_root_gc(), &xim, 0, 0, px, py,
                  static_cast<unsigned>(vp[2]), static_cast<unsigned>(vp[3]));
    } else if (gtype_is_PS()) {
        gps_image(image, x, y);
    }
    return 0;
}

int goverlay_image(Image* image, const char* transparent_colour, int x, int y) {
    if (!has_drawable()) return 0;
    Display* d = gget_display();
    const long t = transparent_pixel(transparent_colour);
    gsetup_image_colors(image, t);
    XImage xim;
    if (!gset_ximage_params(image, &xim)) return 0;
    XBuffer buffer{xim.data, xim.data != reinterpret_cast<char*>(image->data)};
    const int mask_line = (image->width + 7) / 8;
    std::vector<char> mask(static_cast<size_t>(mask_line) * static_cast<size_t>(image->height), 0);
    for (int row = 0; row < image->height; ++row) {
        const unsigned char* src =
            reinterpret_cast<const unsigned char*>(xim.data) +
            static_cast<size_t>(row) * static_cast<size_t>(xim.bytes_per_line);
        char* dst = mask.data() + static_cast<size_t>(row) * static_cast<size_t>(mask_line);
        for (int col = 0; col < image->width; ++col)
            if (static_cast<long>(pixel_at(&xim, src, col)) != t)
                dst[col / 8] = static_cast<char>(dst[col / 8] | (1 << (col % 8)));
    }
    const Pixmap clip = XCreateBitmapFromData(d, gget_root_window(), mask.data(),
                                              static_cast<unsigned>(image->width),
                                              static_cast<unsigned>(image->height));
    short vp[4];
    gget_xviewport(vp);
    int px = 0, py = 0;
    place(image, x, y, vp, px, py);
    XSetClipMask(d, gget_root_gc(), clip);
    XSetClipOrigin(d, gget_root_gc(), px, py);
    XPutImage(d, gget_draw_window(), gget_root_gc(), &xim, 0, 0, px, py,
              static_cast<unsigned>(vp[2]), static_cast<unsigned>(vp[3]));
    XSetClipMask(d, gget_root_gc(), None);
    XFreePixmap(d, clip);
    return 0;
}

namespace {

// The window's pixels as the server holds them, with their layout and masks.
bool copy_window_pixels(Display* d, const XWindowAttributes& wa, Image* image) {
    XImage* xim = XGetImage(d, gget_draw_window(), 0, 0, static_cast<unsigned>(wa.width),
                            static_cast<unsigned>(wa.height), AllPlanes, ZPixmap);
    if (!xim) {
        MESS_print(MESS_WARN, "gget_image: Unable to get image at %dx%d+%d+%d\n", wa.width,
                   wa.height, 0, 0);
        return false;
    }
    image->bits_per_pixel = xim->bits_per_pixel;
    image->bytes_per_line = xim->bytes_per_line;
    image->byte_order = xim->byte_order;
    image->depth = xim->depth;
    const size_t size =
        static_cast<size_t>(image->height) * static_cast<size_t>(image->bytes_per_line);
    image->data = static_cast<unsigned char*>(std::malloc(size ? size : 1));
    if (!image->data) {
        MESS_print(MESS_WARN, "gget_image: Unable to allocate data buffer.\n");
        XDestroyImage(xim);
        return false;
    }
    std::memcpy(image->data, xim->data, size);
    debug_ximage(xim);
    image->red_mask = static_cast<uint32_t>(xim->red_mask);
    image->green_mask = static_cast<uint32_t>(xim->green_mask);
    image->blue_mask = static_cast<uint32_t>(xim->blue_mask);
    XDestroyImage(xim);
    return true;
}

// The colours of the window's pixel values: none for true colour, whose masks say
// it all, else the colormap read back cell by cell.
bool read_window_colors(Display* d, const XWindowAttributes& wa, Image* image) {
    const Visual* visual = wa.visual;
    if (!wa.colormap) {
        image->num_colors = 0;
    } else if (visual->c_class == TrueColor) {
        image->mapped = 0;
        image->num_colors = 0;
        if (image->red_mask == 0) {
            image->red_mask = static_cast<uint32_t>(visual->red_mask);
            image->green_mask = static_cast<uint32_t>(visual->green_mask);
            image->blue_mask = static_cast<uint32_t>(visual->blue_mask);
        }
    } else {
        image->mapped = 1;
        const int n = visual->map_entries;
        std::vector<XColor> xcolors(static_cast<size_t>(n));
        image->colors =
            static_cast<float*>(std::malloc(static_cast<size_t>(n) * 3 * sizeof(float)));
        if (!image->colors) {
            MESS_print(MESS_WARN, "gget_image: Unable to allocate memory for colors\n");
            return false;
        }
        image->num_colors = n;
        const unsigned long rl = visual->red_mask & (~visual->red_mask + 1);
        const unsigned long gl = visual->green_mask & (~visual->green_mask + 1);
        const unsigned long bl = visual->blue_mask & (~visual->blue_mask + 1);
        unsigned long r = 0, g = 0, b = 0;
        for (int i = 0; i < n; ++i) {
            if (visual->c_class == DirectColor) {
                xcolors[static_cast<size_t>(i)].pixel = r + g + b;
                r += rl;
                if (r > visual->red_mask) r = 0;
                g += gl;
                if (g > visual->green_mask) g = 0;
                b += bl;
                if (b > visual->blue_mask) b = 0;
            } else {
                xcolors[static_cast<size_t>(i)].pixel = static_cast<unsigned long>(i);
            }
        }
        XQueryColors(d, wa.colormap, xcolors.data(), n);
        for (int i = 0; i < n; ++i) {
            const XColor& c = xcolors[static_cast<size_t>(i)];
            const std::array<unsigned short, 3> v = {c.red, c.green, c.blue};
            for (int k = 0; k < 3; ++k) {
                float f = static_cast<float>(v[static_cast<size_t>(k)]) / 65535.0f;
                if (f > 0.99f) f = 1.0f;
                image->colors[3 * i + k] = f;
            }
        }
    }
    return true;
}

}  // namespace

int gget_image(Image* image) {
    IMG_init(image);
    if (!has_drawable()) return 0;
    Display* d = gget_display();
    XWindowAttributes wa;
    if (!XGetWindowAttributes(d, gget_root_window(), &wa)) {
        MESS_print(MESS_WARN, "gget_image: Can't get target window attributes\n");
        return 0;
    }
    image->width = wa.width;
    image->height = wa.height;
    char* name = nullptr;
    if (XFetchName(d, gget_root_window(), &name) && name && *name)
        std::snprintf(image->info, sizeof image->info, "%s", name);
    else
        std::snprintf(image->info, sizeof image->info, "xwdump");
    if (name) XFree(name);
    if (!copy_window_pixels(d, wa, image) || !read_window_colors(d, wa, image)) return 0;
    XFlush(d);
    return 1;
}

int gread_image_file(const char* file, Image* image) {
    return IMG_read(file, image, 0);
}

int goverlay_image_file(const char* file, const char* colour, int x, int y) {
    if (!has_drawable()) return 0;
    Image image{};
    IMG_init(&image);
    if (IMG_read(file, &image, 0)) goverlay_image(&image, colour, x, y);
    IMG_free(&image);
    return 0;
}

int gsave_image_file(const char* file) {
    Image image{};
    if (!gget_image(&image)) {
        IMG_free(&image);
        return 0;
    }
    int status = 0;
    if (output_type == OUTPUT_GIF)
        status = GIF_write(file, &image);
    else if (output_type == OUTPUT_PNG)
        status = PNG_write(file, &image);
    else
        status = XWD_write(file, &image);
    IMG_free(&image);
    return status;
}

int gset_save_image_type(int type) {
    output_type = type;
    return 0;
}
