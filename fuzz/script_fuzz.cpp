// Fuzzes the script loader and the reading of what it builds. The input is cut at each byte
// 0x01 into the files main.txt, 1.txt, 2.txt and on, held in memory. Every script either
// loads, and is then walked, parsed and checked, or fails with a script exception, or with a
// file exception for a name that is not there. Anything else ends the run.
#include "klmfc/core/system.h"
#include "klmfc/file/file.h"
#include "klmfc/script/script.h"
#include "script/script_internal.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

static K_KovmarInit s_kovmarInit;

namespace {

class Files final : public klmfc::script::Source {
public:
    unsigned size(char const* fullName) override {
        auto const found = files.find(fullName);
        if (found == files.end()) {
            K_Raise<K_FileException_FileNotFound>(fullName);
        }
        return static_cast<unsigned>(found->second.size());
    }
    char* load(char const* fullName, unsigned size) override {
        if (size == 0) {
            K_Raise<K_FileException_FileCorrupted>(fullName);
        }
        char* const buffer = static_cast<char*>(K_CountedAllocate(size));
        std::memcpy(buffer, files.at(fullName).data(), size);
        return buffer;
    }
    void release(char* buffer) override { K_REALLOCATE_DELETE_implementation(buffer); }

    std::map<std::string, std::string> files;
};

// Reads the current block: its statements by a table of all formats, its children by a
// table.
void visit(K_Script& script) {
    static int const pairSizes[] = {16, 4, 0};
    static K_Script::Format const pair = {"%s,%d", pairSizes};
    char text[1 << 16];
    char pairBuffer[64];
    int integer = 0;
    unsigned number = 0;
    float floats[3] = {};
    char c = 0;
    K_Script::Variables const table[] = {
        {"i", &integer, "1", &K_Script::t_int},      {"u", &number, nullptr, &K_Script::t_unsigned},
        {"h", &number, "ff", &K_Script::t_hex},      {"f", floats, "2%", &K_Script::t_float},
        {"v", floats, nullptr, &K_Script::t_float3}, {"c", &c, "x", &K_Script::t_char},
        {"s", text, "", &K_Script::t_string},        {"p", pairBuffer, nullptr, &pair},
        {nullptr, nullptr, nullptr, nullptr}};
    K_Script::Blocks const blocks[] = {{"a", 0, 1}, {"[b]", 1, 2}, {nullptr, 0, 0}};
    script.staticNesting();
    for (unsigned k = 0; k < script.countLvalues(); ++k) {
        script.getAssignment(script.getLvalue(k), 0);
    }
    for (bool ignore : {false, true}) {
        K_Script::setIgnoreUnknownVariables(ignore);
        try {
            // A right side longer than the text buffer is the host's fault, not ours.
            bool fits = true;
            for (unsigned k = 0; k < script.countLvalues(); ++k) {
                char const* right = script.getAssignment(k);
                fits = fits && (right == nullptr || std::strlen(right) < 16);
            }
            if (fits) {
                script.parse(table, ignore);
            }
        } catch (K_ScriptException*) {
        }
    }
    K_Script::setIgnoreUnknownVariables(false);
    try {
        script.blockCheck(blocks, script.getIndent() % 2 == 0);
    } catch (K_ScriptException*) {
    }
}

// Every block, depth first, without recursion.
void walk(K_Script& script) {
    visit(script);
    std::vector<unsigned> next{0};
    while (!next.empty()) {
        unsigned& i = next.back();
        if (i < script.count()) {
            script.lock(i++);
            visit(script);
            next.push_back(0);
        } else {
            next.pop_back();
            script.unlock();
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Files files;
    std::string const input(reinterpret_cast<char const*>(data), size);
    std::size_t start = 0;
    for (int n = 0; start <= input.size(); ++n) {
        std::size_t end = input.find('\x01', start);
        if (end == std::string::npos) {
            end = input.size();
        }
        files.files[n == 0 ? "\\main.txt" : "\\" + std::to_string(n) + ".txt"] =
            input.substr(start, end - start);
        start = end + 1;
    }
    klmfc::script::Source* const before = klmfc::script::setSource(&files);
    try {
        K_Script script("main.txt");
        walk(script);
    } catch (K_ScriptException*) {
    } catch (K_FileException*) {
    }
    klmfc::script::setSource(before);
    if (K_ScriptLoader::sm_useCount != 0) {
        std::abort();
    }
    return 0;
}
