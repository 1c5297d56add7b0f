// libFuzzer target for the PNG reader: any bytes as a file, libpng errors caught.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "formats/png.h"
#include "formats/image.h"

namespace {

std::string scratch() {
    char name[] = "/tmp/png_fuzz_XXXXXX";
    int fd = mkstemp(name);
    if (fd >= 0) close(fd);
    static std::string kept;
    kept = name;
    std::atexit([] { std::remove(kept.c_str()); });
    return name;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static bool quiet = (MESS_set(0, 0), true);
    static const std::string path = scratch();
    (void)quiet;
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return 0;
    std::fwrite(bytes, 1, size, f);
    std::fclose(f);

    Image image{};
    IMG_init(&image);
    image.depth = 32;
    if (PNG_read(path.c_str(), &image, 0) == 1 && image.data) {
        // Every byte the record claims must be there.
        volatile unsigned char last =
            image.data[static_cast<size_t>(image.height) * image.bytes_per_line - 1];
        (void)last;
    }
    IMG_free(&image);
    return 0;
}
