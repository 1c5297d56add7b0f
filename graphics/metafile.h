// The metafile device: a text record per drawing call, or a small binary CGM.
#pragma once

// 0 text, 1 CGM.
int gmeta_set_type(int type);
int gmeta_get_type();
// Opens the output ("|command" a pipe, "+name" to append); 0 on failure.
int gmeta_open_file(const char* name);
int gmeta_init_file();
int gmeta_close_file();
// Writes to a text metafile; nothing on CGM or with no file open.
int gmeta_printf(const char* format, ...) __attribute__((format(printf, 1, 2)));
// Is a text metafile the open workstation?
int gmeta_is_text();
int gcgm_control(int element_class, int id, int length, int extra);
// A world point, through the PostScript-direction mapping.
int gcgm_point(float x, float y);
// A point already in device units.
int gcgm_ps_point(double x, double y);
int gcgm_set_type(int type);
int gcgm_set_color(int index);
int gcgm_set_width(int colour, float width);
int gcgm_set_fill_color(int index);
// Plays a text metafile through the kernel onto the open workstation, with the
// colour indices as they stand in the file. Always 0.
int gread_metafile(const char* file);
