// Colour enhancement: the count to colour tables, the infrared scales, the colouring
// of an image in place and the colour bar under the picture.
#include "app/sat_color.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>

#include "app/sat.h"
#include "app/sat_params.h"
#include "env/colors.h"
#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "formats/image.h"
#include "graphics/graphics.h"
#include "plot/plot.h"

namespace {

constexpr int num_bins = 256;
constexpr int max_words = 256;
constexpr size_t max_word = 4096;
constexpr size_t enhance_size = 10;

int color_max = 15;
char enhance[enhance_size] = "";
int dither = 0;
int color_ps = 0;

std::array<int, num_bins + 1> sat_cut{};
std::array<int, num_bins> color_fill_ind{};
// One more than the bins, so that the grey blend may look at the bin after the last.
std::array<int, num_bins + 1> color_ind{};
std::array<int, num_bins> dither_ind{};
std::array<int, num_bins> color_dith_ind{};
std::array<uint8_t, num_bins> sat_ind{};
std::array<uint8_t, num_bins> sat_dith_ind{};
std::array<uint8_t, num_bins> sat_dither{};
std::array<int, num_bins> sat_color_ind{};

// A float to int conversion that truncates towards zero like a C cast, held to the
// int range so that no input can make it undefined.
int trunc_int(double value) {
    if (std::isnan(value)) return 0;
    if (value >= static_cast<double>(INT_MAX)) return INT_MAX;
    if (value <= static_cast<double>(INT_MIN)) return INT_MIN;
    return static_cast<int>(value);
}

int to_int(const char* text) {
    long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

// Palette index of a colour index: the range mark (1000 or 2000) goes, the low byte
// stays, so an unknown colour (-1) comes out as 255.
uint8_t pal(int index) {
    const int64_t value = static_cast<int64_t>(index) + static_cast<int64_t>(index / 1000) * 24;
    return static_cast<uint8_t>(static_cast<uint64_t>(value) & 0xffu);
}

void set_enhance(const char* text) {
    std::snprintf(enhance, sizeof enhance, "%s", text);
}

// A range of colour table entries, one bin each, marked with 1000.
void decode_range(char* text, char* dash, int* index) {
    *dash = '\0';
    const int first = CLR_get_ind(text);
    const int last = CLR_get_ind(dash + 1);
    const int step = (last >= first) ? 1 : -1;
    for (int64_t i = first;; i += step) {
        if (*index >= num_bins) break;
        color_fill_ind[static_cast<size_t>(*index)] = static_cast<int>(i + 1000);
        ++*index;
        if (i == last) break;
    }
}

// The dither level character and the second colour after a "%".
void decode_dither(char* percent, int bin) {
    *percent = '\0';
    const unsigned char level = static_cast<unsigned char>(percent[1]);
    if (dither == 0) {
        if (std::isdigit(level))
            dither = 3;
        else if (std::islower(level))
            dither = 5;
    }
    if (dither == 3 && std::isdigit(level))
        dither_ind[static_cast<size_t>(bin)] = std::min(std::max(level - '0', 0), 9);
    else if (dither == 5 && std::islower(level))
        dither_ind[static_cast<size_t>(bin)] = std::min(std::max(level - 'a', 0), 25);
    const char* second = level ? percent + 2 : percent + 1;
    color_dith_ind[static_cast<size_t>(bin)] = CLR_get_ind(second);
}

// Reads the words of an enhancement file. False if it does not open.
bool read_enhancement(const char* name, int* bin) {
    std::string path;
    FILE_find_table(RES_get("file_path"), name, &path);
    // A table is a plain file: never the terminal, a device or a command.
    FILE* file = FILE_is_stdio(path.c_str()) ? nullptr : FILE_open(path.c_str(), "r");
    if (!file) {
        MESS_print(MESS_WARN, "SAT_color_setup: Unable to read enhancement file: %s\n",
                   path.c_str());
        return false;
    }
    std::string word;
    TextBudget budget(path.c_str());
    auto next = [&]() {
        int c = std::fgetc(file);
        return c != EOF && budget.take(c) ? c : EOF;
    };
    for (int n = 0; n < max_words; ++n) {
        word.clear();
        int c = 0;
        while ((c = next()) != EOF && std::isspace(c)) {
        }
        while (c != EOF && !std::isspace(c)) {
            if (word.size() < max_word) word.push_back(static_cast<char>(c));
            c = next();
        }
        if (word.empty()) break;
        if (n == 0) {
            set_enhance(word[0] == '@' ? word.c_str() + 1 : word.c_str());
        } else if (word.compare(0, 6, "@label") == 0) {
            set_enhance(word.size() > 7 ? word.c_str() + 7 : "");
        } else if (word[0] == '@' || word[0] == '#') {
            continue;
        } else {
            SAT_decode_colors(word.data(), bin);
        }
    }
    std::fclose(file);
    MESS_print(MESS_OUT1, "Enhancement: %s\n", enhance);
    return true;
}

void print_tables() {
    MESS_print(MESS_DEBUG_A, "Table of color breakoff values\n");
    for (int i = 0; i <= color_max; ++i)
        MESS_print(MESS_DEBUG_A, "BREAK: %d COLOR: %d\n", sat_cut[static_cast<size_t>(i)],
                   color_ind[static_cast<size_t>(i)]);
    MESS_print(MESS_DEBUG_A, "Table of color bin indicies for each sat pix value\n");
    for (int v = 0; v < num_bins; ++v) {
        if (v % 10 == 0) MESS_print(MESS_DEBUG_A, "%s%3d: ", v ? "\n" : "", v);
        MESS_print(MESS_DEBUG_A, "%3d:%3d ", sat_color_ind[static_cast<size_t>(v)],
                   sat_ind[static_cast<size_t>(v)]);
    }
    MESS_print(MESS_DEBUG_A, "\n");
}

}  // namespace

int SAT_ir_ind(float temperature) {
    switch (SAT_params().imager_source) {
        case SAT_AREA:
        case SAT_AWIP:
            if (temperature >= -30) return trunc_int(temperature * -2.0f) + 114;
            return trunc_int(145 - temperature);
        case SAT_UNISYS: {
            float t = temperature;
            if (temperature != ZMT_FMISSING) t = static_cast<float>(temperature + 273.15);
            const double radiance = 50789.3 / (std::exp(1344.3 / t) - 1) + 15.68;
            const int64_t count = 255 - static_cast<int64_t>(trunc_int(radiance * 0.25));
            return static_cast<int>(std::clamp<int64_t>(count, INT_MIN, INT_MAX));
        }
        default:
            return 0;
    }
}

float SAT_ind_ir(int count) {
    switch (SAT_params().imager_source) {
        case SAT_AREA:
        case SAT_AWIP:
            if (count < 176) return static_cast<float>((114 - count) * 0.5);
            return static_cast<float>(145 - count);
        case SAT_UNISYS: {
            const double v = 50789.3 / ((255 - count) * 4 - 15.68) + 1;
            const double kelvin = 1344.3 / std::log(v);
            if (kelvin == ZMT_DMISSING) return ZMT_FMISSING;
            return static_cast<float>(kelvin - 273.15);
        }
        default:
            return 0.0f;
    }
}

int SAT_decode_colors(char* text, int* index) {
    if (!text || !index || *index < 0 || *index >= num_bins) return 0;
    if (text[0] != 'c') {
        if (char* dash = std::strchr(text, '-')) {
            decode_range(text, dash, index);
            return 0;
        }
    }
    const int bin = *index;
    char* colour = text;
    if (char* colon = std::strchr(text, ':')) {
        *colon = '\0';
        if (text[0] == 'c')
            sat_cut[static_cast<size_t>(bin)] = SAT_ir_ind(std::strtof(text + 1, nullptr));
        else
            sat_cut[static_cast<size_t>(bin)] = to_int(text);
        colour = colon + 1;
    }
    if (char* percent = std::strchr(colour, '%')) decode_dither(percent, bin);
    color_fill_ind[static_cast<size_t>(bin)] = CLR_get_ind(colour);
    ++*index;
    return 0;
}

namespace {

// The fill colours of the bins from "color_fill": the colour table's fill range when
// it is not given, an enhancement file when it names one, else one range a value.
// False when the enhancement file cannot be read.
bool read_fill_colors() {
    int count = 0;
    char** values = nullptr;
    RES_getvals("color_fill", &count, &values);
    if (count <= 0) {
        const int fill_colors = std::min(CLR_get_num_fill(), num_bins - 1);
        if (fill_colors > 0) {
            color_max = fill_colors;
            for (int i = 0; i < fill_colors; ++i) color_fill_ind[static_cast<size_t>(i)] = i;
        }
    } else if (count == 1 && !std::strchr(values[0], '-')) {
        int bin = 0;
        const bool read = read_enhancement(values[0], &bin);
        free_parsed_array(count, values);
        if (!read) return false;
        color_max = bin - 1;
    } else {
        int bin = 0;
        for (int i = 0; i < count && i < num_bins; ++i) SAT_decode_colors(values[i], &bin);
        free_parsed_array(count, values);
        color_max = bin - 1;
    }
    return true;
}

// The device's index of each bin's colour: a grey level on a monochrome PostScript
// page, the fill index itself on a colour one, the palette entry on a window.
void device_indexes(bool postscript, bool grey_ps) {
    for (int i = 0; i <= color_max; ++i) {
        const int fill_ind = color_fill_ind[static_cast<size_t>(i)];
        int& ind = color_ind[static_cast<size_t>(i)];
        if (grey_ps) {
            float red = 0, green = 0, blue = 0;
            CLR_get_rgb(fill_ind % 1000, &red, &green, &blue);
            ind = trunc_int((0.9 * red + green + 0.8 * blue) / 2.7 * 255);
        } else if (postscript) {
            ind = fill_ind;
        } else {
            ind = fill_ind % 1000;
        }
        if (fill_ind > 999) ind += 1000;
    }
    // The bin after the last is never a range for the grey blend.
    color_ind[static_cast<size_t>(color_max + 1)] = 0;
}

// The value where each bin starts: the first at 0, the end at 256, and bins without a
// break-off sharing the span between their marked neighbours evenly.
void spread_cuts() {
    if (sat_cut[0] == ZMT_MISSING) sat_cut[0] = 0;
    sat_cut[static_cast<size_t>(color_max + 1)] = 256;

    for (int c = 1; c <= color_max; ++c) {
        if (sat_cut[static_cast<size_t>(c)] != ZMT_MISSING) continue;
        int k = c + 1;
        while (sat_cut[static_cast<size_t>(k)] == ZMT_MISSING) ++k;
        const int64_t base = sat_cut[static_cast<size_t>(c - 1)];
        const int64_t span = sat_cut[static_cast<size_t>(k)] - base;
        for (int j = 1; j <= k - c; ++j)
            sat_cut[static_cast<size_t>(c + j - 1)] =
                static_cast<int>(base + span * j / (k - c + 1));
    }
}

// For every pixel value: its bin, its palette entry (blended between grey ranges on a
// monochrome page) and on a window its dither pattern.
void fill_value_tables(bool postscript, bool grey_ps) {
    int c = 0;
    for (int v = 0; v < num_bins; ++v) {
        const size_t p = static_cast<size_t>(v);
        if (sat_cut[static_cast<size_t>(c + 1)] == v) ++c;
        if (v < sat_cut[0]) {
            sat_ind[p] = pal(color_ind[0]);
            sat_color_ind[p] = 0;
            continue;
        }
        const size_t b = static_cast<size_t>(c);
        sat_color_ind[p] = c;
        if (grey_ps && color_ind[b] > 999 && color_ind[b + 1] > 999) {
            const int64_t lo = sat_cut[b], hi = sat_cut[b + 1];
            const int64_t span = hi - lo;
            const int64_t mixed =
                span == 0
                    ? color_ind[b] % 1000
                    : ((color_ind[b + 1] % 1000) * (v - lo) + (hi - v) * (color_ind[b] % 1000)) /
                          span;
            sat_ind[p] = static_cast<uint8_t>(static_cast<uint64_t>(mixed) & 0xffu);
        } else if (postscript) {
            sat_ind[p] = pal(color_ind[b]);
        } else {
            sat_ind[p] = pal(color_ind[b]);
            sat_dither[p] = static_cast<uint8_t>(dither_ind[b]);
            sat_dith_ind[p] = pal(color_dith_ind[b]);
        }
    }
}

}  // namespace

int SAT_color_setup() {
    color_max = 15;
    color_ps = gps_get_colorPS();
    enhance[0] = '\0';

    sat_cut.fill(ZMT_MISSING);
    for (int i = 0; i < num_bins; ++i) {
        color_fill_ind[static_cast<size_t>(i)] = 1000 + i;
        dither_ind[static_cast<size_t>(i)] = 0;
    }

    if (!read_fill_colors()) return 0;

    const int work_type = PLT_get_work_type();
    const bool postscript = work_type == 4;
    const bool grey_ps = postscript && !color_ps;
    device_indexes(postscript, grey_ps);

    spread_cuts();

    fill_value_tables(postscript, grey_ps);
    print_tables();
    return 0;
}

int SAT_color_image(Image* image) {
    if (!image) return -1;
    const int n = std::max(CLR_get_num(), 0);
    float* table = static_cast<float*>(std::malloc(static_cast<size_t>(n) * 3 * sizeof(float) + 1));
    if (!table) {
        MESS_print(MESS_ERROR, "SAT_color_image: Unable to allocate the colour table\n");
        return -1;
    }
    for (int i = 0; i < n; ++i) {
        const size_t at = static_cast<size_t>(i) * 3;
        CLR_get_rgb(i, &table[at], &table[at + 1], &table[at + 2]);
    }
    const uint8_t black = pal(CLR_get_ind("black"));

    if (image->depth == 8 && image->data && image->height > 0 && image->bytes_per_line > 0) {
        const int fill = SAT_params().fill;
        const int width = image->bytes_per_line;
        unsigned char* p = image->data;
        for (int y = 0; y < image->height; ++y) {
            for (int x = 0; x < width; ++x, ++p) {
                const uint8_t count = *p;
                uint8_t value = sat_ind[count];
                if (dither && DITHER_val(dither, sat_dither[count], x, y))
                    value = sat_dith_ind[count];
                if (fill && !gfill_test(fill, x, y)) value = black;
                *p = value;
            }
        }
    }
    // The record owns its colour table, so a table from the reader goes here.
    std::free(image->colors);
    image->colors = table;
    image->num_colors = n;
    return 0;
}

int SAT_color_bar(int type) {
    Attrib attrib;
    ATTRIB_init(&attrib);
    ATTRIB_get("color_text", "white", &attrib);
    GPH_line_attr(&attrib);
    GPH_trans(1);
    float view[4] = {0, 0, 0, 0};
    float size[4] = {0, 0, 0, 0};
    PLT_get_view(view);
    GPH_get_view_size(size);
    const float l = view[0], r = view[1], b = view[2];
    const float sb = size[2];

    float h = b - sb;
    if (h > 0.035) h = 0.035;
    if (h < 0.01) return -1;

    const float x0 = l + 0.03 * (r - l);
    const float x1 = (l + r) * 0.5;
    const float ybot = b - h;
    const float ytop = b - 0.15 * h;
    const float w = (x1 - x0) / 256;

    float x = x0;
    for (int v = 0; v < num_bins; ++v) {
        gset_fill_colr_ind(
            color_fill_ind[static_cast<size_t>(sat_color_ind[static_cast<size_t>(v)])] % 1000);
        float cell[10] = {x, ybot, x + w, ybot, x + w, ytop, x, ytop, x, ybot};
        gfill_area(5, cell);
        x += w;
    }
    if (type != 0) {
        for (int t = 50; t >= -110; t -= 10) {
            const float tx = x0 + SAT_ir_ind(static_cast<float>(t)) * w;
            const float length = (t == 50 || t == 0 || t == -50 || t == -100) ? 0.015 : 0.01;
            float tick[4] = {tx, ytop, tx, ytop - length};
            gpolyline(2, tick);
            gpolyline(2, tick);
        }
    }
    for (int i = 0; i < 16; ++i) {
        const float tx = x0 + (i * 16) * w;
        float tick[4] = {tx, ybot, tx, static_cast<float>(ybot + 0.01)};
        gpolyline(2, tick);
    }
    float outline[10] = {x0, ybot, x1, ybot, x1, ytop, x0, ytop, x0, ybot};
    gpolyline(5, outline);
    GPH_trans(2);
    return 0;
}

int SAT_color_get_max() {
    return color_max;
}
const char* SAT_color_get_enhance() {
    return enhance;
}
int SAT_color_get_dither() {
    return dither;
}

int SAT_color_get_cut(int bin) {
    return (bin >= 0 && bin <= num_bins) ? sat_cut[static_cast<size_t>(bin)] : ZMT_MISSING;
}

int SAT_color_get_fill_ind(int bin) {
    return (bin >= 0 && bin < num_bins) ? color_fill_ind[static_cast<size_t>(bin)] : ZMT_MISSING;
}

int SAT_color_get_color_ind(int bin) {
    return (bin >= 0 && bin < num_bins) ? color_ind[static_cast<size_t>(bin)] : ZMT_MISSING;
}

int SAT_color_get_dither_ind(int bin) {
    return (bin >= 0 && bin < num_bins) ? dither_ind[static_cast<size_t>(bin)] : ZMT_MISSING;
}

int SAT_color_get_dith_color(int bin) {
    return (bin >= 0 && bin < num_bins) ? color_dith_ind[static_cast<size_t>(bin)] : ZMT_MISSING;
}

int SAT_color_get_bin(int count) {
    return (count >= 0 && count < num_bins) ? sat_color_ind[static_cast<size_t>(count)]
                                            : ZMT_MISSING;
}

int SAT_color_get_pixel(int count) {
    return (count >= 0 && count < num_bins) ? sat_ind[static_cast<size_t>(count)] : ZMT_MISSING;
}

void SAT_color_reset() {
    dither = 0;
    sat_dither.fill(0);
}
