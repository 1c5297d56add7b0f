// What the satellite reader tests share: one read of a file with what the reader
// printed, the real files of the test data, scratch copies of mutated bytes and
// the pixels of a PGM decode.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "env/messages.h"
#include "formats/image.h"
#include "test_support.h"

namespace sat_test {

struct Read {
    Image image{};
    int status;
    std::string err;
    Read(int (*reader)(const char*, Image*), const std::string& path) {
        testing::internal::CaptureStderr();
        testing::internal::CaptureStdout();
        status = reader(path.c_str(), &image);
        testing::internal::GetCapturedStdout();
        err = testing::internal::GetCapturedStderr();
    }
    ~Read() { IMG_free(&image); }
    Read(const Read&) = delete;
    Read& operator=(const Read&) = delete;
    std::string pixels() const {
        return image.data ? std::string(reinterpret_cast<char*>(image.data),
                                        size_t{1} * image.width * image.height)
                          : std::string();
    }
};

inline std::string real(const std::string& rel) {
    return read_file(testdata(rel));
}

// The pixels of a binary PGM, rows as they stand.
inline std::string pgm_pixels(const std::string& pgm) {
    size_t at = 0;
    for (int fields = 0; fields < 4; fields++) {
        at = pgm.find_first_not_of(" \n", at);
        at = pgm.find_first_of(" \n", at);
    }
    return pgm.substr(at + 1);
}

// A batch run of the program without a plot: its exit code, a text it must say
// (on either output) and the native image it must leave, if any.
struct Run {
    std::vector<std::string> args;
    int code;
    std::string says;
    std::string writes;
};

inline void expect_runs(const std::vector<Run>& runs) {
    for (const Run& run : runs) {
        std::vector<std::string> args = {"-ba", "-pl", "none", "-me", "out2"};
        args.insert(args.end(), run.args.begin(), run.args.end());
        if (!run.writes.empty()) args.insert(args.end() - 1, {"-of", "img:" + run.writes});
        const RunResult r = run_sat(args);
        EXPECT_EQ(r.code, run.code) << args.back() << "\n" << r.err;
        EXPECT_NE((r.out + r.err).find(run.says), std::string::npos) << r.out << r.err;
        EXPECT_TRUE(run.writes.empty() || file_exists(run.writes)) << run.writes;
    }
}

class ReaderTest : public testing::Test {
   protected:
    void SetUp() override { MESS_reset(); }
    TempDir dir;
    std::string copy(const std::string& bytes) {
        write_file(dir.file("copy"), bytes);
        return dir.file("copy");
    }
};

}  // namespace sat_test
