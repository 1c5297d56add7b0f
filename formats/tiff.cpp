// The TIFF reader, without a TIFF library: one directory of tags walked by
// hand, the geographic tags turned into a domain, and 8-bit single-sample
// pixels in one run of strips, uncompressed or PackBits. Anything else is
// refused by name rather than shown as noise.
#include "formats/tiff.h"

#include <array>
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

constexpr uint32_t kDebugTag = 0x10000000;
constexpr int kPackBits = 32773;
constexpr int kGeoKeyTable = 10;  // parameter indexes whose key is noted
constexpr int kTransform = 16;    // items kept of the tie points or matrix
constexpr int kMetresTo100km = 100000;

enum Type { kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kDouble = 12 };

enum Tag {
    kWidth = 256,
    kHeight = 257,
    kBits = 258,
    kCompression = 259,
    kMake = 271,
    kModel = 272,
    kStripOffsets = 273,
    kSamples = 277,
    kStripCounts = 279,
    kDateTime = 306,
    kTileWidth = 322,
    kTileOffsets = 324,
    kSampleFormat = 339,
    kPixelScale = 33550,
    kTiePoints = 33922,
    kMatrix = 34264,
    kGeoKeys = 34735,
    kGeoDoubles = 34736,
};

// What the tags of the file have given.
struct Tags {
    int width = 0, height = 0, bits = 0;
    int compression = 1;
    int samples = 1;        // samples a pixel
    int sample_format = 1;  // 3 for floating point
    bool tiled = false;
    char make[30] = "", model[30] = "", date[50] = "";
    std::vector<uint32_t> strips, strip_counts;
    double scale[2] = {0, 0};
    int kind = 0;  // the tag that filled `a`
    std::array<float, kTransform> a{};
    int proj = 0;
    std::array<int, kGeoKeyTable> key_at{};  // key id noted at a parameter index
    float plon = ZMT_FMISSING;
};

// The file in memory with its byte order.
struct Bytes {
    std::vector<unsigned char> b;
    bool big = false;

    bool has(uint64_t at, uint64_t n) const { return at <= b.size() && n <= b.size() - at; }
    uint32_t u(uint64_t at, int n) const {
        uint32_t v = 0;
        for (int i = 0; i < n; i++) {
            const uint32_t c = b[at + (big ? i : n - 1 - i)];
            v = v << 8 | c;
        }
        return v;
    }
    double f64(uint64_t at) const {
        uint64_t v = 0;
        for (int i = 0; i < 8; i++) v = v << 8 | b[at + (big ? i : 7 - i)];
        double d;
        std::memcpy(&d, &v, 8);
        return d;
    }
};

int type_size(int type) {
    switch (type) {
        case 1:
        case 2:
        case 6:
        case 7:
            return 1;
        case 3:
        case 8:
            return 2;
        case 4:
        case 9:
        case 11:
            return 4;
        case 5:
        case 10:
        case 12:
            return 8;
        default:
            return 0;
    }
}

void copy_text(const Bytes& f, uint64_t at, uint32_t count, char* out, size_t size) {
    size_t n = 0;
    while (n + 1 < size && n < count && f.b[at + n]) {
        out[n] = static_cast<char>(f.b[at + n]);
        n++;
    }
    out[n] = '\0';
}

void ascii_tag(const Bytes& f, int tag, uint64_t at, uint32_t count, Tags* t) {
    if (tag == kMake) copy_text(f, at, count, t->make, sizeof t->make);
    if (tag == kModel) copy_text(f, at, count, t->model, sizeof t->model);
    if (tag == kDateTime) copy_text(f, at, count, t->date, sizeof t->date);
    char text[64];
    copy_text(f, at, count, text, sizeof text);
    MESS_print(kDebugTag, "Tag: %d ASCII %d %s\n", tag, static_cast<int>(count), text);
}

void geo_keys(const Bytes& f, uint64_t at, uint32_t count, Tags* t) {
    MESS_print(kDebugTag, "Tag: GeoKeyDir SHORT %d:\n", static_cast<int>(count));
    if (count < 4) return;
    const uint32_t keys = f.u(at + 6, 2);
    for (uint32_t k = 0; k < keys && 4 * (k + 2) <= count; k++) {
        const uint64_t p = at + 8 * (k + 1);
        const int id = static_cast<int>(f.u(p, 2)), loc = static_cast<int>(f.u(p + 2, 2));
        const int value = static_cast<int>(f.u(p + 6, 2));
        MESS_print(kDebugTag, "   %d,%d,%d,%d\n", id, loc, static_cast<int>(f.u(p + 4, 2)), value);
        if (loc != 0) {
            if (value < kGeoKeyTable) t->key_at[value] = id;
        } else if (id == 3075) {
            t->proj = value;
        } else if (id == 1024 && value == 2) {
            t->proj = 2;
        }
    }
}

void short_tag(const Bytes& f, int tag, uint64_t at, uint32_t count, Tags* t) {
    if (tag == kGeoKeys) return geo_keys(f, at, count, t);
    const int first = static_cast<int>(f.u(at, 2));
    MESS_print(kDebugTag, "Tag: %d SHORT %d %d\n", tag, static_cast<int>(count), first);
    if (tag == kSamples) t->samples = first;
    if (tag == kSampleFormat) t->sample_format = first;
    if (count != 1) return;
    if (tag == kWidth) t->width = first;
    if (tag == kHeight) t->height = first;
    if (tag == kBits) t->bits = first;
    if (tag == kCompression) t->compression = first;
}

void long_tag(const Bytes& f, int tag, uint64_t at, uint32_t count, Tags* t) {
    MESS_print(kDebugTag, "Tag: %d LONG %d %d\n", tag, static_cast<int>(count),
               static_cast<int>(f.u(at, 4)));
    // A single strip offset is not taken: the strips are expected as a list.
    if (count == 1) return;
    std::vector<uint32_t> values(count);
    for (uint32_t i = 0; i < count; i++) values[i] = f.u(at + 4 * i, 4);
    if (tag == kStripOffsets) t->strips = std::move(values);
    if (tag == kStripCounts) t->strip_counts = std::move(values);
}

void double_tag(const Bytes& f, int tag, uint64_t at, uint32_t count, Tags* t) {
    MESS_print(kDebugTag, "Tag: %d DOUBLE %d:  ", tag, static_cast<int>(count));
    if (tag == kPixelScale) {
        for (uint32_t i = 0; i < 2 && i < count; i++) t->scale[i] = f.f64(at + 8 * i);
    } else if (tag == kTiePoints || tag == kMatrix) {
        t->kind = tag;
        for (uint32_t i = 0; i < count && i < kTransform; i++)
            t->a[i] = static_cast<float>(f.f64(at + 8 * i));
    } else if (tag == kGeoDoubles) {
        for (uint32_t i = 0; i < count && i < kGeoKeyTable; i++)
            if (t->key_at[i] == 3088) t->plon = static_cast<float>(f.f64(at + 8 * i));
    }
    MESS_print(kDebugTag, "\n");
}

// Walks the one directory. False, with a message, when it or a tag's data lies
// outside the file.
bool walk(const Bytes& f, Tags* t) {
    const uint32_t dir = f.u(4, 4);
    if (!f.has(dir, 2)) {
        MESS_print(MESS_WARN, "SAT_read_TIFF: Directory outside the file\n");
        return false;
    }
    const int num = static_cast<int16_t>(f.u(dir, 2));
    MESS_print(kDebugTag, "Num tags: %d\n", num);
    for (int i = 0; i < num; i++) {
        const uint64_t e = dir + 2 + 12 * static_cast<uint64_t>(i);
        if (!f.has(e, 12)) {
            MESS_print(MESS_WARN, "SAT_read_TIFF: Directory outside the file\n");
            return false;
        }
        const int tag = static_cast<int>(f.u(e, 2)), type = static_cast<int>(f.u(e + 2, 2));
        const uint32_t count = f.u(e + 4, 4);
        const uint64_t bytes = uint64_t{count} * type_size(type);
        const uint64_t at = bytes <= 4 ? e + 8 : f.u(e + 8, 4);
        if (tag == kTileWidth || tag == kTileOffsets) t->tiled = true;
        if (type_size(type) == 0 ||
            (type != kAscii && type != kShort && type != kLong && type != kDouble)) {
            MESS_print(kDebugTag, "Tag: %d %d %d %d\n", tag, type, static_cast<int>(count),
                       static_cast<int>(f.u(e + 8, 4)));
            continue;
        }
        if (!f.has(at, bytes)) {
            MESS_print(MESS_WARN, "SAT_read_TIFF: Tag %d points outside the file\n", tag);
            return false;
        }
        if (type == kAscii) ascii_tag(f, tag, at, count, t);
        if (type == kShort) short_tag(f, tag, at, count, t);
        if (type == kLong) long_tag(f, tag, at, count, t);
        if (type == kDouble) double_tag(f, tag, at, count, t);
    }
    return true;
}

// The reason a file lies outside what this reader shows, or null.
const char* out_of_scope(const Tags& t) {
    if (t.tiled) return "Tiled images are not supported";
    if (t.samples != 1) return "Only one sample a pixel is supported";
    if (t.sample_format == 3) return "Floating-point samples are not supported";
    if (t.bits != 8) return "Only 8-bit samples are supported";
    if (t.compression != 1 && t.compression != kPackBits)
        return "Only uncompressed and PackBits strips are supported";
    if (t.width < 1 || t.height < 1) return "Invalid image parameters";
    if (t.strips.empty()) return "No strip offsets";
    // The pixels are read as one run from the first strip on.
    if (t.strip_counts.size() == t.strips.size())
        for (size_t i = 1; i < t.strips.size(); i++)
            if (uint64_t{t.strips[i - 1]} + t.strip_counts[i - 1] != t.strips[i])
                return "Strips are not in one run";
    return nullptr;
}

void make_domain(const Tags& t, Image* image) {
    float cx = 0, cy = 0, dx = static_cast<float>(t.scale[0]), dy = static_cast<float>(t.scale[1]);
    const std::array<float, kTransform>& a = t.a;
    if (t.kind == kMatrix) {
        cx = (a[3] + (a[3] + static_cast<float>(t.width) * a[0])) / 200000;
        cy = (a[7] + static_cast<float>(t.height) * a[5] + a[7]) / 200000;
        dx /= kMetresTo100km;
        dy /= kMetresTo100km;
        MESS_print(kDebugTag, "plon: %f\n", t.plon);
        MESS_print(kDebugTag, "UL: %.0f %.0f\n", a[3], a[7]);
        MESS_print(kDebugTag, "LR: %.0f %.0f\n", a[3] + static_cast<float>(t.width) * a[0],
                   a[7] + static_cast<float>(t.height) * a[5]);
        MESS_print(kDebugTag, "Center: %.2f %.2f\n", cx, cy);
    }
    Domain saved;
    MAP_get_domain(&saved);
    Domain& d = image->domain;
    d.nx = t.width;
    d.ny = t.height;
    d.dx = dx;
    d.dy = dy;
    if (t.proj == 2) {
        // The y spacing in both: the cells of these files are square.
        d.proj = 2;
        d.plat = d.plon = 0;
        d.clat = a[4] - static_cast<float>(t.height / 2) * dy;
        d.clon = static_cast<float>(t.width / 2) * dy + a[3];
    } else if (t.proj == 7) {
        d.proj = 3;
        d.plat = 0;
        d.plon = t.plon;
        d.ext = 1;
        MAP_domain(&d);
        MAP_untran(cx, cy, &d.clat, &d.clon);
    }
    MAP_domain(&saved);
}

// PackBits runs until the image is full; false when the data ends first.
bool unpack_bits(const Bytes& f, uint64_t at, unsigned char* out, size_t size) {
    size_t n = 0;
    const size_t end = f.b.size();
    while (n < size) {
        if (at >= end) return false;
        const int c = f.b[at++];
        if (c < 128) {
            size_t run = static_cast<size_t>(c) + 1;
            if (at + run > end) return false;
            if (run > size - n) run = size - n;
            std::memcpy(out + n, &f.b[at], run);
            at += static_cast<size_t>(c) + 1;
            n += run;
        } else if (c > 128) {
            if (at >= end) return false;
            size_t run = static_cast<size_t>(257 - c);
            if (run > size - n) run = size - n;
            std::memset(out + n, f.b[at++], run);
            n += run;
        }
    }
    return true;
}

bool load(const char* name, Bytes* f) {
    FILE* file = FILE_open(name, "r");
    if (!file) return false;
    unsigned char chunk[65536];
    size_t n;
    while ((n = std::fread(chunk, 1, sizeof chunk, file)) > 0)
        f->b.insert(f->b.end(), chunk, chunk + n);
    std::fclose(file);
    return true;
}

}  // namespace

int SAT_read_TIFF(const char* name, Image* image) {
    IMG_init(image);
    image->source = SAT_TIFF;
    Bytes f;
    if (!load(name, &f)) {
        MESS_print(MESS_WARN, "SAT_read_TIFF: Unable to open file:%s\n", name);
        return -1;
    }
    if (f.b.size() >= 8 && std::memcmp(f.b.data(), "MM\0*", 4) == 0) {
        f.big = true;
        MESS_print(kDebugTag, "TIFF big endian\n");
    } else if (f.b.size() >= 8 && std::memcmp(f.b.data(), "II*\0", 4) == 0) {
        MESS_print(kDebugTag, "TIFF little endian\n");
    } else {
        MESS_print(MESS_WARN, "Not a TIFF file\n");
        return -1;
    }
    Tags t;
    if (!walk(f, &t)) return -1;
    MESS_print(kDebugTag, "Height: %d\n", t.height);
    MESS_print(kDebugTag, "Width: %d\n", t.width);
    MESS_print(kDebugTag, "Depth: %d\n", t.bits);
    MESS_print(kDebugTag, "Proj: %d\n", t.proj);
    if (const char* why = out_of_scope(t)) {
        MESS_print(MESS_WARN, "SAT_read_TIFF: %s: %s\n", why, name);
        return -1;
    }

    std::snprintf(image->info, sizeof image->info, "%s %s", t.make, t.model);
    Date& date = image->date;
    if (std::sscanf(t.date, "%4d:%2d:%2d %2d:%2d:%2d", &date.year, &date.month, &date.day,
                    &date.hour, &date.minute, &date.second) == 6)
        DATE_make_label(&date, image->date_label);
    image->width = t.width;
    image->height = t.height;
    image->depth = image->bits_per_pixel = t.bits;
    image->bytes_per_line = t.bits * t.width / 8;
    make_domain(t, image);

    const size_t size = static_cast<size_t>(t.width) * t.height;
    const uint64_t at = t.strips[0];
    // PackBits codes at most 128 pixels in two bytes.
    const bool short_data = t.compression == kPackBits
                                ? at > f.b.size() || size / 64 > f.b.size() - at
                                : !f.has(at, size);
    if (short_data) {
        MESS_print(MESS_WARN, "SAT_read_TIFF: Image data cut short: %s\n", name);
        return -1;
    }
    image->data = static_cast<unsigned char*>(std::malloc(size));
    if (!image->data) return -1;
    MESS_print(MESS_PRINT, "compress %d\n", t.compression);
    if (t.compression != kPackBits) {
        std::memcpy(image->data, &f.b[at], size);
        return 0;
    }
    if (!unpack_bits(f, at, image->data, size)) {
        MESS_print(MESS_WARN, "SAT_read_TIFF: Image data cut short: %s\n", name);
        std::free(image->data);
        image->data = nullptr;
        return -1;
    }
    return 0;
}
