// libFuzzer target for the symbol file reader: the input is the file; its entries
// are indexed and drawn (to no workstation) under a few names.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "fuzz/fuzz_support.h"
#include "overlays/symbols.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("symbols_fuzz");
    MESS_reset();
    MESS_set(0, 0);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    [[maybe_unused]] static const bool ready = setup();
    const std::string path = dir + "/fuzz.smb";
    fuzz_write_file(path.c_str(), bytes, size);
    WX_reset();
    if (WX_symb_file(path.c_str()) != 0) return 0;
    std::string first(reinterpret_cast<const char*>(bytes), size < 14 ? size : 14);
    first = first.substr(0, first.find_first_of(" \t\r\n"));
    first = first.substr(0, first.find('\0'));
    for (const char* name : {"00", "61", "a", first.c_str()}) WX_symb(0.5f, 0.5f, name, 1.0f);
    if (WX_symb_count() > WX_MAX_ENTRIES) std::abort();
    WX_cloud(0.5f, 0.5f, 0.1f, first.c_str());
    WIND_barb(0.5f, 0.5f, static_cast<float>(size % 360), static_cast<float>(size % 400), 1, 0);
    WX_reset();
    return 0;
}
