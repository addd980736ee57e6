// Scripts: configuration text read into a tree of named blocks.
//
// A script is a text file of tagged blocks, "[name]" followed either by "{ ... }" holding
// more blocks or by statements "left = right;". It may hold comments, "#include" other
// files and "#define" words. K_Script loads it, with every syntax error raised in the
// constructor, and a host then walks the tree one block at a time (lock, unlock), reads
// typed values by a table (parse) and checks a block's children by a table (blockCheck).
#pragma once

#include "klmfc/memory/dllist.h"
#include "klmfc/memory/memory.h"
#include "klmfc/script/script_exceptions.h"

class K_ScriptLoader;

class K_Script {
public:
    // One block of the tree.
    struct SCRIPTBLOCK {
        SCRIPTBLOCK()
            : name(nullptr), lvalueCount(0), lvalues(nullptr), assignments(nullptr),
              memory(nullptr), parent(nullptr), indent(0) {}
        // Destroys `children` only; K_ScriptLoader::freeBlock releases the rest before.
        ~SCRIPTBLOCK() {}

        char* name;           // the tag's name; for the root the script's file name
        unsigned lvalueCount; // statements
        char** lvalues;       // left sides
        char** assignments;   // right sides; null for a statement without "="
        void* memory;         // the one block behind lvalues, assignments and their text
        SCRIPTBLOCK* parent;
        K_DLListInit<SCRIPTBLOCK> children; // in text order
        unsigned indent;                    // 0 for the root
    };

    // The type of a value: a scan format, and for each of its conversions the number of
    // bytes by which the destination moves on behind it, ended by 0.
    struct Format {
        char const* format;
        int const* argsizes;
    };

    // One variable that parse knows; a null name ends the table.
    struct Variables {
        char const* name;         // any case
        void* destination;        // where the value goes
        char const* defaultValue; // in the form of a right side; null: must be assigned
        Format const* format;
    };

    // One block name that blockCheck allows; a null name ends the table.
    struct Blocks {
        char const* name; // any case, with or without its square brackets
        unsigned minimum;
        unsigned maximum;
    };

    static int const m_argsizes_char[];
    static int const m_argsizes_unsigned[];
    static int const m_argsizes_int[];
    static int const m_argsizes_hex[];
    static int const m_argsizes_float[];
    static int const m_argsizes_float3[];
    static int const m_argsizes_string[];
    static Format const t_char;     // "%c": one char
    static Format const t_unsigned; // "%u": 32-bit unsigned
    static Format const t_int;      // "%d": 32-bit signed
    static Format const t_hex;      // "%x": 32-bit unsigned
    static Format const t_float;    // "%f": float
    static Format const t_float3;   // "(%f,%f,%f)": three floats in a row
    static Format const t_string;   // "%s": the host's character buffer

    // Loads the script. `fileName` may hold a directory; names inside the script, those
    // of #include, count from that directory.
    explicit K_Script(char const* fileName);
    ~K_Script();

    // ---- navigation ------------------------------------------------------------------
    // Makes a child the current block. Raises K_ScriptException_BlockNotFound or
    // K_ScriptException_NamedBlockNotFound and then changes nothing.
    void lock(unsigned index);
    void lock(char const* name, unsigned number);
    // Back to the parent; false, and no change, at the root.
    bool unlock();

    // ---- the current block -------------------------------------------------------------
    char const* getBlockName() const;
    unsigned getIndent() const;
    // The root's name: the script's file name without directory.
    char const* getScriptName() const;
    // "[name]/[parent]/.../[script]", in a static buffer that the next call overwrites.
    char const* staticNesting() const;
    bool isParent() const;
    bool isData() const;

    // ---- its children: by index in text order, or the n-th of a name -------------------
    unsigned count() const;
    unsigned count(char const* name) const;
    // Raises K_ScriptException_NamedBlockNotFound.
    unsigned getBlockIndex(char const* name, unsigned number) const;
    char const* getBlockName(unsigned index) const; // null out of range
    bool isParent(unsigned index) const;
    bool isParent(char const* name, unsigned number) const;
    bool isData(unsigned index) const;
    bool isData(char const* name, unsigned number) const;

    // ---- its statements ----------------------------------------------------------------
    unsigned countLvalues() const;
    unsigned countLvalues(char const* name) const;
    char const* getLvalue(unsigned index) const;     // null out of range
    char const* getAssignment(unsigned index) const; // null out of range or without "="
    // The right side of the `number`-th statement of that name counted from the last one.
    char const* getAssignment(char const* name, unsigned number) const;

    // ---- typed values ------------------------------------------------------------------
    // Checks the block's statements against the table (unknown, then double names) and
    // stores each row's value, or its default when `assignDefaults` is set.
    void parse(Variables const* table, bool assignDefaults);
    void parse(Variables const* table, unsigned index, bool assignDefaults);
    void parse(Variables const* table, char const* name, unsigned number, bool assignDefaults);

    // ---- block validation --------------------------------------------------------------
    // Checks the block's children against the table: unknown names unless allowed, then
    // each row's number of occurrences.
    void blockCheck(Blocks const* table, bool allowUnknown);
    void blockCheck(Blocks const* table, unsigned index, bool allowUnknown);
    void blockCheck(Blocks const* table, char const* name, unsigned number, bool allowUnknown);

    // Whether parse lets left sides pass that its table does not name; for all scripts.
    static void setIgnoreUnknownVariables(bool ignore);
    static bool getIgnoreUnknownVariables();

    static bool sm_bIgnoreUnknownVariables;

private:
    friend class K_ScriptTestAccess;

    K_Script();
    K_Script(K_Script const&);
    K_Script& operator=(K_Script const&);

    SCRIPTBLOCK* getChild(unsigned index) const;
    SCRIPTBLOCK* findNthBlock(char const* name, unsigned number) const;
    // A text of the script against a name of the host, which alone is folded to lower case.
    bool lwrstrequal(char const* a, char const* b) const;
    // The same for a block name; the host's name may come in square brackets.
    bool blkstrequal(char const* a, char const* b) const;
    bool isNumber(char c) const;
    bool isText(char c) const;
    bool isFloat(char c) const;
    bool isHex(char c) const;
    // Converts `value` by the row's format into its destination.
    void convert(Variables const& row, char* value) const;

    K_ScriptLoader* m_root;
    SCRIPTBLOCK* m_current;

    static char sm_acNestingElement[64];
    static char sm_acNesting[512];
};

// Locks a child for the length of a scope.
class K_ScriptLock {
public:
    K_ScriptLock(K_Script* script, unsigned index);
    K_ScriptLock(K_Script* script, char const* name, unsigned number);
    ~K_ScriptLock();

private:
    K_ScriptLock(K_ScriptLock const&);
    K_ScriptLock& operator=(K_ScriptLock const&);

    K_Script* m_script;
};

#include "klmfc/script/script_loader.h"
