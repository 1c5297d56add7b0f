// The Image record's life and the native image format, plain and compressed.
#include "formats/image.h"

#include <sys/stat.h>
#include <unistd.h>
#include <zlib.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "app/sat.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "formats/gif.h"
#include "formats/png.h"
#include "formats/xwd.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "plot/plot.h"

namespace {

constexpr int PIECE = 10000;    // bytes of image per compressed stream, and input buffer
constexpr int OUT_BUF = 12000;  // output buffer; a piece of PIECE always deflates into it
constexpr int LINE = 161;       // fgetline reads at most 160 characters
// The largest pixel buffer a header may ask for. It is allocated zeroed and touched
// only as far as the file fills it, so a short file costs no more than its size.
constexpr size_t MAX_PIXELS = 0x7FFFFFFF;

// Seconds the compressed reader waits for a file still being written.
int max_waits = 10;

void copy_text(char* dst, size_t size, const char* src) {
    size_t n = strnlen(src, size - 1);
    std::memcpy(dst, src, n);
    dst[n] = '\0';
}

bool skip_bytes(FILE* f, long n) {
    unsigned char buf[1024];
    while (n > 0) {
        size_t want = n < static_cast<long>(sizeof buf) ? static_cast<size_t>(n) : sizeof buf;
        size_t got = std::fread(buf, 1, want, f);
        if (got == 0) return false;
        n -= static_cast<long>(got);
    }
    return true;
}

// Reads a plain body into the zeroed buffer, as far as the file goes.
void read_plain(FILE* f, unsigned char* data, size_t needed) {
    size_t used = 0;
    while (used < needed) {
        size_t got = std::fread(data + used, 1, needed - used, f);
        if (got == 0) break;
        used += got;
    }
}

// Inflates the run of zlib streams that forms a compressed body.
void read_compressed(FILE* f, size_t expected, unsigned char* data, size_t needed) {
    unsigned char in[PIECE];
    unsigned char out[OUT_BUF];
    z_stream zs{};
    bool active = false;
    bool first = true;
    int last = Z_OK;
    int waits = 0;
    size_t avail = 0, pos = 0, used = 0;
    unsigned long long total = 0;

    for (;;) {
        if (avail == 0) {
            avail = std::fread(in, 1, PIECE, f);
            pos = 0;
            if (avail == 0) {
                if (total >= expected || waits >= max_waits) break;
                std::clearerr(f);  // so that the next read sees what the writer added
                sleep(1);
                waits++;
                continue;
            }
        }
        if (first) {
            if (inflateInit(&zs) != Z_OK) break;
            active = true;
            first = false;
        } else if (last == Z_STREAM_END) {
            // A fresh stream; resetting the state spares its reallocation.
            if (inflateReset(&zs) != Z_OK) break;
        }
        zs.next_in = in + pos;
        zs.avail_in = static_cast<uInt>(avail);
        zs.next_out = out;
        zs.avail_out = OUT_BUF;
        int ret = inflate(&zs, Z_PARTIAL_FLUSH);
        size_t produced = OUT_BUF - zs.avail_out;
        size_t consumed = avail - zs.avail_in;
        if (MESS_check(MESS_DEBUG_C))
            MESS_print(MESS_DEBUG_C, "Inflate+ %d = %d %d = %d %d - %d %d\n", ret,
                       static_cast<int>(avail), static_cast<int>(zs.avail_in), OUT_BUF,
                       static_cast<int>(zs.avail_out), static_cast<int>(total),
                       static_cast<int>(expected));
        // A stream asking for a dictionary would be asked again forever.
        if (ret < 0 || ret == Z_NEED_DICT) break;

        // The header is not trusted: output past the pixel buffer is dropped.
        size_t keep = needed - used < produced ? needed - used : produced;
        if (keep > 0) {
            std::memcpy(data + used, out, keep);
            used += keep;
        }
        total += produced;
        pos += consumed;
        avail = zs.avail_in;
        last = ret;
        if (ret != Z_STREAM_END && produced == 0 && consumed == 0) {
            break;  // no progress possible
        }
    }
    if (active) inflateEnd(&zs);
}

// Version 3 projection token: "LL", "ME", "PS[:plon]", "LC[:...]", "SAT:plat:plon[:radius]".
void decode_token(const char* tok, Domain* d) {
    if (std::strncmp(tok, "LL", 2) == 0) {
        d->proj = 2;
    } else if (std::strncmp(tok, "ME", 2) == 0) {
        d->proj = 3;
    } else if (std::strncmp(tok, "PS", 2) == 0) {
        d->proj = 1;
        std::sscanf(tok, "PS:%f ", &d->plon);
    } else if (std::strncmp(tok, "LC", 2) == 0) {
        d->proj = 4;
        float v[5];
        if (std::sscanf(tok, "LC:%f:%f:%f:%f:%f ", &v[0], &v[1], &v[2], &v[3], &v[4]) == 5) {
            d->plat = v[0];
            d->plon = v[1];
            d->param[0] = v[2];
            d->param[1] = v[3];
            d->param[2] = v[4];
        } else {
            std::sscanf(tok, "LC:%f ", &d->plon);
        }
    } else if (std::strncmp(tok, "SA", 2) == 0) {
        d->proj = 9;
        std::sscanf(tok, "SAT:%f:%f:%f ", &d->plat, &d->plon, &d->param[0]);
    }
}

// Version 3 projection token as the writer forms it; empty for projections it has none for.
void encode_token(const Domain& d, char* out, size_t size) {
    out[0] = '\0';
    switch (d.proj) {
        case 2:
            std::snprintf(out, size, "LL ");
            break;
        case 3:
            std::snprintf(out, size, "ME ");
            break;
        case 1:
            if (d.plon == ZMT_FMISSING || d.plon == d.clon)
                std::snprintf(out, size, "PS ");
            else
                std::snprintf(out, size, "PS:%f ", d.plon);
            break;
        case 4:
            if (d.param[0] != ZMT_FMISSING)
                std::snprintf(out, size, "LC:%f:%f:%f:%f:%f ", d.plat, d.plon, d.param[0],
                              d.param[1], d.param[2]);
            else if (d.plon != ZMT_FMISSING)
                std::snprintf(out, size, "LC:%f ", d.plon);
            else
                std::snprintf(out, size, "LC ");
            break;
        case 9:
            if (d.param[0] != ZMT_FMISSING)
                std::snprintf(out, size, "SAT:%f:%f:%f ", d.plat, d.plon, d.param[0]);
            else
                std::snprintf(out, size, "SAT:%f:%f ", d.plat, d.plon);
            break;
        default:
            break;
    }
}

// One byte a pixel from a raster of any other form (a screen grab).
bool write_expanded(FILE* f, const Image* image) {
    const int bpl = image->bytes_per_line;
    int per_line = 0;
    if (image->bits_per_pixel == 32)
        per_line = bpl / 4;
    else if (image->depth > 0)
        per_line = static_cast<int>(static_cast<long long>(bpl) * 8 / image->depth);
    if (per_line <= 0 || image->height <= 0) return true;

    const unsigned char* data = image->data;
    const size_t limit = data ? static_cast<size_t>(image->height) * static_cast<size_t>(bpl) : 0;
    auto at = [&](size_t i) -> unsigned char { return i < limit ? data[i] : 0; };

    std::vector<unsigned char> row;
    try {
        row.resize(static_cast<size_t>(per_line));
    } catch (const std::bad_alloc&) {
        return false;
    }
    size_t s = 0;
    long long count = 0;  // pixel number over the whole image, for depths 4 and 1
    int bit = 0;
    unsigned char prev = 0;
    const bool msb = image->byte_order == 1;
    for (int y = 0; y < image->height; y++) {
        const size_t line_end = s + static_cast<size_t>(bpl);
        for (int x = 0; x < per_line; x++, count++) {
            unsigned char b = prev;
            if (image->bits_per_pixel == 32) {
                int sum = msb ? at(s + 1) + at(s + 2) + at(s + 3) : at(s) + at(s + 1) + at(s + 2);
                b = static_cast<unsigned char>(sum / 3);
                s += 4;
            } else if (image->depth == 24) {
                b = msb ? at(s + 2) : at(s);
                s += 3;
            } else if (image->depth == 16) {
                b = msb ? at(s + 1) : at(s);
                s += 2;
            } else if (image->depth == 8) {
                b = at(s);
            } else if (image->depth == 4) {
                b = (count % 2 == 0) ? static_cast<unsigned char>(at(s) >> 4)
                                     : static_cast<unsigned char>(at(s) & 0x0F);
                if (count % 2 == 1) s++;
            } else if (image->depth == 1) {
                b = static_cast<unsigned char>((at(s) >> bit) & 1);
                if (++bit == 8) {
                    bit = 0;
                    s++;
                }
            }
            row[static_cast<size_t>(x)] = b;
            prev = b;
        }
        if ((image->bits_per_pixel == 32 || image->depth == 24) && line_end > s && line_end - s > 1)
            s = line_end;
        if (std::fwrite(row.data(), 1, row.size(), f) != row.size()) return false;
    }
    return true;
}

bool write_compressed(FILE* f, const unsigned char* data, size_t size) {
    z_stream zs{};
    if (deflateInit(&zs, Z_DEFAULT_COMPRESSION) != Z_OK) return false;
    unsigned char out[OUT_BUF];
    bool ok = true;
    // Each piece is an independent stream, so that a reader can start on a
    // file that is still being written.
    for (size_t done = 0; done < size && ok; done += PIECE) {
        size_t n = size - done < static_cast<size_t>(PIECE) ? size - done : PIECE;
        deflateReset(&zs);
        zs.next_in = const_cast<unsigned char*>(data + done);
        zs.avail_in = static_cast<uInt>(n);
        zs.next_out = out;
        zs.avail_out = OUT_BUF;
        int ret = deflate(&zs, Z_FINISH);
        if (MESS_check(MESS_DEBUG_C))
            MESS_print(MESS_DEBUG_C, "Deflate+ %d = %d %d = %d %d\n", ret, static_cast<int>(n),
                       static_cast<int>(zs.avail_in), OUT_BUF, static_cast<int>(zs.avail_out));
        size_t len = OUT_BUF - zs.avail_out;
        ok = std::fwrite(out, 1, len, f) == len;
    }
    deflateEnd(&zs);
    return ok;
}

}  // namespace

int IMG_set_max_waits(int seconds) {
    max_waits = seconds < 0 ? 0 : seconds;
    return 0;
}

int IMG_init(Image* image) {
    image->source = 0;
    image->type = 0;
    image->version = 0;
    image->date_label[0] = '\0';
    image->info[0] = '\0';
    DATE_init(&image->date);
    DOM_init(&image->domain);
    image->width = 0;
    image->height = 0;
    image->depth = 0;
    image->bits_per_pixel = 0;
    image->bytes_per_line = 0;
    image->num_colors = 0;
    image->byte_order = 1;
    image->transparent = -1;
    image->colors = nullptr;
    image->data = nullptr;
    return 0;
}

int IMG_free(Image* image) {
    std::free(image->data);
    std::free(image->colors);
    image->data = nullptr;
    image->colors = nullptr;
    image->num_colors = 0;
    return 0;
}

namespace {

// The form letters after "ZMTIMG" in a native image's first line.
struct ZmtForm {
    bool version4 = false;     // '4': the grid is a domain line
    bool second_file = false;  // '*': the pixels are in a file named after the header
    bool compressed = false;   // 'Z': the pixels are zlib-compressed
    bool vblock = false;       // 'V': a 1024-byte block precedes the pixels
    bool cblock = false;       // 'C': a counted block precedes the pixels
};

ZmtForm zmt_form(const char* letters) {
    ZmtForm form;
    for (const char* p = letters; *p; p++) {
        if (*p == '4') form.version4 = true;
        if (*p == '*') form.second_file = true;
        if (*p == 'Z') form.compressed = true;
        if (*p == 'V') form.vblock = true;
        if (*p == 'C') form.cblock = true;
    }
    return form;
}

// The grid line: a domain line (version 4), a projection word with its numbers,
// or the bare width and height.
void read_zmt_size(FILE* f, bool version4, Image* image) {
    Domain& d = image->domain;
    char line[LINE] = "";
    if (version4) {
        fgetline(f, line);
        DOM_decode(line, &d);
        std::fscanf(f, "%*c");
        image->width = image->bytes_per_line = d.nx;
        image->height = d.ny;
        return;
    }
    std::fscanf(f, " ");
    int c = std::fgetc(f);
    if (c != EOF) std::ungetc(c, f);
    if (std::isalpha(c)) {
        char tok[LINE] = "";
        std::fscanf(f, "%160s", tok);
        decode_token(tok, &d);
        std::fscanf(f, "%f %f %f %f %d %d%*c", &d.clat, &d.clon, &d.dx, &d.dy, &d.nx, &d.ny);
        image->width = image->bytes_per_line = d.nx;
        image->height = d.ny;
    } else {
        std::fscanf(f, "%d %d%*c", &image->width, &image->height);
        d.nx = image->width;
        d.ny = image->height;
    }
}

// The optional blocks between the header and the pixels.
void skip_zmt_blocks(FILE* f, const ZmtForm& form) {
    if (form.vblock) skip_bytes(f, 1024);
    if (form.cblock) {
        unsigned char two[2] = {0, 0};
        skip_bytes(f, 2);
        if (std::fread(two, 1, 2, f) == 2) {
            int more = 2 * static_cast<signed char>(two[1]);
            if (more > 0) skip_bytes(f, more);
        }
    }
}

}  // namespace

int IMG_read_zmt(const char* name, Image* image) {
    FilePtr file(FILE_open(name, "r"));
    if (!file) {
        MESS_print(MESS_WARN, "Unable to open: %s\n", name);
        return -1;
    }
    FILE* f = file.get();
    char line[LINE] = "";
    if (fgetline(f, line) < 6 || std::strncmp(line, "ZMTIMG", 6) != 0) {
        MESS_print(MESS_WARN, "IMG_read_zmt: Invalid image type\n");
        return -1;
    }
    const ZmtForm form = zmt_form(line + 6);

    IMG_init(image);
    image->source = SAT_NATIVE;
    line[0] = '\0';
    fgetline(f, line);
    copy_text(image->date_label, sizeof image->date_label, line);
    DATE_decode_label(image->date_label, &image->date);
    line[0] = '\0';
    fgetline(f, line);
    copy_text(image->info, sizeof image->info, line);

    image->depth = 8;
    read_zmt_size(f, form.version4, image);

    FilePtr data_file;
    FILE* body = f;
    if (form.second_file) {
        char path[1024] = "";
        if (std::fscanf(f, "%1023s", path) != 1) {
            MESS_print(MESS_WARN, "IMG_read_zmt: No pixel file named: %s\n", name);
            return -1;
        }
        // A name out of a file: a plain file only, never a command or a device.
        data_file.reset(FILE_is_stdio(path) ? nullptr : FILE_open(path, "r"));
        if (!data_file) {
            MESS_print(MESS_WARN, "IMG_read_zmt: Unable to open pixel file: %s\n", path);
            return -1;
        }
        body = data_file.get();
    }
    skip_zmt_blocks(f, form);

    if (image->width <= 0 || image->height <= 0 ||
        static_cast<size_t>(image->width) > MAX_PIXELS / static_cast<size_t>(image->height)) {
        MESS_print(MESS_WARN, "IMG_read_zmt: Invalid image size %dx%d: %s\n", image->width,
                   image->height, name);
        return -1;
    }
    const size_t needed = static_cast<size_t>(image->height) * static_cast<size_t>(image->width) *
                          static_cast<size_t>(image->depth / 8);
    // A fresh zeroed buffer: a short file leaves zeros, never another image's pixels.
    auto* data = static_cast<unsigned char*>(std::calloc(needed ? needed : 1, 1));
    if (!data) {
        MESS_print(MESS_WARN, "IMG_read_zmt: No memory for an image of %dx%d: %s\n", image->width,
                   image->height, name);
        return -1;
    }
    if (form.compressed && !form.second_file) {
        const size_t expected =
            static_cast<size_t>(image->height) *
            static_cast<size_t>(image->bytes_per_line > 0 ? image->bytes_per_line : 0);
        read_compressed(body, expected, data, needed);
    } else {
        read_plain(body, data, needed);
    }
    image->data = data;
    return 1;
}

int IMG_write(const char* name, const Image* image, int compress) {
    return IMG_write_user(name, image, compress, 0);
}

int IMG_write_user(const char* name, const Image* image, int compress, int user_typed) {
    FILE* f = FILE_create(name, "wb", user_typed);
    if (!f) return 0;
    std::fputs(compress == 1 ? "ZMTIMGZ\n" : "ZMTIMG\n", f);
    std::fprintf(f, "%.*s\n",
                 static_cast<int>(strnlen(image->date_label, sizeof image->date_label)),
                 image->date_label);
    std::fprintf(f, "%.*s\n", static_cast<int>(strnlen(image->info, sizeof image->info)),
                 image->info);
    const Domain& d = image->domain;
    if (d.proj == ZMT_MISSING) {
        std::fprintf(f, "%d %d\n", image->width, image->height);
    } else {
        char tok[200];
        encode_token(d, tok, sizeof tok);
        std::fprintf(f, "%s%f %f %f %f %d %d\n", tok, d.clat, d.clon, d.dx, d.dy, d.nx, d.ny);
    }

    bool ok = true;
    if (image->depth == 8 && image->num_colors <= 0) {
        size_t size = 0;
        if (image->data && image->height > 0 && image->bytes_per_line > 0)
            size = static_cast<size_t>(image->height) * static_cast<size_t>(image->bytes_per_line);
        if (compress == 1)
            ok = write_compressed(f, image->data, size);
        else
            ok = std::fwrite(image->data, 1, size, f) == size;
    } else {
        ok = write_expanded(f, image);
    }
    if (!ok && std::ferror(f)) {
        FILE_commit(f);  // reports the failed write, or the broken pipe, and removes it
        return 0;
    }
    if (!ok) {
        FILE_discard(f);
        MESS_print(MESS_WARN, "IMG_write: Unable to write: %s\n", name);
        FILE_set_output_failed();
        return 0;
    }
    return FILE_commit(f) == 0 ? 1 : 0;
}

int IMG_dump_with(const char* name, int (*write)(const char* name, Image* image)) {
    Image image{};
    IMG_init(&image);
    if (!gget_image(&image)) return 0;
    const int status = write(name, &image);
    IMG_free(&image);
    return status;
}

int IMG_dump(const char* name) {
    Image image{};
    IMG_init(&image);
    if (!gget_image(&image)) return 0;
    // Record the window's pixels as the grid, unless the view is offset so far
    // that the map no longer fills it.
    if (PLT_get_view_offset() <= 0.7f) {
        MAP_get_domain(&image.domain);
        Domain& d = image.domain;
        if (d.nx != image.width && image.width > 1 && image.height > 1) {
            d.dx = d.dx * static_cast<float>(d.nx - 1) / static_cast<float>(image.width - 1);
            d.dy = d.dy * static_cast<float>(d.ny - 1) / static_cast<float>(image.height - 1);
            d.nx = image.width;
            d.ny = image.height;
        }
    }
    const char* up_left = PLT_get_label(0, 0);
    const char* low_right = PLT_get_label(5, 0);
    const char* up_right = PLT_get_label(2, 0);
    std::snprintf(image.info, sizeof image.info, "%s [%s]", up_left ? up_left : "",
                  low_right ? low_right : "");
    copy_text(image.date_label, sizeof image.date_label, up_right ? up_right : "");
    int status = IMG_write(name, &image, 0);
    IMG_free(&image);
    return status ? 1 : 0;
}

int IMG_read(const char* name, Image* image, int truecolor) {
    char head[7] = "";
    {
        FilePtr file(FILE_open(name, "r"));
        if (!file) {
            MESS_print(MESS_WARN, "IMG_read: Unable to open image file: %s\n", name);
            return 0;
        }
        size_t got = std::fread(head, 1, 6, file.get());
        head[got] = '\0';
        IMG_init(image);
        image->depth = gget_win_depth();
        if (truecolor == 1 && image->depth == 0) image->depth = 32;
        // Broadcast products put a "** " banner line in front of the raster.
        if (std::strncmp(head, "** ", 3) == 0) {
            std::fscanf(file.get(), "%*[^\n]\n");
            got = std::fread(head, 1, 6, file.get());
            head[got] = '\0';
        }
    }
    int status;
    if (std::strncmp(head, "GIF", 3) == 0)
        status = GIF_read(name, image, truecolor);
    else if (std::strncmp(head + 1, "PNG", 3) == 0)
        status = PNG_read(name, image, truecolor);
    else if (std::strncmp(head, "ZMT", 3) == 0)
        status = IMG_read_zmt(name, image);
    else
        status = XWD_read(name, image);
    if (status == 0) IMG_free(image);
    return status;
}
