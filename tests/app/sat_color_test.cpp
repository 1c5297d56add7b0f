// Enhancement tables, infrared scales and image colouring.
#include <gtest/gtest.h>

#include <cmath>
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
    void SetUp() override {
        RES_reset();
        MESS_reset();
        SAT_params_reset();
        SAT_color_reset();
        RES_put("file_path", dir.path().c_str());
        write_file(dir.file("t.clr"),
                   "end\nblack 0 0 0\nwhite 1 1 1\nred 1 0 0\ngreen 0 1 0\nblue 0 0 1\n"
                   "g0 0.1 0.1 0.1\ng1 0.2 0.2 0.2\ng2 0.3 0.3 0.3\ng3 0.4 0.4 0.4\n");
        // Read as the configured table, whose "end" at the top leaves no fill range.
        RES_put("color_table", "t.clr");
        CLR_clear_table();
        CLR_read_table(nullptr);
    }
    void TearDown() override { RES_reset(); }

    void setup(const char* color_fill) {
        if (color_fill) RES_put("color_fill", color_fill);
        SAT_color_setup();
    }
    std::vector<int> cuts() {
        std::vector<int> out;
        for (int i = 0; i <= SAT_color_get_max() + 1; ++i) out.push_back(SAT_color_get_cut(i));
        return out;
    }
    // Runs the setup with an enhancement file and returns what went to standard error.
    std::string setup_file(const std::string& name, const std::string& text) {
        write_file(dir.file(name), text);
        RES_put("color_fill", name.c_str());
        testing::internal::CaptureStderr();
        SAT_color_setup();
        return testing::internal::GetCapturedStderr();
    }
    std::string setup_file_shipped(const char* name) {
        RES_put("color_fill", name);
        testing::internal::CaptureStderr();
        SAT_color_setup();
        return testing::internal::GetCapturedStderr();
    }
    TempDir dir;
};

TEST_F(Enhancement, BreakOffsAndGapFilling) {
    setup("100:red,150:blue");
    EXPECT_EQ(cuts(), (std::vector<int>{100, 150, 256}));
    // Below the first break-off: bin 0's colour but bin number 0 as well.
    EXPECT_EQ(SAT_color_get_pixel(99), red);
    EXPECT_EQ(SAT_color_get_bin(99), 0);
    EXPECT_EQ(SAT_color_get_pixel(149), red);
    EXPECT_EQ(SAT_color_get_pixel(150), blue);
    EXPECT_EQ(SAT_color_get_bin(255), 1);

    setup("black,white");
    EXPECT_EQ(cuts(), (std::vector<int>{0, 128, 256}));
    EXPECT_EQ(SAT_color_get_pixel(127), black);
    EXPECT_EQ(SAT_color_get_pixel(128), white);

    // Unmarked bins share the span between marked ones, truncating.
    setup("black,10:white,red,green,100:blue");
    EXPECT_EQ(cuts(), (std::vector<int>{0, 10, 40, 70, 100, 256}));
}

TEST_F(Enhancement, RangesAndUnknownColours) {
    // One value holding "-" is a range, not a file name.
    testing::internal::CaptureStderr();
    setup("blue-red");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_EQ(SAT_color_get_max(), 2);
    EXPECT_EQ(SAT_color_get_fill_ind(0), 1000 + blue);
    EXPECT_EQ(SAT_color_get_fill_ind(1), 1000 + green);
    EXPECT_EQ(SAT_color_get_fill_ind(2), 1000 + red);
    EXPECT_EQ(SAT_color_get_color_ind(2), 1000 + red);  // the mark survives
    EXPECT_EQ(SAT_color_get_pixel(0), blue);            // and palette look-up drops it
    EXPECT_EQ(SAT_color_get_pixel(255), red);

    setup("black,nosuch");
    EXPECT_EQ(SAT_color_get_fill_ind(1), -1);
    EXPECT_EQ(SAT_color_get_pixel(200), 255);

    // Ranges past 256 bins are dropped, and what follows them too.
    std::string many = "0-200,0-200,red";
    setup(many.c_str());
    EXPECT_EQ(SAT_color_get_max(), 255);
    EXPECT_EQ(SAT_color_get_fill_ind(255), 1000 + 54);
    EXPECT_EQ(SAT_color_get_cut(256), 256);
}

TEST_F(Enhancement, ThousandEntriesInTheResource) {
    std::string list;
    for (int i = 0; i < 1000; ++i) list += std::string(i ? "," : "") + (i % 2 ? "red" : "blue");
    setup(list.c_str());
    EXPECT_EQ(SAT_color_get_max(), 255);
    EXPECT_EQ(SAT_color_get_cut(255), 255);
}

TEST_F(Enhancement, DefaultGreyWithoutAList) {
    setup(nullptr);
    EXPECT_EQ(SAT_color_get_max(), 15);
    for (int v : {0, 15, 16, 17, 255}) {
        EXPECT_EQ(SAT_color_get_bin(v), v / 16) << v;
        EXPECT_EQ(SAT_color_get_pixel(v), v / 16) << v;
    }
    // A fill range of the colour table becomes the bins, index for index.
    write_file(dir.file("f.clr"), "black 0 0 0\nwhite 1 1 1\nred 1 0 0\nend\nblue 0 0 1\n");
    RES_put("color_table", "f.clr");
    CLR_read_table(nullptr);
    setup(nullptr);
    EXPECT_EQ(SAT_color_get_max(), 3);
    EXPECT_EQ(SAT_color_get_fill_ind(2), red);
    EXPECT_EQ(SAT_color_get_pixel(0), black);
}

TEST_F(Enhancement, InfraredScales) {
    // Two-slope table of families 51 and 53.
    for (int source : {51, 53}) {
        SAT_params().imager_source = source;
        EXPECT_EQ(SAT_ir_ind(20.0f), 74);
        EXPECT_EQ(SAT_ir_ind(-30.0f), 174);
        EXPECT_EQ(SAT_ir_ind(-30.5f), 175);
        EXPECT_EQ(SAT_ir_ind(-40.0f), 185);
        EXPECT_FLOAT_EQ(SAT_ind_ir(174), -30.0f);
        EXPECT_FLOAT_EQ(SAT_ind_ir(175), -30.5f);
        EXPECT_FLOAT_EQ(SAT_ind_ir(176), -31.0f);
    }
    setup("c-30:red,white");
    EXPECT_EQ(SAT_color_get_cut(0), 174);
    EXPECT_EQ(SAT_color_get_pixel(173), red);

    // Planck-type curve of family 55.
    SAT_params().imager_source = 55;
    const auto planck = [](double celsius) {
        const double kelvin = static_cast<float>(celsius + 273.15);
        return 255 - static_cast<int>((50789.3 / (std::exp(1344.3 / kelvin) - 1) + 15.68) / 4);
    };
    for (double t : {40.0, 0.0, -20.0, -55.0, -80.0}) EXPECT_EQ(SAT_ir_ind(t), planck(t)) << t;
    EXPECT_EQ(SAT_ir_ind(-20.0f), 189);
    // The inverse comes back within the curve's step.
    for (float t : {20.0f, -10.0f, -60.0f}) EXPECT_NEAR(SAT_ind_ir(SAT_ir_ind(t)), t, 1.5f) << t;
    setup("c-20:white,black");
    EXPECT_EQ(SAT_color_get_cut(0), planck(-20.0));

    SAT_params().imager_source = 59;
    EXPECT_EQ(SAT_ir_ind(-30.0f), 0);
    EXPECT_FLOAT_EQ(SAT_ind_ir(100), 0.0f);
}

TEST_F(Enhancement, Dither) {
    setup("red%3blue,green%cwhite,black%");
    EXPECT_EQ(SAT_color_get_dither(), 3);
    EXPECT_EQ(SAT_color_get_dither_ind(0), 3);
    EXPECT_EQ(SAT_color_get_dith_color(0), blue);
    // An entry of the other kind keeps its second colour but not its level.
    EXPECT_EQ(SAT_color_get_fill_ind(1), green);
    EXPECT_EQ(SAT_color_get_dither_ind(1), 0);
    EXPECT_EQ(SAT_color_get_dith_color(1), white);
    EXPECT_EQ(SAT_color_get_fill_ind(2), black);
    // The kind stands for the run. (A single entry would name a file.)
    setup("red%zblue,red");
    EXPECT_EQ(SAT_color_get_dither(), 3);
    EXPECT_EQ(SAT_color_get_dither_ind(0), 0);

    SAT_color_reset();
    setup("red%zblue,red");
    EXPECT_EQ(SAT_color_get_dither(), 5);
    EXPECT_EQ(SAT_color_get_dither_ind(0), 25);
}

TEST_F(Enhancement, DecodeAltersItsText) {
    char text[] = "150:red%2blue";
    int bin = 0;
    EXPECT_EQ(SAT_decode_colors(text, &bin), 0);
    EXPECT_EQ(bin, 1);
    EXPECT_STREQ(text, "150");
    bin = 256;
    char more[] = "red";
    SAT_decode_colors(more, &bin);
    EXPECT_EQ(bin, 256);
}

TEST_F(Enhancement, Files) {
    const std::string err = setup_file("ir.enh",
                                       "@IRTEST #a_comment\n@label:Cold @other\n"
                                       "black\nc-30:red c-40:white\n");
    EXPECT_EQ(err, "");
    EXPECT_STREQ(SAT_color_get_enhance(), "Cold");
    EXPECT_EQ(SAT_color_get_max(), 2);
    EXPECT_EQ(cuts(), (std::vector<int>{0, 174, 185, 256}));

    setup_file("plain.enh", "Plain g0-g3\n");
    EXPECT_STREQ(SAT_color_get_enhance(), "Plain");
    EXPECT_EQ(cuts(), (std::vector<int>{0, 64, 128, 192, 256}));
    EXPECT_EQ(SAT_color_get_pixel(200), 8);
}

TEST_F(Enhancement, BadFiles) {
    // Missing: the message, and the tables as they stood.
    std::string err = setup_file("x.enh", "");
    std::remove(dir.file("x.enh").c_str());
    RES_put("color_fill", "x.enh");
    testing::internal::CaptureStderr();
    SAT_color_setup();
    err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(err, "SAT_color_setup: Unable to read enhancement file: " + dir.file("x.enh") + "\n");
    EXPECT_EQ(SAT_color_get_max(), 15);

    // Overlong titles and labels are cut to the 10-character field.
    setup_file("long.enh", "@" + std::string(500, 'T') + " red blue\n");
    EXPECT_EQ(std::string(SAT_color_get_enhance()), std::string(9, 'T'));
    setup_file("long.enh", "t @label:" + std::string(500, 'L') + " @label red\n");
    EXPECT_STREQ(SAT_color_get_enhance(), "");
    EXPECT_EQ(SAT_color_get_max(), 0);

    // A thousand entries: only the first 256 words are read.
    std::string text = "title";
    for (int i = 0; i < 1000; ++i) text += " red";
    setup_file("many.enh", text);
    EXPECT_EQ(SAT_color_get_max(), 254);

    // Unknown names, huge counts and temperatures, lone separators.
    setup_file("odd.enh", "t nosuch 99999999999:red c1e30:blue c:green :white %% c%");
    EXPECT_EQ(SAT_color_get_fill_ind(0), -1);
    EXPECT_EQ(SAT_color_get_pixel(0), 255);

    // A file with no bins at all is survived.
    setup_file("empty.enh", "");
    EXPECT_EQ(SAT_color_get_max(), -1);
}

// The enhancement files shipped with the program must decode completely, and their
// break-offs must rise strictly: the count walk moves one bin at a time on equality,
// so two bins sharing a break-off would stall it.
TEST_F(Enhancement, ShippedFiles) {
    RES_put("file_path", SAT_DATA_DIR);
    CLR_clear_table();
    CLR_read_table("zmt.clr");
    const std::pair<const char*, const char*> files[] = {
        {"vis.enh", "VIS"}, {"ir.enh", "IR_cold"}, {"wv.enh", "WV_moist"}};
    for (int source : {51, 53, 55}) {
        SAT_params().imager_source = source;
        for (const auto& [name, title] : files) {
            SCOPED_TRACE(std::string(name) + " family " + std::to_string(source));
            EXPECT_EQ(setup_file_shipped(name), "");
            EXPECT_STREQ(SAT_color_get_enhance(), title);
            ASSERT_GT(SAT_color_get_max(), 0);
            for (int bin = 0; bin <= SAT_color_get_max(); ++bin) {
                EXPECT_GE(SAT_color_get_fill_ind(bin) % 1000, 0) << bin;
                EXPECT_LT(SAT_color_get_cut(bin), SAT_color_get_cut(bin + 1)) << bin;
            }
            EXPECT_EQ(SAT_color_get_bin(255), SAT_color_get_max());
        }
    }
    SAT_params().imager_source = 51;
    setup_file_shipped("vis.enh");
    EXPECT_EQ(SAT_color_get_pixel(0), CLR_get_ind("gry00"));
    EXPECT_EQ(SAT_color_get_pixel(255), CLR_get_ind("gry63"));
    setup_file_shipped("ir.enh");
    EXPECT_EQ(SAT_color_get_pixel(SAT_ir_ind(-30.0f) - 1), CLR_get_ind("gry63"));
    EXPECT_EQ(SAT_color_get_pixel(SAT_ir_ind(-65.0f)), CLR_get_ind("yellow"));
    EXPECT_EQ(SAT_color_get_pixel(255), CLR_get_ind("white"));
}

class Colouring : public Enhancement {
   protected:
    // Two lines of three pixels with a fourth padding byte each.
    Image make() {
        Image image{};
        image.depth = 8;
        image.width = 3;
        image.height = 2;
        image.bytes_per_line = 4;
        image.data = static_cast<unsigned char*>(std::malloc(8));
        const unsigned char counts[8] = {0, 99, 100, 255, 149, 150, 200, 7};
        std::memcpy(image.data, counts, 8);
        return image;
    }
};

TEST_F(Colouring, CountsBecomePaletteIndices) {
    setup("100:red,150:blue");
    Image image = make();
    image.colors = static_cast<float*>(std::malloc(3 * sizeof(float)));  // replaced
    EXPECT_EQ(SAT_color_image(&image), 0);
    const unsigned char want[8] = {red, red, red, blue, red, blue, blue, red};
    EXPECT_EQ(std::memcmp(image.data, want, 8), 0);
    ASSERT_EQ(image.num_colors, CLR_get_num());
    EXPECT_FLOAT_EQ(image.colors[3 * green + 1], 1.0f);
    EXPECT_FLOAT_EQ(image.colors[3 * 5], 0.1f);
    std::free(image.colors);
    std::free(image.data);
}

TEST_F(Colouring, FillAndDither) {
    setup("black%9white,black%9white");
    Image image = make();
    SAT_color_image(&image);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(image.data[i], white) << i;  // every cell on
    std::free(image.colors);
    std::free(image.data);

    SAT_color_reset();
    setup("white,white");
    SAT_params().fill = 10;  // the empty pattern punches black everywhere
    image = make();
    SAT_color_image(&image);
    for (int i = 0; i < 8; ++i) EXPECT_EQ(image.data[i], black) << i;
    std::free(image.colors);
    std::free(image.data);

    // No lines of bytes: nothing coloured, the table still attached.
    image = make();
    image.bytes_per_line = 0;
    SAT_color_image(&image);
    EXPECT_EQ(image.data[1], 99);
    EXPECT_EQ(image.num_colors, CLR_get_num());
    std::free(image.colors);
    std::free(image.data);
}

TEST_F(Enhancement, BarNeedsRoom) {
    setup("black,white");
    EXPECT_EQ(SAT_color_bar(1), -1);  // no plot open: no gap below the view
}

}  // namespace
