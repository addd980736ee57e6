// What the script tests share: scripts held in memory in place of the file manager, the
// message of a failure, and a script's tree as text.
#pragma once

#include "klmfc/file/file.h"
#include "klmfc/script/script.h"
#include "script/script_internal.h"

#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <string>

namespace klmfc::test {

// Files by full name ("\\main.txt"), read by the loader instead of the file manager while the
// object lives.
class MemoryScripts final : public klmfc::script::Source {
public:
    MemoryScripts() : m_before(klmfc::script::setSource(this)) {}
    ~MemoryScripts() { klmfc::script::setSource(m_before); }
    MemoryScripts(MemoryScripts const&) = delete;
    MemoryScripts& operator=(MemoryScripts const&) = delete;

    MemoryScripts& add(std::string const& name, std::string const& text) {
        m_files["\\" + name] = text;
        return *this;
    }

    unsigned size(char const* fullName) override {
        auto const found = m_files.find(fullName);
        if (found == m_files.end()) {
            K_Raise<K_FileException_FileNotFound>(fullName);
        }
        return static_cast<unsigned>(found->second.size());
    }
    char* load(char const* fullName, unsigned size) override {
        if (size == 0) {
            K_Raise<K_FileException_FileCorrupted>(fullName);
        }
        char* const buffer = static_cast<char*>(K_CountedAllocate(size));
        std::memcpy(buffer, m_files.at(fullName).data(), size);
        return buffer;
    }
    void release(char* buffer) override { K_REALLOCATE_DELETE_implementation(buffer); }

private:
    klmfc::script::Source* m_before;
    std::map<std::string, std::string> m_files;
};

// The message of the exception of class E that `action` raises; "none" when nothing is
// raised, "other: ..." for another exception of the library.
template <class E, class F> std::string messageOf(F&& action) {
    try {
        action();
    } catch (E* e) {
        return e->getErrorMessage();
    } catch (K_Exception* e) {
        return std::string("other: ") + e->getErrorMessage();
    }
    return "none";
}

// The clean text of the file `name` among `scripts`, as the loader makes it for one load.
inline std::string preprocessed(char const* name) {
    klmfc::script::WorkspaceHold const hold;
    std::string const full = File->getFullPathName(name);
    unsigned size = 0;
    char* text = nullptr;
    try {
        text = K_ScriptLoader::preprocess(size, full.c_str());
    } catch (...) {
        klmfc::script::endLoad();
        throw;
    }
    klmfc::script::endLoad();
    std::string out(text, size - 1);
    EXPECT_EQ(0, text[size - 1]);
    K_REALLOCATE_DELETE_implementation(text);
    return out;
}

// The tree below the current block, one line per block ("  " per indent level beyond the
// current, then the name and the indent) and per statement ("left=right", or "left" alone).
inline std::string treeOf(K_Script& script, std::string const& margin = "") {
    std::string out = margin + script.getBlockName() + " " + std::to_string(script.getIndent());
    for (unsigned k = 0; k < script.countLvalues(); ++k) {
        out += std::string(" | ") + script.getLvalue(k);
        if (char const* right = script.getAssignment(k)) {
            out += std::string("=") + right;
        }
    }
    out += "\n";
    for (unsigned i = 0; i < script.count(); ++i) {
        script.lock(i);
        out += treeOf(script, margin + "  ");
        script.unlock();
    }
    return out;
}

} // namespace klmfc::test
