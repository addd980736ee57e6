// Memory files: the library's binary serialisation stream.
//
// A K_MemoryFile has a position and a size and looks like a file to its users. According
// to how it was built it is a growing block of memory, a view of a caller's block, a whole
// file loaded into memory, a view on a K_FileStream, or a buffered sink that writes
// straight to a disk file. Values go in and out through the operators << and >>, tagged
// by type (the default) or bare, always little-endian; chunks give a file a nested,
// versioned, skippable structure.
#pragma once

#include "klmfc/core/exception.h"
#include "klmfc/math/types.h"
#include "klmfc/memory/memory.h"
#include "klmfc/memoryfile/string_traits.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

class K_FileStream;
class M_Float16;
class CString;

// ---- failures of memory files ------------------------------------------------------------
// The first three show the file's name; a null name gives the wording for a file that has
// none yet.
class K_MemoryFileException_SeekOutOfRange : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_SeekOutOfRange, K_MemoryFileException)
    explicit K_MemoryFileException_SeekOutOfRange(char const* name);
};
class K_MemoryFileException_Overreading : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_Overreading, K_MemoryFileException)
    explicit K_MemoryFileException_Overreading(char const* name);
};
class K_MemoryFileException_DataError : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_DataError, K_MemoryFileException)
    explicit K_MemoryFileException_DataError(char const* name);
};
class K_MemoryFileException_UnableToOpenFileForWrite : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_UnableToOpenFileForWrite, K_MemoryFileException)
    explicit K_MemoryFileException_UnableToOpenFileForWrite(char const* path);
};
// A call that the file's form cannot carry out: a write past the end of a block that
// cannot grow, a write to a file read by stream, a seek or a read on a file that is being
// written straight to disk, a file beyond 4 GiB. `what` names the call. Nothing has been
// changed when it is raised.
class K_MemoryFileException_InvalidOperation : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_InvalidOperation, K_MemoryFileException)
    K_MemoryFileException_InvalidOperation(char const* name, char const* what);
};
// A `long` or `unsigned long` wider than the 32 bits it takes on the wire, holding a value
// that does not fit in them. `value` is the value as text. Nothing has been written.
class K_MemoryFileException_ValueOutOfRange : public K_MemoryFileException {
    K_EXCEPTION_CLASS_BODY(K_MemoryFileException_ValueOutOfRange, K_MemoryFileException)
    K_MemoryFileException_ValueOutOfRange(char const* name, char const* value);
};

struct K_MemoryFileOperators;

class K_MemoryFile {
public:
    enum AccessMethod {
        ACCESS_DEFAULT = 0, // the class-wide default
        ACCESS_MEMORY = 1,  // the content lies in the block
        ACCESS_STREAM = 2   // the content lies in a file: a stream to read, or a disk sink
    };
    enum SeekMode { SeekBegin = 0, SeekCurrent = 1, SeekEnd = 2 };
    enum Mode { MODE_READ = 1, MODE_WRITE = 2 };

    // The type byte of a tagged value. These values and no others occur on the wire.
    enum BasicType : unsigned char {
        BT_LONG = 0,
        BT_ULONG = 1,
        BT_INT = 2,
        BT_UINT = 3,
        BT_SHORT = 4,
        BT_USHORT = 5,
        BT_CHAR = 6,
        BT_SCHAR = 7,
        BT_UCHAR = 8,
        BT_FLOAT = 9,
        BT_DOUBLE = 10,
        BT_CHUNK = 12,
        BT_STRING = 13,
        BT_BOOL = 14,
        BT_UINT24 = 15,
        BT_UINT16 = 16,
        BT_UINT8 = 17,
        BT_INT24 = 18,
        BT_INT16 = 19,
        BT_INT8 = 20,
        BT_VECTOR2 = 21,
        BT_VECTOR3 = 22,
        BT_VECTOR4 = 23,
        BT_MATRIX2 = 24,
        BT_MATRIX3 = 25,
        BT_MATRIX4X3 = 26,
        BT_MATRIX4 = 27,
        BT_FLOAT16 = 38
    };

    // The three words of a chunk's header. The size counts the whole chunk: the 13 bytes of
    // tag and header and the payload.
    struct ChunkHeader {
        unsigned int m_uiID;
        unsigned int m_uiVersion;
        unsigned int m_uiSize;
    };
    static constexpr unsigned int sm_uiChunkHeaderSize = 13;

    class Chunk;

    // A growing block: nothing is allocated before the first write, then the capacity
    // doubles from `size` whenever a write needs more.
    explicit K_MemoryFile(unsigned int size = 8192);
    // A write-through file: `path` (an operating-system path; backslashes count as
    // separators) is created for writing, and the bytes reach it through a buffer of
    // `size` bytes; a write larger than the buffer goes to disk directly. The end of the
    // object (destruct) writes out the rest and closes the file. Raises
    // K_MemoryFileException_UnableToOpenFileForWrite.
    K_MemoryFile(unsigned int size, char const* path);
    // A caller's block, for reading (and overwriting in place). With `copy` false the
    // file looks into `data`, which must outlive it; with `copy` true it holds a copy.
    K_MemoryFile(void const* data, unsigned int size, bool copy);
    // A whole file of the name space. Files below 0x40000 bytes are always loaded into
    // memory; larger ones are read through a K_FileStream when `method` (or, for
    // ACCESS_DEFAULT, the class-wide default) is ACCESS_STREAM. The file system's
    // exceptions pass out.
    K_MemoryFile(char const* name, AccessMethod method);
    // A view on `size` bytes of `stream`'s range from `start`, sharing its open file.
    K_MemoryFile(K_FileStream const& stream, int start, int size);
    // A copy: an owned block is copied, a caller's block shared, a stream viewed anew at the
    // same place. A write-through file cannot be copied.
    K_MemoryFile(K_MemoryFile const& other);
    ~K_MemoryFile();

    // The constructors' twins, for a living object: each ends the current form first, and
    // a failure leaves the object unbuilt.
    void construct(unsigned int size = 8192);
    void construct(unsigned int size, char const* path);
    void construct(void const* data, unsigned int size, bool copy);
    void construct(char const* name, AccessMethod method);
    void construct(K_FileStream const& stream, int start, int size);
    void construct(K_MemoryFile const& other);
    // Ends the current form: a write-through file writes out its buffer and closes; owned
    // memory and streams are released. The name stays. Does nothing on an unbuilt object.
    void destruct();
    bool isConstructed() const { return m_bConstructed; }

    // Writes `count` bytes at the position, growing the size when it passes the end.
    void write(void const* data, int count) {
        if (count > 0 && m_uiPosition <= m_uiSize &&
            std::uint64_t{m_uiPosition - m_uiBufferBase} + static_cast<unsigned int>(count) <=
                m_uiCapacity) {
            std::memcpy(m_pData + (m_uiPosition - m_uiBufferBase), data,
                        static_cast<unsigned int>(count));
            m_uiPosition += static_cast<unsigned int>(count);
            if (m_uiPosition > m_uiSize) {
                m_uiSize = m_uiPosition;
            }
            return;
        }
        writeSlow(data, count);
    }
    // Reads `count` bytes from the position. Raises K_MemoryFileException_Overreading when
    // fewer are left; the position and the target are then unchanged.
    void read(void* data, int count) {
        if (m_accessMethod == ACCESS_MEMORY && count > 0 &&
            std::uint64_t{m_uiPosition} + static_cast<unsigned int>(count) <= m_uiSize) {
            std::memcpy(data, m_pData + m_uiPosition, static_cast<unsigned int>(count));
            m_uiPosition += static_cast<unsigned int>(count);
            return;
        }
        readSlow(data, count);
    }
    // Moves the position: from the start, from the position, or back from the end. Raises
    // K_MemoryFileException_SeekOutOfRange for a position outside 0 to the size; the
    // position then keeps the bad value until a seek repairs it.
    void seek(int offset, SeekMode mode);
    // Turns a file that has been written into one to be read: mode read, position 0.
    void toRead();

    void const* getAddress() const { return m_pData; }
    unsigned int getPosition() const { return m_uiPosition; }
    unsigned int getSize() const { return m_uiSize; }
    Mode getMode() const { return m_eMode; }
    AccessMethod getAccessMethod() const { return m_accessMethod; }
    char const* getFilename() const { return m_filename.c_str(); }
    // A null name makes it empty.
    void setFilename(char const* name);

    // Writes the content to a file of the name space; 1 on success, 0 on failure (also for
    // a form that has no block to write).
    int save() const;
    int save(char const* name) const;

    static void setDefaultAccessMethod(AccessMethod method) { sm_defaultAccessMethod = method; }
    static AccessMethod getDefaultAccessMethod() { return sm_defaultAccessMethod; }

    // ---- tags ------------------------------------------------------------------------------
    // With tags on (the default after every construct) each value is preceded by its type
    // byte and integers shrink to the bytes they need; with tags off the bare bytes go at
    // full width. A file is read with the setting it was written with.
    void enableTags(bool enable) { m_bTagsEnabled = enable; }
    void disableTags() { m_bTagsEnabled = false; }
    bool areTagsEnabled() const { return m_bTagsEnabled; }

    // ---- chunks ----------------------------------------------------------------------------
    // Opens a chunk at the position for writing: the tag and a header with size 0.
    void createChunk(unsigned int id, unsigned int version);
    // Ends the innermost open chunk: its size becomes the distance from its start to the
    // position, also when the header has already gone to disk. The position stays.
    void closeChunk();
    // Reads the chunk header at the position into `chunk`, whose file then shows the
    // payload; the position stays at the head of the chunk. `expected` is the caller's
    // note only. Raises K_MemoryFileException_DataError when no chunk stands there or its
    // size does not fit in this file.
    void openChunk(Chunk& chunk, unsigned int expected);
    Chunk openChunk(unsigned int expected);
    // As openChunk, but a position at the end or on other data gives an invalid chunk.
    void peekChunk(Chunk& chunk);
    Chunk peekChunk();
    // Steps over the chunk at the position; does nothing where none stands. Raises
    // K_MemoryFileException_SeekOutOfRange when its size goes beyond this file.
    void skipChunk();

protected:
    friend struct K_MemoryFileOperators;

    void initializeMembers();

    void writeTag(BasicType type) {
        if (m_bTagsEnabled) {
            unsigned char const byte = type;
            write(&byte, 1);
        }
    }
    void writeTagged(BasicType type, void const* data, int count) {
        writeTag(type);
        write(data, count);
    }
    void readTag(BasicType type);
    void readTagged(BasicType type, void* data, int count) {
        readTag(type);
        read(data, count);
    }

    // Raise the file's exceptions with its name.
    [[noreturn]] void raiseDataError() const;
    [[noreturn]] void raiseOverreading() const;
    [[noreturn]] void raiseInvalid(char const* what) const;

    bool m_bConstructed;
    bool m_bOwnsData;
    unsigned char* m_pData;
    unsigned int m_uiSize;
    unsigned int m_uiGrowSize;
    unsigned int m_uiCapacity;
    Mode m_eMode;
    AccessMethod m_accessMethod;
    K_String m_filename;
    bool m_bTagsEnabled;
    K_FileStream* m_pStream;
    unsigned int m_uiPosition;
    std::FILE* m_pWriteFile;
    unsigned int m_uiBufferBase;
    std::vector<unsigned int, K_Allocator<unsigned int>> m_chunkStack;

    static AccessMethod sm_defaultAccessMethod;

private:
    // Chunk takes the payload's file through this: as construct(other).
    K_MemoryFile& operator=(K_MemoryFile const& other);

    void writeSlow(void const* data, int count);
    // Sets a position known to lie in 0 to the size, the stream's with it.
    void moveTo(unsigned int position);
    void readSlow(void* data, int count);
    // The memory forms: a new block of `capacity` bytes keeping the content.
    void growTo(std::uint64_t needed);
    // The write-through form: what the buffer cannot take.
    void writeThrough(void const* data, unsigned int count);
    // Reads the chunk header at the position. False, with the position unchanged, when
    // none stands there and `mustExist` is false; otherwise a wrong tag raises.
    bool readChunkHeader(ChunkHeader& header, bool mustExist);
    void buildChunk(Chunk& chunk, ChunkHeader const& header, unsigned int payloadStart);
};

// A chunk read from a file: its header and its payload as a memory file of its own, with
// tags on. A view that lives no longer than its parent file, and on a memory parent no
// longer than the parent's block stays unwritten.
class K_MemoryFile::Chunk {
public:
    // An invalid chunk: header zero.
    Chunk();
    Chunk(Chunk const& other);
    Chunk& operator=(Chunk const& other);
    ~Chunk();

    bool isValid() const { return m_bValid; }
    unsigned int getID() const { return m_header.m_uiID; }
    unsigned int getVersion() const { return m_header.m_uiVersion; }
    // The payload's size: the stored size less the 13 bytes of tag and header.
    unsigned int getSize() const {
        return m_header.m_uiSize >= sm_uiChunkHeaderSize ? m_header.m_uiSize - sm_uiChunkHeaderSize
                                                         : 0;
    }
    K_MemoryFile& getMemoryFile() { return m_memoryFile; }

    // The parent's chunk operations on the payload, for nested chunks.
    void openChunk(Chunk& chunk, unsigned int expected) { m_memoryFile.openChunk(chunk, expected); }
    Chunk openChunk(unsigned int expected) { return m_memoryFile.openChunk(expected); }
    void peekChunk(Chunk& chunk) { m_memoryFile.peekChunk(chunk); }
    Chunk peekChunk() { return m_memoryFile.peekChunk(); }
    void skipChunk() { m_memoryFile.skipChunk(); }

private:
    friend class K_MemoryFile;

    // A payload of `size` bytes at `data` in the parent's block.
    Chunk(void const* data, unsigned int size, ChunkHeader const& header);
    void construct(void const* data, unsigned int size, ChunkHeader const& header);
    // A payload of `size` bytes of `stream`'s range from `start`.
    Chunk(K_FileStream const& stream, int start, int size, ChunkHeader const& header);
    void construct(K_FileStream const& stream, int start, int size, ChunkHeader const& header);
    void invalidate();

    ChunkHeader m_header;
    K_MemoryFile m_memoryFile;
    bool m_bValid;
};

// ---- typed streaming ---------------------------------------------------------------------
// Every value but the integers and strings is its tag and its bytes; `long` and
// `unsigned long` take 4 bytes also where the type is wider (a value beyond 32 bits raises
// K_MemoryFileException_ValueOutOfRange); `bool` is one byte, 0 or 1. With tags on `int`
// and `unsigned int` take the shortest of 1, 2, 3 or 4 bytes that holds their magnitude.
// A reader raises K_MemoryFileException_DataError on a tag of another type.
K_MemoryFile& operator<<(K_MemoryFile& file, long const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, unsigned long const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, short const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, unsigned short const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, char const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, signed char const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, unsigned char const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, float const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, double const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, bool const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, int const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, unsigned int const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector2Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector3Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector4Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix2Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix3Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix4x3Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix4Template<float> const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Float16 const& value);
// Strings: the string tag, the length as an `int`, the characters without a terminator.
K_MemoryFile& operator<<(K_MemoryFile& file, K_String const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, K_CTrIString const& value);
K_MemoryFile& operator<<(K_MemoryFile& file, CString const& value);
// A character literal or C string goes as a string, not as the bool its pointer would
// convert to; other pointers have no operator.
K_MemoryFile& operator<<(K_MemoryFile& file, char const* value);
template <class T> K_MemoryFile& operator<<(K_MemoryFile& file, T const* value) = delete;

K_MemoryFile& operator>>(K_MemoryFile& file, long& value);
K_MemoryFile& operator>>(K_MemoryFile& file, unsigned long& value);
K_MemoryFile& operator>>(K_MemoryFile& file, short& value);
K_MemoryFile& operator>>(K_MemoryFile& file, unsigned short& value);
K_MemoryFile& operator>>(K_MemoryFile& file, char& value);
K_MemoryFile& operator>>(K_MemoryFile& file, signed char& value);
K_MemoryFile& operator>>(K_MemoryFile& file, unsigned char& value);
K_MemoryFile& operator>>(K_MemoryFile& file, float& value);
K_MemoryFile& operator>>(K_MemoryFile& file, double& value);
K_MemoryFile& operator>>(K_MemoryFile& file, bool& value);
K_MemoryFile& operator>>(K_MemoryFile& file, int& value);
K_MemoryFile& operator>>(K_MemoryFile& file, unsigned int& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector2Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector3Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector4Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix2Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix3Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix4x3Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix4Template<float>& value);
K_MemoryFile& operator>>(K_MemoryFile& file, M_Float16& value);
K_MemoryFile& operator>>(K_MemoryFile& file, K_String& value);
K_MemoryFile& operator>>(K_MemoryFile& file, K_CTrIString& value);
K_MemoryFile& operator>>(K_MemoryFile& file, CString& value);

// ---- a memory file as one field of a CArchive ----------------------------------------------
// The size as a 32-bit value, then the bytes. Only the content goes: no name, position, tag
// setting or open chunk. Reading rebuilds `file` as its own copy of the bytes, mode read,
// position 0, tags on; its name stays. A file read by stream is stored from its stream; a
// write-through file cannot be stored.
CArchive& operator<<(CArchive& archive, K_MemoryFile const& file);
CArchive& operator>>(CArchive& archive, K_MemoryFile& file);

#include "klmfc/memoryfile/array_streaming.h"
#include "klmfc/mfc/archive.h"
#include "klmfc/mfc/cstring.h"
