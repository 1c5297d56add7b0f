// Captures standard output and standard error of the test process and feeds its
// standard input, for the tests of the message and resource modules.
#pragma once

#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "test_support.h"

namespace sat_test {

// Captures what the process writes to standard output and standard error, and feeds
// standard input from a text.
class Capture {
   public:
    explicit Capture(const std::string& input = "") {
        sat_test::write_file(dir_.file("in"), input);
        std::fflush(stdout);
        std::fflush(stderr);
        saved_[0] = dup(0);
        saved_[1] = dup(1);
        saved_[2] = dup(2);
        redirect(0, "in", "r");
        redirect(1, "out", "w");
        redirect(2, "err", "w");
        __fpurge(stdin);
        std::clearerr(stdin);
    }
    ~Capture() { restore(); }
    void restore() {
        if (done_) return;
        done_ = true;
        std::fflush(stdout);
        std::fflush(stderr);
        for (int fd = 0; fd < 3; ++fd) {
            dup2(saved_[fd], fd);
            close(saved_[fd]);
        }
        __fpurge(stdin);
        std::clearerr(stdin);
        out_ = sat_test::read_file(dir_.file("out"));
        err_ = sat_test::read_file(dir_.file("err"));
    }
    const std::string& out() {
        restore();
        return out_;
    }
    const std::string& err() {
        restore();
        return err_;
    }

   private:
    void redirect(int fd, const char* name, const char* mode) {
        FILE* f = std::fopen(dir_.file(name).c_str(), mode);
        dup2(fileno(f), fd);
        std::fclose(f);
    }
    TempDir dir_;
    int saved_[3] = {-1, -1, -1};
    bool done_ = false;
    std::string out_, err_;
};

}  // namespace sat_test
