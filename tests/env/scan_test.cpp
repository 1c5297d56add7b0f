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
    char kind;  // 'i' int, 'f' float, 's' text, 'c' three characters (shows a missing terminator)
    int matched;
    int consumed;
    const char* expect;  // the stored value as text; "-" when nothing is stored
};

std::string run(const Case& c, ScanCtx* ctx) {
    scanp_set(ctx, c.text);
    int i = -12345;
    float f = -12345.0f;
    char s[128];
    std::memset(s, '#', sizeof s);
    s[sizeof s - 1] = '\0';
    void* to = c.kind == 'i' ? static_cast<void*>(&i) : c.kind == 'f' ? static_cast<void*>(&f) : s;
    EXPECT_EQ(scanp(ctx, c.format, to), c.matched) << c.format << " on '" << c.text << "'";
    if (c.kind == 'i' && i != -12345) return std::to_string(i);
    if (c.kind == 'f' && f != -12345.0f) return std::to_string(f);
    if (c.kind == 's' && s[0] != '#') return s;
    if (c.kind == 'c' && s[0] != '#') return std::string(s, 3);
    return "-";
}

TEST(Scanp, ConversionsWidthsMarkersAlternativesAndSets) {
    const Case cases[] = {
        {"%3d", "12 ", 'i', 0, 0, "-"},  // exact width not met
        {"%<3d", "12 ", 'i', 1, 2, "12"},
        {"%5D", "   12", 'i', 1, 5, "12"},
        {"%!-!f", "-", 'f', 1, 1, "-9999.000000"},
        {"%!-!f", "-3.5", 'f', 1, 4, "-3.500000"},
        {"%!-!f", "-x", 'f', 1, 1, "-9999.000000"},
        {"%!MM!d", "M", 'i', 0, 0, "-"},  // the marker doesn't fit: passed over
        {"%f", "1.5e", 'f', 1, 3, "1.500000"},
        {"%f", "1.2.3", 'f', 1, 3, "1.200000"},
        {"%s", "abc def", 's', 1, 3, "abc"},
        {"%S", "a b\tc", 's', 1, 5, "a b\tc"},
        {"%c", "ab", 'c', 1, 1, "a##"},
        {"%W", " \t\n x", 's', 1, 2, " \t"},
        {"%[/A/N]", "ab1-", 's', 1, 3, "ab1"},
        {"%[^,]", "ab c,d", 's', 1, 4, "ab c"},
        {"%(N|S)", "S", 's', 1, 1, "S"},
        {"%(NE|N|E)", "NW", 's', 1, 1, "N"},
        {"%<(N|S)", "E", 's', 1, 0, "-"},     // optional: no match, no failure, untouched
        {"%!MS!(N|S)", "MX", 's', 1, 1, ""},  // part of the marker agrees
        {"%*s %n", "ab  c", 'i', 2, 4, "4"},
        {"%%%d", "%5", 'i', 1, 2, "5"},   // an unknown letter stands as a literal
        {"%d %d", "1x", 'i', 1, 1, "1"},  // no blank to match: the second isn't tried
    };
    for (const Case& c : cases) {
        ScanCtx ctx;
        EXPECT_EQ(run(c, &ctx), c.expect) << c.format << " on '" << c.text << "'";
        EXPECT_EQ(ctx.consumed, c.consumed) << c.format << " on '" << c.text << "'";
    }
    ScanCtx ctx;
    scanp_set(&ctx, "ab");
    scanp_off(&ctx, 2);
    int n = 0;
    EXPECT_EQ(scanp(&ctx, "%n", &n), -1);  // at the end of the text
}

TEST(Scanp, HostileFormatsAndLongFieldsStayInBounds) {
    const std::string digits(500, '9'), word(300, 'w');
    ScanCtx ctx;
    char s[SCANP_FIELD_MAX + 1];
    float f = 0;
    scanp_set(&ctx, word.c_str());
    EXPECT_EQ(scanp(&ctx, "%s", s), 1);
    EXPECT_EQ(std::string(s), word.substr(0, SCANP_FIELD_MAX));
    scanp_set(&ctx, digits.c_str());
    EXPECT_EQ(scanp(&ctx, "%f", &f), 1);
    EXPECT_EQ(ctx.consumed, SCANP_FIELD_MAX);
    // Unterminated sets, alternatives and markers, huge widths: they end with the format.
    for (const char* format : {"%[abc", "%(a|b", "%!x", "%99999999999d", "%", "%<", "%!!d"}) {
        scanp_set(&ctx, "abc");
        EXPECT_GE(scanp(&ctx, format, s), 0) << format;
        EXPECT_LE(ctx.consumed, 3) << format;
    }
}

}  // namespace
