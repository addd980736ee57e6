// Reading a 64 MiB disk file in 64 KiB reads: K_FileStream (with the 256 KiB buffer that
// memory files give it) and K_UnbufferedFileStream next to the C run-time's fread on the
// same file. Each iteration opens the file, reads it to its end and closes it.
#include "bench_support.h"

#include "klmfc/file/file.h"
#include "klmfc/file/filestream.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kFileSize = 64u << 20;
constexpr unsigned int kRead = 64u << 10;
constexpr int kStreamBuffer = 0x40000;
constexpr double kMinTime = 0.5;

// The file, made once in a directory of its own and removed at exit.
struct BenchFile {
    BenchFile() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "klmfc-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        directory = pattern;
        path = directory + "/data.bin";
        std::vector<unsigned char> data(kFileSize);
        std::mt19937 engine(7);
        for (auto& b : data) {
            b = static_cast<unsigned char>(engine());
        }
        std::FILE* out = std::fopen(path.c_str(), "wb");
        std::fwrite(data.data(), 1, data.size(), out);
        std::fclose(out);
    }
    ~BenchFile() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    std::string directory;
    std::string path;
};

BenchFile const& benchFile() {
    static BenchFile const file;
    return file;
}

// The file's directory as the root of the name space while a benchmark runs.
class RootScope {
public:
    RootScope() : m_saved(K_File::getRootDirectory()) {
        File->setFileSystemRoot(benchFile().directory.c_str());
    }
    ~RootScope() { File->setFileSystemRoot(m_saved.c_str()); }

private:
    std::string m_saved;
};

template <class Read> void readWhole(benchmark::State& state, Read&& readFile) {
    std::vector<char> buffer(kRead);
    for (auto _ : state) {
        std::size_t const total = readFile(buffer.data());
        benchmark::DoNotOptimize(buffer.data());
        if (total != kFileSize) {
            state.SkipWithError("the file read short");
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(kFileSize));
}

template <class Stream> std::size_t readStream(Stream& stream, char* buffer) {
    std::size_t total = 0;
    while (unsigned int const n = stream.read(buffer, kRead)) {
        total += n;
    }
    return total;
}

void readKlmfc(benchmark::State& state) {
    RootScope scope;
    readWhole(state, [](char* buffer) {
        K_FileStream stream("data.bin", kStreamBuffer);
        return readStream(stream, buffer);
    });
}

void readUnbuffered(benchmark::State& state) {
    RootScope scope;
    readWhole(state, [](char* buffer) {
        K_UnbufferedFileStream stream("data.bin", static_cast<int>(kRead));
        return readStream(stream, buffer);
    });
}

void readFread(benchmark::State& state) {
    std::string const path = benchFile().path;
    readWhole(state, [&](char* buffer) {
        std::FILE* file = std::fopen(path.c_str(), "rb");
        std::size_t total = 0;
        while (std::size_t const n = std::fread(buffer, 1, kRead, file)) {
            total += n;
        }
        std::fclose(file);
        return total;
    });
}

void add(char const* operation, char const* implementation, void (*function)(benchmark::State&)) {
    std::string const name = std::string(operation) + "/" + implementation + "/disk/" +
                             klmfc::bench::sizeLabel(kFileSize);
    benchmark::RegisterBenchmark(name.c_str(), function)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kMillisecond);
}

struct Registration {
    Registration() {
        add("read 64K", "klmfc", readKlmfc);
        add("read 64K", "fread", readFread);
        add("read 64K unbuffered", "klmfc", readUnbuffered);
        add("read 64K unbuffered", "fread", readFread);
    }
} const s_registration;

} // namespace
