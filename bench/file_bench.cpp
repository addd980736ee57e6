// Lookups and loads of names that live only in an archive, with a root directory of 1 000
// disk entries beside it, for archives of 1 000 to 100 000 files: the cost of `where` and
// of `load` should not grow with the archive. Next to them, what the same work costs on
// disk with nothing in between: a stat of the missing disk path that every lookup tries
// first, and fopen, fread and fclose of a disk file of the same size.
#include "bench_support.h"

#include "klmfc/file/file.h"

#include <benchmark/benchmark.h>

#include <sys/stat.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

constexpr std::size_t kCounts[] = {1000, 10000, 100000};
constexpr int kDiskEntries = 1000; // files in the root beside the archive
constexpr int kEntrySize = 100;    // bytes of every file
constexpr std::size_t kPerDirectory = 1000;
constexpr std::size_t kSample = 4096; // names a benchmark takes turns with
constexpr double kMinTime = 0.25;

// ---- a minimal archive writer -------------------------------------------------------------

std::int32_t step(std::int32_t seed) {
    std::uint32_t const product = static_cast<std::uint32_t>(seed) * 171u;
    std::uint32_t const fold = static_cast<std::uint32_t>(seed / 177) * 30269u;
    return static_cast<std::int32_t>(product - fold);
}

// Scrambles a run as the reader descrambles it.
void scramble(unsigned char* data, std::size_t size, std::int32_t seed) {
    for (std::size_t i = 0; i < size; ++i) {
        seed = step(seed);
        unsigned b = (data[i] - static_cast<unsigned>(seed)) & 0xff;
        b ^= ((i + 3) * 6) & 0xff;
        unsigned const r = i % 5;
        data[i] = static_cast<unsigned char>(((b >> r) | (b << (8 - r))) & 0xff);
    }
}

void put32(Bytes& out, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        out.push_back(static_cast<unsigned char>(value >> (8 * i)));
    }
}

std::string directoryOf(std::size_t file) {
    char name[32];
    std::snprintf(name, sizeof name, "d%03zu", file / kPerDirectory);
    return name;
}

std::string fileOf(std::size_t file) {
    char name[32];
    std::snprintf(name, sizeof name, "f%06zu.dat", file);
    return name;
}

// `count` stored files of kEntrySize bytes, kPerDirectory to a directory: \d000\f000000.dat.
Bytes archive(std::size_t count) {
    std::int32_t const seed = 4711;
    std::size_t const directories = (count + kPerDirectory - 1) / kPerDirectory;
    Bytes files;
    Bytes dirs;
    for (std::size_t i = 0; i < count; ++i) {
        std::string const name = fileOf(i);
        files.insert(files.end(), name.c_str(), name.c_str() + name.size() + 1);
        put32(files, kEntrySize);
        put32(files, kEntrySize);
        put32(files, 0);
        put32(files, static_cast<std::uint32_t>(i / kPerDirectory + 1));
        put32(files, 0);
        put32(files, K_File::MethodStored);
        files.insert(files.end(), 16, 0);
    }
    dirs.insert(dirs.end(), {'\\', 0});
    dirs.insert(dirs.end(), 16, 0);
    for (std::size_t d = 0; d < directories; ++d) {
        std::string const name = "\\" + directoryOf(d * kPerDirectory) + "\\";
        dirs.insert(dirs.end(), name.c_str(), name.c_str() + name.size() + 1);
        dirs.insert(dirs.end(), 16, 0);
    }
    Bytes header{'K', 'A', 'S', '1'};
    put32(header, static_cast<std::uint32_t>(seed));
    put32(header, static_cast<std::uint32_t>(count));
    put32(header, static_cast<std::uint32_t>(directories + 1));
    put32(header, static_cast<std::uint32_t>(files.size()));
    put32(header, static_cast<std::uint32_t>(dirs.size()));
    float const version = 1.2f;
    std::uint32_t versionBits;
    std::memcpy(&versionBits, &version, 4);
    put32(header, versionBits);
    put32(header, 0);
    put32(header, K_File::CRC32(files.data(), static_cast<unsigned>(files.size())));
    put32(header, K_File::CRC32(dirs.data(), static_cast<unsigned>(dirs.size())));
    put32(header, 0);
    std::uint32_t const crc = K_File::CRC32(header.data(), 44);
    std::memcpy(&header[28], &crc, 4);
    scramble(&header[8], 36, seed);
    scramble(files.data(), files.size(), seed);
    scramble(dirs.data(), dirs.size(), seed);
    Bytes out = header;
    out.insert(out.end(), files.begin(), files.end());
    out.insert(out.end(), dirs.begin(), dirs.end());
    for (std::size_t i = 0; i < count; ++i) {
        out.insert(out.end(), kEntrySize, static_cast<unsigned char>('a' + i % 26));
    }
    return out;
}

void writeFile(std::string const& path, Bytes const& bytes) {
    std::FILE* file = std::fopen(path.c_str(), "wb");
    std::fwrite(bytes.data(), 1, bytes.size(), file);
    std::fclose(file);
}

// ---- the roots ----------------------------------------------------------------------------

// One root per archive size under a temporary directory, removed at exit.
class Roots {
public:
    ~Roots() {
        if (!m_base.empty()) {
            std::error_code ignored;
            std::filesystem::remove_all(m_base, ignored);
        }
    }

    std::string const& root(std::size_t count) {
        if (m_base.empty()) {
            std::string pattern =
                (std::filesystem::temp_directory_path() / "klmfc-bench-XXXXXX").string();
            m_base = ::mkdtemp(pattern.data()) != nullptr ? pattern : ".";
        }
        std::string& path = m_roots[count];
        if (path.empty()) {
            path = m_base + "/" + std::to_string(count);
            std::filesystem::create_directories(path);
            Bytes const contents(kEntrySize, 'd');
            for (int i = 0; i < kDiskEntries; ++i) {
                char name[32];
                std::snprintf(name, sizeof name, "/disk%04d.dat", i);
                writeFile(path + name, contents);
            }
            writeFile(path + "/big.KAS", archive(count));
        }
        return path;
    }

private:
    std::string m_base;
    std::map<std::size_t, std::string> m_roots;
};

Roots s_roots;

// Moves the file system's root to the tree of `count` files, when it is not there yet.
void useRoot(std::size_t count) {
    static std::size_t current = 0;
    if (current != count) {
        File->setFileSystemRoot(s_roots.root(count).c_str());
        current = count;
    }
}

// Names of the archive drawn at random, the same on every run.
std::vector<std::string> sample(std::size_t count) {
    std::mt19937 engine(static_cast<unsigned>(count));
    std::vector<std::string> names;
    for (std::size_t i = 0; i < kSample; ++i) {
        std::size_t const file = engine() % count;
        names.push_back(directoryOf(file) + "\\" + fileOf(file));
    }
    return names;
}

// ---- the benchmarks -----------------------------------------------------------------------

void whereKlmfc(benchmark::State& state, std::size_t count) {
    useRoot(count);
    std::vector<std::string> const names = sample(count);
    std::size_t turn = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(File->where(names[turn].c_str()));
        turn = (turn + 1) % kSample;
    }
    state.SetItemsProcessed(state.iterations());
}

void whereStat(benchmark::State& state, std::size_t count) {
    std::string const root = s_roots.root(count);
    std::vector<std::string> paths;
    for (std::string name : sample(count)) {
        name[name.find('\\')] = '/';
        paths.push_back(root + "/" + name);
    }
    std::size_t turn = 0;
    for (auto _ : state) {
        struct stat status;
        benchmark::DoNotOptimize(::stat(paths[turn].c_str(), &status));
        turn = (turn + 1) % kSample;
    }
    state.SetItemsProcessed(state.iterations());
}

void loadKlmfc(benchmark::State& state, std::size_t count) {
    useRoot(count);
    std::vector<std::string> const names = sample(count);
    std::size_t turn = 0;
    for (auto _ : state) {
        char* block = File->load(names[turn].c_str(), 0xffffffffu);
        benchmark::DoNotOptimize(block[0]);
        File->free(block);
        turn = (turn + 1) % kSample;
    }
    state.SetItemsProcessed(state.iterations());
}

void loadStdio(benchmark::State& state, std::size_t count) {
    std::string const root = s_roots.root(count);
    std::vector<std::string> paths;
    for (int i = 0; i < kDiskEntries; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "/disk%04d.dat", i);
        paths.push_back(root + name);
    }
    char buffer[kEntrySize];
    std::size_t turn = 0;
    for (auto _ : state) {
        std::FILE* file = std::fopen(paths[turn].c_str(), "rb");
        benchmark::DoNotOptimize(std::fread(buffer, 1, sizeof buffer, file));
        std::fclose(file);
        turn = (turn + 1) % paths.size();
    }
    state.SetItemsProcessed(state.iterations());
}

void add(char const* operation, char const* implementation, std::size_t count,
         void (*function)(benchmark::State&, std::size_t)) {
    std::string const name = std::string(operation) + "/" + implementation + "/archive/" +
                             klmfc::bench::sizeLabel(count);
    benchmark::RegisterBenchmark(name.c_str(), function, count)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kMicrosecond);
}

struct Registration {
    Registration() {
        for (std::size_t count : kCounts) {
            add("where", "klmfc", count, whereKlmfc);
            add("where", "stat", count, whereStat);
            add("load", "klmfc", count, loadKlmfc);
            add("load", "stdio", count, loadStdio);
        }
    }
} const s_registration;

} // namespace
