// PNG: real files of another encoder, our files through pngtopam and back
// through our reader, and broken files whose libpng errors must come back as a
// refusal rather than the end of the program.
#include "formats/png.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include "tests/env/env_capture.h"
#include "tests/formats/gif_png_xwd_oracle.h"

namespace {

using namespace raster_test;
using sat_test::read_file;
using sat_test::testdata;
using sat_test::write_file;

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
    const std::pair<std::string, const char*> cases[] = {
        {"\x89PNX\r\n\x1a\n", "PNG_read: Not a PNG file"},
        {good.substr(0, 20), "PNG: "},
        {good.substr(0, good.size() - 20), "PNG: "},
        {bad_crc, "PNG: IHDR: CRC error"},
        {huge_ihdr, "PNG_read: Image of 999999x999999 is larger than the file"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second);
        write_file(dir.file("h.png"), c.first);
        Held im;
        sat_test::Capture capture;
        EXPECT_EQ(PNG_read(dir.file("h.png").c_str(), im.get(), 0), 0);
        EXPECT_EQ(capture.err().rfind(c.second, 0), 0u) << capture.err();
        EXPECT_EQ(im->data, nullptr);
        EXPECT_EQ(im->colors, nullptr);
    }
    Held header;  // the header alone needs no pixels
    write_file(dir.file("h.png"), huge_ihdr);
    EXPECT_EQ(PNG_read(dir.file("h.png").c_str(), header.get(), 1), 1);
    EXPECT_EQ(header->width, 999999);
    EXPECT_EQ(header->data, nullptr);
}

}  // namespace
