// The drawing layer: the device a plot opens, and a second begin that opens
// nothing.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "test_support.h"

namespace {

class Gph : public ::testing::Test {
   protected:
    void SetUp() override {
        RES_reset();
        MESS_reset();
        FLAG_set(2, 0);
    }
    void TearDown() override {
        if (gchk_graphics()) GPH_end(1);
        RES_reset();
        MESS_reset();
    }
    // The resources keep pointers into the command line, which lives with the test.
    void decode(std::vector<std::string> args) {
        args.insert(args.begin(), "sat");
        line = std::move(args);
        argv.clear();
        for (auto& a : line) argv.push_back(a.data());
        argv.push_back(nullptr);
        static const int keyed[] = {46, 0};
        static const int positional[] = {50, 0};
        RES_init(static_cast<int>(argv.size()) - 1, argv.data(), keyed, positional);
    }

    sat_test::TempDir dir;
    std::vector<std::string> line;
    std::vector<char*> argv;
};

}  // namespace

TEST_F(Gph, DeviceStringChoosesTheWorkstationAndASecondBeginOpensNothing) {
    const std::string hpgl = dir.file("plot.hpgl");
    decode({"-de", "q," + hpgl});
    int id = 0, type = 0;
    float rect[4] = {0, 0, 0.04f, 0.04f};
    GPH_setup(&id, &type, 1.5f, rect);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(type, GWS_HPGL);
    EXPECT_EQ(gget_win_type(), GWS_HPGL);
    int again = GWS_PS;
    const std::string other = dir.file("other.ps");
    EXPECT_EQ(GPH_begin(&id, other.c_str(), &again), 0);
    EXPECT_EQ(gget_win_type(), GWS_HPGL);
    GPH_end(id);
    EXPECT_TRUE(sat_test::file_exists(hpgl));
    EXPECT_FALSE(sat_test::file_exists(other));
    // Ending gives flag 2 back the type asked for, here the second begin's.
    EXPECT_EQ(FLAG_get(2), GWS_PS);
}
