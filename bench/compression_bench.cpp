// Compression, decompression, streaming decoding and CRC32 of the file system, side by
// side with zlib (compress2 at level 6, uncompress, inflate, crc32) and with memcpy as
// the physical bound, on the same inputs: text, binary records and random bytes, from
// 4 KiB to 16 MiB. Rates count the plain bytes in every column.
#include "bench_support.h"

#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;

enum class Kind { Text, Binary, Random };
char const* kindName(Kind kind) {
    return kind == Kind::Text ? "text" : kind == Kind::Binary ? "binary" : "random";
}

constexpr std::size_t kSizes[] = {4u << 10, 64u << 10, 1u << 20, 16u << 20};
constexpr std::size_t kLargest = 16u << 20;
constexpr int kStreamRead = 4096;        // bytes asked of each streaming read
constexpr int kStreamBuffer = 64 * 1024; // input buffer of a compressed stream
constexpr double kMinTime = 0.25;        // seconds per benchmark

// Text with the statistics of prose: words of a vocabulary of 4000 drawn with Zipf's law,
// sentences, commas, lines of about 70 characters.
Bytes makeText(std::size_t size) {
    std::mt19937 engine(2024);
    static char const* const syllables[] = {"ka", "lo",  "mer", "in", "ta",  "ve",  "ro", "an",
                                            "es", "ti",  "on",  "de", "la",  "re",  "st", "th",
                                            "or", "ing", "al",  "un", "com", "pre", "ed", "ly"};
    std::vector<std::string> words;
    for (int i = 0; i < 4000; ++i) {
        std::string word;
        int const parts = 1 + static_cast<int>(engine() % 3) + (i > 200 ? 1 : 0);
        for (int k = 0; k < parts; ++k) {
            word += syllables[engine() % (sizeof syllables / sizeof syllables[0])];
        }
        words.push_back(word);
    }
    std::vector<double> cumulative;
    double sum = 0;
    for (int rank = 1; rank <= 4000; ++rank) {
        cumulative.push_back(sum += 1.0 / rank);
    }
    std::uniform_real_distribution<double> uniform(0, sum);
    Bytes out;
    out.reserve(size + 64);
    std::size_t column = 0;
    bool capital = true;
    while (out.size() < size) {
        auto const at = std::lower_bound(cumulative.begin(), cumulative.end(), uniform(engine));
        std::string word = words[static_cast<std::size_t>(at - cumulative.begin())];
        if (capital) {
            word[0] = static_cast<char>(word[0] - 'a' + 'A');
            capital = false;
        }
        unsigned const mark = engine() % 20;
        if (mark == 0) {
            word += '.';
            capital = true;
        } else if (mark == 1) {
            word += ',';
        }
        out.insert(out.end(), word.begin(), word.end());
        column += word.size() + 1;
        if (column > 70) {
            out.push_back('\n');
            column = 0;
        } else {
            out.push_back(' ');
        }
    }
    out.resize(size);
    return out;
}

// Records as a game's data files hold them: an index, three floats on a smooth path, a
// few flag bits, a colour from a small palette.
Bytes makeBinary(std::size_t size) {
    std::mt19937 engine(2025);
    Bytes out;
    out.reserve(size + 32);
    float x = 0, y = 0, z = 0;
    std::uint32_t const palette[] = {0xff202020u, 0xff8080c0u, 0xffffffffu, 0xff40a040u};
    for (std::uint32_t index = 0; out.size() < size; ++index) {
        x += static_cast<float>(engine() % 100) * 0.01f;
        y = std::sin(x) * 10.0f;
        z += 0.5f;
        std::uint16_t const flags = static_cast<std::uint16_t>(engine() % 4 == 0 ? 0x11 : 0x01);
        std::uint32_t const colour = palette[engine() % 4];
        unsigned char record[24] = {};
        std::memcpy(record, &index, 4);
        std::memcpy(record + 4, &x, 4);
        std::memcpy(record + 8, &y, 4);
        std::memcpy(record + 12, &z, 4);
        std::memcpy(record + 16, &flags, 2);
        std::memcpy(record + 20, &colour, 4);
        out.insert(out.end(), record, record + sizeof record);
    }
    out.resize(size);
    return out;
}

Bytes makeRandom(std::size_t size) {
    std::mt19937_64 engine(2026);
    Bytes out(size);
    for (std::size_t i = 0; i < size; i += 8) {
        std::uint64_t const value = engine();
        std::memcpy(out.data() + i, &value, std::min<std::size_t>(8, size - i));
    }
    return out;
}

// The largest input of each kind, made once; smaller inputs are pieces of it.
Bytes const& source(Kind kind) {
    static std::map<Kind, Bytes> sources;
    auto found = sources.find(kind);
    if (found == sources.end()) {
        Bytes made = kind == Kind::Text     ? makeText(kLargest)
                     : kind == Kind::Binary ? makeBinary(kLargest)
                                            : makeRandom(kLargest);
        found = sources.emplace(kind, std::move(made)).first;
    }
    return found->second;
}

// The inputs of one kind and size, with their "KA->" containers and zlib streams. Small
// sizes take turns among pieces that make 1 MiB together: the same few kilobytes over and
// over would let the branch predictor learn the code stream by heart.
struct Samples {
    std::size_t size;
    std::vector<unsigned char const*> inputs;
    std::vector<Bytes> containers;
    std::vector<Bytes> zlibStreams;

    std::size_t count() const { return inputs.size(); }
    double ratio(std::vector<Bytes> const& packed) const {
        double total = 0;
        for (Bytes const& p : packed) {
            total += static_cast<double>(p.size());
        }
        return total / (static_cast<double>(size) * static_cast<double>(count()));
    }
};

Samples const& samples(Kind kind, std::size_t size) {
    static std::map<std::pair<Kind, std::size_t>, Samples> made;
    auto found = made.find({kind, size});
    if (found != made.end()) {
        return found->second;
    }
    Samples out;
    out.size = size;
    std::size_t const pieces = std::max<std::size_t>(1, (1u << 20) / size);
    for (std::size_t i = 0; i < pieces; ++i) {
        unsigned char const* const in = source(kind).data() + i * size;
        out.inputs.push_back(in);

        auto* block =
            static_cast<unsigned char*>(K_File::compress(in, static_cast<unsigned>(size)));
        std::uint32_t codeSize;
        std::memcpy(&codeSize, block + 8, 4);
        out.containers.emplace_back(block, block + 12 + codeSize);
        K_REALLOCATE_DELETE_implementation(block);

        Bytes stream(compressBound(static_cast<uLong>(size)));
        uLongf length = static_cast<uLongf>(stream.size());
        if (compress2(stream.data(), &length, in, static_cast<uLong>(size), 6) != Z_OK) {
            throw std::runtime_error("compress2 failed");
        }
        stream.resize(length);
        out.zlibStreams.push_back(std::move(stream));
    }
    return made.emplace(std::make_pair(kind, size), std::move(out)).first->second;
}

void processed(benchmark::State& state, std::size_t size) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(size));
}

// ---- the benchmarks ---------------------------------------------------------------------

void copyMemcpy(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    Bytes out(size);
    std::size_t turn = 0;
    for (auto _ : state) {
        std::memcpy(out.data(), s.inputs[turn], size);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

void compressKlmfc(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    std::size_t turn = 0;
    for (auto _ : state) {
        void* block = K_File::compress(s.inputs[turn], static_cast<unsigned>(size));
        benchmark::DoNotOptimize(block);
        K_REALLOCATE_DELETE_implementation(block);
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
    state.counters["ratio"] = s.ratio(s.containers);
}

void compressZlib(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    Bytes out(compressBound(static_cast<uLong>(size)));
    std::size_t turn = 0;
    for (auto _ : state) {
        uLongf length = static_cast<uLongf>(out.size());
        if (compress2(out.data(), &length, s.inputs[turn], static_cast<uLong>(size), 6) != Z_OK) {
            state.SkipWithError("compress2 failed");
            break;
        }
        benchmark::DoNotOptimize(out.data());
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
    state.counters["ratio"] = s.ratio(s.zlibStreams);
}

void decompressKlmfc(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    std::size_t turn = 0;
    for (auto _ : state) {
        void* block = K_File::decompress(s.containers[turn].data());
        benchmark::DoNotOptimize(block);
        K_REALLOCATE_DELETE_implementation(block);
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

void decompressZlib(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    Bytes out(size);
    std::size_t turn = 0;
    for (auto _ : state) {
        Bytes const& packed = s.zlibStreams[turn];
        uLongf length = static_cast<uLongf>(size);
        if (uncompress(out.data(), &length, packed.data(), static_cast<uLong>(packed.size())) !=
            Z_OK) {
            state.SkipWithError("uncompress failed");
            break;
        }
        benchmark::DoNotOptimize(out.data());
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

// Decodes as a compressed file stream does: reads of 4 KiB through a 64 KiB input buffer
// that is refilled when fewer than 4 bytes are left in it.
void decodeKlmfc(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    Bytes buffer(kStreamBuffer);
    Bytes out(kStreamRead);
    std::size_t turn = 0;
    for (auto _ : state) {
        Bytes const& packed = s.containers[turn];
        K_LZSSStreamState decoder;
        unsigned char const* next = packed.data() + 12;
        std::size_t remaining = packed.size() - 12;
        unsigned char* readPointer = buffer.data();
        int available = 0;
        bool moreData = true;
        std::size_t produced = 0;
        while (produced < size) {
            int wanted = static_cast<int>(std::min<std::size_t>(kStreamRead, size - produced));
            unsigned char* to = out.data();
            while (wanted > 0) {
                if (available < 4 && moreData) {
                    std::memmove(buffer.data(), readPointer, static_cast<std::size_t>(available));
                    std::size_t room = static_cast<std::size_t>(kStreamBuffer - available);
                    if (remaining <= room) {
                        room = remaining;
                        moreData = false;
                    }
                    std::memcpy(buffer.data() + available, next, room);
                    next += room;
                    remaining -= room;
                    available += static_cast<int>(room);
                    readPointer = buffer.data();
                }
                int const before = available;
                unsigned const got = decoder.decode(readPointer, to, wanted, &available, moreData);
                readPointer += before - available;
                to += got;
                wanted -= static_cast<int>(got);
                produced += got;
            }
            benchmark::DoNotOptimize(out.data());
        }
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

// inflate with the same 4 KiB reads and 64 KiB pieces of input.
void decodeZlib(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    Bytes out(kStreamRead);
    std::size_t turn = 0;
    for (auto _ : state) {
        Bytes const& packed = s.zlibStreams[turn];
        z_stream stream{};
        if (inflateInit(&stream) != Z_OK) {
            state.SkipWithError("inflateInit failed");
            break;
        }
        std::size_t given = 0;
        int result = Z_OK;
        while (result != Z_STREAM_END) {
            if (stream.avail_in == 0) {
                std::size_t const piece =
                    std::min<std::size_t>(kStreamBuffer, packed.size() - given);
                stream.next_in = const_cast<Bytef*>(packed.data() + given);
                stream.avail_in = static_cast<uInt>(piece);
                given += piece;
            }
            stream.next_out = out.data();
            stream.avail_out = kStreamRead;
            result = inflate(&stream, Z_NO_FLUSH);
            if (result != Z_OK && result != Z_STREAM_END) {
                state.SkipWithError("inflate failed");
                break;
            }
            benchmark::DoNotOptimize(out.data());
        }
        inflateEnd(&stream);
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

void crcKlmfc(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    std::size_t turn = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(K_File::CRC32(s.inputs[turn], static_cast<unsigned>(size)));
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

void crcZlib(benchmark::State& state, Kind kind, std::size_t size) {
    Samples const& s = samples(kind, size);
    std::size_t turn = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(crc32(0L, s.inputs[turn], static_cast<uInt>(size)));
        turn = turn + 1 == s.count() ? 0 : turn + 1;
    }
    processed(state, size);
}

// ---- registration -----------------------------------------------------------------------

void add(char const* operation, char const* implementation, Kind kind, std::size_t size,
         void (*function)(benchmark::State&, Kind, std::size_t)) {
    std::string const name = std::string(operation) + "/" + implementation + "/" + kindName(kind) +
                             "/" + klmfc::bench::sizeLabel(size);
    benchmark::RegisterBenchmark(name.c_str(), function, kind, size)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kMicrosecond);
}

// Competitors next to each other, in the order the table shows them.
struct Registration {
    Registration() {
        for (Kind kind : {Kind::Text, Kind::Binary, Kind::Random}) {
            for (std::size_t size : kSizes) {
                add("copy", "memcpy", kind, size, copyMemcpy);
                add("compress", "klmfc", kind, size, compressKlmfc);
                add("compress", "zlib", kind, size, compressZlib);
                add("decompress", "klmfc", kind, size, decompressKlmfc);
                add("decompress", "zlib", kind, size, decompressZlib);
                add("decode 4K reads", "klmfc", kind, size, decodeKlmfc);
                add("decode 4K reads", "zlib", kind, size, decodeZlib);
                add("crc32", "klmfc", kind, size, crcKlmfc);
                add("crc32", "zlib", kind, size, crcZlib);
            }
        }
    }
} const s_registration;

} // namespace
