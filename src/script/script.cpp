// K_Script: loading under the script's directory, navigation, and the queries of the current
// block, its children and its statements.
#include "script/script_internal.h"

#include "klmfc/file/file.h"

#include <cstring>

using SCRIPTBLOCK = K_Script::SCRIPTBLOCK;

bool K_Script::sm_bIgnoreUnknownVariables = false;
char K_Script::sm_acNestingElement[64];
char K_Script::sm_acNesting[512];

namespace {

// Splits a name into its directory (drive and directory, with the separator behind) and its
// file name with extension. Both separators count.
void splitPath(char const* fileName, K_String& directory, K_String& baseName) {
    char const* base = fileName;
    for (char const* c = fileName; *c != 0; ++c) {
        if (*c == '\\' || *c == '/' || (c == fileName + 1 && *c == ':')) {
            base = c + 1;
        }
    }
    directory.assign(fileName, static_cast<std::size_t>(base - fileName));
    baseName.assign(base);
}

} // namespace

K_Script::K_Script(char const* fileName) : m_root(nullptr), m_current(nullptr) {
    K_String directory;
    K_String baseName;
    splitPath(fileName != nullptr ? fileName : "", directory, baseName);
    K_FileDirectoryChange const change(directory);
    // A loader that fails cleans up after itself; nothing is left to release here.
    m_root = new K_ScriptLoader(baseName.c_str());
    m_current = m_root;
}

K_Script::~K_Script() {
    delete m_root;
    m_root = nullptr;
    m_current = nullptr;
}

// ---- navigation -------------------------------------------------------------------------------

void K_Script::lock(unsigned index) {
    SCRIPTBLOCK* const child = getChild(index);
    if (child == nullptr) {
        K_Raise<K_ScriptException_BlockNotFound>(index, staticNesting());
    }
    m_current = child;
}

void K_Script::lock(char const* name, unsigned number) {
    SCRIPTBLOCK* const child = findNthBlock(name, number);
    if (child == nullptr) {
        K_Raise<K_ScriptException_NamedBlockNotFound>(number, name, staticNesting());
    }
    m_current = child;
}

bool K_Script::unlock() {
    if (m_current == nullptr || m_current->parent == nullptr) {
        return false;
    }
    m_current = m_current->parent;
    return true;
}

K_ScriptLock::K_ScriptLock(K_Script* script, unsigned index) : m_script(script) {
    script->lock(index);
}

K_ScriptLock::K_ScriptLock(K_Script* script, char const* name, unsigned number) : m_script(script) {
    script->lock(name, number);
}

K_ScriptLock::~K_ScriptLock() {
    m_script->unlock();
    m_script = nullptr;
}

// ---- the current block --------------------------------------------------------------------------

char const* K_Script::getBlockName() const {
    return m_current->name;
}

unsigned K_Script::getIndent() const {
    return m_current->indent;
}

char const* K_Script::getScriptName() const {
    SCRIPTBLOCK const* block = m_current;
    if (block == nullptr) {
        return nullptr;
    }
    while (block->parent != nullptr) {
        block = block->parent;
    }
    return block->name;
}

char const* K_Script::staticNesting() const {
    return klmfc::script::formatNesting(m_current, sm_acNestingElement, sm_acNesting);
}

bool K_Script::isParent() const {
    return m_current->children.getCount() != 0;
}

bool K_Script::isData() const {
    return m_current->lvalueCount != 0;
}

// ---- children -----------------------------------------------------------------------------------

SCRIPTBLOCK* K_Script::getChild(unsigned index) const {
    auto const& children = m_current->children;
    if (index >= static_cast<unsigned>(children.getCount())) {
        return nullptr;
    }
    return children.getAt(static_cast<int>(index));
}

SCRIPTBLOCK* K_Script::findNthBlock(char const* name, unsigned number) const {
    if (name == nullptr) {
        return nullptr;
    }
    auto const& children = m_current->children;
    for (SCRIPTBLOCK* child = children.getFirst(); child != nullptr;
         child = children.getNext(child)) {
        if (blkstrequal(child->name, name) && number-- == 0) {
            return child;
        }
    }
    return nullptr;
}

unsigned K_Script::count() const {
    return static_cast<unsigned>(m_current->children.getCount());
}

unsigned K_Script::count(char const* name) const {
    if (name == nullptr) {
        return 0;
    }
    unsigned n = 0;
    auto const& children = m_current->children;
    for (SCRIPTBLOCK* child = children.getFirst(); child != nullptr;
         child = children.getNext(child)) {
        if (blkstrequal(child->name, name)) {
            ++n;
        }
    }
    return n;
}

unsigned K_Script::getBlockIndex(char const* name, unsigned number) const {
    if (name != nullptr) {
        unsigned index = 0;
        unsigned left = number;
        auto const& children = m_current->children;
        for (SCRIPTBLOCK* child = children.getFirst(); child != nullptr;
             child = children.getNext(child), ++index) {
            if (blkstrequal(child->name, name) && left-- == 0) {
                return index;
            }
        }
    }
    K_Raise<K_ScriptException_NamedBlockNotFound>(number, name, staticNesting());
}

char const* K_Script::getBlockName(unsigned index) const {
    SCRIPTBLOCK const* const child = getChild(index);
    return child != nullptr ? child->name : nullptr;
}

bool K_Script::isParent(unsigned index) const {
    SCRIPTBLOCK const* const child = getChild(index);
    return child != nullptr && child->children.getCount() != 0;
}

bool K_Script::isParent(char const* name, unsigned number) const {
    SCRIPTBLOCK const* const child = findNthBlock(name, number);
    return child != nullptr && child->children.getCount() != 0;
}

bool K_Script::isData(unsigned index) const {
    SCRIPTBLOCK const* const child = getChild(index);
    return child != nullptr && child->lvalueCount != 0;
}

bool K_Script::isData(char const* name, unsigned number) const {
    SCRIPTBLOCK const* const child = findNthBlock(name, number);
    return child != nullptr && child->lvalueCount != 0;
}

// ---- statements
// -----------------------------------------------------------------------------------

unsigned K_Script::countLvalues() const {
    return m_current->lvalueCount;
}

unsigned K_Script::countLvalues(char const* name) const {
    if (name == nullptr) {
        return 0;
    }
    unsigned n = 0;
    for (unsigned k = 0; k < m_current->lvalueCount; ++k) {
        if (lwrstrequal(m_current->lvalues[k], name)) {
            ++n;
        }
    }
    return n;
}

char const* K_Script::getLvalue(unsigned index) const {
    return index < m_current->lvalueCount ? m_current->lvalues[index] : nullptr;
}

char const* K_Script::getAssignment(unsigned index) const {
    return index < m_current->lvalueCount ? m_current->assignments[index] : nullptr;
}

char const* K_Script::getAssignment(char const* name, unsigned number) const {
    if (name == nullptr) {
        return nullptr;
    }
    for (unsigned k = m_current->lvalueCount; k-- > 0;) {
        if (lwrstrequal(m_current->lvalues[k], name) && number-- == 0) {
            return m_current->assignments[k];
        }
    }
    return nullptr;
}

void K_Script::setIgnoreUnknownVariables(bool ignore) {
    sm_bIgnoreUnknownVariables = ignore;
}

bool K_Script::getIgnoreUnknownVariables() {
    return sm_bIgnoreUnknownVariables;
}

// ---- comparisons and character classes --------------------------------------------------------

bool K_Script::lwrstrequal(char const* a, char const* b) const {
    if (a == nullptr || b == nullptr) {
        return false;
    }
    for (; *a != 0 && *b != 0; ++a, ++b) {
        if (*a != klmfc::script::lower(*b)) {
            return false;
        }
    }
    return *a == 0 && *b == 0;
}

bool K_Script::blkstrequal(char const* a, char const* b) const {
    if (a == nullptr || b == nullptr) {
        return false;
    }
    std::size_t length = std::strlen(b);
    if (length >= 2 && b[0] == '[' && b[length - 1] == ']') {
        ++b;
        length -= 2;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (a[i] == 0 || a[i] != klmfc::script::lower(b[i])) {
            return false;
        }
    }
    return a[length] == 0;
}

bool K_Script::isNumber(char c) const {
    return c == '-' || c == '+' || (c >= '0' && c <= '9');
}

bool K_Script::isText(char c) const {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool K_Script::isFloat(char c) const {
    return c == '-' || c == '+' || (c >= '0' && c <= '9') || c == '.' || c == 'e' || c == 'E';
}

bool K_Script::isHex(char c) const {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f');
}
