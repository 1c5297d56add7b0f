// Colour tables read from files, colour words, and attribute strings.
#include <gtest/gtest.h>

#include <cstdlib>
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
    // Writes a table file and reads it as the whole list.
    void load(const std::string& text) {
        write_file(dir.file("t.clr"), text);
        CLR_read_table("t.clr");
    }
    TempDir dir;
};

TEST_F(ColorTable, BothLineFormsAndIndices) {
    load(
        "# a comment\n"
        "black 0 0 0\n"
        "White 1.0 1.0 1.0  \r\n"
        "red #FF0000\n"
        "10 orange #ff8000\n"
        "navy 0 0 0.5\n");
    EXPECT_EQ(CLR_get_num(), 12);
    EXPECT_EQ(CLR_get_ind("black"), 0);
    EXPECT_EQ(CLR_get_ind("WHITE"), 1);  // names compare without case
    EXPECT_EQ(CLR_get_ind("red"), 2);
    EXPECT_EQ(CLR_get_ind("orange"), 10);
    EXPECT_EQ(CLR_get_ind("navy"), 11);
    float r, g, b;
    CLR_get_rgb(10, &r, &g, &b);
    EXPECT_FLOAT_EQ(r, 1.0f);
    EXPECT_FLOAT_EQ(g, std::strtol("80", nullptr, 16) / 255.0f);
    EXPECT_FLOAT_EQ(b, 0.0f);
    CLR_get_rgb(11, &r, &g, &b);
    EXPECT_FLOAT_EQ(b, 0.5f);
    EXPECT_STREQ(CLR_get_name(1), "White");
    // Past the end gives the last entry.
    EXPECT_STREQ(CLR_get_name(200), "navy");
    CLR_get_rgb(999, &r, &g, &b);
    EXPECT_FLOAT_EQ(b, 0.5f);
}

TEST_F(ColorTable, SparseIndicesLeaveUnnamedEntries) {
    load("10 ten 1 0 0\n20 twenty 0 1 0\n");
    EXPECT_EQ(CLR_get_num(), 21);
    EXPECT_STREQ(CLR_get_name(15), "");
    EXPECT_EQ(CLR_get_ind("twenty"), 20);
}

TEST_F(ColorTable, ListsAreConcatenated) {
    write_file(dir.file("a.clr"), "black 0 0 0\nwhite 1 1 1\n");
    write_file(dir.file("b.clr"), "red 1 0 0\n5 green 0 1 0\n");
    CLR_read_table("a.clr,missing.clr,b.clr");
    EXPECT_EQ(CLR_get_ind("red"), 2);
    EXPECT_EQ(CLR_get_ind("green"), 7);
    EXPECT_EQ(CLR_get_num(), 8);
}

TEST_F(ColorTable, FillRangeOnlyFromTheColorTableResource) {
    write_file(dir.file("f.clr"), "a 0 0 0\nb 0 0 0\nc 0 0 0\nEnd\nd 1 1 1\n");
    RES_put("color_table", "f.clr");
    CLR_read_table(nullptr);
    EXPECT_EQ(CLR_get_num(), 4);
    EXPECT_EQ(CLR_get_num_fill(), 3);
    // Without END the fill range is the highest index.
    write_file(dir.file("g.clr"), "a 0 0 0\nb 0 0 0\nc 0 0 0\n");
    RES_put("color_table", "g.clr");
    CLR_read_table("");
    EXPECT_EQ(CLR_get_num_fill(), 2);
    // A list named by the caller leaves the fill range alone.
    CLR_read_table("f.clr");
    EXPECT_EQ(CLR_get_num_fill(), 2);
}

TEST_F(ColorTable, HostileTablesAreCutNotOverrun) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text.append("c").append(std::to_string(i)).append(" 0.5 0.5 0.5\n");
    text += "2000000 far 1 1 1\n99999999999999999999 further 1 1 1\n";
    load(text);
    EXPECT_EQ(CLR_get_num(), 256);
    EXPECT_EQ(CLR_get_ind("c255"), 255);
    EXPECT_EQ(CLR_get_ind("c256"), -1);
    EXPECT_EQ(CLR_get_ind("far"), -1);

    // A name longer than the 20-byte field is not a colour line; one of 19 fits.
    const std::string fits(19, 'n');
    load("black 0 0 0\n" + std::string(40, 'x') + " 1 1 1\n" + fits + " 1 1 1\n" +
         std::string(300, 'y') + "\n");
    EXPECT_EQ(CLR_get_ind(fits.c_str()), 1);
    EXPECT_EQ(CLR_get_num(), 3);
    // Garbage lines and a missing file leave the table as it was.
    CLR_read_table("nothing_here.clr");
    EXPECT_EQ(CLR_get_num(), 3);
}

TEST_F(ColorTable, ColourWords) {
    load("black 0 0 0\nwhite 1 1 1\nblack 0.5 0.5 0.5\n");
    EXPECT_EQ(CLR_get_ind(nullptr), -1);
    EXPECT_EQ(CLR_get_ind(""), -1);
    EXPECT_EQ(CLR_get_ind("END"), -2);
    EXPECT_EQ(CLR_get_ind("None"), -1);
    EXPECT_EQ(CLR_get_ind("back"), -1);
    EXPECT_EQ(CLR_get_ind("PBLK"), 500);
    EXPECT_EQ(CLR_get_ind("ptwht"), 505);
    EXPECT_EQ(CLR_get_ind("pbgry"), 507);
    EXPECT_EQ(CLR_get_ind("black"), 0);  // the first entry of a name wins
    EXPECT_EQ(CLR_get_ind("7"), 7);
    EXPECT_EQ(CLR_get_ind("300"), 300);
    EXPECT_EQ(CLR_get_ind("chartreuse"), -1);

    const int n = CLR_get_num();
    const int added = CLR_get_ind("#ff8000");
    EXPECT_EQ(added, n);
    EXPECT_EQ(CLR_get_num(), n + 1);
    EXPECT_EQ(CLR_get_ind("#FF8000"), added);  // found by name the second time
    float r, g, b;
    CLR_get_rgb(added, &r, &g, &b);
    EXPECT_FLOAT_EQ(g, 128 / 255.0f);
    const int decimal = CLR_get_ind("#000128255");
    EXPECT_EQ(decimal, n + 1);
    CLR_get_rgb(decimal, &r, &g, &b);
    EXPECT_FLOAT_EQ(r, 0.0f);
    EXPECT_FLOAT_EQ(g, 128 / 255.0f);
    EXPECT_FLOAT_EQ(b, 1.0f);
    EXPECT_EQ(CLR_get_ind("#12345"), -1);  // neither six hex nor nine decimal digits
    EXPECT_EQ(CLR_get_ind("#gg0000"), -1);
}

TEST_F(ColorTable, AddingStopsAtAFullTable) {
    for (int i = 0; i < 256; ++i) EXPECT_EQ(CLR_add("x", 0, 0, 0), i);
    EXPECT_EQ(CLR_add("y", 0, 0, 0), -1);
    EXPECT_EQ(CLR_get_num(), 256);
    CLR_clear_table();
    EXPECT_EQ(CLR_add(std::string(64, 'z').c_str(), 0, 0, 0), 0);
    EXPECT_EQ(std::string(CLR_get_name(0)), std::string(19, 'z'));
}

TEST_F(ColorTable, ShippedTable) {
    RES_put("file_path", SAT_DATA_DIR);
    RES_put("color_table", "zmt.clr");
    CLR_read_table(nullptr);
    EXPECT_EQ(CLR_get_num_fill(), 16);
    EXPECT_EQ(CLR_get_num(), 96);
    // Names that the programs' own defaults use.
    for (const char* name : {"black", "white", "red", "green", "blue", "magenta", "gray"})
        EXPECT_GE(CLR_get_ind(name), 0) << name;
    EXPECT_EQ(CLR_get_ind("black"), 0);
    EXPECT_EQ(CLR_get_ind("gry63") - CLR_get_ind("gry00"), 63);
    float r, g, b;
    CLR_get_rgb(CLR_get_ind("gry63"), &r, &g, &b);
    EXPECT_FLOAT_EQ(r + g + b, 3.0f);
}

class Attributes : public ColorTable {
   protected:
    void SetUp() override {
        ColorTable::SetUp();
        load("black 0 0 0\nwhite 1 1 1\nred 1 0 0\ngreen 0 1 0\nblue 0 0 1\nmagenta 1 0 1\n");
        ATTRIB_init(&a);
    }
    Attrib a{};
};

TEST_F(Attributes, ColourAndShortForms) {
    ATTRIB_parse("magenta:s4", &a);
    EXPECT_EQ(a.color, 5);
    EXPECT_EQ(a.style, 4);
    EXPECT_EQ(a.fill, -9999);
    EXPECT_FLOAT_EQ(a.width, -9999.0f);

    ATTRIB_init(&a);
    ATTRIB_parse("green:st=dsh:w2", &a);
    EXPECT_EQ(a.color, 3);
    EXPECT_EQ(a.style, 2);
    EXPECT_FLOAT_EQ(a.width, 2.0f);

    ATTRIB_parse(":s7:h0.25:e1.5:t3:f6", &a);  // an empty colour piece keeps the colour
    EXPECT_EQ(a.color, 3);
    EXPECT_EQ(a.style, 7);
    EXPECT_FLOAT_EQ(a.height, 0.25f);
    EXPECT_FLOAT_EQ(a.expansion, 1.5f);
    EXPECT_EQ(a.font, 3);
    EXPECT_EQ(a.fill, 6);
    ATTRIB_parse(":fM:W9:S1:zz", &a);  // short forms are case-sensitive
    EXPECT_EQ(a.fill, -9999);
    EXPECT_FLOAT_EQ(a.width, 2.0f);
    EXPECT_EQ(a.style, 7);
}

TEST_F(Attributes, KeywordForms) {
    ATTRIB_parse("CO=blue:Wi=3.5:st=LLSDSH:fi=lst:hi=0.02:te=2", &a);
    EXPECT_EQ(a.color, 4);  // a first piece with "=" is not a colour
    EXPECT_FLOAT_EQ(a.width, 3.5f);
    EXPECT_EQ(a.style, 4);
    EXPECT_EQ(a.fill, 4);
    EXPECT_FLOAT_EQ(a.height, 0.02f);
    EXPECT_FLOAT_EQ(a.expansion, 2.0f);
    ATTRIB_parse("white:fp=hat:sc=0.5:st=12:fo=3", &a);
    EXPECT_EQ(a.color, 1);
    EXPECT_EQ(a.fill, 9);
    EXPECT_FLOAT_EQ(a.height, 0.5f);
    EXPECT_EQ(a.style, 12);
    EXPECT_EQ(a.font, 3);  // a font number goes through the kernel's font lookup
    ATTRIB_parse("nosuch", &a);
    EXPECT_EQ(a.color, -1);
    ATTRIB_parse(nullptr, &a);
    ATTRIB_parse("", &a);
    ATTRIB_parse(":::::", &a);
}

TEST_F(Attributes, GetAndUpdate) {
    EXPECT_EQ(ATTRIB_get("color_text", "red:w2", &a), 0);
    EXPECT_EQ(a.color, 2);
    RES_put("color_text", "blue");
    ATTRIB_init(&a);
    EXPECT_EQ(ATTRIB_get("color_text", "red:w2", &a), 1);
    EXPECT_EQ(a.color, 4);
    EXPECT_FLOAT_EQ(a.width, 2.0f);

    Attrib b;
    ATTRIB_init(&b);
    b.style = 3;
    b.height = 0.5f;
    ATTRIB_update(&a, &b);
    EXPECT_EQ(a.color, 4);
    EXPECT_EQ(a.style, 3);
    EXPECT_FLOAT_EQ(a.height, 0.5f);
    EXPECT_FLOAT_EQ(a.width, 2.0f);
}

TEST(FillPatterns, Words) {
    const std::pair<const char*, int> cases[] = {
        {"sol", 0}, {"ST", 1},  {"ost", 2},  {"rst", 3},  {"lst", 4}, {"vln", 5},
        {"||", 5},  {"DLR", 6}, {"\\\\", 6}, {"drl", 7},  {"//", 7},  {"hln", 8},
        {"--", 8},  {"hat", 9}, {"xx", 9},   {"clr", 10}, {"0%", 10}, {"1%", 11},
        {"5%", 15}, {"9%", 19}, {"17", 17},  {"junk", 0}};
    for (const auto& [word, pattern] : cases) EXPECT_EQ(ATTR_parse_fill_pat(word), pattern) << word;
}

TEST(Markers, WordsByPrefix) {
    const std::pair<const char*, int> cases[] = {
        {"pnt", 1},  {".", 1},      {"PLUS", 2},   {"+", 2},        {"star", 3},
        {"*", 3},    {"crcl", 4},   {"circle", 4}, {"oval", 4},     {"x", 5},
        {"sqr", 6},  {"square", 6}, {"#", 6},      {"triangle", 7}, {"^", 7},
        {"itri", 9}, {"v", 9},      {"dots", 8},   {"12", 12},      {"qq", 0}};
    for (const auto& [word, marker] : cases) EXPECT_EQ(ATTR_parse_marker(word), marker) << word;
}

}  // namespace
