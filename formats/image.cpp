#include "formats/image.h"

int IMG_init(Image*) {
    return -1;
}
int IMG_free(Image*) {
    return -1;
}
int IMG_read(const char*, Image*, int) {
    return 0;
}
int IMG_read_zmt(const char*, Image*) {
    return -1;
}
int IMG_write(const char*, const Image*, int) {
    return 0;
}
int IMG_dump(const char*) {
    return 0;
}
int IMG_set_max_waits(int) {
    return -1;
}
