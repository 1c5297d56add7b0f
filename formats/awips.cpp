// The AWIPS reader: a 512-byte product header behind an optional WMO heading,
// then one byte a pixel, plain or as a PNG body ("awip"), or the whole product
// as a chain of zlib streams behind a text line ("awipz"). The images lie on a
// regular map grid, so the domain comes from the header alone.
#include "formats/awips.h"

#include <png.h>
#include <zlib.h>

#include <array>
#include <csetjmp>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/sat.h"
#include "env/dates.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "formats/image.h"
#include "maps/projections.h"

namespace {

constexpr int kHeaderBytes = 512;
constexpr int kInBytes = 2000;    // compressed bytes held at a time
constexpr int kOutBytes = 10000;  // inflated bytes a call
constexpr int kPrefixLimit = 32;  // longest prefix before the product header
constexpr int kMaxSize = 10000;   // bound on lines and on elements
constexpr int kLineBytes = 100;   // longest text line before the zlib chain
constexpr uint32_t kDebugZ = 0x40000000;
constexpr uint32_t kDebugGrid = 0x20000000;

// The in-memory PNG body that the library's read callback serves.
struct PngSource {
    std::vector<unsigned char> data;
    size_t off = 0;
};
PngSource png_src;

// A product header with its anchor: position n of the table is at h + n.
struct Header {
    const unsigned char* bytes;
    int h;
    int at(int n) const { return bytes[h + n]; }
    int u16(int n) const { return at(n) << 8 | at(n + 1); }
    int u24(int n) const { return at(n) << 16 | at(n + 1) << 8 | at(n + 2); }
    // Sign and magnitude, in ten-thousandths of a degree.
    float angle(int n) const {
        const float v = static_cast<float>(u24(n) & 0x7FFFFF) / 10000.0f;
        return (at(n) & 0x80) ? -v : v;
    }
};

float east_of_180(float lon) {
    return lon > 180.0f ? lon - 360.0f : lon;
}

// Position of the first byte equal to c within the limit, from `from` on.
int find_within(const unsigned char* b, int from, unsigned char c) {
    int i = from;
    while (i < kPrefixLimit && b[i] != c) i++;
    return i;
}

// The anchor h and the length k of the prefix before the product header.
void find_anchor(const unsigned char* b, int* h, int* k) {
    if (b[0] == '\n') {
        int i = 0;
        while (i < kPrefixLimit && b[i] == '\n') i++;
        *h = *k = i;
    } else if (b[0] == 'T' || std::memcmp(b, "** TI", 5) == 0) {
        *h = *k = find_within(b, 0, '\n');
    } else if (b[0] == 1 && b[1] == 13 && b[2] == 13) {
        *h = *k = find_within(b, find_within(b, 0, 'T'), '\n');
    } else {
        *h = -1;
        *k = 0;
    }
}

struct ChannelName {
    int channel;
    const char* text;
};
constexpr ChannelName kChannels[] = {
    {1, "Visible"},
    {2, "Infrared 3.9um"},
    {3, "Water Vapor"},
    {4, "Infrared 11um"},
    {5, "Infrared 12um"},
    {6, "Infrared 13um"},
    {7, "Infrared 1.3um"},
    {13, "Imager lifted index"},
    {14, "Imager precipitable water"},
    {15, "Imager surface skin temperature"},
    {16, "Sounder lifted index"},
    {17, "Sounder precipitable water"},
    {18, "Sounder surface skin temperature"},
    {27, "Gridded cloud top height"},
    {28, "Gridded cloud amount"},
    {40, "Low cloud base"},
    {43, "Sounder 14.06um"},
    {48, "Sounder 11.03um"},
    {50, "Sounder 7.43um"},
    {51, "Sounder 7.02um"},
    {52, "Sounder 6.51um"},
    {55, "Sounder 4.45um"},
    {57, "Sounder 3.98um"},
    {59, "Sounder visible"},
};

const char* channel_text(int channel) {
    for (const ChannelName& c : kChannels)
        if (c.channel == channel) return c.text;
    return nullptr;
}

std::string entity_text(int entity, int channel) {
    if (entity >= 10 && entity <= 16) return "GOES " + std::to_string(entity - 3) + " ";
    switch (entity) {
        case 7:
            return "DMSP ";
        case 8:
            return "GMS ";
        case 9:
            return "METEOSAT ";
        case 99: {
            std::string text = "Gempak ";
            // Radar products: channel 27 takes both texts.
            if (channel == 27) text += "Base reflectivity (Dbz)";
            if (channel == 27 || channel == 26) text += "Echo tops";
            return text;
        }
        default:
            return "";
    }
}

void make_info(const Header& hd, Image* image) {
    const int entity = hd.at(2), sector = hd.at(3), channel = hd.at(4);
    std::string info = entity_text(entity, channel);
    if (sector == 0) info = "GOES NH ";
    if (sector == 9) info = "GOES NC ";
    if (const char* text = channel_text(channel))
        info += text;
    else
        info += std::to_string(channel);
    std::snprintf(image->info, sizeof image->info, "%s", info.c_str());
}

void fudge(Domain* d) {
    const char* text = std::getenv("SAT_FUDGE");
    float lat = 0, lon = 0;
    if (text && std::sscanf(text, "%f,%f", &lat, &lon) >= 1) {
        d->clat += lat;
        d->clon += lon;
    }
}

void mercator_domain(const Header& hd, Domain* d) {
    MESS_print(kDebugGrid, "Mercator Grid\n");
    d->proj = 3;
    d->plat = 0;
    const float la1 = hd.angle(21), lo1 = east_of_180(hd.angle(24));
    const float la2 = hd.angle(28), lo2 = east_of_180(hd.angle(31));
    if (lo1 <= lo2) {
        d->plon = (lo1 + lo2) / 2;
    } else {
        d->plon = (lo1 - 360.0f + lo2) / 2;
        if (d->plon < -180.0f) d->plon += 360.0f;
    }
    MAP_domain(d);
    float x1, y1, x2, y2;
    MAP_tran(la1, lo1, &x1, &y1);
    MAP_tran(la2, lo2, &x2, &y2);
    d->dx = (x2 - x1) / static_cast<float>(d->nx - 1);
    d->dy = (y2 - y1) / static_cast<float>(d->ny - 1);
    MAP_untran((x1 + x2) / 2, (y1 + y2) / 2, &d->clat, &d->clon);
    MESS_print(kDebugGrid, "Grid size: %3.2fx%3.2f\n", d->dx, d->dy);
    MESS_print(kDebugGrid, "Grid locate: %3.2f N, %3.2f E - %3.2f E %f %f\n", d->clat, d->clon,
               d->plon, lo1, lo2);
}

void lambert_domain(const Header& hd, Domain* d) {
    MESS_print(kDebugGrid, "Lambert Conformal Grid\n");
    d->proj = 4;
    d->plat = (hd.at(38) & 1) ? -90.0f : 90.0f;
    d->plon = east_of_180(hd.angle(28));
    // The sign of the tangent latitude is taken from byte 29, as the product
    // headers in use have always been read.
    float latin = static_cast<float>(hd.u24(39) & 0x7FFFFF) / 10000.0f;
    if (hd.at(29) & 0x80) latin = -latin;
    d->param[0] = d->param[1] = latin;
    d->param[2] = 1.0f;
    MAP_domain(d);
    float x, y;
    MAP_tran(hd.angle(21), east_of_180(hd.angle(24)), &x, &y);
    d->dx = static_cast<float>(hd.u24(31)) / 10000.0f / 100.0f;
    d->dy = static_cast<float>(hd.u24(34)) / 10000.0f / 100.0f;
    MAP_untran(x + static_cast<float>((d->nx - 1) / 2) * d->dx,
               y + static_cast<float>((d->ny - 1) / 2) * d->dy, &d->clat, &d->clon);
    MESS_print(kDebugGrid, "Grid size: %3.2fx%3.2f\n", d->dx, d->dy);
    MESS_print(kDebugGrid, "Grid parallels: %3.2f N, %3.2f N\n", latin, latin);
    MESS_print(kDebugGrid, "Grid locate: %3.2f N, %3.2f E\n", d->clat, d->clon);
}

void polar_domain(const Header& hd, Domain* d) {
    MESS_print(kDebugGrid, "Polar Stereographic Grid\n");
    d->proj = 1;
    d->plat = (hd.at(37) & 1) ? -90.0f : 90.0f;
    d->plon = east_of_180(hd.angle(28));
    MAP_domain(d);
    float x, y;
    MAP_tran(hd.angle(21), east_of_180(hd.angle(24)), &x, &y);
    d->dx = static_cast<float>(hd.u24(31)) / 1000000.0f;
    d->dy = static_cast<float>(hd.u24(34)) / 1000000.0f;
    MAP_untran(x + static_cast<float>(d->nx - 1) * d->dx * 0.5f,
               y + static_cast<float>(d->ny - 1) * d->dy * 0.5f, &d->clat, &d->clon);
    MESS_print(kDebugGrid, "Grid size: %3.2fx%3.2f\n", d->dx, d->dy);
    MESS_print(kDebugGrid, "Grid locate: %3.2f N, %3.2f E\n", d->clat, d->clon);
}

// Everything the product header gives. -1 for a size out of bounds.
int fill_image(const Header& hd, Image* image) {
    image->source = SAT_AWIP;
    const int year = hd.at(9);
    image->date.year = year < 80 ? year + 2000 : year + 1900;
    image->date.month = hd.at(10);
    image->date.day = hd.at(11);
    image->date.hour = hd.at(12);
    image->date.minute = hd.at(13);
    image->date.second = hd.at(14);
    DATE_make_label(&image->date, image->date_label);
    image->type = hd.at(2) * 100 + hd.at(4);
    make_info(hd, image);

    const int nx = hd.u16(17), ny = hd.u16(19);
    if (nx < 1 || nx > kMaxSize || ny < 1 || ny > kMaxSize) {
        MESS_print(MESS_WARN, "SAT_read_AWIP: Invalid image parameters\n");
        return -1;
    }
    image->width = image->bytes_per_line = nx;
    image->height = ny;
    image->depth = image->bits_per_pixel = 8;
    Domain* d = &image->domain;
    d->nx = nx;
    d->ny = ny;
    MESS_print(kDebugGrid, "Image size: %dx%d\n", nx, ny);

    Domain saved;
    MAP_get_domain(&saved);
    const int proj = hd.at(16);
    if (proj == 1 || proj == 3 || proj == 5) {
        if (proj == 1) mercator_domain(hd, d);
        if (proj == 3) lambert_domain(hd, d);
        if (proj == 5) polar_domain(hd, d);
        fudge(d);
    }
    MAP_domain(&saved);
    return 0;
}

// --- PNG bodies -------------------------------------------------------------

void png_read_data(png_structp png, png_bytep out, size_t n) {
    if (png_src.off + n > png_src.data.size()) png_error(png, "PNG body cut short");
    std::memcpy(out, png_src.data.data() + png_src.off, n);
    png_src.off += n;
}

[[noreturn]] void png_fail(png_structp png, png_const_charp text) {
    MESS_print(MESS_WARN, "SAT_read_AWIP: Bad PNG body: %s\n", text);
    png_longjmp(png, 1);
}

void png_warn(png_structp, png_const_charp text) {
    MESS_print(MESS_DEBUG, "SAT_read_AWIP: PNG: %s\n", text);
}

// Decodes the body held in png_src into the image. Only plain C objects live
// between the library's error jump and its target.
int decode_png(Image* image) {
    MESS_print(MESS_MESS, "PNG compressed\n");
    png_src.off = 8;
    if (png_sig_cmp(png_src.data.data(), 0, 8) != 0) {
        MESS_print(MESS_WARN, "SAT_read_AWIP: Bad PNG body: no signature\n");
        return -1;
    }
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, png_fail, png_warn);
    if (!png) return -1;
    png_infop info = png_create_info_struct(png);
    png_infop end = info ? png_create_info_struct(png) : nullptr;
    unsigned char* volatile row = nullptr;
    if (!end || setjmp(png_jmpbuf(png))) {
        std::free(row);
        png_destroy_read_struct(&png, info ? &info : nullptr, end ? &end : nullptr);
        return -1;
    }
    png_set_read_fn(png, nullptr, png_read_data);
    png_set_sig_bytes(png, 8);
    png_read_info(png, info);
    png_uint_32 width, height;
    int bit_depth, color_type, interlace, compression, filter;
    png_get_IHDR(png, info, &width, &height, &bit_depth, &color_type, &interlace, &compression,
                 &filter);
    MESS_print(MESS_DEBUG, "%d %d %d - %d %d - %d %d\n", static_cast<int>(width),
               static_cast<int>(height), bit_depth, color_type, interlace, compression, filter);
    if (color_type != PNG_COLOR_TYPE_GRAY) png_error(png, "not a grey image");
    const int passes = png_set_interlace_handling(png);
    png_read_update_info(png, info);
    const size_t rowbytes = png_get_rowbytes(png, info);
    row = static_cast<unsigned char*>(std::calloc(rowbytes ? rowbytes : 1, 1));
    if (!row) png_error(png, "out of memory");
    const size_t nx = static_cast<size_t>(image->width);
    const size_t keep = rowbytes < nx ? rowbytes : nx;
    // Each pass adds its pixels to what the row already holds.
    for (int pass = 0; pass < passes; pass++) {
        for (png_uint_32 y = 0; y < height; y++) {
            unsigned char* line =
                y < static_cast<png_uint_32>(image->height) ? image->data + y * nx : nullptr;
            if (line) std::memcpy(row, line, keep);
            png_read_row(png, row, nullptr);
            if (line) std::memcpy(line, row, keep);
        }
    }
    png_read_end(png, end);
    std::free(row);
    png_destroy_read_struct(&png, &info, &end);
    return 0;
}

// --- The two forms ------------------------------------------------------------

struct Reader {
    FILE* file = nullptr;
    int form = SAT_AWIP;
    // The zlib chain of the compressed form.
    z_stream z{};
    bool z_active = false;
    int z_result = Z_OK;
    std::array<unsigned char, kInBytes> in{};
    size_t in_len = 0;
    std::array<unsigned char, kOutBytes> out{};
    std::array<unsigned char, kHeaderBytes> plain{};

    ~Reader() {
        if (z_active) inflateEnd(&z);
        if (file) std::fclose(file);
    }

    // One call of inflate on what the input holds: fresh stream after a stream end.
    int inflate_once() {
        if (!z_active) {
            z = z_stream{};
            if (inflateInit(&z) != Z_OK) return z_result = Z_MEM_ERROR;
            z_active = true;
        }
        z.next_in = in.data();
        z.avail_in = static_cast<uInt>(in_len);
        z.next_out = out.data();
        z.avail_out = kOutBytes;
        z_result = inflate(&z, Z_PARTIAL_FLUSH);
        MESS_print(kDebugZ, "Inf: %d -- %d %d %d -- 10000 %d %d -- %2X %2X -- %2X %2X\n", z_result,
                   static_cast<int>(in_len), z.avail_in, kOutBytes - z.avail_out, z.avail_out,
                   static_cast<int>(z.total_out), in[0], in[1], out[0], out[1]);
        if (z_result == Z_STREAM_END) {
            inflateEnd(&z);
            z_active = false;
        }
        std::memmove(in.data(), z.next_in, z.avail_in);
        in_len = z.avail_in;
        return z_result;
    }

    size_t top_up() {
        const size_t n = std::fread(in.data() + in_len, 1, kInBytes - in_len, file);
        in_len += n;
        return n;
    }

    // A text line of up to kLineBytes characters; false at end of file.
    bool skip_line() {
        int c = 0;
        for (int n = 0; n < kLineBytes && (c = std::getc(file)) != EOF && c != '\n'; n++) {
        }
        return c != EOF;
    }

    // The compressed form's header: the first inflate of the chain. Null on failure.
    const unsigned char* compressed_header() {
        const int first = std::getc(file);
        if (first == EOF) return nullptr;
        std::ungetc(first, file);
        if (!skip_line()) return nullptr;
        const int extra = first == '\n' ? 1 : first == 1 ? 2 : 0;
        for (int i = 0; i < extra; i++)
            if (!skip_line()) return nullptr;
        if (top_up() < kHeaderBytes) return nullptr;
        inflate_once();
        return out.data();
    }

    const unsigned char* plain_header() {
        if (std::fread(plain.data(), 1, kHeaderBytes, file) != kHeaderBytes) return nullptr;
        return plain.data();
    }

    // The rest of the chain into the image, cut at the image's end.
    void inflate_pixels(unsigned char* data, size_t size) {
        size_t filled = 0;
        while (filled < size) {
            const size_t came = top_up();
            if (in_len == 0 && came == 0) break;
            const size_t before = in_len;
            inflate_once();
            const size_t produced = kOutBytes - z.avail_out;
            const size_t take = produced < size - filled ? produced : size - filled;
            std::memcpy(data + filled, out.data(), take);
            filled += take;
            // A stream that asks for a dictionary, or one that moves no more,
            // would hold the loop on the same bytes for ever.
            if (z_result < 0 || z_result == Z_NEED_DICT) break;
            if (produced == 0 && in_len == before && z_result != Z_STREAM_END) break;
        }
    }

    int read(const char* name, Image* image) {
        file = FILE_open(name, "r");
        if (!file) {
            MESS_print(MESS_WARN, "SAT_read_AWIP: Unable to open file:%s\n", name);
            return -1;
        }
        const unsigned char* bytes = form == SAT_AWIPZ ? compressed_header() : plain_header();
        if (!bytes) {
            MESS_print(MESS_WARN, "SAT_read_AWIP: Product header cut short: %s\n", name);
            return -1;
        }
        int h, k;
        find_anchor(bytes, &h, &k);
        if (fill_image(Header{bytes, h}, image) != 0) return -1;

        const size_t size = static_cast<size_t>(image->width) * image->height;
        if (form == SAT_AWIP) {
            // The rest of the prefix that the header read left behind.
            std::vector<unsigned char> rest(static_cast<size_t>(k) + 1);
            if (std::fread(rest.data(), 1, rest.size(), file) != rest.size()) {
                MESS_print(MESS_WARN, "SAT_read_AWIP: Product header cut short: %s\n", name);
                return -1;
            }
        }
        image->data = static_cast<unsigned char*>(std::calloc(size, 1));
        if (!image->data) return -1;
        if (form == SAT_AWIPZ) {
            inflate_pixels(image->data, size);
            return 0;
        }
        const size_t count = std::fread(image->data, 1, size, file);
        std::fclose(file);
        file = nullptr;
        if (count < 4 || std::memcmp(image->data + 1, "PNG", 3) != 0) return 0;
        png_src.data.assign(image->data, image->data + count);
        std::memset(image->data, 0, size);
        const int status = decode_png(image);
        png_src = PngSource{};
        return status;
    }
};

}  // namespace

int SAT_read_AWIP(const char* name, Image* image) {
    IMG_init(image);
    Reader reader;
    reader.form = FLAG_get(14) == SAT_AWIPZ ? SAT_AWIPZ : SAT_AWIP;
    if (reader.read(name, image) == 0) return 0;
    std::free(image->data);
    image->data = nullptr;
    return -1;
}
