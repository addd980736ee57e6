// LZSS compression: the "KA->" container, the encoder with its binary search tree over
// the 4096-byte window, and the whole-buffer decoder.
#include "klmfc/file/file.h"

#include "file/file_internal.h"
#include "file/lzss_parallel.h"
#include "file/lzss_tree.h"
#include "klmfc/memory/memory.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>

char const* const K_File::CMPHEADER = "KA->";

unsigned char K_File::text_buf[4113];
int K_File::dad[4097];
int K_File::lson[4097];
int K_File::rson[4353];
int K_File::match_position = 0;
int K_File::match_length = 0;

K_FileException_ContainerCorrupted::K_FileException_ContainerCorrupted(char const* mark,
                                                                       char const* reason) {
    setError("Container \"%s\" is corrupted: %s", mark, reason);
}

namespace {

using namespace klmfc::file::lzss;

constexpr std::size_t kHeaderSize = 12;
constexpr int kTextSize = kRingSize + kLongest - 1;   // the ring and a copy of its first 17 bytes
constexpr std::size_t kGroupOutputMax = 8 * kLongest; // most bytes one group decodes to
using klmfc::file::readLE32;
using klmfc::file::writeLE32;

// The encoder. Its tree work is a fixed sequence whatever the code stream becomes: step 0
// inserts the first look-ahead string; step k (1 to size - 1) takes node (k - 1) & 0xfff
// out, stores input byte k + 17 there if there is one, and inserts node (4078 + k) &
// 0xfff, whose string starts with input byte k. Only the match found at the start of each
// item is used. So the steps run a block ahead and keep their matches, which lets two
// steps whose insertions do not meet go down their trees side by side, and the items
// then read the matches they need.
class Encoder {
public:
    Encoder(Tree<RingStrings>& tree, unsigned char* text, unsigned char const* in, std::size_t size)
        : m_tree(tree), m_text(text), m_in(in), m_size(size) {}

    // Writes the code stream to `code`, which has room for the worst case, and returns its
    // length.
    std::size_t encode(unsigned char* code) {
        m_tree.init();
        // The ring starts blank; the bytes behind it start at 0 on every call, so the code
        // stream depends on the input alone.
        std::memset(m_text, ' ', kStart);
        std::memset(m_text + kStart, 0, kTextSize - kStart);
        std::size_t const first = m_size < kLongest ? m_size : kLongest;
        std::memcpy(m_text + kStart, m_in, first);
        // The blanks in front of the first input bytes go in first, so that a run of
        // blanks at the start can be sent as a match.
        for (int i = 1; i <= kLongest; ++i) {
            m_tree.insert(kStart - i);
        }

        ItemWriter writer(m_in, m_size, code);
        std::size_t step = 0; // the next step of tree work
        while (!writer.done()) {
            std::size_t const blockBegin = step;
            std::size_t const blockEnd =
                m_size - step < kBlock ? m_size : step + static_cast<std::size_t>(kBlock);
            runSteps(blockBegin, blockEnd);
            writer.write(blockBegin, blockEnd, m_positions, m_lengths);
            step = blockEnd;
        }
        return writer.finish();
    }

private:
    static constexpr std::size_t kBlock = 4096;

    // The steps [begin, end), their matches kept from index 0.
    void runSteps(std::size_t begin, std::size_t end) {
        std::size_t k = begin;
        if (k == 0) {
            m_tree.insert(kStart);
            keep(0, m_tree.matchPosition, m_tree.matchLength);
            k = 1;
        }
        while (k < end) {
            int const r = (kStart + static_cast<int>(k)) & kRingMask;
            if (k + 1 < end && canPair(k)) {
                advance(k);
                advance(k + 1);
                int position;
                int length;
                m_tree.insertTwo(r, (r + 1) & kRingMask, position, length);
                keep(k - begin, position, length);
                keep(k + 1 - begin, m_tree.matchPosition, m_tree.matchLength);
                k += 2;
            } else {
                advance(k);
                m_tree.insert(r);
                keep(k - begin, m_tree.matchPosition, m_tree.matchLength);
                k += 1;
            }
        }
    }

    // Steps k and k + 1 may go side by side when the two strings to insert start with
    // different bytes (different trees), and the node that step k + 1 takes out, whose
    // byte it also overwrites, is not in the tree that step k goes down.
    bool canPair(std::size_t k) const {
        if (m_in[k] == m_in[k + 1]) {
            return false;
        }
        int const leaving = static_cast<int>(k) & kRingMask;
        return m_tree.dad[leaving] == kNil || m_text[leaving] != m_in[k];
    }

    // Step k without its insertion: the oldest node leaves, and the next input byte, if
    // there is one, takes its place in the ring.
    void advance(std::size_t k) {
        int const s = static_cast<int>(k - 1) & kRingMask;
        m_tree.remove(s);
        if (k + (kLongest - 1) < m_size) {
            unsigned char const c = m_in[k + (kLongest - 1)];
            m_text[s] = c;
            if (s < kLongest - 1) {
                m_text[s + kRingSize] = c;
            }
        }
    }

    void keep(std::size_t index, int position, int length) {
        m_positions[index] = static_cast<std::uint16_t>(position);
        m_lengths[index] = static_cast<std::uint8_t>(length);
    }

    Tree<RingStrings>& m_tree;
    unsigned char* m_text;
    unsigned char const* m_in;
    std::size_t m_size;
    std::uint16_t m_positions[kBlock];
    std::uint8_t m_lengths[kBlock];
};

// ---- whole-buffer decoding ----------------------------------------------------------

// How a code stream ended against the output it was decoded into.
enum class Decoded { Exact, EndsEarly, RunsPast };

// What the ring holds before the first byte at the position that lies `back` bytes
// (1 to 4096) in front of the first output byte: blanks, except that positions 4078 to
// 4095, not yet written, read 0.
inline unsigned char startRingByte(std::size_t back) {
    return back > static_cast<std::size_t>(kStart) ? 0 : ' ';
}

// Copies a match whose source starts `distance` bytes behind `op`, in front of the first
// output byte `out`, byte by byte so that it can run on into what it writes.
void copyFromStart(unsigned char const* out, unsigned char* op, std::size_t distance,
                   unsigned length) {
    std::size_t const written = static_cast<std::size_t>(op - out);
    for (unsigned k = 0; k < length; ++k) {
        std::size_t const at = written + k; // output index of the byte being written
        op[k] = at < distance ? startRingByte(distance - at) : out[at - distance];
    }
}

// Decodes the code stream [in, in + codeSize) into [out, out + outSize). The output is its
// own history: ring position p, met when `t` bytes are out, is the byte `distance` back,
// where distance = ((4078 + t - p - 1) & 0xfff) + 1; in front of the output lies the ring's
// starting state. Nothing outside the two ranges is read or written.
Decoded decodeAll(unsigned char const* in, std::size_t codeSize, unsigned char* out,
                  std::size_t outSize) {
    unsigned char const* ip = in;
    unsigned char const* const iend = in + codeSize;
    unsigned char* op = out;
    unsigned char* const oend = out + outSize;

    // Whole groups while the input holds a full one (a flag byte and 8 matches) and the
    // output has room for the most a group gives, plus the 8 bytes that a match copied in
    // 8-byte steps may write beyond its end (rewritten by what follows).
    while (iend - ip >= 17 && static_cast<std::size_t>(oend - op) >= kGroupOutputMax + 8) {
        unsigned flags = *ip++;
        if (flags == 0xff) {
            std::memcpy(op, ip, 8);
            op += 8;
            ip += 8;
            continue;
        }
        for (int item = 0; item < 8; ++item, flags >>= 1) {
            if ((flags & 1) != 0) {
                *op++ = *ip++;
                continue;
            }
            unsigned const position = ip[0] | ((ip[1] & 0xf0u) << 4);
            unsigned const length = (ip[1] & 0x0fu) + 3;
            ip += 2;
            std::size_t const t = static_cast<std::size_t>(op - out);
            std::size_t const distance = ((kStart + t - position - 1) & kRingMask) + 1;
            if (distance > t) {
                copyFromStart(out, op, distance, length);
            } else if (distance >= 8) {
                // Each step reads only bytes that earlier steps have written.
                unsigned char const* const src = op - distance;
                std::memcpy(op, src, 8);
                std::memcpy(op + 8, src + 8, 8);
                if (length > 16) {
                    std::memcpy(op + 16, src + 16, 8);
                }
            } else {
                unsigned char const* const src = op - distance;
                for (unsigned k = 0; k < length; ++k) {
                    op[k] = src[k];
                }
            }
            op += length;
        }
    }

    // The rest item by item, every step checked.
    unsigned flags = 0;
    for (;;) {
        flags >>= 1;
        if ((flags & 0x100) == 0) {
            if (ip == iend) {
                break;
            }
            flags = *ip++ | 0xff00u;
        }
        if ((flags & 1) != 0) {
            if (ip == iend) {
                break;
            }
            if (op == oend) {
                return Decoded::RunsPast;
            }
            *op++ = *ip++;
        } else {
            if (iend - ip < 2) {
                break;
            }
            unsigned const position = ip[0] | ((ip[1] & 0xf0u) << 4);
            unsigned const length = (ip[1] & 0x0fu) + 3;
            ip += 2;
            if (static_cast<std::size_t>(oend - op) < length) {
                return Decoded::RunsPast;
            }
            std::size_t const t = static_cast<std::size_t>(op - out);
            std::size_t const distance = ((kStart + t - position - 1) & kRingMask) + 1;
            if (distance > t) {
                copyFromStart(out, op, distance, length);
            } else {
                unsigned char const* const src = op - distance;
                for (unsigned k = 0; k < length; ++k) {
                    op[k] = src[k];
                }
            }
            op += length;
        }
    }
    if (op != oend) {
        return Decoded::EndsEarly;
    }
    return ip == iend ? Decoded::Exact : Decoded::RunsPast;
}

[[noreturn]] void raiseCorrupted(char const* reason) {
    K_Raise<K_FileException_ContainerCorrupted>(K_File::CMPHEADER, reason);
}

// Checks the header of a "KA->" container; gives the uncompressed size and the size of
// the code stream.
void readHeader(unsigned char const* container, std::uint32_t& size, std::uint32_t& codeSize) {
    if (std::memcmp(container, K_File::CMPHEADER, 4) != 0) {
        raiseCorrupted("it does not start with KA->");
    }
    size = readLE32(container + 4);
    codeSize = readLE32(container + 8);
    // Two code bytes give at most 18 bytes, one flag byte serves eight items: no code
    // stream gives more than 9 bytes for each of its own.
    if (size > 9 * static_cast<std::uint64_t>(codeSize)) {
        raiseCorrupted("the uncompressed size is more than the code stream can give");
    }
}

// Counted allocation that cannot be had: counted like any failed attempt.
[[noreturn]] void raiseTooLarge() {
    ++K_Memory::sm_iNewCount;
    K_RaiseAllocationFailure();
}

// Moves the used part of a block to a block of its own size, as a counted reallocation.
void* shrink(unsigned char* block, std::size_t allocated, std::size_t used) {
    if (allocated <= static_cast<std::size_t>(INT_MAX)) {
        return K_REALLOCATE_implementation(block, static_cast<int>(allocated),
                                           static_cast<int>(used));
    }
    void* moved = K_CountedAllocate(used);
    std::memcpy(moved, block, used);
    K_REALLOCATE_DELETE_implementation(block);
    return moved;
}

} // namespace

// ---- K_File ---------------------------------------------------------------------------

void K_File::initTree() {
    Tree<RingStrings> tree{{text_buf}, dad, lson, rson, match_position, match_length};
    tree.init();
}

void K_File::insertNode(int r) {
    Tree<RingStrings> tree{{text_buf}, dad, lson, rson, match_position, match_length};
    tree.insert(r);
    match_position = tree.matchPosition;
    match_length = tree.matchLength;
}

void K_File::deleteNode(int p) {
    Tree<RingStrings> tree{{text_buf}, dad, lson, rson, match_position, match_length};
    tree.remove(p);
}

void* K_File::compress(char const* label, void const* data, unsigned int size) {
    K_MemoryScope scope(label);
    // Room for the worst case, one flag byte for each eight literals, and more.
    double const capacity = 4096.0 + static_cast<double>(size) * 1.2;
    if (capacity >= static_cast<double>(SIZE_MAX)) {
        raiseTooLarge();
    }
    std::size_t const allocated = static_cast<std::size_t>(capacity);
    auto* block = static_cast<unsigned char*>(K_CountedAllocate(allocated));
    std::memcpy(block, CMPHEADER, 4);
    writeLE32(block + 4, size);

    // No input gives an empty code stream. A large one is worth a second processor.
    unsigned char const* const in = static_cast<unsigned char const*>(data);
    std::size_t count = size == 0 ? 0 : kNotEncoded;
    if (size >= kTwoSidedFrom && twoSidedWorthIt()) {
        count = encodeTwoSided(in, size, block + kHeaderSize, true);
    }
    if (count == kNotEncoded) {
        Tree<RingStrings> tree{{text_buf}, dad, lson, rson, match_position, match_length};
        Encoder encoder(tree, text_buf, in, size);
        count = encoder.encode(block + kHeaderSize);
        match_position = tree.matchPosition;
        match_length = tree.matchLength;
    }
    writeLE32(block + 8, static_cast<std::uint32_t>(count));
    try {
        return shrink(block, allocated, kHeaderSize + count);
    } catch (...) {
        K_REALLOCATE_DELETE_implementation(block);
        throw;
    }
}

void* K_File::compress(void const* data, unsigned int size) {
    return compress("Kovmar Library", data, size);
}

void* K_File::decompress(void* buffer, void const* container) {
    auto const* bytes = static_cast<unsigned char const*>(container);
    std::uint32_t size;
    std::uint32_t codeSize;
    readHeader(bytes, size, codeSize);
    switch (decodeAll(bytes + kHeaderSize, codeSize, static_cast<unsigned char*>(buffer), size)) {
    case Decoded::Exact:
        break;
    case Decoded::EndsEarly:
        raiseCorrupted("the code stream ends before the uncompressed size");
    case Decoded::RunsPast:
        raiseCorrupted("the code stream runs past the uncompressed size");
    }
    return buffer;
}

void* K_File::decompress(char const* label, void const* container) {
    K_MemoryScope scope(label);
    std::uint32_t size;
    std::uint32_t codeSize;
    readHeader(static_cast<unsigned char const*>(container), size, codeSize);
    void* buffer = K_CountedAllocate(size);
    try {
        return decompress(buffer, container);
    } catch (...) {
        K_REALLOCATE_DELETE_implementation(buffer);
        throw;
    }
}

void* K_File::decompress(void const* container) {
    return decompress("Kovmar Library", container);
}
