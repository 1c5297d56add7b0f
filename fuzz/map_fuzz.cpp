// libFuzzer target for map files and map lists. The input: a first byte choosing
// the domain, a first line used as the map list (resource map_file), and the rest
// written as "m.map" in the scratch directory, which is also the file path, so a
// list may name it, or name it as a list file with "fi:m.map". The same bytes are
// then drawn as a map file on every domain.
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "env/domains.h"
#include "env/messages.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "fuzz/fuzz_support.h"
#include "maps/map_draw.h"
#include "maps/projections.h"

namespace {

std::string dir;
std::string meta;

// The metafile is written through a temporary of another name: every file but the
// map is output.
int empty_output(const char* path, const struct stat*, int type, struct FTW*) {
    if (type == FTW_F && std::string(path) != dir + "/m.map" && truncate(path, 0) != 0)
        std::abort();
    return 0;
}

bool setup() {
    dir = fuzz_make_scratch_dir("map_fuzz");
    fuzz_quiet_stdio(false);
    // Drawing goes to a text metafile in the scratch directory, emptied after
    // every input, so that the primitives run as they do on a device.
    meta = dir + "/out.meta";
    if (gopen_gks(nullptr) != 0 || gopen_ws(1, meta.c_str(), GWS_META) != 0) std::abort();
    return true;
}

// Domains of every map projection, and one that is none.
const char* const domains[] = {
    "us",
    "lamb,40,-100,500,400,0.1,0.1",
    "latlon,0,0,721,361,0.5,0.5",
    "merc,0,0,801,601,0.5,0.5",
    "moll,0,0,801,401,0.32,0.32",
    "sat,0,-75,800,800,0.12,0.12",
    "ps,-70,0,500,500,0.2,0.2",
    "ortho,40,10,500,500,0.3,0.3",
    "lambaz,-30,140,500,500,0.3,0.3",
    "xy,0,0,100,100,1,1",
};
constexpr size_t NUM_DOMAINS = sizeof domains / sizeof domains[0];

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    if (size < 1) return 0;
    const std::string input(reinterpret_cast<const char*>(bytes) + 1, size - 1);
    size_t end = input.find('\n');
    if (end == std::string::npos) end = input.size();
    const std::string list = input.substr(0, end);
    const std::string file = end < input.size() ? input.substr(end + 1) : "";
    // Paths would reach files outside the scratch directory.
    if (list.find('/') != std::string::npos || list.find('\0') != std::string::npos) return 0;
    const std::string map_path = dir + "/m.map";
    fuzz_write_file(map_path.c_str(), file.data(), file.size());

    RES_reset();
    MESS_reset();
    MESS_set(0, 0);
    FLAG_setplot(8, 1);
    RES_put("file_path", dir.c_str());
    RES_put("image_path", dir.c_str());
    RES_put("map_file", list.c_str());

    Domain domain;
    DOM_init(&domain);
    DOM_decode(domains[bytes[0] % NUM_DOMAINS], &domain);
    MAP_reset();
    MAP_setup(&domain);
    MAP_latlon(static_cast<float>(bytes[0] % 7) * 5.0f, 10.0f, bytes[0] % 3, bytes[0] % 5 * 10);
    MAP_draw(bytes[0] & 1 ? 1 : 6);

    for (const char* text : domains) {
        DOM_decode(text, &domain);
        MAP_setup(&domain);
        if (FILE* f = std::fopen(map_path.c_str(), "rb")) {
            const int got = MAP_map(f);
            std::fclose(f);
            if (got < -1 || got > 1) std::abort();
        }
    }
    nftw(dir.c_str(), empty_output, 8, FTW_PHYS);
    return 0;
}
