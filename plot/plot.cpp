// The plot layer as it stands before the workstation exists: a plot never opens,
// so a run reads, remaps and writes its images and ends without holding a window.
#include "plot/plot.h"

#include <array>
#include <string>

#include "env/messages.h"
#include "graphics/graphics.h"

namespace {

PltCallback callback = nullptr;
PltDomainFunc zoom_func = nullptr;
PltDomainFunc resize_func = nullptr;
PltDomainFunc refresh_func = nullptr;
int refresh_seconds = 0;
int work_id = 0;
float view_offset = 0.0f;  // last value given to PLT_set_view_offset
// Six label positions: upper left, centre, right, lower left, centre, right.
std::array<std::string, 6> labels;

int set_label(int position, const char* text) {
    labels[static_cast<size_t>(position)] = text ? std::string(text).substr(0, 68) : std::string();
    return 0;
}

}  // namespace

int PLT_param_decode() { return 0; }

int PLT_open(float) {
    PLT_param_decode();
    // No workstation can be opened yet; the plot type "none" and draw "none" give
    // the same answer.
    return -1;
}

int PLT_reset(float) { return -1; }
int PLT_close() { return 0; }

void PLT_exit(int code) {
    GPH_end(work_id);
    ZMT_exit(code);
}

int PLT_set_callback(PltCallback function) {
    callback = function;
    return 0;
}
int PLT_set_zoom_func(PltDomainFunc function) {
    zoom_func = function;
    return 0;
}
int PLT_set_resize_func(PltDomainFunc function) {
    resize_func = function;
    return 0;
}
int PLT_set_refresh_func(int seconds, PltDomainFunc function) {
    refresh_seconds = seconds;
    refresh_func = function;
    return 0;
}
int PLT_print_values(int, int, int) { return 0; }
int PLT_plot_zoom(int, int, int) { return 0; }
int PLT_plot_resize(int) { return 0; }
int PLT_get_work_type() { return 0; }
int PLT_get_view(float view[4]) {
    view[0] = view[1] = view[2] = view[3] = 0.0f;
    return 0;
}
int PLT_set_view_offset(float value) {
    view_offset = value;
    return 0;
}
float PLT_get_view_offset() { return view_offset; }
int PLT_labels() { return 0; }

int PLT_label_up_left(const char* text) { return set_label(0, text); }
int PLT_label_up_center(const char* text) { return set_label(1, text); }
int PLT_label_up_right(const char* text) { return set_label(2, text); }
int PLT_label_low_left(const char* text) { return set_label(3, text); }
int PLT_label_low_center(const char* text) { return set_label(4, text); }
int PLT_label_low_right(const char* text) { return set_label(5, text); }

const char* PLT_get_label(int position, int) {
    if (position < 0 || position >= static_cast<int>(labels.size())) return "";
    return labels[static_cast<size_t>(position)].c_str();
}
