// Shared helpers of the tests: paths, temporary directories and child processes.
#pragma once

#include <map>
#include <string>
#include <vector>

namespace sat_test {

// A file of the shared real test data, such as "area/goes8_wv_gvar_1998260_0745.area".
std::string testdata(const std::string& rel);
// A table shipped in data/.
std::string datafile(const std::string& rel);
bool file_exists(const std::string& path);
std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& bytes);

// A fresh directory under /tmp, removed with everything in it at the end of scope.
class TempDir {
   public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(const std::string& name) const { return path_ + "/" + name; }

   private:
    std::string path_;
};

struct RunResult {
    int code = -1;  // exit code, or 128 + signal
    std::string out;
    std::string err;
};

struct RunOptions {
    std::map<std::string, std::string> env;  // added to a clean environment
    std::string input;                       // fed to standard input
    std::string cwd;                         // working directory, empty for the current one
    int timeout_seconds = 60;
};

// Runs the built sat binary in an environment of PATH, HOME and the options' only.
RunResult run_sat(const std::vector<std::string>& args, const RunOptions& options = {});
// Runs any program the same way.
RunResult run_program(const std::string& program, const std::vector<std::string>& args,
                      const RunOptions& options = {});

}  // namespace sat_test
