// Pieces every text-parser fuzz target shares. Each target is one translation
// unit, so the definitions below live here.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

// Runs one input in the scratch directory, so that relative names in it stay there.
// libFuzzer opens its own files between runs, in the directory it was started in.
class InScratch {
   public:
    explicit InScratch(const std::string& scratch) {
        if (!getcwd(home_, sizeof home_) || chdir(scratch.c_str()) != 0) std::abort();
    }
    ~InScratch() {
        if (chdir(home_) != 0) std::abort();
    }
    InScratch(const InScratch&) = delete;
    InScratch& operator=(const InScratch&) = delete;

   private:
    char home_[4096];
};

// Undefined behaviour stops the run like a crash, with the input saved.
extern "C" const char* __ubsan_default_options() {
    return "halt_on_error=1:print_stacktrace=1";
}
