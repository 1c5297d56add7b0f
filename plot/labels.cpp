// Labels round the picture: six positions, each a stack of overlay lines, the
// user's `label` resource over what the program set, and the border.
#include <algorithm>
#include <array>
#include <limits>
#include <cstdio>
#include <cstring>
#include <string>

#include "env/colors.h"
#include "env/dates.h"
#include "env/messages.h"
#include "env/missing.h"
#include "env/resources.h"
#include "graphics/graphics.h"
#include "overlays/contour_scale.h"
#include "plot/plot.h"
#include "plot/plot_internal.h"

namespace {

constexpr int POSITIONS = 6;
constexpr int OVERLAYS = 6;
constexpr size_t LABEL_SIZE = 70;  // characters of a label line, its end included
constexpr int STRCAT_LIMIT = 59;   // text plus write position an appended label may reach

struct LabelState {
    std::array<std::array<std::string, OVERLAYS>, POSITIONS> label;  // the text
    std::array<int, POSITIONS> label_ind{};        // write position in line 0, for appending
    int overlay = 0;                               // overlay the next label goes to
    int over_base = 0;                             // vertical shift, in lines
    int num_over = 0;                              // highest overlay in use
    int lab_type = 0;                              // below 0: overlays append to one line
    float dis_view[4] = {0.0f, 0.0f, 0.0f, 0.0f};  // the picture, left, right, bottom, top
    int border = 1;                                // border round the picture
    int full_lab = 0;                              // labels inside the picture
    Date plot_date{};                              // date of %D and kin; nothing sets it
    int fhour = 0;                                 // forecast hour of %V; nothing sets it
};

LabelState ls;

int family(int position, const char* text) {
    if (ls.lab_type < 0 && ls.overlay > 0) return PLT_label_strcat(position, text);
    if (ls.overlay < 0) return 0;
    return PLT_label_strcpy(position, text);
}

// Appends text to out within the size of a label.
void put(std::string* out, const std::string& text) {
    const size_t room = LABEL_SIZE - 1 - std::min(out->size(), LABEL_SIZE - 1);
    out->append(text.substr(0, room));
}

std::string two(int value) {
    char buffer[16];
    std::snprintf(buffer, sizeof buffer, "%2.2d", value);
    return buffer;
}

std::string date_item(char item) {
    char buffer[128] = "";
    Date date = ls.plot_date;
    switch (item) {
        case 'D':
            DATE_make_label(&date, buffer);
            return buffer;
        case 'W':
            date.hour = ZMT_MISSING;
            [[fallthrough]];
        case 'V':
            DATE_make_label_valid_time(ls.fhour, &date, buffer);
            return buffer;
        case 'y':
            return two(date.year % 100);
        case 'm':
            return two(date.month);
        case 'b':
            std::snprintf(buffer, sizeof buffer, "%3.3s", DATE_month(date.month));
            return buffer;
        case 'h':
            return two(date.hour);
        case 'd':
            return two(date.day);
        case 'n':
            return two(date.minute);
        case 'f':
            return DATE_fhour_label(buffer, ls.fhour, 0);
        case 'F':
            return DATE_fhour_label(buffer, ls.fhour, 1);
        default:
            return "";
    }
}

// Applies one value of the `label` resource, marking a position whose text it
// replaced outright: that text then stands alone.
void apply_label_value(const char* value, std::array<bool, POSITIONS>* overridden) {
    static constexpr const char* names[POSITIONS] = {"ul", "uc", "ur", "ll", "lc", "lr"};
    PLT_set_overlay(0);
    const size_t len = std::strlen(value);
    const char* start = (len >= 3 && value[2] == ':') ? value + 3 : (len >= 4 ? value + 4 : "");
    char text[LABEL_SIZE];
    PLT_label_format(start, text);
    for (int p = 0; p < POSITIONS; ++p) {
        if (len >= 3 && strnicmp(value, names[p], 2) == 0 && value[2] == ':') {
            family(p, text);
            (*overridden)[static_cast<size_t>(p)] = true;
            return;
        }
        if (len >= 3 && strnicmp(value, names[p], 2) == 0 && value[2] >= '0' && value[2] <= '9') {
            PLT_set_overlay(value[2] - '0');
            family(p, text);
            PLT_set_overlay(0);
            return;
        }
    }
}

// Where the labels of a position stand and how they are aligned.
struct Place {
    float x, y;
    int halign, valign;
};

Place place(int position, int n, float h, float d) {
    const float l = ls.dis_view[0], r = ls.dis_view[1], b = ls.dis_view[2], t = ls.dis_view[3];
    const float shift = static_cast<float>(ls.over_base) * h;
    Place at{};
    if (position < 3) {
        at.y = t + d + shift;
        at.valign = 4;
    } else {
        at.y = b - d - static_cast<float>(n - 1) * h + shift;
        at.valign = 2;
    }
    switch (position % 3) {
        case 0:
            at.x = l + 0.01f * (r - l);
            at.halign = 1;
            break;
        case 1:
            at.x = (l + r) / 2.0f;
            at.halign = 2;
            break;
        default:
            at.x = r - 0.01f * (r - l);
            at.halign = 3;
            break;
    }
    return at;
}

// A contour bar or a vector key stands where some lower labels would.
bool position_free(int position) {
    if (position == 3 || position == 4) return CONT_get_bar() < 1;
    return true;
}

}  // namespace

float* plt_view() {
    return ls.dis_view;
}

int plt_set_view(const float view[4]) {
    std::memcpy(ls.dis_view, view, sizeof ls.dis_view);
    return 0;
}

int plt_set_full_lab(int on) {
    ls.full_lab = on;
    return 0;
}

int PLT_set_border(int on) {
    ls.border = on;
    return 0;
}

int PLT_init_labels() {
    for (auto& position : ls.label)
        for (auto& line : position) line.clear();
    ls.label_ind.fill(0);
    ls.num_over = 0;
    return 0;
}

int PLT_set_overlay(int n) {
    if (n > OVERLAYS - 1) n = OVERLAYS - 1;
    if (ls.num_over < n) ls.num_over = n;
    ls.overlay = n;
    return 0;
}

int PLT_set_overlay_base(int n) {
    if (n > OVERLAYS - 1) n = OVERLAYS - 1;
    if (ls.num_over < n) ls.num_over = n;
    ls.over_base = n;
    return 0;
}

int PLT_get_overlay_base() {
    return ls.over_base;
}
int PLT_get_num_over() {
    return ls.num_over;
}
int PLT_get_label_type() {
    return ls.lab_type;
}

int PLT_set_label_type(int type) {
    ls.lab_type = type;
    return 0;
}

int PLT_set_num_overlay(int n) {
    if (n < 0)
        ls.num_over = n == std::numeric_limits<int>::min() ? std::numeric_limits<int>::max() : -n;
    else if (ls.num_over < n)
        ls.num_over = n;
    return 0;
}

const char* PLT_get_label(int position, int overlay) {
    if (position < 0 || position >= POSITIONS || overlay < 0 || overlay >= OVERLAYS) return "";
    return ls.label[static_cast<size_t>(position)][static_cast<size_t>(overlay)].c_str();
}

int PLT_label_up_left(const char* text) {
    return family(0, text);
}
int PLT_label_up_center(const char* text) {
    return family(1, text);
}
int PLT_label_up_right(const char* text) {
    return family(2, text);
}
int PLT_label_low_left(const char* text) {
    return family(3, text);
}
int PLT_label_low_center(const char* text) {
    return family(4, text);
}
int PLT_label_low_right(const char* text) {
    return family(5, text);
}

int PLT_label_strcpy(int position, const char* text) {
    if (position < 0 || position >= POSITIONS || ls.overlay < 0 || ls.overlay >= OVERLAYS)
        return -1;
    std::string& line = ls.label[static_cast<size_t>(position)][static_cast<size_t>(ls.overlay)];
    if (line.size() >= LABEL_SIZE - 1) return -1;
    line = std::string(text ? text : "").substr(0, LABEL_SIZE - 1);
    return 0;
}

int PLT_label_strcat(int position, const char* text) {
    if (position < 0 || position >= POSITIONS || !text) return -1;
    const int at = ls.label_ind[static_cast<size_t>(position)];
    if (static_cast<int>(std::strlen(text)) + at > STRCAT_LIMIT) return 0;
    std::string& line = ls.label[static_cast<size_t>(position)][0];
    line = line.substr(0, static_cast<size_t>(at)) + " " + text;
    return 0;
}

int PLT_label_format(const char* format, char* out) {
    std::string result;
    // A "%%" moves on by one over a character the caller's buffer already held,
    // which for a label is a blank.
    for (const char* p = format ? format : ""; *p && result.size() < LABEL_SIZE - 1; ++p) {
        if (*p == '_') {
            result += ' ';
        } else if (*p != '%') {
            result += *p;
        } else if (p[1] == '\0') {
            break;
        } else {
            ++p;
            if (*p == '%')
                result += ' ';
            else
                put(&result, date_item(*p));
        }
    }
    std::snprintf(out, LABEL_SIZE, "%s", result.c_str());
    return 0;
}

int PLT_labels() {
    std::array<bool, POSITIONS> overridden{};
    int count = 0;
    char** values = nullptr;
    RES_getvals("label", &count, &values);
    for (int i = 0; i < count; ++i) apply_label_value(values[i], &overridden);
    free_parsed_array(count, values);

    Attrib attrib;
    ATTRIB_init(&attrib);
    ATTRIB_get("color_text", gget_inverse() ? "black" : "white", &attrib);
    PLT_mess("Labels");
    gsel_norm_tran(1);
    float dis_size[4];
    GPH_get_view_size(dis_size);
    GPH_line_attr(nullptr);
    GPH_text_attr(nullptr, 0.0f);
    GPH_text_font(nullptr);
    GPH_line_attr(&attrib);

    const float b = ls.dis_view[2], t = ls.dis_view[3];
    const float room = ls.full_lab ? 0.06f : b - dis_size[2];
    if (ls.border && FLAG_getplot(11)) GPH_border(ls.dis_view);
    if (room < 0.005f) return -1;
    if (!FLAG_getplot(0)) return 0;

    const int n = (ls.lab_type < 0 || ls.num_over == 0) ? 1 : ls.num_over;
    float h = room / static_cast<float>(n);
    if (h > 0.03f * (t - b)) h = 0.03f * (t - b);
    GPH_text_attr(&attrib, 0.75f * h);
    const float d = ls.full_lab ? -0.2f * h - static_cast<float>(n) * h : 0.2f * h;
    for (int p = 0; p < POSITIONS; ++p) {
        if (!FLAG_getplot(p + 1) || !position_free(p)) continue;
        Place at = place(p, n, h, d);
        GPH_text_align(at.halign, at.valign);
        // Lines past the last overlay are empty: only the stack's height counts them.
        for (int i = 0; i < std::min(n, OVERLAYS); ++i) {
            const char* text = PLT_get_label(p, i);
            if (text[0]) {
                const float position[2] = {at.x, at.y};
                GPH_pprint(position, text);
            }
            if (overridden[static_cast<size_t>(p)]) break;
            at.y += h;
        }
    }
    return 0;
}
