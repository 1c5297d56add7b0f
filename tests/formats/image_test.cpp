// The Image record and the native image format: round trips, hand-made files of
// every header form, the expanding writer, and broken or hostile files.
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

#include "test_support.h"

namespace {

using sat_test::read_file;
using sat_test::write_file;
using Clock = std::chrono::steady_clock;
constexpr float M = -9999.0f;

struct Held {  // frees what a test reads
    Image image{};
    Held() { IMG_init(&image); }
    ~Held() { IMG_free(&image); }
    Image* operator->() { return &image; }
    Image* get() { return &image; }
    std::string pixels(size_t n) const {
        return std::string(reinterpret_cast<char*>(image.data), n);
    }
};

std::string pattern(size_t n, unsigned seed) {
    std::string v(n, '\0');
    uint32_t x = seed * 2654435761u + 1;
    for (char& c : v) c = static_cast<char>((x = x * 1664525u + 1013904223u) >> 24);
    return v;
}

// An 8-bit image; with `grid` a latitude-longitude domain of its size, which
// tells the reader how much a compressed body must give.
void fill(Image* image, int width, int height, const std::string& pixels, bool grid = false) {
    image->width = image->bytes_per_line = width;
    image->height = height;
    image->depth = 8;
    image->data = static_cast<unsigned char*>(std::malloc(pixels.size() + 1));
    std::memcpy(image->data, pixels.data(), pixels.size());
    if (!grid) return;
    Domain& d = image->domain;
    d = {2, M, M, {M, M, M, M, M}, 40.0f, -90.0f, 0.1f, 0.1f, width, height, 0};
}

std::string zpiece(const std::string& raw) {
    uLongf size = compressBound(raw.size());
    std::string out(size, '\0');
    compress(reinterpret_cast<Bytef*>(out.data()), &size,
             reinterpret_cast<const Bytef*>(raw.data()), raw.size());
    out.resize(size);
    return out;
}

double since(Clock::time_point t0) {
    return std::chrono::duration<double>(Clock::now() - t0).count();
}

class Native : public ::testing::Test {
   protected:
    void SetUp() override { IMG_set_max_waits(10); }
    void TearDown() override { IMG_set_max_waits(10); }
    std::string path(const char* name) const { return dir.file(name); }
    sat_test::TempDir dir;
};

TEST_F(Native, InitAndFreeTouchOnlyTheirFields) {
    Image image;
    std::memset(&image, 0x55, sizeof image);
    image.xres = 4.0f;
    image.red_mask = 0xFF0000;
    IMG_init(&image);
    EXPECT_EQ(image.byte_order, 1);
    EXPECT_EQ(image.transparent, -1);
    EXPECT_EQ(image.date.year, -9999);
    EXPECT_EQ(image.domain.proj, -9999);
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.xres, 4.0f);
    EXPECT_EQ(image.red_mask, 0xFF0000u);
    image.width = 3;
    image.num_colors = 2;
    image.data = static_cast<unsigned char*>(std::malloc(3));
    image.colors = static_cast<float*>(std::malloc(6 * sizeof(float)));
    IMG_free(&image);
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.colors, nullptr);
    EXPECT_EQ(image.num_colors, 0);
    EXPECT_EQ(image.width, 3);
}

TEST_F(Native, RoundTripSizesFromOnePixelToSixThousandSquare) {
    // Pieces cut inside a line, exactly three pieces, many pieces.
    const std::pair<int, int> sizes[] = {{1, 1}, {3, 7}, {200, 150}, {1024, 1023}, {6000, 6000}};
    unsigned seed = 1;
    for (auto [w, h] : sizes) {
        for (int form = 0; form < 4; form++) {
            const int compress = form % 2;
            const bool grid = form >= 2;
            std::string pixels = pattern(size_t(w) * h, seed++);
            if (w == 6000) std::memset(pixels.data(), 17, pixels.size() / 2);  // flat, as space is
            Held in, out;
            fill(in.get(), w, h, pixels, grid);
            std::strcpy(in->date_label, "1330Z 29 JUN 03");
            std::snprintf(in->info, sizeof in->info, "GOES-8 IR %d", form);
            ASSERT_EQ(IMG_write(path("rt.img").c_str(), in.get(), compress), 1);
            EXPECT_EQ(read_file(path("rt.img")).substr(0, 8), compress ? "ZMTIMGZ\n" : "ZMTIMG\n1");
            ASSERT_EQ(IMG_read_zmt(path("rt.img").c_str(), out.get()), 1)
                << w << "x" << h << " " << form;
            EXPECT_EQ(out->source, 50);
            EXPECT_STREQ(out->date_label, in->date_label);
            EXPECT_EQ(out->date.year, 2003);  // through the date module
            EXPECT_EQ(out->date.hour, 13);
            EXPECT_STREQ(out->info, in->info);
            EXPECT_EQ(out->width, w);
            EXPECT_EQ(out->height, h);
            EXPECT_EQ(out->depth, 8);
            EXPECT_EQ(out->bytes_per_line, grid ? w : 0);  // a size line leaves it 0
            EXPECT_EQ(out->domain.proj, grid ? 2 : -9999);
            EXPECT_EQ(out->domain.nx, w);
            EXPECT_EQ(out->domain.ny, h);
            ASSERT_NE(out->data, nullptr);
            EXPECT_TRUE(out.pixels(pixels.size()) == pixels) << w << "x" << h << " " << form;
        }
    }
}

TEST_F(Native, ProjectionTokensWrittenAndReadBack) {
    struct Case {
        int proj;
        float plat, plon, tlat1;
        const char* token;
        float plat_back, plon_back, tlat1_back;
    };
    const Case cases[] = {
        {2, M, M, M, "LL ", M, M, M},
        {3, M, M, M, "ME ", M, M, M},
        {1, M, -100.0f, M, "PS ", M, M, M},  // plon equal to clon
        {1, M, -105.0f, M, "PS:-105.000000 ", M, -105.0f, M},
        {4, 25.0f, -95.0f, 25.0f, "LC:25.000000:-95.000000:25.000000:35.000000:1.500000 ", 25.0f,
         -95.0f, 25.0f},
        {4, 40.0f, -95.0f, M, "LC:-95.000000 ", M, -95.0f, M},  // only plon comes back
        {4, M, M, M, "LC ", M, M, M},
        {9, 0.0f, -75.0f, 421.64f, "SAT:0.000000:-75.000000:421.640015 ", 0.0f, -75.0f, 421.64f},
        {9, 0.0f, -135.0f, M, "SAT:0.000000:-135.000000 ", 0.0f, -135.0f, M},
    };
    for (const Case& c : cases) {
        Held in, out;
        fill(in.get(), 4, 3, "ABCDEFGHIJKL");
        in->domain = {c.proj, c.plat,  c.plon, {c.tlat1, 35.0f, 1.5f, M, M},
                      38.5f,  -100.0f, 0.25f,  0.5f,
                      4,      3,       0};
        ASSERT_EQ(IMG_write(path("d.img").c_str(), in.get(), 0), 1);
        EXPECT_EQ(read_file(path("d.img")),
                  std::string("ZMTIMG\n\n\n") + c.token +
                      "38.500000 -100.000000 0.250000 0.500000 4 3\nABCDEFGHIJKL");
        ASSERT_EQ(IMG_read_zmt(path("d.img").c_str(), out.get()), 1) << c.token;
        const Domain& r = out->domain;
        EXPECT_EQ(r.proj, c.proj) << c.token;
        EXPECT_FLOAT_EQ(r.plat, c.plat_back) << c.token;
        EXPECT_FLOAT_EQ(r.plon, c.plon_back) << c.token;
        EXPECT_FLOAT_EQ(r.param[0], c.tlat1_back) << c.token;
        EXPECT_FLOAT_EQ(r.clat, 38.5f);
        EXPECT_FLOAT_EQ(r.dy, 0.5f);
        EXPECT_EQ(out->bytes_per_line, 4);
        EXPECT_EQ(out.pixels(12), "ABCDEFGHIJKL");
    }
    // A projection with no token writes the number line alone, which reads back as a size line.
    Held in, out;
    fill(in.get(), 2, 2, "abcd");
    in->domain = {5, M, M, {M, M, M, M, M}, 12.0f, -100.0f, 1.0f, 1.0f, 2, 2, 0};
    ASSERT_EQ(IMG_write(path("o.img").c_str(), in.get(), 0), 1);
    EXPECT_EQ(read_file(path("o.img")),
              "ZMTIMG\n\n\n12.000000 -100.000000 1.000000 1.000000 2 2\nabcd");
    IMG_read_zmt(path("o.img").c_str(), out.get());
    EXPECT_EQ(out->width, 12);
    EXPECT_EQ(out->domain.proj, -9999);
}

TEST_F(Native, HandMadeHeaderForms) {
    const std::string px = "ABCDEFGHIJKL";  // 4 x 3
    const std::string body = path("body.raw");
    write_file(body, px);
    const std::pair<const char*, std::string> files[] = {
        {"version 4", "ZMTIMG4Z\n\nv4\nps:-105,45,-100,4,3,0.5,0.5\n" + zpiece(px)},
        {"V and C blocks", "ZMTIMGVC\n\n\n4 3\n" + std::string(1024, 'v') + "xx" +
                               std::string("\x00\x03", 2) + "cccccc" + px},
        {"second file", "ZMTIMG*\n\n\n4 3\n" + body + "\n"},
        {"unknown token", "ZMTIMG\n\n\nQQ 1.0 2.0 3.0 4.0 4 3\n" + px},
    };
    for (const auto& [what, bytes] : files) {
        Held out;
        write_file(path("h.img"), bytes);
        ASSERT_EQ(IMG_read_zmt(path("h.img").c_str(), out.get()), 1) << what;
        EXPECT_EQ(out->width, 4) << what;
        EXPECT_EQ(out->height, 3) << what;
        EXPECT_EQ(out.pixels(12), px) << what;
        if (std::string(what) == "version 4") {
            EXPECT_EQ(out->domain.proj, 1);
            EXPECT_FLOAT_EQ(out->domain.plon, -105.0f);
            EXPECT_EQ(out->bytes_per_line, 4);
        }
        if (std::string(what) == "unknown token") {
            EXPECT_EQ(out->domain.proj, -9999);
        }
    }
    Held out;
    write_file(path("h.img"), "ZMTIMG*\n\n\n4 3\n/dev/zero\n");  // only a plain file holds pixels
    EXPECT_EQ(IMG_read_zmt(path("h.img").c_str(), out.get()), -1);
}

TEST_F(Native, CompressedReaderWaitsOnlyWhenItKnowsTheSize) {
    // A size line with "Z": nothing is expected, so the end of data ends the read at once.
    Held a;
    write_file(path("s.img"), "ZMTIMGZ\n\n\n100 50\n" + zpiece(std::string(5000, 'q')));
    auto t0 = Clock::now();
    ASSERT_EQ(IMG_read_zmt(path("s.img").c_str(), a.get()), 1);
    EXPECT_LT(since(t0), 0.9);
    EXPECT_EQ(a.pixels(5000), std::string(5000, 'q'));

    // Cut inside the last piece: the reader waits, then keeps the whole pieces.
    IMG_set_max_waits(2);
    Held in, b;
    std::string px = pattern(300 * 100, 7);
    fill(in.get(), 300, 100, px, true);
    ASSERT_EQ(IMG_write(path("c.img").c_str(), in.get(), 1), 1);
    std::string whole = read_file(path("c.img"));
    write_file(path("c.img"), whole.substr(0, whole.size() - 40));
    t0 = Clock::now();
    ASSERT_EQ(IMG_read_zmt(path("c.img").c_str(), b.get()), 1);
    EXPECT_GE(since(t0), 1.9);
    EXPECT_EQ(b.pixels(20000), px.substr(0, 20000));

    // A file still being written: the rest arrives during the wait.
    IMG_set_max_waits(10);
    Held c;
    const size_t half = whole.size() / 2;
    write_file(path("c.img"), whole.substr(0, half));
    std::thread writer([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(1500));
        std::ofstream(path("c.img"), std::ios::binary | std::ios::app) << whole.substr(half);
    });
    int status = IMG_read_zmt(path("c.img").c_str(), c.get());
    writer.join();
    ASSERT_EQ(status, 1);
    EXPECT_TRUE(c.pixels(px.size()) == px);
}

TEST_F(Native, ExpandedWriterReducesScreenGrabsToOneBytePerPixel) {
    auto expanded = [&](int w, int h, int depth, int bpp, int bpl, int order, int colors,
                        std::vector<unsigned char> data) {
        Image image{};
        IMG_init(&image);
        image = {0, 0, 0, "",      image.date, "",           w,          h, depth,
                 0, 0, 0, 0,       bpp,        bpl,          order,      0, colors,
                 0, 0, 0, nullptr, -1,         image.domain, data.data()};
        EXPECT_EQ(IMG_write(path("x.img").c_str(), &image, 1), 1);
        std::string head = "ZMTIMGZ\n\n\n" + std::to_string(w) + " " + std::to_string(h) + "\n";
        std::string text = read_file(path("x.img"));
        EXPECT_EQ(text.substr(0, head.size()), head);
        return text.substr(head.size());  // never compressed
    };
    using B = std::string;
    // Means of the three colour bytes, rounded down.
    EXPECT_EQ(expanded(2, 1, 24, 32, 8, 1, 0, {0, 10, 20, 30, 99, 1, 2, 4}), B("\x14\x02", 2));
    EXPECT_EQ(expanded(2, 1, 24, 32, 8, 0, 0, {10, 20, 31, 99, 1, 2, 4, 99}), B("\x14\x02", 2));
    // 24 bits: two bytes left at the end of a line are skipped, one is not.
    EXPECT_EQ(expanded(2, 2, 24, 24, 8, 1, 0, {1, 2, 3, 4, 5, 6, 0, 0, 7, 8, 9, 10, 11, 12, 0, 0}),
              "\x03\x06\x09\x0c");
    EXPECT_EQ(expanded(2, 2, 24, 24, 7, 0, 0, {1, 2, 3, 4, 5, 6, 50, 7, 8, 9, 10, 11, 12, 60}),
              "\x01\x04\x32\x09");
    EXPECT_EQ(expanded(2, 1, 16, 16, 4, 1, 0, {1, 2, 3, 4}), "\x02\x04");
    EXPECT_EQ(expanded(2, 1, 16, 16, 4, 0, 0, {1, 2, 3, 4}), "\x01\x03");
    EXPECT_EQ(expanded(3, 1, 8, 8, 3, 1, 4, {7, 8, 9}), "\x07\x07\x07");  // source stands still
    EXPECT_EQ(expanded(4, 1, 4, 4, 2, 1, 0, {0x12, 0x34}), B("\x01\x02\x03\x04"));
    EXPECT_EQ(expanded(8, 1, 1, 1, 1, 1, 0, {0xA5}), B("\x01\x00\x01\x00\x00\x01\x00\x01", 8));
}

TEST_F(Native, FailuresToOpenAndWrongMagic) {
    Held image, in;
    const std::string missing = path("none.img");
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_read_zmt(missing.c_str(), image.get()), -1);
    EXPECT_EQ(IMG_read(missing.c_str(), image.get(), 0), 0);
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        "Unable to open: " + missing + "\nIMG_read: Unable to open image file: " + missing + "\n");
    for (const char* text : {"ZMTIMX\n\n\n1 1\nA", "", "ZMT", "zmtimg\n\n\n1 1\nA"}) {
        write_file(path("bad.img"), text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMG_read_zmt(path("bad.img").c_str(), image.get()), -1) << text;
        EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMG_read_zmt: Invalid image type\n");
    }
    fill(in.get(), 1, 1, "A");
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_write("/dev/null/x.img", in.get(), 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unable to open: /dev/null/x.img\n");
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_write("/dev/full", in.get(), 1), 0);  // a full disk fails too
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "IMG_write: Unable to write: /dev/full\n");
}

TEST_F(Native, TruncatedCorruptAndHostileFiles) {
    IMG_set_max_waits(0);
    const std::string px = pattern(64 * 64, 3);
    const std::string head = "ZMTIMG\nlabel\ninfo\nLL 10.0 20.0 1.0 1.0 64 64\n";
    const std::string good = zpiece(px.substr(0, 2048));
    std::string damaged = zpiece(px.substr(2048));
    for (size_t i = 10; i < damaged.size(); i += 7) damaged[i] ^= 0x5a;
    const struct {
        const char* what;
        std::string bytes;
        int status;
    } cases[] = {
        {"magic only", "ZMTIMG\n", 0},
        {"in the date line", "ZMTIMG\nlab", 0},
        {"in the domain line", "ZMTIMG\nlabel\ninfo\nLL 10.0 20.0 1.0", 0},
        {"in a version 4 domain line", "ZMTIMG4\nlabel\ninfo\nps:-105,45", 0},
        {"no pixels", head, 0},
        {"less than half the pixels", head + px.substr(0, 1000), 0},
        {"most of the pixels", head + px.substr(0, 4000), 1},
        {"claims far more", "ZMTIMG\n\n\n2000000000 2000000000\n" + px, 0},
        {"claims far more, compressed", "ZMTIMGZ\n\n\n60000 60000\n" + zpiece(px), 0},
        {"negative size", "ZMTIMG\n\n\n-5 10\n" + px, 0},
        {"garbage for zlib", "ZMTIMGZ\n\n\n64 64\n" + px, 1},
        {"good piece then damaged", "ZMTIMGZ\n\n\n64 64\n" + good + damaged, 1},
        {"endless output", "ZMTIMGZ\n\n\n10 10\n" + zpiece(std::string(20000000, 'e')), 1},
        {"negative C block", "ZMTIMGC\n\n\n64 64\nxx" + std::string("\x00\xf0", 2) + px, 1},
        {"over-long lines", "ZMTIMG\n" + std::string(5000, 'd') + "\n1 1\nA", 0},
    };
    for (const auto& c : cases) {
        Held out;
        write_file(path("broken.img"), c.bytes);
        testing::internal::CaptureStderr();
        EXPECT_EQ(IMG_read_zmt(path("broken.img").c_str(), out.get()), c.status) << c.what;
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(out->data != nullptr, c.status == 1) << c.what;
        if (c.status == 0) {
            EXPECT_NE(err, "") << c.what;  // a refused image says why
        }
    }
    Held most, broken, endless;
    write_file(path("m.img"), head + px.substr(0, 4000));
    ASSERT_EQ(IMG_read_zmt(path("m.img").c_str(), most.get()), 1);
    EXPECT_EQ(most.pixels(4096), px.substr(0, 4000) + std::string(96, '\0'));  // blank tail
    write_file(path("m.img"), "ZMTIMGZ\n\n\n64 64\n" + good + damaged);
    ASSERT_EQ(IMG_read_zmt(path("m.img").c_str(), broken.get()), 1);
    EXPECT_EQ(broken.pixels(2048), px.substr(0, 2048));
}

TEST_F(Native, StreamAskingForADictionaryDoesNotStall) {
    z_stream zs{};
    unsigned char buf[256];
    deflateInit(&zs, 6);
    deflateSetDictionary(&zs, reinterpret_cast<const Bytef*>("abc"), 3);
    zs.next_in = reinterpret_cast<Bytef*>(const_cast<char*>("abcabcabc"));
    zs.avail_in = 9;
    zs.next_out = buf;
    zs.avail_out = sizeof buf;
    deflate(&zs, Z_FINISH);
    write_file(path("dict.img"), "ZMTIMGZ\n\n\n3 3\n" + std::string(reinterpret_cast<char*>(buf),
                                                                    sizeof buf - zs.avail_out));
    deflateEnd(&zs);
    Held out;
    auto t0 = Clock::now();
    EXPECT_EQ(IMG_read_zmt(path("dict.img").c_str(), out.get()), 1);
    EXPECT_LT(since(t0), 2.0);
}

TEST_F(Native, ReadByContent) {
    Held in, out, other;
    fill(in.get(), 30, 20, pattern(600, 5));
    ASSERT_EQ(IMG_write(path("any.img").c_str(), in.get(), 1), 1);
    EXPECT_EQ(IMG_read(path("any.img").c_str(), out.get(), 0), 1);
    EXPECT_EQ(out->width, 30);
    EXPECT_EQ(out.pixels(600), pattern(600, 5));
    // Anything not GIF, PNG or native goes to the XWD reader.
    write_file(path("any.img"), "plain text, nothing else");
    EXPECT_EQ(IMG_read(path("any.img").c_str(), other.get(), 0), 0);
    EXPECT_EQ(other->data, nullptr);
}

}  // namespace
