// The native image format: round trips with the compressed body inflated by
// zlib, hand-made files of every header form, and broken or hostile files.
#include "formats/image.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using sat_test::read_file;
using sat_test::write_file;
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

// An 8-bit image; `grid` gives it a domain of its size, which a compressed body must fill.
void fill(Image* image, int width, int height, const std::string& pixels, bool grid = false) {
    image->width = image->bytes_per_line = width;
    image->height = height;
    image->depth = 8;
    image->data = static_cast<unsigned char*>(std::malloc(pixels.size() + 1));
    std::memcpy(image->data, pixels.data(), pixels.size());
    if (grid)
        image->domain = {2, M, M, {M, M, M, M, M}, 40.0f, -90.0f, 0.1f, 0.1f, width, height, 0};
}

std::string zpiece(const std::string& raw) {
    uLongf size = compressBound(raw.size());
    std::string out(size, '\0');
    compress(reinterpret_cast<Bytef*>(out.data()), &size,
             reinterpret_cast<const Bytef*>(raw.data()), raw.size());
    return out.substr(0, size);
}

// A chain of zlib streams as zlib inflates it, and the number of streams.
std::string inflate_chain(std::string z, size_t* streams) {
    std::string out;
    for (*streams = 0; !z.empty(); ++*streams) {
        std::string piece(20000, '\0');
        uLongf size = piece.size();
        uLong used = z.size();
        if (uncompress2(reinterpret_cast<Bytef*>(piece.data()), &size,
                        reinterpret_cast<const Bytef*>(z.data()), &used) != Z_OK)
            return "bad stream";
        out += piece.substr(0, size);
        z.erase(0, used);
    }
    return out;
}

class Native : public ::testing::Test {
   protected:
    void TearDown() override { IMG_set_max_waits(10); }
    std::string path(const char* name) const { return dir.file(name); }
    std::string write(const Image* image, int compress) {
        EXPECT_EQ(IMG_write(path("out.img").c_str(), image, compress), 1);
        return read_file(path("out.img"));
    }
    int read(const std::string& bytes, Held& out) {
        write_file(path("in.img"), bytes);
        return IMG_read_zmt(path("in.img").c_str(), out.get());
    }
    sat_test::TempDir dir;
};

TEST_F(Native, RoundTripsWithBodiesInPiecesOfTenThousand) {
    unsigned seed = 1;
    for (auto [w, h] : {std::pair{1, 1}, {1024, 1023}}) {
        for (int form = 0; form < 4; form++) {
            const int compress = form % 2;
            const bool grid = form >= 2;
            std::string pixels = pattern(size_t(w) * h, seed++);
            Held in, out;
            fill(in.get(), w, h, pixels, grid);
            std::strcpy(in->date_label, "1330Z 29 JUN 03");
            std::snprintf(in->info, sizeof in->info, "GOES-8 IR %d", form);
            std::string bytes = write(in.get(), compress);
            EXPECT_EQ(bytes.substr(0, 8), compress ? "ZMTIMGZ\n" : "ZMTIMG\n1");
            size_t body = 0, streams = 0;
            for (int line = 0; line < 4; line++) body = bytes.find('\n', body) + 1;
            if (compress) {
                EXPECT_TRUE(inflate_chain(bytes.substr(body), &streams) == pixels);
                EXPECT_EQ(streams, (pixels.size() + 9999) / 10000);
            }
            ASSERT_EQ(read(bytes, out), 1) << w << "x" << h << " " << form;
            EXPECT_EQ(out->source, 50);
            EXPECT_STREQ(out->date_label, in->date_label);
            EXPECT_EQ(out->date.year * 100 + out->date.hour, 200313);  // through the date module
            EXPECT_STREQ(out->info, in->info);
            EXPECT_EQ(
                std::vector({out->width, out->height, out->depth, out->domain.nx, out->domain.ny}),
                std::vector({w, h, 8, w, h}));
            EXPECT_EQ(out->bytes_per_line, grid ? w : 0);  // a size line leaves it 0
            EXPECT_EQ(out->domain.proj, grid ? 2 : -9999);
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
        {1, M, -105.0f, M, "PS:-105.000000 ", M, -105.0f, M},
        {4, 25.0f, -95.0f, 25.0f, "LC:25.000000:-95.000000:25.000000:35.000000:1.500000 ", 25.0f,
         -95.0f, 25.0f},
        {9, 0.0f, -75.0f, 421.64f, "SAT:0.000000:-75.000000:421.640015 ", 0.0f, -75.0f, 421.64f},
    };
    for (const Case& c : cases) {
        Held in, out;
        fill(in.get(), 4, 3, "ABCDEFGHIJKL");
        in->domain = {c.proj, c.plat,  c.plon, {c.tlat1, 35.0f, 1.5f, M, M},
                      38.5f,  -100.0f, 0.25f,  0.5f,
                      4,      3,       0};
        std::string bytes = write(in.get(), 0);
        EXPECT_EQ(bytes, std::string("ZMTIMG\n\n\n") + c.token +
                             "38.500000 -100.000000 0.250000 0.500000 4 3\nABCDEFGHIJKL");
        ASSERT_EQ(read(bytes, out), 1) << c.token;
        SCOPED_TRACE(c.token);
        EXPECT_EQ(out->domain.proj, c.proj);
        EXPECT_EQ(std::vector({out->domain.plat, out->domain.plon, out->domain.param[0]}),
                  std::vector({c.plat_back, c.plon_back, c.tlat1_back}));
    }
}

TEST_F(Native, HeaderFormsAndTruncatedCorruptOrHostileFiles) {
    IMG_set_max_waits(0);
    const std::string px = pattern(64 * 64, 3);
    const std::string head = "ZMTIMG\nlabel\ninfo\nLL 10.0 20.0 1.0 1.0 64 64\n";
    const std::string good = zpiece(px.substr(0, 2048));
    std::string damaged = zpiece(px.substr(2048));
    for (size_t i = 10; i < damaged.size(); i += 7) damaged[i] ^= 0x5a;
    const std::string abc = "ABCDEFGHIJKL";  // 4 x 3
    write_file(path("body.raw"), abc);
    const struct {
        std::string bytes;
        int status;
        std::string start;  // what the pixels begin with
    } cases[] = {
        {"ZMTIMG4Z\n\nv4\nps:-105,45,-100,4,3,0.5,0.5\n" + zpiece(abc), 1, abc},
        {"ZMTIMGVC\n\n\n4 3\n" + std::string(1024, 'v') + std::string("xx\0\3cccccc", 10) + abc, 1,
         abc},
        {"ZMTIMG*\n\n\n4 3\n" + path("body.raw") + "\n", 1, abc},
        {"ZMTIMG*\n\n\n4 3\n/dev/zero\n", -1, ""},  // only a plain file holds pixels
        {"ZMTIMG\n", -1, ""},                       // no size read is an invalid size
        {"ZMTIMX\n\n\n1 1\nA", -1, ""},
        // A short file reads as far as it goes into a zeroed buffer.
        {head + px.substr(0, 1000), 1, px.substr(0, 1000) + std::string(64 * 64 - 1000, '\0')},
        {"ZMTIMG\n\n\n2000000000 2000000000\n" + px, -1, ""},
        {"ZMTIMGZ\n\n\n60000 60000\n" + zpiece(px), -1, ""},
        {"ZMTIMGZ\n\n\n20000 20000\n" + zpiece(px), 1, px},
        {"ZMTIMG\n\n\n-5 10\n" + px, -1, ""},
        {"ZMTIMGZ\n\n\n64 64\n" + good + damaged, 1, px.substr(0, 2048)},
        {"ZMTIMGZ\n\n\n10 10\n" + zpiece(std::string(20000000, 'e')), 1, ""},  // endless output
        {"ZMTIMGC\n\n\n64 64\nxx" + std::string("\x00\xf0", 2) + px, 1, ""},   // negative C block
        // A stream asking for a preset dictionary.
        {"ZMTIMGZ\n\n\n3 3\n" + std::string("\x78\xbb\0\0\0\x01", 6) + std::string(300, '\x01'), 1,
         ""},
        {"ZMTIMG\n" + std::string(5000, 'd') + "\n1 1\nA", -1, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        Held out;
        testing::internal::CaptureStderr();
        EXPECT_EQ(read(c.bytes, out), c.status);
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(out->data != nullptr, c.status == 1);
        EXPECT_TRUE(c.status != -1 || err != "");  // a refused image says why
        EXPECT_EQ(c.start.empty() ? "" : out.pixels(c.start.size()), c.start);
    }
}

TEST_F(Native, ReadByContentOrSayWhy) {
    Held in, out, other;
    const std::string missing = path("none.img");
    testing::internal::CaptureStderr();
    EXPECT_EQ(IMG_read(missing.c_str(), out.get(), 0), 0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "IMG_read: Unable to open image file: " + missing + "\n");
    fill(in.get(), 30, 20, pattern(600, 5));
    write(in.get(), 1);
    EXPECT_EQ(IMG_read(path("out.img").c_str(), out.get(), 0), 1);
    EXPECT_EQ(out.pixels(600), pattern(600, 5));
    // Anything not GIF, PNG or native goes to the XWD reader.
    write_file(path("out.img"), "plain text, nothing else");
    EXPECT_EQ(IMG_read(path("out.img").c_str(), other.get(), 0), 0);
    EXPECT_EQ(other->data, nullptr);
}

}  // namespace
