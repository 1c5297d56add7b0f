// libFuzzer target for the TIFF reader: any bytes as a file; the directory is walked by hand.
#include <cstdint>

#include "formats/tiff.h"
#include "formats/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const char* path = fuzz_input_file("tiff_fuzz", bytes, size);
    if (!path) return 0;
    Image image{};
    if (SAT_read_TIFF(path, &image) == 0 && image.data) {
        // The buffer must hold every pixel the header gave.
        fuzz_touch_last(image.data, static_cast<size_t>(image.height) * image.width);
    }
    IMG_free(&image);
    return 0;
}
