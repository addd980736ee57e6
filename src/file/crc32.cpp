// CRC-32 of ISO 3309 and IEEE 802.3: reflected, polynomial 0xEDB88320, start value and
// final XOR 0xFFFFFFFF.
//
// Three ways to the one result. The first table below is the standard byte-at-a-time
// table, and the reference. Runs of 16 bytes go through sixteen such tables at once
// ("slicing by 16"). On x86 processors with carry-less multiplication, runs of 64 bytes
// and more are folded 64 bytes at a time: the CRC is the remainder of a polynomial
// division, and multiplying a 128-bit part by x^n mod P moves it n bits on without
// dividing; a Barrett reduction makes the 32-bit remainder at the end.
#include "file/crc32.h"

#include "klmfc/file/file.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

#if (defined(__x86_64__) || defined(__i386__)) && defined(__GNUC__)
#define KLMFC_CRC_FOLDING 1
#include <immintrin.h>
#endif

namespace {

struct CrcTables {
    std::uint32_t entry[16][256];
};

constexpr CrcTables makeTables() {
    CrcTables tables{};
    for (std::uint32_t n = 0; n < 256; ++n) {
        std::uint32_t c = n;
        for (int k = 0; k < 8; ++k) {
            c = (c & 1) != 0 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
        }
        tables.entry[0][n] = c;
    }
    // entry[k][n]: the CRC of byte n followed by k zero bytes.
    for (int k = 1; k < 16; ++k) {
        for (std::uint32_t n = 0; n < 256; ++n) {
            std::uint32_t const previous = tables.entry[k - 1][n];
            tables.entry[k][n] = (previous >> 8) ^ tables.entry[0][previous & 0xff];
        }
    }
    return tables;
}

constexpr CrcTables kTables = makeTables();
static_assert(kTables.entry[0][1] == 0x77073096u, "standard CRC-32 table");
static_assert(kTables.entry[0][255] == 0x2D02EF8Du, "standard CRC-32 table");

std::uint32_t load32(unsigned char const* p) {
    std::uint32_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
}

// Runs the CRC register (not inverted) over n bytes with the tables.
std::uint32_t crcTables(std::uint32_t crc, unsigned char const* p, std::size_t n) {
    auto const& t = kTables.entry;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    while (n >= 16) {
        std::uint32_t const a = load32(p) ^ crc;
        std::uint32_t const b = load32(p + 4);
        std::uint32_t const c = load32(p + 8);
        std::uint32_t const d = load32(p + 12);
        crc = t[15][a & 0xff] ^ t[14][(a >> 8) & 0xff] ^ t[13][(a >> 16) & 0xff] ^ t[12][a >> 24] ^
              t[11][b & 0xff] ^ t[10][(b >> 8) & 0xff] ^ t[9][(b >> 16) & 0xff] ^ t[8][b >> 24] ^
              t[7][c & 0xff] ^ t[6][(c >> 8) & 0xff] ^ t[5][(c >> 16) & 0xff] ^ t[4][c >> 24] ^
              t[3][d & 0xff] ^ t[2][(d >> 8) & 0xff] ^ t[1][(d >> 16) & 0xff] ^ t[0][d >> 24];
        p += 16;
        n -= 16;
    }
#endif
    while (n-- > 0) {
        crc = t[0][(crc ^ *p++) & 0xff] ^ (crc >> 8);
    }
    return crc;
}

#if KLMFC_CRC_FOLDING

// Bit-reflected constants of P = 0x104C11DB7, each shifted left by one: x^(4*128+32),
// x^(4*128-32), x^(128+32), x^(128-32) and x^64, all mod P; then P itself and
// mu = x^64 / P for the Barrett reduction.
constexpr std::uint64_t kFold4Low = 0x154442bd4u;
constexpr std::uint64_t kFold4High = 0x1c6e41596u;
constexpr std::uint64_t kFold1Low = 0x1751997d0u;
constexpr std::uint64_t kFold1High = 0x0ccaa009eu;
constexpr std::uint64_t kFold64 = 0x163cd6124u;
constexpr std::uint64_t kPolynomial = 0x1db710641u;
constexpr std::uint64_t kMu = 0x1f7011641u;

__attribute__((target("pclmul,sse2"))) inline __m128i pair(std::uint64_t low, std::uint64_t high) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
}

// x times the constants in k, low halves and high halves, added.
__attribute__((target("pclmul,sse2"))) inline __m128i fold(__m128i x, __m128i k) {
    return _mm_xor_si128(_mm_clmulepi64_si128(x, k, 0x00), _mm_clmulepi64_si128(x, k, 0x11));
}

__attribute__((target("pclmul,sse2"))) inline __m128i load128(unsigned char const* p) {
    return _mm_loadu_si128(reinterpret_cast<__m128i const*>(p));
}

// Runs the CRC register over n bytes, n at least 64 and a multiple of 16.
__attribute__((target("pclmul,sse2"))) std::uint32_t
crcFolding(std::uint32_t crc, unsigned char const* p, std::size_t n) {
    __m128i x1 = _mm_xor_si128(load128(p), _mm_cvtsi32_si128(static_cast<int>(crc)));
    __m128i x2 = load128(p + 16);
    __m128i x3 = load128(p + 32);
    __m128i x4 = load128(p + 48);
    p += 64;
    n -= 64;
    __m128i k = pair(kFold4Low, kFold4High);
    while (n >= 64) {
        x1 = _mm_xor_si128(fold(x1, k), load128(p));
        x2 = _mm_xor_si128(fold(x2, k), load128(p + 16));
        x3 = _mm_xor_si128(fold(x3, k), load128(p + 32));
        x4 = _mm_xor_si128(fold(x4, k), load128(p + 48));
        p += 64;
        n -= 64;
    }
    k = pair(kFold1Low, kFold1High);
    x1 = _mm_xor_si128(fold(x1, k), x2);
    x1 = _mm_xor_si128(fold(x1, k), x3);
    x1 = _mm_xor_si128(fold(x1, k), x4);
    while (n >= 16) {
        x1 = _mm_xor_si128(fold(x1, k), load128(p));
        p += 16;
        n -= 16;
    }
    // 128 bits to 64: the low half moves on by 64 bits.
    __m128i const low32 = _mm_set_epi32(0, -1, 0, -1);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), _mm_clmulepi64_si128(x1, k, 0x10));
    // 64 bits to 32.
    __m128i const rest = _mm_srli_si128(x1, 4);
    x1 =
        _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), pair(kFold64, 0), 0x00), rest);
    // Barrett reduction to the 32-bit remainder.
    __m128i const reduction = pair(kPolynomial, kMu);
    __m128i t = _mm_clmulepi64_si128(_mm_and_si128(x1, low32), reduction, 0x10);
    t = _mm_clmulepi64_si128(_mm_and_si128(t, low32), reduction, 0x00);
    x1 = _mm_xor_si128(x1, t);
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(x1, 4)));
}

bool canFold() {
    static bool const available = [] {
        __builtin_cpu_init();
        return __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("sse2");
    }();
    return available;
}

#endif

} // namespace

std::uint32_t klmfc::crc32::withTables(void const* data, std::size_t size) {
    if (size == 0) {
        return 0;
    }
    return crcTables(0xffffffffu, static_cast<unsigned char const*>(data), size) ^ 0xffffffffu;
}

unsigned int K_File::CRC32(void const* data, unsigned int size) {
    if (size == 0) {
        return 0;
    }
    auto const* p = static_cast<unsigned char const*>(data);
    std::size_t n = size;
    std::uint32_t crc = 0xffffffffu;
#if KLMFC_CRC_FOLDING
    if (n >= 64 && canFold()) {
        std::size_t const folded = n & ~static_cast<std::size_t>(15);
        crc = crcFolding(crc, p, folded);
        p += folded;
        n -= folded;
    }
#endif
    return crcTables(crc, p, n) ^ 0xffffffffu;
}
