// Shared by the env tests: the option ids of the display, a date from its fields and a
// capture of the standard streams of the test process.
#pragma once

#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "env/dates.h"
#include "test_support.h"

namespace sat_test {

// The keyed and positional options of the display, in their order.
inline const int kKeyed[] = {57, 3,  73,  48, 41, 39, 55,  94, 63, 106, 112, 113, 114,
                             6,  72, 111, 82, 76, 64, 80,  47, 40, 58,  78,  84,  110,
                             96, 98, 89,  88, 85, 86, 44,  69, 37, 35,  51,  27,  28,
                             13, 23, 17,  22, 15, 46, 102, 59, 2,  53,  0};
inline const int kPositional[] = {50, 0};

// A date of the given fields, the rest missing.
inline Date make(int year, int month, int day, int hour, int minute, int second = 0) {
    Date d;
    DATE_init(&d);
    d.year = year, d.month = month, d.day = day, d.hour = hour, d.minute = minute;
    d.second = second;
    return d;
}

// Captures what the process writes to standard output and standard error, and feeds
// standard input from a text.
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
