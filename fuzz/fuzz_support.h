// Pieces every text-parser fuzz target shares. Each target is one translation
// unit, so the definitions below live here.
#pragma once

#include <dlfcn.h>
#include <ftw.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/dates.h"
#include "env/defaults.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"

// While an input runs: the scratch directory it runs in (empty outside a run). The
// guards below hold the run to that directory and away from any shell.
inline std::string fuzz_scratch;

// Runs one input in the scratch directory, so that relative names in it stay there.
// libFuzzer opens its own files between runs, in the directory it was started in.
// The target's `setup`, which makes the directory, runs before the first input.
class InScratch {
   public:
    InScratch(const std::string& scratch, bool (*setup)()) {
        static const bool ready = setup();
        if (!ready || !getcwd(home_, sizeof home_) || chdir(scratch.c_str()) != 0) std::abort();
        fuzz_scratch = scratch;
    }
    ~InScratch() {
        fuzz_scratch.clear();
        if (chdir(home_) != 0) std::abort();
    }
    InScratch(const InScratch&) = delete;
    InScratch& operator=(const InScratch&) = delete;

   private:
    char home_[4096];
};

// A fresh directory "/tmp/<prefix>_XXXXXX" for the inputs of this process, removed
// with everything in it when the process ends.
inline std::string fuzz_make_scratch_dir(const char* prefix) {
    static std::string made;
    std::string name = std::string("/tmp/") + prefix + "_XXXXXX";
    if (!mkdtemp(name.data())) std::abort();
    made = name;
    std::atexit([] {
        nftw(
            made.c_str(),
            [](const char* path, const struct stat*, int, struct FTW*) {
                std::remove(path);
                return 0;
            },
            8, FTW_DEPTH | FTW_PHYS);
    });
    return made;
}

// Standard output to /dev/null, and standard input too when `no_input`, so that a
// prompt reads end of file instead of waiting; abort when either cannot be reopened.
inline void fuzz_quiet_stdio(bool no_input) {
    if (no_input && !std::freopen("/dev/null", "r", stdin)) std::abort();
    if (!std::freopen("/dev/null", "w", stdout)) std::abort();
}

// Empties a scratch directory between inputs, so that every input starts from none of
// the files (logs, defaults files) the one before made.
inline void fuzz_empty_dir(const std::string& dir) {
    nftw(
        dir.c_str(),
        [](const char* path, const struct stat*, int, struct FTW* at) {
            if (at->level > 0) std::remove(path);
            return 0;
        },
        8, FTW_DEPTH | FTW_PHYS);
}

// The caller's zmt* variables would be a second, unseen source of resources.
inline void fuzz_drop_zmt_variables() {
    for (char** env = environ; env && *env;) {
        if (std::strncmp(*env, "zmt", 3) == 0) {
            const std::string var(*env, std::strcspn(*env, "="));
            unsetenv(var.c_str());
        } else {
            ++env;
        }
    }
}

// Every message formatted, none shown: errors and warnings (standard error) off, the
// rest to standard output, which a target sends to /dev/null.
inline void fuzz_messages_to_null() {
    MESS_reset();
    MESS_set(0, 0xFFFFFFFFu);
    MESS_set(-1, 0xF0u);
}

// Every module a command line or a defaults file sets back to its start, with the
// messages formatted but not shown, so that no input sees what the one before left.
inline void fuzz_reset_settings() {
    RES_reset();
    DEF_reset();
    FILE_reset();
    DATE_reset();
    FLAG_reset(ZMT_MISSING);
    FLAG_resetplot(1);
    fuzz_messages_to_null();
}

// Splits off the text from `pos` up to the next NUL and moves past it; false when
// there is no NUL left.
inline bool fuzz_next_part(const std::string& input, size_t& pos, std::string& part) {
    const size_t end = input.find('\0', pos);
    if (end == std::string::npos) return false;
    part = input.substr(pos, end - pos);
    pos = end + 1;
    return true;
}

// The line from `pos` up to the next newline (or the end), moving past it; empty
// once the input is used up.
inline std::string fuzz_next_line(const std::string& input, size_t& pos) {
    if (pos >= input.size()) return "";
    size_t end = input.find('\n', pos);
    if (end == std::string::npos) end = input.size();
    std::string line = input.substr(pos, end - pos);
    pos = end + 1;
    return line;
}

// Writes an input to `path` as it is; false when the file cannot be written.
inline bool fuzz_write_file(const char* path, const void* bytes, size_t size) {
    FILE* f = std::fopen(path, "wb");
    if (!f) return false;
    const bool whole = std::fwrite(bytes, 1, size, f) == size;
    return std::fclose(f) == 0 && whole;
}

// For readers that take a file name: the input written to one scratch file of this
// process (removed when it ends), with the program's messages off. Its name, or null
// when it cannot be written.
inline const char* fuzz_input_file(const char* prefix, const uint8_t* bytes, size_t size) {
    static const std::string path = [prefix] {
        MESS_set(0, 0);
        std::string name = std::string("/tmp/") + prefix + "_XXXXXX";
        const int fd = mkstemp(name.data());
        if (fd < 0) std::abort();
        close(fd);
        static std::string kept;
        kept = name;
        std::atexit([] { std::remove(kept.c_str()); });
        return name;
    }();
    return fuzz_write_file(path.c_str(), bytes, size) ? path.c_str() : nullptr;
}

// Reads the last byte of a buffer a reader returned, so that a buffer shorter than the
// size it reported is found by the sanitizer.
inline void fuzz_touch_last(const unsigned char* data, size_t size) {
    if (!data || size == 0) return;
    volatile unsigned char last = data[size - 1];
    (void)last;
}

// A name an input may open: relative and not climbing out, or inside the scratch.
inline bool fuzz_name_allowed(const char* path) {
    if (fuzz_scratch.empty() || !path) return true;
    const std::string p = path;
    if (p.find("..") != std::string::npos) return false;
    if (p[0] != '/') return true;
    return p.compare(0, fuzz_scratch.size() + 1, fuzz_scratch + "/") == 0;
}

// No input may reach a shell: a command run at all is a finding.
extern "C" FILE* popen(const char* command, const char*) {
    std::fprintf(stderr, "fuzz: a shell was reached: %s\n", command ? command : "");
    std::abort();
}
extern "C" int system(const char* command) {
    std::fprintf(stderr, "fuzz: a shell was reached: %s\n", command ? command : "");
    std::abort();
}

// Files outside the scratch directory are out of reach of an input: the open fails as
// for a file that is not there.
using FopenFn = FILE* (*)(const char*, const char*);
inline FILE* guarded_fopen(const char* name, const char* path, const char* mode) {
    static FopenFn real = reinterpret_cast<FopenFn>(dlsym(RTLD_NEXT, name));
    if (!fuzz_name_allowed(path)) {
        errno = EACCES;
        return nullptr;
    }
    return real(path, mode);
}
extern "C" FILE* fopen(const char* path, const char* mode) {
    return guarded_fopen("fopen", path, mode);
}
extern "C" FILE* fopen64(const char* path, const char* mode) {
    return guarded_fopen("fopen64", path, mode);
}

// Undefined behaviour stops the run like a crash, with the input saved.
extern "C" const char* __ubsan_default_options() {
    return "halt_on_error=1:print_stacktrace=1";
}
