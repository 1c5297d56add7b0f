// Shared by the GIF, PNG and XWD tests: pictures in every pixel layout the writers take,
// the colours a reader hands back, and netpbm as the independent decoder.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "formats/image.h"
#include "test_support.h"

namespace raster_test {

// A picture as 8-bit red, green, blue triples, top row first.
struct Rgb {
    int width = 0, height = 0;
    std::vector<unsigned char> rgb;
    bool operator==(const Rgb&) const = default;
    const unsigned char* at(int x, int y) const { return &rgb[3 * (size_t(y) * width + x)]; }
};

inline std::ostream& operator<<(std::ostream& os, const Rgb& p) {
    return os << p.width << "x" << p.height << " (" << p.rgb.size() << " bytes)";
}

// A raster file of the shared real test data.
inline std::string raster(const char* name) {
    return sat_test::testdata(std::string("raster/") + name);
}

// Frees what it holds.
struct Held {
    Image image{};
    Held() { IMG_init(&image); }
    ~Held() { IMG_free(&image); }
    Held(const Held&) = delete;
    Image* operator->() { return &image; }
    Image* get() { return &image; }
};

// Decodes PBM, PGM, PPM and PAM into RGB. An empty picture if unreadable.
inline Rgb decode_pnm(const std::string& bytes) {
    Rgb out;
    std::istringstream in(bytes);
    std::string magic;
    in >> magic;
    int w = 0, h = 0, depth = 3, maxval = 1;
    if (magic == "P7") {
        std::string key;
        while (in >> key && key != "ENDHDR") {
            if (key == "WIDTH")
                in >> w;
            else if (key == "HEIGHT")
                in >> h;
            else if (key == "DEPTH")
                in >> depth;
            else if (key == "MAXVAL")
                in >> maxval;
            else
                in.ignore(1 << 20, '\n');
        }
    } else if (magic == "P4" || magic == "P5" || magic == "P6") {
        in >> w >> h;
        if (magic != "P4") in >> maxval;
        depth = magic == "P6" ? 3 : 1;
    } else {
        return out;
    }
    in.get();
    std::string body((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    out.width = w;
    out.height = h;
    const size_t sample = maxval > 255 ? 2 : 1;
    size_t row_bytes = magic == "P4" ? (size_t(w) + 7) / 8 : size_t(w) * depth * sample;
    if (maxval > 65535 || body.size() < row_bytes * h) return Rgb{};
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            const auto* row = reinterpret_cast<const unsigned char*>(body.data()) + y * row_bytes;
            unsigned char v[3];
            for (int c = 0; c < 3; c++) {
                const size_t at = (size_t(x) * depth + (depth >= 3 ? c : 0)) * sample;
                const long s = magic == "P4" ? !(row[x / 8] >> (7 - x % 8) & 1)  // 1 is black
                               : sample == 2 ? row[at] << 8 | row[at + 1]
                                             : row[at];
                v[c] = static_cast<unsigned char>((s * 255 + maxval / 2) / maxval);
            }
            out.rgb.insert(out.rgb.end(), v, v + 3);
        }
    return out;
}

// A file through one of the Debian decoders ("giftopnm", "pngtopam", "xwdtopnm").
inline Rgb oracle(const std::string& tool, const std::string& path,
                  std::vector<std::string> args = {}) {
    args.push_back(path);
    sat_test::RunResult r = sat_test::run_program("/usr/bin/" + tool, args);
    EXPECT_EQ(r.code, 0) << tool << " " << path << ": " << r.err;
    return decode_pnm(r.out);
}

// The colours of a picture a reader filled: a colour table, or channel masks.
inline Rgb colours_of(const Image& im) {
    Rgb out{im.width, im.height, {}};
    const int bytes = im.bits_per_pixel / 8;
    for (int y = 0; y < im.height; y++)
        for (int x = 0; x < im.width; x++) {
            const unsigned char* p = im.data + size_t(y) * im.bytes_per_line;
            if (im.mapped == 1) {
                int v = im.depth == 1   ? (p[x / 8] >> (7 - x % 8)) & 1
                        : im.depth == 4 ? (x % 2 ? p[x / 2] & 15 : p[x / 2] >> 4)
                                        : p[x];
                for (int c = 0; c < 3; c++)
                    out.rgb.push_back(v < im.num_colors ? static_cast<unsigned char>(
                                                              im.colors[3 * v + c] * 255 + 0.5f)
                                                        : 0);
            } else {
                uint32_t v = 0;
                for (int b = 0; b < bytes; b++)
                    v = im.byte_order == 1 ? v << 8 | p[x * bytes + b]
                                           : v | uint32_t{p[x * bytes + b]} << (8 * b);
                for (uint32_t mask : {im.red_mask, im.green_mask, im.blue_mask}) {
                    int shift = __builtin_ctz(mask), width = __builtin_popcount(mask);
                    out.rgb.push_back(
                        static_cast<unsigned char>(((v & mask) >> shift) << (8 - width)));
                }
            }
        }
    return out;
}

// Pixel layouts a window or a raster file can give the writers.
// (A 16-bit window's layout is checked by tests/plot/dump_test.cpp on Xvfb.)
enum class Layout { True32Lsb, True32Msb, True24Lsb, Mapped8Padded, Mapped4, Mapped1 };
constexpr Layout kLayouts[] = {Layout::True32Lsb,     Layout::True32Msb, Layout::True24Lsb,
                               Layout::Mapped8Padded, Layout::Mapped4,   Layout::Mapped1};

// A picture of w x h and at most `colours` colours in the layout, and the colours it shows.
inline void make_picture(Layout l, int w, int h, int colours, Image* im, Rgb* shown) {
    IMG_init(im);
    im->width = w;
    im->height = h;
    *shown = Rgb{w, h, {}};
    auto index_at = [&](int x, int y) { return (x * 7 + y * 3 + (x / 5) * (y / 3)) % colours; };
    auto colour = [](int i, int c) {
        return static_cast<unsigned char>((i * (37 + 60 * c) + 11 * c) & 0xFF);
    };
    const bool mapped = l == Layout::Mapped8Padded || l == Layout::Mapped4 || l == Layout::Mapped1;
    im->mapped = mapped ? 1 : 0;
    im->byte_order = (l == Layout::True32Lsb || l == Layout::True24Lsb) ? 0 : 1;
    // depth, bits a pixel, and bytes a line: 24-bit rows padded by two bytes
    struct Shape {
        int depth, bits, bpl;
    };
    const Shape shapes[] = {{24, 32, 4 * w},         {24, 32, 4 * w},     {24, 24, 3 * w + 2},
                            {8, 8, (w + 3) / 4 * 4}, {4, 4, (w + 1) / 2}, {1, 1, (w + 7) / 8}};
    const Shape& sh = shapes[static_cast<int>(l)];
    im->depth = sh.depth, im->bits_per_pixel = sh.bits, im->bytes_per_line = sh.bpl;
    if (!mapped) im->red_mask = 0xFF0000, im->green_mask = 0xFF00, im->blue_mask = 0xFF;
    im->data = static_cast<unsigned char*>(std::calloc(size_t(im->bytes_per_line) * h, 1));
    if (mapped) {
        im->num_colors = colours;
        im->colors = static_cast<float*>(std::malloc(sizeof(float) * 3 * colours));
        for (int i = 0; i < colours; i++)
            for (int c = 0; c < 3; c++) im->colors[3 * i + c] = colour(i, c) / 255.0f;
    }
    for (int y = 0; y < h; y++)
        for (int x = 0; x < w; x++) {
            const int i = index_at(x, y);
            unsigned char r = colour(i, 0), g = colour(i, 1), b = colour(i, 2);
            unsigned char* row = im->data + size_t(y) * im->bytes_per_line;
            const int bytes = im->bits_per_pixel / 8;  // true colour, with 0xEE in a spare byte
            const uint32_t v = 0xEEu << 24 | r << 16 | g << 8 | b;
            for (int k = 0; !mapped && k < bytes; k++)
                row[bytes * x + k] =
                    static_cast<unsigned char>(v >> 8 * (im->byte_order ? bytes - 1 - k : k));
            if (mapped)  // 4-bit pixels high nibble first, 1-bit ones low bit first
                row[x * im->depth / 8] |=
                    static_cast<unsigned char>(i << (im->depth == 4   ? 4 * (1 - x % 2)
                                                     : im->depth == 1 ? x % 8
                                                                      : 0));
            if (mapped)  // what a table entry gives after * 255 and truncation
                r = static_cast<unsigned char>(im->colors[3 * i] * 255),
                g = static_cast<unsigned char>(im->colors[3 * i + 1] * 255),
                b = static_cast<unsigned char>(im->colors[3 * i + 2] * 255);
            shown->rgb.insert(shown->rgb.end(), {r, g, b});
        }
}

inline int colours_for(Layout l) {
    return l == Layout::Mapped1 ? 2 : l == Layout::Mapped4 ? 16 : 200;
}

}  // namespace raster_test
