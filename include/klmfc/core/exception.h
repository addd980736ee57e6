// The library's exception tree.
//
// Every failure throws a pointer to a long-lived static object of its leaf class; the
// catcher reads getErrorMessage() and never deletes it. Messages are formatted once into
// a ring of four 8192-byte buffers, so a message stays readable until four more have
// been made.
#pragma once

#include "klmfc/mfc/afx.h"

#include <cstdarg>
#include <type_traits>
#include <utility>

class K_Exception : public CException {
public:
    // Marks the construction of a class's static throw object: no message is formatted.
    struct Blank {};

    using LocalizationCallback = void (*)(K_Exception const& exception, char* message,
                                          char const* format, char* arguments);

    K_Exception(K_Exception const& other);
    K_Exception& operator=(K_Exception const& other);
    ~K_Exception() override;

    CRuntimeClass* GetRuntimeClass() const override;
    void Serialize(CArchive& archive) override;
    void AssertValid() const override;
    void Dump(CDumpContext& context) const override;
    int GetErrorMessage(char* buffer, unsigned int size,
                        unsigned int* helpContext = nullptr) override;
    int ReportError(unsigned int type = 0, unsigned int messageID = 0) override;
    virtual char const* getErrorMessage() const;

    // printf-style; formats into the next buffer of the ring and passes the text to the
    // localisation callback, if one is set.
    void setError(char const* format, ...)
#if defined(__GNUC__)
        __attribute__((format(printf, 2, 3)))
#endif
        ;
    void setErrorV(char const* format, va_list arguments);

    static void setLocalizationCallback(LocalizationCallback callback);
    static void clearLocalizationCallback();
    static CRuntimeClass* GetThisClass();

    static LocalizationCallback m_pfLocalizationCallback;
    static CRuntimeClass classK_Exception;
    static char sm_acErrorMessages[4][8192];
    static int sm_iNextErrorMessage;

protected:
    K_Exception();
    explicit K_Exception(Blank) : K_Exception() {}

    char const* m_pErrorMessage;
};

// The object that serves every throw of a class: built through the class's own
// constructor when that takes no particulars (it formats its message once, like any
// other instance), otherwise blank through the K_Exception constructor.
template <class Leaf> Leaf K_MakeStaticException() {
    if constexpr (std::is_default_constructible_v<Leaf>) {
        return Leaf();
    } else {
        return Leaf(K_Exception::Blank{});
    }
}

// Throws `temporary` the library's way: the class's one static object takes over its
// message and a pointer to that object is thrown. The same address serves every throw
// of a class.
template <class Leaf> [[noreturn]] void K_ThrowStatic(Leaf const& temporary) {
    static Leaf s_object = K_MakeStaticException<Leaf>();
    s_object = temporary;
    throw &s_object;
}

// Builds the leaf with its particulars and throws it by K_ThrowStatic.
template <class Leaf, class... Args> [[noreturn]] void K_Raise(Args&&... args) {
    Leaf temporary(std::forward<Args>(args)...);
    K_ThrowStatic(temporary);
}

// Declares the constructor every exception class needs for its static throw object.
#define K_EXCEPTION_CLASS_BODY(Class, Base)                                                        \
public:                                                                                            \
    explicit Class(K_Exception::Blank b) : Base(b) {}

// A family class: the static-object constructor and a default one for its leaves.
#define K_EXCEPTION_FAMILY_BODY(Class, Base)                                                       \
    K_EXCEPTION_CLASS_BODY(Class, Base)                                                            \
protected:                                                                                         \
    Class() = default;

// The family classes, one per subsystem. They carry no message of their own.
class K_MemoryException : public K_Exception {
    K_EXCEPTION_FAMILY_BODY(K_MemoryException, K_Exception)
};
class K_FileException : public K_Exception {
    K_EXCEPTION_FAMILY_BODY(K_FileException, K_Exception)
};
class K_MemoryFileException : public K_Exception {
    K_EXCEPTION_FAMILY_BODY(K_MemoryFileException, K_Exception)
};
class K_ScriptException : public K_Exception {
    K_EXCEPTION_FAMILY_BODY(K_ScriptException, K_Exception)
};
class K_ScriptLoaderException : public K_ScriptException {
    K_EXCEPTION_FAMILY_BODY(K_ScriptLoaderException, K_ScriptException)
};
