// libFuzzer target for defaults files and the line readers. Input: line 1 the
// program title (-name), line 2 the leading elements of the defaults list (tags
// such as "+sat", or "." for the directory), the rest the file "zmt.cfg". The file
// is read twice: directly through DEF_open/DEF_get, and as a defaults list of a
// whole RES_init, whose values then take effect.
#include <stdlib.h>
#include <unistd.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "env/dates.h"
#include "env/defaults.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("defaults_fuzz");
    fuzz_quiet_stdio(true);
    fuzz_drop_zmt_variables();
    return true;
}

// Log files that a "message" value opened are made here; each run starts empty.
void clean_dir() {
    fuzz_empty_dir(dir);
}

void read_directly(const std::string& path, const std::string& title,
                   const std::vector<std::string>& tags) {
    char prog[] = "sat";
    char* argv[] = {prog, nullptr};
    RES_setCL(1, argv);
    DEF_prog();
    if (!title.empty()) DEF_name(title.c_str());
    DEF_clr_tag();
    for (const std::string& t : tags) DEF_tag(t.c_str());
    if (DEF_open(path.c_str()) != 0) return;
    char key[DEF_KEY_SIZE];
    char value[DEF_VALUE_SIZE];
    while (DEF_get(key, value) == 1) {
        if (std::memchr(key, '\0', sizeof key) == nullptr ||
            std::memchr(value, '\0', sizeof value) == nullptr)
            std::abort();
        for (const char* k = key; *k; ++k)
            if (std::isupper(static_cast<unsigned char>(*k))) std::abort();
        (void)DEF_cmp("plot_domain", key);
        (void)DEF_cmp(value, key);
        char bare[DEF_KEY_SIZE];
        std::memset(bare, 'x', sizeof bare);
        DEF_parse_name(key, bare);
        if (std::memchr(bare, '\0', sizeof bare) == nullptr) std::abort();
        if (DEF_valid(key)) {
            // A key meant for this program names a resource that the environment
            // could hold as well.
            std::vector<char> env(DEF_ENV_SIZE);
            DEF_env(bare, value, env.data());
        }
    }
    DEF_close();
}

// The same file through the line readers, at a few sizes.
void line_readers(const std::string& path, size_t input_size) {
    for (int size : {1, 7, 160, 249}) {
        FILE* f = std::fopen(path.c_str(), "r");
        if (!f) return;
        std::vector<char> buffer(static_cast<size_t>(size) + 1);
        for (size_t n = 0; n <= input_size + 1; ++n) {
            int got;
            switch (n % 4) {
                case 0:
                    got = fgetstring(f, buffer.data(), size);
                    break;
                case 1:
                    got = fgetnline(f, buffer.data(), size);
                    break;
                case 2:
                    got = size == 160 ? fgetline(f, buffer.data()) : fskipline(f);
                    break;
                default:
                    got = fskipline(f);
                    break;
            }
            if (got < 0) break;
            if (std::strlen(buffer.data()) > static_cast<size_t>(size)) std::abort();
        }
        std::fclose(f);
    }
}

constexpr int keyed_ids[] = {57, 3,  73,  48, 41, 39, 55,  94, 63, 106, 112, 113, 114,
                             6,  72, 111, 82, 76, 64, 80,  47, 40, 58,  78,  84,  110,
                             96, 98, 89,  88, 85, 86, 44,  69, 37, 35,  51,  27,  28,
                             13, 23, 17,  22, 15, 46, 102, 59, 2,  53,  0};
constexpr int positional_ids[] = {50, 0};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    const std::string input(reinterpret_cast<const char*>(bytes), size);
    // Values become log files and region files: a '|' would run a command, and a
    // path or a home directory would leave the scratch directory.
    if (input.find_first_of("|/~") != std::string::npos) return 0;
    size_t pos = 0;
    const std::string title = fuzz_next_line(input, pos);
    const std::string list = fuzz_next_line(input, pos);
    // "#n" in the defaults list asks a loop window over a message queue.
    if (title.find('\0') != std::string::npos ||
        list.find_first_of(std::string("#\0", 2)) != std::string::npos)
        return 0;
    const std::string body = pos < input.size() ? input.substr(pos) : "";

    fuzz_reset_settings();
    clean_dir();
    const std::string path = dir + "/zmt.cfg";
    fuzz_write_file(path.c_str(), body.data(), body.size());

    std::vector<std::string> tags;
    for (size_t p = 0; p <= list.size();) {
        size_t end = list.find(':', p);
        if (end == std::string::npos) end = list.size();
        if (end > p && list[p] == '+') tags.push_back(list.substr(p + 1, end - p - 1));
        p = end + 1;
    }
    read_directly(path, title, tags);
    line_readers(path, body.size());

    fuzz_reset_settings();
    std::string def = list.empty() ? path : list + ":" + path;
    std::vector<std::string> args = {"sat", "-df", def};
    if (!title.empty()) {
        args.push_back("-name");
        args.push_back(title);
    }
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    RES_init(static_cast<int>(args.size()), argv.data(), keyed_ids, positional_ids);
    RES_list();
    int count = 0;
    char** names = nullptr;
    RES_getvals("filename", &count, &names);
    free_parsed_array(count, names);

    fuzz_reset_settings();
    clean_dir();
    return 0;
}
