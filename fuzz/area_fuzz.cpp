// libFuzzer target for the AREA reader: any bytes as a file, with a bit shift
// taken from the last byte so that the shifting paths are covered too.
#include <cstdint>
#include <cstdio>

#include "env/messages.h"
#include "fuzz_support.h"
#include "formats/area.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
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
