// The loader: the root block of a script. Its constructor reads the file, and every file that
// it includes, into one clean line of text and cuts that into the tree.
#pragma once

#include "klmfc/script/script.h"

#include <cstddef>

class K_ScriptLoader : public K_Script::SCRIPTBLOCK {
public:
    // One open bracket of the file being read.
    struct BRACKETS {
        char closing; // "}", "]" or ">"
        unsigned line;
    };

    // A word that a #define replaces.
    struct DEFINEINSERT {
        char* value;       // inside the define's entry, not owned
        unsigned position; // in the kept text
        unsigned line;
        bool semicolon; // the word had a ";" right behind it
    };

    // An #include'd file.
    struct INCLUDEINSERT {
        char name[256]; // as written between the quotes or angle brackets
        char* text;     // its finished text, owned until merged
        unsigned size;  // of text, without its terminator
        unsigned position;
        unsigned line; // of the file name
    };

    // `fileName` without directory: the current directory is the script's.
    explicit K_ScriptLoader(char const* fileName);
    ~K_ScriptLoader();

    // Reads the file `fileName` (a full name) and everything it includes into one line of
    // text: comments gone, whitespace runs one blank, lower case outside quotes, defines
    // replaced. The text is the caller's, released with K_REALLOCATE_DELETE_implementation;
    // `size` takes its length with the terminator.
    static char* preprocess(unsigned& size, char const* fileName);

    // Fills `block` and builds the blocks found in text[start, end) as its children.
    static void buildBlock(char const* name, unsigned nameLength, K_Script::SCRIPTBLOCK* block,
                           K_Script::SCRIPTBLOCK* parent, unsigned indent, char const* text,
                           unsigned start, unsigned end);
    // Cuts text[start, end) into the statements of the data block `block`.
    static void parseData(K_Script::SCRIPTBLOCK* block, char const* text, unsigned start,
                          unsigned end);
    // Releases the names and statements of the block and of all below it, and the nodes of
    // its children. Safe on a tree that is half built.
    static void freeBlock(K_Script::SCRIPTBLOCK* block);
    // The block's path for messages, as K_Script::staticNesting, in buffers of its own.
    static char const* blockNesting(K_Script::SCRIPTBLOCK const* block);

    static void* operator new(std::size_t size);
    static void operator delete(void* block);

    // Number of living scripts; the first creates the loader's shared working objects and
    // the last destroys them.
    static unsigned sm_useCount;

private:
    K_ScriptLoader(K_ScriptLoader const&);
    K_ScriptLoader& operator=(K_ScriptLoader const&);

    static char sm_acNestingElement[64];
    static char sm_acNesting[512];
};
