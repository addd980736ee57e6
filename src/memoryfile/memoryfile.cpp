// The memory file's buffer: its forms, construction and destruction, raw reads and writes,
// growth, the write-through path and seeking.
#include "klmfc/memoryfile/memoryfile.h"

#include "klmfc/file/file.h"
#include "klmfc/file/filestream.h"
#include "memoryfile/memoryfile_internal.h"
#include "platform/output_file.h"

#include <algorithm>
#include <new>

namespace {

// Files below this size are always loaded whole; a stream reads through a buffer of it.
constexpr unsigned int kStreamThreshold = 0x40000;
// The largest block that the counted allocation takes.
constexpr std::uint64_t kLargestBlock = 0x7fffffff;
constexpr std::uint64_t kLargestFile = 0xffffffff;

} // namespace

// ---- failures ---------------------------------------------------------------------------

K_MemoryFileException_SeekOutOfRange::K_MemoryFileException_SeekOutOfRange(char const* name) {
    if (name != nullptr) {
        setError("K_MemoryFile seek out of range(\"%s\")", name);
    } else {
        setError("K_MemoryFile seek out of range(memoryfile not named yet)");
    }
}

K_MemoryFileException_Overreading::K_MemoryFileException_Overreading(char const* name) {
    if (name != nullptr) {
        setError("Read of the end of an K_MemoryFile(\"%s\")", name);
    } else {
        setError("Read of the end of an K_MemoryFile(memoryfile not named yet)");
    }
}

K_MemoryFileException_DataError::K_MemoryFileException_DataError(char const* name) {
    if (name != nullptr) {
        setError("Invalid data read from an K_MemoryFile(\"%s\")", name);
    } else {
        setError("Invalid data read from an K_MemoryFile(memoryfile not named yet)");
    }
}

K_MemoryFileException_UnableToOpenFileForWrite::K_MemoryFileException_UnableToOpenFileForWrite(
    char const* path) {
    setError("K_MemoryFile: Unable to open file (\"%s\") for write", path != nullptr ? path : "");
}

K_MemoryFileException_InvalidOperation::K_MemoryFileException_InvalidOperation(char const* name,
                                                                               char const* what) {
    setError("Invalid operation on an K_MemoryFile(\"%s\"): %s", name != nullptr ? name : "",
             what != nullptr ? what : "");
}

K_MemoryFileException_ValueOutOfRange::K_MemoryFileException_ValueOutOfRange(char const* name,
                                                                             char const* value) {
    setError("Value %s does not fit in the 32 bits of an K_MemoryFile(\"%s\")",
             value != nullptr ? value : "", name != nullptr ? name : "");
}

void K_MemoryFile::raiseDataError() const {
    K_Raise<K_MemoryFileException_DataError>(getFilename());
}

void K_MemoryFile::raiseOverreading() const {
    K_Raise<K_MemoryFileException_Overreading>(getFilename());
}

void K_MemoryFile::raiseInvalid(char const* what) const {
    K_Raise<K_MemoryFileException_InvalidOperation>(getFilename(), what);
}

// ---- streams and blocks of the counted path -----------------------------------------------

namespace klmfc::memoryfile {

K_FileStream* newStreamView(K_FileStream const& stream, int start, int size) {
    void* place = K_CountedAllocate(sizeof(K_FileStream));
    try {
        return new (place) K_FileStream(stream, start, size);
    } catch (...) {
        K_REALLOCATE_DELETE_implementation(place);
        throw;
    }
}

void deleteStream(K_FileStream* stream) {
    if (stream != nullptr) {
        stream->~K_FileStream();
        K_REALLOCATE_DELETE_implementation(stream);
    }
}

unsigned char* allocateBlock(std::uint64_t bytes) {
    if (bytes > kLargestBlock) {
        ++K_Memory::sm_iNewCount; // a failed attempt counts like any other
        K_RaiseAllocationFailure();
    }
    return static_cast<unsigned char*>(
        K_REALLOCATE_implementation(nullptr, 0, static_cast<int>(bytes)));
}

} // namespace klmfc::memoryfile

using klmfc::memoryfile::allocateBlock;
using klmfc::memoryfile::deleteStream;
using klmfc::memoryfile::newStreamView;

// ---- construction -----------------------------------------------------------------------

K_MemoryFile::AccessMethod K_MemoryFile::sm_defaultAccessMethod = K_MemoryFile::ACCESS_MEMORY;

void K_MemoryFile::initializeMembers() {
    m_pData = nullptr;
    m_uiSize = 0;
    m_uiGrowSize = 0;
    m_uiCapacity = 0;
    m_eMode = static_cast<Mode>(0);
    m_accessMethod = ACCESS_DEFAULT;
    m_uiPosition = 0;
    m_bOwnsData = false;
    m_bConstructed = false;
    m_pStream = nullptr;
    m_pWriteFile = nullptr;
    m_uiBufferBase = 0;
    m_chunkStack.clear();
    m_bTagsEnabled = true;
}

K_MemoryFile::K_MemoryFile(unsigned int size) {
    initializeMembers();
    construct(size);
}

K_MemoryFile::K_MemoryFile(unsigned int size, char const* path) {
    initializeMembers();
    construct(size, path);
}

K_MemoryFile::K_MemoryFile(void const* data, unsigned int size, bool copy) {
    initializeMembers();
    construct(data, size, copy);
}

K_MemoryFile::K_MemoryFile(char const* name, AccessMethod method) {
    initializeMembers();
    construct(name, method);
}

K_MemoryFile::K_MemoryFile(K_FileStream const& stream, int start, int size) {
    initializeMembers();
    construct(stream, start, size);
}

K_MemoryFile::K_MemoryFile(K_MemoryFile const& other) {
    initializeMembers();
    construct(other);
}

K_MemoryFile::~K_MemoryFile() {
    destruct();
}

K_MemoryFile& K_MemoryFile::operator=(K_MemoryFile const& other) {
    construct(other);
    return *this;
}

void K_MemoryFile::construct(unsigned int size) {
    destruct();
    m_bConstructed = true;
    m_eMode = MODE_WRITE;
    m_accessMethod = ACCESS_MEMORY;
    m_bOwnsData = true;
    m_uiGrowSize = size;
}

void K_MemoryFile::construct(unsigned int size, char const* path) {
    destruct();
    m_bConstructed = true;
    m_eMode = MODE_WRITE;
    m_accessMethod = ACCESS_STREAM;
    m_bOwnsData = true;
    m_uiGrowSize = size;
    setFilename(path);
    m_pWriteFile = klmfc::platform::createUnbuffered(path);
    if (m_pWriteFile == nullptr) {
        destruct();
        K_Raise<K_MemoryFileException_UnableToOpenFileForWrite>(path);
    }
}

void K_MemoryFile::construct(void const* data, unsigned int size, bool copy) {
    if (data == nullptr && size > 0) {
        destruct();
        raiseInvalid("a caller's block at a null address");
    }
    // The copy is made before the old form ends: `data` may lie in this file's own block.
    unsigned char* block = nullptr;
    if (copy) {
        try {
            block = allocateBlock(std::max(size, 1u));
        } catch (...) {
            destruct();
            throw;
        }
        if (size > 0) {
            std::memcpy(block, data, size);
        }
    }
    destruct();
    m_bConstructed = true;
    m_eMode = MODE_READ;
    m_accessMethod = ACCESS_MEMORY;
    m_bOwnsData = copy;
    m_uiSize = size;
    if (copy) {
        m_pData = block;
        m_uiCapacity = std::max(size, 1u);
    } else {
        // The caller's bytes and no more: a block of size 0 takes no write.
        m_pData = static_cast<unsigned char*>(const_cast<void*>(data));
        m_uiCapacity = size;
    }
}

void K_MemoryFile::construct(char const* name, AccessMethod method) {
    destruct();
    m_bConstructed = true;
    m_eMode = MODE_READ;
    m_bOwnsData = true;
    m_accessMethod = method == ACCESS_DEFAULT ? sm_defaultAccessMethod : method;
    if (m_accessMethod != ACCESS_STREAM) {
        m_accessMethod = ACCESS_MEMORY;
    }
    setFilename(name);
    try {
        if (File == nullptr) {
            K_Raise<K_FileException_FileNotFound>(getFilename());
        }
        m_uiSize = File->size(name);
        if (m_uiSize < kStreamThreshold) {
            m_accessMethod = ACCESS_MEMORY; // small files are always loaded whole
        }
        if (m_accessMethod == ACCESS_MEMORY) {
            m_pData = allocateBlock(m_uiSize);
            m_uiCapacity = m_uiSize;
            if (m_uiSize > 0) {
                File->load(m_pData, name, m_uiSize);
            }
        } else {
            void* place = K_CountedAllocate(sizeof(K_FileStream));
            try {
                m_pStream = new (place) K_FileStream(name, static_cast<int>(kStreamThreshold));
            } catch (...) {
                K_REALLOCATE_DELETE_implementation(place);
                throw;
            }
        }
    } catch (...) {
        destruct();
        throw;
    }
}

void K_MemoryFile::construct(K_FileStream const& stream, int start, int size) {
    destruct();
    m_bConstructed = true;
    m_eMode = MODE_READ;
    m_accessMethod = ACCESS_STREAM;
    m_bOwnsData = true;
    setFilename(stream.getName());
    try {
        m_pStream = newStreamView(stream, start, size);
        m_uiSize = size >= 0 ? static_cast<unsigned int>(size) : m_pStream->size();
        if (m_pStream->getPosition() != 0) {
            m_pStream->seek(0, K_FileStream::SeekBegin);
        }
    } catch (...) {
        destruct();
        throw;
    }
}

void K_MemoryFile::construct(K_MemoryFile const& other) {
    if (&other == this) {
        return;
    }
    if (other.m_pWriteFile != nullptr) {
        other.raiseInvalid("a copy of a file written straight to disk");
    }
    destruct();
    m_bConstructed = true;
    try {
        if (other.m_pData != nullptr && other.m_bOwnsData) {
            m_pData = allocateBlock(other.m_uiSize);
            m_bOwnsData = true;
            m_uiCapacity = other.m_uiSize;
            if (other.m_uiSize > 0) {
                std::memcpy(m_pData, other.m_pData, other.m_uiSize);
            }
        } else {
            m_pData = other.m_pData;
            m_uiCapacity = other.m_uiCapacity;
        }
        if (other.m_pStream != nullptr) {
            m_pStream = newStreamView(*other.m_pStream, -1, -1);
        }
        m_chunkStack = other.m_chunkStack;
    } catch (...) {
        destruct();
        throw;
    }
    m_uiSize = other.m_uiSize;
    m_uiGrowSize = other.m_uiGrowSize;
    m_eMode = other.m_eMode;
    m_accessMethod = other.m_accessMethod;
    m_uiPosition = other.m_uiPosition;
    m_bOwnsData = other.m_bOwnsData;
    m_bTagsEnabled = other.m_bTagsEnabled;
    m_filename = other.m_filename;
}

void K_MemoryFile::destruct() {
    if (!m_bConstructed) {
        return;
    }
    if (m_pWriteFile != nullptr) {
        if (m_eMode == MODE_WRITE && m_accessMethod == ACCESS_STREAM &&
            m_uiPosition > m_uiBufferBase) {
            klmfc::platform::writeOutput(m_pWriteFile, m_pData, m_uiPosition - m_uiBufferBase);
        }
        klmfc::platform::closeOutput(m_pWriteFile);
        m_pWriteFile = nullptr;
    }
    if (m_bOwnsData) {
        K_REALLOCATE_DELETE_implementation(m_pData);
    }
    deleteStream(m_pStream);
    initializeMembers();
}

void K_MemoryFile::setFilename(char const* name) {
    m_filename = name != nullptr ? name : "";
}

// ---- reading and writing ----------------------------------------------------------------

void K_MemoryFile::writeSlow(void const* data, int count) {
    if (count <= 0) {
        return;
    }
    if (m_uiPosition > m_uiSize) {
        // The position a failed seek left behind.
        K_Raise<K_MemoryFileException_SeekOutOfRange>(getFilename());
    }
    std::uint64_t const end = std::uint64_t{m_uiPosition} + static_cast<unsigned int>(count);
    if (end > kLargestFile) {
        raiseInvalid("a write beyond 4 GiB");
    }
    if (m_accessMethod == ACCESS_STREAM) {
        if (m_pWriteFile == nullptr) {
            raiseInvalid("a write to a file read by stream");
        }
        writeThrough(data, static_cast<unsigned int>(count));
        return;
    }
    if (!m_bConstructed) {
        raiseInvalid("a write to a file that is not built");
    }
    if (end > m_uiCapacity) {
        if (m_pData != nullptr && !m_bOwnsData) {
            raiseInvalid("a write past the end of a caller's block");
        }
        growTo(end);
    }
    std::memcpy(m_pData + m_uiPosition, data, static_cast<unsigned int>(count));
    m_uiPosition = static_cast<unsigned int>(end);
    m_uiSize = std::max(m_uiSize, m_uiPosition);
}

void K_MemoryFile::growTo(std::uint64_t needed) {
    std::uint64_t grow = std::max(m_uiGrowSize, 1u);
    while (grow < needed) {
        grow *= 2;
    }
    if (grow > kLargestBlock) {
        if (needed > kLargestBlock) {
            ++K_Memory::sm_iNewCount;
            K_RaiseAllocationFailure();
        }
        grow = kLargestBlock;
    }
    m_pData = static_cast<unsigned char*>(K_REALLOCATE_implementation(
        m_pData, static_cast<int>(m_uiCapacity), static_cast<int>(grow)));
    m_uiGrowSize = static_cast<unsigned int>(grow);
    m_uiCapacity = m_uiGrowSize;
    m_bOwnsData = true;
}

void K_MemoryFile::writeThrough(void const* data, unsigned int count) {
    if (m_pData == nullptr) {
        m_pData = allocateBlock(m_uiGrowSize); // the first write: the buffer
        m_uiCapacity = m_uiGrowSize;
    } else {
        if (m_uiPosition > m_uiBufferBase) {
            klmfc::platform::writeOutput(m_pWriteFile, m_pData, m_uiPosition - m_uiBufferBase);
        }
        m_uiBufferBase = m_uiPosition;
    }
    if (count > m_uiCapacity) {
        // More than the buffer holds: straight to disk, without a copy.
        klmfc::platform::writeOutput(m_pWriteFile, data, count);
        m_uiBufferBase += count;
    } else {
        std::memcpy(m_pData + (m_uiPosition - m_uiBufferBase), data, count);
    }
    m_uiPosition += count;
    m_uiSize = std::max(m_uiSize, m_uiPosition);
}

void K_MemoryFile::readSlow(void* data, int count) {
    if (m_pWriteFile != nullptr) {
        raiseInvalid("a read from a file written straight to disk");
    }
    if (count < 0 || std::uint64_t{m_uiPosition} + static_cast<unsigned int>(count) > m_uiSize) {
        raiseOverreading();
    }
    if (count == 0) {
        return;
    }
    if (m_accessMethod == ACCESS_MEMORY) {
        std::memcpy(data, m_pData + m_uiPosition, static_cast<unsigned int>(count));
    } else {
        unsigned int const got = m_pStream->read(data, static_cast<unsigned int>(count));
        if (got != static_cast<unsigned int>(count)) {
            // The file holds less than its size promised.
            try {
                m_pStream->seek(m_uiPosition, K_FileStream::SeekBegin);
            } catch (K_FileException*) {
            }
            raiseOverreading();
        }
    }
    m_uiPosition += static_cast<unsigned int>(count);
}

void K_MemoryFile::seek(int offset, SeekMode mode) {
    if (m_pWriteFile != nullptr) {
        raiseInvalid("a seek in a file written straight to disk");
    }
    std::int64_t position = m_uiPosition;
    switch (mode) {
    case SeekBegin:
        position = offset;
        break;
    case SeekCurrent:
        position += offset;
        break;
    case SeekEnd:
        position = std::int64_t{m_uiSize} - offset;
        break;
    }
    m_uiPosition = static_cast<unsigned int>(position);
    if (position < 0 || position > m_uiSize) {
        K_Raise<K_MemoryFileException_SeekOutOfRange>(getFilename());
    }
    if (m_pStream != nullptr && m_pStream->getPosition() != m_uiPosition) {
        m_pStream->seek(m_uiPosition, K_FileStream::SeekBegin);
    }
}

void K_MemoryFile::moveTo(unsigned int position) {
    m_uiPosition = position;
    if (m_pStream != nullptr && m_pStream->getPosition() != position) {
        m_pStream->seek(position, K_FileStream::SeekBegin);
    }
}

void K_MemoryFile::toRead() {
    if (m_pWriteFile != nullptr) {
        raiseInvalid("toRead on a file written straight to disk");
    }
    m_eMode = MODE_READ;
    seek(0, SeekBegin);
}

void K_MemoryFile::readTag(BasicType type) {
    if (m_bTagsEnabled) {
        unsigned char byte;
        read(&byte, 1);
        if (byte != type) {
            raiseDataError();
        }
    }
}

int K_MemoryFile::save() const {
    return save(getFilename());
}

int K_MemoryFile::save(char const* name) const {
    if (File == nullptr || m_pWriteFile != nullptr || (m_pData == nullptr && m_uiSize > 0)) {
        return 0; // no block to write
    }
    return File->save(name, m_pData, m_uiSize);
}
