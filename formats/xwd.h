// X window dump files.
#pragma once

struct Image;

// 1, or 0 on failure.
int XWD_read(const char* name, Image* image);
