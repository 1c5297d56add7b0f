// The run flow through the real binary: reports, exit codes and runs of files.
#include <gtest/gtest.h>

#include <string>

#include "test_support.h"

using sat_test::run_sat;
using sat_test::testdata;

namespace {
const std::string gvar = testdata("area/goes8_wv_gvar_1998260_0745.area");
const std::string radar = testdata("area/radar_composite_ps_2000137_0859.area");

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}
}  // namespace

TEST(SatRun, ReportRunsPrintAndEndWithTen) {
    auto r = run_sat({"-pl", "none", "-ou", "date", gvar});
    EXPECT_EQ(r.code, 10);
    EXPECT_TRUE(contains(r.out, "0745Z 17 SEP 98\n")) << r.out;
    EXPECT_FALSE(contains(r.out, "Size:")) << r.out;

    r = run_sat({"-pl", "none", "-ou", "seq", radar});
    EXPECT_EQ(r.code, 10);
    EXPECT_TRUE(contains(r.out, "200005160859\n")) << r.out;

    // The file report names the file the output convention gives for the date.
    sat_test::TempDir dir;
    r = run_sat({"-pl", "none", "-ou", "file", "-of", "sat_img", "-sp", dir.path(), radar});
    EXPECT_EQ(r.code, 10);
    EXPECT_TRUE(contains(r.out, dir.path() + "/20000516_0845.img\n")) << r.out;
}

TEST(SatRun, ReportsFollowTheMessageLevel) {
    auto r = run_sat({"-ba", "-pl", "none", gvar});
    EXPECT_EQ(r.code, 0) << r.err;
    // Batch keeps print, error and warn only.
    EXPECT_FALSE(contains(r.out, "Size:")) << r.out;

    r = run_sat({"-ba", "-pl", "none", "-me", "out2", gvar});
    EXPECT_EQ(r.code, 0) << r.err;
    EXPECT_TRUE(contains(r.out, "Size: 1800x400\n")) << r.out;
    EXPECT_TRUE(contains(r.out, "Date: 0745Z 17 SEP 98\n")) << r.out;
    EXPECT_FALSE(contains(r.out, "Resolution:")) << "resolution is an out3 report";

    r = run_sat({"-ba", "-pl", "none", "-me", "out3", gvar});
    EXPECT_TRUE(contains(r.out, "Resolution: 4x8\n")) << r.out;
    EXPECT_TRUE(contains(r.out, "Image domain: sat")) << r.out;
}

TEST(SatRun, UnreadableFilesEndWithTenAndTheirMessage) {
    sat_test::TempDir dir;
    const std::string empty = dir.file("empty.area");
    sat_test::write_file(empty, "");
    auto r = run_sat({"-ba", "-pl", "none", empty});
    EXPECT_EQ(r.code, 10);
    EXPECT_TRUE(contains(r.err, "SAT_read_file: Unable to read image file")) << r.err;
    EXPECT_TRUE(r.out.find("SAT_read_file") == std::string::npos) << "errors go to stderr";

    // -me none silences the message, and the code stays 10.
    r = run_sat({"-ba", "-pl", "none", "-me", "none", empty});
    EXPECT_EQ(r.code, 10);
    EXPECT_EQ(r.err, "");
}
