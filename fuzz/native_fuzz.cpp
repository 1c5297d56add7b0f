// libFuzzer target for the native image reader: any bytes as a file, read by
// content as the program reads rasters. The compressed reader's wait for a file
// still being written is switched off. Nothing is filtered: names inside the file (a
// domain file, a pixel file) are the reader's to refuse, and a shell reached or a
// file opened outside the scratch directory stops the run.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "formats/image.h"
#include "fuzz_support.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("native_fuzz");
    MESS_set(0, 0);
    IMG_set_max_waits(0);
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const InScratch in_scratch(dir, setup);
    if (!fuzz_write_file("image", bytes, size)) return 0;

    Image image{};
    IMG_read("image", &image, 0);
    // The buffer must hold every pixel the header gave.
    if (image.data && image.height > 0 && image.width > 0) {
        volatile unsigned char last =
            image.data[static_cast<size_t>(image.height) * image.width - 1];
        (void)last;
    }
    IMG_free(&image);
    return 0;
}
