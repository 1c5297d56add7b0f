// The Unisys reader is not built yet: every file is refused as unreadable.
#include "formats/unisys.h"

#include "env/messages.h"

int SAT_read_Unisys(const char* name, Image*) {
    MESS_print(0xc0, "SAT_read_Unisys: Unable to read image file: %s\n", name);
    return -1;
}
