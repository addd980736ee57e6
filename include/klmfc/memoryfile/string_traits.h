// The second string type of the library: K_String's layout with character traits that
// compare without regard to case, as a Windows program's case-blind strings do. Only the
// ASCII letters fold; every other byte compares as itself.
#pragma once

#include "klmfc/memory/memory.h"

#include <cstddef>
#include <string>

namespace std {

// The traits live beside the standard ones, under the name that hosts spell them by.
struct K_CTrI : char_traits<char> {
    static constexpr char fold(char c) {
        return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    }
    static constexpr bool eq(char a, char b) { return fold(a) == fold(b); }
    static constexpr bool lt(char a, char b) {
        return static_cast<unsigned char>(fold(a)) < static_cast<unsigned char>(fold(b));
    }
    static constexpr int compare(char const* a, char const* b, size_t count) {
        for (size_t i = 0; i < count; ++i) {
            if (lt(a[i], b[i])) {
                return -1;
            }
            if (lt(b[i], a[i])) {
                return 1;
            }
        }
        return 0;
    }
    static constexpr char const* find(char const* text, size_t count, char const& c) {
        for (size_t i = 0; i < count; ++i) {
            if (eq(text[i], c)) {
                return text + i;
            }
        }
        return nullptr;
    }
};

} // namespace std

// A K_String that compares, searches and orders without regard to case.
using K_CTrIString = std::basic_string<char, std::K_CTrI, K_Allocator<char>>;
