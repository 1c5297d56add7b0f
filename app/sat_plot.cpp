// The display's spine: main, the choice of input format, the loop over the selected
// files, and the order of operations that turns one image into one picture.
#include <cstring>

#include "app/sat.h"
#include "app/sat_color.h"
#include "app/sat_params.h"
#include "app/sat_remap.h"
#include "env/dates.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "env/variables.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "maps/map_draw.h"
#include "maps/projections.h"
#include "plot/plot.h"

namespace {

Image image;
Domain tmp_domain;
Domain plot_domain;
char filename[160];
Date file_date;
Date base_date;
int fsecs = 0;

// Keyed options in the order the help screen prints them.
constexpr int keyed_options[] = {57, 3,  73,  48, 41, 39, 55,  94, 63, 106, 112, 113, 114,
                                 6,  72, 111, 82, 76, 64, 80,  47, 40, 58,  78,  84,  110,
                                 96, 98, 89,  88, 85, 86, 44,  69, 37, 35,  51,  27,  28,
                                 13, 23, 17,  22, 15, 46, 102, 59, 2,  53,  0};

// The name part of an in_file keyword always starts at its sixth character.
void set_name_after_keyword(const char* value) {
    if (std::strlen(value) > 5) FILE_set_name(value + 5);
}

bool is_input_type(int flag) {
    switch (flag) {
        case SAT_NATIVE:
        case SAT_AREA:
        case SAT_AWIP:
        case SAT_AWIPZ:
        case SAT_UNISYS:
        case SAT_TIFF:
        case SAT_LRIT:
            return true;
        default:
            return false;
    }
}

}  // namespace

int SAT_main(int argc, char** argv) {
    int keyed[sizeof keyed_options / sizeof keyed_options[0]];
    std::memcpy(keyed, keyed_options, sizeof keyed);
    int positional[] = {50, 0};
    RES_init(argc, argv, keyed, positional);

    if (FLAG_help()) {
        char* progname = RES_get_progname(nullptr);
        MESS_print(0xf, "%s: This program plots satellite data\n", progname);
        RES_help_print(progname, keyed, positional);
        ZMT_exit(0);
    }

    SAT_in_file();

    Domain domain;
    DOM_init(&domain);
    RES_getval("region", &domain, RES_DOMAIN);
    RES_getval("plot_domain", &domain, RES_DOMAIN);

    VAR_set_type(0, 11);
    MESS_print_prog("SATELLITE IMAGE DISPLAY");

    if (is_input_type(FLAG_get(14))) {
        char buffer[160] = "";
        FILE_get_file("Enter the satellite filename: ", buffer);
        Date date;
        FILE_get_date(&date);
        SAT_set_date(&date);
        SAT_plot(&domain);
    }
    return 0;
}

int SAT_in_file() {
    FILE_set_name("sat_vis");
    FLAG_set(14, SAT_AREA);

    int count = 0;
    char** values = nullptr;
    RES_getvals("input", &count, &values);
    for (int i = 0; i < count; ++i) {
        const char* v = values[i];
        if (!stricmp(v, "area")) {
            FLAG_set(14, SAT_AREA);
        } else if (!stricmp(v, "img")) {
            FILE_set_name("sat_img");
            FLAG_set(14, SAT_NATIVE);
        } else if (!stricmp(v, "awipz")) {
            FLAG_set(14, SAT_AWIPZ);
        } else if (!stricmp(v, "awip")) {
            FLAG_set(14, SAT_AWIP);
        } else if (!stricmp(v, "unisat")) {
            FLAG_set(14, SAT_UNISYS);
        } else if (!stricmp(v, "tiff")) {
            FLAG_set(14, SAT_TIFF);
        } else if (!stricmp(v, "lrit")) {
            FLAG_set(14, SAT_LRIT);
        }
    }
    free_parsed_array(count, values);

    count = 0;
    values = nullptr;
    RES_getvals("in_file", &count, &values);
    for (int i = 0; i < count; ++i) {
        const char* v = values[i];
        if (!stricmp(v, "area")) {
            FLAG_set(14, SAT_AREA);
        } else if (!stricmp(v, "vis")) {
            FILE_set_name("sat_vis");
        } else if (!stricmp(v, "ir")) {
            FILE_set_name("sat_ir");
        } else if (!stricmp(v, "wv")) {
            FILE_set_name("sat_wv");
        } else if (!stricmp(v, "img")) {
            FILE_set_name("sat_img");
        } else if (!strnicmp(v, "awip", 4)) {
            // Stands ahead of "awipz" and takes it too: in_file never selects 54.
            FLAG_set(14, SAT_AWIP);
            set_name_after_keyword(v);
        } else if (!strnicmp(v, "awipz", 5)) {
            FLAG_set(14, SAT_AWIPZ);
            set_name_after_keyword(v);
        } else if (!strnicmp(v, "unis", 4)) {
            FLAG_set(14, SAT_UNISYS);
            set_name_after_keyword(v);
        } else if (!strnicmp(v, "tiff", 4)) {
            FLAG_set(14, SAT_TIFF);
            set_name_after_keyword(v);
        } else if (!strnicmp(v, "lrit", 4)) {
            FLAG_set(14, SAT_LRIT);
            set_name_after_keyword(v);
        } else {
            FILE_set_name(v);
        }
    }
    free_parsed_array(count, values);
    return 0;
}

int SAT_set_date(const Date* date) {
    if (date)
        base_date = *date;
    else
        FILE_get_date(&base_date);
    return 0;
}

int SAT_plot(Domain* domain) {
    tmp_domain = *domain;
    bool first_entry = false;
    if (!gchk_graphics()) {
        SAT_plot_param();
        float aspect = (domain->proj == -9999 && domain->nx == -9999) ? 1.5f : DOM_aspect(domain);
        PLT_open(aspect);
        PLT_set_callback(SAT_callback);
        PLT_set_zoom_func(SAT_plot);
        PLT_set_resize_func(SAT_plot);
        if (SAT_params().refresh) PLT_set_refresh_func(60, SAT_plot_nextfile);
        first_entry = true;
    } else {
        float aspect = (domain->proj == -9999) ? 1.5f : DOM_aspect(domain);
        PLT_reset(aspect);
    }

    FILE_first(&base_date);
    int frame = 0;
    while (FILE_get_next(filename)) {
        FILE_get_date(&file_date);
        if (!SAT_read_file(filename, &image)) {
            // A failed read in a run is skipped and uses up no frame number.
            if (FILE_get_num_file() != 0) continue;
            PLT_exit(10);
        }
        const int late = FILE_get_late_off();
        fsecs = DATE_num_sec(&file_date);
        if (late > 0) fsecs = fsecs / late * late;
        if (FILE_get_num_file() != 0) gselect_frame(gcreate_frame(frame));
        SAT_plot_frame();
        if (FILE_get_num_file() != 0) gdisplay_frame(frame);
        PLT_dump(frame);
        ++frame;
    }
    // A run in which no file could be read ends as a failed read does.
    if (frame == 0) PLT_exit(ZMT_EXIT_NO_INPUT);
    if (FILE_get_num_file() != 0) gset_looping(1);

    if (first_entry) PLT_close();
    return 0;
}

int SAT_plot_frame() {
    SatParams& params = SAT_params();
    SAT_color_setup();
    if (tmp_domain.proj >= 1 && tmp_domain.proj <= 9) {
        SAT_domain_image(&tmp_domain);
        SAT_remap_image(&image, &tmp_domain);
    }
    if (tmp_domain.proj == 50)
        SAT_zoom_image(&image, tmp_domain.clat, tmp_domain.clon, tmp_domain.dx);
    if (params.zoom != 1.0f) SAT_zoom_image(&image, -9999.0f, -9999.0f, params.zoom);

    // The native file holds the raw counts on the remapped or zoomed grid, before
    // the pixel offset and the colouring.
    FILE_save_name_conv();
    const int mode = SAT_out_file();
    if (mode != 0) {
        FILE_set_date(&file_date, filename);
        const int over = FILE_overwrite(filename, 1);
        if (over == 0 || over == 1) {
            MESS_print(0xf, "Writing image file: %s\n", filename);
            IMG_write(filename, &image, mode == 2 ? 1 : 0);
        }
    }
    FILE_restore_name_conv();

    SAT_image_setup(&image, &plot_domain);
    SAT_color_image(&image);
    MAP_draw(1);
    if (FLAG_getplot(7)) {
        gsel_norm_tran(2);
        if (params.over)
            goverlay_image(&image, "black", 0, 0);
        else
            gload_image(&image, 0, 0);
    }
    if (params.bar != 0) SAT_color_bar(params.bar - 1);
    IMG_free(&image);
    MAP_setup(&plot_domain);
    MAP_draw(6);
    PLT_labels();
    return 0;
}

int SAT_plot_nextfile(Domain*) {
    char name[160] = "";
    const int secs = FILE_set_current(nullptr, name);
    if (secs == fsecs) return 0;
    if (!SAT_read_file(name, &image)) {
        FILE_get_num_file();
        return 0;
    }
    SAT_set_date(nullptr);
    fsecs = secs;
    const int n = gget_num_images();
    if (n >= 1) {
        // The loop keeps its length: every frame moves one place to the front.
        for (int i = 0; i <= n - 2; ++i) gcopy_frame(i, i + 1);
        gselect_frame(gcreate_frame(n - 1));
        SAT_plot_frame();
        gdisplay_frame(n - 1);
    } else {
        gclear_frame(-3);
        SAT_plot_frame();
    }
    return 0;
}

int SAT_callback(int, const char* event, float x, float y) {
    PLT_print_values(event, x, y);
    PLT_plot_zoom(event, x, y);
    return PLT_plot_resize(event);
}
