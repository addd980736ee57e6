// Small stand-ins for MFC's serialisation classes: CFile over a disk file, CMemFile over
// a block of memory, and CArchive, which stores values into one of them or loads values
// from it through a buffer of its own. Multi-byte values are little-endian, 32 bits for
// the integer types that MFC code streams as LONG and DWORD.
//
// Failures are thrown as MFC throws them: a pointer to a new CArchiveException or
// CFileException, which the handler releases with Delete().
#pragma once

#include "klmfc/mfc/afx.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

// A failure of an archive; m_cause tells which.
class CArchiveException : public CException {
public:
    enum {
        none = 0,
        genericException = 1,
        readOnly = 2,  // a store into an archive that loads
        endOfFile = 3, // the file ended inside a value
        writeOnly = 4, // a load from an archive that stores
        badIndex = 5,  // a count that cannot be
        badClass = 6,
        badSchema = 7
    };

    explicit CArchiveException(int cause = none) : CException(true), m_cause(cause) {}

    CRuntimeClass* GetRuntimeClass() const override;
    int GetErrorMessage(char* buffer, unsigned int size,
                        unsigned int* helpContext = nullptr) override;
    int ReportError(unsigned int type = 0, unsigned int messageID = 0) override;
    static CRuntimeClass* GetThisClass();
    static CRuntimeClass classCArchiveException;

    int m_cause;
};

// A failure of a file; m_cause tells which.
class CFileException : public CException {
public:
    enum {
        none = 0,
        genericException = 1,
        fileNotFound = 2,
        accessDenied = 5,
        badSeek = 9,
        hardIO = 10,
        diskFull = 13,
        endOfFile = 14
    };

    explicit CFileException(int cause = none) : CException(true), m_cause(cause) {}

    CRuntimeClass* GetRuntimeClass() const override;
    int GetErrorMessage(char* buffer, unsigned int size,
                        unsigned int* helpContext = nullptr) override;
    int ReportError(unsigned int type = 0, unsigned int messageID = 0) override;
    static CRuntimeClass* GetThisClass();
    static CRuntimeClass classCFileException;

    int m_cause;
};

[[noreturn]] void AfxThrowArchiveException(int cause);
[[noreturn]] void AfxThrowFileException(int cause);

// A disk file. Names are the system's paths; backslashes count as separators and
// directories are found without regard to case, as a Windows program expects.
class CFile {
public:
    enum OpenFlags {
        modeRead = 0x0000,
        modeWrite = 0x0001,
        modeReadWrite = 0x0002,
        modeCreate = 0x1000,
        modeNoTruncate = 0x2000,
        typeBinary = 0x8000
    };
    enum SeekPosition { begin = 0, current = 1, end = 2 };

    CFile() = default;
    virtual ~CFile();
    CFile(CFile const&) = delete;
    CFile& operator=(CFile const&) = delete;

    // False when the file cannot be opened; modeCreate makes it (empty, unless
    // modeNoTruncate is given too).
    virtual bool Open(char const* fileName, unsigned int openFlags);
    virtual void Close();
    // The bytes read, fewer only at the end of the file.
    virtual unsigned int Read(void* buffer, unsigned int count);
    // Raises CFileException when not all bytes reach the file.
    virtual void Write(void const* buffer, unsigned int count);
    // The new position. Raises CFileException (badSeek) for a position before the start.
    virtual std::uint64_t Seek(std::int64_t offset, unsigned int from);
    virtual std::uint64_t GetLength() const;
    virtual std::uint64_t GetPosition() const;
    virtual void Flush();
    void SeekToBegin() { Seek(0, begin); }
    std::uint64_t SeekToEnd() { return Seek(0, end); }

private:
    std::FILE* m_pFile = nullptr;
};

// A file in memory: a block of its own that grows by `growBytes` steps, or a caller's block
// of fixed length.
class CMemFile : public CFile {
public:
    explicit CMemFile(unsigned int growBytes = 1024);
    // Reads and overwrites `buffer`, whose `size` bytes are the file. With `growBytes` 0 the
    // file cannot grow beyond them (a write past them raises CFileException, diskFull);
    // otherwise a write past them moves the content into a block of the file's own.
    CMemFile(void* buffer, unsigned int size, unsigned int growBytes = 0);
    ~CMemFile() override;

    // A memory file opens nothing.
    bool Open(char const*, unsigned int) override { return false; }
    void Close() override;
    unsigned int Read(void* buffer, unsigned int count) override;
    void Write(void const* buffer, unsigned int count) override;
    std::uint64_t Seek(std::int64_t offset, unsigned int from) override;
    std::uint64_t GetLength() const override { return m_uiLength; }
    std::uint64_t GetPosition() const override { return m_uiPosition; }
    void Flush() override {}

    // Hands the block to the caller, who releases it with free() when the file made it;
    // the file is empty afterwards.
    unsigned char* Detach();

private:
    unsigned char* m_pBuffer = nullptr;
    unsigned int m_uiLength = 0;
    unsigned int m_uiCapacity = 0;
    unsigned int m_uiPosition = 0;
    unsigned int m_uiGrowBytes;
    bool m_bOwnsBuffer = true;
};

class CArchive {
public:
    enum Mode { store = 0, load = 1, bNoFlushOnDelete = 2 };

    // An archive on `file`, which it neither opens nor closes, with a buffer of
    // `bufferSize` bytes (at least 16): the caller's `buffer` when given, else its own.
    CArchive(CFile* file, unsigned int mode, int bufferSize = 4096, void* buffer = nullptr);
    // A storing archive writes out its buffer here, unless it was closed or aborted or
    // built with bNoFlushOnDelete.
    ~CArchive();
    CArchive(CArchive const&) = delete;
    CArchive& operator=(CArchive const&) = delete;

    bool IsLoading() const { return m_bLoading; }
    bool IsStoring() const { return !m_bLoading; }
    CFile* GetFile() const { return m_pFile; }

    // The bytes read, fewer only at the end of the file.
    unsigned int Read(void* buffer, unsigned int count);
    void Write(void const* buffer, unsigned int count);
    // Storing: the buffer goes to the file.
    void Flush();
    // Flushes and detaches from the file.
    void Close();
    // Detaches from the file without writing the buffer out.
    void Abort();

    CArchive& operator<<(unsigned char value) { return storeBits(value, 1); }
    CArchive& operator<<(char value) { return storeBits(static_cast<unsigned char>(value), 1); }
    CArchive& operator<<(bool value) { return storeBits(value ? 1u : 0u, 1); }
    CArchive& operator<<(short value) { return storeBits(static_cast<unsigned short>(value), 2); }
    CArchive& operator<<(unsigned short value) { return storeBits(value, 2); }
    CArchive& operator<<(int value) { return storeBits(static_cast<unsigned int>(value), 4); }
    CArchive& operator<<(unsigned int value) { return storeBits(value, 4); }
    // LONG and DWORD: 32 bits; a wider value that does not fit raises CArchiveException
    // (badIndex).
    CArchive& operator<<(long value);
    CArchive& operator<<(unsigned long value);
    CArchive& operator<<(long long value) {
        return storeBits(static_cast<std::uint64_t>(value), 8);
    }
    CArchive& operator<<(unsigned long long value) { return storeBits(value, 8); }
    CArchive& operator<<(float value) {
        std::uint32_t bits;
        std::memcpy(&bits, &value, 4);
        return storeBits(bits, 4);
    }
    CArchive& operator<<(double value) {
        std::uint64_t bits;
        std::memcpy(&bits, &value, 8);
        return storeBits(bits, 8);
    }

    CArchive& operator>>(unsigned char& value) {
        value = static_cast<unsigned char>(loadBits(1));
        return *this;
    }
    CArchive& operator>>(char& value) {
        value = static_cast<char>(loadBits(1));
        return *this;
    }
    CArchive& operator>>(bool& value) {
        value = loadBits(1) != 0;
        return *this;
    }
    CArchive& operator>>(short& value) {
        value = static_cast<short>(loadBits(2));
        return *this;
    }
    CArchive& operator>>(unsigned short& value) {
        value = static_cast<unsigned short>(loadBits(2));
        return *this;
    }
    CArchive& operator>>(int& value) {
        value = static_cast<int>(static_cast<std::uint32_t>(loadBits(4)));
        return *this;
    }
    CArchive& operator>>(unsigned int& value) {
        value = static_cast<unsigned int>(loadBits(4));
        return *this;
    }
    CArchive& operator>>(long& value) {
        value = static_cast<std::int32_t>(static_cast<std::uint32_t>(loadBits(4)));
        return *this;
    }
    CArchive& operator>>(unsigned long& value) {
        value = static_cast<std::uint32_t>(loadBits(4));
        return *this;
    }
    CArchive& operator>>(long long& value) {
        value = static_cast<long long>(loadBits(8));
        return *this;
    }
    CArchive& operator>>(unsigned long long& value) {
        value = loadBits(8);
        return *this;
    }
    CArchive& operator>>(float& value) {
        std::uint32_t const bits = static_cast<std::uint32_t>(loadBits(4));
        std::memcpy(&value, &bits, 4);
        return *this;
    }
    CArchive& operator>>(double& value) {
        std::uint64_t const bits = loadBits(8);
        std::memcpy(&value, &bits, 8);
        return *this;
    }

private:
    // The buffer's inline handling: `width` bytes of `bits`, low byte first.
    CArchive& storeBits(std::uint64_t bits, unsigned int width) {
        if (m_bLoading || static_cast<unsigned int>(m_pBufMax - m_pBufCur) < width) {
            makeRoomToStore(width);
        }
        for (unsigned int i = 0; i < width; ++i) {
            m_pBufCur[i] = static_cast<unsigned char>(bits >> (8 * i));
        }
        m_pBufCur += width;
        return *this;
    }
    std::uint64_t loadBits(unsigned int width) {
        if (!m_bLoading || static_cast<unsigned int>(m_pBufMax - m_pBufCur) < width) {
            fillToLoad(width);
        }
        std::uint64_t bits = 0;
        for (unsigned int i = 0; i < width; ++i) {
            bits |= std::uint64_t{m_pBufCur[i]} << (8 * i);
        }
        m_pBufCur += width;
        return bits;
    }
    // Raise readOnly or writeOnly for the wrong direction; otherwise flush, or keep the
    // unread bytes and read on, so that `width` bytes are there (endOfFile when the file
    // has no more).
    void makeRoomToStore(unsigned int width);
    void fillToLoad(unsigned int width);

    CFile* m_pFile;
    bool m_bLoading;
    bool m_bFlushOnDelete;
    bool m_bOwnsBuffer;
    unsigned int m_uiBufSize;
    unsigned char* m_pBufStart;
    unsigned char* m_pBufCur;
    unsigned char* m_pBufMax; // storing: the buffer's end; loading: the end of the bytes read
};
