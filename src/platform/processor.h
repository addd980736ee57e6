// The processor itself: the identification instruction, the operating system's answer
// to whether it keeps the wide registers over a task switch, and the time-stamp counter.
#pragma once

#include <cstdint>

namespace klmfc::platform {

// The four registers of one identification leaf.
struct ProcessorLeaf {
    std::uint32_t eax;
    std::uint32_t ebx;
    std::uint32_t ecx;
    std::uint32_t edx;
};

// True when the processor has the identification instruction (on a 32-bit x86, when bit
// 21 of the flags register can be flipped). False on other architectures.
bool hasProcessorIdentification();

// The registers that the identification instruction gives for `leaf` (sub-leaf 0).
// All zero where there is no such instruction.
ProcessorLeaf processorLeaf(std::uint32_t leaf);

// The operating system in the terms of the classic version rule for the wide
// registers: a platform number, a major and a minor version. A system that keeps the
// SSE registers over a task switch reports platform 2, version 5.0; one that does not
// reports 0, 0.0. The 64-bit system always keeps them; a 32-bit one is asked by trying
// an SSE instruction under a handler of the illegal-instruction signal.
struct SystemVersion {
    unsigned int major;
    unsigned int minor;
    unsigned int platform;
};
SystemVersion systemVersion();

// Runs one SSE instruction (orps xmm7, xmm7). Only called once systemVersion() has
// said that the registers are kept; does nothing where there are no such registers.
void wideRegisterProbe();

// The processor's time-stamp counter: a monotonic count of cycles. Where there is no
// such counter, nanoseconds of a monotonic clock.
std::uint64_t timeStampCounter();

// How many processors the process may run on (its affinity), at least 1.
unsigned int usableProcessors();

} // namespace klmfc::platform
