// Scripts: loading generated scripts of 10 and 20 MB from disk (blocks nested three deep,
// defines used throughout, a tenth of the text in included files), and parse of a block of
// 100 statements against a table of 100 rows.
#include "bench_support.h"

#include "klmfc/file/file.h"
#include "klmfc/script/script.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kSmall = 10u << 20;
constexpr std::size_t kLarge = 20u << 20;
constexpr int kIncludes = 100;
constexpr double kMinTime = 1.0;

// The text of blocks up to about `bytes`, numbered from `first`.
std::string blocks(std::size_t bytes, int first) {
    std::string text;
    text.reserve(bytes + 512);
    for (int n = first; text.size() < bytes; ++n) {
        std::string const i = std::to_string(n);
        text += "[Unit" + i +
                "]\n{\n"
                "    // placement\n"
                "    [Position] X = " +
                i +
                "; Y = SPEED; Z = -2.5e1; Scale = 50%;\n"
                "    [Look] Model = \"Models\\\\Unit " +
                i +
                ".kmd\"; Colour = ( 0.5, 1, COLOUR );\n"
                "    [Flags]\n    {\n        /* behaviour */\n"
                "        [Ai] Aggressive = yes; Range = RANGE; Target;\n"
                "        [Sound] Volume = 0.8; Loop = off;\n    }\n}\n";
    }
    return text;
}

// A directory with main.txt of `size` bytes in all: defines, then the includes, then
// blocks; every included file holds blocks too. Removed at exit.
struct ScriptFiles {
    explicit ScriptFiles(std::size_t size) {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "klmfc-bench-XXXXXX").string();
        if (::mkdtemp(pattern.data()) == nullptr) {
            std::abort();
        }
        directory = pattern;
        std::string main = "// generated\n#define SPEED 12.5\n#define COLOUR 0.25\n"
                           "#define RANGE 100\n";
        for (int d = 0; d < 100; ++d) {
            main += "#define Unused" + std::to_string(d) + " " + std::to_string(d) + "\n";
        }
        std::size_t const perInclude = size / 10 / kIncludes;
        for (int i = 0; i < kIncludes; ++i) {
            std::string const name = "inc" + std::to_string(i) + ".txt";
            main += "#include \"" + name + "\"\n";
            write(name, blocks(perInclude, 1000000 * (i + 1)));
            bytes += perInclude;
        }
        main += blocks(size - bytes - main.size(), 0);
        write("main.txt", main);
    }
    ~ScriptFiles() {
        std::error_code ignored;
        std::filesystem::remove_all(directory, ignored);
    }
    void write(std::string const& name, std::string const& text) {
        std::ofstream(directory + "/" + name, std::ios::binary) << text;
        written += text.size();
    }

    std::string directory;
    std::size_t bytes = 0;
    std::size_t written = 0;
};

ScriptFiles const& files(std::size_t size) {
    static ScriptFiles const small(kSmall);
    static ScriptFiles const large(kLarge);
    return size == kSmall ? small : large;
}

// The directory as the root of the name space while a benchmark runs.
class RootScope {
public:
    explicit RootScope(std::string const& root) : m_saved(K_File::getRootDirectory()) {
        File->setFileSystemRoot(root.c_str());
    }
    ~RootScope() { File->setFileSystemRoot(m_saved.c_str()); }

private:
    std::string m_saved;
};

void load(benchmark::State& state, std::size_t size) {
    ScriptFiles const& script = files(size);
    RootScope const scope(script.directory);
    for (auto _ : state) {
        try {
            K_Script s("main.txt");
            benchmark::DoNotOptimize(s.count());
        } catch (K_Exception* e) {
            state.SkipWithError(e->getErrorMessage());
            break;
        }
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                            static_cast<std::int64_t>(script.written));
}

void loadSmall(benchmark::State& state) {
    load(state, kSmall);
}
void loadLarge(benchmark::State& state) {
    load(state, kLarge);
}

// One block of 100 statements of five types, parsed by a table of 100 rows named in upper
// case.
void parse100(benchmark::State& state) {
    std::string text = "[Block] ";
    for (int i = 0; i < 100; ++i) {
        std::string const n = std::to_string(i);
        switch (i % 5) {
        case 0:
            text += "v" + n + " = " + n + "; ";
            break;
        case 1:
            text += "v" + n + " = " + n + ".5%; ";
            break;
        case 2:
            text += "v" + n + " = ( 1, 2, " + n + " ); ";
            break;
        case 3:
            text += "v" + n + " = \"Name " + n + "\"; ";
            break;
        default:
            text += "v" + n + " = ff" + n + "; ";
            break;
        }
    }
    std::string const directory = files(kSmall).directory;
    std::ofstream(directory + "/block.txt", std::ios::binary) << text;
    RootScope const scope(directory);
    K_Script script("block.txt");
    script.lock(0u);

    static K_Script::Format const* const formats[] = {&K_Script::t_int, &K_Script::t_float,
                                                      &K_Script::t_float3, &K_Script::t_string,
                                                      &K_Script::t_hex};
    std::vector<std::string> names;
    for (int i = 0; i < 100; ++i) {
        names.push_back("V" + std::to_string(i));
    }
    std::vector<std::vector<char>> destinations(100, std::vector<char>(64));
    std::vector<K_Script::Variables> table;
    for (int i = 0; i < 100; ++i) {
        table.push_back({names[i].c_str(), destinations[i].data(), nullptr, formats[i % 5]});
    }
    table.push_back({nullptr, nullptr, nullptr, nullptr});
    for (auto _ : state) {
        script.parse(table.data(), true);
        benchmark::DoNotOptimize(destinations[99].data());
    }
}

void add(std::string const& name, void (*function)(benchmark::State&), benchmark::TimeUnit unit) {
    benchmark::RegisterBenchmark(name.c_str(), function)->MinTime(kMinTime)->Unit(unit);
}

struct Registration {
    Registration() {
        add("load script/klmfc/generated/" + klmfc::bench::sizeLabel(kSmall), loadSmall,
            benchmark::kMillisecond);
        add("load script/klmfc/generated/" + klmfc::bench::sizeLabel(kLarge), loadLarge,
            benchmark::kMillisecond);
        add("parse 100 rows/klmfc/100 statements/100", parse100, benchmark::kMicrosecond);
    }
} const s_registration;

} // namespace
