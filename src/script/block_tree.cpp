// The loader as the root block: reading the script, cutting the clean text into blocks and
// statements, and freeing the tree.
#include "script/script_internal.h"

#include "klmfc/file/file.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <vector>

using klmfc::script::isSpace;
using SCRIPTBLOCK = K_Script::SCRIPTBLOCK;

char K_ScriptLoader::sm_acNestingElement[64];
char K_ScriptLoader::sm_acNesting[512];

namespace {

// The bytes that a scan for braces outside quotes looks at.
struct ByteSet {
    constexpr explicit ByteSet(char const* bytes) : of() {
        for (; *bytes != 0; ++bytes) {
            of[static_cast<unsigned char>(*bytes)] = true;
        }
    }
    bool of[256];
};
constexpr ByteSet kBraceBytes("\\\"{}");
constexpr ByteSet kDataBytes("\\\"[{}");

// Where each "{" of the text finds its "}". A brace inside quotes does not count, so the
// quote marks are followed from the start of the range: a backslash and a quote mark are a
// pair and no quote; any other quote mark opens or closes. Every scan of the tree stage
// starts at a byte outside such a pair, so this one pass tells each brace's state as any
// scan that reaches it would see it.
class BraceMatches {
public:
    BraceMatches(char const* text, unsigned start, unsigned end) {
        std::vector<unsigned, K_Allocator<unsigned>> open[2];
        unsigned quotes = 0;
        for (unsigned i = start; i < end; ++i) {
            char const c = text[i];
            if (!kBraceBytes.of[static_cast<unsigned char>(c)]) {
                continue;
            }
            if (c == '\\' && i + 1 < end && text[i + 1] == '"') {
                ++i;
            } else if (c == '"') {
                quotes ^= 1;
            } else if (c == '{') {
                open[quotes].push_back(static_cast<unsigned>(m_opening.size()));
                m_opening.push_back(i);
                m_closing.push_back(kNone);
            } else if (c == '}' && !open[quotes].empty()) {
                m_closing[open[quotes].back()] = i;
                open[quotes].pop_back();
            }
        }
    }

    // The "}" that closes the "{" at `position`, or kNone.
    unsigned closing(unsigned position) const {
        auto const found = std::lower_bound(m_opening.begin(), m_opening.end(), position);
        if (found == m_opening.end() || *found != position) {
            return kNone;
        }
        return m_closing[static_cast<std::size_t>(found - m_opening.begin())];
    }

    static constexpr unsigned kNone = 0xffffffffu;

private:
    std::vector<unsigned, K_Allocator<unsigned>> m_opening; // positions, ascending
    std::vector<unsigned, K_Allocator<unsigned>> m_closing;
};

// Step one of every block: its name copied, no statements, its place in the tree.
void setUpBlock(SCRIPTBLOCK* block, char const* name, unsigned nameLength, SCRIPTBLOCK* parent,
                unsigned indent) {
    block->lvalueCount = 0;
    block->lvalues = nullptr;
    block->assignments = nullptr;
    block->memory = nullptr;
    block->parent = parent;
    block->indent = indent;
    char* const copy = static_cast<char*>(K_CountedAllocate(std::size_t(nameLength) + 1));
    std::memcpy(copy, name, nameLength);
    copy[nameLength] = 0;
    block->name = copy;
}

} // namespace

// ---- the root ---------------------------------------------------------------------------------

void* K_ScriptLoader::operator new(std::size_t size) {
    return K_CountedAllocate(size);
}

void K_ScriptLoader::operator delete(void* block) {
    K_REALLOCATE_DELETE_implementation(block);
}

K_ScriptLoader::K_ScriptLoader(char const* fileName) {
    K_MemoryScope const scope("KL ScriptLoader");
    char const* const baseName = fileName != nullptr ? fileName : "";
    klmfc::script::acquireWorkspace();
    klmfc::script::Workspace& w = *klmfc::script::workspace();

    char* text = nullptr;
    unsigned size = 0;
    try {
        char const* const fullName = File->getFullPathName(baseName);
        w.scriptPath->assign(fullName, fullName + std::strlen(fullName) + 1);
        text = preprocess(size, w.scriptPath->data());
    } catch (...) {
        klmfc::script::endLoad();
        klmfc::script::releaseWorkspace();
        throw;
    }
    klmfc::script::endLoad();

    try {
        buildBlock(baseName, static_cast<unsigned>(std::strlen(baseName)), this, nullptr, 0, text,
                   0, size);
    } catch (...) {
        klmfc::script::releaseWorkspace();
        freeBlock(this);
        K_REALLOCATE_DELETE_implementation(text);
        throw;
    }
    K_REALLOCATE_DELETE_implementation(text);
}

K_ScriptLoader::~K_ScriptLoader() {
    klmfc::script::releaseWorkspace();
    freeBlock(this);
}

// ---- blocks -------------------------------------------------------------------------------------

void K_ScriptLoader::buildBlock(char const* name, unsigned nameLength, SCRIPTBLOCK* block,
                                SCRIPTBLOCK* parent, unsigned indent, char const* text,
                                unsigned start, unsigned end) {
    setUpBlock(block, name, nameLength, parent, indent);
    if (start >= end) {
        return;
    }
    BraceMatches const braces(text, start, end);

    // The blocks under construction, innermost last: each scans its range until its end,
    // and a nested block takes the scan over until its own range is done. The tree is thus
    // built depth first in text order, without recursion however deep the nesting.
    struct Frame {
        SCRIPTBLOCK* block;
        unsigned position;
        unsigned end;
        bool inQuotes;
    };
    std::vector<Frame, K_Allocator<Frame>> frames;
    frames.push_back(Frame{block, start, end, false});
    while (!frames.empty()) {
        Frame& frame = frames.back();
        unsigned p = frame.position;
        while (p < frame.end && isSpace(text[p])) {
            ++p;
        }
        if (p >= frame.end) {
            frames.pop_back();
            continue;
        }
        if (text[p] == '{') {
            K_Raise<K_ScriptLoaderException_NestingWithoutTag>(blockNesting(frame.block));
        }
        if (text[p] != '[') {
            K_Raise<K_ScriptLoaderException_DataWithoutTag>(blockNesting(frame.block));
        }

        // The tag: its name runs to the first "]".
        unsigned const nameStart = p + 1;
        void const* const bracket = std::memchr(text + nameStart, ']', frame.end - nameStart);
        if (bracket == nullptr) {
            K_Raise<K_ScriptLoaderException_UnclosedTag>(blockNesting(frame.block));
        }
        unsigned const nameEnd = static_cast<unsigned>(static_cast<char const*>(bracket) - text);
        if (nameEnd == nameStart) {
            K_Raise<K_ScriptLoaderException_EmptyTag>(blockNesting(frame.block));
        }
        p = nameEnd + 1;
        while (p < frame.end && isSpace(text[p])) {
            ++p;
        }
        if (p >= frame.end || text[p] == '}' || text[p] == '[') {
            K_Raise<K_ScriptLoaderException_TagWithoutContent>(blockNesting(frame.block));
        }

        SCRIPTBLOCK* const holder = frame.block;
        if (text[p] == '{') {
            unsigned const closing = braces.closing(p);
            if (closing == BraceMatches::kNone || closing >= frame.end) {
                K_Raise<K_ScriptLoaderException_UnclosedNesting>(blockNesting(holder));
            }
            frame.position = closing + 1;
            SCRIPTBLOCK* const child = holder->children.addNewLast();
            setUpBlock(child, text + nameStart, nameEnd - nameStart, holder, holder->indent + 1);
            frames.push_back(Frame{child, p + 1, closing, false}); // `frame` is stale now
            continue;
        }

        // Data: up to the first "[", "{" or "}" outside quotes.
        unsigned const dataStart = p;
        bool& inQuotes = frame.inQuotes;
        while (p < frame.end) {
            char const c = text[p];
            if (!kDataBytes.of[static_cast<unsigned char>(c)]) {
                ++p;
                continue;
            }
            if (c == '\\' && p + 1 < frame.end && text[p + 1] == '"') {
                p += 2;
                continue;
            }
            if (c == '"') {
                inQuotes = !inQuotes;
            } else if (!inQuotes && (c == '[' || c == '{' || c == '}')) {
                break;
            }
            ++p;
        }
        frame.position = p;
        SCRIPTBLOCK* const child = holder->children.addNewLast();
        setUpBlock(child, text + nameStart, nameEnd - nameStart, holder, holder->indent + 1);
        parseData(child, text, dataStart, p);
    }
}

void K_ScriptLoader::parseData(SCRIPTBLOCK* block, char const* text, unsigned start, unsigned end) {
    // Pass 1: the statements are counted, and the data must end in ";".
    unsigned count = 0;
    char last = 0;
    bool inQuotes = false;
    for (unsigned i = start; i < end; ++i) {
        char const c = text[i];
        if (c != ' ' && c != 0) {
            last = c;
        }
        if (c == '\\' && i + 1 < end && text[i + 1] == '"') {
            last = '"';
            ++i;
        } else if (c == '"') {
            inQuotes = !inQuotes;
        } else if (c == ';' && !inQuotes) {
            ++count;
        }
    }
    block->lvalueCount = count;
    if (last != ';' || count == 0) {
        K_Raise<K_ScriptLoaderException_NoSemicolon>(blockNesting(block));
    }

    // Pass 2: one allocation for both pointer arrays and a copy of the data.
    unsigned const length = end - start;
    unsigned long long const bytes = 2ull * count * sizeof(char*) + length;
    if (bytes > std::numeric_limits<std::size_t>::max()) {
        ++K_Memory::sm_iNewCount;
        K_RaiseAllocationFailure();
    }
    block->memory = K_CountedAllocate(static_cast<std::size_t>(bytes));
    block->lvalues = static_cast<char**>(block->memory);
    block->assignments = block->lvalues + count;
    char* const data = reinterpret_cast<char*>(block->assignments + count);
    std::memcpy(data, text + start, length);

    // Pass 3: the statements, in the copy.
    unsigned const e = length;
    unsigned p = 0;
    unsigned k = 0;
    while (k < block->lvalueCount) {
        while (p < e && isSpace(data[p])) {
            ++p;
        }
        if (p >= e) {
            // The count saw a ";" that a statement's quote marks took in.
            K_Raise<K_ScriptLoaderException_NoSemicolon>(blockNesting(block));
        }
        if (data[p] == '=') {
            K_Raise<K_ScriptLoaderException_NoLValue>(blockNesting(block));
        }
        if (data[p] == ';') {
            ++p;
            --block->lvalueCount;
            continue;
        }

        // The left side.
        char* const left = data + p;
        while (p < e) {
            char const c = data[p];
            if (c == '\\' && p + 1 < e && data[p + 1] == '"') {
                p += 2;
                continue;
            }
            if (c == '"') {
                ++p;
                break;
            }
            if (c == '=' || c == ';' || isSpace(c)) {
                break;
            }
            ++p;
        }
        unsigned const leftEnd = p;
        while (p < e && isSpace(data[p])) {
            ++p;
        }
        char const terminator = p < e ? data[p] : 0;
        if (p < e) {
            ++p;
            while (p < e && isSpace(data[p])) {
                ++p;
            }
        }
        if (leftEnd < e) {
            data[leftEnd] = 0;
        }
        block->lvalues[k] = left;

        if (terminator == ';') {
            block->assignments[k] = nullptr;
        } else if (terminator == '=') {
            unsigned const rightStart = p;
            bool quotes = false;
            while (p < e) {
                char const c = data[p];
                if (c == '\\' && p + 1 < e && data[p + 1] == '"') {
                    p += 2;
                    continue;
                }
                if (c == '"') {
                    quotes = !quotes;
                } else if (!quotes && c == ';') {
                    break;
                } else if (!quotes && c == '=') {
                    K_Raise<K_ScriptLoaderException_MultipleAssignment>(left, blockNesting(block));
                }
                ++p;
            }
            if (p == rightStart) {
                K_Raise<K_ScriptLoaderException_NoRValue>(left, blockNesting(block));
            }
            if (p >= e) {
                K_Raise<K_ScriptLoaderException_RValueSpaces>(left, blockNesting(block));
            }
            unsigned const rightEnd = p;
            data[rightEnd] = 0;
            ++p;

            // The right side loses its quote marks and its blanks outside quotes.
            char* const right = data + rightStart;
            unsigned out = 0;
            quotes = false;
            for (unsigned i = 0; rightStart + i < rightEnd; ++i) {
                char const c = right[i];
                if (c == '\\' && rightStart + i + 1 < rightEnd && right[i + 1] == '"') {
                    right[out++] = '\\';
                    right[out++] = '"';
                    ++i;
                } else if (c == '"') {
                    quotes = !quotes;
                } else if (quotes || !isSpace(c)) {
                    right[out++] = c;
                }
            }
            right[out] = 0;
            block->assignments[k] = right;
        } else if (terminator == 0 && p >= e) {
            K_Raise<K_ScriptLoaderException_NoSemicolon>(blockNesting(block));
        } else {
            K_Raise<K_ScriptLoaderException_LValueSpaces>(left, blockNesting(block));
        }
        ++k;
    }
}

void K_ScriptLoader::freeBlock(SCRIPTBLOCK* block) {
    // Each child's own children move up into this list, in front, before the child goes:
    // the whole tree is released without recursion, each node once, in the order in which
    // it was built.
    auto release = [](SCRIPTBLOCK* b) {
        K_REALLOCATE_DELETE_implementation(b->name);
        b->name = nullptr;
        K_REALLOCATE_DELETE_implementation(b->memory);
        b->memory = nullptr;
        b->lvalues = nullptr;
        b->assignments = nullptr;
        b->lvalueCount = 0;
    };
    release(block);
    while (SCRIPTBLOCK* child = block->children.removeFirst()) {
        release(child);
        while (SCRIPTBLOCK* grandchild = child->children.removeLast()) {
            block->children.addFirst(grandchild);
        }
        block->children.freeNode(child);
    }
}

char const* K_ScriptLoader::blockNesting(SCRIPTBLOCK const* block) {
    return klmfc::script::formatNesting(block, sm_acNestingElement, sm_acNesting);
}

// ---- paths
// ----------------------------------------------------------------------------------------

char const* klmfc::script::formatNesting(SCRIPTBLOCK const* block, char (&element)[64],
                                         char (&path)[512]) {
    std::size_t length = 0;
    path[0] = 0;
    for (SCRIPTBLOCK const* b = block; b != nullptr; b = b->parent) {
        char const* const name = b->name != nullptr ? b->name : "";
        std::size_t const nameLength = std::strlen(name);
        std::size_t size;
        element[0] = '[';
        if (nameLength + 2 <= sizeof element - 1) {
            std::memcpy(element + 1, name, nameLength);
            element[nameLength + 1] = ']';
            size = nameLength + 2;
        } else {
            std::size_t const kept = sizeof element - 1 - 5; // "[" and "...]"
            std::memcpy(element + 1, name, kept);
            std::memcpy(element + 1 + kept, "...]", 4);
            size = sizeof element - 1;
        }
        element[size] = 0;

        // Room stays for "/..." unless this is the last element.
        std::size_t const needed = (length != 0 ? 1 : 0) + size;
        std::size_t const room = sizeof path - 1 - length;
        if (needed > room || (b->parent != nullptr && needed + 4 > room)) {
            std::memcpy(path + length, "/...", 5);
            break;
        }
        if (length != 0) {
            path[length++] = '/';
        }
        std::memcpy(path + length, element, size + 1);
        length += size;
    }
    return path;
}
