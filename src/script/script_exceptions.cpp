// The messages of the script failures.
#include "klmfc/script/script_exceptions.h"

namespace {
char const* orEmpty(char const* text) {
    return text != nullptr ? text : "";
}
} // namespace

// ---- reading the file ---------------------------------------------------------------------

K_ScriptLoaderException_BlockComment::K_ScriptLoaderException_BlockComment(unsigned line,
                                                                           char const* file) {
    setError("K_ScriptLoader: Block comment /*...*/ starting\nin line %u of \"%s\" doesn't end!",
             line, orEmpty(file));
}

K_ScriptLoaderException_NoOpeningBracket::K_ScriptLoaderException_NoOpeningBracket(
    char bracket, unsigned line, char const* file) {
    setError("K_ScriptLoader: Closing bracket \"%c\" in line %u\nof \"%s\" found without opening "
             "bracket!",
             bracket, line, orEmpty(file));
}

K_ScriptLoaderException_BracketIncompatible::K_ScriptLoaderException_BracketIncompatible(
    char bracket, unsigned line, char const* file, unsigned openLine, char expected) {
    setError("K_ScriptLoader: Closing bracket \"%c\" in line %u of\n\"%s\" doesn't fit bracket in "
             "line %u (expected: \"%c\")!",
             bracket, line, orEmpty(file), openLine, expected);
}

K_ScriptLoaderException_EndlessString::K_ScriptLoaderException_EndlessString(unsigned line,
                                                                             char const* file) {
    setError("K_ScriptLoader: String marking \"...\" starting\nin line %u of \"%s\" doesn't end!",
             line, orEmpty(file));
}

K_ScriptLoaderException_BracketedInclude::K_ScriptLoaderException_BracketedInclude(
    unsigned line, char const* file, unsigned openLine) {
    setError("K_ScriptLoader: #include directive in line %u of \"%s\"\ncan't be used inside a "
             "bracketed block (starts in line %u)!",
             line, orEmpty(file), openLine);
}

K_ScriptLoaderException_IncludeSyntax::K_ScriptLoaderException_IncludeSyntax(unsigned line,
                                                                             char const* file) {
    setError("K_ScriptLoader: Syntax error in #include\ndirective in line %u of \"%s\"!", line,
             orEmpty(file));
}

K_ScriptLoaderException_IncludeTooLong::K_ScriptLoaderException_IncludeTooLong(unsigned line,
                                                                               char const* file) {
    setError("K_ScriptLoader: #include directive in line %u of \"%s\"\ncan't name files longer "
             "than %d characters!",
             line, orEmpty(file), 255);
}

K_ScriptLoaderException_MultipleInclusion::K_ScriptLoaderException_MultipleInclusion(
    char const* name, unsigned line, char const* file) {
    setError("K_ScriptLoader: Attempt to include file \"%s\" again in\nline%u of \"%s\" (recursion "
             "problem)!",
             orEmpty(name), line, orEmpty(file));
}

K_ScriptLoaderException_BracketedDefine::K_ScriptLoaderException_BracketedDefine(
    unsigned line, char const* file, unsigned openLine) {
    setError("K_ScriptLoader: #define directive in line %u of \"%s\"\ncan't be used inside a "
             "bracketed block (starts in line %u)!",
             line, orEmpty(file), openLine);
}

K_ScriptLoaderException_DefineTooLong::K_ScriptLoaderException_DefineTooLong(unsigned line,
                                                                             char const* file) {
    setError("K_ScriptLoader: #define directive in line %u of \"%s\"\ncan't assign #define's "
             "longer than %d characters!",
             line, orEmpty(file), 127);
}

K_ScriptLoaderException_DefineSyntax::K_ScriptLoaderException_DefineSyntax(unsigned line,
                                                                           char const* file) {
    setError("K_ScriptLoader: Syntax error in #define\ndirective in line %u of \"%s\"!", line,
             orEmpty(file));
}

K_ScriptLoaderException_ReDefinition::K_ScriptLoaderException_ReDefinition(
    char const* name, char const* oldValue, char const* newValue, unsigned line, char const* file) {
    setError("K_ScriptLoader: Attempt to re-#define \"%s\"\n(originally \"%s\")\nas \"%s\" in line "
             "%u of \"%s\"!",
             orEmpty(name), orEmpty(oldValue), orEmpty(newValue), line, orEmpty(file));
}

K_ScriptLoaderException_UnknownDirective::K_ScriptLoaderException_UnknownDirective(
    unsigned line, char const* file) {
    setError("K_ScriptLoader: Unknown preprocessor directive\nin line %u of \"%s\"!", line,
             orEmpty(file));
}

K_ScriptLoaderException_NoClosingBracket::K_ScriptLoaderException_NoClosingBracket(
    char const* file, unsigned openLine) {
    setError("K_ScriptLoader: File \"%s\" ends with\nopened bracket from line %u!", orEmpty(file),
             openLine);
}

// ---- cutting into blocks ------------------------------------------------------------------

K_ScriptLoaderException_EmptyTag::K_ScriptLoaderException_EmptyTag(char const* path) {
    setError("K_ScriptLoader: Tag brackets [ ] cannot\nbe empty: block [%s]!", orEmpty(path));
}

K_ScriptLoaderException_UnclosedTag::K_ScriptLoaderException_UnclosedTag(char const* path) {
    setError("K_ScriptLoader: Tag bracket [ without closing bracket ]\ninside block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_UnclosedNesting::K_ScriptLoaderException_UnclosedNesting(char const* path) {
    setError("K_ScriptLoader: Nesting bracket { without closing bracket }\ninside block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_TagWithoutContent::K_ScriptLoaderException_TagWithoutContent(
    char const* path) {
    setError("K_ScriptLoader: Either { } nesting or data must\nfollow each tag in block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_NestingWithoutTag::K_ScriptLoaderException_NestingWithoutTag(
    char const* path) {
    setError("K_ScriptLoader: There can't be a nested block\nwithout tag inside block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_DataWithoutTag::K_ScriptLoaderException_DataWithoutTag(char const* path) {
    setError("K_ScriptLoader: There can't be data\nwithout tag inside block [%s]!", orEmpty(path));
}

K_ScriptLoaderException_NoSemicolon::K_ScriptLoaderException_NoSemicolon(char const* path) {
    setError("K_ScriptLoader: Statements separating semicolon\nmissing inside block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_NoLValue::K_ScriptLoaderException_NoLValue(char const* path) {
    setError("K_ScriptLoader: Left side of an assignment\noperator = is missing in block [%s]!",
             orEmpty(path));
}

K_ScriptLoaderException_MultipleAssignment::K_ScriptLoaderException_MultipleAssignment(
    char const* left, char const* path) {
    setError("K_ScriptLoader: Only single assignments are supported!\nCheck \"%s=...\" in block "
             "[%s].\n(Semicolon missing?)",
             orEmpty(left), orEmpty(path));
}

K_ScriptLoaderException_NoRValue::K_ScriptLoaderException_NoRValue(char const* left,
                                                                   char const* path) {
    setError("K_ScriptLoader: Right side of assignment \"%s=\"\nin block [%s] cannot be empty!",
             orEmpty(left), orEmpty(path));
}

K_ScriptLoaderException_LValueSpaces::K_ScriptLoaderException_LValueSpaces(char const* left,
                                                                           char const* path) {
    setError(
        "K_ScriptLoader: Left side of an assignment can't\ncontain spaces! Check \"%s=...\" in "
        "block [%s].",
        orEmpty(left), orEmpty(path));
}

K_ScriptLoaderException_RValueSpaces::K_ScriptLoaderException_RValueSpaces(char const* left,
                                                                           char const* path) {
    setError("K_ScriptLoader: Right side of an assignment can't\ncontain spaces! Check \"%s=...\" "
             "in block [%s].",
             orEmpty(left), orEmpty(path));
}

// ---- reading a loaded script --------------------------------------------------------------

K_ScriptException_BlockNotFound::K_ScriptException_BlockNotFound(unsigned index, char const* path) {
    setError("K_Script: There is no block number %u\nin %s!", index, orEmpty(path));
}

K_ScriptException_NamedBlockNotFound::K_ScriptException_NamedBlockNotFound(unsigned number,
                                                                           char const* name,
                                                                           char const* path) {
    setError("K_Script: There is no block number %u named \"%s\"\nin %s!", number, orEmpty(name),
             orEmpty(path));
}

K_ScriptException_UnknownVariable::K_ScriptException_UnknownVariable(char const* left,
                                                                     char const* path) {
    setError("K_Script: Unknown variable \"%s\"\nin %s!", orEmpty(left), orEmpty(path));
}

K_ScriptException_DoubleVariable::K_ScriptException_DoubleVariable(char const* name,
                                                                   char const* path) {
    setError("K_Script: Double variables named \"%s\"\nin %s!", orEmpty(name), orEmpty(path));
}

K_ScriptException_NoDefault::K_ScriptException_NoDefault(char const* name, char const* path) {
    setError("K_Script: Variables \"%s\" doesn't have a default value\nin %s!\nYou have to assign "
             "a value to it.",
             orEmpty(name), orEmpty(path));
}

K_ScriptException_Parsing::K_ScriptException_Parsing(char const* name, char const* path,
                                                     char const* value, char const* format) {
    setError("K_Script: Can't parse assignment to variable \"%s\"\nin %s!\nAssignment: \"%s\"  "
             "Format:\"%s\"",
             orEmpty(name), orEmpty(path), orEmpty(value), orEmpty(format));
}

K_ScriptException_UnknownBlock::K_ScriptException_UnknownBlock(char const* name, char const* path) {
    setError("K_Script: A block \"%s\" should not exist\nin %s!", orEmpty(name), orEmpty(path));
}

K_ScriptException_TooFewBlocks::K_ScriptException_TooFewBlocks(char const* name, unsigned minimum,
                                                               char const* path) {
    setError("K_Script: Block \"%s\" has to appear at least\n%u times in %s!", orEmpty(name),
             minimum, orEmpty(path));
}

K_ScriptException_TooManyBlocks::K_ScriptException_TooManyBlocks(char const* name, unsigned maximum,
                                                                 char const* path) {
    setError("K_Script: Block \"%s\" has to appear at maximum\n%u times in %s!", orEmpty(name),
             maximum, orEmpty(path));
}
