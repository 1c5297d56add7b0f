// Redraw objects: the drawing calls of a window plot kept in memory, so that the
// plot can be written out again as a metafile (Alt-m). ginit_objs, gnew_obj and the
// cache and redraw switches are declared with the rest of the kernel.
#pragma once

// A call kept in the list: replayed as function(argument).
using GRedrawFunc = int (*)(void* argument);

// Adds a call to the list. The list owns `argument` from then on and frees it with
// std::free when it is cleared; with recording off it is freed at once.
int gset_redraw_func(GRedrawFunc function, void* argument);
// Replays the list into the metafile named by METAOUT (else "zmt.meta"). 0, or -1
// when the metafile cannot be opened.
int gobj_print_meta(int id, const char* text);
// Number of objects in the list.
int gget_num_objs();
