// libFuzzer target for the device strings of the printing workstations. Input:
// one control byte, then three fields ended by NUL bytes:
//   control  bits 0-1: workstation 3 metafile, 4 PostScript, 5 HPGL (3 is PostScript
//            turned into HPGL by zmtprint)
//   field 1   the connection string (output name and options)
//   field 2   the geometry resource (unset when empty)
//   field 3   the environment's option list of the device
// A plot is opened, drawn on through every primitive and closed; its page size
// must stay within what the options allow.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"
#include "graphics/graphics.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("devices_fuzz");
    fuzz_quiet_stdio(false);
    return true;
}

// Output names stay in the scratch directory: no directories, no pipes.
std::string local(std::string s) {
    for (char& c : s)
        if (c == '/' || c == '|') c = '_';
    return s;
}

void draw() {
    const float rect[4] = {0, 1, 0, 1};
    gset_win(1, rect);
    gsel_norm_tran(1);
    const float pts[8] = {0.1f, 0.1f, 0.9f, 0.2f, 0.5f, 0.9f, -5.0f, 1e30f};
    gset_linetype(3);
    gpolyline(4, pts);
    gfill_area(3, pts);
    gset_marker_type(4);
    gpolymarker(4, pts);
    const float region[4] = {0.2f, 0.4f, 0.2f, 0.4f};
    gclear_region(region);
    int vp[4];
    gget_gviewport(vp);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::string input(reinterpret_cast<const char*>(data) + 1, size - 1);
    size_t pos = 0;
    std::string connection, geometry, params;
    if (!fuzz_next_part(input, pos, connection) || !fuzz_next_part(input, pos, geometry) ||
        !fuzz_next_part(input, pos, params))
        return 0;
    const InScratch in(dir, setup);
    MESS_reset();
    MESS_set(0, 0);
    RES_reset();
    if (!geometry.empty()) RES_put("geometry", geometry.c_str());
    int type = 3 + (data[0] & 3);
    unsetenv("zmtprint");
    if (type == 6) {
        type = GWS_PS;
        setenv("zmtprint", "hpgl", 1);
    }
    setenv(type == GWS_PS ? "zmtps_param" : "zmthp_param", params.c_str(), 1);
    gopen_gks(nullptr);
    if (gopen_ws(1, local(connection).c_str(), type) == 0) {
        int w = 0, h = 0;
        gget_win_size(&w, &h);
        draw();
        gclose_ws();
    }
    unsetenv("zmtps_param");
    unsetenv("zmthp_param");
    gmeta_set_type(0);
    return 0;
}
