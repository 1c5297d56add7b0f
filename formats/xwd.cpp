// X window dump files: a header of 25 big-endian words, the window name, the
// colour map and the pixels as the X image holds them.
#include "formats/xwd.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "env/files.h"
#include "env/messages.h"
#include "formats/image.h"
#include "graphics/graphics.h"

namespace {

constexpr int HEADER_WORDS = 25;
constexpr int HEADER_BYTES = HEADER_WORDS * 4;
constexpr int FILE_VERSION = 7;
constexpr int COLOR_BYTES = 12;  // pixel, red, green, blue, flags, pad
constexpr int DO_RGB = 7;        // flags of a colour entry: all three channels
constexpr int CLASS_PSEUDO = 3;
constexpr int CLASS_TRUE = 4;

// Header words by name.
enum Word {
    W_HEADER_SIZE,
    W_VERSION,
    W_FORMAT,
    W_DEPTH,
    W_WIDTH,
    W_HEIGHT,
    W_XOFFSET,
    W_BYTE_ORDER,
    W_BITMAP_UNIT,
    W_BIT_ORDER,
    W_BITMAP_PAD,
    W_BITS_PER_PIXEL,
    W_BYTES_PER_LINE,
    W_CLASS,
    W_RED_MASK,
    W_GREEN_MASK,
    W_BLUE_MASK,
    W_BITS_PER_RGB,
    W_MAP_ENTRIES,
    W_NCOLORS,
    W_WIN_WIDTH,
    W_WIN_HEIGHT,
    W_WIN_X,
    W_WIN_Y,
    W_WIN_BORDER
};

void put32(unsigned char* p, uint32_t v) {
    p[0] = static_cast<unsigned char>(v >> 24);
    p[1] = static_cast<unsigned char>(v >> 16);
    p[2] = static_cast<unsigned char>(v >> 8);
    p[3] = static_cast<unsigned char>(v);
}
void put16(unsigned char* p, unsigned v) {
    p[0] = static_cast<unsigned char>(v >> 8);
    p[1] = static_cast<unsigned char>(v);
}
uint32_t get32(const unsigned char* p) {
    return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}
unsigned get16(const unsigned char* p) {
    return unsigned{p[0]} << 8 | p[1];
}

// Whether `need` more bytes can come from the file (always, for a stream).
bool file_holds(FILE* f, unsigned long long need) {
    long long left = FILE_bytes_left(f);
    return left < 0 || need <= static_cast<unsigned long long>(left);
}

bool valid_bits(uint32_t bits) {
    return bits == 1 || bits == 4 || bits == 8 || bits == 16 || bits == 24 || bits == 32;
}

void fail_write(const char* text) {
    std::fputs(text, stderr);
}

}  // namespace

int XWD_write(const char* name, const Image* image) {
    MESS_print(MESS_DEBUG, "width: %d\n", image->width);
    MESS_print(MESS_DEBUG, "height: %d\n", image->height);
    MESS_print(MESS_DEBUG, "byte_order: %d\n", image->byte_order);
    MESS_print(MESS_DEBUG, "bits_pixel: %d\n", image->bits_per_pixel);
    MESS_print(MESS_DEBUG, "depth: %d\n", image->depth);
    MESS_print(MESS_DEBUG, "bytes_per_line: %d\n", image->bytes_per_line);
    MESS_print(MESS_DEBUG, "num colors: %d\n", image->num_colors);
    const size_t body =
        image->height > 0 && image->bytes_per_line > 0
            ? static_cast<size_t>(image->height) * static_cast<size_t>(image->bytes_per_line)
            : 0;
    const int num_colors = image->colors ? (image->num_colors > 0 ? image->num_colors : 0) : 0;
    if (body > 0 && !image->data) {
        fail_write("Unable to write to XWD file.\n");
        return 0;
    }
    FILE* f = FILE_create(name, "wb", 0);
    if (!f) {
        fail_write("Unable to open dump file\n");
        return 0;
    }
    const size_t name_len = strnlen(image->info, sizeof image->info - 1) + 1;
    uint32_t w[HEADER_WORDS] = {};
    w[W_HEADER_SIZE] = static_cast<uint32_t>(HEADER_BYTES + name_len);
    w[W_VERSION] = FILE_VERSION;
    w[W_FORMAT] = 2;  // ZPixmap
    w[W_DEPTH] = static_cast<uint32_t>(image->depth);
    w[W_WIDTH] = w[W_WIN_WIDTH] = static_cast<uint32_t>(image->width);
    w[W_HEIGHT] = w[W_WIN_HEIGHT] = static_cast<uint32_t>(image->height);
    w[W_BYTE_ORDER] = w[W_BIT_ORDER] = static_cast<uint32_t>(image->byte_order);
    w[W_BITMAP_UNIT] = w[W_BITMAP_PAD] = 32;
    w[W_BITS_PER_PIXEL] = static_cast<uint32_t>(image->bits_per_pixel);
    w[W_BYTES_PER_LINE] = static_cast<uint32_t>(image->bytes_per_line);
    w[W_CLASS] = image->mapped == 1 ? CLASS_PSEUDO : CLASS_TRUE;
    w[W_RED_MASK] = image->red_mask;
    w[W_GREEN_MASK] = image->green_mask;
    w[W_BLUE_MASK] = image->blue_mask;
    w[W_BITS_PER_RGB] = 8;
    w[W_MAP_ENTRIES] = w[W_NCOLORS] = static_cast<uint32_t>(num_colors);
    unsigned char header[HEADER_BYTES];
    for (int i = 0; i < HEADER_WORDS; i++) put32(header + 4 * i, w[i]);

    bool ok = true;
    if (std::fwrite(header, 1, HEADER_BYTES, f) != HEADER_BYTES) {
        fail_write("Unable to write dump file header\n");
        ok = false;
    } else if (std::fwrite(image->info, 1, name_len - 1, f) != name_len - 1 ||
               std::fputc(0, f) == EOF) {
        fail_write("Unable to write window name to dump file.\n");
        ok = false;
    }
    std::vector<unsigned char> map(static_cast<size_t>(num_colors) * COLOR_BYTES);
    for (int i = 0; i < num_colors; i++) {
        unsigned char* e = map.data() + static_cast<size_t>(i) * COLOR_BYTES;
        put32(e, static_cast<uint32_t>(i));
        for (int c = 0; c < 3; c++)
            put16(e + 4 + 2 * c, static_cast<unsigned>(image->colors[3 * i + c] * 65535));
        e[10] = DO_RGB;
    }
    if (ok && !map.empty() && std::fwrite(map.data(), 1, map.size(), f) != map.size()) {
        fail_write("Unable to write color map to dump file.\n");
        ok = false;
    }
    if (ok && body > 0 && std::fwrite(image->data, 1, body, f) != body) {
        fail_write("Unable to write to XWD file.\n");
        ok = false;
    }
    if (!ok) {
        FILE_discard(f);
        FILE_set_output_failed();
        return 0;
    }
    return FILE_commit(f) == 0 ? 1 : 0;
}

namespace {

// The colour map of `ncolors` entries, each at its own pixel value. False (the
// image freed once anything was allocated) when the file ends early.
bool read_color_map(FILE* f, Image* image, uint32_t ncolors) {
    if (!file_holds(f, static_cast<unsigned long long>(ncolors) * COLOR_BYTES)) {
        MESS_print(MESS_WARN, "Unable to read color map from dump file.\n");
        return false;
    }
    if (ncolors > 0) {
        image->colors =
            static_cast<float*>(std::calloc(static_cast<size_t>(ncolors) * 3, sizeof(float)));
        if (!image->colors) {
            MESS_print(MESS_WARN, "Unable to allocate data buffer.\n");
            return false;
        }
        image->num_colors = static_cast<int>(ncolors);
    }
    for (uint32_t i = 0; i < ncolors; i++) {
        unsigned char e[COLOR_BYTES];
        if (std::fread(e, 1, COLOR_BYTES, f) != COLOR_BYTES) {
            MESS_print(MESS_WARN, "Unable to read color map from dump file.\n");
            IMG_free(image);
            return false;
        }
        // Each entry lands at its own pixel value; one past the table is dropped
        // (true-colour dumps number their entries by channel steps).
        uint32_t pixel = get32(e);
        if (pixel >= ncolors) continue;
        for (int c = 0; c < 3; c++) image->colors[3 * pixel + c] = get16(e + 4 + 2 * c) / 65535.0f;
    }
    return true;
}

// The rows of pixels as they stand; false, with the image freed, when they are not
// all there.
bool read_pixmap(FILE* f, Image* image) {
    const size_t body =
        static_cast<size_t>(image->bytes_per_line) * static_cast<size_t>(image->height);
    if (!file_holds(f, body)) {
        MESS_print(MESS_WARN, "Unable to read pixmap from dump file.\n");
        IMG_free(image);
        return false;
    }
    image->data = static_cast<unsigned char*>(std::malloc(body));
    if (!image->data) {
        MESS_print(MESS_WARN, "Unable to allocate data buffer.\n");
        IMG_free(image);
        return false;
    }
    if (std::fread(image->data, 1, body, f) != body) {
        MESS_print(MESS_WARN, "Unable to read pixmap from dump file.\n");
        IMG_free(image);
        return false;
    }
    return true;
}

// What was read, for the debug log.
void print_geometry(const Image* image, uint32_t visual_class) {
    MESS_print(MESS_DEBUG, "width: %d\n", image->width);
    MESS_print(MESS_DEBUG, "height: %d\n", image->height);
    MESS_print(MESS_DEBUG, "byte_order: %d\n", image->byte_order);
    MESS_print(MESS_DEBUG, "depth: %d\n", image->depth);
    MESS_print(MESS_DEBUG, "bytes_per_line: %d\n", image->bytes_per_line);
    MESS_print(MESS_DEBUG, "bits_per_pixel: %d\n", image->bits_per_pixel);
    MESS_print(MESS_DEBUG, "color type: %u\n", visual_class);
    MESS_print(MESS_DEBUG, "num_colors: %d\n", image->num_colors);
}

}  // namespace

int XWD_read(const char* name, Image* image) {
    const int max_depth = image->depth;
    image->data = nullptr;
    image->colors = nullptr;
    FilePtr file(FILE_open(name, "rb"));
    if (!file) {
        MESS_print(MESS_WARN, "XWD_read: Unable to open file: %s\n", name);
        return 0;
    }
    FILE* f = file.get();
    unsigned char header[HEADER_BYTES];
    if (std::fread(header, 1, HEADER_BYTES, f) != HEADER_BYTES) {
        MESS_print(MESS_WARN, "XWD_read: File ends in the header: %s\n", name);
        return 0;
    }
    uint32_t w[HEADER_WORDS];
    for (int i = 0; i < HEADER_WORDS; i++) w[i] = get32(header + 4 * i);
    if (w[W_VERSION] != FILE_VERSION) {
        MESS_print(MESS_WARN, "XWD file format version mismatch\n");
        return 0;
    }
    if (w[W_HEADER_SIZE] < HEADER_BYTES) {
        MESS_print(MESS_WARN, "XWD header size is too small.\n");
        return 0;
    }
    if (w[W_DEPTH] > static_cast<uint32_t>(max_depth < 0 ? 0 : max_depth)) {
        MESS_print(MESS_WARN, "Incorrect depth: %u > %d\n", w[W_DEPTH], max_depth);
        return 0;
    }
    const uint32_t name_len = w[W_HEADER_SIZE] - HEADER_BYTES;
    if (!file_holds(f, name_len)) {
        MESS_print(MESS_WARN, "Unable to read window name from dump file.\n");
        return 0;
    }
    std::vector<char> window_name(name_len + 1u, '\0');
    if (std::fread(window_name.data(), 1, name_len, f) != name_len) {
        MESS_print(MESS_WARN, "Unable to read window name from dump file.\n");
        return 0;
    }
    std::snprintf(image->info, sizeof image->info, "%s", window_name.data());

    // The geometry must describe the pixels it claims, or later users of the
    // picture would read past its rows.
    const uint32_t width = w[W_WIDTH], height = w[W_HEIGHT], bpl = w[W_BYTES_PER_LINE];
    const uint32_t bits = w[W_BITS_PER_PIXEL];
    if (width == 0 || height == 0 || width > INT_MAX || height > INT_MAX || bpl > INT_MAX ||
        !valid_bits(bits) || w[W_DEPTH] == 0 || w[W_DEPTH] > bits ||
        static_cast<unsigned long long>(bpl) * 8 < static_cast<unsigned long long>(width) * bits) {
        MESS_print(MESS_WARN,
                   "XWD_read: Bad geometry: %ux%u, depth %u, %u bits a pixel, %u bytes a line\n",
                   width, height, w[W_DEPTH], bits, bpl);
        return 0;
    }
    image->width = static_cast<int>(width);
    image->height = static_cast<int>(height);
    image->byte_order = static_cast<int>(w[W_BYTE_ORDER]);
    image->depth = static_cast<int>(w[W_DEPTH]);
    image->bytes_per_line = static_cast<int>(bpl);
    image->bits_per_pixel = static_cast<int>(bits);
    if (w[W_CLASS] == CLASS_TRUE) {
        image->mapped = 0;
        image->red_mask = w[W_RED_MASK];
        image->green_mask = w[W_GREEN_MASK];
        image->blue_mask = w[W_BLUE_MASK];
    } else {
        image->mapped = 1;
    }
    if (!read_color_map(f, image, w[W_NCOLORS])) return 0;
    if (!read_pixmap(f, image)) return 0;
    print_geometry(image, w[W_CLASS]);
    return 1;
}

int XWD_dump(const char* name) {
    return IMG_dump_with(name,
                         [](const char* file, Image* image) { return XWD_write(file, image); });
}
