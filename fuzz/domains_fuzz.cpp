// libFuzzer target for domain texts and the region file. The input is four parts:
// line 1 a domain text, line 2 a region key, line 3 the station priority resource,
// and the rest the region file "zmt.reg" on the file path.
#include <stdlib.h>
#include <unistd.h>

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"

namespace {

// A private directory for the region file, the working directory too, so that a
// relative name in a domain text stays inside it. Prompts ("var") read nothing.
std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("domains_fuzz");
    fuzz_quiet_stdio(true);
    return true;
}

bool has_nan(const Domain& d) {
    if (std::isnan(d.plat) || std::isnan(d.plon) || std::isnan(d.clat) || std::isnan(d.clon) ||
        std::isnan(d.dx) || std::isnan(d.dy))
        return true;
    for (float p : d.param)
        if (std::isnan(p)) return true;
    return false;
}

void check_decoded(const Domain& d, int result) {
    if (result != 1 && result != 2 && result != -1 && result != ZMT_MISSING) std::abort();
    // A domain equals itself unless a field is not a number.
    if (!has_nan(d) && DOM_comp(&d, &d) != 1) std::abort();
    DOM_print(0x10000000, &d);
    (void)DOM_aspect(&d);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    std::string input(reinterpret_cast<const char*>(bytes), size);
    // A path would reach files outside the scratch directory. A "|command" stays in:
    // a domain text out of a file never opens a pipe, and the shell guard stops the
    // run if one ever does.
    if (input.find('/') != std::string::npos) return 0;

    size_t pos = 0;
    const std::string text = fuzz_next_line(input, pos);
    const std::string key = fuzz_next_line(input, pos);
    const std::string prior = fuzz_next_line(input, pos);
    const std::string region_file = pos < input.size() ? input.substr(pos) : "";
    if (text.find('\0') != std::string::npos || key.find('\0') != std::string::npos ||
        prior.find('\0') != std::string::npos)
        return 0;

    const std::string reg_path = dir + "/zmt.reg";
    fuzz_write_file(reg_path.c_str(), region_file.data(), region_file.size());

    RES_reset();
    fuzz_messages_to_null();
    FLAG_reset(ZMT_MISSING);
    RES_put("file_path", dir.c_str());
    if (!prior.empty()) RES_put("stat_prior", prior.c_str());

    Domain d;
    check_decoded(d, DOM_decode(text.c_str(), &d));
    (void)DOM_proj_str(text.c_str());
    (void)DOM_get_prior();

    // The same items against the longest form, as a caller of DOM_set_params would.
    int count = 0;
    char** items = nullptr;
    if (parse_string(text.c_str(), ',', &count, &items) == 0) {
        Domain e;
        DOM_set_params(count, items, &e, DOM_SLOT_PROJ, DOM_SLOT_PLON, DOM_SLOT_CLAT, DOM_SLOT_CLON,
                       DOM_SLOT_NX, DOM_SLOT_NY, DOM_SLOT_DX, DOM_SLOT_DY, 0);
        DOM_set_params(count, items, &e, DOM_SLOT_REGION, 0);
        free_parsed_array(count, items);
    }

    // The region file by key and by its first line, and as a menu.
    char out[501];
    for (const char* k : {key.c_str(), static_cast<const char*>(nullptr)}) {
        std::memset(out, 'x', sizeof out);
        if (DOM_search_file("zmt.reg", k, out) == 1) {
            if (std::memchr(out, '\0', sizeof out) == nullptr) std::abort();
            Domain r;
            check_decoded(r, DOM_decode(out, &r));
        }
    }
    if (DOM_read_menu("zmt.reg") == 1) {
        const DomMenuEntry* menu = DOM_get_menu();
        int n = DOM_get_num_regs();
        if (n < 1 || n > 20) std::abort();
        for (int i = 1; i < n; ++i) {
            if (std::memchr(menu[i].label, '\0', sizeof menu[i].label) == nullptr ||
                std::memchr(menu[i].abbrev, '\0', sizeof menu[i].abbrev) == nullptr ||
                menu[i].menu == 0)
                std::abort();
        }
    }
    return 0;
}
