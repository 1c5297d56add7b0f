// Drawing a raw point file over the map: each point placed by its own position or,
// by identifier, by the station database, and drawn as text, a number, a marker,
// a wind barb, vector or track, a cloud circle or a weather symbol.
#pragma once

#include "env/colors.h"
#include "overlays/raw.h"

// How a point's values are drawn.
enum RawVarType {
    RAW_TEXT = 1,
    RAW_NUMBER = 2,
    RAW_TEXT2 = 3,
    RAW_MARK = 4,
    RAW_INT = 5,
    RAW_TRACK = 23,
    RAW_CLOUD = 31,
    RAW_BARB_CALM = 32,
    RAW_BARB = 33,
    RAW_BARB_CIRCLE = 34,
    RAW_VECTOR = 35,
    RAW_SYMBOL = 36,
    RAW_LINES = 37,
};

constexpr int RAW_MARK_CLOUD = 1001;

// The drawing attributes of a raw plot, copied for each point.
struct RawAttrib {
    Attrib attrib;
    int var_type;     // RawVarType, 0 for none
    char format[40];  // printf-like format of a number
    char text[80];    // fixed text
    char symbol_file[80];
    int mark;            // marker number, RAW_MARK_CLOUD for a cloud circle
    int line;            // 1: join the points, nothing else
    float xoff, yoff;    // offset in fractions of the plot height
    int halign, valign;  // 1 left, 2 centre, 3 right; 1 top to 5 bottom
    float min, max;      // values outside are not drawn
    float scale;         // size factor, 0.01 to 1000
    int skip;            // draw every n-th point
    float ybar;          // -9999, or the base of a bar from the point
    float base, interval;
};

int RAW_init_attrib(RawAttrib* attrib);
int RAW_plot_param(RawAttrib* attrib);
int RAW_plot_init(RawAttrib* attrib, int flag);
int RAW_parse_format(RawAttrib* attrib, const char* text);
int RAW_set_attribs(const RawAttrib* attrib);
// Draws one point at map position x, y with the base attributes of the last init.
int RAW_plot_data(const RawData* data, float x, float y);
// Draws a file; `label` set also labels the plot and filters by identifier.
int RAW_plot_file(const char* request, const char* label);
// Points drawn by the last RAW_plot_file.
int RAW_plot_count();
