// Message levels and the log file, the list splitter and the prompt.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "env/messages.h"
#include "env/resources.h"
#include "env_capture.h"
#include "test_support.h"

namespace {

using sat_test::Capture;
using sat_test::read_file;
using sat_test::TempDir;

std::vector<std::string> split(const char* text, char delimiter, int* result = nullptr) {
    int count = -1;
    char** array = reinterpret_cast<char**>(1);
    int r = parse_string(text, delimiter, &count, &array);
    if (result) *result = r;
    std::vector<std::string> pieces;
    for (int i = 0; i < count; ++i) pieces.emplace_back(array[i]);
    EXPECT_TRUE(count != 0 || array == nullptr) << "no piece leaves no array";
    free_parsed_array(count, array);
    return pieces;
}

class MessTest : public ::testing::Test {
   protected:
    void SetUp() override {
        TearDown();
        FLAG_reset(-9999);
        FLAG_resetplot(1);
    }
    void TearDown() override {
        MESS_reset();
        RES_reset();
    }
};

TEST(ParseString, KeepsInnerEmptyPiecesAndDropsTrailingDelimiters) {
    using V = std::vector<std::string>;
    EXPECT_EQ(split("a,,b,", ','), (V{"a", "", "b"}));
    EXPECT_EQ(split(",a", ','), (V{"", "a"}));
    EXPECT_EQ(split(",,,", ','), (V{""}));
    int r = 0;
    for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_TRUE(split(nothing, ',', &r).empty());
        EXPECT_EQ(r, -1);
    }
    split("x", ',', &r);
    EXPECT_EQ(r, 0);
}

// Level words, and the named single sub-levels the modules report at: each is the bit
// its letter turns on alone.
TEST_F(MessTest, LevelWordsAndSubLevels) {
    // clang-format off
    const std::pair<const char*, uint32_t> cases[] = {
        {"debug", 0xFFFFFFFFu}, {"ERROR", 0x3F}, {"out1b", 0x3FFF}, {"warnc", 0},
        {"nonsense", 0}, {"-out2", 0xFFFF}, {"-print,+out4a", 0x010FFFF0u},
        {"none,+warna", MESS_WARN_A}, {"none,+messd", MESS_MESS_D},
        {"none,+debuga", MESS_DEBUG_A}, {"none,+debugd", MESS_DEBUG_D}};
    // clang-format on
    for (const auto& [text, level] : cases) {
        MESS_reset();
        MESS_set_str(text);
        EXPECT_EQ(MESS_get(), level) << text;
        EXPECT_EQ(MESS_check_set(), 1) << text;
    }
}

// Prints through a log set by `-me` text, restores the screen and returns what it showed.
std::string print_with(const std::string& level,
                       const std::vector<std::pair<uint32_t, const char*>>& lines) {
    MESS_reset();
    MESS_set_str(level.c_str());
    Capture cap;
    for (const auto& [mask, text] : lines) MESS_print(mask, "%s", text);
    std::string shown = cap.out() + cap.err();
    MESS_reset();
    return shown;
}

TEST_F(MessTest, LogFileModes) {
    TempDir dir;
    // Into a new directory, appending, only the log.
    std::string log = dir.file("sub/run.log");
    EXPECT_EQ(print_with("out3,fi:" + log,
                         {{0x100000, "out3\n"}, {0x1000000, "out4\n"}, {0x30, "error\n"}}),
              "");
    EXPECT_EQ(read_file(log), "out3\nerror\n");

    // Opened and closed for every message.
    std::string opened = dir.file("each.log");
    MESS_set_str(("dfi:" + opened).c_str());
    {
        Capture cap;
        MESS_print(0xF, "one\n");
        EXPECT_EQ(read_file(opened), "one\n");
        MESS_print(0xF, "two\n");
    }
    EXPECT_EQ(read_file(opened), "one\ntwo\n");

    // A log that cannot be opened leaves the screen working.
    EXPECT_EQ(print_with("+fi:/dev/null/sub/x.log,warn", {{0xC0, "still here\n"}}), "still here\n");
}

TEST_F(MessTest, PromptCommands) {
    {
        Capture cap("set zoom = 2 3\nset\nword more\n");
        char buffer[16];
        EXPECT_EQ(ZMT_prompts("File? ", buffer, 16), buffer);
        EXPECT_STREQ(buffer, "word");
        EXPECT_EQ(cap.out(), "File? File? Set resources\nzoom: 2 3\n\nFile? ");
    }
    EXPECT_STREQ(RES_get("zoom"), "2 3");
    {
        Capture cap("abcdefgh\n");
        char* word = ZMT_prompts("", nullptr, 4);  // width size - 1
        ASSERT_NE(word, nullptr);
        EXPECT_STREQ(word, "abc");
        std::free(word);
    }
    EXPECT_EQ(ZMT_set_command("settle x=1"), 1);  // only the first three letters are looked at
    EXPECT_STREQ(RES_get("x"), "1");
    EXPECT_EQ(ZMT_set_command("nothing"), 0);
}

}  // namespace
