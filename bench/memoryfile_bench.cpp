// Memory files: writing and then reading tagged ints of mixed magnitudes and tagged floats,
// from 1000 to 10 000 000 values, next to memcpy of the bare 4-byte values (into a buffer
// that grows as a memory file does, when writing); and a write-through file writing 256 MiB in 4
// KiB writes through a 64 KiB buffer, next to fwrite of the same writes through a C stream with a
// 64 KiB buffer. Each write iteration starts from a new file, so growth and its copies are counted.
#include "bench_support.h"

#include "klmfc/memory/memory.h"
#include "klmfc/memoryfile/memoryfile.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double kMinTime = 0.25;
constexpr int kCounts[] = {1000, 10000, 100000, 1000000, 10000000};
constexpr std::size_t kTable = 1u << 16; // distinct values, used again and again
constexpr std::size_t kDiskBytes = 256u << 20;
constexpr unsigned int kDiskWrite = 4096;
constexpr unsigned int kDiskBuffer = 64u << 10;

char const* countLabel(int count) {
    switch (count) {
    case 1000:
        return "1k";
    case 10000:
        return "10k";
    case 100000:
        return "100k";
    case 1000000:
        return "1M";
    default:
        return "10M";
    }
}

// Ints whose magnitudes take 1, 2, 3 and 4 bytes in equal shares, both signs; floats of
// all sizes.
struct Values {
    Values() : ints(kTable), floats(kTable) {
        std::mt19937 engine(11);
        for (std::size_t i = 0; i < kTable; ++i) {
            unsigned int const bytes = 1 + static_cast<unsigned int>(engine() % 4);
            int const magnitude = static_cast<int>(engine() >> (32 - 8 * bytes + 1));
            ints[i] = engine() & 1 ? -magnitude : magnitude;
            floats[i] = std::ldexp(static_cast<float>(engine()) / 4294967296.0f,
                                   static_cast<int>(engine() % 40) - 20);
        }
    }
    std::vector<int> ints;
    std::vector<float> floats;
};

Values const& values() {
    static Values const v;
    return v;
}

template <class T> std::vector<T> const& table();
template <> std::vector<int> const& table<int>() {
    return values().ints;
}
template <> std::vector<float> const& table<float>() {
    return values().floats;
}

template <class T> void writeKlmfc(benchmark::State& state, int count) {
    std::vector<T> const& in = table<T>();
    for (auto _ : state) {
        K_MemoryFile file;
        for (int i = 0; i < count; ++i) {
            file << in[static_cast<std::size_t>(i) & (kTable - 1)];
        }
        benchmark::DoNotOptimize(file.getAddress());
        state.counters["bytes/value"] = static_cast<double>(file.getSize()) / count;
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * count);
}

// The bare 4-byte values appended to a buffer that grows the way a memory file grows: from
// 8192 bytes, by doubling, each time into a new block from `new` with the old bytes copied
// over. Both sides thus meet the same allocator and the same fresh pages.
template <class T> void writeMemcpy(benchmark::State& state, int count) {
    std::vector<T> const& in = table<T>();
    for (auto _ : state) {
        std::size_t capacity = 8192;
        std::size_t used = 0;
        std::unique_ptr<unsigned char[]> out(new unsigned char[capacity]);
        for (int i = 0; i < count; ++i) {
            if (used + sizeof(T) > capacity) {
                std::unique_ptr<unsigned char[]> grown(new unsigned char[capacity * 2]);
                std::memcpy(grown.get(), out.get(), used);
                out = std::move(grown);
                capacity *= 2;
            }
            std::memcpy(out.get() + used, &in[static_cast<std::size_t>(i) & (kTable - 1)],
                        sizeof(T));
            used += sizeof(T);
        }
        benchmark::DoNotOptimize(out.get());
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * count);
}

template <class T> void readKlmfc(benchmark::State& state, int count) {
    std::vector<T> const& in = table<T>();
    K_MemoryFile file;
    for (int i = 0; i < count; ++i) {
        file << in[static_cast<std::size_t>(i) & (kTable - 1)];
    }
    for (auto _ : state) {
        file.toRead();
        T sum = 0;
        for (int i = 0; i < count; ++i) {
            T value;
            file >> value;
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * count);
}

template <class T> void readMemcpy(benchmark::State& state, int count) {
    std::vector<T> const& in = table<T>();
    std::vector<unsigned char> bytes(static_cast<std::size_t>(count) * sizeof(T));
    for (int i = 0; i < count; ++i) {
        std::memcpy(&bytes[static_cast<std::size_t>(i) * sizeof(T)],
                    &in[static_cast<std::size_t>(i) & (kTable - 1)], sizeof(T));
    }
    for (auto _ : state) {
        T sum = 0;
        unsigned char const* at = bytes.data();
        for (int i = 0; i < count; ++i, at += sizeof(T)) {
            T value;
            std::memcpy(&value, at, sizeof(T));
            sum += value;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetItemsProcessed(static_cast<std::int64_t>(state.iterations()) * count);
}

// A directory of its own for the disk benchmarks, removed at exit.
struct BenchDirectory {
    BenchDirectory() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "klmfc-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        path = pattern;
    }
    ~BenchDirectory() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    std::string path;
};

std::string diskPath() {
    static BenchDirectory const directory;
    return directory.path + "/out.bin";
}

std::vector<unsigned char> const& diskData() {
    static std::vector<unsigned char> const data = [] {
        std::vector<unsigned char> bytes(kDiskWrite);
        std::mt19937 engine(5);
        for (auto& b : bytes) {
            b = static_cast<unsigned char>(engine());
        }
        return bytes;
    }();
    return data;
}

void writeThroughKlmfc(benchmark::State& state) {
    std::string const path = diskPath();
    unsigned char const* data = diskData().data();
    int const before = K_Memory::getNewCount();
    for (auto _ : state) {
        K_MemoryFile file(kDiskBuffer, path.c_str());
        for (std::size_t done = 0; done < kDiskBytes; done += kDiskWrite) {
            file.write(data, static_cast<int>(kDiskWrite));
        }
    }
    state.counters["blocks"] = static_cast<double>(K_Memory::getNewCount() - before) /
                               static_cast<double>(state.iterations());
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kDiskBytes));
}

void writeThroughFwrite(benchmark::State& state) {
    std::string const path = diskPath();
    unsigned char const* data = diskData().data();
    std::vector<char> buffer(kDiskBuffer); // the same buffer size (glibc needs it given)
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "wb");
        std::setvbuf(file, buffer.data(), _IOFBF, buffer.size());
        for (std::size_t done = 0; done < kDiskBytes; done += kDiskWrite) {
            std::fwrite(data, 1, kDiskWrite, file);
        }
        std::fclose(file);
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kDiskBytes));
}

// The two sides of a row run one after the other, so that both meet the allocator in the
// same state: how much freed memory it keeps, rather than giving it back to the system,
// follows the sizes it has seen so far.
void addCounted(char const* operation, void (*klmfc)(benchmark::State&, int),
                void (*baseline)(benchmark::State&, int)) {
    for (int count : kCounts) {
        std::string const tail = std::string("/mixed/") + countLabel(count);
        benchmark::RegisterBenchmark((std::string(operation) + "/klmfc" + tail).c_str(), klmfc,
                                     count)
            ->MinTime(kMinTime);
        benchmark::RegisterBenchmark((std::string(operation) + "/memcpy" + tail).c_str(), baseline,
                                     count)
            ->MinTime(kMinTime);
    }
}

struct Registration {
    Registration() {
        addCounted("write int", writeKlmfc<int>, writeMemcpy<int>);
        addCounted("read int", readKlmfc<int>, readMemcpy<int>);
        addCounted("write float", writeKlmfc<float>, writeMemcpy<float>);
        addCounted("read float", readKlmfc<float>, readMemcpy<float>);
        std::string const size = klmfc::bench::sizeLabel(kDiskBytes);
        benchmark::RegisterBenchmark(("write-through 4K writes/klmfc/disk/" + size).c_str(),
                                     writeThroughKlmfc)
            ->MinTime(kMinTime)
            ->Unit(benchmark::kMillisecond);
        benchmark::RegisterBenchmark(("write-through 4K writes/fwrite/disk/" + size).c_str(),
                                     writeThroughFwrite)
            ->MinTime(kMinTime)
            ->Unit(benchmark::kMillisecond);
    }
} const s_registration;

} // namespace
