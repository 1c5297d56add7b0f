// The LRIT and HRIT reader: a chain of typed header records, then one segment
// of image data, raw or JPEG-compressed. Geostationary segments get a domain of
// the "sat" projection with regular spacing; segments are not assembled.
#include "formats/lrit.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <jpeglib.h>

#include "env/dates.h"
#include "app/sat.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "formats/image.h"
#include "maps/projections.h"

#define LRIT_JPEG_DECODER
#include "formats/lrit_jpeg.h"

namespace {

constexpr float kOrbitRadius = 421.61f;  // hundreds of kilometres
constexpr double kDegToRad = 0.017453292519943334;
constexpr int kDaysTo1970 = 4382;  // record days count from 1958-01-01
// No real segment comes near this many pixels; a header that asks for more is
// refused before anything is allocated.
constexpr int64_t kMaxPixels = int64_t{1} << 28;
// A JPEG stream codes at most this many pixels a byte (a flat picture).
constexpr int64_t kJpegPixelsPerByte = 1024;

enum RecordType {
    kPrimary = 0,
    kStructure = 1,
    kNavigation = 2,
    kDataFunction = 3,
    kAnnotation = 4,
    kTimeStamp = 5,
    kSegment = 128,
};

// What the header chain of the file being read has given so far.
struct State {
    FILE* ifile = nullptr;
    int opened = 0;
    int64_t bytes = 0;     // header bytes consumed, record heads included
    int64_t hdr_len = -1;  // total header length, from the primary record
    bool broken = false;   // a record too short to hold its own head
    int data_type = 0;
    int bits_pixel = 0;
    int ncol = 0;
    int nrow = 0;
    int compress = 0;
    char pname[33] = "";
    int32_t cfac = 0, lfac = 0, coff = 0, loff = 0;
    int seg = 0, nseg = 0, lseg = 0;
    Date date{};
    char info[76] = "";
    int xdir = 1, ydir = 1;
};
State st;

using Body = std::vector<unsigned char>;

// Big-endian field of n bytes at `at`; bytes beyond the body read as 0.
uint32_t be(const Body& body, size_t at, int n) {
    uint32_t v = 0;
    for (int i = 0; i < n; i++) v = v << 8 | (at + i < body.size() ? body[at + i] : 0u);
    return v;
}

// The text of a body, NUL-terminated and cut to the size of `out`.
void body_text(const Body& body, size_t from, char* out, size_t size) {
    size_t n = 0;
    while (n + 1 < size && from + n < body.size() && body[from + n]) {
        out[n] = static_cast<char>(body[from + n]);
        n++;
    }
    out[n] = '\0';
}

void read_primary(const Body& b) {
    st.data_type = static_cast<int>(be(b, 0, 1));
    st.hdr_len = be(b, 1, 4);
    MESS_print(MESS_DEBUG, "HDR0-Primary: %d len: %d\n", st.data_type,
               static_cast<int>(st.hdr_len));
}

void read_structure(const Body& b) {
    st.bits_pixel = static_cast<int>(be(b, 0, 1));
    st.ncol = static_cast<int>(be(b, 1, 2));
    st.nrow = static_cast<int>(be(b, 3, 2));
    st.compress = static_cast<int>(be(b, 5, 1));
    MESS_print(MESS_DEBUG, "HDR1-Image Struct: bits/pixel: %d ncol: %d nrow: %d compress: %d\n",
               st.bits_pixel, st.ncol, st.nrow, st.compress);
}

void read_navigation(const Body& b) {
    body_text(b, 0, st.pname, sizeof st.pname);
    st.cfac = static_cast<int32_t>(be(b, 32, 4));
    st.lfac = static_cast<int32_t>(be(b, 36, 4));
    st.coff = static_cast<int32_t>(be(b, 40, 4));
    st.loff = static_cast<int32_t>(be(b, 44, 4));
    MESS_print(MESS_DEBUG, "HDR2-Image Nav: %s cfac: %d lfac: %d coff: %d loff: %d\n", st.pname,
               st.cfac, st.lfac, st.coff, st.loff);
}

void read_data_function(const Body& b) {
    const std::string text(b.begin(), b.end());
    MESS_print(MESS_DEBUG, "HDR3-Image Data: %s\n", text.c_str());
}

void read_annotation(const Body& b) {
    body_text(b, 0, st.info, sizeof st.info);
    clean_line(st.info);
    MESS_print(MESS_DEBUG, "HDR4-Annotation: %s\n", st.info);
}

void read_time_stamp(const Body& b) {
    const int days = static_cast<int>(be(b, 1, 2));
    const int msec = static_cast<int>(be(b, 3, 4));
    MESS_print(MESS_DEBUG, "HDR5-Time Stamp: %d %d\n", days, msec);
    DATE_init(&st.date);
    DATE_days_date(days - kDaysTo1970, &st.date.year, &st.date.month, &st.date.day);
    DATE_time_date(msec / 1000, &st.date.hour, &st.date.minute, &st.date.second);
    DATE_print(MESS_OUT2, &st.date);
}

void read_segment(const Body& b) {
    st.seg = static_cast<int>(be(b, 0, 1));
    st.nseg = static_cast<int>(be(b, 1, 1));
    st.lseg = static_cast<int>(be(b, 2, 2));
    MESS_print(MESS_DEBUG, "HDR128-Image Segment: seg: %d nseg: %d lseg: %d\n", st.seg, st.nseg,
               st.lseg);
}

using RecordReader = void (*)(const Body&);

RecordReader reader_of(int type) {
    switch (type) {
        case kPrimary:
            return read_primary;
        case kStructure:
            return read_structure;
        case kNavigation:
            return read_navigation;
        case kDataFunction:
            return read_data_function;
        case kAnnotation:
            return read_annotation;
        case kTimeStamp:
            return read_time_stamp;
        case kSegment:
            return read_segment;
        default:
            return nullptr;
    }
}

// What the file still holds; 0 when that cannot be known, which refuses the read.
int64_t bytes_left(FILE* f) {
    return std::max<long long>(FILE_bytes_left(f), 0);
}

// Raw samples, high byte first; 16-bit samples keep bits 2 to 9. Refused when
// the file holds fewer bytes than the segment needs.
int read_raw(unsigned char* out) {
    const int width = st.bits_pixel == 16 ? 2 : st.bits_pixel == 8 ? 1 : 0;
    const int64_t need = int64_t{width} * st.ncol * st.nrow;
    if (need > bytes_left(st.ifile)) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Image data cut short\n");
        return -1;
    }
    if (width == 0) {
        // No depth to read: every pixel repeats the value before it, never set.
        std::memset(out, 0, static_cast<size_t>(st.ncol) * st.nrow);
        return 0;
    }
    std::vector<unsigned char> line(static_cast<size_t>(width) * st.ncol);
    for (int row = 0; row < st.nrow; row++) {
        if (std::fread(line.data(), 1, line.size(), st.ifile) != line.size()) {
            MESS_print(MESS_WARN, "SAT_read_LRIT: Image data cut short\n");
            return -1;
        }
        unsigned char* to = out + static_cast<size_t>(row) * st.ncol;
        if (width == 1) {
            std::memcpy(to, line.data(), line.size());
        } else {
            for (int i = 0; i < st.ncol; i++)
                to[i] = static_cast<unsigned char>((line[2 * i] << 8 | line[2 * i + 1]) >> 2);
        }
    }
    return 0;
}

// JPEG data: the 8-bit library for 8-bit streams, the 12-bit one for 12-bit
// streams, whose samples keep bits 2 to 9 as the raw path's do.
int read_jpeg(unsigned char* out) {
    MESS_print(MESS_DEBUG, "JPEG Compression\n");
    LritJpegTarget target{out, st.ncol, st.nrow, st.xdir, st.ydir, 0};
    const int precision = LRIT_jpeg_precision(st.ifile);
    if (precision == 8) return LRIT_jpeg8(st.ifile, target);
    if (precision == 12) {
        target.shift = 2;
        return LRIT_jpeg12(st.ifile, target);
    }
    if (precision < 0)
        MESS_print(MESS_WARN, "SAT_read_LRIT: No JPEG frame in the image data\n");
    else
        MESS_print(MESS_WARN, "SAT_read_LRIT: JPEG precision of %d bits is not supported\n",
                   precision);
    return -1;
}

// Geostationary domain. Negative factors flip the axes.
void geos_domain(Image* image) {
    Domain& d = image->domain;
    d.proj = 9;
    d.plat = 0;
    float plon = 0;
    if (std::sscanf(st.pname, "GEOS(%f", &plon) == 1) d.plon = plon;
    d.param[0] = kOrbitRadius;
    d.param[1] = 1.0f;
    d.ext = 1;
    d.dx = static_cast<float>((65536.0 / st.cfac) * kDegToRad * kOrbitRadius);
    d.dy = static_cast<float>((65536.0 / st.lfac) * kDegToRad * kOrbitRadius);
    if (d.dx < 0) {
        d.dx = -d.dx;
        st.xdir = -1;
    }
    if (d.dy < 0) {
        d.dy = -d.dy;
        st.ydir = -1;
    }
    d.nx = st.ncol;
    d.ny = st.nrow;
    MAP_domain(&d);
    const float x = static_cast<float>(st.coff - st.ncol / 2) * static_cast<float>(st.xdir) * d.dx;
    const float y = static_cast<float>((st.loff - (st.seg - 0.5) * st.nrow) * st.ydir * d.dy);
    MAP_untran(x, y, &d.clat, &d.clon);
}

}  // namespace

int LRIT_open(const char* name) {
    st = State{};
    DATE_init(&st.date);
    st.ifile = FILE_open(name, "r");
    st.opened = st.ifile != nullptr;
    if (!st.opened) MESS_print(MESS_WARN, "Unable to open LRIT file: %s\n", name);
    return st.opened;
}

int LRIT_header() {
    if (!st.opened || st.bytes == st.hdr_len) return 0;
    unsigned char head[3];
    if (std::fread(head, 1, 3, st.ifile) != 3) return 0;
    const int type = head[0];
    const int len = head[1] << 8 | head[2];
    if (len < 3) {
        // A record that does not cover its own head would never move the chain on.
        MESS_print(MESS_WARN, "SAT_read_LRIT: Bad header record %d of length %d\n", type, len);
        st.broken = true;
        return 0;
    }
    RecordReader reader = reader_of(type);
    if (reader) {
        Body body(static_cast<size_t>(len - 3));
        if (std::fread(body.data(), 1, body.size(), st.ifile) != body.size()) return 0;
        reader(body);
    } else {
        MESS_print(MESS_DEBUG, "HDR: %d %d\n", type, len);
        if (std::fseek(st.ifile, len - 3, SEEK_CUR) != 0) return 0;
    }
    st.bytes += len;
    return 1;
}

int LRIT_read_header(Image* image) {
    while (LRIT_header()) {
    }
    if (st.broken) return -1;
    image->width = st.ncol;
    image->height = st.nrow;
    image->depth = image->bits_per_pixel = 8;
    image->bytes_per_line = st.ncol;
    std::memcpy(image->info, st.info, sizeof image->info);
    image->date = st.date;
    if (image->date.year != ZMT_MISSING) DATE_make_label(&image->date, image->date_label);
    st.xdir = st.ydir = 1;
    if (std::strncmp(st.pname, "GEOS", 4) != 0) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Projection \"%s\" is not geostationary\n", st.pname);
        return -1;
    }
    if (st.cfac == 0 || st.lfac == 0 || st.ncol < 1 || st.nrow < 1) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Invalid image parameters\n");
        return -1;
    }
    geos_domain(image);
    DOM_print(MESS_OUT2, &image->domain);
    return 0;
}

int LRIT_read(Image* image) {
    if (LRIT_read_header(image) != 0) return -1;
    // Raw samples and JPEG are all this reader decodes; the wavelet coding of
    // some HRIT services would otherwise show as an empty picture.
    if (st.compress != 0 && st.compress != 2) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Compression %d is not supported\n", st.compress);
        return -1;
    }
    const int64_t pixels = int64_t{image->domain.nx} * image->domain.ny;
    if (pixels > kMaxPixels ||
        (st.compress == 2 && pixels > kJpegPixelsPerByte * bytes_left(st.ifile))) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Invalid image parameters\n");
        return -1;
    }
    auto* data = static_cast<unsigned char*>(std::calloc(static_cast<size_t>(pixels), 1));
    if (!data) return -1;
    const int status = st.compress == 0 ? read_raw(data) : read_jpeg(data);
    if (status != 0) {
        std::free(data);
        return -1;
    }
    image->data = data;
    return 0;
}

int SAT_read_LRIT(const char* name, Image* image) {
    IMG_init(image);
    image->source = SAT_LRIT;
    if (!LRIT_open(name)) {
        MESS_print(MESS_WARN, "SAT_read_LRIT: Unable to open file:%s\n", name);
        return -1;
    }
    const int status = LRIT_read(image);
    std::fclose(st.ifile);
    st.ifile = nullptr;
    st.opened = 0;
    return status;
}

int LRIT_jpeg8(FILE* file, const LritJpegTarget& target) {
    return lrit_jpeg_decode(file, target);
}

int LRIT_jpeg_precision(FILE* file) {
    const long start = std::ftell(file);
    int precision = -1;
    if (std::getc(file) == 0xFF && std::getc(file) == 0xD8) {
        for (;;) {
            int c = std::getc(file);
            if (c == EOF) break;
            if (c != 0xFF) continue;
            int marker;
            do marker = std::getc(file);
            while (marker == 0xFF);
            if (marker == EOF || marker == 0xD9 || marker == 0xDA) break;
            // Stand-alone markers carry no length.
            if (marker == 0x00 || marker == 0x01 || (marker >= 0xD0 && marker <= 0xD7)) continue;
            const int hi = std::getc(file), lo = std::getc(file);
            if (hi == EOF || lo == EOF) break;
            const bool frame = marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 &&
                               marker != 0xC8 && marker != 0xCC;
            if (frame) {
                precision = std::getc(file);
                break;
            }
            const int length = hi << 8 | lo;
            if (length < 2 || std::fseek(file, length - 2, SEEK_CUR) != 0) break;
        }
    }
    std::fseek(file, start, SEEK_SET);
    return precision == EOF ? -1 : precision;
}
