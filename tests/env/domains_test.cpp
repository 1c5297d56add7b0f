// Domain texts, region files and the built-in regions.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "test_support.h"

namespace {

constexpr float M = ZMT_FMISSING;

class DomainTest : public ::testing::Test {
   protected:
    sat_test::TempDir dir;
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FLAG_reset(-9999);
    }
    void TearDown() override { RES_reset(); }
    // Region files go to a private directory on the file path.
    void write(const std::string& name, const std::string& text) {
        RES_put("file_path", dir.path().c_str());
        sat_test::write_file(dir.file(name), text);
    }
};

Domain decode(const char* text, int* result = nullptr) {
    Domain d;
    int r = DOM_decode(text, &d);
    if (result) *result = r;
    return d;
}

// What a decode writes to standard error.
std::string decode_err(const char* text, Domain* d) {
    testing::internal::CaptureStderr();
    DOM_decode(text, d);
    return testing::internal::GetCapturedStderr();
}

// The main fields, every float to its last bit.
std::string fields(int proj, float plon, float clat, float clon, int nx, int ny, float dx,
                   float dy) {
    char out[200];
    std::snprintf(out, sizeof out, "%d %.9g %.9g %.9g %d %d %.9g %.9g", proj, plon, clat, clon, nx,
                  ny, dx, dy);
    return out;
}
std::string fields(const Domain& d) {
    return fields(d.proj, d.plon, d.clat, d.clon, d.nx, d.ny, d.dx, d.dy);
}

TEST_F(DomainTest, EveryFormAndItsDefaults) {
    struct Case {
        const char* text;
        int proj;
        float plon, clat, clon;
        int nx, ny;
        float dx, dy;
    } cases[] = {{"size,640,480", 51, M, M, M, 640, 480, M, M},
                 {"lamb,-95,35,-96,30,20,0.5,0.6", 4, -95, 35, -96, 30, 20, 0.5f, 0.6f},
                 // Six items after a word are always order 3, which comes before order 4.
                 {"ll,40,-100,50,30,1", 2, 40, -100, 50, 25, 17, 30, 1},
                 {"ps:90:-100,40,-100,1.2", 1, -100, 40, -100, 25, 17, 1.2f, 1.2f},
                 {"40,-100,2.5", 1, M, 40, -100, 25, 17, 2.5f, 2.5f},
                 {"zoom,40,-100", 50, M, 40, -100, 25, 17, 1, 1},
                 {"SIZE:,639.6,479.4", 51, M, M, M, 640, 479, M, M},
                 // "none" keeps the size and leaves the centre to the image.
                 {"none", 1, M, M, M, 25, 17, 1.2f, 1.2f},
                 {"40,-100,25.5,17", 1, M, 40, -100, 25, 17, 1.2f, 1.2f}};
    for (const Case& c : cases) {
        int result;
        Domain d = decode(c.text, &result);
        EXPECT_EQ(result, 1) << c.text;
        EXPECT_EQ(FLAG_get(5), 1) << c.text;
        EXPECT_EQ(fields(d), fields(c.proj, c.plon, c.clat, c.clon, c.nx, c.ny, c.dx, c.dy))
            << c.text;
    }
}

TEST_F(DomainTest, AbsentAndBadTexts) {
    FLAG_set(5, 77);
    for (const char* text : {"", "MiSs", static_cast<const char*>(nullptr)}) {
        Domain d;
        EXPECT_EQ(DOM_decode(text, &d), -9999);
        EXPECT_EQ(d.proj, ZMT_MISSING);
    }
    EXPECT_EQ(FLAG_get(5), 77);  // untouched by an absent text
    Domain d;
    for (const char* text : {"size,640", "1,2,3,4,5,6,7,8,9", "ps,id:nofile:ZZZZ,25,17,1,1"}) {
        EXPECT_EQ(decode_err(text, &d), "DOM_decode: Invalid plot domain\n") << text;
        EXPECT_EQ(FLAG_get(5), -1) << text;
    }
    MESS_set(-1, 0xC0);  // not shown when its level is off
    EXPECT_EQ(decode_err("ps,40", &d), "");
}

TEST_F(DomainTest, RegionFileWinsThenBuiltInTable) {
    write("zmt.reg",
          "# comment line\n"
          "tx Texas 1 lamb,31,-99,25,17,0.5,0.5\n"
          "US Whole_US 2 me,40,-95,30,20,2,2\n");
    int result;
    EXPECT_EQ(decode("tx", &result).proj, 4);
    EXPECT_EQ(result, 2);
    EXPECT_EQ(FLAG_get(5), 2);
    EXPECT_EQ(decode("us").proj, 3);   // the file's row, key without case
    Domain d = decode("NE", &result);  // not in the file: the built-in row
    EXPECT_TRUE(result == 2 && d.proj == 1 && d.clat == 42.0f);
    EXPECT_EQ(decode("xx", &result).proj, -1);  // neither: the form counts as read
    EXPECT_EQ(result, 2);
    // With no region file on the path the built-in row answers, not the installed
    // table; the installed table still knows the names the built-in rows do not.
    std::remove(dir.file("zmt.reg").c_str());
    d = decode("us", &result);
    EXPECT_TRUE(result == 2 && d.proj == 1 && d.clat == 39.0f && d.plon == d.clon);
    EXPECT_NE(decode("natl").proj, -1);

    // The rows themselves are compared with the shipped file below.
    DOM_init(&d);
    d.param[2] = 5.0f;
    ASSERT_EQ(DOM_get_def_region("sp", &d), 1);
    EXPECT_EQ(fields(d), fields(1, -100, 32.5f, -100, 25, 17, 1.2f, 1.2f));
    EXPECT_EQ(d.param[2], 5.0f);  // other fields left alone
    EXPECT_EQ(DOM_get_def_region("zz", &d), 0);
}

TEST_F(DomainTest, HostileRegionFiles) {
    // Regions that name each other forever.
    write("zmt.reg", "aa A 1 bb\nbb B 1 aa\nself S 1 self\n");
    Domain d;
    for (const char* key : {"aa", "self"}) {
        decode_err(key, &d);
        EXPECT_EQ(d.proj, -1) << key;
    }
    // Overlong lines (cut at 500 characters), binary bytes, a key of any length.
    const char binary[] = "z\x01\xff Z 1 ps,1,2,25,17,1,1\x00trailing\n";
    write("zmt.reg", "long Y 1 " + std::string(5000, ',') + "\n" +
                         std::string(binary, sizeof binary - 1) + "ok Ok 1 ps,3,4,25,17,1,1");
    char out[501];
    EXPECT_EQ(DOM_search_file("zmt.reg", std::string(2000, 'x').c_str(), out), 0);
    ASSERT_EQ(DOM_search_file("zmt.reg", "ok", out), 1);
    EXPECT_STREQ(out, "ps,3,4,25,17,1,1");
    ASSERT_EQ(DOM_search_file("zmt.reg", "long", out), 1);
    EXPECT_EQ(std::strlen(out), 491u);
    EXPECT_EQ(DOM_read_menu("zmt.reg"), 1);
}

TEST_F(DomainTest, ShippedRegionFileIsFoundAndEveryRowWorks) {
    std::ifstream in(sat_test::datafile("zmt.reg"));
    ASSERT_TRUE(in.good());
    std::string line;
    int rows = 0;
    while (std::getline(in, line)) {
        ASSERT_FALSE(line.empty()) << "an empty line would end every search";
        if (line[0] == '#') continue;
        std::istringstream row(line);
        std::string key, label, text;
        int number = -1;
        ASSERT_TRUE(row >> key >> label >> number >> text) << line;
        ++rows;
        // No file_path: found through the program's data directory.
        int result;
        Domain d = decode(key.c_str(), &result), direct = decode(text.c_str());
        EXPECT_EQ(result, 2) << key;
        EXPECT_EQ(DOM_comp(&d, &direct), 1) << key;
    }
    EXPECT_GE(rows, 30);
    for (const char* name : {"us", "ne", "at", "se", "mw", "sp", "nw", "sw"}) {
        Domain file = decode(name), table;
        DOM_init(&table);
        DOM_get_def_region(name, &table);
        EXPECT_EQ(DOM_comp(&file, &table), 1) << name;  // as the built-in table has it
    }
}

}  // namespace
