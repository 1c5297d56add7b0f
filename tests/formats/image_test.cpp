// The Image record and the native image format: round trips, hand-made files
// of every header form, the expanding writer, and broken or hostile files.
#include "formats/image.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "env/dates.h"
#include "env/domains.h"
#include "test_support.h"

namespace {

using sat_test::read_file;
using sat_test::TempDir;
using sat_test::write_file;

// Owns an Image's buffers for the length of a test.
struct Held {
    Image image{};
    Held() { IMG_init(&image); }
    ~Held() { IMG_free(&image); }
    Image* operator->() { return &image; }
    Image* get() { return &image; }
};

std::vector<unsigned char> pattern(size_t n, unsigned seed) {
    std::vector<unsigned char> v(n);
    uint32_t x = seed * 2654435761u + 1;
    for (size_t i = 0; i < n; i++) {
        x = x * 1664525u + 1013904223u;
        v[i] = static_cast<unsigned char>(x >> 24);
    }
    return v;
}

// A latitude-longitude grid the size of the image; with a domain the reader
// knows how many bytes to expect from a compressed body.
void set_grid(Image* image) {
    Domain& d = image->domain;
    d.proj = 2;
    d.clat = 40.0f;
    d.clon = -90.0f;
    d.dx = d.dy = 0.1f;
    d.nx = image->width;
    d.ny = image->height;
}

void fill(Image* image, int width, int height, const std::vector<unsigned char>& pixels) {
    image->width = width;
    image->height = height;
    image->depth = 8;
    image->bytes_per_line = width;
    image->data = static_cast<unsigned char*>(std::malloc(pixels.size() ? pixels.size() : 1));
    std::memcpy(image->data, pixels.data(), pixels.size());
}

std::string deflate_piece(const std::string& raw, int level = Z_DEFAULT_COMPRESSION) {
    uLongf size = compressBound(raw.size());
    std::string out(size, '\0');
    compress2(reinterpret_cast<Bytef*>(out.data()), &size,
              reinterpret_cast<const Bytef*>(raw.data()), raw.size(), level);
    out.resize(size);
    return out;
}

double seconds_since(std::chrono::steady_clock::time_point t0) {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
}

class NativeFile : public ::testing::Test {
   protected:
    void SetUp() override { IMG_set_max_waits(10); }
    void TearDown() override { IMG_set_max_waits(10); }
    TempDir dir;
};

TEST_F(NativeFile, InitAndFreeTouchOnlyTheirFields) {
    Image image;
    std::memset(&image, 0x55, sizeof image);
    image.xres = 4.0f;
    image.mapped = 1;
    image.red_mask = 0xFF0000;
    IMG_init(&image);
    EXPECT_EQ(image.source, 0);
    EXPECT_EQ(image.byte_order, 1);
    EXPECT_EQ(image.transparent, -1);
    EXPECT_EQ(image.date.year, -9999);
    EXPECT_EQ(image.domain.proj, -9999);
    EXPECT_STREQ(image.info, "");
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.xres, 4.0f);
    EXPECT_EQ(image.mapped, 1);
    EXPECT_EQ(image.red_mask, 0xFF0000u);

    image.width = 3;
    image.num_colors = 2;
    image.data = static_cast<unsigned char*>(std::malloc(3));
    image.colors = static_cast<float*>(std::malloc(6 * sizeof(float)));
    EXPECT_EQ(IMG_free(&image), 0);
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.colors, nullptr);
    EXPECT_EQ(image.num_colors, 0);
    EXPECT_EQ(image.width, 3);
    EXPECT_EQ(IMG_free(&image), 0);  // twice is harmless
}

TEST_F(NativeFile, RoundTripEverySizeAndForm) {
    struct Size {
        int w, h;
    };
    // 1x1, pieces cut inside a line, exactly three pieces, many pieces.
    const Size sizes[] = {{1, 1}, {3, 7}, {101, 57}, {200, 150}, {1024, 1023}, {6000, 6000}};
    unsigned seed = 1;
    for (const Size& s : sizes) {
        for (int form = 0; form < 4; form++) {
            const int compress = form % 2;
            const bool grid = form >= 2;
            Held in;
            auto pixels = pattern(static_cast<size_t>(s.w) * s.h, seed++);
            // Part of the big image is flat, as satellite pictures are.
            if (s.w == 6000) std::memset(pixels.data(), 17, pixels.size() / 2);
            fill(in.get(), s.w, s.h, pixels);
            if (grid) set_grid(in.get());
            std::snprintf(in->date_label, sizeof in->date_label, "label %dx%d", s.w, s.h);
            std::snprintf(in->info, sizeof in->info, "GOES-8 IR %d", compress);
            std::string path = dir.file("rt.img");
            ASSERT_EQ(IMG_write(path.c_str(), in.get(), compress), 1);
            EXPECT_EQ(read_file(path).substr(0, compress ? 8 : 7),
                      compress ? "ZMTIMGZ\n" : "ZMTIMG\n");

            Held out;
            ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1) << s.w << "x" << s.h << " " << form;
            EXPECT_EQ(out->source, 50);
            EXPECT_STREQ(out->date_label, in->date_label);
            EXPECT_STREQ(out->info, in->info);
            EXPECT_EQ(out->width, s.w);
            EXPECT_EQ(out->height, s.h);
            EXPECT_EQ(out->depth, 8);
            EXPECT_EQ(out->bytes_per_line, grid ? s.w : 0);
            EXPECT_EQ(out->domain.proj, grid ? 2 : -9999);
            if (grid) {
                EXPECT_FLOAT_EQ(out->domain.clat, 40.0f);
                EXPECT_FLOAT_EQ(out->domain.clon, -90.0f);
                EXPECT_FLOAT_EQ(out->domain.dx, 0.1f);
            }
            EXPECT_EQ(out->domain.nx, s.w);
            EXPECT_EQ(out->domain.ny, s.h);
            ASSERT_NE(out->data, nullptr);
            EXPECT_EQ(std::memcmp(out->data, pixels.data(), pixels.size()), 0)
                << s.w << "x" << s.h << " compress " << compress;
        }
    }
}

TEST_F(NativeFile, DomainTokensRoundTrip) {
    struct Case {
        int proj;
        float plat, plon, tlat1, tlat2, scale;
        const char* token;
    };
    const float M = -9999.0f;
    const Case cases[] = {
        {2, M, M, M, M, M, "LL "},
        {3, M, M, M, M, M, "ME "},
        {1, M, M, M, M, M, "PS "},
        {1, M, -100.0f, M, M, M, "PS "},  // plon equal to clon
        {1, M, -105.0f, M, M, M, "PS:-105.000000 "},
        {4, 25.0f, -95.0f, 25.0f, 35.0f, 1.5f,
         "LC:25.000000:-95.000000:25.000000:35.000000:1.500000 "},
        {4, 40.0f, -95.0f, M, M, M, "LC:-95.000000 "},
        {4, M, M, M, M, M, "LC "},
        {9, 0.0f, -75.0f, 421.64f, M, M, "SAT:0.000000:-75.000000:421.640015 "},
        {9, 0.0f, -135.0f, M, M, M, "SAT:0.000000:-135.000000 "},
    };
    for (const Case& c : cases) {
        Held in;
        fill(in.get(), 4, 3, pattern(12, 3));
        Domain& d = in->domain;
        d.proj = c.proj;
        d.plat = c.plat;
        d.plon = c.plon;
        d.param[0] = c.tlat1;
        d.param[1] = c.tlat2;
        d.param[2] = c.scale;
        d.clat = 38.5f;
        d.clon = -100.0f;
        d.dx = 0.25f;
        d.dy = 0.5f;
        d.nx = 4;
        d.ny = 3;
        std::string path = dir.file("dom.img");
        ASSERT_EQ(IMG_write(path.c_str(), in.get(), 0), 1);
        std::string text = read_file(path);
        std::string line = std::string(c.token) + "38.500000 -100.000000 0.250000 0.500000 4 3\n";
        EXPECT_NE(text.find("\n\n" + line), std::string::npos) << c.token << "\n" << text;

        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1) << c.token;
        const Domain& r = out->domain;
        EXPECT_EQ(r.proj, c.proj) << c.token;
        EXPECT_FLOAT_EQ(r.clat, 38.5f);
        EXPECT_FLOAT_EQ(r.clon, -100.0f);
        EXPECT_FLOAT_EQ(r.dx, 0.25f);
        EXPECT_FLOAT_EQ(r.dy, 0.5f);
        EXPECT_EQ(out->width, 4);
        EXPECT_EQ(out->bytes_per_line, 4);
        EXPECT_EQ(out->height, 3);
        if (c.proj == 4 && c.tlat1 == M) {
            // Only plon comes back from "LC:%f ".
            EXPECT_EQ(r.plat, M);
            EXPECT_EQ(r.plon, c.plon);
            EXPECT_EQ(r.param[0], M);
        } else if (c.proj == 1) {
            EXPECT_EQ(r.plon, std::string(c.token) == "PS " ? M : c.plon);
        } else if (c.proj == 4 || c.proj == 9) {
            EXPECT_FLOAT_EQ(r.plat, c.plat);
            EXPECT_FLOAT_EQ(r.plon, c.plon);
            EXPECT_FLOAT_EQ(r.param[0], c.tlat1);
            if (c.proj == 4) {
                EXPECT_FLOAT_EQ(r.param[2], c.scale);
            }
        }
        EXPECT_EQ(std::memcmp(out->data, in->data, 12), 0);
    }
}

TEST_F(NativeFile, ProjectionWithoutTokenWritesOnlyTheNumbers) {
    Held in;
    fill(in.get(), 2, 2, {1, 2, 3, 4});
    in->domain.proj = 5;
    in->domain.clat = 12.0f;
    in->domain.clon = -100.0f;
    in->domain.dx = in->domain.dy = 1.0f;
    in->domain.nx = in->domain.ny = 2;
    std::string path = dir.file("ortho.img");
    ASSERT_EQ(IMG_write(path.c_str(), in.get(), 0), 1);
    EXPECT_EQ(read_file(path),
              std::string("ZMTIMG\n\n\n12.000000 -100.000000 1.000000 1.000000 2 2\n") +
                  "\x01\x02\x03\x04");
    // Read back as a size line: 12 wide, and no domain.
    Held out;
    IMG_read_zmt(path.c_str(), out.get());
    EXPECT_EQ(out->width, 12);
    EXPECT_EQ(out->domain.proj, -9999);
}

TEST_F(NativeFile, DateLabelGoesThroughTheDateModule) {
    Date date;
    DATE_init(&date);
    date.year = 2003;
    date.month = 6;
    date.day = 29;
    date.hour = 13;
    date.minute = 30;
    date.second = 0;
    DATE_num_sec(&date);
    char label[64] = "";
    ASSERT_GE(DATE_make_label(&date, label), 0);
    ASSERT_LT(std::strlen(label), 52u);

    Held in;
    fill(in.get(), 1, 1, {9});
    std::strcpy(in->date_label, label);
    std::string path = dir.file("date.img");
    ASSERT_EQ(IMG_write(path.c_str(), in.get(), 1), 1);
    Held out;
    ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
    EXPECT_STREQ(out->date_label, label);
    EXPECT_EQ(out->date.year, 2003);
    EXPECT_EQ(out->date.month, 6);
    EXPECT_EQ(out->date.day, 29);
    EXPECT_EQ(out->date.hour, 13);
    EXPECT_EQ(out->date.minute, 30);
}

TEST_F(NativeFile, HandMadeHeaderForms) {
    const std::string pixels = "ABCDEFGHIJKL";  // 4 x 3
    // Version 4 with a domain text and compressed pixels.
    std::string path = dir.file("v4.img");
    write_file(path, "ZMTIMG4Z\nno date\nversion four\nps:-105,45,-100,4,3,0.5,0.5\n" +
                         deflate_piece(pixels));
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(out->domain.proj, 1);
        EXPECT_FLOAT_EQ(out->domain.plon, -105.0f);
        EXPECT_FLOAT_EQ(out->domain.clat, 45.0f);
        EXPECT_EQ(out->width, 4);
        EXPECT_EQ(out->bytes_per_line, 4);
        EXPECT_EQ(out->height, 3);
        EXPECT_STREQ(out->info, "version four");
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 12), pixels);
    }
    // Blocks before the pixels: V skips 1024 bytes, C skips 2, reads 2, then twice the second.
    path = dir.file("vc.img");
    write_file(path, "ZMTIMGVC\n\n\n4 3\n" + std::string(1024, 'v') + "xx" +
                         std::string("\x00\x03", 2) + "cccccc" + pixels);
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 12), pixels);
    }
    // Pixels in a second file.
    std::string body = dir.file("body.raw");
    write_file(body, pixels);
    path = dir.file("star.img");
    write_file(path, "ZMTIMG*\n\n\n4 3\n" + body + "\n");
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 12), pixels);
    }
    write_file(path, "ZMTIMG*\n\n\n4 3\n" + dir.file("missing.raw") + "\n");
    {
        Held out;
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMG_read_zmt(path.c_str(), out.get()), -1);
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    }
    // An unknown token leaves no projection but the numbers still count.
    path = dir.file("unknown.img");
    write_file(path, "ZMTIMG\n\n\nQQ 1.0 2.0 3.0 4.0 4 3\n" + pixels);
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(out->domain.proj, -9999);
        EXPECT_EQ(out->domain.nx, 4);
        EXPECT_FLOAT_EQ(out->domain.dy, 4.0f);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 12), pixels);
    }
}

TEST_F(NativeFile, CompressedSizeLineStopsWithoutWaiting) {
    // Width and height with "Z": the expected size is 0, so the end of data ends the read.
    std::string pixels(5000, 'q');
    std::string path = dir.file("sizez.img");
    write_file(path, "ZMTIMGZ\n\n\n100 50\n" + deflate_piece(pixels));
    Held out;
    auto t0 = std::chrono::steady_clock::now();
    ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
    EXPECT_LT(seconds_since(t0), 0.9);
    EXPECT_EQ(out->bytes_per_line, 0);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 5000), pixels);
}

TEST_F(NativeFile, CompressedBodyCutShortWaitsThenKeepsWhatCame) {
    IMG_set_max_waits(2);
    Held in;
    auto pixels = pattern(300 * 100, 7);
    fill(in.get(), 300, 100, pixels);
    set_grid(in.get());
    std::string path = dir.file("cut.img");
    ASSERT_EQ(IMG_write(path.c_str(), in.get(), 1), 1);
    std::string whole = read_file(path);
    write_file(path, whole.substr(0, whole.size() - 40));  // inside the last piece
    Held out;
    auto t0 = std::chrono::steady_clock::now();
    ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
    double took = seconds_since(t0);
    EXPECT_GE(took, 1.9);
    EXPECT_LT(took, 5.0);
    EXPECT_EQ(std::memcmp(out->data, pixels.data(), 20000), 0);  // the two whole pieces
}

TEST_F(NativeFile, CompressedReaderWaitsForAFileStillBeingWritten) {
    Held in;
    auto pixels = pattern(250 * 200, 8);
    fill(in.get(), 250, 200, pixels);
    set_grid(in.get());
    std::string path = dir.file("growing.img");
    ASSERT_EQ(IMG_write(path.c_str(), in.get(), 1), 1);
    std::string whole = read_file(path);
    const size_t half = whole.size() / 2;
    write_file(path, whole.substr(0, half));
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        std::ofstream out(path, std::ios::binary | std::ios::app);
        out << whole.substr(half);
    });
    Held out;
    int status = IMG_read_zmt(path.c_str(), out.get());
    writer.join();
    ASSERT_EQ(status, 1);
    EXPECT_EQ(std::memcmp(out->data, pixels.data(), pixels.size()), 0);
}

TEST_F(NativeFile, ExpandedWriterReducesToOneBytePerPixel) {
    struct Case {
        const char* what;
        int width, height, depth, bpp, bpl, order, colors;
        std::vector<unsigned char> data;
        std::string body;
    };
    const Case cases[] = {
        // Mean of the colour bytes, rounded down.
        {"32 msb", 2, 1, 24, 32, 8, 1, 0, {0, 10, 20, 30, 99, 1, 2, 4}, std::string("\x14\x02", 2)},
        {"32 lsb",
         2,
         1,
         24,
         32,
         8,
         0,
         0,
         {10, 20, 31, 99, 1, 2, 4, 99},
         std::string("\x14\x02", 2)},
        // 24 bits, stride 8 for 2 pixels: 2 bytes left, the source skips them.
        {"24 msb",
         2,
         2,
         24,
         24,
         8,
         1,
         0,
         {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0},
         "\x03\x06\x09\x0c"},
        // Stride 7: one byte left is not skipped, so the next line starts one early.
        {"24 lsb drift",
         2,
         2,
         24,
         24,
         7,
         0,
         0,
         {1, 2, 3, 4, 5, 6, 50, 7, 8, 9, 10, 11, 12, 60},
         "\x01\x04\x32\x09"},
        {"16 msb", 2, 1, 16, 16, 4, 1, 0, {1, 2, 3, 4}, "\x02\x04"},
        {"16 lsb", 2, 1, 16, 16, 4, 0, 0, {1, 2, 3, 4}, "\x01\x03"},
        // A colour table: the source does not move.
        {"8 mapped", 3, 1, 8, 8, 3, 1, 4, {7, 8, 9}, "\x07\x07\x07"},
        // Nibbles, high first.
        {"4",
         4,
         2,
         4,
         4,
         2,
         1,
         0,
         {0x12, 0x34, 0x56, 0x78},
         std::string("\x01\x02\x03\x04\x05\x06\x07\x08", 8)},
        // Bits, low first.
        {"1", 8, 1, 1, 1, 1, 1, 0, {0xA5}, std::string("\x01\x00\x01\x00\x00\x01\x00\x01", 8)},
    };
    for (const Case& c : cases) {
        Image image{};
        IMG_init(&image);
        image.width = c.width;
        image.height = c.height;
        image.depth = c.depth;
        image.bits_per_pixel = c.bpp;
        image.bytes_per_line = c.bpl;
        image.byte_order = c.order;
        image.num_colors = c.colors;
        image.data = const_cast<unsigned char*>(c.data.data());
        std::string path = dir.file("x.img");
        ASSERT_EQ(IMG_write(path.c_str(), &image, 1), 1) << c.what;
        std::string text = read_file(path);
        std::string head =
            "ZMTIMGZ\n\n\n" + std::to_string(c.width) + " " + std::to_string(c.height) + "\n";
        ASSERT_EQ(text.substr(0, head.size()), head) << c.what;
        EXPECT_EQ(text.substr(head.size()), c.body) << c.what;  // never compressed
    }
}

TEST_F(NativeFile, OpenFailuresAndBadMagic) {
    Held image;
    testing::internal::CaptureStderr();
    std::string missing = dir.file("nothing.img");
    EXPECT_EQ(IMG_read_zmt(missing.c_str(), image.get()), -1);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open: " + missing + "\n");

    std::string path = dir.file("bad.img");
    for (const char* text : {"ZMTIMX\n\n\n1 1\nA", "", "ZMT", "zmtimg\n\n\n1 1\nA"}) {
        write_file(path, text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMG_read_zmt(path.c_str(), image.get()), -1) << text;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMG_read_zmt: Invalid image type\n");
    }

    Held in;
    fill(in.get(), 1, 1, {1});
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_write("/dev/null/x.img", in.get(), 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open: /dev/null/x.img\n");
    // A full disk is a failure too.
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_write("/dev/full", in.get(), 1), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr(), "");
}

TEST_F(NativeFile, TruncatedAndHostileFilesNeverCrash) {
    IMG_set_max_waits(0);
    const std::string pixels(64 * 64, 'p');
    const std::string header = "ZMTIMG\nlabel\ninfo\nLL 10.0 20.0 1.0 1.0 64 64\n";
    struct Case {
        const char* what;
        std::string bytes;
        int status;
    };
    const Case cases[] = {
        {"magic only", "ZMTIMG\n", 0},
        {"in the date line", "ZMTIMG\nlab", 0},
        {"in the domain line", "ZMTIMG\nlabel\ninfo\nLL 10.0 20.0 1.0", 0},
        {"in the version 4 domain line", "ZMTIMG4\nlabel\ninfo\nps:-105,45", 0},
        {"no pixels", header, 0},
        {"less than half the pixels", header + pixels.substr(0, 1000), 0},
        {"most of the pixels", header + pixels.substr(0, 4000), 1},
        {"claims far more", "ZMTIMG\n\n\n2000000000 2000000000\n" + pixels, 0},
        {"claims far more, compressed", "ZMTIMGZ\n\n\n60000 60000\n" + deflate_piece(pixels, 9), 0},
        {"negative size", "ZMTIMG\n\n\n-5 10\n" + pixels, 0},
        {"zero size", "ZMTIMG\n\n\n0 0\n", 0},
        {"garbage instead of zlib", "ZMTIMGZ\n\n\n64 64\n" + pixels, 1},
        {"negative C block", "ZMTIMGC\n\n\n64 64\nxx" + std::string("\x00\xf0", 2) + pixels, 1},
        {"over-long lines",
         "ZMTIMG\n" + std::string(5000, 'd') + "\n" + std::string(5000, 'i') + "\n1 1\nA", 0},
    };
    std::string path = dir.file("broken.img");
    for (const Case& c : cases) {
        write_file(path, c.bytes);
        Held out;
        testing::internal::CaptureStderr();
        int status = IMG_read_zmt(path.c_str(), out.get());
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(status, c.status) << c.what;
        if (status == 1) {
            ASSERT_NE(out->data, nullptr) << c.what;
        } else {
            EXPECT_EQ(out->data, nullptr) << c.what;
            EXPECT_NE(err, "") << c.what;  // a refused image says why
        }
        if (std::string(c.what) == "most of the pixels") {
            EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 4000),
                      pixels.substr(0, 4000));
            EXPECT_EQ(out->data[4095], 0);  // the missing tail is blank
        }
    }
}

TEST_F(NativeFile, CorruptAndEndlessZlibStreams) {
    IMG_set_max_waits(0);
    auto pixels = pattern(200 * 100, 11);
    std::string first = deflate_piece(std::string(pixels.begin(), pixels.begin() + 10000));
    std::string path = dir.file("z.img");

    // A good piece, then a damaged one: the first piece stays, the read ends.
    std::string second = deflate_piece(std::string(pixels.begin() + 10000, pixels.end()));
    for (size_t i = 10; i < second.size(); i += 7) second[i] ^= 0x5a;
    write_file(path, "ZMTIMGZ\n\n\n200 100\n" + first + second);
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(std::memcmp(out->data, pixels.data(), 10000), 0);
    }
    // A stream that asks for a preset dictionary would stall the loop.
    std::string dict;
    {
        z_stream zs{};
        deflateInit(&zs, 6);
        deflateSetDictionary(&zs, reinterpret_cast<const Bytef*>("abc"), 3);
        unsigned char buf[256];
        zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>("abcabcabc"));
        zs.avail_in = 9;
        zs.next_out = buf;
        zs.avail_out = sizeof buf;
        deflate(&zs, Z_FINISH);
        dict.assign(reinterpret_cast<char*>(buf), sizeof buf - zs.avail_out);
        deflateEnd(&zs);
    }
    write_file(path, "ZMTIMGZ\n\n\n3 3\n" + dict);
    {
        Held out;
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_LT(seconds_since(t0), 2.0);
    }
    // Far more output than the header's pixels: the excess is dropped.
    write_file(path, "ZMTIMGZ\n\n\n10 10\n" + deflate_piece(std::string(20000000, 'e'), 9));
    {
        Held out;
        ASSERT_EQ(IMG_read_zmt(path.c_str(), out.get()), 1);
        EXPECT_EQ(std::string(reinterpret_cast<char*>(out->data), 100), std::string(100, 'e'));
    }
}

TEST_F(NativeFile, ReadByContent) {
    Held in;
    auto pixels = pattern(30 * 20, 5);
    fill(in.get(), 30, 20, pixels);
    std::string path = dir.file("any.img");
    ASSERT_EQ(IMG_write(path.c_str(), in.get(), 1), 1);
    {
        Held out;
        EXPECT_EQ(IMG_read(path.c_str(), out.get(), 0), 1);
        EXPECT_EQ(out->width, 30);
        EXPECT_EQ(std::memcmp(out->data, pixels.data(), pixels.size()), 0);
    }
    {
        Held out;
        testing::internal::CaptureStderr();
        std::string missing = dir.file("none");
        EXPECT_EQ(IMG_read(missing.c_str(), out.get(), 0), 0);
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "IMG_read: Unable to open image file: " + missing + "\n");
    }
    // Anything that is not GIF, PNG or native goes to the XWD reader.
    write_file(path, "plain text, nothing else");
    {
        Held out;
        EXPECT_EQ(IMG_read(path.c_str(), out.get(), 0), 0);
        EXPECT_EQ(out->data, nullptr);
    }
}

}  // namespace
