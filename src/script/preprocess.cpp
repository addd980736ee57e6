// The preprocessor: one file, and through #include every file it names, into one line of
// clean text.
//
// The file's own buffer is compacted in place: the kept text grows behind the read position,
// which it never overtakes. Defines and included texts are noted with their place in the kept
// text and merged in at the end, into a new buffer.
#include "script/script_internal.h"

#include "klmfc/file/file.h"

#include <cstdint>
#include <cstring>
#include <limits>

using klmfc::script::Workspace;

namespace {

using BRACKETS = K_ScriptLoader::BRACKETS;
using DEFINEINSERT = K_ScriptLoader::DEFINEINSERT;
using INCLUDEINSERT = K_ScriptLoader::INCLUDEINSERT;

enum class Directive { None, Include, Define };

// A node from the head of `pool`, made when the pool is empty, appended to `list`.
template <class T> T* takeNode(K_DLList<T>& pool, K_DLList<T>& list) {
    if (pool.getCount() == 0) {
        pool.addNewLast();
    }
    T* node = pool.removeFirst();
    list.addLast(node);
    return node;
}

// What one file's run holds. Whichever way the run ends, its nodes go back to their pools
// and its buffers are released.
struct Run {
    Run(Workspace& workspace, klmfc::script::Source& source) : w(workspace), src(source) {}
    ~Run() {
        while (INCLUDEINSERT* node = includes.removeFirst()) {
            K_REALLOCATE_DELETE_implementation(node->text);
            node->text = nullptr;
            w.includePool->addFirst(node);
        }
        while (DEFINEINSERT* node = defines.removeFirst()) {
            w.definePool->addFirst(node);
        }
        while (BRACKETS* node = brackets.removeFirst()) {
            w.bracketPool->addFirst(node);
        }
        if (file != nullptr) {
            src.release(file);
        }
        K_REALLOCATE_DELETE_implementation(merged);
    }
    Run(Run const&) = delete;
    Run& operator=(Run const&) = delete;

    Workspace& w;
    klmfc::script::Source& src;
    K_DLList<INCLUDEINSERT> includes;
    K_DLList<DEFINEINSERT> defines;
    K_DLList<BRACKETS> brackets; // a stack, top at the tail
    char* file = nullptr;        // the file's buffer
    char* merged = nullptr;
};

char closingOf(char opening) {
    return opening == '{' ? '}' : opening == '[' ? ']' : '>';
}

// The length of a name as the defines compare it: up to its first NUL.
unsigned nameLength(char const* name, unsigned length) {
    void const* const nul = std::memchr(name, 0, length);
    return nul != nullptr ? static_cast<unsigned>(static_cast<char const*>(nul) - name) : length;
}

std::uint64_t* shapeOf(Workspace& w, char first, unsigned length) {
    return &w.defineShapes[static_cast<unsigned char>(klmfc::script::lower(first))][length >> 6];
}

// The define whose name is the first 127 characters of the word, or null. Only a word with
// a string in it can hold a NUL.
klmfc::script::DefineText* findDefine(Workspace& w, char const* word, unsigned length,
                                      bool mayHoldNul) {
    unsigned n = length < 127 ? length : 127;
    if (mayHoldNul) {
        n = nameLength(word, n);
    }
    if (n == 0 || (*shapeOf(w, word[0], n) >> (n & 63) & 1) == 0) {
        return nullptr;
    }
    w.word->assign(word, n);
    auto const found = w.defines->find(w.word->c_str());
    return found != w.defines->end() ? &found->second : nullptr;
}

// Byte classes of the token reader.
enum ByteClass : unsigned char { Plain, Space, Slash, Opening, Closing, Quote };

struct ByteClasses {
    constexpr ByteClasses() : of() {
        for (unsigned char c : {10, 0, 13, 11, 32, 9}) {
            of[c] = Space;
        }
        of[static_cast<unsigned char>('/')] = Slash;
        of[static_cast<unsigned char>('{')] = of[static_cast<unsigned char>('[')] = Opening;
        of[static_cast<unsigned char>('<')] = Opening;
        of[static_cast<unsigned char>('}')] = of[static_cast<unsigned char>(']')] = Closing;
        of[static_cast<unsigned char>('>')] = Closing;
        of[static_cast<unsigned char>('"')] = Quote;
    }
    unsigned char of[256];
};

constexpr ByteClasses kClasses;

} // namespace

char* K_ScriptLoader::preprocess(unsigned& size, char const* fileName) {
    // A call with no script alive holds the working objects for itself.
    std::optional<klmfc::script::WorkspaceHold> hold;
    if (klmfc::script::workspace() == nullptr) {
        hold.emplace();
    }
    Workspace& w = *klmfc::script::workspace();

    // The name of this file, kept for the messages: the shared buffers it may lie in change
    // with every include.
    K_String const name(fileName != nullptr ? fileName : "");
    char const* const file = name.c_str();

    Run run(w, klmfc::script::source());
    unsigned const fileSize = run.src.size(file);
    run.file = run.src.load(file, fileSize);
    char* const buffer = run.file;

    unsigned cursor = 0;
    unsigned output = 0;
    unsigned line = 1;
    Directive directive = Directive::None;

    while (cursor < fileSize) {
        // ---- one token: a run of bytes up to whitespace, a comment or the end ----------------
        unsigned const tokenStart = cursor;
        unsigned tokenEnd;
        bool quoted = false;
        for (;;) {
            if (cursor >= fileSize) {
                tokenEnd = cursor;
                break;
            }
            char const c = buffer[cursor];
            unsigned char const kind = kClasses.of[static_cast<unsigned char>(c)];
            if (kind == Plain) {
                ++cursor;
                continue;
            }
            if (c == '/' && cursor + 1 < fileSize && buffer[cursor + 1] == '*') {
                tokenEnd = cursor;
                unsigned const startLine = line;
                unsigned p = cursor + 2;
                for (;;) {
                    if (p >= fileSize) {
                        K_Raise<K_ScriptLoaderException_BlockComment>(startLine, file);
                    }
                    if (buffer[p] == '*' && p + 1 < fileSize && buffer[p + 1] == '/') {
                        break;
                    }
                    if (klmfc::script::isLineFeed(buffer[p])) {
                        ++line;
                    }
                    ++p;
                }
                cursor = p + 2;
                break;
            }
            if (c == '/' && cursor + 1 < fileSize && buffer[cursor + 1] == '/') {
                tokenEnd = cursor;
                void const* const feed =
                    std::memchr(buffer + cursor + 2, '\n', fileSize - (cursor + 2));
                if (feed != nullptr) {
                    cursor = static_cast<unsigned>(static_cast<char const*>(feed) - buffer) + 1;
                    ++line;
                } else {
                    cursor = fileSize;
                }
                break;
            }
            if (kind == Space) {
                tokenEnd = cursor;
                break;
            }
            if (kind == Opening) {
                BRACKETS* const bracket = takeNode(*w.bracketPool, run.brackets);
                bracket->closing = closingOf(c);
                bracket->line = line;
            } else if (kind == Closing) {
                BRACKETS* const top = run.brackets.getLast();
                if (top == nullptr) {
                    K_Raise<K_ScriptLoaderException_NoOpeningBracket>(c, line, file);
                }
                if (top->closing != c) {
                    K_Raise<K_ScriptLoaderException_BracketIncompatible>(c, line, file, top->line,
                                                                         top->closing);
                }
                run.brackets.unlink(top);
                w.bracketPool->addFirst(top);
            } else if (c == '"' && cursor + 1 < fileSize) {
                quoted = true;
                unsigned p = cursor + 1;
                for (;;) {
                    if (p >= fileSize) {
                        K_Raise<K_ScriptLoaderException_EndlessString>(line, file);
                    }
                    char const b = buffer[p];
                    if (b == '"') {
                        break;
                    }
                    if (b == '\\' && p + 1 < fileSize && buffer[p + 1] == '"') {
                        p += 2;
                        continue;
                    }
                    if (klmfc::script::isLineFeed(b)) {
                        K_Raise<K_ScriptLoaderException_EndlessString>(line, file);
                    }
                    ++p;
                }
                cursor = p;
            }
            ++cursor;
        }

        // ---- lower case outside quotes ----------------------------------------------------
        bool inQuotes = false;
        for (unsigned i = tokenStart; i < tokenEnd; ++i) {
            char const b = buffer[i];
            if (b == '\\' && i + 1 < tokenEnd && buffer[i + 1] == '"') {
                ++i;
            } else if (b == '"') {
                inQuotes = !inQuotes;
            } else if (!inQuotes) {
                buffer[i] = klmfc::script::lower(b);
            }
        }

        // ---- the token by the directive waiting for it -------------------------------------
        unsigned const length = tokenEnd - tokenStart;
        char* const token = buffer + tokenStart;
        if (length == 0) {
            // a comment at the start of the pass
        } else if (directive == Directive::None) {
            if (length == 8 && std::memcmp(token, "#include", 8) == 0) {
                directive = Directive::Include;
            } else if (length == 7 && std::memcmp(token, "#define", 7) == 0) {
                directive = Directive::Define;
            } else if (token[0] == '#') {
                K_Raise<K_ScriptLoaderException_UnknownDirective>(line, file);
            } else {
                bool const semicolon = token[length - 1] == ';';
                klmfc::script::DefineText* const define =
                    findDefine(w, token, length - (semicolon ? 1 : 0), quoted);
                if (define != nullptr) {
                    DEFINEINSERT* const insert = takeNode(*w.definePool, run.defines);
                    insert->value = define->text;
                    insert->position = output;
                    insert->line = line;
                    insert->semicolon = semicolon;
                } else {
                    std::memmove(buffer + output, token, length);
                    output += length;
                }
            }
        } else if (directive == Directive::Include) {
            if (BRACKETS const* const top = run.brackets.getLast()) {
                K_Raise<K_ScriptLoaderException_BracketedInclude>(line, file, top->line);
            }
            bool const quoted = token[0] == '"' && token[length - 1] == '"';
            bool const angled = token[0] == '<' && token[length - 1] == '>';
            if (length < 2 || !(quoted || angled)) {
                K_Raise<K_ScriptLoaderException_IncludeSyntax>(line, file);
            }
            unsigned const nameLength = length - 2;
            if (nameLength > 255) {
                K_Raise<K_ScriptLoaderException_IncludeTooLong>(line, file);
            }
            w.includeName->assign(token + 1, nameLength);
            if (!w.includedFiles->insert(*w.includeName).second) {
                K_Raise<K_ScriptLoaderException_MultipleInclusion>(w.includeName->c_str(), line,
                                                                   file);
            }
            char const* const fullName = File->getFullPathName(w.includeName->c_str());
            w.includePath->assign(fullName, fullName + std::strlen(fullName) + 1);
            INCLUDEINSERT* const insert = takeNode(*w.includePool, run.includes);
            insert->text = nullptr;
            insert->size = 0;
            std::memcpy(insert->name, token + 1, nameLength);
            insert->name[nameLength] = 0;
            insert->position = output;
            insert->line = line;
            unsigned textSize = 0;
            insert->text = preprocess(textSize, w.includePath->data());
            insert->size = textSize - 1;
            directive = Directive::None;
        } else {
            if (BRACKETS const* const top = run.brackets.getLast()) {
                K_Raise<K_ScriptLoaderException_BracketedDefine>(line, file, top->line);
            }
            w.defineName->assign(token, length);

            // The value: the rest of the line, its whitespace runs one blank outside quotes.
            void const* const feed = std::memchr(buffer + cursor, '\n', fileSize - cursor);
            unsigned const lineEnd =
                feed != nullptr ? static_cast<unsigned>(static_cast<char const*>(feed) - buffer)
                                : fileSize;
            klmfc::script::ByteVector& value = *w.lineBuffer;
            if (value.size() < lineEnd - cursor + 1) {
                value.resize(lineEnd - cursor + 1);
            }
            unsigned out = 0;
            bool quotes = false;
            bool inRun = false;
            unsigned p = cursor;
            while (p < lineEnd) {
                char const b = buffer[p];
                if (b == '\\' && p + 1 < lineEnd && buffer[p + 1] == '"') {
                    value[out++] = '\\';
                    value[out++] = '"';
                    p += 2;
                    inRun = false;
                    continue;
                }
                ++p;
                if (b == '"') {
                    value[out++] = '"';
                    quotes = !quotes;
                    inRun = false;
                } else if (quotes) {
                    value[out++] = klmfc::script::isSpace(b) ? ' ' : b;
                } else if (klmfc::script::isSpace(b)) {
                    if (out != 0 && !inRun) {
                        value[out++] = ' ';
                        inRun = true;
                    }
                } else {
                    value[out++] = klmfc::script::lower(b);
                    inRun = false;
                }
            }
            cursor = p;
            if (out != 0 && value[out - 1] == ' ') {
                --out;
            }
            if (quotes || out == 0) {
                K_Raise<K_ScriptLoaderException_DefineSyntax>(line, file);
            }
            if (length > 127 || out > 127) {
                K_Raise<K_ScriptLoaderException_DefineTooLong>(line, file);
            }
            w.defineValue->assign(value.data(), out);

            klmfc::script::DefineText key;
            std::memcpy(key.text, token, length);
            key.text[length] = 0;
            klmfc::script::DefineText text;
            std::memcpy(text.text, value.data(), out);
            text.text[out] = 0;
            auto const entry = w.defines->emplace(key, text);
            if (!entry.second) {
                K_Raise<K_ScriptLoaderException_ReDefinition>(w.defineName->c_str(),
                                                              entry.first->second.text,
                                                              w.defineValue->c_str(), line, file);
            }
            unsigned const keyLength = nameLength(key.text, length);
            if (keyLength != 0) {
                *shapeOf(w, key.text[0], keyLength) |= std::uint64_t(1) << (keyLength & 63);
            }
            directive = Directive::None;
        }

        // ---- whitespace: one blank between kept tokens ---------------------------------------
        unsigned const skipped = cursor;
        while (cursor < fileSize && klmfc::script::isSpace(buffer[cursor])) {
            if (klmfc::script::isLineFeed(buffer[cursor])) {
                ++line;
            }
            ++cursor;
        }
        if (cursor != skipped && output != 0 && !klmfc::script::isSpace(buffer[output - 1])) {
            buffer[output++] = ' ';
        }
    }

    if (BRACKETS const* const top = run.brackets.getLast()) {
        K_Raise<K_ScriptLoaderException_NoClosingBracket>(file, top->line);
    }

    // ---- merging the kept text, the defines' values and the included texts ------------------
    // Every value and every included text is followed by a blank, and one blank at the very
    // end goes; so the length of the text is known before it is put together, and it goes
    // straight into an allocation of exactly its size.
    unsigned long long length = output;
    bool insertAtEnd = false;
    for (DEFINEINSERT* d = run.defines.getFirst(); d != nullptr; d = run.defines.getNext(d)) {
        length += std::strlen(d->value) + 1 + (d->semicolon ? 1 : 0);
        insertAtEnd = insertAtEnd || d->position == output;
    }
    for (INCLUDEINSERT* i = run.includes.getFirst(); i != nullptr; i = run.includes.getNext(i)) {
        length += i->size + 1ull;
        insertAtEnd = insertAtEnd || i->position == output;
    }
    if (insertAtEnd || (output != 0 && buffer[output - 1] == ' ')) {
        --length; // the blank at the very end
    }
    if (length + 1 > std::numeric_limits<unsigned>::max()) {
        ++K_Memory::sm_iNewCount;
        K_RaiseAllocationFailure();
    }
    run.merged = static_cast<char*>(K_CountedAllocate(static_cast<std::size_t>(length) + 1));
    char* const merged = run.merged;
    std::size_t const last = static_cast<std::size_t>(length);
    std::size_t at = 0;
    // Appends, keeping to the text's length: the blank that ends the text is not written.
    auto const append = [&](char const* bytes, std::size_t n) {
        if (n > last - at) {
            n = last - at;
        }
        std::memcpy(merged + at, bytes, n);
        at += n;
    };
    unsigned source = 0;
    DEFINEINSERT* define = run.defines.getFirst();
    INCLUDEINSERT* include = run.includes.getFirst();
    while (source < output || define != nullptr || include != nullptr) {
        bool const defineHere =
            define != nullptr && define->position <= source &&
            !(include != nullptr && include->line < define->line && include->position <= source);
        if (defineHere) {
            append(define->value, std::strlen(define->value));
            append(define->semicolon ? "; " : " ", define->semicolon ? 2 : 1);
            define = run.defines.getNext(define);
            continue;
        }
        if (include != nullptr && include->position <= source) {
            append(include->text, include->size);
            append(" ", 1);
            K_REALLOCATE_DELETE_implementation(include->text);
            include->text = nullptr;
            include = run.includes.getNext(include);
            continue;
        }
        unsigned next = output;
        if (define != nullptr && define->position < next) {
            next = define->position;
        }
        if (include != nullptr && include->position < next) {
            next = include->position;
        }
        append(buffer + source, next - source);
        source = next;
    }
    merged[at] = 0;

    run.src.release(run.file);
    run.file = nullptr;
    char* const text = run.merged;
    run.merged = nullptr;
    size = static_cast<unsigned>(at + 1);
    return text;
}
