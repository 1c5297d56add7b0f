// libFuzzer target for the window id of a window of another process.
// Input: one control byte, then the text. Control bit 0 set: the text is the
// window-id file "zmtloop.win", read through the name "w"; clear: the text up
// to its first NUL is the window id itself.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "env/messages.h"
#include "env/resources.h"
#include "fuzz/fuzz_support.h"
#include "graphics/graphics.h"

namespace {

std::string dir;

bool setup() {
    dir = fuzz_make_scratch_dir("window_id_fuzz");
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const InScratch in(dir, setup);
    MESS_reset();
    MESS_set(0, 0);
    RES_reset();
    RES_put("file_path", dir.c_str());
    std::string given = text.substr(0, text.find('\0'));
    if (data[0] & 1) {
        fuzz_write_file("zmtloop.win", text.data(), text.size());
        given = "w";
    }
    WindowId id;
    if (gread_window_id(given.c_str(), &id) && (id.base == 0 || id.fields <= 0)) std::abort();
    return 0;
}
