// An Xvfb of its own for a window test: started on a free display number with the
// screen depth asked for, killed when the object goes.
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

namespace sat_test {

class Xvfb {
   public:
    explicit Xvfb(int depth, const std::string& size = "1280x1024") {
        int fds[2];
        if (pipe(fds) != 0) return;
        std::string screen = size;
        screen += 'x';
        screen += std::to_string(depth);
        const std::string fd = std::to_string(fds[1]);
        pid_ = fork();
        if (pid_ == 0) {
            close(fds[0]);
            const int null = open("/dev/null", O_WRONLY);
            dup2(null, 1);
            dup2(null, 2);
            execlp("Xvfb", "Xvfb", "-displayfd", fd.c_str(), "-screen", "0", screen.c_str(),
                   "-nolisten", "tcp", "-noreset", static_cast<char*>(nullptr));
            _exit(127);
        }
        close(fds[1]);
        // Xvfb writes its display number once it accepts connections.
        char buf[16] = {':'};
        ssize_t n = 0, got = 1;
        while ((n = read(fds[0], buf + got, sizeof buf - 1 - static_cast<size_t>(got))) > 0) {
            got += n;
            if (buf[got - 1] == '\n') break;
        }
        close(fds[0]);
        if (got > 2) display_.assign(buf, static_cast<size_t>(got - 1));
    }
    ~Xvfb() {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    Xvfb(const Xvfb&) = delete;
    Xvfb& operator=(const Xvfb&) = delete;
    // ":N", or empty when the server did not start.
    const std::string& display() const { return display_; }

   private:
    pid_t pid_ = -1;
    std::string display_;
};

}  // namespace sat_test
