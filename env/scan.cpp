// The pattern scanner. One pass over format and text, no allocation: number
// fields are gathered in a fixed buffer before they are converted.
#include "env/missing.h"
#include "env/scan.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "env/messages.h"

namespace {

constexpr uint32_t TRACE_LEVEL = 0x80000000u;
constexpr int NO_WIDTH = 999;
constexpr int FIELD_BUFFER = 80;  // number and %s fields, terminator included
// Widths beyond this are as good as none; keeps the width parse from overflowing.
constexpr int WIDTH_CAP = 1000000;

enum class Mode { exact, at_most, optional };

// One conversion as written in the format.
struct Conversion {
    bool skip = false;             // '*': read but don't store
    Mode mode = Mode::at_most;     // how the width binds
    int width = NO_WIDTH;          // field width
    const char* marker = nullptr;  // missing-value text, not terminated
    int marker_len = 0;
    char letter = '\0';
    const char* body = nullptr;  // inside [..] or (..)
    const char* body_end = nullptr;
};

// What a conversion did: read `length` characters, failed, or passed over a
// missing value whose marker did not fit (the walk goes on at the same place).
enum class Outcome { success, failure, pass };

struct Result {
    Outcome outcome;
    int length;
    bool stored;
};

// The text from the current place on.
struct Cursor {
    const char* p;
    const char* end;
    int left() const { return static_cast<int>(end - p); }
};

bool is_white(char c) {
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}
bool is_digit(char c) {
    return c >= '0' && c <= '9';
}
bool is_letter(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// A field that fails its width test: none read, or not the exact count.
bool bad_length(const Conversion& conv, int length) {
    return length == 0 || (conv.mode == Mode::exact && length != conv.width);
}

void store_text(void* dest, const char* from, int length, bool terminate) {
    if (!dest) return;
    char* out = static_cast<char*>(dest);
    std::memcpy(out, from, length);
    if (terminate) out[length] = '\0';
}

// Missing value through the marker, when a number field holds no digit.
Result missing_value(const Conversion& conv, Cursor at, void* dest, bool is_float) {
    int limit = conv.width < at.left() ? conv.width : at.left();
    if (conv.marker_len > limit || std::strncmp(at.p, conv.marker, conv.marker_len) != 0)
        return {Outcome::pass, 0, false};
    if (dest) {
        if (is_float)
            *static_cast<float*>(dest) = ZMT_FMISSING;
        else
            *static_cast<int*>(dest) = ZMT_MISSING;
    }
    return {Outcome::success, conv.marker_len, dest != nullptr};
}

// d, D, f, F. A justified field counts its blanks, before and after, towards the width.
Result scan_number(const Conversion& conv, Cursor at, void* dest, bool is_float, bool justified) {
    char buffer[FIELD_BUFFER];
    int used = 0, n = 0, digits = 0;
    const int width = conv.width;
    auto room = [&] { return n < width && n < at.left() && used < FIELD_BUFFER - 1; };
    if (justified)
        while (n < width && n < at.left() && is_white(at.p[n])) n++;
    if (room() && at.p[n] == '-') buffer[used++] = at.p[n++];
    bool point = false;
    while (room()) {
        char c = at.p[n];
        if (is_digit(c)) {
            digits++;
        } else if (is_float && c == '.' && !point) {
            point = true;
        } else {
            break;
        }
        buffer[used++] = c;
        n++;
    }
    // An exponent counts only with digits; without them it ends the field unread.
    if (is_float && digits > 0 && room() && (at.p[n] == 'e' || at.p[n] == 'E')) {
        int k = n + 1;
        if (k < width && k < at.left() && (at.p[k] == '+' || at.p[k] == '-')) k++;
        int first = k;
        while (k < width && k < at.left() && is_digit(at.p[k]) && used + (k - n) < FIELD_BUFFER - 1)
            k++;
        if (k > first) {
            std::memcpy(buffer + used, at.p + n, k - n);
            used += k - n;
            n = k;
        }
    }
    if (digits == 0) {
        if (conv.marker) return missing_value(conv, at, dest, is_float);
        return {Outcome::failure, 0, false};  // a field without a digit holds no number
    }
    if (justified)
        while (n < width && n < at.left() && is_white(at.p[n])) n++;
    if (bad_length(conv, n)) return {Outcome::failure, 0, false};
    buffer[used] = '\0';
    if (dest) {
        if (is_float)
            *static_cast<float*>(dest) = static_cast<float>(std::strtod(buffer, nullptr));
        else
            *static_cast<int*>(dest) = static_cast<int>(std::strtol(buffer, nullptr, 10));
    }
    return {Outcome::success, n, dest != nullptr};
}

Result scan_int(const Conversion& conv, Cursor at, void* dest) {
    return scan_number(conv, at, dest, false, false);
}
Result scan_int_justified(const Conversion& conv, Cursor at, void* dest) {
    return scan_number(conv, at, dest, false, true);
}
Result scan_float(const Conversion& conv, Cursor at, void* dest) {
    return scan_number(conv, at, dest, true, false);
}
Result scan_float_justified(const Conversion& conv, Cursor at, void* dest) {
    return scan_number(conv, at, dest, true, true);
}

// Text conversions: characters while `fits` holds, up to `limit`.
template <typename Fits>
Result scan_run(const Conversion& conv, Cursor at, void* dest, int limit, Fits fits,
                bool terminate = true) {
    int n = 0;
    while (n < limit && n < at.left() && fits(at.p[n])) n++;
    if (bad_length(conv, n)) return {Outcome::failure, 0, false};
    store_text(dest, at.p, n, terminate);
    return {Outcome::success, n, dest != nullptr};
}

Result scan_word(const Conversion& conv, Cursor at, void* dest) {
    int limit = conv.width < SCANP_FIELD_MAX ? conv.width : SCANP_FIELD_MAX;
    return scan_run(conv, at, dest, limit, [](char c) { return !is_white(c); });
}
Result scan_rest(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(conv, at, dest, conv.width, [](char) { return true; });
}
Result scan_chars(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(
        conv, at, dest, conv.width, [](char) { return true; }, false);
}
Result scan_letters(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(conv, at, dest, conv.width, is_letter);
}
Result scan_digits(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(conv, at, dest, conv.width, is_digit);
}
Result scan_white(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(conv, at, dest, conv.width, is_white);
}
Result scan_white_line(const Conversion& conv, Cursor at, void* dest) {
    return scan_run(conv, at, dest, conv.width, [](char c) { return is_white(c) && c != '\n'; });
}

// Membership in a set as written between the brackets: /A any letter, /N any
// digit, // a slash, anything else itself.
bool in_set(const char* from, const char* to, char c) {
    for (const char* s = from; s < to; s++) {
        if (*s == '/' && s + 1 < to) {
            s++;
            if ((*s == 'A' && is_letter(c)) || (*s == 'N' && is_digit(c)) ||
                (*s == '/' && c == '/'))
                return true;
            continue;
        }
        if (*s == c) return true;
    }
    return false;
}

Result scan_set(const Conversion& conv, Cursor at, void* dest) {
    const char* from = conv.body;
    bool negate = from < conv.body_end && *from == '^';
    if (negate) from++;
    const char* to = conv.body_end;
    return scan_run(conv, at, dest, conv.width,
                    [&](char c) { return in_set(from, to, c) != negate; });
}

Result scan_alternatives(const Conversion& conv, Cursor at, void* dest) {
    const char* alt = conv.body;
    while (alt <= conv.body_end) {
        const char* bar = alt;
        while (bar < conv.body_end && *bar != '|') bar++;
        int length = static_cast<int>(bar - alt);
        if (length <= at.left() && std::strncmp(alt, at.p, length) == 0) {
            store_text(dest, alt, length, true);
            return {Outcome::success, length, dest != nullptr};
        }
        alt = bar + 1;
    }
    if (conv.marker) {
        int limit = conv.width < conv.marker_len ? conv.width : conv.marker_len;
        int n = 0;
        while (n < limit && n < at.left() && at.p[n] == conv.marker[n]) n++;
        store_text(dest, "", 0, true);
        return {Outcome::success, n, dest != nullptr};
    }
    if (conv.mode == Mode::optional) return {Outcome::success, 0, false};
    return {Outcome::failure, 0, false};
}

using Scanner = Result (*)(const Conversion&, Cursor, void*);

// The scanner of a conversion letter; none for a letter that isn't one.
Scanner scanner_for(char letter) {
    switch (letter) {
        case 'd':
            return scan_int;
        case 'D':
            return scan_int_justified;
        case 'f':
            return scan_float;
        case 'F':
            return scan_float_justified;
        case 's':
            return scan_word;
        case 'S':
            return scan_rest;
        case 'c':
            return scan_chars;
        case 'A':
            return scan_letters;
        case 'N':
            return scan_digits;
        case 'w':
            return scan_white;
        case 'W':
            return scan_white_line;
        case '[':
            return scan_set;
        case '(':
            return scan_alternatives;
        default:
            return nullptr;
    }
}

// Reads a conversion behind its '%'; returns where the format goes on.
const char* parse_conversion(const char* f, Conversion* conv) {
    bool less = false, has_width = false;
    if (*f == '*') conv->skip = true, f++;
    if (*f == '<') less = true, f++;
    int width = 0;
    while (is_digit(*f)) {
        has_width = true;
        if (width < WIDTH_CAP) width = width * 10 + (*f - '0');
        f++;
    }
    if (*f == '!') {
        const char* close = std::strchr(f + 1, '!');
        if (close) {
            conv->marker = f + 1;
            conv->marker_len = static_cast<int>(close - f - 1);
            f = close + 1;
        }
    }
    conv->letter = *f;
    if (has_width) {
        conv->width = width;
        conv->mode = less ? Mode::at_most : Mode::exact;
    } else if (conv->letter == 'c') {
        conv->width = 1;
        conv->mode = less ? Mode::at_most : Mode::exact;
    } else {
        conv->mode = less ? Mode::optional : Mode::at_most;
    }
    if (!scanner_for(conv->letter)) return f;  // the letter is read next as a literal
    f++;
    if (conv->letter == '[' || conv->letter == '(') {
        char close = conv->letter == '[' ? ']' : ')';
        conv->body = f;
        while (*f && *f != close) f++;
        conv->body_end = f;
        if (*f) f++;
    }
    return f;
}

}  // namespace

int scanp_set(ScanCtx* ctx, const char* text) {
    ctx->text = text;
    ctx->length = text ? static_cast<int32_t>(std::strlen(text)) : 0;
    ctx->offset = 0;
    ctx->consumed = ctx->assigned = ctx->matched = ctx->complete = 0;
    return 1;
}

int scanp_off(ScanCtx* ctx, int offset) {
    ctx->offset = offset;
    return 1;
}

int scanp_get_off(const ScanCtx* ctx) {
    return ctx->offset;
}

int scanp_inc_off(ScanCtx* ctx, int n) {
    ctx->offset += n;
    return ctx->offset;
}

int scanp_inc(ScanCtx* ctx) {
    return scanp_inc_off(ctx, ctx->consumed);
}

const char* scanp_str(const ScanCtx* ctx) {
    if (!ctx->text || ctx->offset < 0 || ctx->offset >= ctx->length) return "";
    return ctx->text + ctx->offset;
}

int scanp_char(const ScanCtx* ctx) {
    return static_cast<unsigned char>(*scanp_str(ctx));
}

int scanp_replace(ScanCtx* ctx, const char* text) {
    int offset = ctx->offset;
    scanp_set(ctx, text);
    ctx->offset = offset < ctx->length ? offset : ctx->length;
    return 1;
}

int scanp_print(uint32_t level, const ScanCtx* ctx) {
    return MESS_print(
        level, "SCANP: off %d len %d consumed %d assigned %d matched %d complete %d:%.50s:\n",
        ctx->offset, ctx->length, ctx->consumed, ctx->assigned, ctx->matched, ctx->complete,
        scanp_str(ctx));
}

int scanp_search(ScanCtx* ctx, const char* word) {
    const char* here = scanp_str(ctx);
    const char* found = word && *word ? std::strstr(here, word) : nullptr;
    if (!found) return 0;
    ctx->offset += static_cast<int32_t>(found - here);
    return 1;
}

int scanp(ScanCtx* ctx, const char* format, ...) {
    if (!ctx || !format || !*format || !ctx->text || ctx->offset < 0 || ctx->offset >= ctx->length)
        return -1;
    ctx->consumed = ctx->assigned = ctx->matched = ctx->complete = 0;
    const bool trace = MESS_check(TRACE_LEVEL);
    const char* start = ctx->text + ctx->offset;
    Cursor at{start, ctx->text + ctx->length};
    const char* f = format;
    va_list args;
    va_start(args, format);
    bool failed = false;
    bool literal = false;  // the letter of an unknown conversion, matched as it stands
    while (*f && !failed) {
        if (*f == ' ' && !literal) {
            while (*f == ' ') f++;
            int n = 0;
            while (n < at.left() && is_white(at.p[n])) n++;
            if (n == 0) failed = true;
            at.p += n;
        } else if (*f == '%' && !literal) {
            Conversion conv;
            f = parse_conversion(f + 1, &conv);
            Scanner scan = scanner_for(conv.letter);
            literal = !scan && conv.letter != 'n';
            if (conv.letter == 'n') {
                f++;
                if (!conv.skip)
                    *va_arg(args, int*) = static_cast<int>(at.p - start), ctx->assigned++;
                ctx->matched++;
            } else if (scan) {
                void* dest = conv.skip ? nullptr : va_arg(args, void*);
                Result r = scan(conv, at, dest);
                if (r.outcome == Outcome::failure) {
                    failed = true;
                } else if (r.outcome == Outcome::success) {
                    at.p += r.length;
                    ctx->matched++;
                    if (r.stored) ctx->assigned++;
                }
            }
        } else {
            if (at.left() > 0 && *at.p == *f)
                at.p++;
            else
                failed = true;
            f++;
            literal = false;
        }
        if (!failed) ctx->consumed = static_cast<int32_t>(at.p - start);
        if (trace) MESS_print(TRACE_LEVEL, "     :%s:%.50s:\n", f, at.p < at.end ? at.p : "");
    }
    va_end(args);
    // Complete when no item is left behind the one where the walk stopped.
    ctx->complete = *f ? 0 : 1;
    if (trace)
        MESS_print(TRACE_LEVEL, "SCANP:%.50s:%s:%d:%d:%d:%d:%d\n", start, format, ctx->offset,
                   ctx->consumed, ctx->assigned, ctx->matched, ctx->complete);
    return ctx->matched;
}
