// Redraw objects: the drawing calls of a window plot kept in memory, so the plot
// can be written out again. Recording is off unless a caller turns it on.
#include <cstdlib>
#include <cstring>
#include <memory>
#include <vector>

#include "env/messages.h"
#include "graphics/graphics.h"

namespace {

constexpr int EVENT_CHECK_EVERY = 500;  // objects between two looks at the event queue

struct RedrawObject {
    int type = 0;
    int id = 0;
    std::vector<unsigned char> data;
};

struct State {
    std::vector<std::unique_ptr<RedrawObject>> list;  // in drawing order
    int action = 1;                                   // event handling on (the cache)
    int redraw = 0;                                   // record objects
    int num_objects = 0;                              // calls since ginit_objs
};
State st;

}  // namespace

int ginit_objs() {
    st.num_objects = 0;
    st.list.clear();
    const char* value = std::getenv("zmtredraw");
    if (value && stricmp(value, "no") == 0) st.redraw = 0;
    return 0;
}

int gclear_objs() {
    st.list.clear();
    return 0;
}

void* gnew_obj(int type, int id, int size, const void* source) {
    if (++st.num_objects % EVENT_CHECK_EVERY == 0) gcheck_event();
    if (!st.redraw) return nullptr;
    auto obj = std::make_unique<RedrawObject>();
    obj->type = type;
    obj->id = id;
    if (size > 0) {
        obj->data.resize(static_cast<size_t>(size));
        if (source) std::memcpy(obj->data.data(), source, static_cast<size_t>(size));
    }
    void* data = obj->data.empty() ? static_cast<void*>(obj.get()) : obj->data.data();
    st.list.push_back(std::move(obj));
    return data;
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
