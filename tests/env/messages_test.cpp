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
    if (count == 0) {
        EXPECT_EQ(array, nullptr);
    }
    free_parsed_array(count, array);
    return pieces;
}

class MessTest : public ::testing::Test {
   protected:
    void SetUp() override {
        MESS_reset();
        RES_reset();
        FLAG_reset(-9999);
        FLAG_resetplot(1);
    }
    void TearDown() override {
        MESS_reset();
        RES_reset();
    }
};

TEST(ParseString, KeepsInnerEmptyPiecesAndDropsTrailingDelimiters) {
    EXPECT_EQ(split("a,,b,", ','), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split("a,,b,,,", ','), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split(",a", ','), (std::vector<std::string>{"", "a"}));
    EXPECT_EQ(split(",,,", ','), (std::vector<std::string>{""}));
    EXPECT_EQ(split("one\ntwo", '\n'), (std::vector<std::string>{"one", "two"}));
    EXPECT_EQ(split("/usr/local", '/'), (std::vector<std::string>{"", "usr", "local"}));
    int r = 0;
    EXPECT_TRUE(split("", ',', &r).empty());
    EXPECT_EQ(r, -1);
    EXPECT_TRUE(split(nullptr, ',', &r).empty());
    EXPECT_EQ(r, -1);
    split("x", ',', &r);
    EXPECT_EQ(r, 0);
    free_parsed_array(0, nullptr);  // no piece, nothing to free
}

TEST(TextHelpers, CaseInsensitiveCompareAgreesWithTheCLibrary) {
    const char* words[] = {"", "a", "A", "abc", "ABD", "abcd", "Zeta", "zet", "b", "_x", "[y"};
    for (const char* a : words) {
        for (const char* b : words) {
            int mine = stricmp(a, b);
            int libc = strcasecmp(a, b);
            EXPECT_EQ(mine < 0, libc < 0) << a << " " << b;
            EXPECT_EQ(mine == 0, libc == 0) << a << " " << b;
            for (int n = 1; n <= 5; ++n) {
                int mine_n = strnicmp(a, b, n);
                int libc_n = strncasecmp(a, b, static_cast<size_t>(n));
                EXPECT_EQ(mine_n < 0, libc_n < 0) << a << " " << b << " " << n;
                EXPECT_EQ(mine_n == 0, libc_n == 0) << a << " " << b << " " << n;
            }
        }
    }
    EXPECT_EQ(stricmp("b", "a"), 1);  // the difference of the first differing characters
    EXPECT_EQ(stricmp(nullptr, "a"), 1);
    EXPECT_EQ(strnicmp("a", nullptr, 3), 1);
    EXPECT_EQ(strnicmp("ab", "ax", 0), 0);  // 0 counts as 1: only the first character
    EXPECT_NE(strnicmp("ab", "xb", 0), 0);
}

TEST(TextHelpers, InPlaceEditors) {
    char a[] = "MiXeD 123 Z";
    EXPECT_EQ(low_string(a), 1);
    EXPECT_STREQ(a, "mixed 123 z");
    char empty[] = "";
    EXPECT_EQ(low_string(empty), 0);
    EXPECT_EQ(low_string(nullptr), 0);

    char b[] = "line\r\r";
    trim_cr_string(b);
    EXPECT_STREQ(b, "line");
    char c[] = "word  \t  ";
    trim_string(c);
    EXPECT_STREQ(c, "word  \t");
    char d[] = "a\nb\r\nc  \n";
    EXPECT_EQ(wstrim_string(d), 1);
    EXPECT_STREQ(d, "abc  ");
    char e[] = "a b  c";
    fill_string(e, ' ', '_');
    EXPECT_STREQ(e, "a_b__c");

    char f[] = "x\ty\x80z\x01\n\r";
    EXPECT_EQ(clean_line(f), 1);
    EXPECT_STREQ(f, "x y z");
    char g[] = "\n\r";
    EXPECT_EQ(clean_line(g), 1);
    EXPECT_STREQ(g, "");
    EXPECT_EQ(clean_line(empty), 0);
}

TEST(TextHelpers, SetNumFollowsSignificantDigits) {
    char out[64];
    // 12.345 with 3 digits: exponent 1, so 1 decimal, width 5.
    EXPECT_STREQ(set_num(out, "5.3.0", 12.345f), " 12.3");
    // 0.0123 with 2 digits: exponent -2, 3 decimals.
    EXPECT_STREQ(set_num(out, "6.2.0", 0.0123f), " 0.012");
    // Least decimals win over the digit rule.
    EXPECT_STREQ(set_num(out, "8.2.2", 1234.0f), " 1234.00");
    // Tiny values count as zero with exponent 2: 3 digits give 0 decimals.
    EXPECT_STREQ(set_num(out, "4.3.0", 0.000001f), "   0");
    // Width below 1 becomes digits + 1; a width below the decimals grows to them.
    EXPECT_STREQ(set_num(out, "0.3.0", 5.5f), "5.50");
    EXPECT_STREQ(set_num(out, "2.4.0", 0.5f), "0.5000");
    // Width above 9 is cut to 9.
    EXPECT_STREQ(set_num(out, "15.2.0", -3.0f), "     -3.0");
}

TEST(TextHelpers, SetNumSurvivesExtremeFormatsAndValues) {
    char out[128];
    // Digit counts at the ends of the int range: the precision is held to 40, the
    // width follows it, and nothing overflows on the way.
    char expected[128];
    std::snprintf(expected, sizeof expected, "%40.40f", 0.5);
    EXPECT_STREQ(set_num(out, "0.2147483647.0", 0.5f), expected);
    EXPECT_STREQ(set_num(out, "0.-2147483648.0", 2.5f), "2");
    std::snprintf(expected, sizeof expected, "%40.40f", 1.0);
    EXPECT_STREQ(set_num(out, "5.3.2147483647", 1.0f), expected);
    // Values without digits print as printf prints them.
    EXPECT_STREQ(set_num(out, "6.3.0", INFINITY), "   inf");
    EXPECT_STREQ(set_num(out, "6.3.0", -INFINITY), "  -inf");
    EXPECT_STREQ(set_num(out, "4.3.0", NAN), " nan");
}

TEST(LineReaders, NewlineStaysUntilTheNextRead) {
    TempDir dir;
    write_file(dir.file("t"), "one\n\nthree is long\nlast");
    FILE* f = std::fopen(dir.file("t").c_str(), "r");
    ASSERT_NE(f, nullptr);
    char buf[200];
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

    write_file(dir.file("s"), "skip me\nkeep\n");
    f = std::fopen(dir.file("s").c_str(), "r");
    EXPECT_EQ(fskipline(f), 0);
    EXPECT_EQ(fgetline(f, buf), 4);
    EXPECT_STREQ(buf, "keep");
    std::fclose(f);
}

TEST_F(MessTest, SetOperationsAndPriorities) {
    EXPECT_EQ(MESS_get(), 0x000FFFFFu);
    MESS_set(20, 0xC0);  // a default: acts while nothing was set explicitly
    EXPECT_EQ(MESS_get(), 0xFFu);
    EXPECT_EQ(MESS_check_set(), 0);
    MESS_set(10, 0x800);  // acts without counting
    EXPECT_EQ(MESS_get(), 0xFFFu);
    EXPECT_EQ(MESS_check_set(), 0);
    MESS_set(0, 0x30);  // explicit
    EXPECT_EQ(MESS_get(), 0x3Fu);
    EXPECT_EQ(MESS_check_set(), 1);
    MESS_set(21, 0xF000);  // defaults now give way
    MESS_set(20, 0);
    MESS_set(19, 0x3F);
    EXPECT_EQ(MESS_get(), 0x3Fu);
    MESS_set(11, 0x80000000u);
    EXPECT_EQ(MESS_get(), 0x8000003Fu);
    MESS_set(9, 0x0F);
    EXPECT_EQ(MESS_get(), 0x80000030u);
    MESS_set(1, 0x100);
    MESS_set(-1, 0x80000000u);
    EXPECT_EQ(MESS_get(), 0x130u);
    EXPECT_EQ(MESS_check_set(), 3);
    MESS_set(7, 0xFFFF);  // not an operation
    EXPECT_EQ(MESS_get(), 0x130u);
    MESS_set(0, 0);
    EXPECT_EQ(MESS_get(), 0u);
    EXPECT_EQ(MESS_check(0xFFFFFFFFu), 0);
}

TEST_F(MessTest, LevelWordsAndSubLevels) {
    struct Case {
        const char* text;
        uint32_t level;
    };
    const Case cases[] = {
        {"debug", 0xFFFFFFFFu},
        {"none", 0},
        {"print", 0xF},
        {"ERROR", 0x3F},
        {"warn", 0xFF},
        {"mess", 0xFFF},
        {"out1", 0xFFFF},
        {"out2", 0xFFFFF},
        {"out3", 0xFFFFFF},
        {"out4", 0xFFFFFFF},
        {"out1b", 0x3FFF},
        {"warna", 0x7F},
        {"errord", 0},
        {"errora", 0x1F},
        {"warnb", 0xFF},
        {"warnc", 0},
        {"printc", 0x7},
        {"out2d", 0xFFFFF},
        {"nonsense", 0},
        {"+debugd", 0x800FFFFFu},
        {"-out2", 0xFFFF},
        {"-print,+out4a", 0x010FFFF0u},
        {"warn,+debug", 0xF00000FFu},
    };
    for (const Case& c : cases) {
        MESS_reset();
        MESS_set_str(c.text);
        EXPECT_EQ(MESS_get(), c.level) << c.text;
        EXPECT_EQ(MESS_check_set(), 1) << c.text;
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
    Capture cap("xy");
    MESS_print(0xF, "%s", "a\nb\nc\nd\n");  // no newline in the format: no count
    MESS_print(0xF, "1\n");
    MESS_print(0xF, "2\n");
    MESS_print(0xF, "3\n");  // third line: pause
    MESS_print(0xF, "4\n");
    MESS_print(0xF, "5\n");
    MESS_print(0xF, "6\n");  // pause again
    EXPECT_EQ(cap.out(),
              "a\nb\nc\nd\n1\n2\n3\nPress return to continue\n4\n5\n6\nPress return to continue\n");
    MESS_reset();
    MESS_set_str("line:0");
    EXPECT_EQ(MESS_get_max_lines(), 22);
}

TEST_F(MessTest, BatchAndNoPageNeverStop) {
    MESS_set_str("page,line:1");
    FLAG_set_batch(1);
    Capture cap("");
    for (int i = 0; i < 5; ++i) MESS_print(0xF, "x\n");
    EXPECT_EQ(cap.out(), "x\nx\nx\nx\nx\n");
}

TEST_F(MessTest, LogFileModes) {
    TempDir dir;
    std::string log = dir.file("sub/run.log");
    {
        MESS_set_str(("out3,fi:" + log).c_str());
        Capture cap;
        MESS_print(0x100000, "out3 %d\n", 3);
        MESS_print(0x1000000, "out4\n");
        MESS_print(0x30, "error\n");
        EXPECT_EQ(cap.out(), "");
        EXPECT_EQ(cap.err(), "");
    }
    MESS_reset();
    EXPECT_EQ(read_file(log), "out3 3\nerror\n");

    std::string stamped = dir.file("stamp.log");
    {
        MESS_set_str(("@fi:" + stamped).c_str());
        Capture cap;
        MESS_print(0xF00, "Current filename: %s\n", "x.area");
        EXPECT_EQ(cap.out(), "Current filename: x.area\n");
    }
    MESS_reset();
    std::string text = read_file(stamped);
    // "26 NOV 16  04:20:05Z -- text"
    int yy, dd, h, m, s;
    char mon[8];
    char rest[64];
    ASSERT_EQ(std::sscanf(text.c_str(), "%2d %3s %2d  %2d:%2d:%2dZ -- %63[^\n]", &yy, mon, &dd, &h,
                          &m, &s, rest),
              7)
        << text;
    EXPECT_STREQ(rest, "Current filename: x.area");
    EXPECT_EQ(text.substr(2, 1), " ");
    EXPECT_EQ(text.substr(9, 2), "  ");

    std::string opened = dir.file("each.log");
    MESS_set_str(("dfi:" + opened).c_str());
    {
        Capture cap;
        MESS_print(0xF, "one\n");
        EXPECT_EQ(read_file(opened), "one\n");  // closed after every message
        MESS_print(0xF, "two\n");
    }
    EXPECT_EQ(read_file(opened), "one\ntwo\n");

    MESS_reset();
    write_file(dir.file("w.log"), "old\n");
    MESS_set_str(("-fi:" + dir.file("w.log")).c_str());
    {
        Capture cap;
        MESS_print(0xF, "new\n");
        EXPECT_EQ(cap.out(), "new\n");
    }
    MESS_reset();
    EXPECT_EQ(read_file(dir.file("w.log")), "new\n");
}

TEST_F(MessTest, UnopenableLogLeavesTheScreenWorking) {
    MESS_set_str("+fi:/dev/null/sub/x.log,warn");
    Capture cap;
    EXPECT_EQ(MESS_print(0xC0, "still here\n"), 1);
    EXPECT_EQ(cap.err(), "still here\n");
}

TEST(Flags, TableAndDrawComponents) {
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
    FLAG_set_batch(1);
    EXPECT_EQ(FLAG_batch(), 1);
    FLAG_set(20, 0);
    EXPECT_EQ(FLAG_help(), 0);

    FLAG_resetplot(1);
    FLAG_setplot(0, 0);
    for (int i = 0; i <= 6; ++i) EXPECT_EQ(FLAG_getplot(i), 0) << i;
    EXPECT_EQ(FLAG_getplot(12), 5);  // 7 to 11 still on
    FLAG_setplot(3, 1);
    EXPECT_EQ(FLAG_getplot(0), 1);
    EXPECT_EQ(FLAG_getplot(12), 7);  // the text sum, position 3, and 7 to 11
    FLAG_setplot(12, 0);
    for (int i = 0; i <= 12; ++i) EXPECT_EQ(FLAG_getplot(i), 0) << i;
    FLAG_setplot(12, 1);
    EXPECT_EQ(FLAG_getplot(0), 6);
    EXPECT_EQ(FLAG_getplot(12), 17);  // 6 for text plus 11 ones
    EXPECT_EQ(FLAG_setplot(13, 1), -1);
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
    {
        Capture cap("set a=1\n2.5e1\n");
        EXPECT_FLOAT_EQ(ZMT_promptf("Value: "), 25.0f);
        EXPECT_STREQ(RES_get("a"), "1");
    }
    {
        Capture cap("\n");
        EXPECT_FLOAT_EQ(ZMT_promptf(""), 0.0f);
    }
    EXPECT_EQ(ZMT_set_command("settle x=1"), 1);  // only the first three letters are looked at
    EXPECT_STREQ(RES_get("x"), "1");
    EXPECT_EQ(ZMT_set_command("nothing"), 0);
    EXPECT_EQ(ZMT_set_command(""), 0);
}

TEST(ProcessServices, TimeAndSleep) {
    EXPECT_STREQ(ZMT_version(), "5.59-LINUX-X11");
    EXPECT_EQ(ZMT_sleep(0.0f), -1);
    EXPECT_EQ(ZMT_sleep(-1.0f), -1);
    ZMT_init_time();
    EXPECT_EQ(ZMT_sleep(0.05f), 0);
    float t = ZMT_elapse_time();
    EXPECT_GE(t, 0.04f);
    EXPECT_LT(t, 5.0f);
}

TEST(ProcessServices, ExitLeavesWithTheCode) {
    EXPECT_EXIT(ZMT_exit(7), ::testing::ExitedWithCode(7), "");
}

}  // namespace
