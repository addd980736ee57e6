// The verbose log and K_STR.
#include "klmfc/core/system.h"

#include "platform/platform.h"

#include <cstdio>
#include <ctime>

void K_System::verbose(char const* format, ...) {
    if (m_bVerboseCeased) {
        return;
    }
    if (!m_verboseStream.is_open()) {
        m_verboseStream.open(m_pVerboseFilename, std::ios::out | std::ios::app);
        if (!m_verboseStream.is_open()) {
            return; // tried again on the next call
        }
    }
    if (!m_bVerboseHeaderWritten) {
        m_bVerboseHeaderWritten = true;
        std::time_t const now = std::time(nullptr);
        verbose("\n %s", std::asctime(std::localtime(&now)));
        verbose("%s",
                "==============================================================================");
        verbose("\n\n");
    }
    char buffer[1024];
    va_list arguments;
    va_start(arguments, format);
    klmfc::platform::formatTruncated(buffer, sizeof buffer - 1, format, arguments);
    va_end(arguments);
    m_verboseStream << buffer;
    m_verboseStream.flush();
    if (m_pfVerboseCallback != nullptr) {
        m_pfVerboseCallback(buffer);
    }
}

void K_System::ceaseVerbose(int removeFile) {
    if (m_verboseStream.is_open()) {
        m_verboseStream.close();
    }
    if (removeFile != 0) {
        std::remove(m_pVerboseFilename);
    }
    m_bVerboseCeased = true;
}

void K_System::clearVerbose() {
    if (m_bVerboseCeased) {
        return;
    }
    if (m_verboseStream.is_open()) {
        m_verboseStream.close();
    }
    m_verboseStream.clear();
    m_verboseStream.open(m_pVerboseFilename, std::ios::out | std::ios::trunc);
    m_bVerboseHeaderWritten = false;
}

K_System::VerboseCallback K_System::setVerboseCallback(VerboseCallback callback) {
    VerboseCallback const previous = m_pfVerboseCallback;
    m_pfVerboseCallback = callback;
    return previous;
}

namespace {
char s_stringRing[32][2048];
int s_nextString = 0;
} // namespace

char const* K_STR(char const* format, ...) {
    K_System* const system = Sys;
    if (system != nullptr) {
        klmfc::platform::lockMutex(system->m_hMutex);
    }
    char* buffer = s_stringRing[s_nextString];
    s_nextString = (s_nextString + 1) & 31;
    va_list arguments;
    va_start(arguments, format);
    klmfc::platform::formatTruncated(buffer, 2047, format, arguments);
    va_end(arguments);
    if (system != nullptr) {
        klmfc::platform::unlockMutex(system->m_hMutex);
    }
    return buffer;
}
