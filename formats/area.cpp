#include "formats/area.h"

int SAT_read_AREA(FILE*, AreaFile*) {
    return -1;
}

int SAT_set_bit_shift(int) {
    return 0;
}

void SAT_free_AREA(AreaFile*) {}
