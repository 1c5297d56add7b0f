// Fonts by name or number. No font list is loaded yet, so a name finds font 1.
#include <cctype>
#include <cstdlib>

#include "graphics/text.h"

int gget_font_index(const char* name) {
    if (!name) return 1;
    if (std::isdigit(static_cast<unsigned char>(name[0]))) return std::atoi(name);
    return 1;
}
