// What the parts of the script code share: the character classes, the shared working objects
// of the loader with their lifetime, where the loader reads its files, and the block paths of
// the messages.
#pragma once

#include "klmfc/script/script.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace klmfc::script {

// ---- characters -------------------------------------------------------------------------
// LF, NUL, CR, VT, blank and TAB; a form feed is no whitespace.
inline bool isSpace(char c) {
    return c == 10 || c == 0 || c == 13 || c == 11 || c == 32 || c == 9;
}
inline bool isLineFeed(char c) {
    return c == 10;
}
// Case folding touches the 26 letters only, whatever the host's locale.
inline char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
}

// ---- where the files come from ------------------------------------------------------------
// The loader asks the file manager for the files of a script, unless another source has been
// put in its place: scripts held in memory, for one.
class Source {
public:
    // Bytes of the file with this full name; raises the file manager's failures.
    virtual unsigned size(char const* fullName) = 0;
    // The whole file in a new buffer of `size` bytes, not terminated, handed back by release.
    virtual char* load(char const* fullName, unsigned size) = 0;
    virtual void release(char* buffer) = 0;

protected:
    ~Source() = default;
};

// Puts `source` in place of the file manager, null for the file manager again; gives the
// source that was in place before (null: the file manager).
Source* setSource(Source* source);
Source& source();

// ---- the shared working objects -----------------------------------------------------------
using ByteVector = std::vector<char, K_Allocator<char>>;

// Nodes that the included names and the defines give back, kept for the next load.
class NodeStore {
public:
    NodeStore() = default;
    ~NodeStore();
    void* take(std::size_t bytes);
    void give(void* node, std::size_t bytes);
    // Releases the nodes kept.
    void purge();

private:
    NodeStore(NodeStore const&) = delete;
    NodeStore& operator=(NodeStore const&) = delete;

    struct FreeNode {
        FreeNode* next;
    };
    FreeNode* m_free = nullptr;
    std::size_t m_bytes = 0; // size of the nodes kept
};

template <class T> class RecyclingAllocator {
public:
    using value_type = T;
    explicit RecyclingAllocator(NodeStore* store) : m_store(store) {}
    template <class U>
    RecyclingAllocator(RecyclingAllocator<U> const& other) : m_store(other.m_store) {}

    T* allocate(std::size_t n) {
        if (n == 1) {
            return static_cast<T*>(m_store->take(sizeof(T)));
        }
        return K_Allocator<T>().allocate(n);
    }
    void deallocate(T* p, std::size_t n) {
        if (n == 1) {
            m_store->give(p, sizeof(T));
        } else {
            K_Allocator<T>().deallocate(p, n);
        }
    }
    template <class U> bool operator==(RecyclingAllocator<U> const& other) const {
        return m_store == other.m_store;
    }
    template <class U> bool operator!=(RecyclingAllocator<U> const& other) const {
        return m_store != other.m_store;
    }

    NodeStore* m_store;
};

// A define's name and value, each at most 127 characters.
struct DefineText {
    char text[128];
};

// Names of defines compare without regard to case.
struct NoCaseLess {
    using is_transparent = void;
    static int compare(char const* a, char const* b);
    bool operator()(DefineText const& a, DefineText const& b) const {
        return compare(a.text, b.text) < 0;
    }
    bool operator()(DefineText const& a, char const* b) const { return compare(a.text, b) < 0; }
    bool operator()(char const* a, DefineText const& b) const { return compare(a, b.text) < 0; }
};

using IncludedFiles = std::set<K_String, std::less<K_String>, RecyclingAllocator<K_String>>;
using Defines = std::map<DefineText, DefineText, NoCaseLess,
                         RecyclingAllocator<std::pair<DefineText const, DefineText>>>;

// Created with the first living script and destroyed with the last, in this order.
struct Workspace {
    std::optional<ByteVector> parseBuffer; // a default value during K_Script::parse
    NodeStore includedNodes;
    std::optional<IncludedFiles> includedFiles; // names included in this load
    NodeStore defineNodes;
    std::optional<Defines> defines; // the defines of this load
    std::optional<K_DLList<K_ScriptLoader::INCLUDEINSERT>> includePool;
    std::optional<K_DLList<K_ScriptLoader::DEFINEINSERT>> definePool;
    std::optional<K_DLList<K_ScriptLoader::BRACKETS>> bracketPool;
    std::optional<ByteVector> scriptPath;  // full name of the top file
    std::optional<K_String> word;          // the word looked up among the defines
    std::optional<K_String> defineName;    // the define being read
    std::optional<K_String> defineValue;   //
    std::optional<K_String> includeName;   // the name looked up among the included ones
    std::optional<ByteVector> lineBuffer;  // a define's line
    std::optional<ByteVector> includePath; // full name of the file being included
    // For each first byte (folded), the lengths of the define names of this load, one bit
    // each: a word of another first byte and length is no define and needs no lookup.
    std::uint64_t defineShapes[256][2];
};

// The working objects, or null while no script lives.
Workspace* workspace();
// One more holder; the first creates the objects.
void acquireWorkspace();
// One holder less; the last destroys the objects.
void releaseWorkspace();
// Forgets the includes and defines of a load.
void endLoad();

// Holds the working objects for a scope.
class WorkspaceHold {
public:
    WorkspaceHold() { acquireWorkspace(); }
    ~WorkspaceHold() { releaseWorkspace(); }
    WorkspaceHold(WorkspaceHold const&) = delete;
    WorkspaceHold& operator=(WorkspaceHold const&) = delete;
};

// ---- paths for messages -------------------------------------------------------------------
// "[block]/[parent]/.../[root]" of `block` in `path`. An element over 63 characters is cut,
// ending in "...]", and a path that would pass 511 characters ends in "/..." instead.
char const* formatNesting(K_Script::SCRIPTBLOCK const* block, char (&element)[64],
                          char (&path)[512]);

} // namespace klmfc::script
