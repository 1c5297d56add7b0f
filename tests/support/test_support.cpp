#include "test_support.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace sat_test {

std::string testdata(const std::string& rel) {
    return std::string(SAT_TESTDATA_DIR) + "/" + rel;
}
std::string datafile(const std::string& rel) {
    return std::string(SAT_DATA_DIR) + "/" + rel;
}

bool file_exists(const std::string& path) {
    struct stat st;
    return ::stat(path.c_str(), &st) == 0;
}

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

void write_file(const std::string& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
}

TempDir::TempDir() {
    char tmpl[] = "/tmp/sat_test_XXXXXX";
    const char* p = ::mkdtemp(tmpl);
    if (!p) throw std::runtime_error("mkdtemp failed");
    path_ = p;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

RunResult run_program(const std::string& program, const std::vector<std::string>& args,
                      const RunOptions& options) {
    RunResult result;
    // A test started without standard input (or output) would get those numbers back
    // from pipe(), and the child's dup2 and closes would then take them away.
    for (int fd = 0; fd < 3; ++fd)
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", O_RDWR) != fd) return result;
    int in_pipe[2], out_pipe[2], err_pipe[2];
    if (pipe(in_pipe) || pipe(out_pipe) || pipe(err_pipe)) return result;

    std::vector<std::string> env_strings = {"PATH=/usr/local/bin:/usr/bin:/bin"};
    if (const char* home = std::getenv("HOME")) env_strings.push_back(std::string("HOME=") + home);
    for (const auto& [k, v] : options.env) env_strings.push_back(k + "=" + v);
    std::vector<char*> envp;
    for (auto& s : env_strings) envp.push_back(s.data());
    envp.push_back(nullptr);
    std::vector<std::string> argv_strings = {program};
    argv_strings.insert(argv_strings.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& s : argv_strings) argv.push_back(s.data());
    argv.push_back(nullptr);

    pid_t pid = fork();
    if (pid == 0) {
        dup2(in_pipe[0], 0);
        dup2(out_pipe[1], 1);
        dup2(err_pipe[1], 2);
        for (int fd : {in_pipe[0], in_pipe[1], out_pipe[0], out_pipe[1], err_pipe[0], err_pipe[1]})
            close(fd);
        if (!options.cwd.empty() && chdir(options.cwd.c_str()) != 0) _exit(126);
        execve(program.c_str(), argv.data(), envp.data());
        _exit(127);
    }
    close(in_pipe[0]);
    close(out_pipe[1]);
    close(err_pipe[1]);
    signal(SIGPIPE, SIG_IGN);
    if (!options.input.empty()) {
        ssize_t ignored = write(in_pipe[1], options.input.data(), options.input.size());
        (void)ignored;
    }
    close(in_pipe[1]);

    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::seconds(options.timeout_seconds);
    pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
    std::string* sinks[2] = {&result.out, &result.err};
    char buf[65536];
    while (fds[0].fd >= 0 || fds[1].fd >= 0) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0) {
            kill(pid, SIGKILL);
            break;
        }
        if (poll(fds, 2, static_cast<int>(left.count())) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
            const ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) {
                sinks[i]->append(buf, static_cast<size_t>(n));
            } else {
                close(fds[i].fd);
                fds[i].fd = -1;
            }
        }
    }
    for (auto& f : fds)
        if (f.fd >= 0) close(f.fd);
    int status = 0;
    waitpid(pid, &status, 0);
    if (WIFEXITED(status))
        result.code = WEXITSTATUS(status);
    else if (WIFSIGNALED(status))
        result.code = 128 + WTERMSIG(status);
    return result;
}

RunResult run_sat(const std::vector<std::string>& args, const RunOptions& options) {
    return run_program(SAT_BIN, args, options);
}

}  // namespace sat_test
