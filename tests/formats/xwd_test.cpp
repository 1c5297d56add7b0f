// XWD: files of pnmtoxwd and of xwd under Xvfb, our files through xwdtopnm and
// back, and headers that lie about their sizes.
#include "formats/xwd.h"

#include <gtest/gtest.h>

#include "tests/env/env_capture.h"
#include "tests/formats/gif_png_xwd_oracle.h"

namespace {

using namespace raster_test;
using sat_test::read_file;
using sat_test::testdata;
using sat_test::write_file;

TEST(Xwd, FilesOfPnmtoxwdAndOfXwdUnderXvfb) {
    struct Case {
        const char* file;
        const char* expected;
        const char* name;
        std::vector<int> shape;  // width, height, depth, bits a pixel, bytes a line, mapped, order
    };
    const Case cases[] = {
        {"pseudo8_7x5.xwd", "pseudo8_7x5.expected.png", "stdin", {7, 5, 8, 8, 7, 1, 1}},
        {"xvfb_truecolor.xwd",
         "xvfb_truecolor.expected.png",
         "rasterlogo",
         {66, 50, 24, 32, 264, 0, 0}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        Held im;
        im->depth = 32;
        ASSERT_EQ(XWD_read(raster(c.file).c_str(), im.get()), 1);
        EXPECT_STREQ(im->info, c.name);
        EXPECT_EQ(std::vector({im->width, im->height, im->depth, im->bits_per_pixel,
                               im->bytes_per_line, im->mapped, im->byte_order}),
                  c.shape);
        EXPECT_EQ(colours_of(im.image), oracle("pngtopam", raster(c.expected)));
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
        const std::string bytes = read_file(out);
        EXPECT_EQ(bytes.substr(0, 8), std::string("\0\0\0\x69\0\0\0\x07", 8));  // 100 + "ABCD\0"
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
    const std::pair<std::string, const char*> cases[] = {
        {with(1, 6), "XWD file format version mismatch\n"},
        {with(0, 99), "XWD header size is too small.\n"},
        {with(0, 0xFFFFFFF0u), "Unable to read window name from dump file.\n"},
        {with(19, 0x20000000u), "Unable to read color map from dump file.\n"},
        {with(5, 0x7FFFFFFFu), "Unable to read pixmap from dump file.\n"},
        {with(4, 0x80000000u),
         "XWD_read: Bad geometry: 2147483648x5, depth 8, 8 bits a pixel, 7 bytes a line\n"},
        {good.substr(0, 99), "XWD_read: File ends in the header: "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.second);
        write_file(dir.file("h.xwd"), c.first);
        Held im;
        im->depth = 32;
        sat_test::Capture capture;
        EXPECT_EQ(XWD_read(dir.file("h.xwd").c_str(), im.get()), 0);
        EXPECT_EQ(capture.err().rfind(c.second, 0), 0u) << capture.err();
        EXPECT_EQ(im->data, nullptr);
    }
    // A colour entry naming a pixel past the table is dropped, not written past it.
    std::string wild = good;
    wild[good.find("stdin") + 6 + 12 * 2 + 3] = 99;
    write_file(dir.file("w.xwd"), wild);
    Held im;
    im->depth = 8;
    EXPECT_EQ(XWD_read(dir.file("w.xwd").c_str(), im.get()), 1);
}

}  // namespace
