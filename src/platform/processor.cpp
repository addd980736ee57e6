#include "platform/processor.h"

#include <ctime>

#include <sched.h>

#if defined(__i386__) || defined(__x86_64__)
#include <cpuid.h>
#include <x86intrin.h>
#endif
#if defined(__i386__)
#include <csetjmp>
#include <csignal>
#endif

namespace klmfc::platform {

#if defined(__i386__)
namespace {
sigjmp_buf s_illegalInstruction;
void onIllegalInstruction(int) {
    siglongjmp(s_illegalInstruction, 1);
}
} // namespace
#endif

bool hasProcessorIdentification() {
#if defined(__x86_64__)
    return true;
#elif defined(__i386__)
    // Flip the identification bit of the flags register and see whether it stays.
    unsigned int before = 0;
    unsigned int after = 0;
    __asm__ volatile("pushfl\n\t"
                     "popl %0\n\t"
                     "movl %0, %1\n\t"
                     "xorl $0x200000, %1\n\t"
                     "pushl %1\n\t"
                     "popfl\n\t"
                     "pushfl\n\t"
                     "popl %1\n\t"
                     "pushl %0\n\t"
                     "popfl\n\t"
                     : "=&r"(before), "=&r"(after)
                     :
                     : "cc");
    return ((before ^ after) & 0x200000u) != 0;
#else
    return false;
#endif
}

ProcessorLeaf processorLeaf(std::uint32_t leaf) {
    ProcessorLeaf registers{0, 0, 0, 0};
#if defined(__i386__) || defined(__x86_64__)
    __cpuid_count(leaf, 0, registers.eax, registers.ebx, registers.ecx, registers.edx);
#else
    (void)leaf;
#endif
    return registers;
}

SystemVersion systemVersion() {
#if defined(__x86_64__)
    // The 64-bit system always keeps the SSE registers.
    return SystemVersion{5, 0, 2};
#elif defined(__i386__)
    // A system that does not keep the SSE registers leaves them switched off, and an SSE
    // instruction then raises an illegal-instruction signal: try one and see.
    struct sigaction action = {};
    struct sigaction previous = {};
    action.sa_handler = &onIllegalInstruction;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGILL, &action, &previous);
    bool kept = false;
    if (sigsetjmp(s_illegalInstruction, 1) == 0) {
        __asm__ volatile(".byte 0x0f, 0x56, 0xff"); // orps xmm7, xmm7: changes no register
        kept = true;
    }
    ::sigaction(SIGILL, &previous, nullptr);
    return kept ? SystemVersion{5, 0, 2} : SystemVersion{0, 0, 0};
#else
    return SystemVersion{0, 0, 0};
#endif
}

void wideRegisterProbe() {
#if defined(__SSE__)
    __asm__ volatile("orps %%xmm7, %%xmm7" ::: "xmm7");
#elif defined(__i386__)
    __asm__ volatile(".byte 0x0f, 0x56, 0xff"); // orps xmm7, xmm7 for a non-SSE build
#endif
}

std::uint64_t timeStampCounter() {
#if defined(__i386__) || defined(__x86_64__)
    return __rdtsc();
#else
    timespec now;
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<std::uint64_t>(now.tv_sec) * 1000000000u +
           static_cast<std::uint64_t>(now.tv_nsec);
#endif
}

unsigned int usableProcessors() {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (::sched_getaffinity(0, sizeof set, &set) != 0) {
        return 1;
    }
    int const count = CPU_COUNT(&set);
    return count > 0 ? static_cast<unsigned int>(count) : 1u;
}

} // namespace klmfc::platform
