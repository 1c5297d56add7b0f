// The metafile device and its reader: a scene drawn on a window, written as a
// text metafile and replayed onto a fresh window gives the same pixels; hostile
// files give their messages; the CGM form parses element by element to its end.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"
#include "window_pixels.h"

namespace {

// The workstation window every plot here uses: the whole device.
void full_ws_window() {
    float xv = 0, yv = 0;
    ginq_maxview(1, &xv, &yv);
    const float full[4] = {0, xv, 0, yv};
    gset_ws_win(1, full);
}

// Every kind of record, over two transformations.
void scene() {
    full_ws_window();
    const float colours[4][3] = {{1, 1, 1}, {1, 0, 0}, {0, 1, 0}, {0.2f, 0.4f, 1}};
    for (int i = 0; i < 4; ++i) gset_colr_rep(1, i + 1, colours[i]);
    const float vp1[4] = {0.05f, 0.6f, 0.1f, 0.7f}, wn1[4] = {0, 100, 0, 50};
    gset_vp(1, vp1);
    gset_win(1, wn1);
    gsel_norm_tran(1);
    gmessage(1, "scene");
    gset_linetype(2);
    gset_linewidth(2);
    gset_line_colr_ind(2);
    std::vector<float> zigzag;
    for (int i = 0; i < 12; ++i) {
        zigzag.push_back(-5.0f + 10.0f * static_cast<float>(i));
        zigzag.push_back(i % 2 ? 45.0f : 5.0f);
    }
    gpolyline(12, zigzag.data());
    gset_fill_colr_ind(3);
    const float pentagon[10] = {20, 10, 40, 8, 45, 25, 30, 40, 15, 25};
    gfill_area(5, pentagon);
    gset_fill_int_style(2);
    gset_fill_style_ind(5);
    const float box[8] = {60, 5, 95, 5, 95, 30, 60, 30};
    gfill_area(4, box);
    gset_marker_colr_ind(4);
    gset_marker_size(1.5f);
    gset_marker_width(2);
    for (int type : {2, 3, 4, 5, 6, 7, 9}) {
        gset_marker_type(type);
        const float at[2] = {10.0f * static_cast<float>(type), 35};
        gpolymarker(1, at);
    }

    const float vp2[4] = {0.55f, 1.2f, 0.3f, 0.95f}, wn2[4] = {-10, 10, -10, 10};
    gset_vp(2, vp2);
    gset_win(2, wn2);
    gsel_norm_tran(2);
    gset_text_colr_ind(3);
    gset_char_ht(1.5f);
    gset_text_width(2);
    gset_expan(1.2f);
    gset_space(0.3f);
    const int align[2] = {2, 3};
    gset_text_align(align);
    const float up[2] = {0.6f, 0.8f};
    gset_char_up_vec(up);
    const float at[2] = {0, 0};
    gtext(at, "Meta 123");
    gset_linetype(1);
    gset_linewidth(1);
    gset_line_colr_ind(1);
    const float curve[8] = {-12, 4.5f, -4, -6.5f, 4, -6.5f, 12.5f, 3.5f};  // out past both sides
    gpolyline(4, curve);

    gsel_norm_tran(0);
}

// The records of a metafile: everything after its header, or the whole file
// when it has none.
std::string records(const std::string& text) {
    const size_t date = text.find("#CreationDate: ");
    return date == std::string::npos ? text : text.substr(text.find('\n', date) + 1);
}

class Metafile : public ::testing::Test {
   protected:
    void SetUp() override {
        for (const char* v : {"zmtmeta_out", "zmtredraw"}) unsetenv(v);
        RES_reset();
        MESS_reset();
        RES_put("file_path", SAT_DATA_DIR);
        char buf[4096];
        old_cwd_ = getcwd(buf, sizeof buf) ? buf : "/";
        ASSERT_EQ(chdir(dir_.path().c_str()), 0);
        gopen_gks(nullptr);
        gmeta_set_type(0);
    }
    void TearDown() override {
        if (gchk_graphics()) gclose_ws();
        gmeta_set_type(0);
        RES_reset();
        EXPECT_EQ(chdir(old_cwd_.c_str()), 0);
    }
    void open_window() { ASSERT_EQ(gopen_ws(1, server_.display().c_str(), GWS_WIN), 0); }
    std::vector<unsigned long> pixels() {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        return sat_test::drawable_pixels(gget_draw_window(), w, h);
    }
    // The pixels of a fresh window after the metafile is read onto it.
    std::vector<unsigned long> replayed(const char* file) {
        open_window();
        full_ws_window();
        EXPECT_EQ(gread_metafile(file), 0);
        std::vector<unsigned long> out = pixels();
        gclose_ws();
        return out;
    }

    sat_test::Xvfb server_{24};
    sat_test::TempDir dir_;
    std::string old_cwd_;
};

TEST_F(Metafile, ReplayOntoAWindowGivesTheWindowsPixels) {
    ASSERT_FALSE(server_.display().empty()) << "Xvfb did not start";
    open_window();
    scene();
    const std::vector<unsigned long> original = pixels();
    size_t lit = 0;
    for (unsigned long v : original) lit += v != original[0];
    ASSERT_GT(lit, 2000u);
    gclose_ws();

    ASSERT_EQ(gopen_ws(1, "scene.meta", GWS_META), 0);
    scene();
    gclose_ws();
    ASSERT_EQ(sat_test::read_file("scene.meta").rfind("ZMTMETA\n", 0), 0u);
    EXPECT_EQ(replayed("scene.meta"), original);
}

TEST_F(Metafile, HostileFilesGiveMessagesAndReadingGoesOn) {
    struct Case {
        std::string input;    // after the header line
        std::string written;  // records the reading drew, on a text metafile
        const char* message;  // on standard error, or null
    } cases[] = {
        {"FOO 1 2 3\n# PL 2 1,1 2,2\nPL 2 0.5,0.5 1,1\n",
         "PL 2 0.500000,0.500000 1.000000,1.000000 \n", nullptr},
        {"PL 1000000 0.5,0.5 1,1\nTR 1\n", "PL 2 0.500000,0.500000 1.000000,1.000000 \nTR 1\n",
         nullptr},
        {"PL 5 0.5,0.5\nTR 2\n", "TR 2\n", "gpolyline: invalid number of points: 1"},
        {"PL 3 0.1,0.1 0.2,", "", "invalid number of points: 1"},
        {"PL 2 1e39,0 0,0\nTR 1\n", "TR 1\n", "invalid number of points: 0"},
        {"WIN 1 0 0 1e31 1\nVP 1 0 0 0 1\nTR 1\n", "TR 1\n",
         "gread_metafile: value out of range in WIN record"},
        {"CLR 1 5 2.0 0 0\nCLR 1 5 0.5\n", "", "value out of range in CLR record"},
        {"PL_LW nan\nPL_LW 1e9\nTE_EXP 50\nPL_TYPE 4\n", "PL_TYPE 4\n",
         "value out of range in PL_LW record"},
    };
    for (const Case& c : cases) {
        sat_test::write_file("in.meta", "ZMTMETA\n" + c.input);
        ASSERT_EQ(gopen_ws(1, "out.meta", GWS_META), 0);
        ::testing::internal::CaptureStderr();
        EXPECT_EQ(gread_metafile("in.meta"), 0);
        const std::string err = ::testing::internal::GetCapturedStderr();
        gclose_ws();
        EXPECT_EQ(records(sat_test::read_file("out.meta")), c.written) << c.input;
        if (c.message)
            EXPECT_NE(err.find(c.message), std::string::npos) << c.input << "\n" << err;
        else
            EXPECT_EQ(err, "") << c.input;
    }
}

// Big-endian words of a CGM, element by element.
struct CgmElement {
    int cls, id;
    std::string data;
};
std::vector<CgmElement> parse_cgm(const std::string& bytes, std::string& error) {
    std::vector<CgmElement> out;
    size_t at = 0;
    auto word = [&](size_t i) {
        return (static_cast<unsigned char>(bytes[i]) << 8) |
               static_cast<unsigned char>(bytes[i + 1]);
    };
    while (at < bytes.size()) {
        if (at + 2 > bytes.size()) return error = "header cut at " + std::to_string(at), out;
        const int head = word(at);
        at += 2;
        size_t length = static_cast<size_t>(head & 31);
        if (length == 31) {
            if (at + 2 > bytes.size()) return error = "long length cut", out;
            length = static_cast<size_t>(word(at) & 0x7fff);
            at += 2;
        }
        const size_t padded = length + (length & 1);
        if (at + padded > bytes.size())
            return error = "element past the end at " + std::to_string(at), out;
        out.push_back({head >> 12, (head >> 5) & 127, bytes.substr(at, length)});
        at += padded;
    }
    return out;
}

TEST_F(Metafile, CgmParsesToItsEndAndOutputNamesKeepTheirOrder) {
    ASSERT_EQ(gopen_ws(1, "plot.cgm,zmt,cgm", GWS_META), 0);
    EXPECT_EQ(gmeta_get_type(), 1);
    scene();
    const float inside[4] = {-5, -5, 5, 5};
    gsel_norm_tran(2);
    const short x0 = static_cast<short>(xW_ps(-5)), y0 = static_cast<short>(yW_ps(-5));
    gpolyline(2, inside);
    gclose_ws();
    std::string error;
    const std::vector<CgmElement> e = parse_cgm(sat_test::read_file("plot.cgm,zmt,cgm"), error);
    ASSERT_EQ(error, "");
    const std::vector<std::pair<int, int>> head = {{0, 1}, {1, 1}, {1, 2}, {1, 11},
                                                   {1, 9}, {2, 6}, {0, 3}, {0, 4}};
    ASSERT_GT(e.size(), head.size() + 1);
    for (size_t i = 0; i < head.size(); ++i)
        EXPECT_EQ(std::make_pair(e[i].cls, e[i].id), head[i]) << i;
    EXPECT_EQ(e[2].data, std::string("\x0aZMTCGM-1.0", 11));
    EXPECT_EQ(e[5].data, std::string("\0\0\0\0\x27\x10\x1f\x40", 8));  // 10000 by 8000
    EXPECT_EQ(std::make_pair(e.back().cls, e.back().id), std::make_pair(0, 5));
    int polylines = 0, clips = 0;
    for (size_t i = head.size(); i + 1 < e.size(); ++i) {
        polylines += e[i].cls == 4 && e[i].id == 1;
        clips += e[i].cls == 3 && e[i].id == 5 && e[i].data.size() == 8;
        EXPECT_TRUE((e[i].cls == 4 && e[i].id == 1) || (e[i].cls == 3 && e[i].id == 5)) << i;
    }
    EXPECT_EQ(polylines, 3);  // the scene's two and the last; text and fills have no CGM form
    EXPECT_GE(clips, 3);      // at open and at each selected viewport
    const std::string& last = e[e.size() - 2].data;
    ASSERT_EQ(last.size(), 8u);
    const std::string first{static_cast<char>(x0 >> 8), static_cast<char>(x0 & 0xff),
                            static_cast<char>(y0 >> 8), static_cast<char>(y0 & 0xff)};
    EXPECT_EQ(last.substr(0, 4), first);

    // The device's name, then zmtmeta_out, then the default of the form; the
    // last of "cgm" and "zmt" decides the form.
    struct Case {
        const char* connection;
        const char* variable;  // zmtmeta_out, or null
        int type;              // the form chosen before the open
        const char* file;
    } cases[] = {
        {"a.meta", "b.meta", 0, "a.meta"},
        {"", "b.meta", 0, "b.meta"},
        {"", nullptr, 0, "zmt.meta"},
        {"", nullptr, 1, "zmt.cgm"},
    };
    for (const Case& c : cases) {
        if (c.variable)
            setenv("zmtmeta_out", c.variable, 1);
        else
            unsetenv("zmtmeta_out");
        gmeta_set_type(c.type);
        ASSERT_EQ(gopen_ws(1, c.connection, GWS_META), 0);
        gclose_ws();
        EXPECT_TRUE(sat_test::file_exists(c.file)) << c.file;
    }
    ASSERT_EQ(gopen_ws(1, "x,cgm,zmt", GWS_META), 0);
    gclose_ws();
    EXPECT_EQ(sat_test::read_file("x,cgm,zmt").substr(0, 8), "ZMTMETA\n");
}

}  // namespace
