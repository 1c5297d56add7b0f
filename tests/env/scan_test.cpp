// The pattern scanner on the record shapes it is made for: widths, missing
// markers, alternatives, sets, and the place it keeps across calls.
#include "env/scan.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

// One conversion into one destination of the kind its letter takes.
struct Case {
    const char* format;
    const char* text;
    char kind;  // 'i' int, 'f' float, 's' text, 'c' characters, '-' nothing stored
    int matched;
    int consumed;
    const char* expect;  // the stored value as text; nullptr when nothing is stored
};

std::string run(const Case& c, ScanCtx* ctx) {
    scanp_set(ctx, c.text);
    int i = -12345;
    float f = -12345.0f;
    char s[128];
    std::memset(s, '#', sizeof s);
    s[sizeof s - 1] = '\0';
    int matched = -2;
    switch (c.kind) {
        case 'i':
            matched = scanp(ctx, c.format, &i);
            break;
        case 'f':
            matched = scanp(ctx, c.format, &f);
            break;
        case 's':
        case 'c':
            matched = scanp(ctx, c.format, s);
            break;
        default:
            matched = scanp(ctx, c.format);
            break;
    }
    EXPECT_EQ(matched, c.matched) << c.format << " on '" << c.text << "'";
    if (c.kind == 'i' && i != -12345) return std::to_string(i);
    if (c.kind == 'f' && f != -12345.0f) return std::to_string(f);
    if (c.kind == 's' && s[0] != '#') return s;
    if (c.kind == 'c' && s[0] != '#') return std::string(s, 3);  // shows a missing terminator
    return "(none)";
}

TEST(Scanp, ConversionsWidthsAndMarkers) {
    const Case cases[] = {
        {"%3d", "12 ", 'i', 0, 0, nullptr},  // exact width not met
        {"%<3d", "12 ", 'i', 1, 2, "12"},
        {"%<3d", "12345", 'i', 1, 3, "123"},
        {"%d", "-42x", 'i', 1, 3, "-42"},
        {"%d", "x", 'i', 0, 0, nullptr},
        {"%5D", "   12", 'i', 1, 5, "12"},
        {"%5D", "  -7 x", 'i', 1, 5, "-7"},
        {"%!-!f", "-", 'f', 1, 1, "-9999.000000"},
        {"%!-!f", "-3.5", 'f', 1, 4, "-3.500000"},
        {"%!-!f", "-x", 'f', 1, 1, "-9999.000000"},
        {"%!M!d", "x", 'i', 0, 0, nullptr},  // marker doesn't fit: passed over, no failure
        {"%!MM!d", "M", 'i', 0, 0, nullptr},
        {"%2!--!d", "--5", 'i', 1, 2, "-9999"},
        {"%f", "1.5e", 'f', 1, 3, "1.500000"},
        {"%f", "1.5e+", 'f', 1, 3, "1.500000"},
        {"%f", "2.5E-1z", 'f', 1, 6, "0.250000"},
        {"%f", "1.2.3", 'f', 1, 3, "1.200000"},
        {"%f", ".", 'f', 0, 0, nullptr},
        {"%6F", "  1.5 ", 'f', 1, 6, "1.500000"},
        {"%s", "abc def", 's', 1, 3, "abc"},
        {"%2s", "abc", 's', 1, 2, "ab"},
        {"%4s", "abc", 's', 0, 0, nullptr},
        {"%S", "a b\tc", 's', 1, 5, "a b\tc"},
        {"%c", "ab", 'c', 1, 1, "a##"},
        {"%2c", "ab", 'c', 1, 2, "ab#"},
        {"%A", "abC1", 's', 1, 3, "abC"},
        {"%N", "0123a", 's', 1, 4, "0123"},
        {"%N", "a", 's', 0, 0, nullptr},
        {"%w", " \t\n x", 's', 1, 4, " \t\n "},
        {"%W", " \t\n x", 's', 1, 2, " \t"},
        {"%[/A/N]", "ab1-", 's', 1, 3, "ab1"},
        {"%[^,]", "ab c,d", 's', 1, 4, "ab c"},
        {"%[//x]", "x/x/y", 's', 1, 4, "x/x/"},
        {"%<2[abc]", "cabc", 's', 1, 2, "ca"},
        {"%(N|S)", "S", 's', 1, 1, "S"},
        {"%(NE|N|E)", "NW", 's', 1, 1, "N"},
        {"%(N|S)", "E", 's', 0, 0, nullptr},
        {"%<(N|S)", "E", 's', 1, 0, nullptr},  // optional: no match, no failure, untouched
        {"%!MS!(N|S)", "MX", 's', 1, 1, ""},   // part of the marker agrees
        {"%(|N)", "N", 's', 1, 0, ""},         // the empty alternative fits first
        {"%*s %n", "ab  c", 'i', 2, 4, "4"},
        {"a%db", "a7b", 'i', 1, 3, "7"},
        {"%%%d", "%5", 'i', 1, 2, "5"},  // an unknown letter stands as a literal
        {"%d %d", "1x", 'i', 1, 1, "1"},
    };
    for (const Case& c : cases) {
        ScanCtx ctx;
        std::string got = run(c, &ctx);
        EXPECT_EQ(got, c.expect ? c.expect : "(none)") << c.format << " on '" << c.text << "'";
        EXPECT_EQ(ctx.consumed, c.consumed) << c.format << " on '" << c.text << "'";
    }
}

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
