// Raster dumps of the plot, named by a file name convention, and the location
// queries of the window.
#include "plot/dump.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "env/dates.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "formats/gif.h"
#include "formats/image.h"
#include "formats/png.h"
#include "formats/xwd.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "overlays/cities.h"

namespace {

constexpr int DUMP_FILE_SIZE = 60;
constexpr int MESS_SIZE = 80;
constexpr uint32_t QUERY_LEVEL = 8;  // answers of the point query

struct DumpState {
    int dump = PLT_DUMP_NONE;             // dump type
    char dump_file[DUMP_FILE_SIZE] = "";  // file name convention of the dump
};
DumpState st;

// One writer a dump type, with the word its messages use.
struct Writer {
    int type;
    int (*write)(const char* path);
    const char* word;
};
constexpr Writer WRITERS[] = {
    {PLT_DUMP_GIF, GIF_dump, "GIF"},
    {PLT_DUMP_IMG, IMG_dump, "IMG"},
    {PLT_DUMP_PNG, PNG_dump, "PNG"},
    {PLT_DUMP_XWD, XWD_dump, "xdump"},
};

void write_dump(const char* path) {
    for (const Writer& w : WRITERS) {
        if (w.type != st.dump) continue;
        if (w.write(path))
            MESS_print(MESS_MESS, "Wrote %s file: %s\n", w.word, path);
        else
            MESS_print(MESS_WARN, "PLT_dump: Unable to write %s file: %s\n", w.word, path);
        return;
    }
}

// The file name of the dump by the convention, with key "i" set to `frame_key`.
void dump_name(const Date* date, const char* frame_key, char* path) {
    char name[FILE_NAME_SIZE] = "";
    const char* title = gget_win_title();
    FILE_set_key("i", frame_key);
    FILE_set_key("p", title ? title : "");
    FILE_set_date(date, name);
    FILE_add_path(RES_get("image_path"), name, path);
}

}  // namespace

int PLT_set_dump(int type, const char* name) {
    st.dump = type;
    const char* file = name && *name          ? name
                       : type == PLT_DUMP_GIF ? "zmt.gif"
                       : type == PLT_DUMP_PNG ? "zmt.png"
                                              : "zmt.xwd";
    std::snprintf(st.dump_file, sizeof st.dump_file, "%s", file);
    return 0;
}

int PLT_get_dump() {
    return st.dump;
}

void PLT_reset_dump() {
    st = DumpState{};
}

int PLT_dump(int frame) {
    if (st.dump == PLT_DUMP_NONE) return -1;
    Date date;
    FILE_get_date(&date);
    FILE_save_name_conv();
    FILE_set_name(st.dump_file);
    char path[FILE_NAME_SIZE];
    char key[16];
    const int frames = gget_num_images();
    if (frame == PLT_ALL_FRAMES && frames > 1) {
        // Every file comes from the frame selected now: only the names differ.
        for (int i = 0; i < frames; i++) {
            std::snprintf(key, sizeof key, "%2.2d", i);
            dump_name(&date, key, path);
            write_dump(path);
        }
    } else if (frames == 0) {
        dump_name(&date, "win", path);
        write_dump(path);
    } else {
        std::snprintf(key, sizeof key, "%2.2d", gget_cur_frame());
        dump_name(&date, key, path);
        gselect_frame(frame);
        write_dump(path);
    }
    FILE_restore_name_conv();
    return 0;
}

int PLT_print_location(const char* event, float x, float y) {
    if (!event || std::strcmp(event, "v-Alt") != 0) return 0;
    float lat = ZMT_FMISSING, lon = ZMT_FMISSING;
    MAP_untran(x, y, &lat, &lon);
    MESS_print(QUERY_LEVEL, "Lat: %6.2f Lon: %7.2f XY: %6.2f %6.2f Pixel: %6.2f %6.2f\n", lat, lon,
               x, y, xW_p(x), yW_p(y));
    return 0;
}

int PLT_print_values(const char* event, float x, float y) {
    if (!event || std::strcmp(event, "v-Alt") != 0) return 0;
    PLT_print_location(event, x, y);
    float lat = ZMT_FMISSING, lon = ZMT_FMISSING;
    MAP_untran(x, y, &lat, &lon);
    CityXY station{};
    if (CTY_search_loc(lat, lon, &station)) {
        float slat = ZMT_FMISSING, slon = ZMT_FMISSING;
        MAP_untran(station.x, station.y, &slat, &slon);
        MESS_print(QUERY_LEVEL, "Id: %.*s Lat: %6.2f Lon: %7.2f ",
                   static_cast<int>(strnlen(station.key, sizeof station.key)), station.key, slat,
                   slon);
        MESS_print(QUERY_LEVEL, "\n");
    }
    // Grid values at the point belong to the grid subsystem, which this program
    // does not have; the query ends with the location and the station.
    return 0;
}

int PLT_mess(const char* format, ...) {
    char text[MESS_SIZE];
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, sizeof text, format, args);
    va_end(args);
    gmessage(0, text);
    return 0;
}
