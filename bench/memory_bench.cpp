// Block fill, copy and compare of K_Memory side by side with the C library's memset,
// memcpy and memcmp, on blocks of 4 KiB to 1 MiB, 64-aligned and misaligned.
#include "bench_support.h"

#include "klmfc/memory/memory.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kSizes[] = {4u << 10, 64u << 10, 1u << 20};
constexpr std::size_t kLargest = 1u << 20;
constexpr double kMinTime = 0.25;

enum class Placement { Aligned, Misaligned };
char const* placementName(Placement placement) {
    return placement == Placement::Aligned ? "aligned" : "misaligned";
}

// Two blocks of the largest size, 64-aligned, with room for the misaligned starts.
struct Blocks {
    Blocks() {
        a = static_cast<unsigned char*>(std::aligned_alloc(64, kLargest + 64));
        b = static_cast<unsigned char*>(std::aligned_alloc(64, kLargest + 64));
        for (std::size_t i = 0; i < kLargest + 64; ++i) {
            a[i] = b[i] = static_cast<unsigned char>(i * 31 + 7);
        }
    }
    ~Blocks() {
        std::free(a);
        std::free(b);
    }
    unsigned char* a;
    unsigned char* b;
};

Blocks& blocks() {
    static Blocks s_blocks;
    return s_blocks;
}

// The destination starts 1 byte in, the source 3 bytes in, when misaligned.
unsigned char* destination(Placement placement) {
    return blocks().a + (placement == Placement::Aligned ? 0 : 1);
}
unsigned char* source(Placement placement) {
    return blocks().b + (placement == Placement::Aligned ? 0 : 3);
}

void processed(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(size));
}

void setKlmfc(benchmark::State& state, Placement placement, std::size_t size) {
    unsigned char* const dest = destination(placement);
    char value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(K_Memory::set(dest, ++value, static_cast<unsigned int>(size)));
        benchmark::ClobberMemory();
    }
    processed(state, size);
}

void setLibc(benchmark::State& state, Placement placement, std::size_t size) {
    unsigned char* const dest = destination(placement);
    char value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memset(dest, ++value, size));
        benchmark::ClobberMemory();
    }
    processed(state, size);
}

void copyKlmfc(benchmark::State& state, Placement placement, std::size_t size) {
    unsigned char* const dest = destination(placement);
    unsigned char const* const src = source(placement);
    for (auto _ : state) {
        benchmark::DoNotOptimize(K_Memory::copy(dest, src, static_cast<unsigned int>(size)));
        benchmark::ClobberMemory();
    }
    processed(state, size);
}

void copyLibc(benchmark::State& state, Placement placement, std::size_t size) {
    unsigned char* const dest = destination(placement);
    unsigned char const* const src = source(placement);
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memcpy(dest, src, size));
        benchmark::ClobberMemory();
    }
    processed(state, size);
}

// Equal blocks: the whole length is read.
void compareKlmfc(benchmark::State& state, Placement placement, std::size_t size) {
    std::memcpy(destination(placement), source(placement), size);
    for (auto _ : state) {
        benchmark::DoNotOptimize(K_Memory::compare(destination(placement), source(placement),
                                                   static_cast<unsigned int>(size)));
    }
    processed(state, size);
}

void compareLibc(benchmark::State& state, Placement placement, std::size_t size) {
    std::memcpy(destination(placement), source(placement), size);
    for (auto _ : state) {
        benchmark::DoNotOptimize(std::memcmp(destination(placement), source(placement), size));
    }
    processed(state, size);
}

void add(char const* operation, char const* implementation, Placement placement, std::size_t size,
         void (*function)(benchmark::State&, Placement, std::size_t)) {
    std::string const name = std::string(operation) + "/" + implementation + "/" +
                             placementName(placement) + "/" + klmfc::bench::sizeLabel(size);
    benchmark::RegisterBenchmark(name.c_str(), function, placement, size)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kMicrosecond);
}

struct Registration {
    Registration() {
        for (Placement placement : {Placement::Aligned, Placement::Misaligned}) {
            for (std::size_t size : kSizes) {
                add("set", "K_Memory", placement, size, setKlmfc);
                add("set", "libc", placement, size, setLibc);
                add("copy", "K_Memory", placement, size, copyKlmfc);
                add("copy", "libc", placement, size, copyLibc);
                add("compare", "K_Memory", placement, size, compareKlmfc);
                add("compare", "libc", placement, size, compareLibc);
            }
        }
    }
} const s_registration;

} // namespace
