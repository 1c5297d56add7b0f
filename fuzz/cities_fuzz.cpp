// libFuzzer target for the station database: the input's first line is the
// identifier list, the rest the database file, stored in each mode and searched.
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"
#include "maps/projections.h"
#include "overlays/cities.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("cities_fuzz");
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    [[maybe_unused]] static const bool ready = setup();
    std::string input(reinterpret_cast<const char*>(bytes), size);
    size_t newline = input.find('\n');
    std::string ids = newline == std::string::npos ? "" : input.substr(0, newline);
    if (ids.find('\0') != std::string::npos) return 0;
    std::string body = newline == std::string::npos ? input : input.substr(newline + 1);
    const std::string path = dir + "/fuzz.cty";
    fuzz_write_file(path.c_str(), body.data(), body.size());
    RES_reset();
    MESS_reset();
    MESS_set(0, 0);
    RES_put("file_path", dir.c_str());
    if (!ids.empty()) RES_put("identifier", ids.c_str());
    Domain plain;
    DOM_init(&plain);
    Domain ps;
    DOM_decode("ps,40,-100,25,17,1,1", &ps);
    for (int mode = 1; mode <= 3; mode++) {
        CTY_set_id_type(mode - 1);
        CTY_store("fuzz.cty", mode, mode == 2 ? &ps : &plain, 10);
        CityXY xy;
        CityRec rec;
        for (const char* id : {"KDCA", "72405", "K2405", "b41001", "--", ids.c_str()}) {
            CTY_search(id, &xy);
            CTY_search(id, &rec);
            (void)CTY_get_data(id);
        }
        CTY_search_loc(40.0f, -100.0f, &xy);
    }
    float lat, lon;
    CTY_get_loc("fuzz.cty", ids.empty() ? "KDCA" : ids.c_str(), &lat, &lon);
    CTY_free();
    CTY_set_id_type(0);
    return 0;
}
