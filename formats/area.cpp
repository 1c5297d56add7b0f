// The AREA reader. All byte access goes through one window of the file, so the
// directory and navigation block are taken straight out of the first window and
// only the pixels stream on. The three physical forms are told apart by the
// area version word: 4 in host order, 4 swapped, or neither for the framed
// broadcast stream, whose lines come behind sync marks, nibble-compressed.
#include "formats/area.h"

#include <array>
#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "env/messages.h"
#include "env/tables.h"

namespace {

constexpr int kWindow = 20000;   // bytes of one read into the window
constexpr int kScanLine = 5000;  // longest framed line
constexpr int kDirBytes = 256;
constexpr int kNavBytes = 512;
constexpr int kGvarBytes = 2560;
constexpr int kMaxSize = 100000;  // bound on lines and on elements

// Change of the running value for nibbles 1 to 12; 0 brings a new value, 13 to
// 15 repeat the value one to three times.
constexpr std::array<int, 13> kNibbleStep{0, -6, 6, -5, 5, -4, 4, -3, 3, -2, 2, -1, 1};

// The reader's state for the one file being read. SAT_read_AREA sets it up for
// each file; read_window refills the window, and the byte, word and nibble
// readers move through it.
struct Reader {
    // The window of the file. Slack behind it lets getword read its four bytes at
    // the very end of a window.
    std::array<unsigned char, kWindow + 8> data{};
    // One framed line as it is decoded (read_framed); the slack takes the up to
    // two bytes that the repeat nibbles write past the last element.
    std::array<unsigned char, kScanLine + 8> scan_line{};
    FILE* ifile = nullptr;  // the file being read; set by SAT_read_AREA
    int dat_buf = 0;        // bytes in the window; set by read_window
    int dat_ind = 0;        // next byte of the window; moved by every reader and skip
    int scan_ind = 0;       // next element of scan_line; read_framed
    int low = 0;            // 1: the next nibble is the low half of the byte; getnib
    int nib_bytes = 0;      // nibble bytes taken from the current line; getnib
    int bshift = 0;         // left shift of every pixel value; SAT_set_bit_shift
    // Set by read_window when a refill brought nothing: from then on every byte
    // is the stale first byte of the window (or -1 after a read error).
    bool exhausted = false;
};
Reader rd;

enum Form { PLAIN_NATIVE, PLAIN_SWAPPED, FRAMED };

void bad_parameters() {
    MESS_print(MESS_WARN, "SAT_read_AREA: Invalid image parameters\n");
}

// Reads the next window. Returns -1 only when the read itself fails.
[[gnu::noinline]] int read_window() {
    size_t n = std::fread(rd.data.data(), 1, kWindow, rd.ifile);
    rd.dat_ind = 0;
    rd.dat_buf = static_cast<int>(n);
    assert(rd.dat_buf >= 0 && rd.dat_buf <= kWindow);
    if (n == 0) {
        rd.exhausted = true;
        if (std::ferror(rd.ifile)) return -1;
    }
    return 0;
}

// Refills the window when it is used up.
inline int refill() {
    return rd.dat_ind < rd.dat_buf ? 0 : read_window();
}

inline int getbyte() {
    if (refill() < 0) return -1;
    // A refilled window has its next byte inside, or is empty and starts again at 0.
    assert(rd.dat_ind >= 0 && rd.dat_ind < kWindow);
    return rd.data[rd.dat_ind++];
}

int getword() {
    if (refill() < 0) return -1;
    assert(rd.dat_ind >= 0 && rd.dat_ind + 4 <= static_cast<int>(rd.data.size()));
    int32_t word;
    std::memcpy(&word, rd.data.data() + rd.dat_ind, 4);
    rd.dat_ind += 4;
    return word;
}

inline int getnib() {
    if (refill() < 0) return -1;
    assert(rd.dat_ind >= 0 && rd.dat_ind < kWindow);
    if (!rd.low) {
        rd.low = 1;
        return rd.data[rd.dat_ind] >> 4;
    }
    rd.low = 0;
    rd.nib_bytes++;
    return rd.data[rd.dat_ind++] & 0x0F;
}

// Looks for the frame mark 00 FF 00 FF 00 FF 00 FF. A failed attempt keeps
// what it consumed; attempts, not bytes, are counted.
int getsync() {
    for (int attempt = 0; attempt < 1024; attempt++) {
        int c = getbyte();
        if (c == -1) return -1;
        int i = 0;
        while (c == ((i & 1) ? 0xFF : 0x00)) {
            if (++i == 8) return 1;
            c = getbyte();
        }
    }
    return 0;
}

// Consumes n bytes as getbyte would, but a window at a time.
void skip(int64_t n) {
    while (n > 0) {
        int64_t avail = rd.dat_buf - rd.dat_ind;
        if (n <= avail) {
            rd.dat_ind += static_cast<int>(n);
            assert(rd.dat_ind <= rd.dat_buf);
            return;
        }
        n -= avail;
        rd.dat_ind = rd.dat_buf;
        if (refill() < 0 || rd.dat_buf == 0) return;
    }
}

int shift_left(int value, int shift) {
    if (shift <= 0) return shift == 0 ? value : value >> (shift < -31 ? 31 : -shift);
    return shift > 31 ? 0 : static_cast<int>(static_cast<uint32_t>(value) << shift);
}

// Copies n bytes of the window at dat_ind; the block must lie whole in the
// bytes that the window holds.
bool take(void* to, int n) {
    if (rd.dat_ind < 0 || rd.dat_ind + n > rd.dat_buf) return false;
    std::memcpy(to, rd.data.data() + rd.dat_ind, n);
    return true;
}

struct NavName {
    const char* name;
    int bytes;
};
constexpr std::array<NavName, 9> nav_names{{{"GOES", kNavBytes},
                                            {"GVAR", kGvarBytes},
                                            {"PS", kNavBytes},
                                            {"MOLL", kNavBytes},
                                            {"MSAT", kNavBytes},
                                            {"RECT", kNavBytes},
                                            {"MERC", kNavBytes},
                                            {"LAMB", kNavBytes},
                                            {"TANC", kNavBytes}}};

int32_t** nav_slot(AreaFile* area, const char* name) {
    switch (name[0]) {
        case 'G':
            return name[1] == 'O' ? &area->goes : &area->gvar;
        case 'P':
            return &area->ps;
        case 'T':
            return &area->tanc;
        default:
            return std::strcmp(name, "MSAT") == 0 ? &area->ps : &area->proj;
    }
}

// Navigation block at dat_ind, if of a known type. Returns false when the type
// is known but the block is not whole in the window.
bool read_nav(AreaFile* area) {
    for (const NavName& nav : nav_names) {
        size_t len = std::strlen(nav.name);
        if (std::memcmp(rd.data.data() + rd.dat_ind, nav.name, len) != 0) continue;
        auto* block = static_cast<int32_t*>(std::malloc(nav.bytes));
        if (block == nullptr || !take(block, nav.bytes)) {
            std::free(block);
            return false;
        }
        std::memset(area->nav_type, 0, sizeof(area->nav_type));
        std::memcpy(area->nav_type, nav.name, len);
        *nav_slot(area, nav.name) = block;
        // Past the type name everything is integers, except the last eight
        // words of the short blocks.
        swap_longs(block + 1, nav.bytes == kGvarBytes ? 639 : 119);
        return true;
    }
    return true;
}

// Framed form: lines behind sync marks, each numbered, missing lines filled
// with the empty line and each line nibble-coded as differences.
void read_framed(unsigned char* out, int lines, int elements, int prefix) {
    int row = 0;
    int prev = 0;
    int depth = 0;
    assert(elements >= 0 && elements <= kScanLine);
    while (row < lines) {
        std::memset(rd.scan_line.data(), 0, elements);
        int64_t num = lines;
        if (getsync() == 1) {
            uint32_t high = 0;
            if (getbyte() != 0) {
                getsync();
                high = static_cast<uint32_t>(getbyte()) & 0xFF;
            }
            uint32_t word = high << 24;
            for (int i = 2; i >= 0; i--)
                word |= (static_cast<uint32_t>(getbyte()) & 0xFF) << (8 * i);
            num = word;
            if ((prev > 0 && num > prev + 10) || num > lines || num < prev) num = prev;
        }
        skip(prefix);
        // Missing lines get the line just cleared; the image is zeroed already.
        while (prev < num - 1 && row < lines) {
            row++;
            prev++;
        }
        if (num != lines) {
            int head[4];
            for (int& b : head) b = getbyte() & 0xFF;
            depth = head[0] << 8 | head[1];
            int n = head[2] << 8 | head[3];
            rd.low = rd.scan_ind = rd.nib_bytes = 0;
            int v = 0;
            int nib;
            // The tests stand in this order: a nibble is taken before the
            // element count is looked at.
            while (rd.nib_bytes < n && (nib = getnib()) != 255 && rd.scan_ind < elements) {
                if (nib < 0) break;
                int times = 1;
                if (nib == 0) {
                    int hi = getnib();
                    int lo = getnib();
                    if (hi < 0 || lo < 0) break;
                    v = hi << 4 | lo;
                } else if (nib >= 13) {
                    times = nib - 12;
                } else {
                    v += kNibbleStep[nib];
                }
                v &= 0xFF;
                // A line no longer than kScanLine leaves room for the longest repeat.
                assert(rd.scan_ind + times <= static_cast<int>(rd.scan_line.size()));
                for (int i = 0; i < times; i++)
                    rd.scan_line[rd.scan_ind++] = static_cast<unsigned char>(v);
            }
        }
        if (depth == 6 || rd.bshift != 0) {
            for (int i = 0; i < elements; i++) {
                int p = rd.scan_line[i];
                if (depth == 6) p = (p << 2) & 0xFF;
                if (rd.bshift != 0) p = shift_left(p, rd.bshift) & 0xFF;
                rd.scan_line[i] = static_cast<unsigned char>(p);
            }
        }
        // Repeated line numbers can take more rows than the image has.
        if (row < lines)
            std::memcpy(out + static_cast<size_t>(row) * elements, rd.scan_line.data(), elements);
        row++;
        prev = static_cast<int>(num);
    }
}

// Plain forms that go byte by byte: a line prefix, or two bytes an element. Once the
// file is used up every byte is the stale first byte of the window, so the rest of
// the image is that one value.
int plain_element(int width) {
    if (width == 1) return shift_left(getbyte(), rd.bshift);
    int high = getbyte();
    int lowb = getbyte();
    return shift_left(high * 256 + lowb, rd.bshift) >> 8;
}

void read_plain_bytes(unsigned char* out, int lines, int elements, int prefix, int width) {
    const size_t total = static_cast<size_t>(lines) * static_cast<size_t>(elements);
    size_t k = 0;
    for (int line = 0; line < lines; line++) {
        skip(prefix);
        for (int e = 0; e < elements; e++, k++) {
            out[k] = static_cast<unsigned char>(plain_element(width));
            if (rd.exhausted) {
                // The buffer came zeroed: a stale zero costs nothing.
                const auto stale = static_cast<unsigned char>(plain_element(width));
                if (k + 1 < total && stale != 0) std::memset(out + k + 1, stale, total - k - 1);
                return;
            }
        }
    }
}

// Starts the reader at the beginning of its file and tells the form from the
// version word, setting the byte order to match.
Form start_reader() {
    std::rewind(rd.ifile);
    rd.dat_buf = rd.dat_ind = 0;
    rd.low = rd.scan_ind = rd.nib_bytes = 0;
    rd.exhausted = false;
    // A file too short for the byte-order test must not see the last file.
    rd.data.fill(0);

    getword();
    const int version = getword();
    // The form is read from the first two words; the directory starts again at 0.
    rd.dat_ind = 0;
    if (version == 4) {
        swap_setup(-1);
        return PLAIN_NATIVE;
    } else if (version == 0x04000000) {
        swap_setup(0);
        return PLAIN_SWAPPED;
    } else {
        swap_setup(1);
        return FRAMED;
    }
}

// The pixels behind the data offset, `lines` by `elements`, in the file's form.
void read_pixels(unsigned char* pixels, Form form, uint32_t lines, uint32_t elements,
                 int32_t prefix, int32_t width, size_t total) {
    if (form == FRAMED) {
        read_framed(pixels, static_cast<int>(lines), static_cast<int>(elements), prefix);
    } else if (width == 1 && prefix == 0) {
        // The bulk goes straight from the stream into the image; no bit shift
        // on this path.
        size_t have = static_cast<size_t>(rd.dat_buf - rd.dat_ind);
        if (have > total) have = total;
        std::memcpy(pixels, rd.data.data() + rd.dat_ind, have);
        rd.dat_ind += static_cast<int>(have);
        if (have < total) std::fread(pixels + have, 1, total - have, rd.ifile);
    } else if (width == 1 || width == 2) {
        read_plain_bytes(pixels, static_cast<int>(lines), static_cast<int>(elements), prefix,
                         width);
    }
}

}  // namespace

int SAT_set_bit_shift(int shift) {
    rd.bshift = shift;
    return 0;
}

int SAT_read_AREA(FILE* file, AreaFile* area) {
    rd.ifile = file;
    if (file == nullptr || area == nullptr) return -1;
    // The blocks are outputs; only nav_type is kept from the caller.
    area->dir = area->goes = area->gvar = area->ps = area->tanc = area->proj = nullptr;
    area->data = nullptr;
    const Form form = start_reader();
    if (form == FRAMED && getsync() != 1) return -1;

    auto* dir = static_cast<int32_t*>(std::malloc(kDirBytes));
    if (dir == nullptr) return -1;
    if (!take(dir, kDirBytes)) {
        std::free(dir);
        bad_parameters();
        return -1;
    }
    area->dir = dir;
    swap_longs(dir, 24);
    swap_longs(dir + 32, 32);
    rd.dat_ind += kDirBytes;

    if (form == FRAMED && getsync() != 1) return -1;

    if (!read_nav(area)) {
        bad_parameters();
        return -1;
    }
    // The navigation block is taken to start right behind the directory, so
    // the data offset counts from there.
    int64_t target = static_cast<int64_t>(rd.dat_ind) + dir[33] - kDirBytes;
    if (target < 0) {
        bad_parameters();
        return -1;
    }

    uint32_t elements = static_cast<uint32_t>(dir[9]);
    uint32_t lines = static_cast<uint32_t>(dir[8]);
    if (elements < 1 || elements > kMaxSize || lines < 1 || lines > kMaxSize ||
        (form == FRAMED && elements > kScanLine)) {
        bad_parameters();
        return -1;
    }
    int32_t width = dir[10];
    int32_t prefix = dir[14];

    if (target <= rd.dat_buf)
        rd.dat_ind = static_cast<int>(target);
    else
        skip(target - rd.dat_ind);
    if (form != FRAMED && (width == 1 || width == 2)) {
        // Nothing at all behind the data offset: the file has no pixels.
        if (refill() < 0 || rd.dat_buf == 0) {
            bad_parameters();
            return -1;
        }
    }

    size_t total = static_cast<size_t>(lines) * elements;
    auto* pixels = static_cast<unsigned char*>(std::calloc(total, 1));
    if (pixels == nullptr) return -1;
    area->data = pixels;
    rd.exhausted = false;

    read_pixels(pixels, form, lines, elements, prefix, width, total);
    return 0;
}

void SAT_free_AREA(AreaFile* area) {
    if (area == nullptr) return;
    for (int32_t** p :
         {&area->dir, &area->goes, &area->gvar, &area->ps, &area->tanc, &area->proj}) {
        std::free(*p);
        *p = nullptr;
    }
    std::free(area->data);
    area->data = nullptr;
}
