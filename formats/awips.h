// Reader of AWIPS satellite files into an Image.
#pragma once

struct Image;

// Fills the whole image; -1 on failure.
int SAT_read_AWIP(const char* name, Image* image);
