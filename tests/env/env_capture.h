// Captures standard output and standard error of the test process and feeds its
// standard input from a text, for the tests of the message and resource modules.
#pragma once

#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "test_support.h"

namespace sat_test {

class Capture {
   public:
    explicit Capture(const std::string& input = "") {
        sat_test::write_file(dir_.file("in"), input);
        std::fflush(stdout);
        std::fflush(stderr);
        const char* names[] = {"in", "out", "err"};
        for (int fd = 0; fd < 3; ++fd) {
            saved_[fd] = dup(fd);
            FILE* f = std::fopen(dir_.file(names[fd]).c_str(), fd ? "w" : "r");
            dup2(fileno(f), fd);
            std::fclose(f);
        }
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
    const std::string& out() { return restore(), out_; }
    const std::string& err() { return restore(), err_; }

   private:
    TempDir dir_;
    int saved_[3] = {-1, -1, -1};
    bool done_ = false;
    std::string out_, err_;
};

}  // namespace sat_test
