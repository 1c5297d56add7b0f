// libFuzzer target for the AWIPS reader: any bytes as a product, read in the
// plain or PNG-body form or in the zlib-chain form by the last byte.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "app/sat.h"
#include "env/messages.h"
#include "formats/awips.h"
#include "formats/image.h"

namespace {

std::string scratch() {
    char name[] = "/tmp/awips_fuzz_XXXXXX";
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
    FLAG_set(14, size && (bytes[size - 1] & 1) ? SAT_AWIPZ : SAT_AWIP);
    Image image{};
    if (SAT_read_AWIP(path.c_str(), &image) == 0 && image.data) {
        // The buffer must hold every pixel the header gave.
        volatile unsigned char last =
            image.data[static_cast<size_t>(image.height) * image.width - 1];
        (void)last;
    }
    IMG_free(&image);
    return 0;
}
