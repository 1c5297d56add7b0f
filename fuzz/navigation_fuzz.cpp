// libFuzzer target for the navigation: any bytes as a directory and navigation
// block of an AREA file, through AREA_init, AREA_calc_domain and the point
// transform in every mode, and the same bytes as a GVAR stream header.
//
// Input layout: 8 bytes of navigation type, 256 bytes of directory, then the
// block (padded with zeros to 2560 bytes); short inputs are padded too. The
// first byte of the type picks which of the nine types to claim when it is
// below 9, so that every branch is reached; otherwise the bytes stand as given.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "app/sat_params.h"
#include "env/messages.h"
#include "fuzz_support.h"
#include "formats/area.h"
#include "formats/image.h"
#include "navigation/area_nav.h"
#include "navigation/gvar.h"

namespace {

const char* const kTypes[9] = {"GOES", "GVAR", "PS",   "MOLL", "MSAT",
                               "RECT", "MERC", "LAMB", "TANC"};

float as_float(const uint8_t* p) {
    int32_t v = 0;
    std::memcpy(&v, p, 4);
    // Spread over the useful range: degrees and pixel coordinates.
    return static_cast<float>(v % 40000000) / 1000.0f;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static bool quiet = (MESS_set(0, 0), true);
    (void)quiet;
    std::vector<uint8_t> in(8 + 256 + 2560, 0);
    std::memcpy(in.data(), bytes, size < in.size() ? size : in.size());

    AreaFile area{};
    if (in[0] < 9) {
        std::memset(area.nav_type, 0, sizeof area.nav_type);
        std::memcpy(area.nav_type, kTypes[in[0]], std::strlen(kTypes[in[0]]));
    } else {
        std::memcpy(area.nav_type, in.data(), 7);
        area.nav_type[7] = '\0';
    }
    std::vector<int32_t> dir(64), block(640);
    std::memcpy(dir.data(), in.data() + 8, 256);
    std::memcpy(block.data(), in.data() + 8 + 256, 2560);
    area.dir = dir.data();
    area.goes = area.gvar = area.ps = area.tanc = area.proj = block.data();

    SAT_params_reset();
    AREA_reset();
    AREA_init(&area);
    Image image{};
    image.width = dir[9];
    image.height = dir[8];
    image.xres = static_cast<float>(dir[12]);
    image.yres = static_cast<float>(dir[11]);
    AREA_calc_domain(&image, &area);

    // A few points from the tail of the input, or fixed ones.
    const uint8_t* tail = size > 16 ? bytes + size - 16 : in.data() + 8 + 256 + 2544;
    float lat = as_float(tail), lon = as_float(tail + 4);
    float line = as_float(tail + 8), elem = as_float(tail + 12);
    for (int mode = 1; mode <= 3; ++mode) {
        float a = lat, b = lon, l = line, e = elem;
        AREA_tran(mode, &a, &b, &l, &e);
    }
    float a = lat, b = lon, l = 0, e = 0;
    AREA_tran_ground(&a, &b, &l, &e);
    float ol = 0, oe = 0;
    AREA_line_elem(1, line, elem, &ol, &oe);
    AREA_line_elem(2, line, elem, &ol, &oe);

    if (size > 0) {
        FILE* f = fmemopen(const_cast<uint8_t*>(bytes), size, "rb");
        if (f) {
            if (GVAR_read(f)) {
                float x = lat, y = lon, pl = 0, pe = 0;
                earth2sat(x, y, &pl, &pe);
                sat2earth(line, elem, &x, &y);
            }
            std::fclose(f);
        }
    }
    return 0;
}
