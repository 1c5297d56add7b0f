// Output files through a temporary and a rename, inputs held to regular files, pipes
// only for typed names (which names are typed: tests/app/sat_hostile_test.cpp).
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "env/files.h"
#include "env/resources.h"
#include "test_support.h"

namespace {

using sat_test::TempDir;

std::vector<std::string> names_in(const std::string& dir) {
    std::vector<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(dir))
        names.push_back(e.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(OutputFiles, CompleteFilesAppearOnlyWhenCommitted) {
    TempDir dir;
    const std::string x = dir.file("x"), y = dir.file("y");
    FILE* f = FILE_create(x.c_str(), "w", 0);
    ASSERT_NE(f, nullptr);
    std::fputs("new", f);
    std::fflush(f);
    // Until the commit only a hidden temporary stands in the directory.
    ASSERT_EQ(names_in(dir.path()).size(), 1u);
    EXPECT_EQ(names_in(dir.path())[0].rfind(".x.", 0), 0u);
    EXPECT_EQ(FILE_commit(f), 0);
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{"x"});
    EXPECT_EQ(sat_test::read_file(x), "new");

    // Abandoned, a file leaves the old one as it was; "+" appends; the mode is kept.
    sat_test::write_file(y, "old");
    chmod(y.c_str(), 0640);
    f = FILE_create(y.c_str(), "w", 0);
    std::fputs("lost", f);
    FILE_discard(f);
    f = FILE_create(("+" + y).c_str(), "w", 0);
    std::fputs("+more", f);
    EXPECT_EQ(FILE_commit(f), 0);
    EXPECT_EQ(sat_test::read_file(y), "old+more");
    struct stat st;
    ASSERT_EQ(stat(y.c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(names_in(dir.path()), (std::vector<std::string>{"x", "y"}));

    // Typed pipes run; the command's output is complete once committed.
    f = FILE_create(("|cat > " + dir.file("p")).c_str(), "w", 1);
    ASSERT_NE(f, nullptr);
    std::fputs("piped", f);
    EXPECT_EQ(FILE_commit(f), 0);
    EXPECT_EQ(sat_test::read_file(dir.file("p")), "piped");
    EXPECT_FALSE(FILE_output_failed());
}

TEST(OutputFiles, FailuresLeaveNothingAndAreRecorded) {
    TempDir dir;
    mkdir(dir.file("sub").c_str(), 0755);
    const std::string big(1 << 20, 'b');  // more than any pipe holds
    const struct {
        std::string name;
        int typed;
        bool opens;  // FILE_create succeeds, the commit fails
        const char* message;
    } cases[] = {
        {"/dev/full", 0, true, "Unable to write file"},
        {"/proc/none/x", 0, false, "Unable to write file"},
        {"|cat > " + dir.file("z"), 0, false, "Refused"},
        {"|true", 1, true, "Broken pipe"},  // the reader is gone: no SIGPIPE death
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStderr();
        FILE* f = FILE_create(c.name.c_str(), "w", c.typed);
        EXPECT_EQ(f != nullptr, c.opens) << c.name;
        if (f) {
            std::fwrite(big.data(), 1, big.size(), f);
            EXPECT_EQ(FILE_commit(f), -1) << c.name;
        }
        std::string err = testing::internal::GetCapturedStderr();
        EXPECT_NE(err.find(c.message), std::string::npos) << c.name << ": " << err;
        EXPECT_NE(err.find(c.name.substr(0, 40)), std::string::npos) << err;  // names the file
    }
    EXPECT_EQ(names_in(dir.path()), std::vector<std::string>{"sub"});
    EXPECT_TRUE(names_in(dir.file("sub")).empty());
    EXPECT_TRUE(FILE_output_failed());
}

TEST(InputFiles, OnlyRegularFilesAndTypedPipes) {
    TempDir dir;
    const std::string fifo = dir.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    testing::internal::CaptureStderr();
    auto start = std::chrono::steady_clock::now();
    for (const std::string& name : {fifo, dir.path(), std::string("/dev/zero")})
        EXPECT_EQ(FILE_open(name.c_str(), "r"), nullptr) << name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
    EXPECT_EQ(FILE_open("|echo x", "r"), nullptr);
    std::string err = testing::internal::GetCapturedStderr();
    EXPECT_NE(err.find("Not a regular file: " + fifo), std::string::npos) << err;
    EXPECT_NE(err.find("Refused to run a command that was not typed: |echo x"), std::string::npos);
    // A log may go to a FIFO only while someone reads it; an open never blocks.
    EXPECT_EQ(FILE_open(fifo.c_str(), "a"), nullptr);
}

TEST(InputFiles, TablesAreReadWithinBounds) {
    TempDir dir;
    // A convention file far past the bounds: the tag at its end is never reached.
    std::string text;
    for (long k = 0; k <= FILE_TEXT_MAX_LINES; ++k) text += "#\n";
    sat_test::write_file(dir.file("name_conv"), text + "late %Y.late - 0\n");
    RES_reset();
    FILE_reset();
    RES_put("file_path", dir.path().c_str());
    testing::internal::CaptureStderr();
    EXPECT_EQ(FILE_set_name("late"), 0);
    EXPECT_NE(testing::internal::GetCapturedStderr().find("Table too large"), std::string::npos);
    RES_reset();
    FILE_reset();
}

}  // namespace
