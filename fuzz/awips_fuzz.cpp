// libFuzzer target for the AWIPS reader: any bytes as a product, read in the
// plain or PNG-body form or in the zlib-chain form by the last byte.
#include <cstdint>

#include "app/sat.h"
#include "formats/awips.h"
#include "formats/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const char* path = fuzz_input_file("awips_fuzz", bytes, size);
    if (!path) return 0;
    FLAG_set(14, size && (bytes[size - 1] & 1) ? SAT_AWIPZ : SAT_AWIP);
    Image image{};
    if (SAT_read_AWIP(path, &image) == 0 && image.data) {
        // The buffer must hold every pixel the header gave.
        fuzz_touch_last(image.data, static_cast<size_t>(image.height) * image.width);
    }
    IMG_free(&image);
    return 0;
}
