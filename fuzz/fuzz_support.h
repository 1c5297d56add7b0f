// Pieces every text-parser fuzz target shares. Each target is one translation
// unit, so the definitions below live here.
#pragma once

#include <dlfcn.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include <cstdlib>
#include <string>

// While an input runs: the scratch directory it runs in (empty outside a run). The
// guards below hold the run to that directory and away from any shell.
inline std::string fuzz_scratch;

// Runs one input in the scratch directory, so that relative names in it stay there.
// libFuzzer opens its own files between runs, in the directory it was started in.
class InScratch {
   public:
    explicit InScratch(const std::string& scratch) {
        if (!getcwd(home_, sizeof home_) || chdir(scratch.c_str()) != 0) std::abort();
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
