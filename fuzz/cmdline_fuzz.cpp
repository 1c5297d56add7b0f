// libFuzzer target for the command line and the resource conversions. Input: one
// control byte, then the arguments separated by NUL bytes. Bit 0 of the control
// byte picks the option table: the program's own list, or the library's other
// options (with unknown ids among them). After RES_init every resource is read
// back through every conversion, and each argument is converted by every type code.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "env/dates.h"
#include "env/defaults.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("cmdline_fuzz");
    fuzz_quiet_stdio(true);
    fuzz_drop_zmt_variables();
    return true;
}

// Log files of -me and defaults files of -df live here; each run starts empty.
void clean_dir() {
    fuzz_empty_dir(dir);
}

constexpr int program_ids[] = {57, 3,  73,  48, 41, 39, 55,  94, 63, 106, 112, 113, 114,
                               6,  72, 111, 82, 76, 64, 80,  47, 40, 58,  78,  84,  110,
                               96, 98, 89,  88, 85, 86, 44,  69, 37, 35,  51,  27,  28,
                               13, 23, 17,  22, 15, 46, 102, 59, 2,  53,  0};
constexpr int program_positional[] = {50, 0};
// The library's remaining options; 1 and 999 are ids that name nothing.
constexpr int library_ids[] = {5,  8,  9,  10, 11,  16,  18,  19,  20,  24,  26, 29,  30,
                               31, 32, 34, 45, 52,  54,  56,  60,  65,  67,  68, 71,  74,
                               79, 83, 92, 99, 100, 101, 105, 107, 108, 109, 1,  999, 0};
constexpr int library_positional[] = {49, 33, 104, 0};

// Every type code on one text, with a destination large enough for each.
void convert_all(const char* text) {
    for (int type = 0; type <= 24; ++type) {
        union {
            int i;
            int16_t s;
            float f;
            const char* p;
            char* owned;
            Domain d;
        } dest;
        std::memset(&dest, 0, sizeof dest);
        if (type == RES_STRCOPY) {
            std::vector<char> copy(text ? std::strlen(text) + 1 : 1);
            RES_conv_data(text, copy.data(), type);
            continue;
        }
        RES_conv_data(text, &dest, type);
        if (type == RES_PATH && text) std::free(dest.owned);
        RES_conv_data(text, nullptr, type);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    if (size < 1) return 0;
    const bool library = bytes[0] & 1;
    const std::string input(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    // Values name log files, defaults files and region files: '|' would run a
    // command, and a path or a home directory would leave the scratch directory.
    if (input.find_first_of("|/~") != std::string::npos) return 0;

    std::vector<std::string> args = {"sat"};
    for (size_t pos = 0; pos <= input.size();) {
        size_t end = input.find('\0', pos);
        if (end == std::string::npos) end = input.size();
        args.push_back(input.substr(pos, end - pos));
        pos = end + 1;
    }
    if (input.empty()) args.pop_back();
    // A defaults list given by -df or -default may name a loop window ("#n"),
    // which would be asked over a message queue.
    bool default_switch = false;
    for (const std::string& a : args)
        if (a.compare(0, 2, "-d") == 0) default_switch = true;
    if (default_switch && input.find('#') != std::string::npos) return 0;

    fuzz_reset_settings();
    clean_dir();
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    const int argc = static_cast<int>(args.size());
    if (library)
        RES_init(argc, argv.data(), library_ids, library_positional);
    else
        RES_init(argc, argv.data(), program_ids, program_positional);

    (void)FLAG_help();
    (void)FLAG_batch();
    RES_list();
    char progname[256];
    RES_get_progname(progname);
    for (const char* name : {"filename", "command", "value", "plot_domain", "message"}) {
        int count = 0;
        char** items = nullptr;
        const int n = RES_getvals(name, &count, &items);
        if (n != count || (n > 0 && !items)) std::abort();
        for (int k = 0; k < n; ++k)
            if (!items[k]) std::abort();
        free_parsed_array(count, items);
    }
    // Every resource the line made, read back by every conversion.
    for (const std::string& a : args) {
        std::string name = a;
        while (!name.empty() && name[0] == '-') name.erase(0, 1);
        name = name.substr(0, name.find('='));
        if (const char* value = RES_get(name.c_str())) convert_all(value);
        convert_all(a.c_str());
    }
    convert_all(nullptr);

    fuzz_reset_settings();
    clean_dir();
    return 0;
}
