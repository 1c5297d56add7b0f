// libFuzzer target for raw point files: the input is the file, read every way a
// plot reads one: every value, a value by number, by name, and lines by number.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"
#include "overlays/raw.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("raw_fuzz");
    MESS_reset();
    MESS_set(0, 0);
    return true;
}

void check(const RawData& d) {
    if (!std::memchr(d.id, '\0', sizeof d.id) || !std::memchr(d.text, '\0', sizeof d.text) ||
        !std::memchr(d.format, '\0', sizeof d.format))
        std::abort();
}

// Reads to the end, at most `limit` calls.
void read_all(int handle, const RawVar& var, int limit) {
    RawData data;
    for (int i = 0; i < limit; i++) {
        int line = -1;
        int result = RAW_read(handle, &data, &var, &line);
        if (result < 0) break;
        check(data);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    [[maybe_unused]] static const bool ready = setup();
    const std::string path = dir + "/input.raw";
    fuzz_write_file(path.c_str(), bytes, size);
    RAW_reset();
    int type = 0;
    int handle = RAW_open(path.c_str(), 0, &type);
    if (handle < 0) return 0;
    RawInfo info;
    RAW_getinfo(handle, &info);
    const int limit = static_cast<int>(size) + 10;
    read_all(handle, RawVar{}, limit);
    RawVar second;
    second.number = RAW_VAR_BASE + 1;
    RAW_rewind(handle);
    read_all(handle, second, limit);
    const char* name = RAW_get_field_name(handle, RAW_get_num_fields(handle) - 1);
    RawVar by_name;
    std::snprintf(by_name.name, sizeof by_name.name, "%s", name ? name : "t");
    RAW_rewind(handle);
    read_all(handle, by_name, limit);
    (void)RAW_get_field_info(handle, &by_name);
    RawData data;
    for (int line : {3, 1, 1, 0, 2}) {
        int at = line;
        if (RAW_read(handle, &data, &by_name, &at) >= 0) check(data);
    }
    RAW_reset();
    return 0;
}
