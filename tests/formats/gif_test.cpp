// GIF: real files of another encoder, our files through giftopnm and back
// through our reader in every pixel layout and interlaced, and
// broken or hostile files.
#include "formats/gif.h"

#include <gtest/gtest.h>

#include <fstream>

#include "tests/env/env_capture.h"
#include "tests/formats/gif_png_xwd_oracle.h"

namespace {

using namespace raster_test;
using sat_test::read_file;
using sat_test::testdata;
using sat_test::write_file;

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

// The index raster that gifbuild printed for a file: its lines of digits.
std::vector<std::string> gifbuild_rows(const std::string& file) {
    std::vector<std::string> rows;
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);)
        if (line.size() > 1 && line.find_first_not_of("0123") == std::string::npos)
            rows.push_back(line);
    return rows;
}

TEST_F(Gif, RealFilesReadAsGifbuildAndPngtopamSeeThem) {
    const std::vector<std::string> rows = gifbuild_rows(testdata("raster/idx7x5.gifbuild.txt"));
    ASSERT_EQ(rows.size(), 5u);
    EXPECT_EQ(gifbuild_rows(testdata("raster/idx7x5_interlaced.gifbuild.txt")), rows);
    const Rgb expected = oracle("pngtopam", testdata("raster/idx7x5.expected.png"));
    for (const char* file : {"idx7x5.gif", "idx7x5_interlaced.gif", "idx7x5_banner.gif"}) {
        SCOPED_TRACE(file);
        Held im;
        ASSERT_EQ(GIF_read(testdata(std::string("raster/") + file).c_str(), im.get(), 0), 1);
        EXPECT_EQ(std::vector({im->width, im->height, im->bytes_per_line, im->depth, im->mapped}),
                  std::vector({7, 5, 7, 8, 1}));
        EXPECT_STREQ(im->info, "GIF");
        for (int y = 0; y < 5; y++)
            for (int x = 0; x < 7; x++)
                EXPECT_EQ(im->data[y * 7 + x], rows[y][x] - '0') << x << "," << y;
        EXPECT_EQ(colours_of(im.image), expected);
    }
    // Through the dispatch by content as well, banner included.
    Held im;
    EXPECT_EQ(IMG_read(testdata("raster/idx7x5_banner.gif").c_str(), im.get(), 0), 1);
    EXPECT_EQ(colours_of(im.image), expected);

    sat_test::Capture capture;
    Held bad;
    EXPECT_EQ(GIF_read(testdata("raster/idx7x5_badbanner.gif").c_str(), bad.get(), 0), 0);
    EXPECT_EQ(bad->data, nullptr);
    EXPECT_EQ(capture.err(), "GIF_read: Not a GIF file\n");
}

TEST_F(Gif, EveryLayoutDecodesExactlyByGiftopnmAndByOurReader) {
    // 61 x 37 gives padded rows; 300 x 200 of 200 colours fills the code table
    // many times over, so the coder's clears and 12-bit codes are exercised.
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

// A GIF of a 4-colour screen of w x h, its image of the same size, and LZW codes
// (root size 2) packed low bit first at the widths a decoder expects, in
// sub-blocks of up to 255 bytes.
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
    const std::pair<std::string, const char*> cases[] = {
        // message empty: read succeeds
        {gif_bytes(4096, 1, full), "GIF_read: LZW table full without a clear code\n"},
        {gif_bytes(2, 2, {4, 1, 7, 5}), "GIF_read: LZW code 7 past the table of 6\n"},
        {gif_bytes(0, 5, {4, 1, 5}), "GIF_read: Empty screen of 0x5\n"},
        {gif_bytes(65535, 65535, {4, 1, 5}),
         "GIF_read: Screen of 65535x65535 is larger than the file\n"},
        {real.substr(0, 9), "GIF_read: File ends in the screen descriptor\n"},
        {real.substr(0, 20), "GIF_read: File ends in the colour table\n"},
        {real.substr(0, 25), "GIF_read: No image in the file\n"},
        {real.substr(0, real.size() - 8), ""},
    };
    for (const auto& [bytes, message] : cases) {
        SCOPED_TRACE(message);
        write_file(path("h.gif"), bytes);
        Held im;
        sat_test::Capture capture;
        int status = GIF_read(path("h.gif").c_str(), im.get(), 0);
        EXPECT_EQ(capture.err(), message);
        EXPECT_EQ(status, *message ? 0 : 1);
        EXPECT_EQ(im->data == nullptr, *message != 0);
    }
    Held im;
    write_file(path("g.gif"), good);
    ASSERT_EQ(GIF_read(path("g.gif").c_str(), im.get(), 0), 1);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(im->data), 4), std::string("\1\1\1\2", 4));
}

}  // namespace
