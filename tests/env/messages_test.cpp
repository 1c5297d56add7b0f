// Message levels and routing, flags, text helpers and line readers.
#include <gtest/gtest.h>
#include <strings.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
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
using sat_test::write_file;

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
    EXPECT_EQ(split("a,,b,,,", ','), (V{"a", "", "b"}));
    EXPECT_EQ(split(",a", ','), (V{"", "a"}));
    EXPECT_EQ(split(",,,", ','), (V{""}));
    EXPECT_EQ(split("one\ntwo", '\n'), (V{"one", "two"}));
    EXPECT_EQ(split("/usr/local", '/'), (V{"", "usr", "local"}));
    int r = 0;
    for (const char* nothing : {"", static_cast<const char*>(nullptr)}) {
        EXPECT_TRUE(split(nothing, ',', &r).empty());
        EXPECT_EQ(r, -1);
    }
    split("x", ',', &r);
    EXPECT_EQ(r, 0);
    free_parsed_array(0, nullptr);  // no piece, nothing to free
}

TEST(TextHelpers, CaseInsensitiveCompareAgreesWithTheCLibrary) {
    const char* words[] = {"", "a", "A", "abc", "ABD", "abcd", "Zeta", "zet", "b", "_x", "[y"};
    auto same_sign = [](int x, int y) { return (x < 0) == (y < 0) && (x == 0) == (y == 0); };
    for (const char* a : words) {
        for (const char* b : words) {
            EXPECT_TRUE(same_sign(stricmp(a, b), strcasecmp(a, b))) << a << " " << b;
            for (size_t n = 1; n <= 5; ++n)
                EXPECT_TRUE(same_sign(strnicmp(a, b, static_cast<int>(n)), strncasecmp(a, b, n)))
                    << a << " " << b << " " << n;
        }
    }
    EXPECT_EQ(stricmp("b", "a"), 1);  // the difference of the first differing characters
    EXPECT_EQ(stricmp(nullptr, "a"), 1);
    EXPECT_EQ(strnicmp("a", nullptr, 3), 1);
    EXPECT_EQ(strnicmp("ab", "ax", 0), 0);  // 0 counts as 1: only the first character
    EXPECT_NE(strnicmp("ab", "xb", 0), 0);
}

TEST(TextHelpers, InPlaceEditors) {
    // Runs an editor on a copy of the text: "result:text".
    auto edit = [](int (*fn)(char*), std::string text) {
        int r = fn(text.data());
        return std::to_string(r) + ":" + text.c_str();
    };
    EXPECT_EQ(edit(low_string, "MiXeD 123 Z"), "1:mixed 123 z");
    EXPECT_EQ(edit(low_string, ""), "0:");
    EXPECT_EQ(low_string(nullptr), 0);
    EXPECT_EQ(edit(trim_cr_string, "line\r\r").substr(1), ":line");
    EXPECT_EQ(edit(trim_string, "word  \t  ").substr(1), ":word  \t");
    EXPECT_EQ(edit(wstrim_string, "a\nb\r\nc  \n"), "1:abc  ");
    EXPECT_EQ(edit(clean_line, "x\ty\x80z\x01\n\r"), "1:x y z");
    EXPECT_EQ(edit(clean_line, "\n\r"), "1:");
    EXPECT_EQ(edit(clean_line, ""), "0:");
    char e[] = "a b  c";
    fill_string(e, ' ', '_');
    EXPECT_STREQ(e, "a_b__c");
}

TEST(TextHelpers, SetNumFollowsSignificantDigits) {
    // 12.345 with 3 digits has exponent 1: 1 decimal; 0.0123 with 2 digits: 3 decimals;
    // least decimals win over the digit rule; tiny values count as zero with exponent 2;
    // a width below 1 becomes digits + 1 and one below the decimals grows to them; a width
    // above 9 is cut to 9. Values without digits print as printf prints them.
    // clang-format off
    const struct { const char* format; float value; const char* expected; } cases[] = {
        {"5.3.0", 12.345f, " 12.3"}, {"6.2.0", 0.0123f, " 0.012"}, {"8.2.2", 1234.0f, " 1234.00"},
        {"4.3.0", 0.000001f, "   0"}, {"0.3.0", 5.5f, "5.50"}, {"2.4.0", 0.5f, "0.5000"},
        {"15.2.0", -3.0f, "     -3.0"}, {"6.3.0", INFINITY, "   inf"},
        {"6.3.0", -INFINITY, "  -inf"}, {"4.3.0", NAN, " nan"}, {"0.-2147483648.0", 2.5f, "2"}};
    // clang-format on
    char out[128];
    for (const auto& c : cases)
        EXPECT_STREQ(set_num(out, c.format, c.value), c.expected) << c.format;
    // Digit counts at the ends of the int range: the precision is held to 40 and the width
    // follows it, with no overflow on the way.
    char expected[128];
    std::snprintf(expected, sizeof expected, "%40.40f", 0.5);
    EXPECT_STREQ(set_num(out, "0.2147483647.0", 0.5f), expected);
    std::snprintf(expected, sizeof expected, "%40.40f", 1.0);
    EXPECT_STREQ(set_num(out, "5.3.2147483647", 1.0f), expected);
}

TEST(LineReaders, NewlineStaysUntilTheNextRead) {
    TempDir dir;
    write_file(dir.file("t"), "skip me\none\n\nthree is long\nlast");
    FILE* f = std::fopen(dir.file("t").c_str(), "r");
    ASSERT_NE(f, nullptr);
    char buf[200];
    EXPECT_EQ(fskipline(f), 0);
    EXPECT_EQ(fgetstring(f, buf, 100), 1);
    EXPECT_STREQ(buf, "one");
    EXPECT_EQ(fgetstring(f, buf, 100), 0);
    EXPECT_STREQ(buf, "");
    EXPECT_EQ(fgetnline(f, buf, 5), 5);  // a long line comes in pieces
    EXPECT_STREQ(buf, "three");
    EXPECT_EQ(fgetline(f, buf), 8);
    EXPECT_STREQ(buf, " is long");
    EXPECT_EQ(fgetstring(f, buf, 100), 1);
    EXPECT_STREQ(buf, "last");
    EXPECT_EQ(fgetstring(f, buf, 100), -1);
    EXPECT_EQ(fgetnline(f, buf, 100), -1);
    std::fclose(f);
}

TEST_F(MessTest, SetOperationsAndPriorities) {
    EXPECT_EQ(MESS_get(), 0x000FFFFFu);
    // Applied in order. 20 is a default, acting while nothing was set explicitly; 10 acts
    // without counting; 0 is explicit; 7 is no operation. `set` -1: not checked.
    // clang-format off
    const struct { int op; uint32_t mask, level; int set; } steps[] = {
        {20, 0xC0, 0xFF, 0}, {10, 0x800, 0xFFF, 0}, {0, 0x30, 0x3F, 1}, {21, 0xF000, 0x3F, -1},
        {20, 0, 0x3F, -1}, {19, 0x3F, 0x3F, -1}, {11, 0x80000000u, 0x8000003Fu, -1},
        {9, 0x0F, 0x80000030u, -1}, {1, 0x100, 0x80000130u, -1}, {-1, 0x80000000u, 0x130, 3},
        {7, 0xFFFF, 0x130, -1}, {0, 0, 0, -1}};
    // clang-format on
    for (const auto& c : steps) {
        MESS_set(c.op, c.mask);
        EXPECT_EQ(MESS_get(), c.level) << c.op << " " << c.mask;
        EXPECT_EQ(c.set < 0 ? c.set : MESS_check_set(), c.set) << c.op << " " << c.mask;
    }
    EXPECT_EQ(MESS_check(0xFFFFFFFFu), 0);
}

TEST_F(MessTest, LevelWordsAndSubLevels) {
    // clang-format off
    const std::pair<const char*, uint32_t> cases[] = {
        {"debug", 0xFFFFFFFFu}, {"none", 0}, {"print", 0xF}, {"ERROR", 0x3F}, {"warn", 0xFF},
        {"mess", 0xFFF}, {"out1", 0xFFFF}, {"out2", 0xFFFFF}, {"out3", 0xFFFFFF},
        {"out4", 0xFFFFFFF}, {"out1b", 0x3FFF}, {"warna", 0x7F}, {"errord", 0}, {"errora", 0x1F},
        {"warnb", 0xFF}, {"warnc", 0}, {"printc", 0x7}, {"out2d", 0xFFFFF}, {"nonsense", 0},
        {"+debugd", 0x800FFFFFu}, {"-out2", 0xFFFF}, {"-print,+out4a", 0x010FFFF0u},
        {"warn,+debug", 0xF00000FFu}};
    // clang-format on
    for (const auto& [text, level] : cases) {
        MESS_reset();
        MESS_set_str(text);
        EXPECT_EQ(MESS_get(), level) << text;
        EXPECT_EQ(MESS_check_set(), 1) << text;
    }
}

// The named single sub-levels the modules report at are the bits the letters of
// "-me" turn on, alone.
TEST_F(MessTest, NamedSubLevelsAreTheLettersOfTheirClass) {
    const std::pair<const char*, uint32_t> cases[] = {
        {"none,+warna", MESS_WARN_A},   {"none,+messd", MESS_MESS_D},
        {"none,+debuga", MESS_DEBUG_A}, {"none,+debugb", MESS_DEBUG_B},
        {"none,+debugc", MESS_DEBUG_C}, {"none,+debugd", MESS_DEBUG_D}};
    for (const auto& [text, level] : cases) {
        MESS_reset();
        MESS_set_str(text);
        EXPECT_EQ(MESS_get(), level) << text;
        EXPECT_EQ(MESS_check(level), 1) << text;
    }
}

TEST_F(MessTest, ErrorsAndWarningsGoToStandardError) {
    Capture cap;
    EXPECT_EQ(MESS_print(0x30, "error %d\n", 1), 1);
    EXPECT_EQ(MESS_print(0xC0, "warn %s\n", "two"), 1);
    EXPECT_EQ(MESS_print(0xF, "print\n"), 1);
    EXPECT_EQ(MESS_print(0xF00, "mess\n"), 1);
    EXPECT_EQ(MESS_print(0x80000000u, "debug\n"), 0);  // above the initial level
    MESS_print_prog("TITLE");
    EXPECT_EQ(cap.err(), "error 1\nwarn two\n");
    EXPECT_EQ(cap.out(), "print\nmess\n      TITLE (Ver 5.59-LINUX-X11)\n\n");
}

TEST_F(MessTest, PagingCountsOnlyTheNewlinesOfTheFormat) {
    MESS_set_str("page,line:2");
    EXPECT_EQ(MESS_get_max_lines(), 2);
    {
        Capture cap("xy");
        MESS_print(0xF, "%s", "a\nb\nc\nd\n");  // no newline in the format: no count
        for (const char* line : {"1\n", "2\n", "3\n", "4\n", "5\n", "6\n"}) MESS_print(0xF, line);
        EXPECT_EQ(cap.out(),
                  "a\nb\nc\nd\n1\n2\n3\nPress return to continue\n4\n5\n6\n"
                  "Press return to continue\n");
    }
    MESS_reset();
    MESS_set_str("line:0");
    EXPECT_EQ(MESS_get_max_lines(), 22);
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

    // Truncated first, and the screen as well.
    write_file(dir.file("w.log"), "old\n");
    EXPECT_EQ(print_with("-fi:" + dir.file("w.log"), {{0xF, "new\n"}}), "new\n");
    EXPECT_EQ(read_file(dir.file("w.log")), "new\n");
    // A log that cannot be opened leaves the screen working.
    EXPECT_EQ(print_with("+fi:/dev/null/sub/x.log,warn", {{0xC0, "still here\n"}}), "still here\n");
}

TEST(Flags, TableBounds) {
    FLAG_reset(-9999);
    EXPECT_EQ(FLAG_get(19), -9999);
    EXPECT_EQ(FLAG_batch(), 0);
    EXPECT_EQ(FLAG_help(), 0);
    EXPECT_EQ(FLAG_set(29, 4), 0);
    EXPECT_EQ(FLAG_getl(29), 4);
    EXPECT_EQ(FLAG_set(30, 1), -1);
    EXPECT_EQ(FLAG_setl(-1, 1), -1);
    EXPECT_EQ(FLAG_get(30), 0);
    EXPECT_EQ(FLAG_get(-5), 0);

    // The draw components out of range; their groups are checked with the draw resource.
    EXPECT_EQ(FLAG_setplot(13, 1), -1);
    EXPECT_EQ(FLAG_getplot(13), 0);
    FLAG_resetplot(1);
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
    {
        Capture cap("");
        char buffer[8] = "junk";
        ZMT_prompts("", buffer, 8);  // end of input ends the loop
        EXPECT_STREQ(buffer, "");
    }
    for (auto [input, value] : {std::pair{"set a=1\n2.5e1\n", 25.0f}, {"\n", 0.0f}}) {
        Capture cap(input);
        EXPECT_FLOAT_EQ(ZMT_promptf("Value: "), value) << input;
    }
    EXPECT_STREQ(RES_get("a"), "1");
    EXPECT_EQ(ZMT_set_command("settle x=1"), 1);  // only the first three letters are looked at
    EXPECT_STREQ(RES_get("x"), "1");
    EXPECT_EQ(ZMT_set_command("nothing"), 0);
    EXPECT_EQ(ZMT_set_command(""), 0);
}

TEST(ProcessServices, TimeSleepAndExit) {
    EXPECT_STREQ(ZMT_version(), "5.59-LINUX-X11");
    EXPECT_EQ(ZMT_sleep(0.0f), -1);
    EXPECT_EQ(ZMT_sleep(-1.0f), -1);
    ZMT_init_time();
    EXPECT_EQ(ZMT_sleep(0.05f), 0);
    float t = ZMT_elapse_time();
    EXPECT_GE(t, 0.04f);
    EXPECT_LT(t, 5.0f);
    EXPECT_EXIT(ZMT_exit(7), ::testing::ExitedWithCode(7), "");
}

}  // namespace
