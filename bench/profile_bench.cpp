// The cost of a K_Profile scope: with profiling off (a test of a byte in the constructor
// and in the destructor), and on, in steady state (second frame on), with 1 to 100
// distinct sections open one after the other. The "allocations" column counts counted
// allocations per scope; it must be 0.
#include "bench_support.h"

#include "klmfc/core/system.h"
#include "klmfc/memory/memory.h"
#include "klmfc/profile/profile.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace {

constexpr int kSectionCounts[] = {1, 10, 30, 100};
constexpr double kMinTime = 0.25;

std::vector<std::string> sectionNames(int count) {
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) {
        names.push_back("section " + std::to_string(i));
    }
    return names;
}

void scopeOff(benchmark::State& state, int sections) {
    std::vector<std::string> const names = sectionNames(sections);
    K_Profile::disableProfiling();
    std::size_t next = 0;
    for (auto _ : state) {
        K_Profile scope(names[next].c_str());
        benchmark::DoNotOptimize(&scope);
        next = next + 1 == names.size() ? 0 : next + 1;
    }
    K_Profile::enableProfiling(true);
}

void scopeOn(benchmark::State& state, int sections) {
    std::vector<std::string> const names = sectionNames(sections);
    Sys->getProcessorSpeed(); // measured once, before the profiler has anything to lose
    K_Profile::reset();
    K_Profile::enableProfiling(true);
    // The first frame makes the entries; from the second on nothing is allocated.
    for (int frame = 0; frame < 2; ++frame) {
        K_Profile::startFrame();
        for (std::string const& name : names) {
            K_Profile scope(name.c_str());
        }
        K_Profile::endFrame();
    }
    K_Profile::startFrame();
    int const news = K_Memory::getNewCount();
    std::size_t next = 0;
    for (auto _ : state) {
        K_Profile scope(names[next].c_str());
        benchmark::DoNotOptimize(&scope);
        next = next + 1 == names.size() ? 0 : next + 1;
    }
    int const allocations = K_Memory::getNewCount() - news;
    K_Profile::endFrame();
    K_Profile::reset();
    state.counters["allocations"] = benchmark::Counter(static_cast<double>(allocations) /
                                                       static_cast<double>(state.iterations()));
}

void add(char const* implementation, int sections, void (*function)(benchmark::State&, int)) {
    std::string const name = std::string("K_Profile scope") + "/" + implementation + "/sections/" +
                             std::to_string(sections);
    benchmark::RegisterBenchmark(name.c_str(), function, sections)
        ->MinTime(kMinTime)
        ->Unit(benchmark::kNanosecond);
}

struct Registration {
    Registration() {
        for (int sections : kSectionCounts) {
            add("profiling off", sections, scopeOff);
            add("profiling on", sections, scopeOn);
        }
    }
} const s_registration;

} // namespace
