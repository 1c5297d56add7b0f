// Plot domains: a projection, a centre, a grid size and a spacing.
#pragma once

#include <cstdint>

#include "env/missing.h"

struct Domain {
    int32_t proj;
    float plat;
    float plon;
    float param[5];  // param[0] tlat1, param[1] tlat2, param[2] scale
    float clat;
    float clon;
    float dx;
    float dy;
    int32_t nx;
    int32_t ny;
    int32_t ext;
};

// Slot codes of DOM_set_params; a list of them is ended by 0.
enum DomSlot {
    DOM_SLOT_END = 0,
    DOM_SLOT_PROJ = 1,
    DOM_SLOT_PLON = 2,
    DOM_SLOT_ID = 3,
    DOM_SLOT_CLAT = 4,
    DOM_SLOT_CLON = 5,
    DOM_SLOT_NX = 6,
    DOM_SLOT_NY = 7,
    DOM_SLOT_DX = 8,
    DOM_SLOT_DY = 9,
    DOM_SLOT_REGION = 10,
};

// One entry of the region menu; index 0 is unused, the list ends at an empty label.
struct DomMenuEntry {
    char label[21];
    char abbrev[6];
    int index;
    int menu;
};

// All fields unset. Returns 0.
int DOM_init(Domain* domain);
// Decodes a domain text: 1 for a number form, 2 for a region form, -1 for a bad
// text, -9999 for an absent, empty or "miss" text.
int DOM_decode(const char* text, Domain* domain);
// DOM_decode of a text the user typed: its "fi:" file may be a "|command". Texts that
// come out of files go to DOM_decode, which never opens a pipe.
int DOM_decode_user(const char* text, Domain* domain, int user_typed);
// Reads one form of `count` items against the slot codes that follow, ended by 0
// (at most eight). Returns 0 if everything was read, non-zero otherwise.
int DOM_set_params(int count, char** items, Domain* domain, ...);
// Projection code of a projection word; -1 for anything else or an absent text.
int DOM_proj_str(const char* text);
// Looks `key` up in a region file (first domain line when key is absent); the
// domain text goes to `out`, which must hold 501 characters. 1 if found.
int DOM_search_file(const char* file, const char* key, char* out);
// Loads the region menu from a region file. 1 if the file opened.
int DOM_read_menu(const char* file);
// Menu access: the entries and the index after the last one.
const DomMenuEntry* DOM_get_menu();
int DOM_get_num_regs();
// Fills in one of the built-in regions. 1 if the name is known.
int DOM_get_def_region(const char* name, Domain* domain);
// (nx - 1) / (ny - 1); 1.0 when either is below 2.
double DOM_aspect(const Domain* domain);
// 1 if the two domains describe the same grid.
int DOM_comp(const Domain* a, const Domain* b);
// Prints the domain as a domain text at the given message level.
int DOM_print(uint32_t level, const Domain* domain);
// Station priority for a domain that spans `size` degrees along y.
int DOM_set_base_prior(float size);
int DOM_get_prior();
int DOM_set_loc_prior(int value);
int DOM_get_loc_prior();
