// The colour table and the attribute strings.
#include "env/colors.h"

#include <array>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "env/files.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "graphics/graphics.h"

namespace {

constexpr int max_colors = 256;
constexpr int name_size = 20;
constexpr int line_size = 100;

struct ColorEntry {
    char name[name_size];
    float red, green, blue;
};

std::array<ColorEntry, max_colors> colors{};
int num_colors = 0;
int num_fill = 0;

struct FixedWord {
    const char* word;
    int index;
};

constexpr std::array<FixedWord, 13> fixed_words = {{
    {"end", -2},
    {"none", -1},
    {"off", -1},
    {"back", -1},
    {"pblk", 500},
    {"pbblk", 501},
    {"ptblk", 502},
    {"pwht", 503},
    {"pbwht", 504},
    {"ptwht", 505},
    {"pgry", 506},
    {"pbgry", 507},
    {"ptgry", 508},
}};

// A decimal integer as atoi reads it, but held to the int range.
int to_int(const char* text) {
    errno = 0;
    long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

bool scan_int(const char* text, int* value) {
    char* end = nullptr;
    long v = std::strtol(text, &end, 10);
    if (end == text) return false;
    if (v > INT_MAX) v = INT_MAX;
    if (v < INT_MIN) v = INT_MIN;
    *value = static_cast<int>(v);
    return true;
}

bool scan_float(const char* text, float* value) {
    return std::sscanf(text, "%f", value) == 1;
}

void copy_name(char* out, const char* name) {
    std::snprintf(out, name_size, "%s", name);
}

int entry_index(int index) {
    if (index >= num_colors) index = num_colors - 1;
    if (index < 0) index = 0;
    return index;
}

bool all_of(const char* text, int count, int (*test)(int)) {
    for (int i = 0; i < count; ++i)
        if (text[i] == '\0' || !test(static_cast<unsigned char>(text[i]))) return false;
    return text[count] == '\0';
}

// One line of a table file. Returns true if it held a colour.
bool parse_line(const char* line, char* name, float* red, float* green, float* blue) {
    const bool indexed = std::isdigit(static_cast<unsigned char>(line[0])) != 0;
    if (indexed) {
        if (std::sscanf(line, "%*d %19s %f %f %f", name, red, green, blue) == 4) return true;
    } else if (std::sscanf(line, "%19s %f %f %f", name, red, green, blue) == 4) {
        return true;
    }
    unsigned r = 0, g = 0, b = 0;
    const int n = indexed ? std::sscanf(line, "%*d %19s #%2X%2X%2X", name, &r, &g, &b)
                          : std::sscanf(line, "%19s #%2X%2X%2X", name, &r, &g, &b);
    if (n != 4) return false;
    *red = r / 255.0f;
    *green = g / 255.0f;
    *blue = b / 255.0f;
    return true;
}

// Reads one file into the table from entry base on into *highest, the highest entry
// reached (base - 1 for a file with no line). False if the file does not open.
// *end_index receives the running index at "END".
bool read_file(const char* path, int base, int* highest_out, int* end_index) {
    // A table is a plain file: never the terminal, a device or a command.
    FILE* file = FILE_is_stdio(path) ? nullptr : FILE_open(path, "r");
    if (!file) return false;
    TextBudget budget(path);
    int running = 0;
    int highest = base - 1;
    std::string line;
    int c = 0;
    bool done = false;
    while (!done) {
        line.clear();
        while ((c = std::fgetc(file)) != EOF && c != '\n' && budget.take(c))
            if (line.size() < line_size) line.push_back(static_cast<char>(c));
        if (c != EOF && !budget.take(c)) c = EOF;
        if (c == EOF) {
            done = true;
            if (line.empty()) break;
        }
        std::array<char, line_size + 1> text{};
        std::memcpy(text.data(), line.data(), line.size());
        trim_cr_string(text.data());
        trim_string(text.data());

        if (std::isdigit(static_cast<unsigned char>(text[0]))) running = to_int(text.data());
        if (running >= max_colors - base) continue;
        if (base + running > highest) highest = base + running;
        if (text[0] == '#') continue;
        if (stricmp(text.data(), "end") == 0) {
            *end_index = base + running;
            continue;
        }
        char name[name_size] = {};
        float red = 0, green = 0, blue = 0;
        if (!parse_line(text.data(), name, &red, &green, &blue)) continue;
        ColorEntry& entry = colors[static_cast<size_t>(base + running)];
        copy_name(entry.name, name);
        entry.red = red;
        entry.green = green;
        entry.blue = blue;
        ++running;
    }
    std::fclose(file);
    *highest_out = highest;
    return true;
}

int style_word(const char* text) {
    static constexpr std::array<const char*, 5> words = {"sol", "dsh", "lsdsh", "llsdsh", "dot"};
    for (size_t i = 0; i < words.size(); ++i)
        if (stricmp(text, words[i]) == 0) return static_cast<int>(i) + 1;
    return to_int(text);
}

// One piece of an attribute string other than a leading colour.
void parse_piece(const char* piece, Attrib* attrib) {
    const char* value = piece + 3;
    if (strnicmp(piece, "co=", 3) == 0) {
        attrib->color = CLR_get_ind(value);
    } else if (strnicmp(piece, "wi=", 3) == 0) {
        attrib->width = std::strtof(value, nullptr);
    } else if (strnicmp(piece, "st=", 3) == 0) {
        attrib->style = style_word(value);
    } else if (strnicmp(piece, "fo=", 3) == 0) {
        attrib->font = gget_font_index(value);
    } else if (strnicmp(piece, "fi=", 3) == 0 || strnicmp(piece, "fp=", 3) == 0) {
        attrib->fill = ATTR_parse_fill_pat(value);
    } else if (strnicmp(piece, "sc=", 3) == 0 || strnicmp(piece, "hi=", 3) == 0) {
        attrib->height = std::strtof(value, nullptr);
    } else if (strnicmp(piece, "te=", 3) == 0) {
        attrib->expansion = std::strtof(value, nullptr);
    } else {
        const char* rest = piece[0] ? piece + 1 : piece;
        switch (piece[0]) {
            case 'w':
                scan_float(rest, &attrib->width);
                break;
            case 's':
                scan_int(rest, &attrib->style);
                break;
            case 't':
                scan_int(rest, &attrib->font);
                break;
            case 'f':
                if (rest[0] == 'M')
                    attrib->fill = ZMT_MISSING;
                else
                    scan_int(rest, &attrib->fill);
                break;
            case 'h':
                scan_float(rest, &attrib->height);
                break;
            case 'e':
                scan_float(rest, &attrib->expansion);
                break;
            default:
                break;
        }
    }
}

}  // namespace

int CLR_clear_table() {
    num_colors = 0;
    return 0;
}

int CLR_read_table(const char* list) {
    const bool absent = !list || !list[0];
    const char* color_table = RES_get("color_table");
    if (absent) list = (color_table && color_table[0]) ? color_table : "zmt.clr";

    for (size_t i = 16; i < colors.size(); ++i) colors[i].name[0] = '\0';

    int count = 0;
    char** files = nullptr;
    if (parse_string(list, ',', &count, &files) != 0) return 0;
    const char* file_path = RES_get("file_path");
    for (int i = 0; i < count; ++i) {
        std::string path;
        FILE_find_table(file_path, files[i], &path);
        const int base = (i == 0) ? 0 : num_colors;
        int end_index = -1;
        int highest = 0;
        if (!read_file(path.c_str(), base, &highest, &end_index)) continue;
        num_colors = highest + 1;
        if (i == 0 && absent && color_table)
            num_fill = end_index >= 0 ? end_index : (highest > 0 ? highest : 0);
    }
    free_parsed_array(count, files);
    return 0;
}

int CLR_get_num() {
    return num_colors;
}

int CLR_get_num_fill() {
    return num_fill;
}

const char* CLR_get_name(int index) {
    return colors[static_cast<size_t>(entry_index(index))].name;
}

int CLR_get_rgb(int index, float* red, float* green, float* blue) {
    const ColorEntry& entry = colors[static_cast<size_t>(entry_index(index))];
    if (red) *red = entry.red;
    if (green) *green = entry.green;
    if (blue) *blue = entry.blue;
    return 0;
}

int CLR_add(const char* name, float red, float green, float blue) {
    // A full table has no room; the caller gets the background.
    if (num_colors >= max_colors) return -1;
    const int index = num_colors++;
    ColorEntry& entry = colors[static_cast<size_t>(index)];
    copy_name(entry.name, name ? name : "");
    entry.red = red;
    entry.green = green;
    entry.blue = blue;
    GPH_set_color(index, red, green, blue);
    return index;
}

int CLR_get_ind(const char* text) {
    if (!text || !text[0]) return -1;
    for (const FixedWord& fixed : fixed_words)
        if (stricmp(text, fixed.word) == 0) return fixed.index;
    for (int i = 0; i < num_colors; ++i)
        if (stricmp(text, colors[static_cast<size_t>(i)].name) == 0) return i;
    if (text[0] == '#') {
        unsigned r = 0, g = 0, b = 0;
        if (all_of(text + 1, 6, isxdigit) && std::sscanf(text + 1, "%2x%2x%2x", &r, &g, &b) == 3)
            return CLR_add(text, r / 255.0f, g / 255.0f, b / 255.0f);
        int dr = 0, dg = 0, db = 0;
        if (all_of(text + 1, 9, isdigit) && std::sscanf(text + 1, "%3d%3d%3d", &dr, &dg, &db) == 3)
            return CLR_add(text, dr / 255.0f, dg / 255.0f, db / 255.0f);
    }
    if (std::isdigit(static_cast<unsigned char>(text[0]))) return to_int(text);
    return -1;
}

int ATTRIB_init(Attrib* attrib) {
    if (!attrib) return -1;
    attrib->color = ZMT_MISSING;
    attrib->width = ZMT_FMISSING;
    attrib->height = ZMT_FMISSING;
    attrib->expansion = ZMT_FMISSING;
    attrib->style = ZMT_MISSING;
    attrib->fill = ZMT_MISSING;
    attrib->font = ZMT_MISSING;
    return 0;
}

int ATTRIB_update(Attrib* target, const Attrib* source) {
    if (!target || !source) return -1;
    if (source->color != ZMT_MISSING) target->color = source->color;
    if (source->width != ZMT_FMISSING) target->width = source->width;
    if (source->height != ZMT_FMISSING) target->height = source->height;
    if (source->expansion != ZMT_FMISSING) target->expansion = source->expansion;
    if (source->style != ZMT_MISSING) target->style = source->style;
    if (source->fill != ZMT_MISSING) target->fill = source->fill;
    if (source->font != ZMT_MISSING) target->font = source->font;
    return 0;
}

int ATTRIB_parse(const char* text, Attrib* attrib) {
    if (!attrib) return 0;
    int count = 0;
    char** pieces = nullptr;
    if (parse_string(text, ':', &count, &pieces) != 0) return 0;
    int first = 0;
    if (count > 0 && pieces[0][0] && !std::strchr(pieces[0], '=')) {
        attrib->color = CLR_get_ind(pieces[0]);
        first = 1;
    }
    for (int i = first; i < count; ++i) parse_piece(pieces[i], attrib);
    free_parsed_array(count, pieces);
    return 0;
}

int ATTRIB_get(const char* resource, const char* default_text, Attrib* attrib) {
    ATTRIB_parse(default_text, attrib);
    const char* value = resource ? RES_get(resource) : nullptr;
    if (!value) return 0;
    ATTRIB_parse(value, attrib);
    return 1;
}

int ATTRIB_print(const Attrib* attrib) {
    if (!attrib) return -1;
    MESS_print(MESS_PRINT, "Color: %d\n", attrib->color);
    MESS_print(MESS_PRINT, "Style: %d\n", attrib->style);
    MESS_print(MESS_PRINT, "Height: %5.2f\n", static_cast<double>(attrib->height));
    MESS_print(MESS_PRINT, "Width: %5.2f\n", static_cast<double>(attrib->width));
    MESS_print(MESS_PRINT, "Expansion: %5.2f\n", static_cast<double>(attrib->expansion));
    MESS_print(MESS_PRINT, "Fill: %d\n", attrib->fill);
    MESS_print(MESS_PRINT, "Font: %d\n", attrib->font);
    return 0;
}

int ATTR_parse_fill_pat(const char* text) {
    struct PatternWord {
        const char* word;
        int pattern;
    };
    static constexpr std::array<PatternWord, 26> words = {{
        {"sol", 0}, {"st", 1},   {"ost", 2}, {"rst", 3}, {"lst", 4}, {"vln", 5}, {"||", 5},
        {"dlr", 6}, {"\\\\", 6}, {"drl", 7}, {"//", 7},  {"hln", 8}, {"--", 8},  {"hat", 9},
        {"XX", 9},  {"clr", 10}, {"0%", 10}, {"1%", 11}, {"2%", 12}, {"3%", 13}, {"4%", 14},
        {"5%", 15}, {"6%", 16},  {"7%", 17}, {"8%", 18}, {"9%", 19},
    }};
    if (!text) return 0;
    for (const PatternWord& w : words)
        if (stricmp(text, w.word) == 0) return w.pattern;
    return to_int(text);
}

int ATTR_parse_marker(const char* text) {
    struct MarkerWord {
        const char* word;
        int length;
        int marker;
    };
    static constexpr std::array<MarkerWord, 18> words = {{
        {"pnt", 3, 1},
        {".", 1, 1},
        {"plus", 4, 2},
        {"+", 1, 2},
        {"star", 4, 3},
        {"*", 1, 3},
        {"crcl", 4, 4},
        {"circle", 6, 4},
        {"o", 1, 4},
        {"x", 1, 5},
        {"sqr", 3, 6},
        {"square", 6, 6},
        {"#", 1, 6},
        {"tri", 3, 7},
        {"^", 1, 7},
        {"itri", 4, 9},
        {"v", 1, 9},
        {"dot", 3, 8},
    }};
    if (!text) return 0;
    for (const MarkerWord& w : words)
        if (strnicmp(text, w.word, w.length) == 0) return w.marker;
    return to_int(text);
}
