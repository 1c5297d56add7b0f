// Domain texts, region files, built-in regions, printing and station priority.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "maps/projections.h"
#include "test_support.h"

namespace {

using sat_test::TempDir;

class DomainTest : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FLAG_reset(-9999);
    }
    void TearDown() override {
        RES_reset();
        MESS_reset();
    }
};

struct Decoded {
    int result;
    Domain d;
};

Decoded decode(const char* text) {
    Decoded out{};
    out.result = DOM_decode(text, &out.d);
    return out;
}

// -------------------------------------------------------------- projection words

TEST_F(DomainTest, ProjectionWordsInTableOrder) {
    struct Case {
        const char* word;
        int code;
    } cases[] = {
        {"ll", 2},
        {"latlon", 2},
        {"LAT", 2},
        {"polar", 1},
        {"ps", 1},
        {"pstereo", 1},
        {"sat", 9},
        {"lamb", 4},
        {"lc", 4},
        {"gnom", 6},
        {"ortho", 5},
        {"moll", 7},
        {"merc", 3},
        {"pixel", 99},
        {"xy", 20},
        {"xlogy", 22},
        {"xlogp", 22},
        {"cat", 24},
        {"skewt", 40},
        {"therm", 40},
        {"ema", 42},
        {"teph", 43},
        {"rteph", 44},
        {"stuve", 41},
        {"hodo", 23},
        {"vert", 22},
        {"xp", 25},
        {"zoom", 50},
        {"size", 51},
        {"miss", -9999},
        {"MISS", -9999},
        // Order effects that stay: "lambaz" is read as Lambert conformal, the
        // azimuthal projection must be written "la" or "laz"; "polar" shadows the
        // polar graph, which only "hodo" reaches.
        {"lambaz", 4},
        {"laz", 8},
        {"la", 8},
        {"polar", 1},
        // Compared over just so many characters.
        {"mercator", 3},
        {"satellite", 9},
        {"orthographic", 5},
        // "xp" must stand alone; "miss" is a whole word.
        {"xpx", -1},
        {"missing", -1},
        {"xx", -1},
        {"", -1},
        {"l", -1},
    };
    for (const Case& c : cases) EXPECT_EQ(DOM_proj_str(c.word), c.code) << c.word;
    EXPECT_EQ(DOM_proj_str(nullptr), -1);
}

// ------------------------------------------------------------------ number forms

TEST_F(DomainTest, EveryNumberFormAndItsDefaults) {
    auto d = decode("40,-100");  // order 12
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_EQ(d.d.nx, 25);
    EXPECT_EQ(d.d.ny, 17);
    EXPECT_FLOAT_EQ(d.d.dx, 1.2f);
    EXPECT_FLOAT_EQ(d.d.dy, 1.2f);
    EXPECT_FLOAT_EQ(d.d.clat, 40.0f);
    EXPECT_FLOAT_EQ(d.d.clon, -100.0f);

    // Six items after a word are always order 3 (plon first), which comes before
    // order 4: the size here is the default one and dy is the last item.
    d = decode("ll,40,-100,50,30,1");
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.d.proj, 2);
    EXPECT_FLOAT_EQ(d.d.plon, 40.0f);
    EXPECT_FLOAT_EQ(d.d.clat, -100.0f);
    EXPECT_FLOAT_EQ(d.d.clon, 50.0f);
    EXPECT_EQ(d.d.nx, 25);
    EXPECT_EQ(d.d.ny, 17);
    EXPECT_FLOAT_EQ(d.d.dx, 30.0f);
    EXPECT_FLOAT_EQ(d.d.dy, 1.0f);

    d = decode("ps:90:-100,40,-100,1.2");  // order 8
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_FLOAT_EQ(d.d.plat, 90.0f);
    EXPECT_FLOAT_EQ(d.d.plon, -100.0f);
    EXPECT_EQ(d.d.nx, 25);
    EXPECT_EQ(d.d.ny, 17);
    EXPECT_FLOAT_EQ(d.d.dy, 1.2f);

    d = decode("lamb,-95,35,-95,30,20,0.5,0.6");  // order 1
    EXPECT_EQ(d.d.proj, 4);
    EXPECT_FLOAT_EQ(d.d.plon, -95.0f);
    EXPECT_EQ(d.d.nx, 30);
    EXPECT_FLOAT_EQ(d.d.dy, 0.6f);

    d = decode("merc,10,20,40,30,0.5,0.7");  // order 2
    EXPECT_EQ(d.d.proj, 3);
    EXPECT_FLOAT_EQ(d.d.dx, 0.5f);
    EXPECT_FLOAT_EQ(d.d.dy, 0.7f);
    EXPECT_EQ(d.d.plon, DOM_FMISSING);

    d = decode("ps,-100,40,-100,2,3");  // order 3
    EXPECT_FLOAT_EQ(d.d.plon, -100.0f);
    EXPECT_EQ(d.d.nx, 25);
    EXPECT_FLOAT_EQ(d.d.dy, 3.0f);

    d = decode("40,-100,30,20,2,3");  // order 5
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_EQ(d.d.nx, 30);
    EXPECT_FLOAT_EQ(d.d.dy, 3.0f);

    d = decode("ortho,40,-100,2,3");  // order 6
    EXPECT_EQ(d.d.proj, 5);
    EXPECT_EQ(d.d.ny, 17);
    EXPECT_FLOAT_EQ(d.d.dx, 2.0f);

    d = decode("40,-100,30,20,2");  // order 7
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_FLOAT_EQ(d.d.dy, 2.0f);

    d = decode("40,-100,30,20");  // order 9
    EXPECT_EQ(d.d.nx, 30);
    EXPECT_FLOAT_EQ(d.d.dx, 1.2f);

    d = decode("40,-100,2.5");  // order 10
    EXPECT_EQ(d.d.nx, 25);
    EXPECT_FLOAT_EQ(d.d.dy, 2.5f);

    d = decode("me,40,-100");  // order 11
    EXPECT_EQ(d.d.proj, 3);
    EXPECT_FLOAT_EQ(d.d.dx, 1.2f);
    EXPECT_EQ(d.d.ny, 17);

    d = decode("zoom,40,-100");  // order 11, zoom
    EXPECT_EQ(d.d.proj, 50);
    EXPECT_FLOAT_EQ(d.d.dx, 1.0f);
    EXPECT_EQ(d.d.nx, 25);
}

TEST_F(DomainTest, SizeForms) {
    auto d = decode("size,640,480");  // order 0
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.d.proj, 51);
    EXPECT_EQ(d.d.nx, 640);
    EXPECT_EQ(d.d.ny, 480);
    EXPECT_EQ(d.d.clat, DOM_FMISSING);
    EXPECT_EQ(d.d.clon, DOM_FMISSING);

    // Through order 11 a size is read as a centre and then rounded into the size.
    d = decode("SIZE:,639.6,479.4");
    EXPECT_EQ(d.d.proj, 51);
    EXPECT_EQ(d.d.nx, 640);
    EXPECT_EQ(d.d.ny, 479);
    EXPECT_EQ(d.d.clat, DOM_FMISSING);

    testing::internal::CaptureStderr();
    d = decode("size,640");
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_EQ(d.result, -1);
    EXPECT_NE(err.find("DOM_decode: Invalid plot domain\n"), std::string::npos);
}

TEST_F(DomainTest, ProjectionSlotColonParts) {
    auto d = decode("sat:e:0:-75.2:421.64:1,0,-75.2,801,801,0.162,0.162");
    EXPECT_EQ(d.d.proj, 9);
    EXPECT_EQ(d.d.ext, 1);
    EXPECT_FLOAT_EQ(d.d.plat, 0.0f);
    EXPECT_FLOAT_EQ(d.d.plon, -75.2f);
    EXPECT_FLOAT_EQ(d.d.param[0], 421.64f);
    EXPECT_FLOAT_EQ(d.d.param[1], 1.0f);
    EXPECT_EQ(d.d.param[2], DOM_FMISSING);

    // Two parts: the second is plon, not plat.
    d = decode("ps:-105,40,-100,1");
    EXPECT_FLOAT_EQ(d.d.plon, -105.0f);
    EXPECT_EQ(d.d.plat, DOM_FMISSING);

    // Empty parts leave their fields unset; four parameters are the most.
    d = decode("lamb:::25:25:1.5:7,40,-100,1");
    EXPECT_EQ(d.d.plat, DOM_FMISSING);
    EXPECT_EQ(d.d.plon, DOM_FMISSING);
    EXPECT_FLOAT_EQ(d.d.param[0], 25.0f);
    EXPECT_FLOAT_EQ(d.d.param[1], 25.0f);
    EXPECT_FLOAT_EQ(d.d.param[2], 1.5f);
    EXPECT_FLOAT_EQ(d.d.param[3], 7.0f);
    EXPECT_EQ(decode("lamb:1:2:3:4:5:6:7,40,-100,1").result, -1);
    EXPECT_EQ(decode("ps:abc:1,40,-100,1").result, -1);
}

TEST_F(DomainTest, MissNoneAndEmpty) {
    FLAG_set(5, 77);
    Domain d;
    EXPECT_EQ(DOM_decode("", &d), -9999);
    EXPECT_EQ(DOM_decode(nullptr, &d), -9999);
    EXPECT_EQ(DOM_decode("MiSs", &d), -9999);
    EXPECT_EQ(d.proj, DOM_MISSING);
    EXPECT_EQ(FLAG_get(5), 77);  // untouched

    // "none" keeps the size and leaves the centre to the image.
    EXPECT_EQ(DOM_decode("none", &d), 1);
    EXPECT_EQ(d.proj, 1);
    EXPECT_EQ(d.nx, 25);
    EXPECT_EQ(d.ny, 17);
    EXPECT_FLOAT_EQ(d.dx, 1.2f);
    EXPECT_EQ(d.clat, DOM_FMISSING);
    EXPECT_EQ(FLAG_get(5), 1);
}

TEST_F(DomainTest, BadTextsAreReportedAtWarningLevel) {
    const char* bad[] = {
        "ps,40",    "ps,40,-100,abc", "1,2,3,4,5,6,7,8,9", "ps,40,-100,25,17,1,1,1,1",
        "ps,,-100", "id:x,3",         "ps,x40,-100"};
    for (const char* text : bad) {
        testing::internal::CaptureStderr();
        auto d = decode(text);
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(d.result, -1) << text;
        EXPECT_EQ(err, "DOM_decode: Invalid plot domain\n") << text;
        EXPECT_EQ(FLAG_get(5), -1);
    }
    // Switched off at its level, the message is not shown.
    MESS_set(-1, 0xC0);
    testing::internal::CaptureStderr();
    decode("ps,40");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(DomainTest, LogLinesNameTheForm) {
    MESS_set(1, 0x40000000);
    testing::internal::CaptureStdout();
    decode("ps,40,-100,25,17,1,1");
    decode("us");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("******** PARSING DOMAIN: 7 ps,40,-100,25,17,1,1\n"), std::string::npos);
    EXPECT_NE(out.find(" 7 proj,clat,clon,nx,ny,dx,dy\n"), std::string::npos);
    EXPECT_NE(out.find(" 1 reg:REG\n"), std::string::npos);
}

TEST_F(DomainTest, UnknownStationFailsTheForm) {
    RES_put("city_file", "/nonexistent/cities");
    testing::internal::CaptureStderr();
    auto d = decode("ps,id:/nonexistent/x.cty:ZZZZ,25,17,1,1");
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(d.result, -1);
}

// ------------------------------------------------------------------- regions

class RegionTest : public DomainTest {
   protected:
    TempDir dir;
    void write(const std::string& name, const std::string& text) {
        sat_test::write_file(dir.file(name), text);
    }
    void SetUp() override {
        DomainTest::SetUp();
        RES_put("file_path", dir.path().c_str());
    }
};

TEST_F(RegionTest, RegionFileWinsThenBuiltInTable) {
    write("zmt.reg",
          "# comment line\n"
          "tx Texas 1 lamb,31,-99,25,17,0.5,0.5\n"
          "US Whole_US 2 me,40,-95,30,20,2,2\n");
    auto d = decode("tx");
    EXPECT_EQ(d.result, 2);
    EXPECT_EQ(d.d.proj, 4);
    EXPECT_FLOAT_EQ(d.d.dx, 0.5f);
    EXPECT_EQ(FLAG_get(5), 2);

    d = decode("us");  // the file's row, key compared without case
    EXPECT_EQ(d.d.proj, 3);
    EXPECT_EQ(d.d.nx, 30);

    d = decode("NE");  // not in the file: the built-in row
    EXPECT_EQ(d.result, 2);
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_FLOAT_EQ(d.d.clat, 42.0f);
    EXPECT_FLOAT_EQ(d.d.clon, -76.0f);
    EXPECT_FLOAT_EQ(d.d.plon, -76.0f);
    EXPECT_FLOAT_EQ(d.d.dx, 0.9f);
    EXPECT_EQ(d.d.nx, 25);

    d = decode("xx");  // neither: the form counts as read
    EXPECT_EQ(d.result, 2);
    EXPECT_EQ(d.d.proj, -1);
}

TEST_F(RegionTest, BuiltInRowsAsTabled) {
    struct Row {
        const char* name;
        float clat, clon, d;
    } rows[] = {{"us", 39, -97, 2.3f},  {"ne", 42, -76, 0.9f}, {"at", 37, -82, 0.9f},
                {"se", 31, -88, 1.1f},  {"mw", 43, -93, 1.1f}, {"sp", 32.5f, -100, 1.2f},
                {"nw", 44, -112, 1.0f}, {"sw", 37, -112, 1.0f}};
    for (const Row& r : rows) {
        Domain d;
        DOM_init(&d);
        d.param[2] = 5.0f;
        ASSERT_EQ(DOM_get_def_region(r.name, &d), 1) << r.name;
        EXPECT_EQ(d.proj, 1);
        EXPECT_EQ(d.nx, 25);
        EXPECT_EQ(d.ny, 17);
        EXPECT_EQ(d.clat, r.clat);
        EXPECT_EQ(d.clon, r.clon);
        EXPECT_EQ(d.plon, r.clon);
        EXPECT_EQ(d.dx, r.d);
        EXPECT_EQ(d.dy, r.d);
        EXPECT_EQ(d.param[2], 5.0f);  // other fields left alone
    }
    Domain d;
    EXPECT_EQ(DOM_get_def_region("zz", &d), 0);
    EXPECT_EQ(DOM_get_def_region(nullptr, &d), 0);
}

TEST_F(RegionTest, MissingNamedRegionFile) {
    MESS_set(1, 0x80000000);
    testing::internal::CaptureStdout();
    char out[501];
    int found = DOM_search_file("no_such_regions.reg", "us", out);
    std::string log = testing::internal::GetCapturedStdout();
    EXPECT_EQ(found, 0);
    EXPECT_NE(log.find("Unable to open region file: "), std::string::npos);
    EXPECT_NE(log.find("no_such_regions.reg"), std::string::npos);

    auto d = decode("no_such_regions.reg:us");  // named file, missing: nothing found
    EXPECT_EQ(d.result, 2);
    EXPECT_NE(d.d.proj, 1);
}

TEST_F(RegionTest, FileAndKeyForms) {
    write("mine.reg",
          "a1 First 1 ps,50,-100,25,17,1,1\n"
          "b2 Second 0 me,10,20,25,17,1,1\n");
    auto d = decode("mine.reg:b2");
    EXPECT_EQ(d.result, 2);
    EXPECT_EQ(d.d.proj, 3);

    d = decode("fi:mine.reg");  // the first domain line
    EXPECT_EQ(d.d.proj, 1);
    EXPECT_FLOAT_EQ(d.d.clat, 50.0f);

    std::string full = "fi:" + dir.file("mine.reg");  // a full path is taken as it stands
    d = decode(full.c_str());
    EXPECT_EQ(d.d.proj, 1);

    // A colon with nothing after it only loads the menu.
    d = decode("mine.reg:");
    EXPECT_EQ(d.result, 2);
    EXPECT_EQ(d.d.proj, DOM_MISSING);
    EXPECT_EQ(DOM_get_num_regs(), 2);
    EXPECT_STREQ(DOM_get_menu()[1].abbrev, "a1");
}

TEST_F(RegionTest, SearchRules) {
    write("r.reg",
          "# a comment\n"
          "k1 Label 1 ps,1,2,25,17,1,1\n"
          "ps,9,9,25,17,3,3\n"
          "k2 Label 1 ps,2,3,25,17,1,1\n");
    char out[501];
    ASSERT_EQ(DOM_search_file("r.reg", "K1", out), 1);
    EXPECT_STREQ(out, "ps,1,2,25,17,1,1");
    // A line of one field is itself the answer and ends the search.
    ASSERT_EQ(DOM_search_file("r.reg", "k2", out), 1);
    EXPECT_STREQ(out, "ps,9,9,25,17,3,3");
    ASSERT_EQ(DOM_search_file("r.reg", nullptr, out), 1);
    EXPECT_STREQ(out, "ps,1,2,25,17,1,1");

    // An empty line doesn't scan and ends the search.
    write("s.reg", "k1 Label 1 ps,1,2,25,17,1,1\n\nk2 Label 1 ps,2,3,25,17,1,1\n");
    EXPECT_EQ(DOM_search_file("s.reg", "k2", out), 0);
}

TEST_F(RegionTest, MenuKeepsNumberedEntriesOnly) {
    std::string text = "# menu\n";
    for (int i = 0; i < 25; ++i) {
        text += "r" + std::to_string(i) + "_abbreviation A_label_of_20_chars_ " +
                std::to_string(i % 3) + " ps,40,-100,25,17,1,1\n";
    }
    // A label over 20 characters leaves the rest for the number, and the line is passed over.
    text += "long A_label_of_twenty_one 4 ps,40,-100,25,17,1,1\n";
    write("m.reg", text);
    ASSERT_EQ(DOM_read_menu("m.reg"), 1);
    const DomMenuEntry* menu = DOM_get_menu();
    // Menu 0 is left out; the abbreviation keeps 5 characters.
    EXPECT_EQ(DOM_get_num_regs(), 17);
    EXPECT_STREQ(menu[1].abbrev, "r1_ab");
    EXPECT_STREQ(menu[1].label, "A label of 20 chars ");
    EXPECT_EQ(menu[1].menu, 1);
    EXPECT_EQ(menu[1].index, 1);
    EXPECT_EQ(menu[2].menu, 2);
    EXPECT_STREQ(menu[3].abbrev, "r4_ab");
    EXPECT_EQ(menu[16].menu, 2);
    EXPECT_EQ(menu[17].label[0], '\0');

    // At most 19 entries, from index 1.
    write("n.reg", text + text);
    ASSERT_EQ(DOM_read_menu("n.reg"), 1);
    EXPECT_EQ(DOM_get_num_regs(), 20);
    EXPECT_EQ(DOM_read_menu("missing.reg"), 0);
}

TEST_F(RegionTest, HostileRegionFiles) {
    // Regions that name each other forever.
    write("zmt.reg", "aa A 1 bb\nbb B 1 aa\nself S 1 self\n");
    testing::internal::CaptureStderr();
    auto d = decode("aa");
    d = decode("self");
    testing::internal::GetCapturedStderr();
    EXPECT_NE(d.d.proj, 1);

    // Overlong lines (cut at 500 characters), binary bytes, a key of any length.
    std::string junk = "long Y 1 " + std::string(5000, ',') + "\n";
    const char binary[] = "z\x01\xff Z 1 ps,1,2,25,17,1,1\x00trailing\n";
    junk += std::string(binary, sizeof binary - 1);
    junk += "ok Ok 1 ps,3,4,25,17,1,1";  // no final newline
    write("zmt.reg", junk);
    char out[501];
    EXPECT_EQ(DOM_search_file("zmt.reg", std::string(2000, 'x').c_str(), out), 0);
    ASSERT_EQ(DOM_search_file("zmt.reg", "ok", out), 1);
    EXPECT_STREQ(out, "ps,3,4,25,17,1,1");
    ASSERT_EQ(DOM_search_file("zmt.reg", "long", out), 1);
    EXPECT_EQ(std::strlen(out), 491u);
    testing::internal::CaptureStderr();
    EXPECT_EQ(decode("long").d.proj, -1);
    testing::internal::GetCapturedStderr();
    EXPECT_EQ(DOM_read_menu("zmt.reg"), 1);
}

TEST_F(DomainTest, NumbersAreScannedAsTheScannerDoes) {
    // A leading number is enough for a slot, so 25.5 reads as 25 points.
    auto d = decode("40,-100,25.5,17");
    EXPECT_EQ(d.result, 1);
    EXPECT_EQ(d.d.nx, 25);
    d = decode("40N,100W");
    EXPECT_FLOAT_EQ(d.d.clat, 40.0f);
    EXPECT_FLOAT_EQ(d.d.clon, 100.0f);
}

TEST_F(DomainTest, HostileTexts) {
    testing::internal::CaptureStderr();
    std::string many(10000, ',');
    decode(many.c_str());
    std::string longword(100000, 'p');
    decode(longword.c_str());
    decode(("ps:" + std::string(5000, ':') + ",1,2").c_str());
    decode("ps,1e40,-1e40,2147483648,17,nan,inf");
    decode("id:,1");
    decode("fi:");
    decode(":");
    testing::internal::GetCapturedStderr();
    SUCCEED();
}

// ----------------------------------------------------- print, compare, aspect

TEST_F(DomainTest, PrintIsADomainText) {
    const char* texts[] = {"ps:90:-100:60,40,-100,25,17,1.2,1.2",
                           "sat:e:0:-75.2:421.64:1,0,-75.2,801,801,0.162,0.162",
                           "me,10,20,40,30,0.5,0.7",
                           "ll,0,0,361,181,1,1",
                           "or:45:10,45,10,30,30,1,1",
                           "lamb::-95:25:25,35,-95,30,20,0.5,0.5"};
    for (const char* text : texts) {
        Domain a;
        ASSERT_EQ(DOM_decode(text, &a), 1) << text;
        testing::internal::CaptureStdout();
        DOM_print(MESS_PRINT, &a);
        std::string line = testing::internal::GetCapturedStdout();
        ASSERT_FALSE(line.empty());
        ASSERT_EQ(line.back(), '\n');
        line.pop_back();
        Domain b;
        ASSERT_EQ(DOM_decode(line.c_str(), &b), 1) << line;
        EXPECT_EQ(DOM_comp(&a, &b), 1) << text << " -> " << line;
    }

    Domain d;
    DOM_decode("ps:90:-100,40.5,-100,25,17,1.2,1.2", &d);
    testing::internal::CaptureStdout();
    DOM_print(MESS_PRINT, &d);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "pstereo:90.000:-100.000:::,40.500,-100.000,25,17,1.2000,1.2000\n");
    d.ext = 1;
    d.proj = 8;
    testing::internal::CaptureStdout();
    DOM_print(MESS_PRINT, &d);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "lambaz:e:90.000:-100.000:::,40.500,-100.000,25,17,1.2000,1.2000\n");
    // Not shown when the level is off.
    testing::internal::CaptureStdout();
    DOM_print(0x80000000, &d);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(DomainTest, CompareTreatsUnsetPoleAsCentre) {
    Domain a, b;
    DOM_decode("ps,40,-100,25,17,1,1", &a);
    DOM_decode("ps:40:-100,40,-100,25,17,1,1", &b);
    EXPECT_EQ(DOM_comp(&a, &b), 1);
    EXPECT_EQ(DOM_comp(&b, &a), 1);
    b.plon = -99.0f;
    EXPECT_EQ(DOM_comp(&a, &b), 0);
    b = a;
    b.param[4] = 1.0f;
    EXPECT_EQ(DOM_comp(&a, &b), 0);
    b = a;
    b.ext = 1;
    EXPECT_EQ(DOM_comp(&a, &b), 0);
    b = a;
    b.ny = 18;
    EXPECT_EQ(DOM_comp(&a, &b), 0);
}

TEST_F(DomainTest, Aspect) {
    Domain d;
    DOM_decode("40,-100", &d);
    EXPECT_DOUBLE_EQ(DOM_aspect(&d), 1.5);
    d.ny = 1;
    EXPECT_DOUBLE_EQ(DOM_aspect(&d), 1.0);
    d.ny = 3;
    d.nx = 4;
    EXPECT_DOUBLE_EQ(DOM_aspect(&d), 1.5);
    DOM_init(&d);
    EXPECT_DOUBLE_EQ(DOM_aspect(&d), 1.0);
}

TEST_F(DomainTest, PriorityFromExtent) {
    struct Case {
        float size;
        int prior;
    } cases[] = {{60, 1}, {50, 2},    {26, 2},   {25, 3}, {13, 3}, {12.5f, 4},
                 {7, 4},  {6.25f, 5}, {3.5f, 5}, {3, 6},  {0, 6}};
    for (const Case& c : cases) {
        EXPECT_EQ(DOM_set_base_prior(c.size), c.prior) << c.size;
        EXPECT_EQ(DOM_get_prior(), c.prior);
    }
    RES_put("stat_prior", "+2");
    EXPECT_EQ(DOM_set_base_prior(16), 5);
    RES_put("stat_prior", "-2");
    EXPECT_EQ(DOM_set_base_prior(16), 1);
    RES_put("stat_prior", "47");
    EXPECT_EQ(DOM_set_base_prior(16), 4);
    RES_put("stat_prior", "x");
    EXPECT_EQ(DOM_set_base_prior(16), 3);

    // A decode sets the priority from (ny - 1) * dy: 16 * 1.0.
    RES_put("stat_prior", "+2");
    decode("ps,40,-100,25,17,1,1");
    EXPECT_EQ(DOM_get_prior(), 5);
    DOM_set_loc_prior(4);
    EXPECT_EQ(DOM_get_loc_prior(), 4);
}

TEST_F(DomainTest, DecodeSetsRegionKey) {
    decode("ps,40,-100,25,17,1,1");
    char key[64] = "";
    FILE_get_key('r', key);
    EXPECT_STREQ(key, "ps,40,-100,25,17,1,1");
}

// --------------------------------------------------------- the shipped file

TEST_F(DomainTest, ShippedRegionFileIsFoundAndEveryRowWorks) {
    std::ifstream in(sat_test::datafile("zmt.reg"));
    ASSERT_TRUE(in.good());
    std::string line;
    int rows = 0, menu = 0;
    while (std::getline(in, line)) {
        ASSERT_FALSE(line.empty()) << "an empty line would end every search";
        if (line[0] == '#') continue;
        std::istringstream fields(line);
        std::string key, label, text;
        int number = -1;
        ASSERT_TRUE(fields >> key >> label >> number >> text) << line;
        EXPECT_LE(label.size(), 20u) << line;
        if (number) ++menu;
        ++rows;
        // No file_path: found through the program's data directory.
        auto d = decode(key.c_str());
        EXPECT_EQ(d.result, 2) << key;
        Domain direct;
        ASSERT_EQ(DOM_decode(text.c_str(), &direct), 1) << text;
        EXPECT_EQ(DOM_comp(&d.d, &direct), 1) << key;
        // The centre of every region is on the map and comes back.
        MAP_domain(&d.d);
        float x, y, lat, lon;
        ASSERT_EQ(MAP_tran_center(&x, &y), 1) << key;
        // The Lambert azimuthal inverse gives its centre with a 0.
        EXPECT_EQ(MAP_untran(x, y, &lat, &lon), d.d.proj == 8 ? 0 : 1) << key;
        EXPECT_NEAR(lat, d.d.clat, 1e-3) << key;
        if (std::fabs(d.d.clat) < 89.0f) {
            EXPECT_NEAR(std::remainder(lon - d.d.clon, 360.0f), 0.0f, 1e-3) << key;
        }
    }
    EXPECT_GE(rows, 30);
    EXPECT_LE(menu, 19);

    // The built-in regions are in the file as they are in the table.
    for (const char* name : {"us", "ne", "at", "se", "mw", "sp", "nw", "sw"}) {
        Domain file, table;
        DOM_decode(name, &file);
        DOM_init(&table);
        DOM_get_def_region(name, &table);
        EXPECT_EQ(DOM_comp(&file, &table), 1) << name;
    }
}

}  // namespace
