#include "klmfc/mfc/archive.h"

#include "platform/direct_io.h"
#include "platform/files.h"
#include "platform/output_file.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>

namespace {

int copyMessage(char const* text, char* buffer, unsigned int size, unsigned int* helpContext) {
    if (helpContext != nullptr) {
        *helpContext = 0;
    }
    if (buffer != nullptr && size > 0) {
        std::strncpy(buffer, text, size - 1);
        buffer[size - 1] = 0;
    }
    return 1;
}

char const* archiveText(int cause) {
    switch (cause) {
    case CArchiveException::none:
        return "No error occurred.";
    case CArchiveException::readOnly:
        return "Tried to write to an archive opened for loading.";
    case CArchiveException::endOfFile:
        return "Reached the end of the file while reading an object.";
    case CArchiveException::writeOnly:
        return "Tried to read from an archive opened for storing.";
    case CArchiveException::badIndex:
        return "Invalid file format: a value out of range.";
    case CArchiveException::badClass:
        return "Tried to read an object into an object of the wrong type.";
    case CArchiveException::badSchema:
        return "Tried to read an object with a different version of the class.";
    default:
        return "An unexpected error occurred while reading or writing an archive.";
    }
}

char const* fileText(int cause) {
    switch (cause) {
    case CFileException::none:
        return "No error occurred.";
    case CFileException::fileNotFound:
        return "The file could not be found.";
    case CFileException::accessDenied:
        return "The file could not be accessed.";
    case CFileException::badSeek:
        return "An error occurred while setting the file position.";
    case CFileException::hardIO:
        return "A hardware error occurred.";
    case CFileException::diskFull:
        return "The disk is full.";
    case CFileException::endOfFile:
        return "The end of the file was reached.";
    default:
        return "An unspecified error occurred while accessing a file.";
    }
}

} // namespace

// ---- exceptions -------------------------------------------------------------------------

CRuntimeClass CArchiveException::classCArchiveException = {
    "CArchiveException", sizeof(CArchiveException), 0xFFFF, nullptr, &CException::classCException};
CRuntimeClass* CArchiveException::GetRuntimeClass() const {
    return &classCArchiveException;
}
CRuntimeClass* CArchiveException::GetThisClass() {
    return &classCArchiveException;
}
int CArchiveException::GetErrorMessage(char* buffer, unsigned int size, unsigned int* helpContext) {
    return copyMessage(archiveText(m_cause), buffer, size, helpContext);
}
int CArchiveException::ReportError(unsigned int type, unsigned int) {
    return K_MessageBox(archiveText(m_cause), "CArchiveException", type);
}

CRuntimeClass CFileException::classCFileException = {"CFileException", sizeof(CFileException),
                                                     0xFFFF, nullptr, &CException::classCException};
CRuntimeClass* CFileException::GetRuntimeClass() const {
    return &classCFileException;
}
CRuntimeClass* CFileException::GetThisClass() {
    return &classCFileException;
}
int CFileException::GetErrorMessage(char* buffer, unsigned int size, unsigned int* helpContext) {
    return copyMessage(fileText(m_cause), buffer, size, helpContext);
}
int CFileException::ReportError(unsigned int type, unsigned int) {
    return K_MessageBox(fileText(m_cause), "CFileException", type);
}

void AfxThrowArchiveException(int cause) {
    throw new CArchiveException(cause);
}
void AfxThrowFileException(int cause) {
    throw new CFileException(cause);
}

// ---- CFile ------------------------------------------------------------------------------

CFile::~CFile() {
    CFile::Close();
}

bool CFile::Open(char const* fileName, unsigned int openFlags) {
    Close();
    unsigned int const access = openFlags & 3u;
    bool const create = (openFlags & modeCreate) != 0;
    bool const keep = (openFlags & modeNoTruncate) != 0;
    char const* mode = "rb";
    if (access != modeRead) {
        if (create && !keep) {
            mode = access == modeWrite ? "wb" : "w+b";
        } else {
            mode = "r+b";
        }
    }
    m_pFile = klmfc::platform::openPath(fileName, mode);
    if (m_pFile == nullptr && access != modeRead && create && keep) {
        m_pFile = klmfc::platform::openPath(fileName, "w+b"); // not there yet: made
    }
    return m_pFile != nullptr;
}

void CFile::Close() {
    klmfc::platform::closeOutput(m_pFile);
    m_pFile = nullptr;
}

unsigned int CFile::Read(void* buffer, unsigned int count) {
    if (m_pFile == nullptr || count == 0) {
        return 0;
    }
    return static_cast<unsigned int>(std::fread(buffer, 1, count, m_pFile));
}

void CFile::Write(void const* buffer, unsigned int count) {
    if (m_pFile == nullptr) {
        AfxThrowFileException(CFileException::accessDenied);
    }
    if (!klmfc::platform::writeOutput(m_pFile, buffer, count)) {
        AfxThrowFileException(CFileException::diskFull);
    }
}

std::uint64_t CFile::Seek(std::int64_t offset, unsigned int from) {
    if (m_pFile == nullptr) {
        AfxThrowFileException(CFileException::badSeek);
    }
    std::int64_t base = 0;
    if (from == current) {
        base = static_cast<std::int64_t>(GetPosition());
    } else if (from == end) {
        base = static_cast<std::int64_t>(GetLength());
    }
    std::int64_t const target = base + offset;
    if (target < 0 || !klmfc::platform::seekOutput(m_pFile, static_cast<std::uint64_t>(target))) {
        AfxThrowFileException(CFileException::badSeek);
    }
    return static_cast<std::uint64_t>(target);
}

std::uint64_t CFile::GetLength() const {
    std::uint64_t length = 0;
    if (m_pFile != nullptr) {
        std::fflush(m_pFile);
        klmfc::platform::fileLength(m_pFile, &length);
    }
    return length;
}

std::uint64_t CFile::GetPosition() const {
    std::uint64_t position = 0;
    if (m_pFile != nullptr) {
        klmfc::platform::tellOutput(m_pFile, &position);
    }
    return position;
}

void CFile::Flush() {
    if (m_pFile != nullptr) {
        std::fflush(m_pFile);
    }
}

// ---- CMemFile ---------------------------------------------------------------------------

CMemFile::CMemFile(unsigned int growBytes) : m_uiGrowBytes(growBytes == 0 ? 1024 : growBytes) {}

CMemFile::CMemFile(void* buffer, unsigned int size, unsigned int growBytes)
    : m_pBuffer(static_cast<unsigned char*>(buffer)), m_uiLength(buffer != nullptr ? size : 0),
      m_uiCapacity(m_uiLength), m_uiGrowBytes(growBytes), m_bOwnsBuffer(false) {}

CMemFile::~CMemFile() {
    CMemFile::Close();
}

void CMemFile::Close() {
    if (m_bOwnsBuffer) {
        std::free(m_pBuffer);
    }
    m_pBuffer = nullptr;
    m_uiLength = m_uiCapacity = m_uiPosition = 0;
    m_bOwnsBuffer = true;
    if (m_uiGrowBytes == 0) {
        m_uiGrowBytes = 1024;
    }
}

unsigned int CMemFile::Read(void* buffer, unsigned int count) {
    if (m_uiPosition >= m_uiLength) {
        return 0;
    }
    unsigned int const n = std::min(count, m_uiLength - m_uiPosition);
    std::memcpy(buffer, m_pBuffer + m_uiPosition, n);
    m_uiPosition += n;
    return n;
}

void CMemFile::Write(void const* buffer, unsigned int count) {
    if (count == 0) {
        return;
    }
    std::uint64_t const end = std::uint64_t{m_uiPosition} + count;
    if (end > m_uiCapacity) {
        if (m_uiGrowBytes == 0 || end > std::numeric_limits<unsigned int>::max()) {
            AfxThrowFileException(CFileException::diskFull);
        }
        std::uint64_t capacity = (end + m_uiGrowBytes - 1) / m_uiGrowBytes * m_uiGrowBytes;
        capacity = std::min<std::uint64_t>(capacity, std::numeric_limits<unsigned int>::max());
        unsigned char* grown;
        if (m_bOwnsBuffer) {
            grown = static_cast<unsigned char*>(std::realloc(m_pBuffer, capacity));
        } else {
            grown = static_cast<unsigned char*>(std::malloc(capacity));
            if (grown != nullptr && m_uiLength > 0) {
                std::memcpy(grown, m_pBuffer, m_uiLength);
            }
        }
        if (grown == nullptr) {
            AfxThrowFileException(CFileException::diskFull);
        }
        m_pBuffer = grown;
        m_bOwnsBuffer = true;
        m_uiCapacity = static_cast<unsigned int>(capacity);
    }
    if (m_uiPosition > m_uiLength) { // a seek past the end leaves a gap of zeros
        std::memset(m_pBuffer + m_uiLength, 0, m_uiPosition - m_uiLength);
    }
    std::memcpy(m_pBuffer + m_uiPosition, buffer, count);
    m_uiPosition = static_cast<unsigned int>(end);
    m_uiLength = std::max(m_uiLength, m_uiPosition);
}

std::uint64_t CMemFile::Seek(std::int64_t offset, unsigned int from) {
    std::int64_t base = 0;
    if (from == current) {
        base = m_uiPosition;
    } else if (from == end) {
        base = m_uiLength;
    }
    std::int64_t const target = base + offset;
    if (target < 0 || target > std::numeric_limits<unsigned int>::max()) {
        AfxThrowFileException(CFileException::badSeek);
    }
    m_uiPosition = static_cast<unsigned int>(target);
    return m_uiPosition;
}

unsigned char* CMemFile::Detach() {
    unsigned char* block = m_pBuffer;
    m_pBuffer = nullptr;
    m_bOwnsBuffer = true;
    Close();
    return block;
}

// ---- CArchive ---------------------------------------------------------------------------

CArchive::CArchive(CFile* file, unsigned int mode, int bufferSize, void* buffer)
    : m_pFile(file), m_bLoading((mode & load) != 0),
      m_bFlushOnDelete((mode & bNoFlushOnDelete) == 0), m_bOwnsBuffer(buffer == nullptr),
      m_uiBufSize(static_cast<unsigned int>(std::max(bufferSize, 16))) {
    m_pBufStart =
        m_bOwnsBuffer ? new unsigned char[m_uiBufSize] : static_cast<unsigned char*>(buffer);
    m_pBufCur = m_pBufStart;
    m_pBufMax = m_bLoading ? m_pBufStart : m_pBufStart + m_uiBufSize;
}

CArchive::~CArchive() {
    if (m_pFile != nullptr && !m_bLoading && m_bFlushOnDelete) {
        try {
            Flush();
        } catch (CException* e) {
            e->Delete(); // a destructor does not throw; Close reports a failure
        }
    }
    if (m_bOwnsBuffer) {
        delete[] m_pBufStart;
    }
}

void CArchive::Flush() {
    if (m_pFile == nullptr || m_bLoading) {
        return;
    }
    unsigned int const pending = static_cast<unsigned int>(m_pBufCur - m_pBufStart);
    m_pBufCur = m_pBufStart;
    if (pending > 0) {
        m_pFile->Write(m_pBufStart, pending);
    }
    m_pFile->Flush();
}

void CArchive::Close() {
    Flush();
    m_pFile = nullptr;
}

void CArchive::Abort() {
    m_pBufCur = m_pBufStart;
    m_pFile = nullptr;
}

void CArchive::makeRoomToStore(unsigned int width) {
    if (m_pFile == nullptr) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    if (m_bLoading) {
        AfxThrowArchiveException(CArchiveException::readOnly);
    }
    if (static_cast<unsigned int>(m_pBufMax - m_pBufCur) < width) {
        unsigned int const pending = static_cast<unsigned int>(m_pBufCur - m_pBufStart);
        m_pBufCur = m_pBufStart;
        m_pFile->Write(m_pBufStart, pending);
    }
}

void CArchive::fillToLoad(unsigned int width) {
    if (m_pFile == nullptr) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    if (!m_bLoading) {
        AfxThrowArchiveException(CArchiveException::writeOnly);
    }
    unsigned int kept = static_cast<unsigned int>(m_pBufMax - m_pBufCur);
    std::memmove(m_pBufStart, m_pBufCur, kept);
    m_pBufCur = m_pBufStart;
    while (kept < width) {
        unsigned int const got = m_pFile->Read(m_pBufStart + kept, m_uiBufSize - kept);
        if (got == 0) {
            m_pBufMax = m_pBufStart + kept;
            AfxThrowArchiveException(CArchiveException::endOfFile);
        }
        kept += got;
    }
    m_pBufMax = m_pBufStart + kept;
}

unsigned int CArchive::Read(void* buffer, unsigned int count) {
    if (count == 0) {
        return 0;
    }
    if (m_pFile == nullptr) {
        AfxThrowArchiveException(CArchiveException::genericException);
    }
    if (!m_bLoading) {
        AfxThrowArchiveException(CArchiveException::writeOnly);
    }
    auto* out = static_cast<unsigned char*>(buffer);
    unsigned int done = std::min(count, static_cast<unsigned int>(m_pBufMax - m_pBufCur));
    std::memcpy(out, m_pBufCur, done);
    m_pBufCur += done;
    // Large remainders go straight from the file; small ones through the buffer.
    while (count - done >= m_uiBufSize) {
        unsigned int const got = m_pFile->Read(out + done, count - done);
        if (got == 0) {
            return done;
        }
        done += got;
    }
    while (done < count) {
        unsigned int const got = m_pFile->Read(m_pBufStart, m_uiBufSize);
        m_pBufCur = m_pBufStart;
        m_pBufMax = m_pBufStart + got;
        if (got == 0) {
            break;
        }
        unsigned int const take = std::min(got, count - done);
        std::memcpy(out + done, m_pBufCur, take);
        m_pBufCur += take;
        done += take;
    }
    return done;
}

void CArchive::Write(void const* buffer, unsigned int count) {
    if (count == 0) {
        return;
    }
    makeRoomToStore(0);
    auto const* in = static_cast<unsigned char const*>(buffer);
    unsigned int const room = static_cast<unsigned int>(m_pBufMax - m_pBufCur);
    if (count <= room) {
        std::memcpy(m_pBufCur, in, count);
        m_pBufCur += count;
        return;
    }
    unsigned int const pending = static_cast<unsigned int>(m_pBufCur - m_pBufStart);
    m_pBufCur = m_pBufStart;
    m_pFile->Write(m_pBufStart, pending);
    if (count >= m_uiBufSize) {
        m_pFile->Write(in, count);
        return;
    }
    std::memcpy(m_pBufCur, in, count);
    m_pBufCur += count;
}

CArchive& CArchive::operator<<(long value) {
    if (static_cast<std::int32_t>(value) != value) { // only where long is wider
        AfxThrowArchiveException(CArchiveException::badIndex);
    }
    return storeBits(static_cast<std::uint32_t>(value), 4);
}

CArchive& CArchive::operator<<(unsigned long value) {
    if (static_cast<std::uint32_t>(value) != value) {
        AfxThrowArchiveException(CArchiveException::badIndex);
    }
    return storeBits(static_cast<std::uint32_t>(value), 4);
}
