// K_UnbufferedFileStream: reads of whole sectors into an aligned buffer, past the system's
// cache where the file system allows it. Only disk files and stored archive entries can
// be read this way.
#include "klmfc/file/file.h"
#include "klmfc/file/filestream.h"
#include "klmfc/memory/memory.h"
#include "platform/direct_io.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>

namespace {

constexpr int kDefaultBuffer = 8192;
constexpr unsigned int kFallbackSector = 512;

// A power of two, or the fallback.
unsigned int sanitySector(unsigned int bytes) {
    return bytes != 0 && (bytes & (bytes - 1)) == 0 ? bytes : kFallbackSector;
}

} // namespace

K_UnbufferedFileStream::K_UnbufferedFileStream(char const* name, int bufferSize)
    : K_FileStream(), m_handle(nullptr), m_sectorSize(kFallbackSector), m_bufferSize(0),
      m_buffer(nullptr), m_bufferAllocation(nullptr), m_skip(0), m_used(0), m_available(0),
      m_endOfFile(false) {
    char absolute[256];
    char disk[256];
    bool const fits = K_File::namesOf(name, absolute, disk);
    K_File::K_KASFind found{};
    if (fits) {
        K_File::searchFile(&found, absolute);
    }
    try {
        char const* fullName = disk;
        m_handle = fits ? klmfc::platform::openUnbuffered(disk) : nullptr;
        if (m_handle != nullptr) {
            std::uint64_t const length = klmfc::platform::unbufferedFileSize(m_handle);
            m_end = static_cast<unsigned int>(std::min<std::uint64_t>(length, UINT_MAX));
        } else {
            if (found.archive == nullptr) {
                K_Raise<K_FileException_FileNotFound>(fits ? disk : name);
            }
            if (found.file->method != K_File::MethodStored) {
                K_Raise<K_FileException_FileNotAStream>(absolute);
            }
            fullName = found.archive->name;
            m_handle = klmfc::platform::openUnbuffered(fullName);
            if (m_handle == nullptr) {
                K_Raise<K_FileException_ArchiveNotFound>(fullName);
            }
            std::uint64_t const end = std::uint64_t{found.file->offset} + found.file->size;
            if (end > UINT_MAX) {
                K_Raise<K_FileException_FileCorrupted>(name);
            }
            m_start = found.file->offset;
            m_position = m_start;
            m_end = static_cast<unsigned int>(end);
        }
        m_sectorSize = sanitySector(klmfc::platform::sectorSize(fullName));
        // Whole sectors, rounded up (down only where up would pass the int's range).
        std::uint64_t const wanted =
            bufferSize > 0 ? static_cast<unsigned int>(bufferSize) : kDefaultBuffer;
        std::uint64_t rounded = (wanted + m_sectorSize - 1) / m_sectorSize * m_sectorSize;
        if (rounded > INT_MAX) {
            rounded -= m_sectorSize;
        }
        m_bufferSize = static_cast<int>(rounded);
        allocateBuffer();
        seek(0, SeekCurrent); // aligns the file's position on the range's start
        m_shared = newShared(name, fullName);
    } catch (...) {
        release();
        m_start = 0;
        m_position = 0;
        m_end = 0;
        throw;
    }
}

K_UnbufferedFileStream::K_UnbufferedFileStream(K_UnbufferedFileStream const& other, int offset,
                                               int size)
    : K_FileStream(), m_handle(nullptr), m_sectorSize(other.m_sectorSize),
      m_bufferSize(other.m_bufferSize), m_buffer(nullptr), m_bufferAllocation(nullptr), m_skip(0),
      m_used(0), m_available(0), m_endOfFile(false) {
    if (other.m_shared == nullptr) {
        return; // a copy of a stream that never opened
    }
    shareRange(other, offset, size);
    try {
        m_handle = klmfc::platform::openUnbuffered(m_shared->fullName);
        if (m_handle == nullptr) {
            K_Raise<K_FileException_FileNotFound>(other.getName());
        }
        allocateBuffer();
        seek(0, SeekCurrent);
    } catch (...) {
        release();
        throw;
    }
}

K_UnbufferedFileStream::~K_UnbufferedFileStream() {
    release();
}

void K_UnbufferedFileStream::allocateBuffer() {
    std::size_t const bytes = static_cast<std::size_t>(m_bufferSize) + m_sectorSize;
    m_bufferAllocation = static_cast<unsigned char*>(K_CountedAllocate(bytes));
    auto const address = reinterpret_cast<std::uintptr_t>(m_bufferAllocation);
    std::uintptr_t const aligned = (address + m_sectorSize - 1) & ~std::uintptr_t{m_sectorSize - 1};
    m_buffer = m_bufferAllocation + (aligned - address);
}

void K_UnbufferedFileStream::release() {
    klmfc::platform::closeUnbuffered(m_handle);
    m_handle = nullptr;
    K_REALLOCATE_DELETE_implementation(m_bufferAllocation);
    m_bufferAllocation = nullptr;
    m_buffer = nullptr;
}

int K_UnbufferedFileStream::seek(unsigned int offset, SeekMode mode) {
    if (m_handle == nullptr) {
        return 0;
    }
    m_position = seekTarget(offset, mode);
    unsigned int const aligned = m_position - m_position % m_sectorSize;
    klmfc::platform::seekUnbuffered(m_handle, aligned);
    m_skip = static_cast<int>(m_position - aligned);
    m_used = 0;
    m_available = 0;
    m_endOfFile = false;
    return 0;
}

unsigned int K_UnbufferedFileStream::read(void* buffer, unsigned int size) {
    if (m_handle == nullptr || m_position >= m_end) {
        return 0;
    }
    size = std::min(size, m_end - m_position);
    auto* out = static_cast<unsigned char*>(buffer);
    unsigned int done = 0;
    for (;;) {
        if (m_used < m_available) {
            unsigned int const n =
                std::min(size - done, static_cast<unsigned int>(m_available - m_used));
            std::memcpy(out + done, m_buffer + m_used, n);
            m_used += static_cast<int>(n);
            done += n;
        }
        if (done == size) {
            break;
        }
        if (m_endOfFile) {
            m_position += done;
            K_Raise<K_FileException_OverreadingStream>(callerName());
        }
        unsigned int const count = klmfc::platform::readUnbuffered(
            m_handle, m_buffer, static_cast<unsigned int>(m_bufferSize));
        m_available = static_cast<int>(count);
        m_used = m_skip;
        m_skip = 0;
        m_endOfFile = count < static_cast<unsigned int>(m_bufferSize);
    }
    m_position += done;
    return done;
}
