// The contour value scale and its fill colours.
#include "overlays/contour_scale.h"

#include <cmath>

#include "env/missing.h"

namespace {

// With no fill range in the colour table, the basic colours every table has.
constexpr int BASIC_COLORS = 16;

struct ContourScale {
    float base = ZMT_FMISSING;      // lower edge of class 0; missing counts as 0
    float interval = ZMT_FMISSING;  // class width; none unless positive
    float cut_low = ZMT_FMISSING;   // values below are beyond the scale
    float cut_high = ZMT_FMISSING;  // values above are beyond the scale
    int first = 0, last = 0;        // fill colours; 0, 0 for the table's range
    int type = ZMT_MISSING;         // contour type; kept across CONT_init
    int bar = 0;                    // colour bar: 2 wanted, -2 refused, 0 not said
    float bar_range[2] = {ZMT_FMISSING, ZMT_FMISSING};
    int skip[2] = {0, 0};
    float plot_offset[2] = {0.0f, 0.0f};
};
ContourScale cs;

bool given(float v) {
    return v != ZMT_FMISSING;
}

// The colour range in use, first to last; false when it is empty. Colour 0 is
// the background and is never a class colour.
bool fill_range(int* first, int* last) {
    if (cs.first || cs.last) {
        *first = cs.first;
        *last = cs.last;
    } else {
        const int n = CLR_get_num_fill();
        *first = 1;
        *last = (n > 1 ? n : BASIC_COLORS) - 1;
    }
    return *first <= *last;
}

}  // namespace

int CONT_init() {
    const int type = cs.type;
    const int bar = cs.bar;
    cs = ContourScale{};
    cs.type = type;
    cs.bar = bar;
    return 0;
}

int CONT_set_base(float base) {
    cs.base = base;
    return 0;
}

int CONT_set_intrvl(float interval) {
    cs.interval = interval;
    return 0;
}

int CONT_set_cutoff(float low, float high) {
    cs.cut_low = low;
    cs.cut_high = high;
    return 0;
}

int CONT_set_fill_colors(int first, int last) {
    cs.first = first;
    cs.last = last;
    return 0;
}

int CONT_set_type(int type) {
    cs.type = type;
    return 0;
}

int CONT_get_type() {
    return cs.type;
}

int CONT_set_bar(int bar) {
    cs.bar = bar;
    return 0;
}

int CONT_get_bar() {
    return cs.bar;
}

int CONT_set_bar_range(float low, float high) {
    cs.bar_range[0] = low;
    cs.bar_range[1] = high;
    return 0;
}

int CONT_set_skip(int x, int y) {
    cs.skip[0] = x;
    cs.skip[1] = y;
    return 0;
}

int CONT_set_plot_offset(float x, float y) {
    cs.plot_offset[0] = x;
    cs.plot_offset[1] = y;
    return 0;
}

int CONT_get_values(float value, int* klass, float* low, float* high) {
    if (!given(value) || !std::isfinite(value)) return -1;
    if (given(cs.cut_low) && value < cs.cut_low) return CONT_BEYOND;
    if (given(cs.cut_high) && value > cs.cut_high) return CONT_BEYOND;
    if (!given(cs.interval) || !(cs.interval > 0.0f)) return -1;
    const float base = given(cs.base) ? cs.base : 0.0f;
    const float steps = std::floor((value - base) / cs.interval);
    // Far outside the int range the class only picks an end colour.
    const int k = steps < -1e9f ? -1000000000 : steps > 1e9f ? 1000000000 : static_cast<int>(steps);
    if (klass) *klass = k;
    if (low) *low = base + static_cast<float>(k) * cs.interval;
    if (high) *high = base + static_cast<float>(k + 1) * cs.interval;
    return 0;
}

int CONT_get_fill_attrib(int klass, Attrib* attrib) {
    int first = 0, last = 0;
    if (!attrib || !fill_range(&first, &last)) return -1;
    const long index = static_cast<long>(first) + klass;
    attrib->color = static_cast<int>(index < first ? first : index > last ? last : index);
    return 0;
}
