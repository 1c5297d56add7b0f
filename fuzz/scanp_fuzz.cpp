// libFuzzer target for the pattern scanner. The input's first line is a format,
// the rest the text, walked call by call as a record reader walks it.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "env/messages.h"
#include "env/scan.h"
#include "fuzz/fuzz_support.h"

namespace {

constexpr int DESTINATIONS = 8;

// Conversions that take a destination; more than there are means no run.
int count_conversions(const std::string& format) {
    int n = 0;
    for (size_t i = 0; i < format.size(); i++)
        if (format[i] == '%') n++;
    return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static const bool quiet = [] {
        MESS_reset();
        MESS_set(0, 0);
        return true;
    }();
    (void)quiet;
    std::string input(reinterpret_cast<const char*>(bytes), size);
    size_t newline = input.find('\n');
    if (newline == std::string::npos) return 0;
    std::string format = input.substr(0, newline);
    std::string text = input.substr(newline + 1);
    if (format.find('\0') != std::string::npos || text.find('\0') != std::string::npos) return 0;
    if (count_conversions(format) > DESTINATIONS) return 0;

    // Every destination holds the whole text, and at least a number field.
    const size_t room = text.size() + 96;
    std::vector<std::vector<char>> out(DESTINATIONS, std::vector<char>(room, 0));
    ScanCtx ctx;
    scanp_set(&ctx, text.c_str());
    for (int step = 0; step < 1000; step++) {
        int result =
            scanp(&ctx, format.c_str(), out[0].data(), out[1].data(), out[2].data(), out[3].data(),
                  out[4].data(), out[5].data(), out[6].data(), out[7].data());
        if (result < 0) break;
        if (ctx.consumed < 0 || ctx.offset + ctx.consumed > ctx.length) std::abort();
        if (ctx.assigned > ctx.matched || ctx.complete < 0 || ctx.complete > 1) std::abort();
        if (ctx.consumed == 0) break;
        scanp_inc(&ctx);
    }
    scanp_set(&ctx, text.c_str());
    scanp_search(&ctx, format.c_str());
    (void)scanp_char(&ctx);
    return 0;
}
