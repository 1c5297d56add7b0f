// The TIFF reader is not built yet: every file is refused as unreadable.
#include "formats/tiff.h"

#include "env/messages.h"

int SAT_read_TIFF(const char* name, Image*) {
    MESS_print(0xc0, "SAT_read_TIFF: Unable to read image file: %s\n", name);
    return -1;
}
