// Name conventions: the convention file, template expansion, keys, and the path and
// file helpers.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

namespace {

using sat_test::make;

const int X = -9999;

class Naming : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FILE_reset();
        unsetenv("zmtcurtime");
        RES_put("file_path", dir.path().c_str());
        sat_test::write_file(dir.file("name_conv"),
                             "# test conventions\n"
                             "sat_ir   %D/%Y%m%d%h_ir.area  -  100\n"
                             "sat      %D/%Y%m%d%h_sat.%e   %D/hdr.%e\n"
                             "daily    %D/%Y%m%d.sfc\n");
    }
    void TearDown() override {
        FILE_reset();
        RES_reset();
    }
    std::string expand(const Date& d) {
        char out[FILE_NAME_SIZE];
        EXPECT_EQ(FILE_set_date(&d, out), 0);
        return out;
    }
    std::string expand_literal(const std::string& tmpl, const Date& d) {
        FILE_set_name(("@" + tmpl).c_str());
        return expand(d);
    }
    sat_test::TempDir dir;
    const Date day = make(2003, 1, 15, 12, 0);
};

TEST_F(Naming, ConventionFileMatchesWholeAndPartialTags) {
    RES_put("data_path", "/data");
    EXPECT_EQ(FILE_set_name("SAT_IR"), 1);
    EXPECT_EQ(FILE_get_min_size(), 100);
    EXPECT_EQ(expand(day), "/data/2003011512_ir.area");
    EXPECT_EQ(FILE_get_late_off(), 3600);
    // A shorter line tag serves the longer tag, and the band becomes %e.
    EXPECT_EQ(FILE_set_name("sat_wv"), 1);
    EXPECT_EQ(FILE_get_min_size(), 0);
    EXPECT_EQ(expand(day), "/data/2003011512_sat.wv");
    char out[FILE_NAME_SIZE];
    FILE_hdr_set_date(&day, out);
    EXPECT_STREQ(out, "/data/hdr.wv");
    // An unknown tag is a template of its own.
    EXPECT_EQ(FILE_set_name("x%Y.dat"), 0);
    EXPECT_EQ(expand(day), "x2003.dat");
    // "none" leaves no convention: the date gives no name.
    EXPECT_EQ(FILE_set_name("NONE"), 0);
    EXPECT_EQ(FILE_set_date(&day, out), 1);
    EXPECT_STREQ(out, "filename");
}

TEST_F(Naming, ConventionFileByResourceAndInstalledFallback) {
    sat_test::write_file(dir.file("other"), "sat_ir other%Y\n");
    RES_put("name_conv", "other");
    EXPECT_EQ(FILE_set_name("sat_ir"), 1);
    EXPECT_EQ(expand(day), "other2003");
    // Nothing on file_path: the installed conventions answer every tag the program asks for.
    RES_reset();
    RES_put("file_path", (dir.path() + "/nowhere").c_str());
    RES_put("sat_path", "/sat");
    for (const char* tag : {"sat_vis", "sat_ir", "sat_wv", "sat_img"}) {
        EXPECT_EQ(FILE_set_name(tag), 1) << tag;
        EXPECT_EQ(expand(day).rfind("/sat/", 0), 0u) << tag;
    }
    FILE_set_name("sat_ir");
    EXPECT_EQ(expand(make(1998, 9, 17, 7, 52)), "/sat/19980917_0745_ir.area");
    EXPECT_EQ(FILE_get_late_off(), 900);
    // No file anywhere: said so, and the tag is the template.
    RES_put("name_conv", "missing_conventions");
    sat_test::Capture capture;
    EXPECT_EQ(FILE_set_name("sat_%Y"), 0);
    EXPECT_EQ(expand(day), "sat_2003");
    EXPECT_NE(capture.err().find("FILE_set_name: No file name convention file: "),
              std::string::npos);
}

TEST_F(Naming, BrokenAndOverlongConventionLines) {
    sat_test::write_file(dir.file("name_conv"),
                         "# comment " + std::string(5000, '#') + "\n" + std::string(300, 'a') +
                             " " + std::string(300, '%') + "\n\n   \nlonely\n" +
                             "bin\x01\xff\x7f %Y \x02 notanumber\n"
                             "big %Y - 99999999999999999999\n"
                             "sat_ir\t%D/%Y_ir\t-\t7\r\n"  // tabs and a DOS line end
                             "last %Y");                   // no line end
    RES_put("data_path", "/d");
    EXPECT_EQ(FILE_set_name("sat_ir"), 1);
    EXPECT_EQ(expand(day), "/d/2003_ir");
    EXPECT_EQ(FILE_get_min_size(), 7);
    EXPECT_EQ(FILE_set_name("big"), 1);
    EXPECT_EQ(FILE_get_min_size(), 2147483647);
    for (const std::string& tag : {std::string("last"), std::string(300, 'a')})
        EXPECT_EQ(FILE_set_name(tag.c_str()), 1) << tag;
    char out[FILE_NAME_SIZE];
    FILE_set_date(&day, out);
    EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE));
    // A tag of any length is a template of at most 159 characters.
    EXPECT_EQ(FILE_set_name(std::string(10000, 'q').c_str()), 0);
    EXPECT_EQ(expand(day), std::string(159, 'q'));
    EXPECT_EQ(FILE_set_name(nullptr), 0);
}

TEST_F(Naming, TemplateItemsWidthsAndSteps) {
    RES_put("data_path", "/data");
    RES_put("region_name", "east coast");
    const Date d = make(2003, 1, 15, 14, 47);
    struct Case {
        const char* tmpl;
        Date date;
        const char* want;
        int late_off;  // 0: not checked
    } cases[] = {{"%Y|%y|%m|%b|%d|%j|%h|%n|%%|a b", d, "2003|03|01|jan|15|015|14|47|%|a_b", 0},
                 {"%{region_name}%{unknown}.%{data_path}", d, "east coast./data", 0},
                 {"{opt}%D", d, "opt/data", 0},
                 // Widths round down and set the step.
                 {"%3h", d, "12", 10800},
                 {"%10Y", d, "2000", 0},
                 {"%d%h%n", d, "151447", 60},
                 {"%Y", make(-5, 1, 1, 0, 0), "0000", 0},
                 {"%b%h", make(2003, X, 15, X, 0), "xxx00", 0}};
    for (const Case& c : cases) {
        EXPECT_EQ(expand_literal(c.tmpl, c.date), c.want) << c.tmpl;
        EXPECT_EQ(c.late_off ? FILE_get_late_off() : 0, c.late_off) << c.tmpl;
    }
    // Missing fields give zeros, and file_date says they were not given.
    Date got;
    FILE_get_date(&got);
    EXPECT_TRUE(got.month == X && got.hour == X && got.day == X);  // day: not in the template
    FILE_set_name("daily");
    EXPECT_EQ(expand(make(2003, 1, 15, X, X)), "/data/20030115.sfc");
    EXPECT_EQ(FILE_get_late_off(), 86400);

    // Hostile templates end cleanly.
    for (const char* t : {"%", "%999999999999h", "%0h", "%{never closed", "}{}{"}) {
        char out[FILE_NAME_SIZE];
        FILE_set_name((std::string("@") + t).c_str());
        FILE_set_date(&d, out);
        EXPECT_LT(std::strlen(out), static_cast<size_t>(FILE_NAME_SIZE)) << t;
    }
    EXPECT_EQ(expand_literal(std::string(2000, 'x') + "%D%D%D%{data_path}", d),
              std::string(159, 'x'));
}

TEST_F(Naming, PinnedFieldsAndSteps) {
    struct Case {
        int year, day, hour, minute;  // the pins
        const char* tmpl;
        Date date;
        const char* want;
        int late_off;
    } cases[] = {
        {X, X, -1206, X, "%h", make(2003, 1, 15, 2, 0), "12", 21600},   // 6-hour cycle from 12
        {X, X, -1206, X, "%h", make(2003, 1, 15, 20, 0), "30", 21600},  // not folded
        {1999, -5, X, X, "%Y%d", make(2003, 1, 14, 0, 0), "199910", 432000},
        {X, X, 6, -15, "%h%n", make(2003, 1, 14, 9, 40), "0630", 0}};
    for (const Case& c : cases) {
        Date pins = make(c.year, X, c.day, c.hour, c.minute);
        FILE_set_time(&pins);
        EXPECT_EQ(expand_literal(c.tmpl, c.date), c.want) << c.tmpl << " " << c.hour;
        EXPECT_EQ(c.late_off ? FILE_get_late_off() : 0, c.late_off) << c.tmpl << " " << c.hour;
    }
    Date got;
    FILE_get_date(&got);  // the pinned fields are the file's date
    EXPECT_EQ(got.hour * 100 + got.minute, 630);
}

TEST_F(Naming, FilesOpenCreateAndDescribe) {
    std::string deep = dir.path() + "/a/b/c/file.txt";
    FILE* f = FILE_open(deep.c_str(), "w");
    ASSERT_NE(f, nullptr);
    std::fputs("12345", f);
    std::fclose(f);
    EXPECT_TRUE(FILE_exist(deep.c_str()) && FILE_exist("-"));
    EXPECT_EQ(FILE_size(deep.c_str()), 5);
    EXPECT_TRUE(FILE_is_dir((dir.path() + "/a/b").c_str()));
    EXPECT_EQ(FILE_make_dir(deep.c_str(), 1), 1);  // parent there already
    EXPECT_EQ(FILE_delete(deep.c_str()), 0);
    EXPECT_EQ(FILE_size(deep.c_str()), -1);
    FILE_make_dir((dir.path() + "\\w1\\w2\\f").c_str(), 1);
    EXPECT_TRUE(FILE_is_dir((dir.path() + "/w1/w2").c_str()));

    EXPECT_EQ(FILE_open("std", "w"), stdout);
    EXPECT_EQ(FILE_open((dir.path() + "/none/x").c_str(), "r"), nullptr);

    const std::string m = dir.file("m");
    const std::pair<const char*, int> magics[] = {
        {"ZMTSFC....", 11}, {"ZMTGRID", 6}, {"ZMTIMGZ", 9}, {"ZMTGRI", -1}, {"", -1}};
    for (const auto& [magic, type] : magics) {
        sat_test::write_file(m, magic);
        EXPECT_EQ(FILE_type(m.c_str()), type) << magic;
    }
    // A name with a tail after a dash falls back to the name before it.
    sat_test::write_file(m, "ZMTRAW");
    EXPECT_EQ(FILE_type((m + "-tail").c_str()), 5);

    char name[32] = "ab#extra:info";
    EXPECT_EQ(FILE_extract_extra_info(name), 0);  // only for file type 1
    FILE_set_type(1);
    EXPECT_EQ(FILE_extract_extra_info(name), 1);
    EXPECT_STREQ(name, "ab");
}

}  // namespace
