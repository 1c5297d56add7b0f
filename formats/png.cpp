// PNG files through libpng. libpng reports errors by longjmp: the functions that
// set the jump hold no object with a destructor, so nothing is skipped by it.
#include "formats/png.h"

#include <png.h>
#include <sys/stat.h>

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <vector>

#include "env/files.h"
#include "env/messages.h"
#include "formats/gif.h"
#include "formats/image.h"
#include "graphics/graphics.h"

namespace {

constexpr int PALETTE_SIZE = 256;
// The most a deflate stream expands per byte; a PNG whose rows need more than
// this of its file is not believed.
constexpr unsigned long long MAX_INFLATE_RATIO = 1032;

[[noreturn]] void on_error(png_structp png, png_const_charp text) {
    MESS_print(MESS_WARN, "PNG: %s\n", text);
    png_longjmp(png, 1);
}

void on_warning(png_structp, png_const_charp text) {
    MESS_print(MESS_DEBUG, "PNG warning: %s\n", text);
}

long long file_size(FILE* f) {
    struct stat st;
    if (fstat(fileno(f), &st) != 0 || !S_ISREG(st.st_mode)) return -1;
    return static_cast<long long>(st.st_size);
}

// What the writer puts in the file besides the pixels.
struct PngText {
    const char* title;
    char software[64];
    char created[64];
};

bool write_png(FILE* f, const Image* image, png_bytep* rows, const png_color* palette,
               PngText* text) {
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_write_struct(&png, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_write_struct(&png, &info);
        return false;
    }
    png_init_io(png, f);
    png_set_IHDR(png, info, static_cast<png_uint_32>(image->width),
                 static_cast<png_uint_32>(image->height), 8, PNG_COLOR_TYPE_PALETTE,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_set_PLTE(png, info, palette, PALETTE_SIZE);
    png_text entries[3] = {};
    const char* keys[3] = {"Title", "Software", "Creation Time"};
    const char* values[3] = {text->title, text->software, text->created};
    for (int i = 0; i < 3; i++) {
        entries[i].compression = PNG_TEXT_COMPRESSION_NONE;
        entries[i].key = const_cast<char*>(keys[i]);
        entries[i].text = const_cast<char*>(values[i]);
    }
    png_set_text(png, info, entries, 3);
    png_write_info(png, info);
    png_write_image(png, rows);
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return true;
}

struct PngHeader {
    png_uint_32 width = 0, height = 0;
    int bit_depth = 0, color_type = 0, interlace = 0, compression = 0, filter = 0;
};

// The header's size and pixel layout, into `image`.
PngHeader describe_header(png_structp png, png_infop info, Image* image) {
    PngHeader h;
    png_get_IHDR(png, info, &h.width, &h.height, &h.bit_depth, &h.color_type, &h.interlace,
                 &h.compression, &h.filter);
    MESS_print(MESS_DEBUG, "%d %d %d - %d %d - %d %d\n", static_cast<int>(h.width),
               static_cast<int>(h.height), h.bit_depth, h.color_type, h.interlace, h.compression,
               h.filter);
    std::snprintf(image->info, sizeof image->info, "PNG");
    image->width = static_cast<int>(h.width);
    image->height = static_cast<int>(h.height);
    const size_t rowbytes = png_get_rowbytes(png, info);
    image->bytes_per_line = static_cast<int>(rowbytes);
    image->colors = nullptr;
    if (h.color_type == PNG_COLOR_TYPE_GRAY || h.color_type == PNG_COLOR_TYPE_PALETTE) {
        image->depth = image->bits_per_pixel = h.bit_depth;
    } else {
        image->depth = 3 * h.bit_depth;
        image->bits_per_pixel = static_cast<int>(rowbytes / h.width * 8);
    }
    image->byte_order = 1;
    return h;
}

// The palette of a mapped file, or the channel masks of an RGB one. May
// longjmp through png_error.
void take_colours(png_structp png, png_infop info, Image* image, int color_type) {
    if (color_type == PNG_COLOR_TYPE_PALETTE) {
        image->mapped = 1;
        image->red_mask = image->green_mask = image->blue_mask = 0;
        png_colorp palette = nullptr;
        int count = 0;
        if (png_get_PLTE(png, info, &palette, &count) && count > 0) {
            image->colors = static_cast<float*>(std::malloc(sizeof(float) * 3 * count));
            if (!image->colors) png_error(png, "no memory for the palette");
            for (int i = 0; i < count; i++) {
                image->colors[3 * i] = palette[i].red / 255.0f;
                image->colors[3 * i + 1] = palette[i].green / 255.0f;
                image->colors[3 * i + 2] = palette[i].blue / 255.0f;
            }
            image->num_colors = count;
        }
        MESS_print(MESS_DEBUG, "color table size: %d\n", count);
    } else if (color_type == PNG_COLOR_TYPE_RGB || color_type == PNG_COLOR_TYPE_RGB_ALPHA) {
        image->mapped = 0;
        image->red_mask = 0xFF0000;
        image->green_mask = 0xFF00;
        image->blue_mask = 0xFF;
    }
}

// Every pass's rows into `image->data`, which holds `bytes`. Rows go straight
// to the picture, so later passes of an interlaced file add to what the
// earlier ones left.
void read_rows(png_structp png, Image* image, const PngHeader& h, size_t bytes) {
    const size_t rowbytes = static_cast<size_t>(image->bytes_per_line);
    const int passes = png_set_interlace_handling(png);
    for (int pass = 0; pass < passes; pass++)
        for (png_uint_32 y = 0; y < h.height; y++)
            png_read_row(png, image->data + static_cast<size_t>(y) * rowbytes, nullptr);
    if (h.color_type != PNG_COLOR_TYPE_RGB_ALPHA) return;
    // Alpha goes; the colour moves to the low three bytes, red staying in byte 0.
    for (size_t i = 0; i + 3 < bytes; i += 4) {
        unsigned char* p = image->data + i;
        p[3] = p[2];
        p[2] = p[1];
        p[1] = p[0];
    }
}

// The colours and pixels after the header, within `limit` bytes of pixels.
bool read_pixels(png_structp png, png_infop info, Image* image, const PngHeader& h,
                 unsigned long long limit) {
    const unsigned long long bytes =
        static_cast<unsigned long long>(image->bytes_per_line) * h.height;
    if (bytes > limit) {
        MESS_print(MESS_WARN, "PNG_read: Image of %dx%d is larger than the file\n", image->width,
                   image->height);
        return false;
    }
    take_colours(png, info, image, h.color_type);
    image->data = static_cast<unsigned char*>(std::calloc(bytes ? bytes : 1, 1));
    if (!image->data) {
        MESS_print(MESS_WARN, "Unable to allocate data buffer.\n");
        return false;
    }
    read_rows(png, image, h, bytes);
    png_read_end(png, nullptr);
    return true;
}

// Reads header, palette and pixels into `image`. `limit` bounds the pixel bytes.
bool read_png(FILE* f, Image* image, int header_only, unsigned long long limit) {
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, on_error, on_warning);
    if (!png) return false;
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return false;
    }
    if (setjmp(png_jmpbuf(png))) {
        png_destroy_read_struct(&png, &info, nullptr);
        return false;
    }
    png_init_io(png, f);
    png_set_sig_bytes(png, 8);
    png_read_info(png, info);
    const PngHeader h = describe_header(png, info, image);
    const bool ok = header_only == 1 || read_pixels(png, info, image, h, limit);
    png_destroy_read_struct(&png, &info, nullptr);
    return ok;
}

}  // namespace

int PNG_write(const char* name, const Image* image) {
    MESS_print(MESS_DEBUG, "width: %d\n", image->width);
    MESS_print(MESS_DEBUG, "height: %d\n", image->height);
    MESS_print(MESS_DEBUG, "depth: %d\n", image->depth);
    MESS_print(MESS_DEBUG, "bytes_per_line: %d\n", image->bytes_per_line);
    if (image->width <= 0 || image->height <= 0) {
        MESS_print(MESS_WARN, "PNG_write: No picture of %dx%d\n", image->width, image->height);
        return 0;
    }
    FILE* f = FILE_create(name, "wb", 0);
    if (!f) {
        MESS_print(MESS_WARN, "Unable to open PNG file\n");
        return 0;
    }
    const size_t width = static_cast<size_t>(image->width);
    std::vector<unsigned char> indices(width * static_cast<size_t>(image->height));
    auto pal = std::make_unique<GifPalette>();
    // The quantiser only reads the image when it writes to a buffer.
    GIF_quantise(const_cast<Image*>(image), GIF_TO_BUFFER, indices.data(), pal.get());
    MESS_print(MESS_DEBUG, "num_color: %d\n", pal->num_color);

    png_color palette[PALETTE_SIZE] = {};
    for (int i = 0; i < pal->num_color; i++) {
        palette[i].red = static_cast<png_byte>(pal->red[i]);
        palette[i].green = static_cast<png_byte>(pal->grn[i]);
        palette[i].blue = static_cast<png_byte>(pal->blu[i]);
    }
    std::vector<png_bytep> rows(static_cast<size_t>(image->height));
    for (size_t y = 0; y < rows.size(); y++) rows[y] = indices.data() + y * width;

    PngText text{};
    const char* title = gget_win_title();
    text.title = title ? title : "";
    std::snprintf(text.software, sizeof text.software, "ZMT - Meteo Tableau v%s", ZMT_version());
    std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    std::strftime(text.created, sizeof text.created, "%d %b %Y %H:%M:%S GMT", &utc);

    if (!write_png(f, image, rows.data(), palette, &text)) {
        FILE_discard(f);
        FILE_set_output_failed();
        MESS_print(MESS_WARN, "PNG_write: Unable to write %s\n", name);
        return 0;
    }
    return FILE_commit(f) == 0 ? 1 : 0;
}

int PNG_read(const char* name, Image* image, int header_only) {
    image->data = nullptr;
    image->colors = nullptr;
    FilePtr file(FILE_open(name, "rb"));
    if (!file) {
        MESS_print(MESS_WARN, "PNG_read: Unable to open file: %s\n", name);
        return 0;
    }
    png_byte sig[8];
    if (std::fread(sig, 1, 8, file.get()) != 8 || png_sig_cmp(sig, 0, 8) != 0) {
        MESS_print(MESS_WARN, "PNG_read: Not a PNG file: %s\n", name);
        return 0;
    }
    long long size = file_size(file.get());
    unsigned long long limit =
        size < 0 ? ~0ull : static_cast<unsigned long long>(size) * MAX_INFLATE_RATIO;
    if (!read_png(file.get(), image, header_only, limit)) {
        IMG_free(image);
        return 0;
    }
    return 1;
}

int PNG_dump(const char* name) {
    Image image{};
    IMG_init(&image);
    if (!gget_image(&image)) return 0;
    int status = PNG_write(name, &image);
    IMG_free(&image);
    return status;
}
