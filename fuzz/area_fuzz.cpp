// libFuzzer target for the AREA reader: any bytes as a file, with a bit shift
// taken from the last byte so that the shifting paths are covered too.
#include <cstdint>
#include <cstdio>

#include "env/messages.h"
#include "fuzz_support.h"
#include "formats/area.h"

namespace {

// Pixels a header claims in either byte order, for sizes the reader accepts (at most
// 100000 a side). A truncated file is filled out to its whole claimed size, which for
// the largest claims is gigabytes of memory traffic and no new code.
uint64_t claimed_pixels(const uint8_t* bytes, size_t size) {
    if (size < 40) return 0;
    uint64_t most = 0;
    for (bool big : {false, true}) {
        auto word = [&](int n) {
            uint32_t v = 0;
            for (int i = 0; i < 4; i++)
                v |= static_cast<uint32_t>(bytes[4 * n + i]) << (big ? 24 - 8 * i : 8 * i);
            return v;
        };
        uint64_t lines = word(8), elements = word(9);
        if (lines <= 100000 && elements <= 100000 && lines * elements > most)
            most = lines * elements;
    }
    return most;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    if (claimed_pixels(bytes, size) > (uint64_t{1} << 26)) return 0;
    static bool quiet = (MESS_set(0, 0), true);
    (void)quiet;
    FILE* f = size ? fmemopen(const_cast<uint8_t*>(bytes), size, "rb") : std::tmpfile();
    if (f == nullptr) return 0;
    SAT_set_bit_shift(size ? bytes[size - 1] % 12 - 2 : 0);
    AreaFile area{};
    SAT_read_AREA(f, &area);
    SAT_free_AREA(&area);
    std::fclose(f);
    return 0;
}
