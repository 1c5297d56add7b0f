// The pattern scanner on fields and formats that would overrun it. Its conversions are
// checked through the raw point files that use them (tests/overlays/raw_test.cpp).
#include "env/scan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(Scanp, HostileFormatsAndLongFields) {
    std::string digits(500, '9');
    std::string word(300, 'w');
    ScanCtx ctx;
    char s[SCANP_FIELD_MAX + 1];
    float f = 0;
    scanp_set(&ctx, word.c_str());
    EXPECT_EQ(scanp(&ctx, "%s", s), 1);
    EXPECT_EQ(std::string(s), word.substr(0, SCANP_FIELD_MAX));  // the fixed field limit
    scanp_set(&ctx, digits.c_str());
    EXPECT_EQ(scanp(&ctx, "%f", &f), 1);
    EXPECT_EQ(ctx.consumed, SCANP_FIELD_MAX);
    // Unterminated sets, alternatives and markers, huge widths: they end with the format.
    const char* formats[] = {"%[abc", "%(a|b", "%!x", "%99999999999d", "%", "%*", "%<", "%!!d"};
    for (const char* format : formats) {
        scanp_set(&ctx, "abc");
        EXPECT_GE(scanp(&ctx, format, s), 0) << format;
        EXPECT_LE(ctx.consumed, 3) << format;
    }
}

}  // namespace
