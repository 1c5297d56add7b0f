// What the satellite reader tests share: one read of a file with what the reader printed,
// the real files of the test data, scratch copies of mutated bytes, a PGM's pixels.
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

template <int (*reader)(const char*, Image*)>
struct ReadWith : Read {
    explicit ReadWith(const std::string& path) : Read(reader, path) {}
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
