#include "klmfc/core/exception.h"

#include "platform/platform.h"

#include <cstdio>
#include <cstring>

K_Exception::LocalizationCallback K_Exception::m_pfLocalizationCallback = nullptr;
CRuntimeClass K_Exception::classK_Exception = {"K_Exception", sizeof(K_Exception), 0xFFFF,
                                               nullptr, &CException::classCException};
char K_Exception::sm_acErrorMessages[4][8192];
int K_Exception::sm_iNextErrorMessage = 0;

namespace {
char const kUnspecified[] = "Unspecified K_Exception";
}

K_Exception::K_Exception() : CException(false), m_pErrorMessage(kUnspecified) {}

K_Exception::K_Exception(K_Exception const& other) : CException(other) { *this = other; }

K_Exception& K_Exception::operator=(K_Exception const& other) {
    if (&other != this) {
        m_pErrorMessage = other.m_pErrorMessage;
    }
    return *this;
}

K_Exception::~K_Exception() = default;

CRuntimeClass* K_Exception::GetRuntimeClass() const { return &classK_Exception; }
CRuntimeClass* K_Exception::GetThisClass() { return &classK_Exception; }
void K_Exception::Serialize(CArchive&) {}
void K_Exception::AssertValid() const {}
void K_Exception::Dump(CDumpContext&) const {}

int K_Exception::GetErrorMessage(char* buffer, unsigned int size, unsigned int* helpContext) {
    std::strncpy(buffer, getErrorMessage(), size);
    if (helpContext != nullptr) {
        *helpContext = 0;
    }
    return 1;
}

int K_Exception::ReportError(unsigned int type, unsigned int) {
    return K_MessageBox(getErrorMessage(), "K_Exception", type);
}

char const* K_Exception::getErrorMessage() const { return m_pErrorMessage; }

void K_Exception::setError(char const* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    setErrorV(format, arguments);
    va_end(arguments);
}

void K_Exception::setErrorV(char const* format, va_list arguments) {
    char* buffer = sm_acErrorMessages[sm_iNextErrorMessage];
    sm_iNextErrorMessage = (sm_iNextErrorMessage + 1) & 3;
    buffer[8191] = 0;
    va_list copy;
    va_copy(copy, arguments);
    klmfc::platform::formatTruncated(buffer, 8191, format, copy);
    va_end(copy);
    if (m_pfLocalizationCallback != nullptr) {
        // The callback gets the argument list in the form the platform passes it: a
        // pointer to the va_list, which it may va_copy from.
        va_list forCallback;
        va_copy(forCallback, arguments);
        m_pfLocalizationCallback(*this, buffer, format, reinterpret_cast<char*>(&forCallback));
        va_end(forCallback);
    }
    m_pErrorMessage = buffer;
}

void K_Exception::setLocalizationCallback(LocalizationCallback callback) {
    m_pfLocalizationCallback = callback;
}

void K_Exception::clearLocalizationCallback() { m_pfLocalizationCallback = nullptr; }
