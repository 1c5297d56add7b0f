// Enhancement tables, infrared scales and image colouring.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "app/sat_color.h"
#include "app/sat_params.h"
#include "env/colors.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "test_support.h"

using sat_test::TempDir;
using sat_test::write_file;

namespace {

// Indices of the test table.
constexpr int black = 0, white = 1, red = 2, green = 3, blue = 4;

class Enhancement : public ::testing::Test {
   protected:
    // A table whose "end" at the top leaves no fill range.
    void SetUp() override {
        RES_reset();
        MESS_reset();
        SAT_params_reset();
        SAT_color_reset();
        RES_put("file_path", dir.path().c_str());
        write_file(dir.file("t.clr"),
                   "end\nblack 0 0 0\nwhite 1 1 1\nred 1 0 0\ngreen 0 1 0\nblue 0 0 1\n"
                   "g0 0.1 0.1 0.1\ng1 0.2 0.2 0.2\ng2 0.3 0.3 0.3\ng3 0.4 0.4 0.4\n");
        RES_put("color_table", "t.clr");
        CLR_clear_table();
        CLR_read_table(nullptr);
    }
    void TearDown() override { RES_reset(); }

    // Runs the setup on a color_fill value and returns what went to standard error.
    std::string setup(const char* color_fill) {
        if (color_fill) RES_put("color_fill", color_fill);
        testing::internal::CaptureStderr();
        SAT_color_setup();
        return testing::internal::GetCapturedStderr();
    }
    std::string setup_file(const std::string& name, const std::string& text) {
        write_file(dir.file(name), text);
        return setup(name.c_str());
    }
    std::vector<int> cuts() {
        std::vector<int> out;
        for (int i = 0; i <= SAT_color_get_max() + 1; ++i) out.push_back(SAT_color_get_cut(i));
        return out;
    }
    TempDir dir;
};

TEST_F(Enhancement, BreakOffsRangesGapsScalesAndFiles) {
    // Break-offs between given ones are spread evenly.
    setup("black,10:white,red,green,100:blue");
    EXPECT_EQ(cuts(), (std::vector<int>{0, 10, 40, 70, 100, 256}));

    // One value holding "-" is a range, not a file name; the mark of a range survives
    // into the device colour but not into the palette.
    EXPECT_EQ(setup("blue-red"), "");
    EXPECT_EQ(SAT_color_get_max(), 2);
    EXPECT_EQ(SAT_color_get_fill_ind(1), 1000 + green);
    EXPECT_EQ(SAT_color_get_pixel(255), red);
    // An unknown colour stores -1, whose palette byte is 255.
    setup("black,nosuch");
    EXPECT_EQ(SAT_color_get_pixel(200), 255);
    // Bins past 256 are dropped, and what follows them too.
    setup("0-200,0-200,red");
    EXPECT_EQ(SAT_color_get_max(), 255);
    EXPECT_EQ(SAT_color_get_fill_ind(255), 1000 + 54);
    SAT_params().imager_source = 51;
    EXPECT_EQ(SAT_ir_ind(20.0f), 74);
    EXPECT_EQ(SAT_ir_ind(-30.5f), 175);
    EXPECT_FLOAT_EQ(SAT_ind_ir(176), -31.0f);
    SAT_params().imager_source = 55;
    EXPECT_EQ(SAT_ir_ind(-20.0f), 189);  // 253.15 K on the Planck-type curve
    setup("c-20:white,black");
    EXPECT_EQ(SAT_color_get_cut(0), 189);
    SAT_params().imager_source = 51;
    EXPECT_EQ(setup_file("ir.enh",
                         "@IRTEST #a_comment\n@label:Cold @other\nblack\nc-30:red\n"
                         "c-40:white\n"),
              "");
    EXPECT_STREQ(SAT_color_get_enhance(), "Cold");
    EXPECT_EQ(cuts(), (std::vector<int>{0, 174, 185, 256}));
    // Missing: the message, and the sixteen bins every setup starts from.
    EXPECT_EQ(setup("plain.enh"),
              "SAT_color_setup: Unable to read enhancement file: " + dir.file("plain.enh") + "\n");
    EXPECT_EQ(SAT_color_get_max(), 15);
    // No bins at all.
    setup_file("empty.enh", "");
    EXPECT_EQ(SAT_color_get_max(), -1);
}

// The shipped enhancement files decode completely, with strictly rising break-offs
// (two bins sharing one would stall the count walk).
TEST_F(Enhancement, ShippedFiles) {
    RES_put("file_path", SAT_DATA_DIR);
    CLR_read_table("zmt.clr");
    SAT_params().imager_source = 51;
    for (const char* name : {"vis.enh", "wv.enh", "ir.enh"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(setup(name), "");
        for (int bin = 0; bin <= SAT_color_get_max(); ++bin) {
            EXPECT_GE(SAT_color_get_fill_ind(bin) % 1000, 0) << bin;
            EXPECT_LT(SAT_color_get_cut(bin), SAT_color_get_cut(bin + 1)) << bin;
        }
        EXPECT_EQ(SAT_color_get_bin(255), SAT_color_get_max());
    }
    EXPECT_EQ(SAT_color_get_pixel(173), CLR_get_ind("gry63"));
    EXPECT_EQ(SAT_color_get_pixel(SAT_ir_ind(-65.0f)), CLR_get_ind("yellow"));
}

TEST_F(Enhancement, ColouringImages) {
    // Two lines of three pixels with a fourth padding byte each.
    const unsigned char counts[8] = {0, 99, 100, 255, 149, 150, 200, 7};
    for (const char* fill : {"100:red,150:blue", "black%9white,black%9white"}) {
        setup(fill);
        Image image{};
        image.depth = 8;
        image.height = 2;
        image.bytes_per_line = 4;
        image.data = static_cast<unsigned char*>(std::malloc(8));
        std::memcpy(image.data, counts, 8);
        image.colors = static_cast<float*>(std::malloc(4));  // a reader's table, replaced
        EXPECT_EQ(SAT_color_image(&image), 0);
        // Below the first break-off: bin 0's colour.
        // Level 9 of 3 by 3 sets every cell of the pattern.
        const unsigned char want[2][8] = {{red, red, red, blue, red, blue, blue, red},
                                          {white, white, white, white, white, white, white, white}};
        EXPECT_EQ(std::memcmp(image.data, want[fill[0] == 'b'], 8), 0) << fill;
        ASSERT_EQ(image.num_colors, CLR_get_num());
        EXPECT_FLOAT_EQ(image.colors[3 * green + 1], 1.0f);
        EXPECT_FLOAT_EQ(image.colors[3 * 5], 0.1f);
        std::free(image.data);
        std::free(image.colors);
    }
}

}  // namespace
