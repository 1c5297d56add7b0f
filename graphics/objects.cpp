// Redraw objects: the drawing calls of a window plot kept in memory, so the plot
// can be written out again. Recording is off unless a caller turns it on.
#include "graphics/objects.h"

#include <X11/Xlib.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "env/messages.h"
#include "graphics/graphics.h"

namespace {

constexpr int EVENT_CHECK_EVERY = 500;  // objects between two looks at the event queue
constexpr int OBJ_FUNCTION = 999;       // a function and its argument
constexpr int CURSOR_WAIT = 8;

struct FreeArgument {
    void operator()(void* p) const { std::free(p); }
};

struct RedrawObject {
    int type = 0;
    int id = 0;
    std::vector<unsigned char> data;
    GRedrawFunc function = nullptr;                // type 999 only
    std::unique_ptr<void, FreeArgument> argument;  // type 999 only
};

struct State {
    std::vector<std::unique_ptr<RedrawObject>> list;  // in drawing order
    int action = 1;                                   // event handling on (the cache)
    int redraw = 0;                                   // record objects
    int redrawn = 0;                                  // the list has been written out
    int num_objects = 0;                              // calls since ginit_objs
};
State st;

// The data of an object read back as values of the type its setter takes.
float float_at(const RedrawObject& o, size_t index) {
    float v = 0.0f;
    if (o.data.size() >= (index + 1) * sizeof v)
        std::memcpy(&v, o.data.data() + index * sizeof v, sizeof v);
    return v;
}

template <size_t N, typename T>
std::array<T, N> values_of(const RedrawObject& o) {
    std::array<T, N> v{};
    std::memcpy(v.data(), o.data.data(), std::min(o.data.size(), sizeof v));
    return v;
}

const float* points_of(const RedrawObject& o) {
    return reinterpret_cast<const float*>(o.data.data());
}

int replay_message(const RedrawObject& o) {
    const std::string text(o.data.begin(), o.data.end());
    return gmessage(1, text.c_str());
}
int replay_ws_vp(const RedrawObject& o) {
    return gset_ws_vp(1, values_of<4, float>(o).data());
}
int replay_ws_win(const RedrawObject& o) {
    return gset_ws_win(1, values_of<4, float>(o).data());
}
int replay_select(const RedrawObject& o) {
    return gsel_norm_tran(o.id);
}
int replay_vp(const RedrawObject& o) {
    return gset_vp(o.id, values_of<4, float>(o).data());
}
int replay_win(const RedrawObject& o) {
    return gset_win(o.id, values_of<4, float>(o).data());
}
int replay_colour(const RedrawObject& o) {
    return gset_colr_rep(1, o.id, values_of<3, float>(o).data());
}
int replay_clear(const RedrawObject& o) {
    return gclear_region(values_of<4, float>(o).data());
}
int replay_polyline(const RedrawObject& o) {
    return gpolyline(o.id, points_of(o));
}
int replay_line_type(const RedrawObject& o) {
    return gset_linetype(o.id);
}
int replay_line_width(const RedrawObject& o) {
    return gset_linewidth(float_at(o, 0));
}
int replay_line_colour(const RedrawObject& o) {
    return gset_line_colr_ind(o.id);
}
int replay_line_bold(const RedrawObject& o) {
    return gset_line_print_bold(o.id);
}
int replay_polymarker(const RedrawObject& o) {
    return gpolymarker(o.id, points_of(o));
}
int replay_marker_type(const RedrawObject& o) {
    return gset_marker_type(o.id);
}
int replay_marker_size(const RedrawObject& o) {
    return gset_marker_size(float_at(o, 0));
}
int replay_marker_colour(const RedrawObject& o) {
    return gset_marker_colr_ind(o.id);
}
int replay_marker_width(const RedrawObject& o) {
    return gset_marker_width(float_at(o, 0));
}
int replay_text(const RedrawObject& o) {
    const float position[2] = {float_at(o, 0), float_at(o, 1)};
    const std::string text(o.data.begin() + 2 * sizeof(float), o.data.end());
    return gtext(position, text.c_str());
}
int replay_space(const RedrawObject& o) {
    return gset_space(float_at(o, 0));
}
int replay_char_space(const RedrawObject& o) {
    return gset_char_space(float_at(o, 0));
}
int replay_expansion(const RedrawObject& o) {
    return gset_expan(float_at(o, 0));
}
int replay_text_colour(const RedrawObject& o) {
    return gset_text_colr_ind(o.id);
}
int replay_char_height(const RedrawObject& o) {
    return gset_char_ht(float_at(o, 0));
}
int replay_up_vector(const RedrawObject& o) {
    return gset_char_up_vec(values_of<2, float>(o).data());
}
int replay_font(const RedrawObject& o) {
    return gset_fontprec(values_of<2, int>(o).data());
}
int replay_alignment(const RedrawObject& o) {
    return gset_text_align(values_of<2, int>(o).data());
}
int replay_text_width(const RedrawObject& o) {
    return gset_text_width(float_at(o, 0));
}
int replay_fill(const RedrawObject& o) {
    return gfill_area(o.id, points_of(o));
}
int replay_fill_style(const RedrawObject& o) {
    return gset_fill_int_style(o.id);
}
int replay_fill_index(const RedrawObject& o) {
    return gset_fill_style_ind(o.id);
}
int replay_fill_colour(const RedrawObject& o) {
    return gset_fill_colr_ind(o.id);
}
int replay_fill_solid(const RedrawObject& o) {
    return gset_fill_print_solid(o.id);
}
int replay_function(const RedrawObject& o) {
    return o.function ? o.function(o.argument.get()) : 0;
}

struct Replay {
    int type;
    int (*run)(const RedrawObject&);
};
constexpr Replay replays[] = {
    {5, replay_message},
    {10, replay_ws_vp},
    {11, replay_ws_win},
    {15, replay_select},
    {16, replay_vp},
    {17, replay_win},
    {20, replay_colour},
    {25, replay_clear},
    {30, replay_polyline},
    {33, replay_line_type},
    {34, replay_line_width},
    {35, replay_line_colour},
    {36, replay_line_bold},
    {40, replay_polymarker},
    {43, replay_marker_type},
    {44, replay_marker_size},
    {45, replay_marker_colour},
    {46, replay_marker_width},
    {50, replay_text},
    {53, replay_space},
    {54, replay_char_space},
    {55, replay_expansion},
    {56, replay_text_colour},
    {57, replay_char_height},
    {58, replay_up_vector},
    {59, replay_font},
    {60, replay_alignment},
    {61, replay_text_width},
    {70, replay_fill},
    {73, replay_fill_style},
    {74, replay_fill_index},
    {75, replay_fill_colour},
    {76, replay_fill_solid},
    {OBJ_FUNCTION, replay_function},
};

// Replays one object through the call that made it.
int gobj_redraw_funcs(const RedrawObject& o) {
    for (const Replay& r : replays)
        if (r.type == o.type) return r.run(o);
    return 0;
}

RedrawObject* new_object(int type, int id) {
    if (++st.num_objects % EVENT_CHECK_EVERY == 0) gcheck_event();
    if (!st.redraw) return nullptr;
    auto obj = std::make_unique<RedrawObject>();
    obj->type = type;
    obj->id = id;
    st.list.push_back(std::move(obj));
    return st.list.back().get();
}

}  // namespace

int ginit_objs() {
    st.num_objects = 0;
    st.list.clear();
    const char* value = std::getenv("zmtredraw");
    if (!value && gget_display()) value = XGetDefault(gget_display(), gget_prog_name(), "redraw");
    // Recording is off unless asked for: "yes" keeps the object list for Alt-m.
    if (value && stricmp(value, "no") == 0) st.redraw = 0;
    if (value && stricmp(value, "yes") == 0) st.redraw = 1;
    return 0;
}

int gclear_objs() {
    st.list.clear();
    return 0;
}

void* gnew_obj(int type, int id, int size, const void* source) {
    RedrawObject* obj = new_object(type, id);
    if (!obj || size <= 0) return nullptr;
    obj->data.resize(static_cast<size_t>(size));
    if (source) std::memcpy(obj->data.data(), source, static_cast<size_t>(size));
    return obj->data.data();
}

int gset_redraw_func(GRedrawFunc function, void* argument) {
    std::unique_ptr<void, FreeArgument> owned(argument);
    RedrawObject* obj = new_object(OBJ_FUNCTION, 0);
    if (!obj) return 0;
    obj->function = function;
    obj->argument = std::move(owned);
    return 0;
}

int gget_num_objs() {
    return static_cast<int>(st.list.size());
}

int gset_cache(int on) {
    st.action = on;
    return 0;
}
int gget_cache() {
    return st.action;
}
int gset_redraw(int on) {
    const int old = st.redraw;
    st.redraw = on;
    return old;
}
int gget_redraw() {
    return st.redraw;
}

int gobj_print_meta(int, const char*) {
    const int type = gget_win_type();
    const int redraw = st.redraw;
    int width = 0, height = 0;
    gget_win_size(&width, &height);
    const int cursor = gget_cursor_type();
    gset_cursor_type(CURSOR_WAIT);
    gset_win_type(GWS_META);
    const char* name = std::getenv("METAOUT");
    if (!name) name = "zmt.meta";
    if (!gmeta_open_file(name)) {
        // The workstation stays a metafile: drawing after this writes nothing.
        gerr_printf("gprint_meta", "unable to open metafile\n");
        return -1;
    }
    st.redraw = 0;
    if (st.list.empty())
        MESS_print(MESS_WARN, "gobj_print_meta: No redraw data to make metafile from\n");
    else
        for (const auto& obj : st.list) gobj_redraw_funcs(*obj);
    gmeta_close_file();
    gset_win_type(type);
    gset_cursor_type(cursor);
    st.redraw = redraw;
    gset_win_size(width, height);
    gcheck_event();
    gbell(50);
    st.redrawn = 1;
    return 0;
}
