#include "formats/gif.h"

int GIF_read(const char*, Image*, int) {
    return 0;
}
