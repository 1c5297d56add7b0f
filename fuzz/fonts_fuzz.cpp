// libFuzzer target for the stroke font reader: any bytes as the text of a font
// file. A font the reader accepts must be safe to draw: every glyph it keeps
// ends with its end marker inside the data, and the widths are those of its points.
#include <cstdint>
#include <cstdlib>

#include "graphics/text.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    static StrokeFont font;
    const int status = gparse_font(reinterpret_cast<const char*>(bytes), size, &font);
    if (font.length < 0 || font.length > FONT_DB_SIZE) std::abort();
    for (int c = 0; c < 256; ++c) {
        const int offset = font.index[static_cast<size_t>(c)];
        if (status != 0 && offset != -1) std::abort();
        if (offset < 0) continue;
        int widest = 0;
        int i = offset;
        for (; i < font.length && font.db[static_cast<size_t>(i)] != 255; i += 2) {
            if (i + 1 >= font.length - 1) std::abort();
            const int x = font.db[static_cast<size_t>(i)];
            const int xp = x >= 128 ? x - 128 : x;
            if (xp > widest) widest = xp;
        }
        if (i >= font.length) std::abort();
        if (c != ' ' && font.size[static_cast<size_t>(c)] != widest) std::abort();
    }
    return 0;
}
