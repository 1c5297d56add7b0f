// Stroke and server fonts and the text primitive.
#pragma once

// The index of a font by name or number in the font list.
int gget_font_index(const char* name);
