#include "klmfc/mfc/cstring.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {

int foldedByte(char c) {
    unsigned char const u = static_cast<unsigned char>(c);
    return u >= 'A' && u <= 'Z' ? u - 'A' + 'a' : u;
}

} // namespace

char* CString::GetBuffer(int minLength) {
    if (minLength > GetLength()) {
        m_text.resize(static_cast<std::size_t>(minLength));
    }
    return m_text.data();
}

char* CString::GetBufferSetLength(int length) {
    m_text.resize(length > 0 ? static_cast<std::size_t>(length) : 0);
    return m_text.data();
}

void CString::ReleaseBuffer(int newLength) {
    if (newLength < 0) {
        newLength = static_cast<int>(std::strlen(m_text.c_str()));
    }
    if (static_cast<std::size_t>(newLength) < m_text.size()) {
        m_text.resize(static_cast<std::size_t>(newLength));
    }
}

int CString::Compare(char const* text) const {
    return std::strcmp(m_text.c_str(), text != nullptr ? text : "");
}

int CString::CompareNoCase(char const* text) const {
    char const* a = m_text.c_str();
    char const* b = text != nullptr ? text : "";
    for (;; ++a, ++b) {
        int const d = foldedByte(*a) - foldedByte(*b);
        if (d != 0 || *a == 0) {
            return d;
        }
    }
}

void CString::Format(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list measure;
    va_copy(measure, arguments);
    int const length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    if (length <= 0) {
        m_text.clear();
    } else {
        m_text.resize(static_cast<std::size_t>(length));
        std::vsnprintf(m_text.data(), static_cast<std::size_t>(length) + 1, format, arguments);
    }
    va_end(arguments);
}
