#include "platform/fpu.h"

#if defined(__x86_64__) || defined(__i386__)

namespace klmfc::platform {

namespace {

constexpr unsigned int kX87RoundingMask = 0xC00;
// The rounding field of MXCSR has the x87 encoding, three bits further up.
constexpr unsigned int kSSERoundingShift = 3;
constexpr unsigned int kSSERoundingMask = kX87RoundingMask << kSSERoundingShift;

bool hasSSE() {
#if defined(__x86_64__)
    return true;
#else
    static bool const present = __builtin_cpu_supports("sse");
    return present;
#endif
}

} // namespace

int floatControlWord() {
    unsigned short word;
    __asm__ __volatile__("fnstcw %0" : "=m"(word));
    return word;
}

void setFloatControlWord(int word) {
    unsigned short const x87 = static_cast<unsigned short>(word);
    __asm__ __volatile__("fldcw %0" : : "m"(x87) : "memory");
    if (hasSSE()) {
        unsigned int csr;
        __asm__ __volatile__("stmxcsr %0" : "=m"(csr));
        csr = (csr & ~kSSERoundingMask) |
              ((static_cast<unsigned int>(word) & kX87RoundingMask) << kSSERoundingShift);
        __asm__ __volatile__("ldmxcsr %0" : : "m"(csr) : "memory");
    }
}

} // namespace klmfc::platform

#else

// Elsewhere the rounding mode goes through <cfenv> and the precision field has no
// counterpart: it reads as 64 bits and writes to it are dropped.
#include <cfenv>

namespace klmfc::platform {

namespace {

constexpr int kPrecision64 = 0x300;
constexpr int kExceptionMasks = 0x3F;

struct RoundingCode {
    int mode;
    int field;
};

RoundingCode const kRoundings[] = {
    {FE_TONEAREST, 0x000}, {FE_DOWNWARD, 0x400}, {FE_UPWARD, 0x800}, {FE_TOWARDZERO, 0xC00}};

} // namespace

int floatControlWord() {
    int const mode = std::fegetround();
    int field = 0;
    for (RoundingCode const& code : kRoundings) {
        if (code.mode == mode) {
            field = code.field;
        }
    }
    return field | kPrecision64 | kExceptionMasks;
}

void setFloatControlWord(int word) {
    for (RoundingCode const& code : kRoundings) {
        if (code.field == (word & 0xC00)) {
            std::fesetround(code.mode);
        }
    }
}

} // namespace klmfc::platform

#endif
