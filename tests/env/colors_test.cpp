// Colour tables read from files, colour words, and attribute strings.
#include <gtest/gtest.h>

#include <string>

#include "env/colors.h"
#include "env/resources.h"
#include "test_support.h"

using sat_test::TempDir;
using sat_test::write_file;

namespace {

class ColorTable : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        CLR_clear_table();
        RES_put("file_path", dir.path().c_str());
    }
    void TearDown() override { RES_reset(); }
    void load(const std::string& text) {
        write_file(dir.file("t.clr"), text);
        CLR_read_table("t.clr");
    }
    TempDir dir;
};

TEST_F(ColorTable, FileFormsIndicesAndLists) {
    load(
        "# comment\nblack 0 0 0\nWhite 1.0 1.0 1.0  \r\nred #FF0000\n10 orange #ff8000\n"
        "navy 0 0 0.5\n");
    EXPECT_EQ(CLR_get_num(), 12);
    EXPECT_EQ(CLR_get_ind("WHITE"), 1);
    EXPECT_EQ(CLR_get_ind("orange"), 10);
    float r, g, b;
    CLR_get_rgb(10, &r, &g, &b);
    EXPECT_FLOAT_EQ(g, 128 / 255.0f);
    // Past the end gives the last entry.
    EXPECT_STREQ(CLR_get_name(200), "navy");

    load("10 ten 1 0 0\n20 twenty 0 1 0\n");
    EXPECT_EQ(CLR_get_num(), 21);
    EXPECT_STREQ(CLR_get_name(17), "");  // skipped entries have no name

    // A second file continues where the first stopped; a missing one is passed over.
    write_file(dir.file("b.clr"), "rouge 1 0 0\n5 vert 0 1 0\n");
    CLR_read_table("t.clr,missing.clr,b.clr");
    EXPECT_EQ(CLR_get_ind("rouge"), 21);
    EXPECT_EQ(CLR_get_ind("vert"), 26);
    EXPECT_EQ(CLR_get_num(), 27);
}

TEST_F(ColorTable, HostileTablesAreCutNotOverrun) {
    std::string text;
    for (int i = 0; i < 1000; ++i) text.append("c").append(std::to_string(i)).append(" 1 1 1\n");
    text += "2000000 far 1 1 1\n99999999999999999999 further 1 1 1\n";
    load(text);
    EXPECT_EQ(CLR_get_num(), 256);
    EXPECT_EQ(CLR_get_ind("c255"), 255);
    EXPECT_EQ(CLR_get_ind("far"), -1);

    // A name longer than the 20-byte field is not a colour line; one of 19 fits.
    const std::string fits(19, 'n');
    load("black 0 0 0\n" + std::string(40, 'x') + " 1 1 1\n" + fits + " 1 1 1\n" +
         std::string(300, 'y') + "\n");
    EXPECT_EQ(CLR_get_ind(fits.c_str()), 1);
    EXPECT_EQ(CLR_get_num(), 3);
}

TEST_F(ColorTable, AttributeStrings) {
    load("black 0 0 0\nwhite 1 1 1\nred 1 0 0\ngreen 0 1 0\nblue 0 0 1\nmagenta 1 0 1\n");
    Attrib a;
    ATTRIB_init(&a);
    ATTRIB_parse("magenta:s4", &a);
    EXPECT_EQ(a.color, 5);
    EXPECT_EQ(a.style, 4);
    ATTRIB_parse(":h0.25:t3:fM:W9:S1", &a);  // short forms are case-sensitive
    EXPECT_EQ(a.color, 5);                   // an empty colour piece keeps it
    EXPECT_FLOAT_EQ(a.height, 0.25f);
    EXPECT_EQ(a.font, 3);
    EXPECT_EQ(a.fill, -9999);
    EXPECT_EQ(a.style, 4);
    ATTRIB_parse("CO=blue:Wi=3.5:st=LLSDSH:fi=lst", &a);
    EXPECT_EQ(a.color, 4);  // a first piece with "=" is not a colour
    EXPECT_FLOAT_EQ(a.width, 3.5f);
    EXPECT_EQ(a.style, 4);
    EXPECT_EQ(a.fill, 4);

    ATTRIB_init(&a);
    EXPECT_EQ(ATTRIB_get("color_text", "red:w2", &a), 0);
    RES_put("color_text", "blue");
    EXPECT_EQ(ATTRIB_get("color_text", "red:w2", &a), 1);
    EXPECT_EQ(a.color, 4);
    EXPECT_FLOAT_EQ(a.width, 2.0f);
}

}  // namespace
