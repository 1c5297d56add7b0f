// The LRIT reader is not built yet: every file is refused as unreadable.
#include "formats/lrit.h"

#include "env/messages.h"

int SAT_read_LRIT(const char* name, Image*) {
    MESS_print(0xc0, "SAT_read_LRIT: Unable to read image file: %s\n", name);
    return -1;
}
