// libFuzzer target for the GIF reader: any bytes as a file, the first picture decoded.
#include <cstdint>

#include "formats/gif.h"
#include "formats/image.h"
#include "fuzz/fuzz_support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const char* path = fuzz_input_file("gif_fuzz", bytes, size);
    if (!path) return 0;

    Image image{};
    IMG_init(&image);
    image.depth = 32;
    if (GIF_read(path, &image, 0) == 1 && image.data) {
        // Every byte the record claims must be there.
        fuzz_touch_last(image.data, static_cast<size_t>(image.height) * image.bytes_per_line);
    }
    IMG_free(&image);
    return 0;
}
