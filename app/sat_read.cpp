// Image read and setup of the display: the plot parameters, one file to one
// decoded and navigated Image, the grid of a remap and the domain drawn on.
#include <algorithm>
#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "app/sat.h"
#include "app/sat_params.h"
#include "env/colors.h"
#include "env/dates.h"
#include "env/domains.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/resources.h"
#include "formats/area.h"
#include "formats/awips.h"
#include "formats/image.h"
#include "formats/lrit.h"
#include "formats/tiff.h"
#include "formats/unisys.h"
#include "graphics/graphics.h"
#include "maps/projections.h"
#include "navigation/area_nav.h"
#include "navigation/gvar.h"
#include "plot/plot.h"

namespace {

// The AREA file of the last read. The navigation keeps a pointer to it for the
// remap that follows the read, so it outlives SAT_read_file.
AreaFile area;

// An integer as atoi reads it, held to the int range instead of overflowing.
int int_at(const char* text) {
    long long v = std::strtoll(text, nullptr, 10);
    return static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX));
}

// "%d:%d:%d:%d" as sscanf counts it (-1 for a text with nothing to read), each number
// held to the int range.
int colon_ints(const char* text, int* out[4]) {
    const char* p = text;
    while (std::isspace(static_cast<unsigned char>(*p))) ++p;
    if (!*p) return -1;
    int n = 0;
    for (; n < 4; ++n) {
        if (n > 0) {
            if (*p != ':') break;
            ++p;
        }
        char* end = nullptr;
        long long v = std::strtoll(p, &end, 10);
        if (end == p) break;
        *out[n] = static_cast<int>(std::clamp<long long>(v, INT_MIN, INT_MAX));
        p = end;
    }
    return n;
}

// Text from a given character on, or an empty text when the value is shorter.
const char* from_char(const char* text, size_t position) {
    return std::strlen(text) >= position ? text + position : "";
}

int32_t dir_word(const AreaFile& a, int n) {
    return a.dir[n];
}

const char* dir_text(const AreaFile& a, int byte) {
    return reinterpret_cast<const char*>(a.dir) + byte;
}

// Prints the report that `output` asks for; 1 when one was printed.
int report(Image* image) {
    const char* output = RES_get("output");
    if (!output || !*output) return 0;
    if (!stricmp(output, "date")) {
        MESS_print(MESS_PRINT, "%s\n", image->date_label);
        return 1;
    }
    if (!stricmp(output, "seq")) {
        char text[32];
        DATE_make_seq(&image->date, text);
        MESS_print(MESS_PRINT, "%s\n", text);
        return 1;
    }
    if (!stricmp(output, "file")) {
        char text[512] = "";
        FILE_save_name_conv();
        const char* out_file = RES_get("out_file");
        if (out_file && *out_file) FILE_set_name(out_file);
        FILE_set_date(&image->date, text);
        FILE_restore_name_conv();
        MESS_print(MESS_PRINT, "%s\n", text);
        return 1;
    }
    return 0;
}

int read_area(const char* name, Image* image) {
    SatParams& params = SAT_params();
    FILE* stream = FILE_open(name, "r");
    if (!stream) {
        MESS_print(MESS_WARN, "SAT_read_file: Unable to open file:%s\n", name);
        return 0;
    }
    SAT_free_AREA(&area);
    area = AreaFile{};
    const int status = SAT_read_AREA(stream, &area);
    std::fclose(stream);
    if (status == -1) {
        MESS_print(MESS_WARN, "SAT_read_file: Unable to read image file\n");
        return 0;
    }

    const int32_t lines = dir_word(area, 8), elements = dir_word(area, 9);
    image->source = params.imager_source = SAT_AREA;
    params.imager_type = 0;
    image->width = image->bytes_per_line = elements;
    image->height = lines;
    image->xres = static_cast<float>(static_cast<uint32_t>(dir_word(area, 12)));
    image->yres = static_cast<float>(static_cast<uint32_t>(dir_word(area, 11)));
    image->xoff = static_cast<float>(dir_word(area, 6));
    if (!std::strcmp(area.nav_type, "GOES"))
        image->yoff = static_cast<float>(static_cast<uint32_t>(dir_word(area, 5)) -
                                         static_cast<uint32_t>(dir_word(area, 47)));
    else
        image->yoff = static_cast<float>(dir_word(area, 5));
    image->depth = 8;
    image->byte_order = 1;
    std::free(image->data);
    image->data = area.data;  // the image owns the pixels from here on
    area.data = nullptr;

    const int32_t yyddd = dir_word(area, 3), hhmmss = dir_word(area, 4);
    int year = yyddd / 1000;
    if (year < 50)
        year += 2000;
    else if (year < 200)
        year += 1900;
    image->date.year = year;
    DATE_julian_monday(year, yyddd % 1000, &image->date.month, &image->date.day);
    image->date.hour = hhmmss / 10000;
    image->date.minute = (hhmmss / 100) % 100;
    std::memcpy(image->info, dir_text(area, 96), 32);
    image->info[32] = '\0';

    DATE_make_label(&image->date, image->date_label);
    PLT_label_up_left(image->info);
    PLT_label_up_right(image->date_label);
    if (report(image)) return 0;

    MESS_print(MESS_OUT2, "Date: %s\n", image->date_label);
    MESS_print(MESS_OUT2, "Size: %dx%d\n", elements, lines);
    MESS_print(MESS_OUT3, "Resolution: %dx%d\n", dir_word(area, 12), dir_word(area, 11));
    MESS_print(MESS_OUT3, "Correction: %dx%d\n", dir_word(area, 6), dir_word(area, 5));
    MESS_print(MESS_OUT3, "Bands: %x\n", static_cast<unsigned>(dir_word(area, 18)));
    MESS_print(MESS_OUT3, "Source type: %4.4s\n", dir_text(area, 4 * 51));
    MESS_print(MESS_OUT3, "Calibration type: %4.4s\n", dir_text(area, 4 * 52));
    MESS_print(MESS_OUT3, "Navigation type: %4.4s\n", area.nav_type);
    MESS_print(MESS_OUT2, "Comments: %32.32s\n", dir_text(area, 96));

    AREA_init(&area);
    AREA_calc_domain(image, &area);
    return 1;
}

}  // namespace

int SAT_plot_param() {
    SatParams& p = SAT_params();
    int count = 0;
    char** values = nullptr;
    RES_getvals("plot_param", &count, &values);
    for (int i = 0; i < count; ++i) {
        const char* v = values[i];
        const size_t len = std::strlen(v);
        if (!strnicmp(v, "remap", 5)) {
            p.remap_inc = len < 6 ? 20 : int_at(from_char(v, 6));
        } else if (!strnicmp(v, "tran_sat", 8)) {
            p.tran_sat = 1;
        } else if (!strnicmp(v, "tran_zmt", 8)) {
            p.tran_sat = 0;
        } else if (!strnicmp(v, "no_pixave", 8)) {
            p.pix_ave = 0;
        } else if (!strnicmp(v, "zoom", 4)) {
            p.zoom = static_cast<float>(std::atof(from_char(v, 5)));
        } else if (!strnicmp(v, "fill", 4)) {
            p.fill = ATTR_parse_fill_pat(from_char(v, 5));
        } else if (!strnicmp(v, "over", 4)) {
            p.over = 1;
        } else if (!strnicmp(v, "bar", 3)) {
            p.bar = 1;
        } else if (!strnicmp(v, "irbar", 3)) {
            p.bar = 2;
        } else if (!strnicmp(v, "pixoff", 6)) {
            p.pix_off = int_at(from_char(v, 7));
        } else if (!strnicmp(v, "minlon", 6)) {
            p.min_lon = static_cast<float>(std::atof(from_char(v, 7)));
        } else if (!strnicmp(v, "maxlon", 6)) {
            p.max_lon = static_cast<float>(std::atof(from_char(v, 7)));
        } else if (!strnicmp(v, "shift", 5)) {
            SAT_set_bit_shift(int_at(from_char(v, 6)));
        } else if (!stricmp(v, "refresh")) {
            p.refresh = 1;
        } else if (!strnicmp(v, "cutoff", 6)) {
            int* fields[4] = {&p.cutbase, &p.cutoff[1], &p.cutoff[2], &p.cutoff[3]};
            int n = colon_ints(from_char(v, 7), fields);
            if (n < 0) n = 0;
            p.numcut = n - 1;
            p.cutoff[0] = 0;
            p.cutoff[n] = 256;
        }
    }
    free_parsed_array(count, values);
    return 0;
}

int SAT_read_file(const char* name, Image* image) {
    SatParams& params = SAT_params();
    const int type = FLAG_get(14);
    if (type == SAT_AREA) return read_area(name, image);

    params.tran_sat = 0;
    int status = -1;
    switch (type) {
        case SAT_AWIP:
        case SAT_AWIPZ:
            MESS_print(MESS_MESS, "Reading image file: %s\n", name);
            status = SAT_read_AWIP(name, image);
            if (status == -1) return 0;
            params.imager_source = SAT_AWIP;
            params.imager_type = image->type;
            break;
        case SAT_UNISYS:
            MESS_print(MESS_MESS, "Reading image file: %s\n", name);
            status = SAT_read_Unisys(name, image);
            if (status == -1) return 0;
            params.imager_source = SAT_UNISYS;
            params.imager_type = image->type;
            if (image->domain.proj == 9) {
                params.tran_sat = 1;
                GVAR_calc_domain(image);
            }
            break;
        case SAT_NATIVE:
            MESS_print(MESS_MESS, "Reading image file: %s\n", name);
            status = IMG_read_zmt(name, image);
            if (status == -1) return 0;
            if (image->date.year != ZMT_MISSING) DATE_make_label(&image->date, image->date_label);
            break;
        case SAT_TIFF:
        case SAT_LRIT:
            status = type == SAT_TIFF ? SAT_read_TIFF(name, image) : SAT_read_LRIT(name, image);
            if (status == -1) return 0;
            MESS_print(MESS_MESS, "Processing image file: %s\n", name);
            if (image->date.year != ZMT_MISSING) DATE_make_label(&image->date, image->date_label);
            break;
        default:
            return 0;
    }

    MESS_print(MESS_OUT2, "Date: %s\n", image->date_label);
    MESS_print(MESS_OUT2, "Info: %s\n", image->info);
    image->byte_order = 1;
    PLT_label_up_left(image->info);
    PLT_label_up_right(image->date_label);
    MESS_print(MESS_OUT2, "Image domain: ");
    DOM_print(0xf0000, &image->domain);
    return 1;
}

namespace {

// The plot's size in pixels: the viewport of transformation 2 when a device is open,
// else the geometry resource, else 640 by 427. A metafile has no pixels and leaves
// the viewport unwritten, so it takes the size a closed device would.
void viewport_size(int* width, int* height) {
    *width = 640;
    *height = 427;
    if (gchk_graphics()) {
        int vp[4] = {0, 0, 0, 0};
        gsel_norm_tran(2);
        gget_gviewport(vp);
        if (vp[2] > 0 && vp[3] > 0) {
            *width = vp[2];
            *height = vp[3];
            return;
        }
    }
    if (const char* geometry = RES_get("geometry"); geometry && *geometry) {
        int w = 0, h = 0;
        if (std::sscanf(geometry, "%dx%d", &w, &h) == 2) {
            *width = w;
            *height = h;
        }
    }
}

}  // namespace

int SAT_domain_image(Domain* domain) {
    if (domain->proj == ZMT_MISSING) return 0;
    int width = 0, height = 0;
    viewport_size(&width, &height);
    MAP_domain(domain);
    float limits[4];
    MAP_get_limits(limits);
    domain->dx = (limits[1] - limits[0]) / static_cast<float>(width - 1);
    domain->dy = (limits[3] - limits[2]) / static_cast<float>(height - 1);
    domain->nx = width;
    domain->ny = height;
    return 0;
}

int SAT_image_setup(Image* image, Domain* domain) {
    const SatParams& params = SAT_params();
    int vp[4] = {0, 0, 0, 0};
    gsel_norm_tran(2);
    gget_gviewport(vp);
    int w = vp[2], h = vp[3];
    if (gchk_graphics() && (w <= 0 || h <= 0)) viewport_size(&w, &h);
    DOM_init(domain);
    const Domain& img = image->domain;
    domain->proj = img.proj;

    // Which projection parameters carry over from the image's domain.
    const bool navigated_source = image->source == SAT_AREA || image->source == SAT_UNISYS;
    bool plat = true, tlat1 = true, tlat2 = true, scale = true, ext = true;
    bool copy = true;
    if (navigated_source) {
        switch (img.proj) {
            case 1:
            case 2:
                tlat2 = scale = ext = false;
                break;
            case 3:
            case 4:
                scale = ext = false;
                break;
            case 7:
                tlat1 = tlat2 = scale = ext = false;
                break;
            case 9:
                scale = image->source == SAT_AREA && params.tran_sat;
                break;
            default:
                copy = false;
        }
    } else if (img.proj == 9) {
        scale = false;
    }

    if (copy) {
        MAP_domain(&img);
        domain->dx = img.dx;
        domain->dy = img.dy;
        float x, y;
        MAP_grid_tran(static_cast<float>(w / 2), static_cast<float>(h / 2), &x, &y);
        MAP_untran(x, y, &domain->clat, &domain->clon);
        domain->plon = img.plon;
        if (plat) domain->plat = img.plat;
        if (tlat1) domain->param[0] = img.param[0];
        if (tlat2) domain->param[1] = img.param[1];
        if (scale) domain->param[2] = img.param[2];
        if (ext) domain->ext = img.ext;
        domain->nx = w;
        domain->ny = h;
        MESS_print(MESS_OUT2, "Plot domain: ");
        DOM_print(0xf000, domain);
    }

    const long size = static_cast<long>(image->height) * image->bytes_per_line;
    if (params.pix_off != 0 && size >= 1 && image->data) {
        for (long i = 0; i < size; ++i) {
            // In 64 bits: any offset beyond a byte's range saturates like the int form.
            long long v = image->data[i] + static_cast<long long>(params.pix_off);
            image->data[i] = static_cast<unsigned char>(v < 0 ? 0 : (v > 255 ? 255 : v));
        }
    }
    return 0;
}

int SAT_out_file() {
    int count = 0;
    char** values = nullptr;
    RES_getvals("out_file", &count, &values);
    // A template typed as the output name may be a "|command"; one read from a file not.
    const int typed = RES_typed("out_file");
    int result = 0;
    for (int i = 0; i < count; ++i) {
        const char* v = values[i];
        const size_t len = std::strlen(v);
        if (!strnicmp(v, "imgz", 4)) {
            FILE_set_name_user(len > 4 ? v + 5 : "sat_img", typed);
            result = 2;
        } else if (!strnicmp(v, "img", 3)) {
            FILE_set_name_user(len > 3 ? v + 4 : "sat_img", typed);
            result = 1;
        } else {
            // "none" and "gif" values end here too: a "gif" is meant for the plot's
            // dump, and a native file is attempted all the same.
            FILE_set_name_user(v, typed);
            result = 1;
        }
    }
    free_parsed_array(count, values);
    return result;
}
