// 12-bit JPEG data of LRIT segments, through the 12-bit build of the IJG library
// whose symbols carry their own prefix, so that it links beside the 8-bit one.
#include <cstdio>

extern "C" {
#include "gdcmjpeg/12/jpeglib.h"
}

#define LRIT_JPEG_DECODER
#include "formats/lrit_jpeg.h"

int LRIT_jpeg12(FILE* file, const LritJpegTarget& target) {
    return lrit_jpeg_decode(file, target);
}
