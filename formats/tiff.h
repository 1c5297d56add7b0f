// Reader of TIFF satellite files into an Image.
#pragma once

struct Image;

// Fills the whole image; -1 on failure.
int SAT_read_TIFF(const char* name, Image* image);
