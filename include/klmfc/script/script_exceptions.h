// The failures of the script language: K_ScriptLoaderException for everything found while a
// script is read and cut into blocks, K_ScriptException for what a host asks of a loaded one.
#pragma once

#include "klmfc/core/exception.h"

// ---- reading the file: comments, strings, brackets, #include and #define -------------------
// `file` is the full name of the file in which the fault stands, `line` its line there.
class K_ScriptLoaderException_BlockComment : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_BlockComment, K_ScriptLoaderException)
    K_ScriptLoaderException_BlockComment(unsigned line, char const* file);
};
class K_ScriptLoaderException_NoOpeningBracket : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NoOpeningBracket, K_ScriptLoaderException)
    K_ScriptLoaderException_NoOpeningBracket(char bracket, unsigned line, char const* file);
};
class K_ScriptLoaderException_BracketIncompatible : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_BracketIncompatible, K_ScriptLoaderException)
    K_ScriptLoaderException_BracketIncompatible(char bracket, unsigned line, char const* file,
                                                unsigned openLine, char expected);
};
class K_ScriptLoaderException_EndlessString : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_EndlessString, K_ScriptLoaderException)
    K_ScriptLoaderException_EndlessString(unsigned line, char const* file);
};
class K_ScriptLoaderException_BracketedInclude : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_BracketedInclude, K_ScriptLoaderException)
    K_ScriptLoaderException_BracketedInclude(unsigned line, char const* file, unsigned openLine);
};
class K_ScriptLoaderException_IncludeSyntax : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_IncludeSyntax, K_ScriptLoaderException)
    K_ScriptLoaderException_IncludeSyntax(unsigned line, char const* file);
};
// An #include name that does not fit the 255 characters of a name.
class K_ScriptLoaderException_IncludeTooLong : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_IncludeTooLong, K_ScriptLoaderException)
    K_ScriptLoaderException_IncludeTooLong(unsigned line, char const* file);
};
class K_ScriptLoaderException_MultipleInclusion : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_MultipleInclusion, K_ScriptLoaderException)
    K_ScriptLoaderException_MultipleInclusion(char const* name, unsigned line, char const* file);
};
class K_ScriptLoaderException_BracketedDefine : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_BracketedDefine, K_ScriptLoaderException)
    K_ScriptLoaderException_BracketedDefine(unsigned line, char const* file, unsigned openLine);
};
class K_ScriptLoaderException_DefineTooLong : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_DefineTooLong, K_ScriptLoaderException)
    K_ScriptLoaderException_DefineTooLong(unsigned line, char const* file);
};
class K_ScriptLoaderException_DefineSyntax : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_DefineSyntax, K_ScriptLoaderException)
    K_ScriptLoaderException_DefineSyntax(unsigned line, char const* file);
};
class K_ScriptLoaderException_ReDefinition : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_ReDefinition, K_ScriptLoaderException)
    K_ScriptLoaderException_ReDefinition(char const* name, char const* oldValue,
                                         char const* newValue, unsigned line, char const* file);
};
class K_ScriptLoaderException_UnknownDirective : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_UnknownDirective, K_ScriptLoaderException)
    K_ScriptLoaderException_UnknownDirective(unsigned line, char const* file);
};
class K_ScriptLoaderException_NoClosingBracket : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NoClosingBracket, K_ScriptLoaderException)
    K_ScriptLoaderException_NoClosingBracket(char const* file, unsigned openLine);
};

// ---- cutting the text into blocks and statements ----------------------------------------
// `path` is the block's nesting as K_ScriptLoader::blockNesting gives it, `left` the left
// side of the statement.
class K_ScriptLoaderException_EmptyTag : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_EmptyTag, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_EmptyTag(char const* path);
};
// A "[" with no "]" behind it in its block; only a #define's value can bring one.
class K_ScriptLoaderException_UnclosedTag : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_UnclosedTag, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_UnclosedTag(char const* path);
};
// A "{" with no "}" to match it in its block; only a #define's value can bring one.
class K_ScriptLoaderException_UnclosedNesting : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_UnclosedNesting, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_UnclosedNesting(char const* path);
};
class K_ScriptLoaderException_TagWithoutContent : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_TagWithoutContent, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_TagWithoutContent(char const* path);
};
class K_ScriptLoaderException_NestingWithoutTag : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NestingWithoutTag, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_NestingWithoutTag(char const* path);
};
class K_ScriptLoaderException_DataWithoutTag : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_DataWithoutTag, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_DataWithoutTag(char const* path);
};
class K_ScriptLoaderException_NoSemicolon : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NoSemicolon, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_NoSemicolon(char const* path);
};
class K_ScriptLoaderException_NoLValue : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NoLValue, K_ScriptLoaderException)
    explicit K_ScriptLoaderException_NoLValue(char const* path);
};
class K_ScriptLoaderException_MultipleAssignment : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_MultipleAssignment, K_ScriptLoaderException)
    K_ScriptLoaderException_MultipleAssignment(char const* left, char const* path);
};
class K_ScriptLoaderException_NoRValue : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_NoRValue, K_ScriptLoaderException)
    K_ScriptLoaderException_NoRValue(char const* left, char const* path);
};
class K_ScriptLoaderException_LValueSpaces : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_LValueSpaces, K_ScriptLoaderException)
    K_ScriptLoaderException_LValueSpaces(char const* left, char const* path);
};
class K_ScriptLoaderException_RValueSpaces : public K_ScriptLoaderException {
    K_EXCEPTION_CLASS_BODY(K_ScriptLoaderException_RValueSpaces, K_ScriptLoaderException)
    K_ScriptLoaderException_RValueSpaces(char const* left, char const* path);
};

// ---- reading a loaded script -------------------------------------------------------------
// `path` is K_Script::staticNesting of the block concerned.
class K_ScriptException_BlockNotFound : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_BlockNotFound, K_ScriptException)
    K_ScriptException_BlockNotFound(unsigned index, char const* path);
};
class K_ScriptException_NamedBlockNotFound : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_NamedBlockNotFound, K_ScriptException)
    K_ScriptException_NamedBlockNotFound(unsigned number, char const* name, char const* path);
};
class K_ScriptException_UnknownVariable : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_UnknownVariable, K_ScriptException)
    K_ScriptException_UnknownVariable(char const* left, char const* path);
};
class K_ScriptException_DoubleVariable : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_DoubleVariable, K_ScriptException)
    K_ScriptException_DoubleVariable(char const* name, char const* path);
};
class K_ScriptException_NoDefault : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_NoDefault, K_ScriptException)
    K_ScriptException_NoDefault(char const* name, char const* path);
};
class K_ScriptException_Parsing : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_Parsing, K_ScriptException)
    K_ScriptException_Parsing(char const* name, char const* path, char const* value,
                              char const* format);
};
class K_ScriptException_UnknownBlock : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_UnknownBlock, K_ScriptException)
    K_ScriptException_UnknownBlock(char const* name, char const* path);
};
class K_ScriptException_TooFewBlocks : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_TooFewBlocks, K_ScriptException)
    K_ScriptException_TooFewBlocks(char const* name, unsigned minimum, char const* path);
};
class K_ScriptException_TooManyBlocks : public K_ScriptException {
    K_EXCEPTION_CLASS_BODY(K_ScriptException_TooManyBlocks, K_ScriptException)
    K_ScriptException_TooManyBlocks(char const* name, unsigned maximum, char const* path);
};
