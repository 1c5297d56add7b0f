// Other physical forms of a real AREA file for the AREA test and benchmark: the
// opposite byte order, and the sync-framed, nibble-compressed broadcast stream.
#include <cstdint>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace area_tool {

inline std::string load(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

inline uint32_t get32(const std::string& s, size_t at, bool big) {
    uint32_t v = 0;
    for (int i = 0; i < 4; i++)
        v |= static_cast<uint32_t>(static_cast<unsigned char>(s[at + i]))
             << (big ? 24 - 8 * i : 8 * i);
    return v;
}

inline void put32(std::string& s, size_t at, uint32_t v, bool big) {
    for (int i = 0; i < 4; i++) s[at + i] = static_cast<char>(v >> (big ? 24 - 8 * i : 8 * i));
}

// Whether the file's words are big-endian, from the area version word.
inline bool big_endian(const std::string& file) {
    return get32(file, 4, true) == 4;
}

// Directory and navigation block in the order `big`; text words, the navigation
// type and the tail of a short navigation block keep their bytes.
inline std::string header(const std::string& file, bool big) {
    bool from = big_endian(file);
    size_t offset = get32(file, 132, from);
    std::string out = file.substr(0, offset > 256 ? offset : 256);
    for (int w = 0; w < 64; w++)
        if (w < 24 || (w > 31 && w != 51 && w != 52))
            put32(out, 4 * w, get32(file, 4 * w, from), big);
    int words = out.compare(256, 4, "GVAR") == 0 ? 639 : 119;
    for (size_t w = 1; w <= size_t(words) && 256 + 4 * w + 4 <= out.size(); w++)
        put32(out, 256 + 4 * w, get32(file, 256 + 4 * w, from), big);
    return out;
}

// The file in the opposite byte order; two-byte pixels are high byte first in both.
inline std::string swap_copy(const std::string& file) {
    std::string h = header(file, !big_endian(file));
    return h + file.substr(h.size());
}

// The 8-bit pixels of a plain file without prefix: the byte, or the high byte of two.
inline std::vector<unsigned char> pixels8(const std::string& file) {
    bool big = big_endian(file);
    size_t width = get32(file, 40, big), offset = get32(file, 132, big);
    std::vector<unsigned char> out(size_t{1} * get32(file, 32, big) * get32(file, 36, big));
    for (size_t k = 0; k < out.size(); k++)
        out[k] = static_cast<unsigned char>(file[offset + k * width]);
    return out;
}

struct FrameOptions {
    std::set<int> omit;           // lines left out of the stream
    std::map<int, int> renumber;  // line -> number written for it
    std::set<int> depth6;         // lines sent at depth 6 (values >> 2)
    std::set<int> two_marks;      // lines whose number has its own high byte behind a second mark
    int prefix = 0;               // line prefix bytes (directory word 14)
    int junk = 0;                 // non-mark bytes in front of every line's mark
    int crop = 0;                 // keep only this many elements of a line, 0 for all
};

const char kSync[] = "\x00\xFF\x00\xFF\x00\xFF\x00\xFF";

// Nibble codes of one line of values, as differences from the running value.
inline std::string pack_line(const unsigned char* v, int n) {
    static const int up[] = {0, 12, 10, 8, 6, 4, 2}, down[] = {0, 11, 9, 7, 5, 3, 1};
    std::vector<int> nib;
    for (int i = 0, run = 0; i < n;) {
        int d = ((v[i] - run) + 256) % 256;
        if (d > 127) d -= 256;
        if (d == 0) {
            int r = 1;
            while (r < 3 && i + r < n && v[i + r] == run) r++;
            nib.push_back(12 + r);
            i += r;
            continue;
        }
        if (d >= -6 && d <= 6)
            nib.push_back(d > 0 ? up[d] : down[-d]);
        else
            nib.insert(nib.end(), {0, v[i] >> 4, v[i] & 15});
        run = v[i++];
    }
    if (nib.size() % 2) nib.push_back(13);
    std::string out;
    for (size_t i = 0; i < nib.size(); i += 2)
        out.push_back(static_cast<char>(nib[i] << 4 | nib[i + 1]));
    return out;
}

// The framed broadcast form of a plain file. Lines are numbered from 0.
inline std::string framed_copy(const std::string& file, const FrameOptions& opt = {}) {
    bool big = big_endian(file);
    int lines = static_cast<int>(get32(file, 32, big)),
        elements = static_cast<int>(get32(file, 36, big));
    int keep = opt.crop > 0 && opt.crop < elements ? opt.crop : elements;
    std::vector<unsigned char> pix = pixels8(file), line(keep);
    std::string h = header(file, true), sync(kSync, 8);
    put32(h, 36, static_cast<uint32_t>(keep), true);
    put32(h, 56, static_cast<uint32_t>(opt.prefix), true);
    std::string out = sync + h.substr(0, 256) + sync + h.substr(256);
    for (int y = 0; y < lines; y++) {
        if (opt.omit.count(y)) continue;
        int depth = opt.depth6.count(y) ? 6 : 8;
        for (int x = 0; x < keep; x++) line[x] = pix[size_t{1} * y * elements + x] >> (8 - depth);
        auto it = opt.renumber.find(y);
        uint32_t num = static_cast<uint32_t>(it == opt.renumber.end() ? y : it->second);
        out += std::string(opt.junk, '\x5A') + sync;
        if (opt.two_marks.count(y))
            out += '\x01' + sync + static_cast<char>(num >> 24);
        else
            out += '\0';
        for (int i = 2; i >= 0; i--) out += static_cast<char>(num >> (8 * i));
        std::string packed = pack_line(line.data(), keep);
        out += std::string(opt.prefix, '\x77') + '\0' + static_cast<char>(depth) +
               static_cast<char>(packed.size() >> 8) + static_cast<char>(packed.size()) + packed;
    }
    return out;
}

}  // namespace area_tool
