// libFuzzer target for the TIFF reader: any bytes as a file; the directory is walked by hand.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "formats/tiff.h"
#include "formats/image.h"

namespace {

std::string scratch() {
    char name[] = "/tmp/tiff_fuzz_XXXXXX";
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
    if (SAT_read_TIFF(path.c_str(), &image) == 0 && image.data) {
        // The buffer must hold every pixel the header gave.
        volatile unsigned char last =
            image.data[static_cast<size_t>(image.height) * image.width - 1];
        (void)last;
    }
    IMG_free(&image);
    return 0;
}
