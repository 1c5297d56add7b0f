// The display's own decisions: input type and name convention from the options;
// reports and exits of the real binary.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "app/sat.h"
#include "app/sat_params.h"
#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/image.h"
#include "test_support.h"

using sat_test::run_sat;

namespace {

const std::string gvar = sat_test::testdata("area/goes8_wv_gvar_1998260_0745.area");
const std::string radar = sat_test::testdata("area/radar_composite_ps_2000137_0859.area");

bool contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

// Decodes a command line in this process, as main does first.
void decode(std::vector<std::string> args) {
    RES_reset();
    MESS_reset();
    SAT_params_reset();
    args.insert(args.begin(), "sat");
    std::vector<char*> argv;
    for (auto& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    static const int keyed[] = {57, 3, 73, 48, 111, 82, 76, 64, 80, 86, 53, 0};
    static const int positional[] = {50, 0};
    RES_init(static_cast<int>(argv.size()) - 1, argv.data(), keyed, positional);
}

// The file name a convention gives for a fixed date: two conventions are the
// same when they name this instant alike.
std::string name_for(const char* tag) {
    const int instant = 1056893400;  // 13:30 on 29 June 2003
    Date d;
    DATE_get_gmdate(&instant, &d);
    char out[FILE_NAME_SIZE] = "";
    if (tag) FILE_set_name(tag);
    FILE_set_date(&d, out);
    return out;
}

struct InputCase {
    std::vector<std::string> args;
    int flag;
    const char* tag;
};

}  // namespace

TEST(SatInFile, InputAndInFileSelectTypeAndConvention) {
    const std::vector<InputCase> cases = {
        {{}, 51, "sat_vis"},
        {{"-inp", "img"}, 50, "sat_img"},
        // The name convention only: the reader stays AREA.
        {{"-if", "img"}, 51, "sat_img"},
        // "awip" is tested first and takes "awipz" too; five characters set no name.
        {{"-if", "awipz"}, 53, "sat_vis"},
        // The name part starts at the sixth character whatever the keyword's length.
        {{"-if", "unisat"}, 55, "t"},
        {{"-inp", "awipz", "-if", "vis"}, 54, "sat_vis"},
    };
    for (const auto& c : cases) {
        decode(c.args);
        SAT_in_file();
        EXPECT_EQ(FLAG_get(14), c.flag) << c.args.size();
        EXPECT_EQ(name_for(nullptr), name_for(c.tag)) << c.flag;
    }
}

TEST(SatRun, ReportRunsAndUnreadableFilesEndWithTen) {
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

    // An unreadable file: 10 and the message on stderr, silenced by -me none.
    const std::string empty = dir.file("empty.area");
    sat_test::write_file(empty, "");
    r = run_sat({"-ba", "-pl", "none", empty});
    EXPECT_EQ(r.code, 10);
    EXPECT_TRUE(contains(r.err, "SAT_read_file: Unable to read image file")) << r.err;
    EXPECT_TRUE(r.out.find("SAT_read_file") == std::string::npos) << "errors go to stderr";
    r = run_sat({"-ba", "-pl", "none", "-me", "none", empty});
    EXPECT_EQ(r.code, 10);
    EXPECT_EQ(r.err, "");
}
