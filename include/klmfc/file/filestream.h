// File streams: reading a file piece by piece where K_File::load would take it whole.
//
// Both classes find a name as load does, on disk first and then in the archives.
// K_FileStream reads through a buffer of the caller's size; it serves disk files, stored
// archive entries and compressed or scrambled entries, which it decodes as it goes (those
// move only forward). Its copies read sub-ranges of the same open file and share the file,
// the buffer and the buffer's window. K_UnbufferedFileStream reads whole sectors past the
// system's cache, and serves disk files and stored entries only.
//
// Positions are offsets in the open file: 0 to the size for a disk file, the entry's
// offset to offset + size for an archive entry (for a decoded entry they count decoded
// bytes). getPosition and size count from the start of the stream's range.
#pragma once

#include "klmfc/file/compression.h"

#include <cstdio>

namespace klmfc::platform {
struct UnbufferedFile;
}

class K_FileStream;

// What a stream shares with its copies.
struct K_FileStreamShared {
    int refCount;                // streams that use it
    char* name;                  // the name the caller gave
    char* fullName;              // path of the file open: the disk path, or the archive's
    unsigned char* buffer;       // bufferSize bytes
    unsigned char* readPointer;  // next unread byte in the buffer
    unsigned int bufferPosition; // file offset of the buffer's first byte
    int bufferSize;
    int available;       // unread bytes at readPointer
    bool compressed;     // the stream decodes an LZSS code stream
    K_FileStream* owner; // the stream that used the buffer last
    std::FILE* file;
    bool moreData; // the file still holds input for the decoder
    K_LZSSStreamState lzss;
    bool scrambled;             // the code stream is also scrambled
    int scrambleSeed;           // the descrambler's state for the next byte
    unsigned int scrambleIndex; // index of the next byte in the scrambled run
};

class K_FileStream {
public:
    enum SeekMode {
        SeekBegin = 0,   // from the start of the range
        SeekCurrent = 1, // forward from the position
        SeekEnd = 2      // backward from the end of the range
    };

    // Opens a name with a read buffer of `bufferSize` bytes (at least 4 are used). Raises
    // K_FileException_FileNotFound, K_FileException_ArchiveNotFound,
    // K_FileException_UnableToReadData and K_FileException_FileCorrupted.
    K_FileStream(char const* name, int bufferSize);
    // A stream over `size` bytes of `other`'s range from `offset`, sharing its file and
    // buffer. A negative offset counts as 0, a negative size takes other.size(); with
    // either at -1 the copy starts at other's position. The range is not checked against
    // other's. Raises K_FileException_CannotCopyCompressedFileStream.
    K_FileStream(K_FileStream const& other, int offset = -1, int size = -1);
    K_FileStream& operator=(K_FileStream const&) = delete;
    virtual ~K_FileStream();

    // Moves the position, clamped to the range, in unsigned 32-bit arithmetic (so
    // SeekCurrent with a wrapped negative offset steps back). Always gives 0. Raises
    // K_FileException_CannotSeekCompressedFileStream on a decoding stream.
    virtual int seek(unsigned int offset, SeekMode mode);
    virtual unsigned int getPosition() const;
    virtual unsigned int size() const;
    // The path of the file open, the archive's for an entry; null for no stream.
    virtual char const* getName() const;
    // Reads up to `size` bytes and gives the count, which is short only at the end of the
    // range. Raises K_FileException_UnableToReadData when the file gives less than it
    // should, and K_FileException_FileCorrupted when a compressed entry ends too early.
    virtual unsigned int read(void* buffer, unsigned int size);

protected:
    K_FileStream();
    // Shares `other`'s state and takes the range and position of a copy.
    void shareRange(K_FileStream const& other, int offset, int size);
    // The position that seek moves to.
    unsigned int seekTarget(unsigned int offset, SeekMode mode) const;
    // The name the caller gave, for messages.
    char const* callerName() const;
    // A shared state with refCount 1, copies of the two names, and the rest empty.
    static K_FileStreamShared* newShared(char const* name, char const* fullName);

    unsigned int m_start;
    unsigned int m_position;
    unsigned int m_end;
    int m_remaining; // stored bytes not yet taken from the file
    K_FileStreamShared* m_shared;

private:
    unsigned int readPlain(unsigned char* out, unsigned int size);
    unsigned int readDecoded(unsigned char* out, unsigned int size);
    void refill();
    bool aimBuffer(unsigned int position);
};

class K_UnbufferedFileStream : public K_FileStream {
public:
    // Opens a name; a `bufferSize` of 0 (or below) means 8192, and every size is rounded
    // up to whole sectors. Raises K_FileException_FileNotFound,
    // K_FileException_FileNotAStream for a compressed or scrambled entry, and
    // K_FileException_ArchiveNotFound.
    K_UnbufferedFileStream(char const* name, int bufferSize);
    // A stream of its own handle and buffer over a range of the same file, as the
    // K_FileStream copy takes it. Raises K_FileException_FileNotFound when the file
    // cannot be opened again.
    K_UnbufferedFileStream(K_UnbufferedFileStream const& other, int offset = -1, int size = -1);
    K_UnbufferedFileStream& operator=(K_UnbufferedFileStream const&) = delete;
    ~K_UnbufferedFileStream() override;

    int seek(unsigned int offset, SeekMode mode) override;
    // Raises K_FileException_OverreadingStream when the file ends before the range does.
    unsigned int read(void* buffer, unsigned int size) override;

protected:
    klmfc::platform::UnbufferedFile* m_handle; // every stream has its own
    unsigned int m_sectorSize;
    int m_bufferSize;        // bytes asked of each read, whole sectors
    unsigned char* m_buffer; // sector-aligned, inside m_bufferAllocation
    unsigned char* m_bufferAllocation;
    int m_skip;       // bytes to pass over at the start of the next buffer
    int m_used;       // bytes of the buffer delivered
    int m_available;  // bytes in the buffer
    bool m_endOfFile; // the last read gave less than m_bufferSize

private:
    void allocateBuffer();
    void release();
};
