// The pattern scanner: a format-driven scanner for fixed-column weather records,
// with exact and maximum field widths, a missing-value marker and alternatives.
// A context keeps its place in a text across calls; each call matches one format
// at the current offset and reports how much it read.
#pragma once

#include <cstdint>

struct ScanCtx {
    const char* text;  // the text, not owned
    int32_t length;    // its length
    int32_t offset;    // where the next call starts
    int32_t consumed;  // characters read by the last call
    int32_t assigned;  // results stored by the last call
    int32_t matched;   // conversions that succeeded in the last call
    int32_t complete;  // 1 if the last call reached the end of its format
};

// Longest text a %s conversion takes; destinations of %s need one more byte.
constexpr int SCANP_FIELD_MAX = 79;

int scanp_set(ScanCtx* ctx, const char* text);
int scanp_off(ScanCtx* ctx, int offset);
int scanp_get_off(const ScanCtx* ctx);
int scanp_inc_off(ScanCtx* ctx, int n);
// Moves the offset past what the last call consumed.
int scanp_inc(ScanCtx* ctx);
// The text at the offset (empty at or past the end).
const char* scanp_str(const ScanCtx* ctx);
// The character at the offset, 0 at or past the end.
int scanp_char(const ScanCtx* ctx);
// Another text for the same context; the offset is kept where it still fits.
int scanp_replace(ScanCtx* ctx, const char* text);
int scanp_print(uint32_t level, const ScanCtx* ctx);
// Moves the offset to the next place where `word` stands; 1 if found, 0 if not.
int scanp_search(ScanCtx* ctx, const char* word);

// Matches `format` at the offset. Destinations follow in order, one for each
// conversion without '*': int* for d D n, float* for f F, char* for the others.
// Returns the conversions matched, or -1 for an empty format or an offset at or
// past the end of the text.
int scanp(ScanCtx* ctx, const char* format, ...);
