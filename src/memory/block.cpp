// Block operations: fill, copy and compare in 32-byte blocks and 32-bit words.
//
// The wide route (capability bit 0) moves a block through the widest registers the
// compiler has for it; the other route moves it as four 8-byte values. Long runs of
// blocks to copy go through the processor's own block move, upward like the others.
// Every route writes the same bytes in the same order: only the instructions differ.
#include "klmfc/core/system.h"
#include "klmfc/memory/memory.h"
#include "platform/blocks.h"

#include <cstdint>
#include <cstring>

namespace {

using Byte = unsigned char;

inline void store4(Byte* p, std::uint32_t value) {
    std::memcpy(p, &value, 4);
}

inline void move4(Byte* d, Byte const* s) {
    std::memcpy(d, s, 4);
}

inline std::uint32_t littleEndianWord(Byte const* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

bool wideRoute() {
    return (Sys->getProcessorCaps() & K_System::CAPS_MMX) != 0;
}

// `blocks` blocks of 32 bytes from `d` on, the one at the highest address first. A run
// of several blocks is written with its stores on 16-byte boundaries: the top block in
// place, then 32 bytes at a time downward from the boundary below it, and the bottom
// block in place last. The stores overlap where the run is not aligned; since every byte
// gets the same value, the bytes written are exactly those of the blocks.
void fillBlocksWide(Byte* d, std::uint64_t pattern, unsigned int blocks) {
    std::uint64_t const block[4] = {pattern, pattern, pattern, pattern};
    Byte* const end = d + 32u * blocks;
    if (blocks < 2) {
        if (blocks == 1) {
            std::memcpy(d, block, 32);
        }
        return;
    }
    std::memcpy(end - 32, block, 32);
    // Offsets from d of the aligned stores, counted down without leaving the run.
    std::size_t at =
        static_cast<std::size_t>(end - 32 - d) - (reinterpret_cast<std::uintptr_t>(end - 32) & 15);
    std::size_t stores = at / 32 + 1; // at, at - 32, ... down to the last one at or above d
    for (; stores >= 4; stores -= 4, at -= 128) {
        std::memcpy(d + at, block, 32);
        std::memcpy(d + at - 32, block, 32);
        std::memcpy(d + at - 64, block, 32);
        std::memcpy(d + at - 96, block, 32);
    }
    for (; stores != 0; --stores, at -= 32) {
        std::memcpy(d + at, block, 32);
    }
    std::memcpy(d, block, 32);
}

void fillBlocksEightBytes(Byte* d, std::uint64_t pattern, unsigned int blocks) {
    double value; // the pattern loaded once as a floating-point quantity
    std::memcpy(&value, &pattern, 8);
    for (Byte* p = d + 32u * blocks; p != d;) {
        p -= 32;
        std::memcpy(p + 24, &value, 8);
        std::memcpy(p + 16, &value, 8);
        std::memcpy(p + 8, &value, 8);
        std::memcpy(p, &value, 8);
    }
}

// Runs of blocks from this many on go through the processor's own block move.
constexpr int kStringMoveBlocks = 32;

void copyBlocksWide(Byte* d, Byte const* s, int blocks) {
    for (; blocks >= 4; blocks -= 4, d += 128, s += 128) {
        std::memcpy(d, s, 32);
        std::memcpy(d + 32, s + 32, 32);
        std::memcpy(d + 64, s + 64, 32);
        std::memcpy(d + 96, s + 96, 32);
    }
    for (; blocks != 0; --blocks, d += 32, s += 32) {
        std::memcpy(d, s, 32);
    }
}

void copyBlocksEightBytes(Byte* d, Byte const* s, int blocks) {
    for (int i = 0; i < blocks; ++i, d += 32, s += 32) {
        std::memcpy(d, s, 8);
        std::memcpy(d + 8, s + 8, 8);
        std::memcpy(d + 16, s + 16, 8);
        std::memcpy(d + 24, s + 24, 8);
    }
}

void copyBlocksFourBytes(Byte* d, Byte const* s, int blocks) {
    for (int i = 0; i < blocks; ++i, d += 32, s += 32) {
        for (int word = 0; word < 32; word += 4) {
            move4(d + word, s + word);
        }
    }
}

} // namespace

void* K_Memory::set(void* dest, char value, unsigned int count) {
    Byte* d = static_cast<Byte*>(dest);
    Byte const byte = static_cast<Byte>(value);
    std::uint64_t const pattern = 0x0101010101010101ull * byte;
    std::uint32_t const pattern4 = static_cast<std::uint32_t>(pattern);
    std::uintptr_t const address = reinterpret_cast<std::uintptr_t>(dest);

    // Up to the next multiple of 4, when the count reaches that far.
    unsigned int const lead = static_cast<unsigned int>((4 - (address & 3)) & 3);
    if (lead != 0 && count >= lead) {
        for (unsigned int i = 0; i < lead; ++i) {
            *d++ = byte;
        }
        count -= lead;
    }
    if (count == 0) {
        return dest;
    }

    // Bits 2 to 4 of the address as it was passed decide the run of words before the
    // blocks.
    unsigned int const misalignment = static_cast<unsigned int>(address & 0x1c);
    if (misalignment != 0 && count >= 32 - misalignment) {
        for (unsigned int i = misalignment; i < 32; i += 4, d += 4) {
            store4(d, pattern4);
        }
        count -= 32 - misalignment;
    }
    if (count == 0) {
        return dest;
    }

    unsigned int const blocks = count >> 5;
    if (blocks != 0) {
        if (wideRoute()) {
            fillBlocksWide(d, pattern, blocks);
        } else {
            fillBlocksEightBytes(d, pattern, blocks);
        }
        d += 32u * blocks;
    }
    count &= 0x1f;
    for (; count >= 4; count -= 4, d += 4) {
        store4(d, pattern4);
    }
    for (; count != 0; --count) {
        *d++ = byte;
    }
    return dest;
}

void* K_Memory::copy(void* dest, void const* src, unsigned int count) {
    bool const wide = wideRoute();
    int const n = static_cast<int>(count);
    Byte* d = static_cast<Byte*>(dest);
    Byte const* s = static_cast<Byte const*>(src);

    int const blocks = n / 32; // a negative count makes none
    if (blocks > 0) {
        bool const aligned =
            ((reinterpret_cast<std::uintptr_t>(d) | reinterpret_cast<std::uintptr_t>(s)) & 7) == 0;
        if (wide && blocks >= kStringMoveBlocks) {
            // A long run on the wide route, at either alignment: the processor's block move.
            klmfc::platform::copyForward(d, s, 32u * static_cast<unsigned int>(blocks));
        } else if (!aligned) {
            copyBlocksFourBytes(d, s, blocks);
        } else if (wide) {
            copyBlocksWide(d, s, blocks);
        } else {
            copyBlocksEightBytes(d, s, blocks);
        }
        d += 32 * blocks;
        s += 32 * blocks;
    }
    for (int words = (n & 0x1c) >> 2; words != 0; --words, d += 4, s += 4) {
        move4(d, s);
    }
    for (int bytes = n & 3; bytes != 0; --bytes) {
        *d++ = *s++;
    }
    return dest;
}

int K_Memory::compare(void const* a, void const* b, unsigned int count) {
    int const n = static_cast<int>(count);
    Byte const* p = static_cast<Byte const*>(a);
    Byte const* q = static_cast<Byte const*>(b);
    int words = n / 4; // a negative count makes none
    // Equal stretches are passed over eight words at a time; the words of the first
    // unequal stretch are then compared one by one.
    for (; words >= 8; words -= 8, p += 32, q += 32) {
        std::uint64_t x[4];
        std::uint64_t y[4];
        std::memcpy(x, p, 32);
        std::memcpy(y, q, 32);
        if (((x[0] ^ y[0]) | (x[1] ^ y[1]) | (x[2] ^ y[2]) | (x[3] ^ y[3])) != 0) {
            break;
        }
    }
    for (; words > 0; --words, p += 4, q += 4) {
        std::uint32_t const x = littleEndianWord(p);
        std::uint32_t const y = littleEndianWord(q);
        if (x != y) {
            return x < y ? -1 : 1;
        }
    }
    for (int bytes = n & 3; bytes != 0; --bytes, ++p, ++q) {
        if (*p != *q) {
            return *p < *q ? -1 : 1;
        }
    }
    return 0;
}

void K_Memory::dump(MemoryDumpDetail, bool, bool) {
    Sys->verbose("Memory dump only available in debug builds\n\n");
}
