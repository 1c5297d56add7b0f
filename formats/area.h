// The AREA reader: plain files in either byte order and the sync-framed,
// nibble-compressed broadcast stream, read into an AreaFile.
#pragma once

#include <cstdint>
#include <cstdio>

// An AREA file held in memory. Every block is allocated with std::malloc by
// SAT_read_AREA; a block of another navigation type than nav_type stays null.
struct AreaFile {
    int32_t* dir;         // directory, 64 words, byte order corrected (words 24-31 are text)
    char nav_type[8];     // "GOES", "GVAR", "PS", "MOLL", "MSAT", "RECT", "MERC", "LAMB", "TANC"
    int32_t* goes;        // 128 words, navigation type "GOES"
    int32_t* gvar;        // 640 words, navigation type "GVAR"
    int32_t* ps;          // 128 words, navigation type "PS" or "MSAT"
    int32_t* tanc;        // 128 words, navigation type "TANC"
    int32_t* proj;        // 128 words, "MOLL", "RECT", "MERC" or "LAMB"
    unsigned char* data;  // lines x elements bytes, rows in file order
};

// Reads an AREA file from an open stream (not closed here) into area. The caller
// sets area up first (zeroed, nav_type as it wants it kept when the file has no
// known navigation). Returns 0, or -1 on failure.
int SAT_read_AREA(FILE* file, AreaFile* area);

// Left shift applied to pixels of the framed form and of the plain forms that
// go byte by byte. Returns 0.
int SAT_set_bit_shift(int shift);

// Releases whatever SAT_read_AREA allocated in area and clears the pointers. A
// caller that hands data on to an Image sets area->data to null first.
void SAT_free_AREA(AreaFile* area);
