// The colour table (names to colour indices and RGB) and the attribute strings,
// such as "magenta:s4", with which every drawn element is styled.
#pragma once

#include <cstdint>

// Drawing attributes; -9999 or -9999.0 in a field means "not given".
struct Attrib {
    int32_t color;    // colour index
    float width;      // line width
    float height;     // text or marker height
    float expansion;  // text expansion
    int32_t style;    // line style or marker type
    int32_t fill;     // fill pattern
    int32_t font;     // font index
};

// Colour table.
int CLR_clear_table();
int CLR_read_table(const char* list);
int CLR_get_num();
int CLR_get_num_fill();
const char* CLR_get_name(int index);
int CLR_get_rgb(int index, float* red, float* green, float* blue);
int CLR_add(const char* name, float red, float green, float blue);
int CLR_get_ind(const char* text);

// Attribute records and strings.
int ATTRIB_init(Attrib* attrib);
int ATTRIB_update(Attrib* target, const Attrib* source);
int ATTRIB_parse(const char* text, Attrib* attrib);
int ATTRIB_get(const char* resource, const char* default_text, Attrib* attrib);
int ATTRIB_print(const Attrib* attrib);
int ATTR_parse_fill_pat(const char* text);
int ATTR_parse_marker(const char* text);
