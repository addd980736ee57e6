// Processor identification: vendor, capability bits, type, model text and caches, by
// the answers of the identification instruction.
#include "core/processor_id.h"
#include "klmfc/core/system.h"

#include <cstring>
#include <initializer_list>

namespace klmfc {

namespace {

constexpr unsigned int kMMX = K_System::CAPS_MMX;
constexpr unsigned int k3DNow = K_System::CAPS_3DNOW;
constexpr unsigned int kFCMov = K_System::CAPS_FCMOV;
constexpr unsigned int k3DNowExt = K_System::CAPS_3DNOW_EXT;
constexpr unsigned int kTSC = K_System::CAPS_TSC;
constexpr unsigned int kSSE = K_System::CAPS_SSE;
constexpr unsigned int kSSE2 = K_System::CAPS_SSE2;

enum Vendor : int {
    Unknown = K_System::VENDOR_UNKNOWN,
    Intel = K_System::VENDOR_INTEL,
    UMC = K_System::VENDOR_UMC,
    AMD = K_System::VENDOR_AMD,
    Cyrix = K_System::VENDOR_CYRIX,
    NexGen = K_System::VENDOR_NEXGEN,
    Centaur = K_System::VENDOR_CENTAUR,
};

struct VendorRow {
    char const* id; // the twelve characters of ebx, edx, ecx
    int vendor;
    char const* model;
};

VendorRow const kVendors[] = {
    {"GenuineIntel", Intel, "Intel unknown"},   {"UMC UMC UMC ", UMC, "UMC unknown"},
    {"AuthenticAMD", AMD, "AMD unknown"},       {"CyrixInstead", Cyrix, "Cyrix unknown"},
    {"NexGenDriven", NexGen, "NexGen unknown"}, {"CentaurHauls", Centaur, "Centaur unknown"},
};

// A further test of a row of the type table.
enum class Test { None, Stepping, BrandIndex, OtherBrandIndex, With3DNow, Without3DNow };

struct TypeRow {
    int vendor;
    unsigned int family;
    unsigned int models; // bit n stands for model n; 0xFFFF for any
    Test test;
    unsigned int low, high; // the stepping range, or the brand index
    int type;
    char const* model; // null: the text stays
};

constexpr unsigned int models(std::initializer_list<unsigned int> list) {
    unsigned int bits = 0;
    for (unsigned int model : list) {
        bits |= 1u << model;
    }
    return bits;
}
constexpr unsigned int kAnyModel = 0xFFFF;

// In the order in which the rows are tried.
TypeRow const kTypes[] = {
    {Intel, 4, models({0}), Test::None, 0, 0, 0, "Intel 486DX-25/33"},
    {Intel, 4, models({1}), Test::None, 0, 0, 0, "Intel 486DX-50"},
    {Intel, 4, models({2}), Test::None, 0, 0, 0, "Intel 486SX"},
    {Intel, 4, models({3}), Test::None, 0, 0, 0, "Intel 486DX2"},
    {Intel, 4, models({4}), Test::None, 0, 0, 0, "Intel 486SL"},
    {Intel, 4, models({5}), Test::None, 0, 0, 0, "Intel 486SX2"},
    {Intel, 4, models({7}), Test::None, 0, 0, 0, "Intel 486DX2WB"},
    {Intel, 4, models({8}), Test::None, 0, 0, 0, "Intel 486DX4"},
    {Intel, 4, models({9}), Test::None, 0, 0, 0, "Intel 486DX4WB"},
    {UMC, 4, models({1, 2}), Test::None, 0, 0, 0, "UMC 486"},
    {AMD, 4, models({3}), Test::None, 0, 0, 0, "AMD 486DX2"},
    {AMD, 4, models({7}), Test::None, 0, 0, 0, "AMD 486DX2WB"},
    {AMD, 4, models({8}), Test::None, 0, 0, 0, "AMD 486DX4"},
    {AMD, 4, models({9}), Test::None, 0, 0, 0, "AMD 486DX4WB"},
    {AMD, 4, models({14}), Test::None, 0, 0, 0, "AMD 486/5x86"},
    {AMD, 4, models({15}), Test::None, 0, 0, 0, "AMD 486/5x86WB"},
    {Cyrix, 4, models({9}), Test::None, 0, 0, 21, "Cyrix 5x86"},
    {Cyrix, 4, models({4}), Test::None, 0, 0, 24, "Cyrix MediaGX"},
    {Intel, 5, models({0, 1, 2, 3, 4, 7, 8}), Test::None, 0, 0, 25, "Intel Pentium"},
    {NexGen, 5, models({0}), Test::None, 0, 0, 28, "NexGen Nx586"},
    {Cyrix, 5, models({2}), Test::None, 0, 0, 22, "Cyrix 6x86"},
    {Cyrix, 5, models({4}), Test::None, 0, 0, 24, "Cyrix MediaGX"},
    {Cyrix, 6, models({0}), Test::None, 0, 0, 23, "Cyrix 6x86MX"},
    {AMD, 5, models({0, 1, 2, 3}), Test::None, 0, 0, 19, "AMD K5"},
    {AMD, 5, models({6, 7}), Test::None, 0, 0, 6, "AMD K6"},
    {AMD, 5, models({8}), Test::None, 0, 0, 7, nullptr},
    {AMD, 5, models({9}), Test::None, 0, 0, 9, nullptr},
    {AMD, 5, models({12}), Test::Stepping, 8, 11, 7, nullptr},
    {AMD, 5, models({13}), Test::Stepping, 0, 3, 8, nullptr},
    {AMD, 5, models({13}), Test::Stepping, 4, 7, 9, nullptr},
    {AMD, 6, models({0, 1, 2, 4, 5}), Test::None, 0, 0, 10, nullptr},
    {AMD, 6, models({3}), Test::None, 0, 0, 11, nullptr},
    {AMD, 6, models({6}), Test::None, 0, 0, 20, nullptr},
    {Centaur, 5, models({4}), Test::None, 0, 0, 13, "IDT WinChip C6"},
    {Centaur, 5, models({8}), Test::With3DNow, 0, 0, 15, "IDT WinChip 2-3D"},
    {Centaur, 5, models({8}), Test::Without3DNow, 0, 0, 14, "IDT WinChip 2"},
    {Centaur, 6, models({6}), Test::None, 0, 0, 16, nullptr},
    {Centaur, 6, models({7}), Test::Stepping, 0, 7, 17, nullptr},
    {Centaur, 6, models({7}), Test::Stepping, 8, 15, 18, nullptr},
    {Intel, 6, models({0, 1}), Test::None, 0, 0, 26, "Intel Pentium Pro"},
    {Intel, 6, models({3, 5}), Test::None, 0, 0, 2, "Intel Pentium II"},
    {Intel, 6, models({6}), Test::None, 0, 0, 27, "Intel Celeron A"},
    {Intel, 6, models({7}), Test::None, 0, 0, 4, "Intel Pentium III"},
    {Intel, 6, models({8}), Test::BrandIndex, 1, 1, 1, "Intel Celeron"},
    {Intel, 6, models({8}), Test::BrandIndex, 3, 3, 5, "Intel Pentium III Xeon"},
    {Intel, 6, models({8}), Test::OtherBrandIndex, 0, 0, 4, "Intel Pentium III"},
    {Intel, 15, kAnyModel, Test::None, 0, 0, 12, "Intel Pentium 4"},
};

enum class Field { None, TLBCode, TLBData, L1Code, L1Data, L1Both, L2, L3, L1Trace };

struct Descriptor {
    unsigned char code;
    Field field;
    unsigned int size;
};

// Descriptor 0x40 (no cache of a further level) is handled on its own.
Descriptor const kDescriptors[] = {
    {0x01, Field::TLBCode, 0x1000}, {0x02, Field::TLBCode, 0x400000},
    {0x03, Field::TLBData, 0x1000}, {0x04, Field::TLBData, 0x400000},
    {0x06, Field::L1Code, 0x2000},  {0x08, Field::L1Code, 0x4000},
    {0x0A, Field::L1Data, 0x2000},  {0x0C, Field::L1Data, 0x4000},
    {0x22, Field::L3, 0x80000},     {0x23, Field::L3, 0x100000},
    {0x25, Field::L3, 0x200000},    {0x29, Field::L3, 0x400000},
    {0x41, Field::L2, 0x20000},     {0x42, Field::L2, 0x40000},
    {0x43, Field::L2, 0x80000},     {0x44, Field::L2, 0x100000},
    {0x45, Field::L2, 0x200000},    {0x46, Field::L2, 0x400000},
    {0x50, Field::TLBCode, 0x40},   {0x51, Field::TLBCode, 0x80},
    {0x52, Field::TLBCode, 0x100},  {0x5B, Field::TLBData, 0x40},
    {0x5C, Field::TLBData, 0x80},   {0x5D, Field::TLBData, 0x100},
    {0x66, Field::L1Data, 0x2000},  {0x67, Field::L1Data, 0x4000},
    {0x68, Field::L1Data, 0x8000},  {0x70, Field::L1Trace, 0x3000},
    {0x71, Field::L1Trace, 0x4000}, {0x72, Field::L1Trace, 0x8000},
    {0x79, Field::L2, 0x20000},     {0x7A, Field::L2, 0x40000},
    {0x7B, Field::L2, 0x80000},     {0x7C, Field::L2, 0x100000},
    {0x80, Field::L1Both, 0x4000},  {0x81, Field::L2, 0x20000},
    {0x82, Field::L2, 0x40000},     {0x83, Field::L2, 0x80000},
    {0x84, Field::L2, 0x100000},    {0x85, Field::L2, 0x200000},
};
constexpr unsigned char kNoFurtherLevel = 0x40;

bool bit(std::uint32_t value, int n) {
    return ((value >> n) & 1u) != 0;
}

void setModel(ProcessorIdentity* identity, char const* text) {
    std::strncpy(identity->model, text, sizeof identity->model - 1);
    identity->model[sizeof identity->model - 1] = 0;
}

// Applies one descriptor byte; true when it was the "no further level" mark.
bool applyDescriptor(unsigned char code, ProcessorIdentity* identity) {
    if (code == kNoFurtherLevel) {
        return true;
    }
    for (Descriptor const& descriptor : kDescriptors) {
        if (descriptor.code != code) {
            continue;
        }
        switch (descriptor.field) {
        case Field::TLBCode:
            identity->tlbCode = descriptor.size;
            break;
        case Field::TLBData:
            identity->tlbData = descriptor.size;
            break;
        case Field::L1Code:
            identity->l1Code = descriptor.size;
            break;
        case Field::L1Data:
            identity->l1Data = descriptor.size;
            break;
        case Field::L1Both:
            identity->l1Code = descriptor.size;
            identity->l1Data = descriptor.size;
            break;
        case Field::L2:
            identity->l2 = descriptor.size;
            break;
        case Field::L3:
            identity->l3 = descriptor.size;
            break;
        case Field::L1Trace:
            identity->l1Trace = descriptor.size;
            break;
        case Field::None:
            break;
        }
        break;
    }
    return false;
}

// The descriptor leaf: its first answer says in its lowest byte how many answers there
// are in all; that byte is no descriptor.
void readDescriptors(ProcessorQuestions const& questions, ProcessorIdentity* identity) {
    bool noFurtherLevel = false;
    unsigned int calls = 0;
    unsigned int needed = 0;
    do {
        platform::ProcessorLeaf answer = questions.leaf(questions.context, 2);
        if (calls == 0) {
            needed = answer.eax & 0xFF;
        }
        ++calls;
        answer.eax &= ~0xFFu;
        std::uint32_t const registers[4] = {answer.eax, answer.ebx, answer.ecx, answer.edx};
        for (std::uint32_t value : registers) {
            for (int shift = 0; shift < 32; shift += 8) {
                if (applyDescriptor(static_cast<unsigned char>(value >> shift), identity)) {
                    noFurtherLevel = true;
                }
            }
        }
    } while (calls < needed);
    if (noFurtherLevel && identity->l2 != 0) {
        identity->l3 = 0;
    }
}

bool typeRowMatches(TypeRow const& row, int vendor, unsigned int family, unsigned int model,
                    unsigned int stepping, unsigned int brandIndex, unsigned int caps) {
    if (row.vendor != vendor || row.family != family || (row.models & (1u << model)) == 0) {
        return false;
    }
    switch (row.test) {
    case Test::None:
        return true;
    case Test::Stepping:
        return stepping >= row.low && stepping <= row.high;
    case Test::BrandIndex:
        return brandIndex == row.low;
    case Test::OtherBrandIndex:
        return brandIndex != 1 && brandIndex != 3;
    case Test::With3DNow:
        return (caps & k3DNow) != 0;
    case Test::Without3DNow:
        return (caps & k3DNow) == 0;
    }
    return false;
}

} // namespace

bool systemKeepsWideRegisters(platform::SystemVersion const& version) {
    return (version.platform == 1 && version.major > 4) ||
           (version.major == 4 && version.minor > 0) ||
           (version.platform == 2 && version.major > 4);
}

void identifyProcessor(ProcessorQuestions const& questions, ProcessorIdentity* identity) {
    *identity = ProcessorIdentity{};
    setModel(identity, "Unknown");
    if (!questions.hasIdentification(questions.context)) {
        return;
    }

    platform::ProcessorLeaf const leaf0 = questions.leaf(questions.context, 0);
    unsigned int const maxLeaf = leaf0.eax & 0x0F;
    char id[13];
    std::memcpy(id, &leaf0.ebx, 4);
    std::memcpy(id + 4, &leaf0.edx, 4);
    std::memcpy(id + 8, &leaf0.ecx, 4);
    id[12] = 0;
    if (maxLeaf == 0) {
        return;
    }

    platform::ProcessorLeaf const leaf1 = questions.leaf(questions.context, 1);
    unsigned int const stepping = leaf1.eax & 0x0F;
    unsigned int const model = (leaf1.eax >> 4) & 0x0F;
    unsigned int const family = (leaf1.eax >> 8) & 0x0F;
    std::uint32_t const features = leaf1.edx;
    unsigned int const brandIndex = leaf1.ebx & 0xFF;

    int vendor = Unknown;
    for (VendorRow const& row : kVendors) {
        if (std::memcmp(id, row.id, 12) == 0) {
            vendor = row.vendor;
            setModel(identity, row.model);
            break;
        }
    }
    identity->vendor = vendor;

    std::uint32_t const maxExtended = questions.leaf(questions.context, 0x80000000u).eax;
    std::uint32_t extended = 0;
    if (maxExtended >= 0x80000001u) {
        extended = questions.leaf(questions.context, 0x80000001u).edx;
    }

    unsigned int caps = 0;
    if (bit(features, 23)) {
        caps |= kMMX;
    }
    if ((vendor == AMD || vendor == Cyrix || vendor == Centaur) && bit(extended, 31)) {
        caps |= k3DNow;
    }
    if (((vendor == Intel || vendor == AMD) && bit(features, 16)) ||
        (vendor == Cyrix && bit(features, 15))) {
        caps |= kFCMov;
    }
    if (vendor == AMD && bit(extended, 22) && bit(extended, 30)) {
        caps |= k3DNowExt;
    }
    if (bit(features, 4)) {
        caps |= kTSC;
    }
    if (bit(features, 25) || bit(features, 26)) {
        if (systemKeepsWideRegisters(questions.systemVersion(questions.context))) {
            questions.wideRegisterProbe(questions.context);
            caps |= kSSE;
            if (bit(features, 26)) {
                caps |= kSSE2;
            }
        }
    }
    identity->caps = caps;

    for (TypeRow const& row : kTypes) {
        if (typeRowMatches(row, vendor, family, model, stepping, brandIndex, caps)) {
            identity->type = row.type;
            if (row.model != nullptr) {
                setModel(identity, row.model);
            }
        }
    }

    if ((vendor == AMD || vendor == Centaur || vendor == Cyrix || vendor == Intel) &&
        maxExtended >= 0x80000004u) {
        char brand[49];
        for (std::uint32_t n = 0; n < 3; ++n) {
            platform::ProcessorLeaf const part = questions.leaf(questions.context, 0x80000002u + n);
            std::uint32_t const registers[4] = {part.eax, part.ebx, part.ecx, part.edx};
            std::memcpy(brand + 16 * n, registers, 16);
        }
        brand[48] = 0;
        setModel(identity, brand);
    }

    if (vendor == Cyrix) {
        if (maxLeaf >= 2) {
            platform::ProcessorLeaf const answer = questions.leaf(questions.context, 2);
            if ((answer.eax & 0xFF00) == 0x7000) {
                identity->tlbCode = identity->tlbData = 0x1000;
            }
            if ((answer.edx & 0xFF) == 0x80) {
                identity->l1Code = identity->l1Data = 0x2000;
            }
        } else if (maxLeaf == 1) {
            identity->tlbCode = identity->tlbData = 0x1000;
            identity->l1Code = identity->l1Data = 0x2000;
        }
    }
    if ((vendor == AMD || vendor == Centaur) && maxExtended >= 0x80000005u) {
        platform::ProcessorLeaf const answer = questions.leaf(questions.context, 0x80000005u);
        identity->l1Data = (answer.ecx >> 24) * 1024;
        identity->l1Code = (answer.edx >> 24) * 1024;
    }
    if (vendor == AMD && maxExtended >= 0x80000006u) {
        if ((leaf1.eax & 0xFFFF) == 0x630) {
            identity->l2 = 64 * 1024;
        } else {
            identity->l2 = (questions.leaf(questions.context, 0x80000006u).ecx >> 16) * 1024;
        }
    }
    bool const centaurFamily6 = vendor == Centaur && family == 6;
    if (centaurFamily6 && maxExtended >= 0x80000006u) {
        identity->l2 = (questions.leaf(questions.context, 0x80000006u).ecx >> 24) * 1024;
    }
    if (vendor != AMD && vendor != Cyrix && !centaurFamily6 && maxLeaf >= 2) {
        readDescriptors(questions, identity);
    }

    if (maxLeaf == 1) {
        if (vendor != Intel) {
            return;
        }
        unsigned int const l1 = (caps & kMMX) != 0 ? 0x4000 : 0x2000;
        identity->l1Code = identity->l1Data = l1;
    }

    if (vendor == Intel && family == 6) {
        if (model == 5 && identity->l2 == 0) {
            identity->type = 1;
            setModel(identity, "Intel Celeron");
        } else if (model == 5 && identity->l2 >= 0x100000) {
            identity->type = 3;
            setModel(identity, "Intel Pentium II Xeon");
        } else if (model == 7 && identity->l2 >= 0x100000) {
            identity->type = 5;
            setModel(identity, "Intel Pentium III Xeon");
        }
    }
}

namespace {
bool machineHasIdentification(void*) {
    return platform::hasProcessorIdentification();
}
platform::ProcessorLeaf machineLeaf(void*, std::uint32_t leaf) {
    return platform::processorLeaf(leaf);
}
platform::SystemVersion machineSystemVersion(void*) {
    return platform::systemVersion();
}
void machineProbe(void*) {
    platform::wideRegisterProbe();
}
} // namespace

ProcessorQuestions machineProcessorQuestions() {
    return ProcessorQuestions{nullptr, &machineHasIdentification, &machineLeaf,
                              &machineSystemVersion, &machineProbe};
}

} // namespace klmfc

// ---- K_System ---------------------------------------------------------------------

void K_System::determineProcessorCaps() {
    determineProcessorCaps(klmfc::machineProcessorQuestions());
}

void K_System::determineProcessorCaps(klmfc::ProcessorQuestions const& questions) {
    klmfc::ProcessorIdentity identity;
    klmfc::identifyProcessor(questions, &identity);
    m_uiProcessorCaps = identity.caps;
    m_processorVendor = ProcessorVendor(identity.vendor);
    m_processorType = ProcessorType(identity.type);
    std::memcpy(m_acProcessorModel, identity.model, sizeof m_acProcessorModel);
    m_uiTLBCodeCacheSize = identity.tlbCode;
    m_uiTLBDataCacheSize = identity.tlbData;
    m_uiL1CodeCacheSize = identity.l1Code;
    m_uiL1DataCacheSize = identity.l1Data;
    m_uiL2CacheSize = identity.l2;
    m_uiL3CacheSize = identity.l3;
    m_uiL1TraceCacheSize = identity.l1Trace;
}
