// GIF, PNG and XWD: real files of other encoders, our files through giftopnm,
// pngtopam and xwdtopnm and back through our readers, and broken or hostile files
// (libpng's errors come back as a refusal rather than the end of the program).
#include <gtest/gtest.h>
#include <zlib.h>

#include "formats/gif.h"
#include "formats/png.h"
#include "formats/xwd.h"
#include "tests/env/env_capture.h"
#include "tests/formats/gif_png_xwd_oracle.h"

namespace {

using namespace raster_test;
using sat_test::read_file;
using sat_test::testdata;
using sat_test::write_file;

// Each file is refused with a message that begins as given, and a message
// ending in a newline is all that is said; an empty one: the read succeeds.
template <typename Reader>
void expect_refusals(Reader read, const std::vector<std::pair<std::string, const char*>>& cases) {
    sat_test::TempDir dir;
    for (const auto& [bytes, message] : cases) {
        SCOPED_TRACE(message);
        write_file(dir.file("h"), bytes);
        Held im;
        sat_test::Capture capture;
        const int status = read(dir.file("h").c_str(), im.get());
        const std::string err = capture.err();
        const bool whole = !*message || std::string(message).ends_with('\n');
        EXPECT_EQ(whole ? err : err.substr(0, std::strlen(message)), message) << err;
        EXPECT_EQ(status, *message ? 0 : 1);
        EXPECT_EQ(im->data == nullptr, *message != 0);
        EXPECT_TRUE(!*message || im->colors == nullptr);
    }
}

class Gif : public ::testing::Test {
   protected:
    void SetUp() override {
        GIF_interlace(0);
        GIF_transparent(0);
    }
    void TearDown() override { SetUp(); }
    std::string path(const std::string& name) const { return dir.file(name); }
    sat_test::TempDir dir;
};

TEST_F(Gif, RealFilesReadAsPngtopamSeesThem) {
    const Rgb expected = oracle("pngtopam", testdata("raster/idx7x5.expected.png"));
    for (const char* file : {"idx7x5.gif", "idx7x5_interlaced.gif", "idx7x5_banner.gif"}) {
        SCOPED_TRACE(file);
        Held im;
        ASSERT_EQ(GIF_read(testdata(std::string("raster/") + file).c_str(), im.get(), 0), 1);
        EXPECT_EQ(std::vector({im->width, im->height, im->bytes_per_line, im->depth, im->mapped}),
                  std::vector({7, 5, 7, 8, 1}));
        EXPECT_STREQ(im->info, "GIF");
        EXPECT_EQ(colours_of(im.image), expected);
    }
    // Through the dispatch by content as well, banner included.
    Held im;
    EXPECT_EQ(IMG_read(testdata("raster/idx7x5_banner.gif").c_str(), im.get(), 0), 1);
    EXPECT_EQ(colours_of(im.image), expected);
}

TEST_F(Gif, EveryLayoutDecodesExactlyByGiftopnmAndByOurReader) {
    // 61 x 37 gives padded rows; 300 x 200 of 200 colours fills the code table many times.
    for (auto [w, h] : {std::pair{61, 37}, {300, 200}}) {
        for (Layout l : kLayouts) {
            SCOPED_TRACE(std::to_string(static_cast<int>(l)) + " " + std::to_string(w));
            Held in, back;
            Rgb shown;
            make_picture(l, w, h, colours_for(l), in.get(), &shown);
            ASSERT_EQ(GIF_write(path("p.gif").c_str(), in.get()), 1);
            EXPECT_EQ(oracle("giftopnm", path("p.gif")), shown);
            ASSERT_EQ(GIF_read(path("p.gif").c_str(), back.get(), 0), 1);
            EXPECT_EQ(colours_of(back.image), shown);
        }
    }
}

TEST_F(Gif, InterlacedRowsBeginWithThePixelThatFollowsThePreviousRow) {
    GIF_interlace(1);
    for (Layout l : {Layout::True32Lsb, Layout::Mapped4}) {
        SCOPED_TRACE(static_cast<int>(l));
        const int w = 23, h = 13;
        Held in;
        Rgb shown;
        make_picture(l, w, h, colours_for(l), in.get(), &shown);
        Rgb want = shown;
        // Rows in the order they are coded, and what each one holds.
        std::vector<int> order;
        for (auto [start, step] : {std::pair{0, 8}, {4, 8}, {2, 4}, {1, 2}})
            for (int r = start; r < h; r += step) order.push_back(r);
        const bool packed = l == Layout::Mapped4;
        for (size_t k = 1; k < order.size(); k++) {
            const int row = order[k], before = order[k - 1];
            auto put = [&](int x, const unsigned char* c) {
                std::memcpy(&want.rgb[3 * (size_t(row) * w + x)], c, 3);
            };
            // Past the last row the coder finds index 0, the first colour seen.
            put(0, shown.at(0, before + 1 < h ? before + 1 : 0));
            if (packed)
                for (int x = 1; x < w; x++) put(x, shown.at(x - 1, row));
        }
        ASSERT_EQ(GIF_write(path("i.gif").c_str(), in.get()), 1);
        EXPECT_EQ(oracle("giftopnm", path("i.gif")), want);
        Held back;
        ASSERT_EQ(GIF_read(path("i.gif").c_str(), back.get(), 0), 1);
        EXPECT_EQ(colours_of(back.image), want);
    }
}

TEST_F(Gif, MoreThan256ColoursTakeTheFirstColour) {
    Held many, back;
    Rgb shown;
    make_picture(Layout::True32Lsb, 300, 2, 200, many.get(), &shown);
    for (int x = 0; x < 300; x++) many->data[4 * x] = static_cast<unsigned char>(x);  // 300 blues
    ASSERT_EQ(GIF_write(path("m.gif").c_str(), many.get()), 1);
    ASSERT_EQ(GIF_read(path("m.gif").c_str(), back.get(), 0), 1);
    EXPECT_EQ(back->num_colors, 256);
    for (int x = 256; x < 300; x++) EXPECT_EQ(back->data[x], 0) << x;
    for (int x = 0; x < 256; x++) EXPECT_EQ(back->data[x], x);
}

// A GIF of a 4-colour screen and image of w x h, and LZW codes (root size 2) packed low bit
// first at the widths a decoder expects, in sub-blocks of up to 255 bytes.
std::string gif_bytes(int w, int h, std::vector<int> codes) {
    std::string s = "GIF89a";
    s += {char(w & 255), char(w >> 8), char(h & 255), char(h >> 8), char(0x81), 0, 0};
    s += std::string("\0\0\0\xFF\xFF\xFF\xFF\0\0\0\xFF\0", 12);
    s += {0x2C, 0, 0, 0, 0, char(w & 255), char(w >> 8), char(h & 255), char(h >> 8), 0, 2};
    std::string data;
    uint32_t acc = 0;
    int bits = 0, width = 3, next = 6;
    bool first = true;
    for (int c : codes) {
        acc |= uint32_t(c) << bits;
        for (bits += width; bits >= 8; bits -= 8, acc >>= 8) data += char(acc & 255);
        if (c == 4) {
            width = 3, next = 6, first = true;
        } else if (first) {
            first = false;
        } else if (next++ == (1 << width) - 1 && width < 12) {
            width++;
        }
    }
    if (bits) data += char(acc & 255);
    for (size_t at = 0; at < data.size(); at += 255) {
        const std::string block = data.substr(at, 255);
        s += char(block.size()) + block;
    }
    return s + std::string("\0\x3B", 2);
}

TEST_F(Gif, BrokenAndHostileFilesAreRefused) {
    // 1, then the code being defined (1 1), then 2: read after the table.
    const std::string good = gif_bytes(2, 2, {4, 1, 6, 2, 5});
    const std::string real = read_file(testdata("raster/idx7x5.gif"));
    std::vector<int> full(4093, 0);  // 4090 entries fill the table, one more is refused
    full[0] = 4;
    expect_refusals(
        [](const char* path, Image* im) { return GIF_read(path, im, 0); },
        {
            {gif_bytes(4096, 1, full), "GIF_read: LZW table full without a clear code\n"},
            {gif_bytes(2, 2, {4, 1, 7, 5}), "GIF_read: LZW code 7 past the table of 6\n"},
            {gif_bytes(0, 5, {4, 1, 5}), "GIF_read: Empty screen of 0x5\n"},
            {gif_bytes(65535, 65535, {4, 1, 5}),
             "GIF_read: Screen of 65535x65535 is larger than the file\n"},
            {real.substr(0, 9), "GIF_read: File ends in the screen descriptor\n"},
            {real.substr(0, 20), "GIF_read: File ends in the colour table\n"},
            {real.substr(0, 25), "GIF_read: No image in the file\n"},
            {real.substr(0, real.size() - 8), ""},
            {read_file(raster("idx7x5_badbanner.gif")), "GIF_read: Not a GIF file\n"},
        });
    Held im;
    write_file(path("g.gif"), good);
    ASSERT_EQ(GIF_read(path("g.gif").c_str(), im.get(), 0), 1);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(im->data), 4), std::string("\1\1\1\2", 4));
}

TEST(Png, RealFilesOfOneBitGreyPaletteAndRgba) {
    {
        Held im;
        ASSERT_EQ(PNG_read(raster("grey1bit_13x3.png").c_str(), im.get(), 0), 1);
        EXPECT_EQ(
            std::vector({im->width, im->height, im->depth, im->bits_per_pixel, im->bytes_per_line}),
            std::vector({13, 3, 1, 1, 2}));
        EXPECT_STREQ(im->info, "PNG");
        const Rgb want = decode_pnm(read_file(raster("grey1bit_13x3.expected.pam")));
        ASSERT_EQ(want.width, 13);
        for (int y = 0; y < 3; y++)
            for (int x = 0; x < 13; x++)  // a set bit is white in PNG, black in PBM
                EXPECT_EQ((im->data[y * 2 + x / 8] >> (7 - x % 8) & 1) * 255, want.at(x, y)[0]);
    }
    {
        Held im;
        ASSERT_EQ(PNG_read(raster("rgba_4x2.png").c_str(), im.get(), 0), 1);
        EXPECT_EQ(std::vector({im->depth, im->bits_per_pixel, im->bytes_per_line, im->mapped}),
                  std::vector({24, 32, 16, 0}));
        // Alpha dropped, colour in the low three bytes, red also left in byte 0.
        EXPECT_EQ(im->data[0], im->data[1]);
        EXPECT_EQ(colours_of(im.image), decode_pnm(read_file(raster("rgba_4x2.expected.pam"))));
    }
    Held im;
    ASSERT_EQ(IMG_read(raster("pal_6x4.png").c_str(), im.get(), 0), 1);
    EXPECT_EQ(std::vector({im->depth, im->mapped, im->num_colors}), std::vector({8, 1, 256}));
    EXPECT_EQ(colours_of(im.image), oracle("pngtopam", raster("pal_6x4.png")));
}

TEST(Png, WrittenFilesDecodeExactlyByPngtopamAndOurReader) {
    sat_test::TempDir dir;
    const std::string out = dir.file("p.png");
    for (Layout l : kLayouts) {
        SCOPED_TRACE(static_cast<int>(l));
        Held in, back;
        Rgb shown;
        make_picture(l, 301, 97, colours_for(l), in.get(), &shown);
        if (l == Layout::Mapped8Padded)  // an 8-bit picture takes its first pixel's colour
            for (size_t i = 3; i < shown.rgb.size(); i++) shown.rgb[i] = shown.rgb[i % 3];
        const std::vector<unsigned char> before(in->data, in->data + in->bytes_per_line * 97);
        ASSERT_EQ(PNG_write(out.c_str(), in.get()), 1);
        EXPECT_TRUE(std::equal(before.begin(), before.end(), in->data)) << "image changed";
        EXPECT_EQ(oracle("pngtopam", out), shown);
        ASSERT_EQ(PNG_read(out.c_str(), back.get(), 0), 1);
        EXPECT_EQ(back->num_colors, 256);
        EXPECT_EQ(colours_of(back.image), shown);
    }
}

// A chunk with its CRC.
std::string chunk(const std::string& type, const std::string& data) {
    std::string len = {char(data.size() >> 24), char(data.size() >> 16), char(data.size() >> 8),
                       char(data.size())};
    std::string body = type + data;
    uLong crc = crc32(0, reinterpret_cast<const Bytef*>(body.data()), body.size());
    return len + body + std::string{char(crc >> 24), char(crc >> 16), char(crc >> 8), char(crc)};
}

TEST(Png, BrokenAndHostileFilesAreRefusedWithoutEndingTheProgram) {
    sat_test::TempDir dir;
    const std::string good = read_file(raster("pal_6x4.png"));
    const std::string sig = good.substr(0, 8);
    const std::string huge_ihdr =
        sig + chunk("IHDR", std::string("\0\x0F\x42\x3F\0\x0F\x42\x3F\x08\x02\0\0\0", 13)) +
        chunk("IDAT", std::string(20, 'x')) + chunk("IEND", "");
    std::string bad_crc = good;
    bad_crc[8 + 8 + 13 + 3] ^= 1;  // the IHDR's CRC
    expect_refusals([](const char* path, Image* im) { return PNG_read(path, im, 0); },
                    {
                        {"\x89PNX\r\n\x1a\n", "PNG_read: Not a PNG file"},
                        {good.substr(0, 20), "PNG: "},
                        {good.substr(0, good.size() - 20), "PNG: "},
                        {bad_crc, "PNG: IHDR: CRC error"},
                        {huge_ihdr, "PNG_read: Image of 999999x999999 is larger than the file"},
                    });
    Held header;  // the header alone needs no pixels
    write_file(dir.file("h.png"), huge_ihdr);
    EXPECT_EQ(PNG_read(dir.file("h.png").c_str(), header.get(), 1), 1);
    EXPECT_EQ(header->width, 999999);
    EXPECT_EQ(header->data, nullptr);
}

TEST(Xwd, FilesOfPnmtoxwdAndOfXwdUnderXvfb) {
    // Name, then width, height, depth, bits a pixel, bytes a line, mapped, byte order.
    const std::tuple<std::string, const char*, std::vector<int>> cases[] = {
        {"pseudo8_7x5", "stdin", {7, 5, 8, 8, 7, 1, 1}},
        {"xvfb_truecolor", "rasterlogo", {66, 50, 24, 32, 264, 0, 0}}};
    for (const auto& [file, name, shape] : cases) {
        Held im;
        im->depth = 32;
        ASSERT_EQ(XWD_read(raster((file + ".xwd").c_str()).c_str(), im.get()), 1);
        EXPECT_STREQ(im->info, name);
        EXPECT_EQ(std::vector({im->width, im->height, im->depth, im->bits_per_pixel,
                               im->bytes_per_line, im->mapped, im->byte_order}),
                  shape);
        EXPECT_EQ(colours_of(im.image),
                  oracle("pngtopam", raster((file + ".expected.png").c_str())));
    }
    Held shallow;  // deeper than the caller takes
    shallow->depth = 8;
    sat_test::Capture capture;
    EXPECT_EQ(XWD_read(raster("xvfb_truecolor.xwd").c_str(), shallow.get()), 0);
    EXPECT_EQ(capture.err(), "Incorrect depth: 24 > 8\n");
}

TEST(Xwd, WrittenFilesDecodeExactlyByXwdtopnmAndReadBack) {
    sat_test::TempDir dir;
    const std::string out = dir.file("p.xwd");
    for (Layout l :
         {Layout::True32Lsb, Layout::True32Msb, Layout::True24Lsb, Layout::Mapped8Padded}) {
        SCOPED_TRACE(static_cast<int>(l));
        Held in, back;
        Rgb shown;
        make_picture(l, 45, 31, colours_for(l), in.get(), &shown);
        std::snprintf(in->info, sizeof in->info, "ABCD");
        ASSERT_EQ(XWD_write(out.c_str(), in.get()), 1);
        // A header of 100 bytes and the name "ABCD", in XWD file format version 7.
        EXPECT_EQ(read_file(out).substr(0, 8), std::string("\0\0\0\x69\0\0\0\x07", 8));
        // xwdtopnm reads rows of 24 bits a pixel past their end; windows give 32 or 8.
        if (l != Layout::True24Lsb) {
            EXPECT_EQ(oracle("xwdtopnm", out), shown);
        }
        back->depth = 32;
        ASSERT_EQ(XWD_read(out.c_str(), back.get()), 1);
        EXPECT_STREQ(back->info, "ABCD");
        EXPECT_EQ(colours_of(back.image), shown);
        EXPECT_EQ(0, std::memcmp(back->data, in->data, size_t(in->bytes_per_line) * 31));
    }
}

TEST(Xwd, HeadersThatLieAreRefused) {
    sat_test::TempDir dir;
    const std::string good = read_file(raster("pseudo8_7x5.xwd"));
    auto with = [&](int word, uint32_t v) {
        std::string s = good;
        for (int b = 0; b < 4; b++) s[4 * word + b] = char(v >> (24 - 8 * b));
        return s;
    };
    expect_refusals(
        [](const char* path, Image* im) {
            im->depth = 32;
            return XWD_read(path, im);
        },
        {
            {with(1, 6), "XWD file format version mismatch\n"},
            {with(0, 99), "XWD header size is too small.\n"},
            {with(0, 0xFFFFFFF0u), "Unable to read window name from dump file.\n"},
            {with(19, 0x20000000u), "Unable to read color map from dump file.\n"},
            {with(5, 0x7FFFFFFFu), "Unable to read pixmap from dump file.\n"},
            {with(4, 0x80000000u),
             "XWD_read: Bad geometry: 2147483648x5, depth 8, 8 bits a pixel, 7 bytes a line\n"},
            {good.substr(0, 99), "XWD_read: File ends in the header: "},
        });
    // A colour entry naming a pixel past the table is dropped, not written past it.
    std::string wild = good;
    wild[good.find("stdin") + 6 + 12 * 2 + 3] = 99;
    write_file(dir.file("w.xwd"), wild);
    Held im;
    im->depth = 8;
    EXPECT_EQ(XWD_read(dir.file("w.xwd").c_str(), im.get()), 1);
}

}  // namespace
