// Reader of LRIT and HRIT satellite segments into an Image.
#pragma once

struct Image;

// Fills the whole image; -1 on failure.
int SAT_read_LRIT(const char* name, Image* image);

// The steps of the read, for callers that walk a file themselves.
// Opens the file: 1, or 0 with a message.
int LRIT_open(const char* name);
// Reads one header record: 1, or 0 at the end of the chain.
int LRIT_header();
// The whole chain into the image and its domain: 0, or -1.
int LRIT_read_header(Image* image);
// The chain, then the pixels: 0, or -1.
int LRIT_read(Image* image);
