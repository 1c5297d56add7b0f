// libFuzzer target for the native image reader: any bytes as a file, read by
// content as the program reads rasters. The compressed reader's wait for a file
// still being written is switched off.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "formats/image.h"

namespace {

std::string scratch() {
    char name[] = "/tmp/native_fuzz_XXXXXX";
    int fd = mkstemp(name);
    if (fd >= 0) close(fd);
    static std::string kept;
    kept = name;
    std::atexit([] { std::remove(kept.c_str()); });
    return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static bool quiet = (MESS_set(0, 0), IMG_set_max_waits(0), true);
    static const std::string path = scratch();
    (void)quiet;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(bytes, 1, size, f);
    std::fclose(f);

    Image image{};
    IMG_read(path.c_str(), &image, 0);
    // The buffer must hold every pixel the header gave.
    if (image.data && image.height > 0 && image.width > 0) {
        volatile unsigned char last =
            image.data[static_cast<size_t>(image.height) * image.width - 1];
        (void)last;
    }
    IMG_free(&image);
    return 0;
}
