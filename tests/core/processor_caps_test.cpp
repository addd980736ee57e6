// Processor identification from recorded answers of the identification instruction:
// whole processors, the highest leaf, capability bits, the type table with its further
// tests, brand strings, the descriptor table, the vendors' own cache leaves and the late
// Intel rows.
#include "core/system_services_access.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <map>
#include <string>
#include <utility>
#include <vector>

using klmfc::platform::ProcessorLeaf;
using klmfc::platform::SystemVersion;

namespace {

// What a processor answers. Leaf 2 gives its answers in turn, the last one again after.
struct Machine {
    char const* id;
    std::uint32_t maxLeaf;
    std::uint32_t eax1, ebx1, edx1; // leaf 1
    std::vector<ProcessorLeaf> leaf2;
    std::uint32_t maxExtended, extendedEdx;
    char const* brand;                 // null: leaves 0x80000002 to 4 give zeros
    std::uint32_t l1Ecx, l1Edx, l2Ecx; // leaves 0x80000005 and 0x80000006
    SystemVersion system = {5, 0, 2};
};

struct Recording {
    explicit Recording(Machine m) : machine(std::move(m)) {}

    Machine machine;
    bool hasIdentification = true;
    int probes = 0;
    std::map<std::uint32_t, int> asked;

    ProcessorLeaf answer(std::uint32_t leaf) {
        int const n = asked[leaf]++;
        Machine const& m = machine;
        auto word = [](char const* four) {
            std::uint32_t value = 0;
            std::memcpy(&value, four, 4);
            return value;
        };
        char brand[48] = {};
        if (m.brand != nullptr) {
            std::memcpy(brand, m.brand, std::min<std::size_t>(std::strlen(m.brand), 48));
        }
        switch (leaf) {
        case 0:
            return {m.maxLeaf, word(m.id), word(m.id + 8), word(m.id + 4)};
        case 1:
            return {m.eax1, m.ebx1, 0, m.edx1};
        case 2:
            return m.leaf2.empty() ? ProcessorLeaf{0, 0, 0, 0}
                                   : m.leaf2[std::min<std::size_t>(n, m.leaf2.size() - 1)];
        case 0x80000000u:
            return {m.maxExtended, 0, 0, 0};
        case 0x80000001u:
            return {0, 0, 0, m.extendedEdx};
        case 0x80000002u:
        case 0x80000003u:
        case 0x80000004u: {
            char const* part = brand + 16 * (leaf - 0x80000002u);
            return {word(part), word(part + 4), word(part + 8), word(part + 12)};
        }
        case 0x80000005u:
            return {0, 0, m.l1Ecx, m.l1Edx};
        case 0x80000006u:
            return {0, 0, m.l2Ecx, 0};
        }
        return {0, 0, 0, 0};
    }

    void identify() {
        K_SystemServicesTestAccess::identify(klmfc::ProcessorQuestions{
            this, [](void* c) { return static_cast<Recording*>(c)->hasIdentification; },
            [](void* c, std::uint32_t leaf) { return static_cast<Recording*>(c)->answer(leaf); },
            [](void* c) { return static_cast<Recording*>(c)->machine.system; },
            [](void* c) { ++static_cast<Recording*>(c)->probes; }});
    }
};

// Leaf 1's eax.
constexpr std::uint32_t sig(unsigned family, unsigned model, unsigned stepping = 0) {
    return family << 8 | model << 4 | stepping;
}

// A leaf 2 answer from its descriptor bytes, eax's lowest byte first.
ProcessorLeaf bytes(std::vector<unsigned> const& list) {
    std::uint32_t r[4] = {0, 0, 0, 0};
    for (std::size_t i = 0; i < list.size(); ++i) {
        r[i / 4] |= static_cast<std::uint32_t>(list[i]) << (8 * (i % 4));
    }
    return {r[0], r[1], r[2], r[3]};
}

char const Intel[] = "GenuineIntel", AMD[] = "AuthenticAMD", Cyrix[] = "CyrixInstead",
           Centaur[] = "CentaurHauls", UMC[] = "UMC UMC UMC ", NexGen[] = "NexGenDriven";
constexpr std::uint32_t MMX = 1u << 23, TSC = 1u << 4, SSE = 1u << 25, SSE2 = 1u << 26;
constexpr std::uint32_t B15 = 1u << 15, B16 = 1u << 16, EXT31 = 1u << 31;

class ProcessorCaps : public ::testing::Test {
    klmfc::test::SystemStateScope m_state; // the machine's own identification comes back
};

TEST_F(ProcessorCaps, RecordedProcessorsAreIdentifiedWhole) {
    struct Case {
        char const* name;
        Machine machine;
        unsigned caps;
        int vendor, type;
        char const* model;
        unsigned l1Code, l1Data, l2, l3, trace, tlbCode, tlbData;
    };
    // clang-format off
    Case const cases[] = {
        {"Pentium III",
         {Intel, 2, 0x672, 0, 0x0387f9ff, {{0x03020101, 0, 0, 0x0c040843}}, 0x03020101, 0,
          nullptr, 0, 0, 0},
         0x35, 1, 4, "Intel Pentium III", 0x4000, 0x4000, 0x80000, 0, 0, 0x400000, 0x400000},
        {"Pentium 4",
         {Intel, 2, 0xf12, 8, 0x3febfbff, {{0x665b5001, 0, 0, 0x007a7040}}, 0x80000004, 0,
          "      Intel(R) Pentium(R) 4 CPU 1500MHz", 0, 0, 0},
         0x75, 1, 12, "      Intel(R) Pentium(R) 4 CPU 1500MHz", 0, 0x2000, 0x40000, 0, 0x3000,
         0x40, 0x40},
        {"K6-2",
         {AMD, 1, 0x58c, 0, 0x008021bf, {}, 0x80000005, 0x808029bf, "AMD-K6(tm) 3D processor",
          0x20020220, 0x20020220, 0},
         0x13, 3, 7, "AMD-K6(tm) 3D processor", 0x8000, 0x8000, 0, 0, 0, 0, 0},
        {"Athlon",
         {AMD, 1, 0x621, 0, 0x0183f9ff, {}, 0x80000006, 0xc1c3f9ff, "AMD-K7(tm) Processor",
          0x40020140, 0x40020140, 0x02004110},
         0x1f, 3, 10, "AMD-K7(tm) Processor", 0x10000, 0x10000, 0x80000, 0, 0, 0, 0},
        {"6x86MX", {Cyrix, 1, 0x600, 0, 0x0080a135, {}, 0, 0, nullptr, 0, 0, 0},
         0x15, 4, 23, "Cyrix 6x86MX", 0x2000, 0x2000, 0, 0, 0, 0x1000, 0x1000},
        {"WinChip 2-3D",
         {Centaur, 1, 0x585, 0, 0x008001b5, {}, 0x80000001, EXT31, nullptr, 0, 0, 0},
         0x13, 6, 15, "IDT WinChip 2-3D", 0, 0, 0, 0, 0, 0, 0},
        {"C3 Ezra",
         {Centaur, 1, 0x678, 0, 0x00803035, {}, 0x80000006, EXT31, "VIA Ezra", 0x40040120,
          0x40040120, 0x40040120},
         0x13, 6, 18, "VIA Ezra", 0x10000, 0x10000, 0x10000, 0, 0, 0, 0},
        {"486DX2", {Intel, 1, 0x435, 0, 0x3, {}, 0, 0, nullptr, 0, 0, 0},
         0, 1, 0, "Intel 486DX2", 0x2000, 0x2000, 0, 0, 0, 0, 0},
        // A recent processor: leaf 0 says 0x1c, of which only 0xc counts.
        {"EPYC",
         {AMD, 0x1c, 0x00b00f21, 0x00020800, 0x178bfbff, {{0, 0, 0, 0}}, 0x80000021, 0x2fd3fbff,
          "AMD EPYC", 0x300c0140, 0x20080140, 0x04008140},
         0x75, 3, 0, "AMD EPYC", 0x8000, 0xC000, 0x100000, 0, 0, 0, 0},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Recording r{c.machine};
        r.identify();
        EXPECT_EQ(c.caps, Sys->getProcessorCaps());
        EXPECT_EQ(c.vendor, Sys->getProcessorVendor());
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.model, Sys->getProcessorModel());
        EXPECT_EQ(c.l1Code, Sys->getL1CodeCacheSize());
        EXPECT_EQ(c.l1Data, Sys->getL1DataCacheSize());
        EXPECT_EQ(c.l1Code + c.l1Data, Sys->getL1CacheSize());
        EXPECT_EQ(c.l2, Sys->getL2CacheSize());
        EXPECT_EQ(c.l3, Sys->getL3CacheSize());
        EXPECT_EQ(c.trace, Sys->getL1TraceCacheSize());
        EXPECT_EQ(c.tlbCode, Sys->getTLBCodeCacheSize());
        EXPECT_EQ(c.tlbData, Sys->getTLBDataCacheSize());
    }
}

TEST_F(ProcessorCaps, NoIdentificationOrNoLeafOneLeavesAnUnknownProcessor) {
    // Only the low four bits of leaf 0 count: 0x10 reads as no leaf at all, 0x11 as one.
    struct Case {
        bool hasIdentification;
        std::uint32_t maxLeaf;
        int vendor;
        char const* model;
    };
    Case const cases[] = {{false, 2, 0, "Unknown"},
                          {true, 0x00, 0, "Unknown"},
                          {true, 0x10, 0, "Unknown"},
                          {true, 0x11, 1, "Intel 486DX2"}};
    for (Case const& c : cases) {
        SCOPED_TRACE(c.maxLeaf);
        Recording r{{Intel, c.maxLeaf, sig(4, 3), 0, MMX | TSC, {}, 0, 0, nullptr, 0, 0, 0}};
        r.hasIdentification = c.hasIdentification;
        r.identify();
        EXPECT_EQ(c.vendor, Sys->getProcessorVendor());
        EXPECT_STREQ(c.model, Sys->getProcessorModel());
        EXPECT_EQ(c.vendor == 0 ? 0u : 0x11u, Sys->getProcessorCaps());
        EXPECT_EQ(c.vendor == 0 ? 0u : 0x8000u, Sys->getL1CacheSize());
        EXPECT_EQ(c.vendor == 0 ? 0 : 1, r.asked[1]);
    }
}

TEST_F(ProcessorCaps, CapabilityBitsByVendorAndFeatures) {
    struct Case {
        char const* id;
        std::uint32_t features, extended;
        SystemVersion system;
        unsigned caps;
        int probes;
    };
    SystemVersion const passes{5, 0, 2}, fails{4, 0, 2};
    // clang-format off
    Case const cases[] = {
        {Intel, MMX, 0, passes, 0x01, 0},       {Intel, TSC, 0, passes, 0x10, 0},
        {Intel, B16, 0, passes, 0x04, 0},       {Intel, B15, 0, passes, 0x00, 0},
        {AMD, B16, 0, passes, 0x04, 0},         {Cyrix, B15, 0, passes, 0x04, 0},
        {Cyrix, B16, 0, passes, 0x00, 0},       {Centaur, B15 | B16, 0, passes, 0x00, 0},
        {AMD, 0, EXT31, passes, 0x02, 0},       {Cyrix, 0, EXT31, passes, 0x02, 0},
        {Centaur, 0, EXT31, passes, 0x02, 0},   {Intel, 0, EXT31, passes, 0x00, 0},
        {AMD, 0, 1u << 22 | 1u << 30, passes, 0x08, 0},
        {AMD, 0, 1u << 30, passes, 0x00, 0},
        {Centaur, 0, 1u << 22 | 1u << 30, passes, 0x00, 0},
        {Intel, SSE, 0, passes, 0x20, 1},
        {Intel, SSE2, 0, passes, 0x60, 1}, // bit 26 alone gives both
        {Intel, SSE | SSE2, 0, fails, 0x00, 0},
        {"Someone else", MMX | TSC | SSE | B16, EXT31, passes, 0x31, 1},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.id) + " " + std::to_string(c.features) + " " +
                     std::to_string(c.extended));
        Recording r{{c.id,
                     1,
                     sig(3, 0),
                     0,
                     c.features,
                     {},
                     0x80000001,
                     c.extended,
                     nullptr,
                     0,
                     0,
                     0,
                     c.system}};
        r.identify();
        EXPECT_EQ(c.caps, Sys->getProcessorCaps());
        EXPECT_EQ(c.probes, r.probes);
    }
    // Without the leaf, the extended features are 0 whatever it would say.
    Recording r{{AMD, 1, sig(3, 0), 0, 0, {}, 0x80000000, 0xFFFFFFFF, nullptr, 0, 0, 0}};
    r.identify();
    EXPECT_EQ(0u, Sys->getProcessorCaps());
    EXPECT_EQ(0, r.asked[0x80000001u]);
}

TEST_F(ProcessorCaps, OperatingSystemTestOfTheSSERegisters) {
    // {major, minor, platform}: platform 1 above 4, any platform 4.x with x above 0,
    // platform 2 above 4.
    SystemVersion const passing[] = {{5, 0, 1}, {4, 10, 1}, {4, 1, 2}, {5, 0, 2}, {4, 1, 0}};
    SystemVersion const failing[] = {{4, 0, 1}, {4, 0, 2}, {3, 51, 2}, {5, 0, 0}, {6, 2, 3}};
    for (SystemVersion const& v : passing) {
        EXPECT_TRUE(klmfc::systemKeepsWideRegisters(v)) << v.platform << " " << v.major;
    }
    for (SystemVersion const& v : failing) {
        EXPECT_FALSE(klmfc::systemKeepsWideRegisters(v)) << v.platform << " " << v.major;
    }
}

TEST_F(ProcessorCaps, TypeTableByVendorFamilyModelAndFurtherTest) {
    struct Case {
        char const* id;
        std::uint32_t eax1, brandIndex;
        bool threeDNow;
        int type;
        char const* text;
    };
    // clang-format off
    Case const cases[] = {
        {Intel, sig(4, 0), 0, false, 0, "Intel 486DX-25/33"},
        {Intel, sig(4, 9), 0, false, 0, "Intel 486DX4WB"},
        {Intel, sig(4, 6), 0, false, 0, "Intel unknown"},
        {UMC, sig(4, 2), 0, false, 0, "UMC 486"},
        {UMC, sig(4, 3), 0, false, 0, "UMC unknown"},
        {AMD, sig(4, 15), 0, false, 0, "AMD 486/5x86WB"},
        {Cyrix, sig(4, 9), 0, false, 21, "Cyrix 5x86"},
        {Cyrix, sig(4, 4), 0, false, 24, "Cyrix MediaGX"},
        {Intel, sig(5, 8), 0, false, 25, "Intel Pentium"},
        {Intel, sig(5, 5), 0, false, 0, "Intel unknown"},
        {NexGen, sig(5, 0), 0, false, 28, "NexGen Nx586"},
        {Cyrix, sig(5, 2), 0, false, 22, "Cyrix 6x86"},
        {Cyrix, sig(6, 0), 0, false, 23, "Cyrix 6x86MX"},
        {AMD, sig(5, 3), 0, false, 19, "AMD K5"},
        {AMD, sig(5, 7), 0, false, 6, "AMD K6"},
        {AMD, sig(5, 8), 0, false, 7, "AMD unknown"},
        {AMD, sig(5, 9), 0, false, 9, "AMD unknown"},
        {AMD, sig(5, 12, 7), 0, false, 0, "AMD unknown"},
        {AMD, sig(5, 12, 8), 0, false, 7, "AMD unknown"},
        {AMD, sig(5, 12, 11), 0, false, 7, "AMD unknown"},
        {AMD, sig(5, 13, 3), 0, false, 8, "AMD unknown"},
        {AMD, sig(5, 13, 4), 0, false, 9, "AMD unknown"},
        {AMD, sig(5, 13, 8), 0, false, 0, "AMD unknown"},
        {AMD, sig(6, 5), 0, false, 10, "AMD unknown"},
        {AMD, sig(6, 3), 0, false, 11, "AMD unknown"},
        {AMD, sig(6, 6), 0, false, 20, "AMD unknown"},
        {Centaur, sig(5, 4), 0, false, 13, "IDT WinChip C6"},
        {Centaur, sig(5, 8), 0, true, 15, "IDT WinChip 2-3D"},
        {Centaur, sig(5, 8), 0, false, 14, "IDT WinChip 2"},
        {Centaur, sig(6, 6), 0, false, 16, "Centaur unknown"},
        {Centaur, sig(6, 7, 7), 0, false, 17, "Centaur unknown"},
        {Centaur, sig(6, 7, 8), 0, false, 18, "Centaur unknown"},
        {Intel, sig(6, 1), 0, false, 26, "Intel Pentium Pro"},
        {Intel, sig(6, 3), 0, false, 2, "Intel Pentium II"},
        {Intel, sig(6, 6), 0, false, 27, "Intel Celeron A"},
        {Intel, sig(6, 7), 0, false, 4, "Intel Pentium III"},
        {Intel, sig(6, 8), 1, false, 1, "Intel Celeron"},
        {Intel, sig(6, 8), 3, false, 5, "Intel Pentium III Xeon"},
        {Intel, sig(6, 8), 2, false, 4, "Intel Pentium III"},
        {Intel, sig(15, 15), 0, false, 12, "Intel Pentium 4"},
        {"GenuineIntem", sig(6, 7), 0, false, 0, "Unknown"},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(std::string(c.id) + " " + std::to_string(c.eax1));
        // An L2 of 512 KiB keeps the late Intel rows out.
        Recording r{{c.id,
                     2,
                     c.eax1,
                     c.brandIndex,
                     0,
                     {bytes({0x01, 0x43})},
                     c.threeDNow ? 0x80000001u : 0u,
                     EXT31,
                     nullptr,
                     0,
                     0,
                     0}};
        r.identify();
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.text, Sys->getProcessorModel());
    }
}

TEST_F(ProcessorCaps, BrandStringReplacesTheTextButNotTheTypeAndLateRowsReplaceIt) {
    std::string const full48(48, 'x'); // no terminator: all 48 characters
    struct Case {
        char const* id;
        std::uint32_t eax1, brandIndex;
        unsigned l2Descriptor;
        char const* brand;
        int type;
        char const* text;
    };
    // clang-format off
    Case const cases[] = {
        {Intel, sig(6, 8), 2, 0x43, "Intel(R) Pentium(R) III", 4, "Intel(R) Pentium(R) III"},
        {Intel, sig(6, 7), 0, 0x44, "Some brand", 5, "Intel Pentium III Xeon"},
        {Intel, sig(6, 5), 0, 0x40, "Some brand", 1, "Intel Celeron"},
        {AMD, sig(5, 8), 0, 0, "AMD-K6(tm) 3D", 7, "AMD-K6(tm) 3D"},
        {Cyrix, sig(6, 0), 0, 0, "Cyrix MII", 23, "Cyrix MII"},
        {Centaur, sig(5, 4), 0, 0, "WinChip", 13, "WinChip"},
        {UMC, sig(4, 1), 0, 0, "not read", 0, "UMC 486"},
        {NexGen, sig(5, 0), 0, 0, "not read", 28, "NexGen Nx586"},
        {Intel, sig(15, 2), 0, 0, full48.c_str(), 12, full48.c_str()},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(c.brand);
        Recording r{{c.id,
                     2,
                     c.eax1,
                     c.brandIndex,
                     0,
                     {bytes({0x01, c.l2Descriptor})},
                     0x80000004,
                     0,
                     c.brand,
                     0,
                     0,
                     0}};
        r.identify();
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.text, Sys->getProcessorModel());
    }
}

TEST_F(ProcessorCaps, LateIntelRowsDecideByTheSecondLevelCache) {
    struct Case {
        unsigned model;
        std::uint32_t maxLeaf;
        unsigned descriptor, l2;
        int type;
        char const* text;
    };
    Case const cases[] = {
        {5, 2, 0x40, 0, 1, "Intel Celeron"}, // descriptor 0x40 only: no L2
        {5, 2, 0x43, 0x80000, 2, "Intel Pentium II"},
        {5, 2, 0x44, 0x100000, 3, "Intel Pentium II Xeon"},
        {5, 1, 0x44, 0, 1, "Intel Celeron"}, // one leaf only: no descriptors read
        {7, 2, 0x43, 0x80000, 4, "Intel Pentium III"},
        {7, 2, 0x44, 0x100000, 5, "Intel Pentium III Xeon"},
        {6, 2, 0x44, 0x100000, 27, "Intel Celeron A"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.descriptor);
        Recording r{{Intel,
                     c.maxLeaf,
                     sig(6, c.model),
                     0,
                     MMX,
                     {bytes({0x01, c.descriptor})},
                     0,
                     0,
                     nullptr,
                     0,
                     0,
                     0}};
        r.identify();
        EXPECT_EQ(c.l2, Sys->getL2CacheSize());
        EXPECT_EQ(c.type, Sys->getProcessorType());
        EXPECT_STREQ(c.text, Sys->getProcessorModel());
    }
}

unsigned descriptorField(int field) {
    switch (field) {
    case 0:
        return Sys->getTLBCodeCacheSize();
    case 1:
        return Sys->getTLBDataCacheSize();
    case 2:
        return Sys->getL1CodeCacheSize();
    case 3:
        return Sys->getL1DataCacheSize();
    case 4:
        return Sys->getL2CacheSize();
    case 5:
        return Sys->getL3CacheSize();
    default:
        return Sys->getL1TraceCacheSize();
    }
}

TEST_F(ProcessorCaps, DescriptorTable) {
    // Fields: 0 TLB code, 1 TLB data, 2 L1 code, 3 L1 data, 4 L2, 5 L3, 6 trace; 7 both L1
    // fields; -1 none.
    struct One {
        unsigned code;
        int field;
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
        {0x00, -1, 0},       {0x05, -1, 0},        {0x2C, -1, 0},       {0x40, -1, 0},
        {0x60, -1, 0},       {0x86, -1, 0},        {0xFF, -1, 0},
    };
    // clang-format on
    for (One const& one : table) {
        SCOPED_TRACE(one.code);
        Recording r{
            {Intel, 2, sig(15, 0), 0, 0, {bytes({1, 0, 0, 0, one.code})}, 0, 0, nullptr, 0, 0, 0}};
        r.identify();
        for (int field = 0; field < 7; ++field) {
            bool const hit = field == one.field || (one.field == 7 && (field == 2 || field == 3));
            EXPECT_EQ(hit ? one.value : 0u, descriptorField(field)) << "field " << field;
        }
    }
}

TEST_F(ProcessorCaps, DescriptorLeafIsAskedAsOftenAsItsFirstAnswerSays) {
    struct Case {
        std::vector<ProcessorLeaf> answers;
        int calls;
        unsigned tlbCode, l2, l3;
    };
    Case const cases[] = {
        // The count byte is no descriptor, in any answer; later bytes win.
        {{bytes({2, 0x42}), bytes({2, 0x45, 0, 0, 0x29})}, 2, 0, 0x200000, 0x400000},
        {{bytes({3}), bytes({1, 1}), bytes({0, 0x41})}, 3, 0x1000, 0x20000, 0},
        {{bytes({0, 0x43})}, 1, 0, 0x80000, 0}, // a count of 0 still reads once
        // 0x40 clears an L3 when there is an L2, wherever it stands; without one it does not.
        {{bytes({1, 0x43, 0x40, 0x29})}, 1, 0, 0x80000, 0},
        {{bytes({1, 0x40, 0x29, 0x43})}, 1, 0, 0x80000, 0},
        {{bytes({1, 0x40, 0x29})}, 1, 0, 0, 0x400000},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.answers[0].eax);
        Recording r{{Intel, 2, sig(15, 0), 0, 0, c.answers, 0, 0, nullptr, 0, 0, 0}};
        r.identify();
        EXPECT_EQ(c.calls, r.asked[2]);
        EXPECT_EQ(c.tlbCode, Sys->getTLBCodeCacheSize());
        EXPECT_EQ(c.l2, Sys->getL2CacheSize());
        EXPECT_EQ(c.l3, Sys->getL3CacheSize());
    }
}

TEST_F(ProcessorCaps, VendorsOwnCacheLeaves) {
    struct Case {
        char const* name;
        Machine machine;
        unsigned l1Code, l1Data, l2, tlb;
        int leaf2Calls;
    };
    std::vector<ProcessorLeaf> const l2Only{bytes({1, 0x43})};
    // L1 data from ecx's top byte, code from edx's; L2 from ecx's top half (AMD) or top byte.
    std::uint32_t const l1c = 0x10000000, l1d = 0x20000000, l2c = 0x01004020;
    // clang-format off
    Case const cases[] = {
        {"Cyrix, both marks",
         {Cyrix, 2, sig(5, 2), 0, 0, {{0x7001, 0, 0, 0x80}}, 0, 0, nullptr, 0, 0, 0},
         0x2000, 0x2000, 0, 0x1000, 1},
        {"Cyrix, no marks",
         {Cyrix, 2, sig(5, 2), 0, 0, {{0x7101, 0, 0, 0x81}}, 0, 0, nullptr, 0, 0, 0},
         0, 0, 0, 0, 1},
        {"Cyrix, one leaf", {Cyrix, 1, sig(5, 2), 0, 0, {}, 0, 0, nullptr, 0, 0, 0},
         0x2000, 0x2000, 0, 0x1000, 0},
        {"AMD", {AMD, 2, sig(6, 4), 0, 0, l2Only, 0x80000006, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0x40000, 0, 0},
        {"AMD 0x630", {AMD, 1, 0x630, 0, 0, {}, 0x80000006, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0x10000, 0, 0},
        {"AMD 0x631", {AMD, 1, 0x631, 0, 0, {}, 0x80000006, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0x40000, 0, 0},
        {"AMD 0x630 without 0x80000006",
         {AMD, 1, 0x630, 0, 0, {}, 0x80000005, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0, 0, 0},
        {"Centaur family 6",
         {Centaur, 2, sig(6, 6), 0, 0, l2Only, 0x80000006, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0x400, 0, 0},
        {"Centaur family 5",
         {Centaur, 2, sig(5, 4), 0, 0, l2Only, 0x80000006, 0, nullptr, l1c, l1d, l2c},
         0x8000, 0x4000, 0x80000, 0, 1},
        {"Intel, one leaf, no MMX", {Intel, 1, sig(15, 0), 0, 0, {}, 0, 0, nullptr, 0, 0, 0},
         0x2000, 0x2000, 0, 0, 0},
        {"NexGen", {NexGen, 2, sig(5, 0), 0, 0, {bytes({1, 0x08, 0x0A})}, 0, 0, nullptr, 0, 0, 0},
         0x4000, 0x2000, 0, 0, 1},
        {"someone else", {"Someone else", 3, sig(5, 0), 0, 0, l2Only, 0, 0, nullptr, 0, 0, 0},
         0, 0, 0x80000, 0, 1},
    };
    // clang-format on
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        Recording r{c.machine};
        r.identify();
        EXPECT_EQ(c.l1Code, Sys->getL1CodeCacheSize());
        EXPECT_EQ(c.l1Data, Sys->getL1DataCacheSize());
        EXPECT_EQ(c.l2, Sys->getL2CacheSize());
        EXPECT_EQ(c.tlb, Sys->getTLBCodeCacheSize());
        EXPECT_EQ(c.tlb, Sys->getTLBDataCacheSize());
        EXPECT_EQ(c.leaf2Calls, r.asked[2]);
    }
}

} // namespace
