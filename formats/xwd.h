// X window dump (XWD version 7) files.
#pragma once

struct Image;

// Reads an XWD file. The caller puts in `image->depth` the largest depth it
// accepts. 1, or 0 on failure.
int XWD_read(const char* name, Image* image);
// Writes the image as XWD: 1, or 0 with the reason on standard error.
int XWD_write(const char* name, const Image* image);
// The window as XWD: 1, or 0.
int XWD_dump(const char* name);
