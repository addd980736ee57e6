// Processor identification as a decision table over the answers of the identification
// instruction. The answers come from the machine, or for a test from a recording.
#pragma once

#include "platform/processor.h"

#include <cstdint>

namespace klmfc {

// What identification asks. `context` is handed back to every question.
struct ProcessorQuestions {
    void* context;
    // Does the processor have the identification instruction at all?
    bool (*hasIdentification)(void* context);
    // The registers of one leaf. Leaf 2 may be asked several times in a row.
    platform::ProcessorLeaf (*leaf)(void* context, std::uint32_t leaf);
    // The operating system's version, for the test of the SSE registers.
    platform::SystemVersion (*systemVersion)(void* context);
    // Runs one SSE instruction; asked only when the system test has passed.
    void (*wideRegisterProbe)(void* context);
};

// The questions put to the machine the library runs on.
ProcessorQuestions machineProcessorQuestions();

// What identification finds out.
struct ProcessorIdentity {
    unsigned int caps;
    int vendor;
    int type;
    char model[256];
    unsigned int tlbCode;
    unsigned int tlbData;
    unsigned int l1Code;
    unsigned int l1Data;
    unsigned int l2;
    unsigned int l3;
    unsigned int l1Trace;
};

void identifyProcessor(ProcessorQuestions const& questions, ProcessorIdentity* identity);

// The operating system test of the SSE bits.
bool systemKeepsWideRegisters(platform::SystemVersion const& version);

} // namespace klmfc
