// JPEG-compressed image data of an LRIT segment. The 8-bit and the 12-bit
// decoders come from two builds of the JPEG library whose headers cannot meet in
// one translation unit, so each has its own unit behind this interface.
#pragma once

#include <cstdio>

// Where decoded rows go: the image buffer and how rows and columns are laid in.
struct LritJpegTarget {
    unsigned char* data;  // nrow lines of ncol bytes
    int ncol;
    int nrow;
    int xdir;   // -1: columns mirrored
    int ydir;   // -1: rows from the bottom up
    int shift;  // right shift of a sample before its low eight bits are kept
};

// Bits of precision of the stream at the current position, read from its frame
// header; the position is left where it was. -1 when no frame header is found.
int LRIT_jpeg_precision(FILE* file);
// Decode the stream at the current position into the target. 0, or -1 with a
// message when the stream is corrupt.
int LRIT_jpeg8(FILE* file, const LritJpegTarget& target);
int LRIT_jpeg12(FILE* file, const LritJpegTarget& target);

// Stores one decoded row (scanline counts from 1). Samples beyond the target,
// which a stream larger than its header says could hold, are dropped.
template <typename Sample>
void LRIT_store_row(const LritJpegTarget& t, const Sample* row, int width, int height,
                    int scanline) {
    const int y = t.ydir == 1 ? scanline - 1 : height - scanline;
    if (y < 0 || y >= t.nrow) return;
    unsigned char* out = t.data + static_cast<size_t>(y) * t.ncol;
    for (int i = 0; i < width; i++) {
        const int x = t.xdir == 1 ? i : width - 1 - i;
        if (x < 0 || x >= t.ncol) continue;
        out[x] = static_cast<unsigned char>((static_cast<int>(row[i]) >> t.shift) & 0xFF);
    }
}

// The decoder itself, written once over the names of whichever JPEG library the
// including unit has brought in. Internal to that unit.
#ifdef LRIT_JPEG_DECODER
#include <csetjmp>
#include <cstdint>
#include <vector>

#include "env/messages.h"

namespace {

// The library's own error exit ends the program; this one reports, and jumps
// back to the decoder, which refuses the file. Warnings of corrupt data count
// as errors too: a stream cut short would otherwise come out padded with grey.
struct LritJpegError {
    jpeg_error_mgr pub;
    std::jmp_buf jump;
};

void lrit_jpeg_fail(j_common_ptr cinfo) {
    char text[JMSG_LENGTH_MAX];
    (*cinfo->err->format_message)(cinfo, text);
    MESS_print(MESS_WARN, "SAT_read_LRIT: Bad JPEG data: %s\n", text);
    std::longjmp(reinterpret_cast<LritJpegError*>(cinfo->err)->jump, 1);
}

void lrit_jpeg_emit(j_common_ptr cinfo, int level) {
    if (level < 0) lrit_jpeg_fail(cinfo);
    if (level <= cinfo->err->trace_level) {
        char text[JMSG_LENGTH_MAX];
        (*cinfo->err->format_message)(cinfo, text);
        MESS_print(MESS_DEBUG, "%s\n", text);
    }
}

// Nothing with a destructor lives between setjmp and a jump back to it: the
// row buffer is the library's own, freed with the decompression object.
int lrit_jpeg_decode(FILE* file, const LritJpegTarget& target) {
    jpeg_decompress_struct cinfo{};  // so that destroying it before creation is harmless
    LritJpegError err;
    cinfo.err = jpeg_std_error(&err.pub);
    err.pub.error_exit = lrit_jpeg_fail;
    err.pub.emit_message = lrit_jpeg_emit;
    if (MESS_check(MESS_DEBUG)) err.pub.trace_level++;
    if (setjmp(err.jump)) {
        jpeg_destroy_decompress(&cinfo);
        return -1;
    }
    jpeg_create_decompress(&cinfo);
    jpeg_stdio_src(&cinfo, file);
    jpeg_read_header(&cinfo, TRUE);
    jpeg_start_decompress(&cinfo);
    const int width = static_cast<int>(cinfo.output_width);
    const int height = static_cast<int>(cinfo.output_height);
    JSAMPARRAY row = (*cinfo.mem->alloc_sarray)(
        reinterpret_cast<j_common_ptr>(&cinfo), JPOOL_IMAGE,
        static_cast<JDIMENSION>(cinfo.output_components) * cinfo.output_width, 1);
    MESS_print(MESS_DEBUG, "COLOR: %d %d %d %d\n", cinfo.output_components,
               static_cast<int>(cinfo.out_color_space), width, height);
    while (cinfo.output_scanline < cinfo.output_height) {
        jpeg_read_scanlines(&cinfo, row, 1);
        LRIT_store_row(target, row[0], width, height, static_cast<int>(cinfo.output_scanline));
    }
    jpeg_finish_decompress(&cinfo);
    jpeg_destroy_decompress(&cinfo);
    return 0;
}

}  // namespace
#endif
