// The loader's shared working objects, their lifetime, and where the loader reads files.
#include "script/script_internal.h"

#include "klmfc/file/file.h"

#include <cstring>

namespace klmfc::script {

// ---- node store -----------------------------------------------------------------------------

NodeStore::~NodeStore() {
    purge();
}

void* NodeStore::take(std::size_t bytes) {
    if (m_free != nullptr && bytes == m_bytes) {
        FreeNode* node = m_free;
        m_free = node->next;
        return node;
    }
    return K_CountedAllocate(bytes < sizeof(FreeNode) ? sizeof(FreeNode) : bytes);
}

void NodeStore::give(void* node, std::size_t bytes) {
    if (m_free == nullptr) {
        m_bytes = bytes;
    }
    if (bytes != m_bytes || bytes < sizeof(FreeNode)) {
        K_REALLOCATE_DELETE_implementation(node);
        return;
    }
    FreeNode* free = static_cast<FreeNode*>(node);
    free->next = m_free;
    m_free = free;
}

void NodeStore::purge() {
    while (m_free != nullptr) {
        FreeNode* next = m_free->next;
        K_REALLOCATE_DELETE_implementation(m_free);
        m_free = next;
    }
}

int NoCaseLess::compare(char const* a, char const* b) {
    for (;; ++a, ++b) {
        unsigned char const x = static_cast<unsigned char>(lower(*a));
        unsigned char const y = static_cast<unsigned char>(lower(*b));
        if (x != y || x == 0) {
            return x < y ? -1 : x > y ? 1 : 0;
        }
    }
}

// ---- the working objects --------------------------------------------------------------------

namespace {
Workspace s_workspace;
bool s_live = false;
} // namespace

Workspace* workspace() {
    return s_live ? &s_workspace : nullptr;
}

void acquireWorkspace() {
    if (K_ScriptLoader::sm_useCount++ != 0) {
        return;
    }
    Workspace& w = s_workspace;
    w.parseBuffer.emplace();
    w.includedFiles.emplace(std::less<K_String>(), RecyclingAllocator<K_String>(&w.includedNodes));
    w.defines.emplace(NoCaseLess(), Defines::allocator_type(&w.defineNodes));
    w.includePool.emplace();
    w.definePool.emplace();
    w.bracketPool.emplace();
    w.scriptPath.emplace();
    w.word.emplace();
    w.defineName.emplace();
    w.defineValue.emplace();
    w.includeName.emplace();
    w.lineBuffer.emplace();
    w.includePath.emplace();
    std::memset(w.defineShapes, 0, sizeof w.defineShapes);
    s_live = true;
}

void releaseWorkspace() {
    if (K_ScriptLoader::sm_useCount == 0 || --K_ScriptLoader::sm_useCount != 0) {
        return;
    }
    s_live = false;
    Workspace& w = s_workspace;
    w.parseBuffer.reset();
    w.includedFiles.reset();
    w.includedNodes.purge();
    w.defines.reset();
    w.defineNodes.purge();
    w.includePool.reset();
    w.definePool.reset();
    w.bracketPool.reset();
    w.scriptPath.reset();
    w.word.reset();
    w.defineName.reset();
    w.defineValue.reset();
    w.includeName.reset();
    w.lineBuffer.reset();
    w.includePath.reset();
}

void endLoad() {
    if (Workspace* w = workspace()) {
        w->includedFiles->clear();
        w->defines->clear();
        std::memset(w->defineShapes, 0, sizeof w->defineShapes);
    }
}

// ---- sources --------------------------------------------------------------------------------

namespace {

// The file manager, with the loader's memory label.
class FileSource final : public Source {
public:
    unsigned size(char const* fullName) override { return File->size(fullName); }
    char* load(char const* fullName, unsigned size) override {
        return File->load("KL ScriptLoader", fullName, size);
    }
    void release(char* buffer) override { K_File::free(buffer); }
};

FileSource s_fileSource;
Source* s_source = nullptr;

} // namespace

Source* setSource(Source* replacement) {
    Source* const before = s_source;
    s_source = replacement;
    return before;
}

Source& source() {
    return s_source != nullptr ? *s_source : s_fileSource;
}

} // namespace klmfc::script

unsigned K_ScriptLoader::sm_useCount = 0;
