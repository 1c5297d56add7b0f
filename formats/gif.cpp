// GIF files: colour quantiser, LZW coder and decoder of our own, no image library.
#include "formats/gif.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "env/files.h"
#include "env/messages.h"
#include "formats/image.h"
#include "graphics/graphics.h"

namespace {

constexpr int LZW_MAX_CODES = 4096;  // 12-bit codes
constexpr int LZW_MAX_BITS = 12;
constexpr int BLOCK_MAX = 255;  // bytes of a data sub-block with its length byte
// Most pixels one byte of LZW data can give: a 12-bit code stands for at most
// 4096 pixels. A screen larger than that for its file is not believed.
constexpr unsigned long long MAX_PIXELS_PER_BYTE = 2731;

// Rows of the four interlace passes: first row and step.
constexpr int PASS_START[4] = {0, 4, 2, 1};
constexpr int PASS_STEP[4] = {8, 8, 4, 2};

struct WriterOptions {
    int use_inter = 0;  // interlaced rows
    int trans = 0;      // transparency extension for the background colour
};
WriterOptions options;

// ---- Pixel layout shared by the quantiser and the coder ----------------------

enum class Cell { Bits32, Bits24, Bits16, Bits8, Bits4, Bits1 };

struct Layout {
    Cell cell = Cell::Bits8;
    int ppl = 0;       // pixels in a line, padding included
    size_t total = 0;  // ppl * height
    int bytes = 1;     // bytes of a pixel at 8 bits and above
};

bool layout_of(const Image* image, Layout* out) {
    Layout l;
    if (image->bits_per_pixel == 32) {
        l.cell = Cell::Bits32;
        l.bytes = 4;
    } else {
        switch (image->depth) {
            case 24:
                l.cell = Cell::Bits24, l.bytes = 3;
                break;
            case 15:
            case 16:
                l.cell = Cell::Bits16, l.bytes = 2;
                break;
            case 8:
                l.cell = Cell::Bits8, l.bytes = 1;
                break;
            case 4:
                l.cell = Cell::Bits4;
                break;
            case 1:
                l.cell = Cell::Bits1;
                break;
            default:
                return false;
        }
    }
    if (image->bytes_per_line < 0 || image->height < 0 || image->width < 0) return false;
    if (l.cell == Cell::Bits32)
        l.ppl = image->bytes_per_line / 4;
    else
        l.ppl = static_cast<int>(static_cast<long long>(image->bytes_per_line) * 8 /
                                 (l.cell == Cell::Bits16 ? 16 : image->depth));
    l.total = image->data ? static_cast<size_t>(l.ppl) * static_cast<size_t>(image->height) : 0;
    *out = l;
    return true;
}

// Value of pixel n in memory order; 0 at or past the element count.
uint32_t pixel_value(const Image* image, const Layout& l, size_t n) {
    if (n >= l.total) return 0;
    size_t row = n / static_cast<size_t>(l.ppl), col = n % static_cast<size_t>(l.ppl);
    const unsigned char* line = image->data + row * static_cast<size_t>(image->bytes_per_line);
    const bool msb = image->byte_order == 1;
    switch (l.cell) {
        case Cell::Bits32: {
            const unsigned char* p = line + col * 4;
            return msb ? (uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3])
                       : (uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]);
        }
        case Cell::Bits24: {
            const unsigned char* p = line + col * 3;
            return msb ? (uint32_t{p[0]} << 16 | uint32_t{p[1]} << 8 | p[2])
                       : (uint32_t{p[2]} << 16 | uint32_t{p[1]} << 8 | p[0]);
        }
        case Cell::Bits16: {
            const unsigned char* p = line + col * 2;
            return msb ? (uint32_t{p[0]} << 8 | p[1]) : (uint32_t{p[1]} << 8 | p[0]);
        }
        case Cell::Bits8:
            return line[col];
        case Cell::Bits4:
            return col % 2 == 0 ? line[col / 2] >> 4 : line[col / 2] & 0x0F;
        case Cell::Bits1:
            return (line[col / 8] >> (col % 8)) & 1;
    }
    return 0;
}

// Puts a colour index in place of pixel n: in the first byte of a wide pixel
// (the low-order one at 16 bits), or in its nibble or bit.
void store_index(Image* image, const Layout& l, size_t n, int index) {
    size_t row = n / static_cast<size_t>(l.ppl), col = n % static_cast<size_t>(l.ppl);
    unsigned char* line = image->data + row * static_cast<size_t>(image->bytes_per_line);
    const auto v = static_cast<unsigned char>(index);
    switch (l.cell) {
        case Cell::Bits32:
        case Cell::Bits24:
            line[col * l.bytes] = v;
            std::memset(line + col * l.bytes + 1, 0, static_cast<size_t>(l.bytes - 1));
            break;
        case Cell::Bits16:
            line[col * 2 + (image->byte_order == 1 ? 1 : 0)] = v;
            line[col * 2 + (image->byte_order == 1 ? 0 : 1)] = 0;
            break;
        case Cell::Bits8:
            line[col] = v;
            break;
        case Cell::Bits4:
            if (col % 2 == 0)
                line[col / 2] =
                    static_cast<unsigned char>((line[col / 2] & 0x0F) | (v & 0x0F) << 4);
            else
                line[col / 2] = static_cast<unsigned char>((line[col / 2] & 0xF0) | (v & 0x0F));
            break;
        case Cell::Bits1:
            line[col / 8] = static_cast<unsigned char>((line[col / 8] & ~(1 << (col % 8))) |
                                                       (v & 1) << (col % 8));
            break;
    }
}

// Index stored by store_index at pixel n; 0 at or past the element count.
int stored_index(const Image* image, const Layout& l, size_t n) {
    if (n >= l.total) return 0;
    if (l.cell == Cell::Bits32 || l.cell == Cell::Bits24) {
        size_t row = n / static_cast<size_t>(l.ppl), col = n % static_cast<size_t>(l.ppl);
        return image->data[row * static_cast<size_t>(image->bytes_per_line) + col * l.bytes];
    }
    return static_cast<int>(pixel_value(image, l, n) & 0xFF);
}

// ---- Quantiser -----------------------------------------------------------------

struct Channel {
    int shift = 0;  // trailing zero bits of the mask
    int width = 0;  // length of its run of ones
};

Channel channel_of(uint32_t mask, int depth) {
    int limit = depth < 32 ? depth : 32;
    Channel c;
    while (c.shift < limit && !(mask >> c.shift & 1)) c.shift++;
    while (c.shift + c.width < limit && (mask >> (c.shift + c.width) & 1)) c.width++;
    return c;
}

int channel_value(uint32_t value, uint32_t mask, Channel c) {
    if (c.shift >= 32) return 0;
    uint32_t v = (value & mask) >> c.shift;
    if (c.width > 8) return static_cast<int>((v >> (c.width - 8)) & 0xFF);
    return static_cast<int>((v << (8 - c.width)) & 0xFF);
}

// Finds or adds colour entries; entries are searched in order of first sight, so
// the hash table only makes the search quick, never changes its answer.
class ColorIndex {
   public:
    ColorIndex(const Image* image, GifPalette* palette) : image_(image), pal_(palette) {
        std::memset(slot_, -1, sizeof slot_);
        if (image->mapped != 1) {
            red_ = channel_of(image->red_mask, image->depth);
            grn_ = channel_of(image->green_mask, image->depth);
            blu_ = channel_of(image->blue_mask, image->depth);
            MESS_print(MESS_DEBUG_C, "mask: %d-%d %d-%d %d-%d\n", red_.shift, red_.width,
                       grn_.shift, grn_.width, blu_.shift, blu_.width);
        }
    }

    int find(uint32_t value) {
        if (value == last_value_ && last_index_ >= 0) return last_index_;
        unsigned h = hash(value);
        while (slot_[h] >= 0) {
            if (pal_->value[slot_[h]] == value) return remember(value, slot_[h]);
            h = (h + 1) & (SLOTS - 1);
        }
        if (pal_->num_color >= 256) return remember(value, 0);
        int i = pal_->num_color++;
        slot_[h] = static_cast<int16_t>(i);
        pal_->value[i] = value;
        set_color(i, value);
        return remember(value, i);
    }

   private:
    static constexpr unsigned SLOTS = 1024;
    static unsigned hash(uint32_t v) { return (v * 2654435761u) >> 22; }

    int remember(uint32_t value, int index) {
        last_value_ = value;
        last_index_ = index;
        return index;
    }

    void set_color(int i, uint32_t value) {
        if (image_->mapped == 1) {
            if (image_->colors && value < static_cast<uint32_t>(image_->num_colors)) {
                const float* c = image_->colors + 3 * value;
                pal_->red[i] = static_cast<int>(c[0] * 255);
                pal_->grn[i] = static_cast<int>(c[1] * 255);
                pal_->blu[i] = static_cast<int>(c[2] * 255);
            } else if (!image_->colors || image_->num_colors <= 0) {
                // A table-less picture shows its values as grey.
                int g = static_cast<int>(value & 0xFF);
                pal_->red[i] = pal_->grn[i] = pal_->blu[i] = g;
            }
        } else {
            pal_->red[i] = channel_value(value, image_->red_mask, red_);
            pal_->grn[i] = channel_value(value, image_->green_mask, grn_);
            pal_->blu[i] = channel_value(value, image_->blue_mask, blu_);
        }
    }

    const Image* image_;
    GifPalette* pal_;
    Channel red_, grn_, blu_;
    int16_t slot_[SLOTS];
    uint32_t last_value_ = 0;
    int last_index_ = -1;
};

// ---- LZW coder ------------------------------------------------------------------

struct HashEntry {
    int32_t key;   // cur * 4096 + prev, -1 when free
    int16_t code;  // code of the string
    int16_t next;  // overflow node, -1 for none
};

struct Coder {
    FILE* gif_file = nullptr;
    unsigned char data[BLOCK_MAX + 1];  // length byte and up to 254 data bytes
    int out_bytes = 1;
    uint32_t temp_data = 0;
    int data_bits = 0;
    int code_size = 0;   // root size of the picture
    int coded_size = 0;  // bits of the next code
    int coded_mask = 0;
    int clear_code = 0;
    int end_info_code = 0;
    HashEntry h_table[LZW_MAX_CODES];
    int h_table_ind = 0;
    HashEntry h_nodes[LZW_MAX_CODES];  // overflow nodes of the table's chains
    int h_node_ind = 0;
};

void flush_block(Coder& c) {
    if (c.out_bytes <= 1) return;
    c.data[0] = static_cast<unsigned char>(c.out_bytes - 1);
    std::fwrite(c.data, 1, static_cast<size_t>(c.out_bytes), c.gif_file);
    c.out_bytes = 1;
}

void out_code(Coder& c, int code) {
    c.temp_data |= static_cast<uint32_t>(code) << c.data_bits;
    c.data_bits += c.coded_size;
    while (c.data_bits >= 8) {
        c.data[c.out_bytes++] = static_cast<unsigned char>(c.temp_data & 0xFF);
        c.temp_data >>= 8;
        c.data_bits -= 8;
        if (c.out_bytes == BLOCK_MAX) flush_block(c);
    }
    if (c.coded_mask < c.h_table_ind && c.coded_size < LZW_MAX_BITS) {
        c.coded_size++;
        c.coded_mask = (1 << c.coded_size) - 1;
    }
    if (code == c.end_info_code) {
        if (c.data_bits > 0) {
            c.data[c.out_bytes++] = static_cast<unsigned char>(c.temp_data & 0xFF);
            c.temp_data = 0;
            c.data_bits = 0;
        }
        flush_block(c);
    }
}

void clear_table(Coder& c) {
    out_code(c, c.clear_code);
    for (HashEntry& e : c.h_table) e = {-1, -1, -1};
    c.coded_size = c.code_size + 1;
    c.coded_mask = (2 << c.code_size) - 1;
    c.h_node_ind = 0;
    c.h_table_ind = c.end_info_code + 1;
}

void start_coder(Coder& c, int code_size) {
    c.code_size = code_size;
    c.clear_code = 1 << code_size;
    c.end_info_code = c.clear_code + 1;
    c.coded_size = code_size + 1;
    c.coded_mask = (2 << code_size) - 1;
    c.out_bytes = 1;
    c.temp_data = 0;
    c.data_bits = 0;
    c.h_table_ind = c.end_info_code + 1;
    clear_table(c);
}

// Codes one more pixel after `prev`, the code of the string so far.
void code_pixel(Coder& c, int& prev, int cur) {
    const int32_t hash_data = cur * LZW_MAX_CODES + prev;
    const int hash_code = ((cur << 4) ^ prev) & (LZW_MAX_CODES - 1);
    HashEntry& slot = c.h_table[hash_code];
    if (slot.key == hash_data) {
        prev = slot.code;
        return;
    }
    int last = -1;
    for (int n = slot.next; n >= 0; n = c.h_nodes[n].next) {
        if (c.h_nodes[n].key == hash_data) {
            prev = c.h_nodes[n].code;
            return;
        }
        last = n;
    }
    out_code(c, prev);
    prev = cur;
    if (c.h_table_ind < LZW_MAX_CODES && c.h_node_ind < LZW_MAX_CODES) {
        const auto code = static_cast<int16_t>(c.h_table_ind);
        if (slot.key == -1) {
            slot.key = hash_data;
            slot.code = code;
        } else {
            const auto node = static_cast<int16_t>(c.h_node_ind++);
            c.h_nodes[node] = {hash_data, code, -1};
            if (last < 0)
                slot.next = node;
            else
                c.h_nodes[last].next = node;
        }
        c.h_table_ind++;
    } else {
        clear_table(c);
    }
}

// Codes the picture row by row. In interlaced output each row but the first
// starts with the pixel that follows the previous row in memory, since it has
// been fetched before the jump; depths 1 and 4 then code their row from its start.
void code_picture(Coder& c, const Image* image, const Layout& l, int use_inter) {
    const size_t ppl = static_cast<size_t>(l.ppl);
    const int width = image->width, height = image->height;
    const bool packed = l.cell == Cell::Bits4 || l.cell == Cell::Bits1;
    int prev = -1;
    bool first = true;
    int last_row = 0;
    auto code_row = [&](int row) {
        const size_t base = static_cast<size_t>(row) * ppl;
        for (int x = 0; x < width; x++) {
            int cur;
            if (use_inter && !first && x == 0)
                cur = stored_index(image, l, static_cast<size_t>(last_row + 1) * ppl);
            else if (use_inter && !first && packed)
                cur = stored_index(image, l, base + static_cast<size_t>(x - 1));
            else
                cur = stored_index(image, l, base + static_cast<size_t>(x));
            if (prev < 0)
                prev = cur;
            else
                code_pixel(c, prev, cur);
        }
        first = false;
        last_row = row;
    };
    if (use_inter) {
        for (int pass = 0; pass < 4; pass++)
            for (int row = PASS_START[pass]; row < height; row += PASS_STEP[pass]) code_row(row);
    } else {
        for (int row = 0; row < height; row++) code_row(row);
    }
    if (prev < 0) prev = 0;  // a picture with no pixels still codes one
    out_code(c, prev);
    out_code(c, c.end_info_code);
}

void put16(FILE* f, int v) {
    std::fputc(v & 0xFF, f);
    std::fputc((v >> 8) & 0xFF, f);
}

// ---- Reader ---------------------------------------------------------------------

struct Reader {
    FILE* f;
    int byte() { return getc_unlocked(f); }
    bool read(unsigned char* buf, size_t n) { return std::fread(buf, 1, n, f) == n; }
    bool skip(size_t n) {
        for (; n > 0; n--)
            if (byte() == EOF) return false;
        return true;
    }
};

int le16(const unsigned char* p) {
    return p[0] | p[1] << 8;
}

void report_control(const unsigned char* b) {
    constexpr uint32_t DBG = MESS_DEBUG;
    MESS_print(DBG, "Graphics Control Extension\n");
    MESS_print(DBG, "Block size: %d\n", b[0]);
    static const char* const disposal[] = {
        "No disposal specified\n", "Do not dispose. graphic left in tact\n",
        "Restore to background color\n", "Restore to previous image\n"};
    int d = (b[1] >> 2) & 7;
    if (d < 4) MESS_print(DBG, "%s", disposal[d]);
    MESS_print(DBG, "%s", (b[1] & 2) ? "User input expected\n" : "User input not expected\n");
    MESS_print(DBG, "%s",
               (b[1] & 1) ? "Transparent index given\n" : "Transparent index not given\n");
    int delay = le16(b + 2);
    MESS_print(DBG, "Delay time: %d %.2f\n", delay, delay / 100.0);
    MESS_print(DBG, "Transparent color index: %d\n", b[4]);
}

// Reads one extension after its introducer; false when the file ends in it.
bool read_extension(Reader& in) {
    int label = in.byte();
    if (label == EOF) return false;
    MESS_print(MESS_DEBUG, "Control Extension\n");
    MESS_print(MESS_DEBUG, "Extension Label: %2X\n", label);
    unsigned char b[12];
    switch (label) {
        case 0xF9:
            if (!in.read(b, 5) || in.byte() == EOF) return false;
            report_control(b);
            return true;
        case 0xFF: {
            if (!in.read(b, 12)) return false;
            MESS_print(MESS_DEBUG, "Application Extension\n");
            MESS_print(MESS_DEBUG, "Application identifier: %8.8s\n",
                       reinterpret_cast<char*>(b + 1));
            MESS_print(MESS_DEBUG, "Application authentication: %3.3s\n",
                       reinterpret_cast<char*>(b + 9));
            for (;;) {
                int n = in.byte();
                if (n == EOF) return false;
                if (n == 0) return true;
                if (!in.skip(static_cast<size_t>(n))) return false;
            }
        }
        case 0xFE: {
            MESS_print(MESS_DEBUG, "Comment Data\n");
            int n = in.byte();
            if (n == EOF || !in.skip(static_cast<size_t>(n))) return false;
            return in.byte() != EOF;
        }
        default:
            return true;
    }
}

// LZW codes from the data sub-blocks of one image.
struct CodeStream {
    Reader& in;
    int left = 0;  // bytes left in the current sub-block
    bool ended = false;
    uint32_t bits = 0;
    int nbits = 0;
    explicit CodeStream(Reader& r) : in(r) {}
    // The next code, or -1 when the data ends (a zero or short block).
    int next(int size) {
        while (nbits < size) {
            if (ended) return -1;
            if (left == 0) {
                int n = in.byte();
                if (n <= 0) {
                    ended = true;
                    return -1;
                }
                left = n;
            }
            int b = in.byte();
            if (b == EOF) {
                ended = true;
                return -1;
            }
            left--;
            bits |= static_cast<uint32_t>(b) << nbits;
            nbits += 8;
        }
        int code = static_cast<int>(bits & ((1u << size) - 1));
        bits >>= size;
        nbits -= size;
        return code;
    }
};

// Where decoded pixels go: image rows, wrapped at the image descriptor's width.
struct RowCursor {
    Image* image;
    int width, height;  // of the image descriptor
    bool interlaced;
    int x = 0, row = 0, pass = 0;
    bool done = false;
    void put(int pixel) {
        if (done) return;
        if (row < image->height && x < image->width)
            image->data[static_cast<size_t>(row) * static_cast<size_t>(image->bytes_per_line) +
                        static_cast<size_t>(x)] = static_cast<unsigned char>(pixel);
        if (++x < width) return;
        x = 0;
        if (!interlaced) {
            done = ++row >= height;
            return;
        }
        row += PASS_STEP[pass];
        while (row >= height && pass < 3) row = PASS_START[++pass];
        done = row >= height;
    }
};

enum class Decode { Ok, Refused };

Decode decode_lzw(Reader& in, RowCursor& out, int code_size) {
    static thread_local int16_t prefix[LZW_MAX_CODES];
    static thread_local unsigned char suffix[LZW_MAX_CODES];
    static thread_local unsigned char stack[LZW_MAX_CODES];
    const int clear_code = 1 << code_size, end_info_code = clear_code + 1;
    for (int i = 0; i < LZW_MAX_CODES; i++) {
        prefix[i] = -1;
        suffix[i] = static_cast<unsigned char>(i < clear_code ? i : 0);
    }
    int coded_size = code_size + 1, coded_mask = (1 << coded_size) - 1;
    int table_ptr = end_info_code + 1;
    int prev = -1;
    unsigned char first_char = 0;
    CodeStream codes(in);
    // Pushes the string of `code` and hands it out; gives its first character.
    auto emit = [&](int code) {
        int sp = 0;
        for (int c = code; c >= 0; c = prefix[c]) stack[sp++] = suffix[c];
        unsigned char first = stack[sp - 1];
        while (sp > 0) out.put(stack[--sp]);
        return first;
    };
    while (!out.done) {
        int code = codes.next(coded_size);
        if (code < 0 || code == end_info_code) break;
        if (code == clear_code) {
            coded_size = code_size + 1;
            coded_mask = (1 << coded_size) - 1;
            table_ptr = end_info_code + 1;
            prev = -1;
            continue;
        }
        if (code > table_ptr || (prev < 0 && code >= table_ptr)) {
            MESS_print(MESS_WARN, "GIF_read: LZW code %d past the table of %d\n", code, table_ptr);
            return Decode::Refused;
        }
        if (prev < 0) {
            first_char = emit(code);
            prev = code;
            continue;
        }
        if (table_ptr >= LZW_MAX_CODES) {
            MESS_print(MESS_WARN, "GIF_read: LZW table full without a clear code\n");
            return Decode::Refused;
        }
        if (code == table_ptr) {  // the string being defined: prev's plus its first
            unsigned char f = emit(prev);
            out.put(f);
            first_char = f;
        } else {
            first_char = emit(code);
        }
        prefix[table_ptr] = static_cast<int16_t>(prev);
        suffix[table_ptr] = first_char;
        if (table_ptr == coded_mask && coded_size < LZW_MAX_BITS) {
            coded_size++;
            coded_mask = (1 << coded_size) - 1;
        }
        table_ptr++;
        prev = code;
    }
    return Decode::Ok;
}

void drop_pixels(Image* image) {
    std::free(image->data);
    std::free(image->colors);
    image->data = nullptr;
    image->colors = nullptr;
}

// The pixel buffer and colour table of the screen.
int allocate_picture(Image* image, long long file_left) {
    const int width = image->width, height = image->height;
    if (width <= 0 || height <= 0) {
        MESS_print(MESS_WARN, "GIF_read: Empty screen of %dx%d\n", width, height);
        return 0;
    }
    const unsigned long long pixels =
        static_cast<unsigned long long>(width) * static_cast<unsigned long long>(height);
    if (file_left >= 0 &&
        pixels > static_cast<unsigned long long>(file_left) * MAX_PIXELS_PER_BYTE) {
        MESS_print(MESS_WARN, "GIF_read: Screen of %dx%d is larger than the file\n", width, height);
        return 0;
    }
    image->colors =
        static_cast<float*>(std::calloc(static_cast<size_t>(image->num_colors) * 3, sizeof(float)));
    image->data = static_cast<unsigned char*>(std::calloc(pixels, 1));
    if (!image->colors || !image->data) {
        MESS_print(MESS_WARN, "Unable to allocate data buffer.\n");
        return 0;
    }
    return 1;
}

// The signature, past a text banner line if one leads, and the logical screen
// descriptor; the screen's flags byte goes to `flags`.
bool read_screen(Reader& in, Image* image, int* flags) {
    unsigned char b[13];
    bool got = in.read(b, 3);
    if (got && std::memcmp(b, "** ", 3) == 0) {
        int c;
        while ((c = in.byte()) != EOF && c != '\n') {
        }
        got = in.read(b, 3);
    }
    if (!got || std::memcmp(b, "GIF", 3) != 0) {
        MESS_print(MESS_WARN, "GIF_read: Not a GIF file\n");
        return false;
    }
    if (!in.read(b, 3 + 7)) {
        MESS_print(MESS_WARN, "GIF_read: File ends in the screen descriptor\n");
        return false;
    }
    const unsigned char* screen = b + 3;
    image->width = le16(screen);
    image->height = le16(screen + 2);
    image->bytes_per_line = image->width;
    *flags = screen[4];
    image->num_colors = 1 << ((*flags & 7) + 1);
    image->depth = 8;
    image->mapped = 1;
    std::snprintf(image->info, sizeof image->info, "GIF");
    MESS_print(MESS_DEBUG, "Screen: %dx%d table %d resolution %d sorted %d colors %d\n",
               image->width, image->height, *flags >> 7, ((*flags >> 4) & 7) + 1, (*flags >> 3) & 1,
               image->num_colors);
    return true;
}

// The global colour table, when the screen's flags say there is one.
bool read_global_table(Reader& in, Image* image, int flags) {
    if (!(flags & 0x80)) return true;
    unsigned char table[3 * 256];
    if (!in.read(table, static_cast<size_t>(image->num_colors) * 3)) {
        MESS_print(MESS_WARN, "GIF_read: File ends in the colour table\n");
        return false;
    }
    for (int i = 0; i < image->num_colors * 3; i++) image->colors[i] = table[i] / 255.0f;
    return true;
}

// Passes extensions and stray bytes up to the first image descriptor and
// decodes that image; later images are not read.
bool read_first_image(Reader& in, Image* image) {
    for (;;) {
        int c = in.byte();
        if (c == EOF) {
            MESS_print(MESS_WARN, "GIF_read: No image in the file\n");
            return false;
        }
        if (c == 0x21) {
            if (read_extension(in)) continue;
            MESS_print(MESS_WARN, "GIF_read: File ends in an extension\n");
            return false;
        }
        if (c == 0x2C) break;
    }
    unsigned char d[9];
    int code_size;
    if (!in.read(d, 9) || ((d[8] & 0x80) && !in.skip(static_cast<size_t>(3) << ((d[8] & 7) + 1))) ||
        (code_size = in.byte()) == EOF) {
        MESS_print(MESS_WARN, "GIF_read: File ends in the image descriptor\n");
        return false;
    }
    if (code_size < 1 || code_size >= LZW_MAX_BITS) {
        MESS_print(MESS_WARN, "GIF_read: LZW code size %d out of range\n", code_size);
        return false;
    }
    RowCursor out{image, le16(d + 4), le16(d + 6), (d[8] & 0x40) != 0};
    out.done = out.width <= 0 || out.height <= 0;
    return decode_lzw(in, out, code_size) == Decode::Ok;
}

}  // namespace

void GIF_quantise(Image* image, GifQuantiseMode mode, unsigned char* indices, GifPalette* palette) {
    *palette = GifPalette{};
    Layout l;
    if (!layout_of(image, &l) || l.total == 0) return;
    ColorIndex colors(image, palette);
    const size_t ppl = static_cast<size_t>(l.ppl);
    const size_t width = static_cast<size_t>(image->width);
    const bool frozen = mode == GIF_TO_BUFFER && l.cell == Cell::Bits8;
    for (size_t row = 0; row < static_cast<size_t>(image->height); row++) {
        for (size_t x = 0; x < ppl; x++) {
            size_t n = row * ppl + x;
            int index = colors.find(pixel_value(image, l, frozen ? 0 : n));
            if (mode == GIF_IN_PLACE)
                store_index(image, l, n, index);
            else if (x < width)
                indices[row * width + x] = static_cast<unsigned char>(index);
        }
    }
}

int GIF_interlace(int flag) {
    options.use_inter = flag;
    return 0;
}

int GIF_transparent(int flag) {
    options.trans = flag;
    return 0;
}

int GIF_write(const char* name, Image* image) {
    Layout l;
    if (!layout_of(image, &l)) {
        MESS_print(MESS_WARN, "GIF_write: No GIF of depth %d\n", image->depth);
        return 0;
    }
    FILE* f = FILE_create(name, "wb", 0);
    if (!f) {
        MESS_print(MESS_WARN, "Unable to open GIF file\n");
        return 0;
    }
    const long background = gget_color_ind(GCOLR_BACK);
    GifPalette pal;
    GIF_quantise(image, GIF_IN_PLACE, nullptr, &pal);

    MESS_print(MESS_DEBUG_C, "num_color: %d\n", pal.num_color);
    int num_color = 1, e = 0, code_size = 2;
    if (pal.num_color >= 2) {
        while ((1 << e) < pal.num_color) e++;
        num_color = 1 << e;
        code_size = e < 2 ? 2 : e;
    }
    MESS_print(MESS_DEBUG_C, "num_color+: %d\n", num_color);
    MESS_print(MESS_DEBUG_C, "code_size: %d\n", code_size);

    std::fputs("GIF89a", f);
    put16(f, image->width);
    put16(f, image->height);
    std::fputc((0x80 | ((e - 1) << 4) | (e - 1)) & 0xFF, f);  // one colour gives 0xFF
    std::fputc(0, f);
    std::fputc(0, f);
    for (int i = 0; i < num_color; i++) {
        std::fputc(pal.red[i], f);
        std::fputc(pal.grn[i], f);
        std::fputc(pal.blu[i], f);
    }
    if (options.trans) {
        int index = pal.num_color < 256 ? pal.num_color : 0;  // a slot no pixel uses
        for (int i = 0; i < pal.num_color; i++)
            if (pal.value[i] == static_cast<uint32_t>(background)) {
                index = i;
                break;
            }
        const unsigned char ext[] = {
            0x21, 0xF9, 0x04, 0x01, 0x0A, 0x00, static_cast<unsigned char>(index), 0x00};
        std::fwrite(ext, 1, sizeof ext, f);
    }
    std::fputc(0x2C, f);
    put16(f, 0);
    put16(f, 0);
    put16(f, image->width);
    put16(f, image->height);
    std::fputc(options.use_inter ? 0x40 : 0, f);
    std::fputc(code_size, f);

    auto coder = std::make_unique<Coder>();
    coder->gif_file = f;
    start_coder(*coder, code_size);
    code_picture(*coder, image, l, options.use_inter);
    std::fputc(0, f);
    std::fputc(0x3B, f);
    return FILE_commit(f) == 0 ? 1 : 0;
}

int GIF_read(const char* name, Image* image, int header_only) {
    image->data = nullptr;
    image->colors = nullptr;
    FilePtr file(FILE_open(name, "rb"));
    if (!file) {
        MESS_print(MESS_WARN, "GIF_read: Unable to open file\n");
        return 0;
    }
    Reader in{file.get()};
    int flags = 0;
    if (!read_screen(in, image, &flags)) return 0;
    if (header_only == 1) return 1;
    if (allocate_picture(image, FILE_bytes_left(file.get())) &&
        read_global_table(in, image, flags) && read_first_image(in, image))
        return 1;
    drop_pixels(image);
    return 0;
}

int GIF_dump(const char* name) {
    return IMG_dump_with(name, GIF_write);
}
