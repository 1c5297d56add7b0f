// A private Xvfb for window tests: started on a free display number, killed at
// the end of scope, so that a test needs no X server of its own.
#pragma once

#include <X11/Xlib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace sat_test {

class XvfbServer {
   public:
    XvfbServer() {
        for (int n = 90; n < 190 && pid_ <= 0; ++n) {
            const std::string lock = "/tmp/.X" + std::to_string(n) + "-lock";
            const std::string sock = "/tmp/.X11-unix/X" + std::to_string(n);
            if (access(lock.c_str(), F_OK) == 0 || access(sock.c_str(), F_OK) == 0) continue;
            name_ = ":" + std::to_string(n);
            pid_ = fork();
            if (pid_ == 0) {
                execl("/usr/bin/Xvfb", "Xvfb", name_.c_str(), "-screen", "0", "1024x768x24",
                      "-nolisten", "tcp", static_cast<char*>(nullptr));
                _exit(127);
            }
            if (!wait_ready()) stop();
        }
    }
    ~XvfbServer() { stop(); }
    XvfbServer(const XvfbServer&) = delete;
    XvfbServer& operator=(const XvfbServer&) = delete;

    bool ok() const { return pid_ > 0; }
    const std::string& display() const { return name_; }

   private:
    bool wait_ready() {
        for (int i = 0; i < 100; ++i) {
            int status = 0;
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;  // lost the race for this number
                return false;
            }
            if (Display* d = XOpenDisplay(name_.c_str())) {
                XCloseDisplay(d);
                return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        return false;
    }
    void stop() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
        pid_ = -1;
    }

    pid_t pid_ = -1;
    std::string name_;
};

}  // namespace sat_test
