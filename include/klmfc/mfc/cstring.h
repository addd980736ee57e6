// A small stand-in for MFC's narrow CString: a counted string of bytes that converts to
// a C string, with the buffer access that code written for MFC uses to fill one in place.
#pragma once

#include <string>

class CString {
public:
    CString() = default;
    CString(char const* text) : m_text(text != nullptr ? text : "") {}
    CString(char const* text, int length)
        : m_text(text != nullptr && length > 0 ? std::string(text, static_cast<std::size_t>(length))
                                               : std::string()) {}
    CString(char c, int repeat = 1)
        : m_text(repeat > 0 ? static_cast<std::size_t>(repeat) : 0, c) {}
    CString(CString const&) = default;
    CString& operator=(CString const&) = default;
    CString& operator=(char const* text) {
        m_text = text != nullptr ? text : "";
        return *this;
    }

    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    operator char const*() const { return m_text.c_str(); }
    char GetAt(int index) const { return m_text[static_cast<std::size_t>(index)]; }
    char operator[](int index) const { return GetAt(index); }
    void SetAt(int index, char c) { m_text[static_cast<std::size_t>(index)] = c; }

    // A writable buffer of at least `minLength` characters and a terminator; the content
    // stays. ReleaseBuffer takes the length back: the given one, or up to the first zero
    // for -1.
    char* GetBuffer(int minLength);
    // A writable buffer of exactly `length` characters, which become the string's length.
    char* GetBufferSetLength(int length);
    void ReleaseBuffer(int newLength = -1);

    CString& operator+=(CString const& other) {
        m_text += other.m_text;
        return *this;
    }
    CString& operator+=(char const* text) {
        m_text += text != nullptr ? text : "";
        return *this;
    }
    CString& operator+=(char c) {
        m_text += c;
        return *this;
    }

    // Byte comparison, and comparison without regard to the case of ASCII letters:
    // below 0, 0, above 0.
    int Compare(char const* text) const;
    int Compare(CString const& other) const { return m_text.compare(other.m_text); }
    int CompareNoCase(char const* text) const;

    // printf-style.
    [[gnu::format(printf, 2, 3)]] void Format(char const* format, ...);

private:
    std::string m_text;
};

inline CString operator+(CString left, CString const& right) {
    return left += right;
}
inline CString operator+(CString left, char const* right) {
    return left += right;
}
inline bool operator==(CString const& a, char const* b) {
    return a.Compare(b) == 0;
}
inline bool operator!=(CString const& a, char const* b) {
    return a.Compare(b) != 0;
}
inline bool operator==(char const* a, CString const& b) {
    return b.Compare(a) == 0;
}
inline bool operator!=(char const* a, CString const& b) {
    return b.Compare(a) != 0;
}
inline bool operator==(CString const& a, CString const& b) {
    return a.Compare(b) == 0;
}
inline bool operator!=(CString const& a, CString const& b) {
    return a.Compare(b) != 0;
}
inline bool operator<(CString const& a, CString const& b) {
    return a.Compare(b) < 0;
}
