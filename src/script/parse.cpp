// Typed values: a data block checked against a host's table and converted into its variables.
#include "script/script_internal.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

int const K_Script::m_argsizes_char[] = {1, 0};
int const K_Script::m_argsizes_unsigned[] = {4, 0};
int const K_Script::m_argsizes_int[] = {4, 0};
int const K_Script::m_argsizes_hex[] = {4, 0};
int const K_Script::m_argsizes_float[] = {4, 0};
int const K_Script::m_argsizes_float3[] = {4, 4, 4, 0};
int const K_Script::m_argsizes_string[] = {4, 0};

K_Script::Format const K_Script::t_char = {"%c", K_Script::m_argsizes_char};
K_Script::Format const K_Script::t_unsigned = {"%u", K_Script::m_argsizes_unsigned};
K_Script::Format const K_Script::t_int = {"%d", K_Script::m_argsizes_int};
K_Script::Format const K_Script::t_hex = {"%x", K_Script::m_argsizes_hex};
K_Script::Format const K_Script::t_float = {"%f", K_Script::m_argsizes_float};
K_Script::Format const K_Script::t_float3 = {"(%f,%f,%f)", K_Script::m_argsizes_float3};
K_Script::Format const K_Script::t_string = {"%s", K_Script::m_argsizes_string};

namespace {

void store32(unsigned char* destination, std::uint32_t value) {
    std::memcpy(destination, &value, sizeof value);
}

// A word of `length` bytes equals `constant` when its bytes, folded to lower case, are
// those of the constant.
bool isWord(char const* word, std::size_t length, char const* constant) {
    if (std::strlen(constant) != length) {
        return false;
    }
    for (std::size_t i = 0; i < length; ++i) {
        if (constant[i] != klmfc::script::lower(word[i])) {
            return false;
        }
    }
    return true;
}

// Reads a decimal number with an optional sign at the start of the word, as the C library's
// scan of "%d" and "%u" does; the result wraps modulo 2^32 on every platform. False when the
// word does not begin as a number.
bool readDecimal(char const* word, std::size_t length, std::uint32_t* value) {
    std::size_t i = 0;
    bool negative = false;
    if (i < length && (word[i] == '+' || word[i] == '-')) {
        negative = word[i] == '-';
        ++i;
    }
    if (i >= length || word[i] < '0' || word[i] > '9') {
        return false;
    }
    std::uint32_t n = 0;
    for (; i < length && word[i] >= '0' && word[i] <= '9'; ++i) {
        n = n * 10u + static_cast<std::uint32_t>(word[i] - '0');
    }
    *value = negative ? 0u - n : n;
    return true;
}

} // namespace

void K_Script::parse(Variables const* table, bool assignDefaults) {
    SCRIPTBLOCK const* const block = m_current;

    // Pass 1: every left side is a row's name.
    if (!sm_bIgnoreUnknownVariables) {
        for (unsigned k = 0; k < block->lvalueCount; ++k) {
            bool known = false;
            for (Variables const* row = table; row != nullptr && row->name != nullptr; ++row) {
                if (lwrstrequal(block->lvalues[k], row->name)) {
                    known = true;
                    break;
                }
            }
            if (!known) {
                K_Raise<K_ScriptException_UnknownVariable>(block->lvalues[k], staticNesting());
            }
        }
    }

    // Pass 2: no row's name stands twice.
    for (Variables const* row = table; row != nullptr && row->name != nullptr; ++row) {
        if (countLvalues(row->name) > 1) {
            K_Raise<K_ScriptException_DoubleVariable>(row->name, staticNesting());
        }
    }

    // Pass 3: the values.
    for (Variables const* row = table; row != nullptr && row->name != nullptr; ++row) {
        bool found = false;
        char* value = nullptr;
        for (unsigned k = 0; k < block->lvalueCount; ++k) {
            if (lwrstrequal(block->lvalues[k], row->name)) {
                found = true;
                value = block->assignments[k];
                break;
            }
        }
        if (!found && row->defaultValue != nullptr) {
            // A copy: the table's text may be constant, and words are cut in place.
            klmfc::script::ByteVector& buffer = *klmfc::script::workspace()->parseBuffer;
            std::size_t const length = std::strlen(row->defaultValue) + 1;
            if (buffer.size() < length) {
                buffer.resize(length);
            }
            std::memcpy(buffer.data(), row->defaultValue, length);
            value = buffer.data();
        }
        if (value == nullptr) {
            K_Raise<K_ScriptException_NoDefault>(row->name, staticNesting());
        }
        if (!found && !assignDefaults) {
            continue;
        }
        convert(*row, value);
    }
}

void K_Script::parse(Variables const* table, unsigned index, bool assignDefaults) {
    K_ScriptLock const lock(this, index);
    parse(table, assignDefaults);
}

void K_Script::parse(Variables const* table, char const* name, unsigned number,
                     bool assignDefaults) {
    K_ScriptLock const lock(this, name, number);
    parse(table, assignDefaults);
}

void K_Script::convert(Variables const& row, char* value) const {
    char const* const format = row.format->format;
    int const* sizes = row.format->argsizes;
    unsigned char* destination = static_cast<unsigned char*>(row.destination);
    auto const fail = [&] {
        K_Raise<K_ScriptException_Parsing>(row.name, staticNesting(), value, format);
    };

    std::size_t f = 0;
    std::size_t v = 0;
    while (format[f] != 0) {
        if (format[f] != '%' || format[f + 1] == 0) {
            // A literal byte must stand in the value.
            if (value[v] != format[f]) {
                fail();
            }
            ++f;
            ++v;
            continue;
        }
        std::size_t const start = v;
        switch (format[f + 1]) {
        case 'c':
            if (value[v] == 0) {
                fail(); // no byte left to take
            }
            *destination = static_cast<unsigned char>(value[v++]);
            break;
        case 'd':
        case 'i':
        case 'u': {
            while (value[v] != 0 && (isNumber(value[v]) || isText(value[v]))) {
                ++v;
            }
            std::uint32_t number = 0;
            if (readDecimal(value + start, v - start, &number)) {
                store32(destination, number);
            } else if (isWord(value + start, v - start, "true") ||
                       isWord(value + start, v - start, "yes") ||
                       isWord(value + start, v - start, "on")) {
                store32(destination, 1);
            } else if (isWord(value + start, v - start, "false") ||
                       isWord(value + start, v - start, "no") ||
                       isWord(value + start, v - start, "off")) {
                store32(destination, 0);
            } else {
                fail();
            }
            break;
        }
        case 'f': {
            while (value[v] != 0 && isFloat(value[v])) {
                ++v;
            }
            char const behind = value[v];
            value[v] = 0;
            float number = 0.0f;
            int const read = std::sscanf(value + start, "%f", &number);
            value[v] = behind;
            if (read != 1) {
                fail();
            }
            if (value[v] == '%') {
                number *= 0.01f;
                ++v;
            }
            std::memcpy(destination, &number, sizeof number);
            break;
        }
        case 'x': {
            while (value[v] != 0 && isHex(value[v])) {
                ++v;
            }
            if (v == start) {
                fail();
            }
            std::uint32_t number = 0;
            for (std::size_t i = start; i < v; ++i) {
                char const c = value[i];
                number =
                    number * 16u + static_cast<std::uint32_t>(c <= '9' ? c - '0' : c - 'a' + 10);
            }
            store32(destination, number);
            break;
        }
        case 's': {
            char const stop = format[f + 2];
            char* out = reinterpret_cast<char*>(destination);
            bool quotes = false;
            while (value[v] != 0) {
                char const c = value[v];
                if (c == '\\' && value[v + 1] == '"') {
                    *out++ = '"';
                    v += 2;
                } else if (c == '"') {
                    quotes = !quotes;
                    ++v;
                } else if (!quotes && c == stop) {
                    break;
                } else {
                    *out++ = c;
                    ++v;
                }
            }
            *out = 0;
            break;
        }
        default:
            fail(); // no such conversion, "%%" among them
        }
        f += 2;
        if (sizes != nullptr && *sizes != 0) {
            destination += *sizes;
            ++sizes;
        }
    }
    if (value[v] != 0) {
        fail();
    }
}
