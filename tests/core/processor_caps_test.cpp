// Processor identification from recorded answers of the identification instruction:
// whole processors, the highest leaf, capability bits with the system's test of the SSE
// registers, the type table with brand strings and the late Intel rows, the descriptor
// table and the vendors' own cache leaves.
#include "core/system_services_access.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <vector>

using klmfc::platform::ProcessorLeaf;
using klmfc::platform::SystemVersion;

namespace {

char const Intel[] = "GenuineIntel", AMD[] = "AuthenticAMD", Cyrix[] = "CyrixInstead",
           Centaur[] = "CentaurHauls", UMC[] = "UMC UMC UMC ", NexGen[] = "NexGenDriven",
           Other[] = "Someone else";
constexpr std::uint32_t MMX = 1u << 23, TSC = 1u << 4, SSE = 1u << 25, SSE2 = 1u << 26,
                        B15 = 1u << 15, B16 = 1u << 16, EXT31 = 1u << 31;

// What a processor answers. Leaf 1's eax reads as hex digits: family, model, stepping.
struct Machine {
    char const* id; // null: no identification instruction
    std::uint32_t maxLeaf = 1, eax1 = 0, ebx1 = 0, edx1 = 0;
    std::vector<ProcessorLeaf> leaf2 = {}; // in turn, the last one again after
    std::uint32_t maxExtended = 0, extendedEdx = 0;
    std::uint32_t ecx5 = 0, edx5 = 0, ecx6 = 0; // leaves 0x80000005 and 0x80000006
    char const* brand = nullptr;                // leaves 0x80000002 to 4; null gives zeros
    SystemVersion system = {5, 0, 2};
};

struct Recording {
    std::map<std::uint32_t, std::vector<ProcessorLeaf>> leaves;
    std::map<std::uint32_t, int> asked;
    Machine const* m;
    int probes = 0;
};

Recording identify(Machine const& m) {
    std::uint32_t id[3] = {}, brand[12] = {};
    std::memcpy(id, m.id != nullptr ? m.id : "", m.id != nullptr ? 12 : 1);
    std::memcpy(brand, m.brand != nullptr ? m.brand : "",
                m.brand != nullptr ? strnlen(m.brand, 48) : 0);
    Recording r{{{0, {{m.maxLeaf, id[0], id[2], id[1]}}},
                 {1, {{m.eax1, m.ebx1, 0, m.edx1}}},
                 {2, m.leaf2},
                 {0x80000000u, {{m.maxExtended, 0, 0, 0}}},
                 {0x80000001u, {{0, 0, 0, m.extendedEdx}}},
                 {0x80000002u, {{brand[0], brand[1], brand[2], brand[3]}}},
                 {0x80000003u, {{brand[4], brand[5], brand[6], brand[7]}}},
                 {0x80000004u, {{brand[8], brand[9], brand[10], brand[11]}}},
                 {0x80000005u, {{0, 0, m.ecx5, m.edx5}}},
                 {0x80000006u, {{0, 0, m.ecx6, 0}}}},
                {},
                &m};
    K_SystemServicesTestAccess::identify(klmfc::ProcessorQuestions{
        &r, [](void* c) { return static_cast<Recording*>(c)->m->id != nullptr; },
        [](void* c, std::uint32_t leaf) {
            Recording& r = *static_cast<Recording*>(c);
            std::vector<ProcessorLeaf> const& answers = r.leaves[leaf];
            std::size_t const n = static_cast<std::size_t>(r.asked[leaf]++);
            return answers.empty() ? ProcessorLeaf{} : answers[std::min(n, answers.size() - 1)];
        },
        [](void* c) { return static_cast<Recording*>(c)->m->system; },
        [](void* c) { ++static_cast<Recording*>(c)->probes; }});
    return r;
}

// A leaf 2 answer from its descriptor bytes, eax's lowest byte first.
ProcessorLeaf bytes(std::vector<unsigned> const& list) {
    std::uint32_t r[4] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < list.size(); ++i) {
        r[i / 4] |= static_cast<std::uint32_t>(list[i]) << (8 * (i % 4));
    }
    return {r[0], r[1], r[2], r[3]};
}

// TLB code, TLB data, L1 code, L1 data, L2, L3, trace.
using Caches = std::array<unsigned, 7>;
Caches caches() {
    return {Sys->getTLBCodeCacheSize(), Sys->getTLBDataCacheSize(), Sys->getL1CodeCacheSize(),
            Sys->getL1DataCacheSize(),  Sys->getL2CacheSize(),      Sys->getL3CacheSize(),
            Sys->getL1TraceCacheSize()};
}

class ProcessorCaps : public ::testing::Test {
    klmfc::test::SystemStateScope m_state; // the machine's own identification comes back
};

TEST_F(ProcessorCaps, RecordedProcessorsAreIdentifiedWhole) {
    struct Case {
        Machine machine;
        unsigned caps;
        int vendor, type;
        char const* model; // null: the brand string
        Caches caches;
    };
    // clang-format off
    Case const cases[] = {
        {{Intel, 2, 0x672, 0, 0x0387f9ff, {{0x03020101, 0, 0, 0x0c040843}}, 0x03020101}, 0x35, 1,
         4, "Intel Pentium III", {0x400000, 0x400000, 0x4000, 0x4000, 0x80000, 0, 0}},
        {{Intel, 2, 0xf12, 8, 0x3febfbff, {{0x665b5001, 0, 0, 0x007a7040}}, 0x80000004, 0, 0, 0, 0,
          "      Intel(R) Pentium(R) 4 CPU 1500MHz"}, 0x75, 1, 12, nullptr,
         {0x40, 0x40, 0, 0x2000, 0x40000, 0, 0x3000}},
        {{AMD, 1, 0x58c, 0, 0x008021bf, {}, 0x80000005, 0x808029bf, 0x20020220, 0x20020220, 0,
          "AMD-K6(tm) 3D processor"}, 0x13, 3, 7, nullptr, {0, 0, 0x8000, 0x8000, 0, 0, 0}},
        {{AMD, 1, 0x621, 0, 0x0183f9ff, {}, 0x80000006, 0xc1c3f9ff, 0x40020140, 0x40020140,
          0x02004110, "AMD-K7(tm) Processor"}, 0x1f, 3, 10, nullptr,
         {0, 0, 0x10000, 0x10000, 0x80000, 0, 0}},
        {{Centaur, 1, 0x678, 0, 0x00803035, {}, 0x80000006, EXT31, 0x40040120, 0x40040120,
          0x40040120, "VIA Ezra"}, 0x13, 6, 18, nullptr, {0, 0, 0x10000, 0x10000, 0x10000, 0, 0}},
        // A recent processor: leaf 0 says 0x1c, of which only 0xc counts.
        {{AMD, 0x1c, 0x00b00f21, 0x00020800, 0x178bfbff, {{0, 0, 0, 0}}, 0x80000021, 0x2fd3fbff,
          0x300c0140, 0x20080140, 0x04008140, "AMD EPYC"}, 0x75, 3, 0, nullptr,
         {0, 0, 0x8000, 0xC000, 0x100000, 0, 0}},
        // No identification, or no leaf 1: a highest leaf of 0x10 reads as 0, 0x11 as 1.
        {{nullptr, 2, 0x430, 0, MMX | TSC}, 0, 0, 0, "Unknown", {}},
        {{Intel, 0x00, 0x430, 0, MMX | TSC}, 0, 0, 0, "Unknown", {}},
        {{Intel, 0x10, 0x430, 0, MMX | TSC}, 0, 0, 0, "Unknown", {}},
        {{Intel, 0x11, 0x430, 0, MMX | TSC}, 0x11, 1, 0, "Intel 486DX2", {0, 0, 0x4000, 0x4000}},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(c.machine.brand ? c.machine.brand : c.model);
        identify(c.machine);
        EXPECT_EQ(c.caps, Sys->getProcessorCaps());
        EXPECT_EQ(c.vendor, Sys->getProcessorVendor());
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.model ? c.model : c.machine.brand, Sys->getProcessorModel());
        EXPECT_EQ(c.caches, caches());
        EXPECT_EQ(c.caches[2] + c.caches[3], Sys->getL1CacheSize());
    }
}

TEST_F(ProcessorCaps, CapabilityBitsByVendorFeaturesAndTheSystemsTest) {
    struct Case {
        char const* id;
        std::uint32_t features, extended;
        unsigned caps;
        SystemVersion system = {5, 0, 2}; // {major, minor, platform}
        std::uint32_t maxExtended = 0x80000001;
    };
    // clang-format off
    Case const cases[] = {
        {Intel, MMX, 0, 0x01},     {Intel, TSC, 0, 0x10},   {Intel, B16, 0, 0x04},
        {Intel, B15, 0, 0x00},     {AMD, B16, 0, 0x04},     {Cyrix, B15, 0, 0x04},
        {Cyrix, B16, 0, 0x00},     {Centaur, B15 | B16, 0, 0x00},
        {AMD, 0, EXT31, 0x02},     {Cyrix, 0, EXT31, 0x02}, {Centaur, 0, EXT31, 0x02},
        {Intel, 0, EXT31, 0x00},   {AMD, 0, 1u << 22 | 1u << 30, 0x08},
        {AMD, 0, 1u << 30, 0x00},  {AMD, 0, 1u << 22, 0x00}, {Centaur, 0, 1u << 22 | 1u << 30, 0},
        {Other, MMX | TSC | SSE | B16, EXT31, 0x31},
        {AMD, 0, 0xFFFFFFFF, 0x00, {5, 0, 2}, 0x80000000}, // no leaf: no extended bits
        {Intel, SSE2, 0, 0x60}, // bit 26 alone gives both
        // The system passes: platform 1 above 4, any platform 4.x with x above 0, platform 2
        // above 4. The probe runs only then.
        {Intel, SSE, 0, 0x20, {5, 0, 1}},  {Intel, SSE, 0, 0x20, {4, 10, 1}},
        {Intel, SSE, 0, 0x20, {4, 1, 2}},  {Intel, SSE, 0, 0x20, {4, 1, 0}},
        {Intel, SSE, 0, 0x00, {4, 0, 1}},  {Intel, SSE | SSE2, 0, 0x00, {4, 0, 2}},
        {Intel, SSE, 0, 0x00, {3, 51, 2}}, {Intel, SSE, 0, 0x00, {5, 0, 0}},
        {Intel, SSE, 0, 0x00, {6, 2, 3}},
    };
    // clang-format on
    int row = 0;
    for (Case const& c : cases) {
        SCOPED_TRACE(row++);
        Machine m{c.id, 1, 0x300, 0, c.features, {}, c.maxExtended, c.extended};
        m.system = c.system;
        EXPECT_EQ((c.caps & K_System::CAPS_SSE) != 0 ? 1 : 0, identify(m).probes);
        EXPECT_EQ(c.caps, Sys->getProcessorCaps());
    }
}

TEST_F(ProcessorCaps, TypeTableThenBrandStringThenLateIntelRows) {
    std::string const full48(48, 'x'); // no terminator: all 48 characters
    struct Case {
        char const* id;
        std::uint32_t eax1, brandIndex;
        int type;
        char const* text;
        char const* brand = nullptr;  // the extended leaves then say 3DNow
        unsigned l2Descriptor = 0x43; // 512 KiB keeps the late rows out
        std::uint32_t maxLeaf = 2;
    };
    // clang-format off
    Case const cases[] = {
        {Intel, 0x400, 0, 0, "Intel 486DX-25/33"},   {Intel, 0x490, 0, 0, "Intel 486DX4WB"},
        {Intel, 0x460, 0, 0, "Intel unknown"},       {UMC, 0x420, 0, 0, "UMC 486"},
        {UMC, 0x430, 0, 0, "UMC unknown"},           {AMD, 0x4f0, 0, 0, "AMD 486/5x86WB"},
        {Cyrix, 0x490, 0, 21, "Cyrix 5x86"},         {Cyrix, 0x440, 0, 24, "Cyrix MediaGX"},
        {Cyrix, 0x520, 0, 22, "Cyrix 6x86"},         {Cyrix, 0x530, 0, 0, "Cyrix unknown"},
        {Intel, 0x580, 0, 25, "Intel Pentium"},      {Intel, 0x550, 0, 0, "Intel unknown"},
        {NexGen, 0x510, 0, 0, "NexGen unknown"},     {AMD, 0x530, 0, 19, "AMD K5"},
        {AMD, 0x570, 0, 6, "AMD K6"},                {AMD, 0x590, 0, 9, "AMD unknown"},
        {AMD, 0x5c7, 0, 0, "AMD unknown"},           {AMD, 0x5c8, 0, 7, "AMD unknown"},
        {AMD, 0x5cb, 0, 7, "AMD unknown"},           {AMD, 0x5d3, 0, 8, "AMD unknown"},
        {AMD, 0x5d4, 0, 9, "AMD unknown"},           {AMD, 0x5d8, 0, 0, "AMD unknown"},
        {AMD, 0x630, 0, 11, "AMD unknown"},          {AMD, 0x660, 0, 20, "AMD unknown"},
        {Centaur, 0x540, 0, 13, "IDT WinChip C6"},   {Centaur, 0x580, 0, 14, "IDT WinChip 2"},
        {Centaur, 0x660, 0, 16, "Centaur unknown"},  {Centaur, 0x677, 0, 17, "Centaur unknown"},
        {Intel, 0x610, 0, 26, "Intel Pentium Pro"},  {Intel, 0x630, 0, 2, "Intel Pentium II"},
        {Intel, 0x660, 0, 27, "Intel Celeron A"},    {Intel, 0x680, 1, 1, "Intel Celeron"},
        {Intel, 0x680, 3, 5, "Intel Pentium III Xeon"}, {Intel, 0x680, 2, 4, "Intel Pentium III"},
        {Intel, 0xff0, 0, 12, "Intel Pentium 4"},    {"GenuineIntem", 0x670, 0, 0, "Unknown"},
        // A brand string replaces the text but not the type; UMC and NexGen have none.
        {Intel, 0x680, 2, 4, "Intel(R) Pentium(R) III", "Intel(R) Pentium(R) III"},
        {AMD, 0x580, 0, 7, "AMD-K6(tm) 3D", "AMD-K6(tm) 3D"},
        {Cyrix, 0x600, 0, 23, "Cyrix MII", "Cyrix MII"},
        {Centaur, 0x580, 0, 15, "WinChip 2-3D", "WinChip 2-3D"},
        {UMC, 0x410, 0, 0, "UMC 486", "not read"},
        {NexGen, 0x500, 0, 28, "NexGen Nx586", "not read"},
        {Intel, 0xf20, 0, 12, full48.c_str(), full48.c_str()},
        // The late rows decide by the L2 and replace a brand string.
        {Intel, 0x670, 0, 5, "Intel Pentium III Xeon", "Some brand", 0x44},
        {Intel, 0x650, 0, 1, "Intel Celeron", "Some brand", 0x40}, // 0x40 only: no L2
        {Intel, 0x650, 0, 2, "Intel Pentium II"},
        {Intel, 0x650, 0, 3, "Intel Pentium II Xeon", nullptr, 0x44},
        {Intel, 0x650, 0, 1, "Intel Celeron", nullptr, 0x44, 1}, // one leaf: no descriptors
        {Intel, 0x660, 0, 27, "Intel Celeron A", nullptr, 0x44},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.id) + " " + std::to_string(c.eax1));
        identify({c.id,
                  c.maxLeaf,
                  c.eax1,
                  c.brandIndex,
                  0,
                  {bytes({1, c.l2Descriptor})},
                  c.brand ? 0x80000004u : 0,
                  EXT31,
                  0,
                  0,
                  0,
                  c.brand});
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.text, Sys->getProcessorModel());
    }
}

TEST_F(ProcessorCaps, DescriptorTable) {
    struct One {
        unsigned code;
        int field; // in Caches; 7: both L1 fields; -1: none
        unsigned value;
    };
    // clang-format off
    One const table[] = {
        {0x01, 0, 0x1000},   {0x02, 0, 0x400000},  {0x03, 1, 0x1000},   {0x04, 1, 0x400000},
        {0x06, 2, 0x2000},   {0x08, 2, 0x4000},    {0x0A, 3, 0x2000},   {0x0C, 3, 0x4000},
        {0x22, 5, 0x80000},  {0x23, 5, 0x100000},  {0x25, 5, 0x200000}, {0x29, 5, 0x400000},
        {0x41, 4, 0x20000},  {0x42, 4, 0x40000},   {0x43, 4, 0x80000},  {0x44, 4, 0x100000},
        {0x45, 4, 0x200000}, {0x46, 4, 0x400000},  {0x50, 0, 0x40},     {0x51, 0, 0x80},
        {0x52, 0, 0x100},    {0x5B, 1, 0x40},      {0x5C, 1, 0x80},     {0x5D, 1, 0x100},
        {0x66, 3, 0x2000},   {0x67, 3, 0x4000},    {0x68, 3, 0x8000},   {0x70, 6, 0x3000},
        {0x71, 6, 0x4000},   {0x72, 6, 0x8000},    {0x79, 4, 0x20000},  {0x7A, 4, 0x40000},
        {0x7B, 4, 0x80000},  {0x7C, 4, 0x100000},  {0x80, 7, 0x4000},   {0x81, 4, 0x20000},
        {0x82, 4, 0x40000},  {0x83, 4, 0x80000},   {0x84, 4, 0x100000}, {0x85, 4, 0x200000},
        {0x00, -1, 0},       {0x05, -1, 0},        {0x40, -1, 0},       {0xFF, -1, 0},
    };
    // clang-format on
    for (One const& one : table) {
        SCOPED_TRACE(one.code);
        identify({Intel, 2, 0xf00, 0, 0, {bytes({1, 0, 0, 0, one.code})}});
        Caches want{};
        for (int field = 0; field < 7; ++field) {
            bool const hit = field == one.field || (one.field == 7 && (field == 2 || field == 3));
            want[field] = hit ? one.value : 0;
        }
        EXPECT_EQ(want, caches());
    }
}

TEST_F(ProcessorCaps, CacheLeavesByVendorAndTheCallsOfTheDescriptorLeaf) {
    struct Case {
        Machine machine;
        Caches kib; // in KiB
        int leaf2Calls;
    };
    auto p4 = [](std::vector<ProcessorLeaf> leaf2) {
        return Machine{Intel, 2, 0xf00, 0, 0, leaf2};
    };
    std::vector<ProcessorLeaf> const l2{bytes({1, 0x43})};
    // Leaf 0x80000005: L1 data from ecx's top byte, code from edx's. Leaf 0x80000006: L2 from
    // ecx's top half (AMD) or top byte (Centaur).
    std::uint32_t const c5 = 0x10000000, d5 = 0x20000000, c6 = 0x01004020, x6 = 0x80000006;
    // clang-format off
    Case const cases[] = {
        // The count byte is no descriptor, in any answer; later bytes win; a count of 0 still
        // reads once. 0x40 clears an L3 when there is an L2, wherever it stands.
        {p4({bytes({2, 0x42}), bytes({2, 0x45, 0, 0, 0x29})}), {0, 0, 0, 0, 2048, 4096, 0}, 2},
        {p4({bytes({3}), bytes({1, 1}), bytes({0, 0x41})}), {4, 0, 0, 0, 128, 0, 0}, 3},
        {p4({bytes({0, 0x43})}), {0, 0, 0, 0, 512, 0, 0}, 1},
        {p4({bytes({1, 0x43, 0x40, 0x29})}), {0, 0, 0, 0, 512, 0, 0}, 1},
        {p4({bytes({1, 0x40, 0x29, 0x43})}), {0, 0, 0, 0, 512, 0, 0}, 1},
        {p4({bytes({1, 0x40, 0x29})}), {0, 0, 0, 0, 0, 4096, 0}, 1},
        {{Cyrix, 2, 0x520, 0, 0, {{0x7001, 0, 0, 0x80}}}, {4, 4, 8, 8, 0, 0, 0}, 1},
        {{Cyrix, 2, 0x520, 0, 0, {{0x7101, 0, 0, 0x81}}}, {0, 0, 0, 0, 0, 0, 0}, 1},
        {{Cyrix, 1, 0x520}, {4, 4, 8, 8, 0, 0, 0}, 0},
        {{AMD, 2, 0x730, 0, 0, l2, x6, 0, c5, d5, c6}, {0, 0, 32, 16, 256, 0, 0}, 0},
        {{AMD, 1, 0x10630, 0, 0, {}, x6, 0, c5, d5, c6}, {0, 0, 32, 16, 64, 0, 0}, 0},
        {{AMD, 1, 0x631, 0, 0, {}, x6, 0, c5, d5, c6}, {0, 0, 32, 16, 256, 0, 0}, 0},
        {{AMD, 1, 0x630, 0, 0, {}, x6 - 1, 0, c5, d5, c6}, {0, 0, 32, 16, 0, 0, 0}, 0},
        {{Centaur, 2, 0x660, 0, 0, l2, x6, 0, c5, d5, c6}, {0, 0, 32, 16, 1, 0, 0}, 0},
        {{Centaur, 2, 0x540, 0, 0, l2, x6, 0, c5, d5, c6}, {0, 0, 32, 16, 512, 0, 0}, 1},
        {{Intel, 1, 0xf00}, {0, 0, 8, 8, 0, 0, 0}, 0}, // one leaf, no MMX
        {{NexGen, 2, 0x500, 0, 0, {bytes({1, 0x08, 0x0A})}}, {0, 0, 16, 8, 0, 0, 0}, 1},
        {{Other, 3, 0x500, 0, 0, l2}, {0, 0, 0, 0, 512, 0, 0}, 1},
    };
    // clang-format on
    int row = 0;
    for (Case const& c : cases) {
        SCOPED_TRACE(row++);
        EXPECT_EQ(c.leaf2Calls, identify(c.machine).asked[2]);
        Caches want = c.kib;
        for (unsigned& size : want) {
            size *= 1024;
        }
        EXPECT_EQ(want, caches());
    }
}

} // namespace
