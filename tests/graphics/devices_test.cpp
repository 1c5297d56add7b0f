// The printing devices as the workstation opens them: the page each paper name,
// option and geometry gives, the device picked by the environment, outputs that
// cannot be created. No X server is involved.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"

namespace {

// Runs with the working directory in a fresh temporary directory and no
// device variables of the caller.
class Devices : public ::testing::Test {
   protected:
    void SetUp() override {
        for (const char* v :
             {"zmtprint", "zmtps_param", "zmthp_param", "zmtps_print", "PSPRINT", "zmtps_geometry",
              "PSGEOMETRY", "zmthp_out", "zmtmeta_out", "PSCOLOR"})
            unsetenv(v);
        RES_reset();
        MESS_reset();
        char buf[4096];
        old_cwd_ = getcwd(buf, sizeof buf) ? buf : "/";
        ASSERT_EQ(chdir(dir_.path().c_str()), 0);
        gopen_gks(nullptr);
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        RES_reset();
        EXPECT_EQ(chdir(old_cwd_.c_str()), 0);
    }
    std::pair<int, int> size() {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        return {w, h};
    }
    std::pair<int, int> offset() {
        int x = 0, y = 0;
        gget_win_offset(&x, &y);
        return {x, y};
    }
    sat_test::TempDir dir_;
    std::string old_cwd_;
};

TEST_F(Devices, PostScriptPageFollowsPaperOptionsAndGeometry) {
    struct Case {
        const char* connection;
        const char* ps_param;  // zmtps_param, or null
        const char* geometry;  // resource, or null
        float long_side, short_side;
        std::pair<int, int> offset;
        float fraction;  // of the page the plot takes
    };
    const std::vector<Case> cases = {
        {"out.ps", nullptr, nullptr, 11, 8.5f, {0, 0}, 1},
        {"out.ps,LEGAL", nullptr, nullptr, 14, 8.5f, {0, 0}, 1},
        {"out.ps,11x17", nullptr, nullptr, 17, 11, {0, 0}, 1},
        {"out.ps,a4", nullptr, nullptr, 11.69f, 8.26f, {0, 0}, 1},
        {"out.ps,a3", nullptr, nullptr, 16.54f, 11.69f, {0, 0}, 1},
        {"out.ps,a2", nullptr, nullptr, 23.39f, 16.54f, {0, 0}, 1},
        {"out.ps,a1", nullptr, nullptr, 33.11f, 23.39f, {0, 0}, 1},
        {"out.ps,b4", nullptr, nullptr, 14.33f, 10.12f, {0, 0}, 1},
        {"out.ps,b3", nullptr, nullptr, 20.27f, 14.33f, {0, 0}, 1},
        {"out.ps,b2", nullptr, nullptr, 28.66f, 20.27f, {0, 0}, 1},
        {"out.ps,b1", nullptr, nullptr, 40.55f, 28.66f, {0, 0}, 1},
        {"out.ps,ansid", nullptr, nullptr, 34, 22, {0, 0}, 1},
        {"out.ps,sz=10x5", nullptr, nullptr, 10, 5, {0, 0}, 1},
        {"out.ps,port,eps,color,bogus", nullptr, nullptr, 11, 8.5f, {0, 0}, 1},
        // The environment's options first, the device string's win.
        {"out.ps", "a3", nullptr, 16.54f, 11.69f, {0, 0}, 1},
        {"out.ps,a4", "a3", nullptr, 11.69f, 8.26f, {0, 0}, 1},
        // A 2 by 2 grid, second column of the top row: y runs upward on paper.
        {"out.ps", nullptr, "P2x2+1+0", 11, 8.5f, {378, 288}, 0.5f},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.connection) + " " + (c.ps_param ? c.ps_param : "") + " " +
                     (c.geometry ? c.geometry : ""));
        if (c.ps_param)
            setenv("zmtps_param", c.ps_param, 1);
        else
            unsetenv("zmtps_param");
        if (c.geometry)
            RES_put("geometry", c.geometry);
        else
            RES_reset();
        ASSERT_EQ(gopen_ws(1, c.connection, GWS_PS), 0);
        EXPECT_EQ(gget_win_type(), GWS_PS);
        EXPECT_EQ(gget_win_depth(), 10);
        const int w = static_cast<int>((c.long_side - 0.5f) * 72.0f);
        const int h = static_cast<int>((c.short_side - 0.5f) * 72.0f);
        EXPECT_EQ(size(), std::make_pair(static_cast<int>(static_cast<float>(w) * c.fraction),
                                         static_cast<int>(static_cast<float>(h) * c.fraction)));
        EXPECT_EQ(offset(), c.offset);
        gclose_ws();
        EXPECT_TRUE(sat_test::file_exists("out.ps"));
    }
    // Sizes in hundredths of an inch, with and without the offset.
    RES_put("geometry", "500x400+10+20");
    ASSERT_EQ(gopen_ws(1, "out.ps", GWS_PS), 0);
    EXPECT_EQ(size(), std::make_pair(360, 288));
    EXPECT_EQ(offset(), std::make_pair(7, 14));
    gclose_ws();
}

TEST_F(Devices, PostScriptRequestBecomesHpglWhenTheEnvironmentSaysSo) {
    // Under the default HPGL name, and the PostScript options are not read.
    setenv("zmtprint", "HPGL", 1);
    setenv("zmtps_param", "a1", 1);
    ASSERT_EQ(gopen_ws(1, "", GWS_PS), 0);
    EXPECT_EQ(gget_win_type(), GWS_HPGL);
    EXPECT_EQ(size(), std::make_pair(10150, 7612));
    gclose_ws();
    EXPECT_TRUE(sat_test::file_exists("zmt.hpgl"));
    EXPECT_FALSE(sat_test::file_exists("zmt.ps"));
}

TEST_F(Devices, UnwritableOutputsFailTheOpen) {
    // A file where the output's directory should be.
    sat_test::write_file("blocker", "");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(gopen_ws(1, "blocker/out.ps", GWS_PS), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.hpgl", GWS_HPGL), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.meta", GWS_META), -1);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("gopen_ws: unable to open postscript file"), std::string::npos) << err;
    EXPECT_NE(err.find("gopen_ws: unable to open HPGL file"), std::string::npos);
    EXPECT_NE(err.find("gopen_ws: unable to open metafile"), std::string::npos);
    EXPECT_EQ(gchk_graphics(), 0);
    EXPECT_EQ(sat_test::run_program("/bin/ls", {"-A", "."}).out, "blocker\n");
}

}  // namespace
