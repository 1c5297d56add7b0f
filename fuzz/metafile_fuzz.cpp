// libFuzzer target for the text metafile reader. The first byte picks the device
// the file is played onto (text metafile, CGM, PostScript or HPGL, all written in
// a scratch directory) and the transformation set up before it; the rest is the
// metafile, read with gread_metafile.
#include <ftw.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"
#include "graphics/graphics.h"

namespace {

std::string dir;

// Outputs are emptied after each input so that the scratch stays small.
int empty_output(const char* path, const struct stat*, int type, struct FTW*) {
    if (type == FTW_F && truncate(path, 0) != 0) std::abort();
    return 0;
}

bool setup() {
    dir = fuzz_make_scratch_dir("metafile_fuzz");
    fuzz_quiet_stdio(false);
    return true;
}

struct Device {
    const char* connection;
    int type;
};
constexpr Device devices[] = {
    {"out.meta", GWS_META},
    {"out.cgm,cgm", GWS_META},
    {"out.ps", GWS_PS},
    {"out.hpgl", GWS_HPGL},
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    if (size < 1) return 0;
    fuzz_write_file("in.meta", bytes + 1, size - 1);
    RES_reset();
    MESS_reset();
    MESS_set(0, 0);
    RES_put("file_path", dir.c_str());
    gmeta_set_type(0);
    const Device& device = devices[bytes[0] % 4];
    if (gopen_gks(nullptr) != 0 || gopen_ws(1, device.connection, device.type) != 0) std::abort();
    if (bytes[0] & 4) {
        const float vp[4] = {0.1f, 0.9f, 0.2f, 0.8f}, wn[4] = {-180, 180, -90, 90};
        gset_vp(1, vp);
        gset_win(1, wn);
        gsel_norm_tran(1);
    }
    if (gread_metafile("in.meta") != 0) std::abort();
    gclose_ws();
    gmeta_set_type(0);
    nftw(dir.c_str(), empty_output, 8, FTW_PHYS);
    return 0;
}
