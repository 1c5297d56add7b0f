// The HPGL device: what each option of the environment list and of the device
// string does to the file, the output names' order, appended plots, and the
// shades, widths, line types and fills that drawing writes.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"

namespace {

const std::string PCL_OPEN = "\033E\033%1B\033&l1O\n";
const std::string PCL_CLOSE = "\033%0A\033E";

class Hpgl : public ::testing::Test {
   protected:
    void SetUp() override {
        for (const char* v :
             {"zmtprint", "zmthp_param", "zmthp_out", "zmthp_geometry", "PSCOLOR", "zmtps_param"})
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
        unsetenv("zmthp_param");
        RES_reset();
        EXPECT_EQ(chdir(old_cwd_.c_str()), 0);
    }
    // Opens, draws nothing, closes; the file and the plot size.
    std::string plot(const char* connection, const char* param, std::pair<int, int>* size) {
        if (param)
            setenv("zmthp_param", param, 1);
        else
            unsetenv("zmthp_param");
        // Rotation and pen width outlive a plot, as in one run of many plots:
        // each case starts as a fresh run does.
        ghpgl_set_rotate(0);
        ghpgl_set_base_width(0.2f);
        EXPECT_EQ(gopen_ws(1, connection, GWS_HPGL), 0);
        gget_win_size(&size->first, &size->second);
        gclose_ws();
        return sat_test::read_file("p.hpgl");
    }
    sat_test::TempDir dir_;
    std::string old_cwd_;
};

TEST_F(Hpgl, EveryOptionOfTheTableInBothLists) {
    const std::string body = "IN;SP1;PA;\n";
    const std::string pens = "PW0.2;SV;LT;\n";
    struct Case {
        const char* connection;
        const char* param;  // zmthp_param
        std::string start;  // the file's first bytes
        bool wrapped;       // PCL closing bytes at the end
        std::pair<int, int> size;
    } cases[] = {
        {"p.hpgl", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "nopcl", body + pens, false, {10150, 7612}},
        {"p.hpgl", "NoPcl,pcl", PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "lj", PCL_OPEN + body + "RO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "lj,port", PCL_OPEN + body + "RO90;\nRO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "rot=180", PCL_OPEN + body + "RO180;\n" + pens, true, {10150, 7612}},
        {"p.hpgl", "rot=45", PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl", "lwidth=0.35", PCL_OPEN + body + "PW0.3;SV;LT;\n", true, {10150, 7612}},
        {"p.hpgl", "a4", PCL_OPEN + body + pens, true, {11357, 7876}},
        {"p.hpgl", "SZ=20x10", PCL_OPEN + body + pens, true, {19792, 9642}},
        {"p.hpgl", "roll=30", PCL_OPEN + body + pens, true, {29942, 23345}},
        // The device string: options win over the environment's ...
        {"p.hpgl,port", nullptr, PCL_OPEN + body + "RO90;\n" + pens, true, {10150, 7612}},
        {"p.hpgl,rot=270,b4", "port", PCL_OPEN + body + "RO270;\n" + pens, true, {14037, 9764}},
        {"p.hpgl,lwidth=1", "lwidth=0.5", PCL_OPEN + body + "PW1.0;SV;LT;\n", true, {10150, 7612}},
        // ... but "nopcl" and "lj" are looked for at the same place of the
        // environment's list, and "roll" not at all.
        {"p.hpgl,nopcl", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
        {"p.hpgl,lj", "a4", PCL_OPEN + body + pens, true, {11357, 7876}},
        {"p.hpgl,port", "legal,lj", PCL_OPEN + body + "RO90;\n" + pens, true, {13702, 8120}},
        {"p.hpgl,a3", "lj,nopcl", body + pens, false, {10150, 7612}},  // "a3" read as "nopcl"
        {"p.hpgl,roll=30", nullptr, PCL_OPEN + body + pens, true, {10150, 7612}},
    };
    for (const Case& c : cases) {
        std::pair<int, int> size;
        const std::string file = plot(c.connection, c.param, &size);
        const std::string label = std::string(c.connection) + " " + (c.param ? c.param : "-");
        EXPECT_EQ(file.substr(0, c.start.size()), c.start) << label;
        const std::string end = c.wrapped ? "SP;PG;\n" + PCL_CLOSE : "SP;PG;\n";
        EXPECT_EQ(file.substr(file.size() - end.size()), end) << label;
        EXPECT_EQ(size, c.size) << label;
        // The clip of the whole plot, at its offset of 10, 10.
        char clip[64];
        std::snprintf(clip, sizeof clip, "IW 10,10,%d,", size.second + 9);
        EXPECT_NE(file.find(clip), std::string::npos) << label << "\n" << file;
    }
}

TEST_F(Hpgl, OutputNamesInTheirOrderAppendedPlotsAndUnwritableOutputs) {
    // Outputs that cannot be created fail the open and leave nothing.
    sat_test::write_file("blocker", "");
    ::testing::internal::CaptureStderr();
    EXPECT_EQ(gopen_ws(1, "blocker/out.ps", GWS_PS), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.hpgl", GWS_HPGL), -1);
    EXPECT_EQ(gopen_ws(1, "blocker/out.meta", GWS_META), -1);
    const std::string err = ::testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("gopen_ws: unable to open HPGL file"), std::string::npos) << err;
    EXPECT_NE(err.find("gopen_ws: unable to open metafile"), std::string::npos);
    EXPECT_EQ(gchk_graphics(), 0);
    EXPECT_EQ(sat_test::run_program("/bin/ls", {"-A", "."}).out, "blocker\n");

    setenv("zmthp_out", "env.hpgl", 1);
    ASSERT_EQ(gopen_ws(1, "dev.hpgl", GWS_HPGL), 0);
    gclose_ws();
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    unsetenv("zmthp_out");
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    for (const char* name : {"dev.hpgl", "env.hpgl", "zmt.hpgl"})
        EXPECT_TRUE(sat_test::file_exists(name)) << name;
    // The environment's name is the user's: it may be a pipe.
    setenv("zmthp_out", "|cat > piped.hpgl", 1);
    ASSERT_EQ(gopen_ws(1, "", GWS_HPGL), 0);
    gclose_ws();
    unsetenv("zmthp_out");
    EXPECT_EQ(sat_test::read_file("piped.hpgl"), sat_test::read_file("zmt.hpgl"));

    // A second plot on "+name" has neither the start nor the end of a page.
    const std::string first = sat_test::read_file("dev.hpgl");
    ASSERT_EQ(gopen_ws(1, "+dev.hpgl", GWS_HPGL), 0);
    const float line[4] = {0.1f, 0.1f, 0.9f, 0.5f};
    gpolyline(2, line);
    gclose_ws();
    const std::string both = sat_test::read_file("dev.hpgl");
    ASSERT_EQ(both.substr(0, first.size()), first);
    const std::string second = both.substr(first.size());
    EXPECT_EQ(second.rfind("PW0.2;SV;LT;\n", 0), 0u) << second;
    EXPECT_EQ(second.find("IN;"), std::string::npos);
    EXPECT_EQ(second.find("SP;PG;"), std::string::npos);
    EXPECT_EQ(second.find('\033'), std::string::npos);
    EXPECT_NE(second.find("PU"), std::string::npos);

    // A PostScript request under zmtprint=HPGL becomes HPGL under its default
    // name, and the PostScript options are not read.
    setenv("zmtprint", "HPGL", 1);
    setenv("zmtps_param", "a1", 1);
    ASSERT_EQ(gopen_ws(1, "", GWS_PS), 0);
    EXPECT_EQ(gget_win_type(), GWS_HPGL);
    int w = 0, h = 0;
    gget_win_size(&w, &h);
    EXPECT_EQ(std::make_pair(w, h), std::make_pair(10150, 7612));
    gclose_ws();
    unsetenv("zmtprint");
    unsetenv("zmtps_param");
    EXPECT_FALSE(sat_test::file_exists("zmt.ps"));
}

TEST_F(Hpgl, ShadesWidthsTypesAndFills) {
    ASSERT_EQ(gopen_ws(1, "d.hpgl,nopcl", GWS_HPGL), 0);
    const float red[3] = {1, 0, 0};
    gset_colr_rep(1, 2, red);  // grey (0.9 r + g + 0.8 b) / 2.7 = 1/3
    static const float pts[6] = {0.1f, 0.1f, 0.5f, 0.5f, 0.9f, 0.1f};
    struct Step {
        void (*apply)();
        const char* written;  // before the pen moves of the step's primitive
    } steps[] = {
        {[] { gset_line_colr_ind(501); }, "PW0.4;\n"},
        {[] { gset_line_colr_ind(503); }, "PW0.2;\nSV1,0;\n"},
        {[] { gset_line_colr_ind(500); }, "SV;\n"},
        {[] { gset_linewidth(0); }, ""},  // a width of 0 draws as 1
        {[] { gset_line_print_bold(3); }, "PW0.6;\n"},
        {[] { gset_linetype(2); }, "LT2,5,1;\n"},
        {[] { gset_linetype(5); }, "LT2,1,1;\n"},
        {[] { gset_linetype(7); }, ""},
        {[] { gset_linetype(1); }, "LT;\n"},
    };
    for (size_t i = 0; i < std::size(steps); ++i) {
        ghpgl_printf("#%zu\n", i);
        steps[i].apply();
        gpolyline(3, pts);
    }
    // Fill shades: a colour's grey, the background twice (white, then the full
    // shade of its grey 0), the solid print fill, and the polygon mode around a fill.
    struct Fill {
        int index;
        int solid;
        const char* written;
    } fills[] = {
        {2, 0, "FT10,67;\n"}, {-1, 0, "FT10,0;\n"}, {-1, 0, "FT10,100;\n"},
        {2, 1, "FT1;\n"},     {2, 0, "FT10,67;\n"}, {2, 0, ""},
    };
    for (const Fill& f : fills) {
        ghpgl_printf("#f\n");
        gset_fill_print_solid(f.solid);
        ghpgl_set_fill_color(f.index);
    }
    ghpgl_printf("#polygon\n");
    char polygon[160];
    std::snprintf(polygon, sizeof polygon, "PU%.0f,%.0f;PM0;PD%.0f,%.0f;PD%.0f,%.0f;PM1;PM2;FP;\n",
                  xW_ps(pts[0]), yW_ps(pts[1]), xW_ps(pts[2]), yW_ps(pts[3]), xW_ps(pts[4]),
                  yW_ps(pts[5]));
    gfill_area(3, pts);
    gclose_ws();

    const std::string file = sat_test::read_file("d.hpgl");
    for (size_t i = 0; i < std::size(steps); ++i) {
        const std::string mark = "#" + std::to_string(i) + "\n";
        const size_t at = file.find(mark);
        ASSERT_NE(at, std::string::npos) << i;
        const size_t from = at + mark.size();
        EXPECT_EQ(file.substr(from, file.find("PU", from) - from), steps[i].written) << i;
    }
    size_t at = 0;
    for (const Fill& f : fills) {
        at = file.find("#f\n", at) + 3;
        EXPECT_EQ(file.substr(at, file.find('#', at) - at), f.written) << f.index;
    }
    const std::string tail = file.substr(file.find("#polygon\n") + 9);
    // "nopcl" in the device string alone leaves the wrapper on.
    EXPECT_EQ(tail, std::string("FT10,100;\n") + polygon + "SP;PG;\n" + PCL_CLOSE);
}

}  // namespace
