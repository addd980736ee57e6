// K_FileStream: buffered reads of a disk file or an archive entry, with copies that share
// the file and the buffer, and decoding of compressed and scrambled entries as they are
// read.
#include "klmfc/file/filestream.h"

#include "file/scramble.h"
#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"
#include "platform/direct_io.h"
#include "platform/files.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

constexpr int kSmallestBuffer = 4;            // a decoding step takes 3 bytes in hand
constexpr unsigned int kContainerHeader = 12; // "KA->", the size, the code stream's size

char* copyText(char const* text) {
    std::size_t const n = std::strlen(text) + 1;
    auto* copy = static_cast<char*>(K_CountedAllocate(n));
    std::memcpy(copy, text, n);
    return copy;
}

unsigned int readLE32(unsigned char const* p) {
    return static_cast<unsigned int>(p[0]) | static_cast<unsigned int>(p[1]) << 8 |
           static_cast<unsigned int>(p[2]) << 16 | static_cast<unsigned int>(p[3]) << 24;
}

// Descrambles the next `size` bytes of a scrambled run in place, going on from the state
// that the bytes before them left.
void descrambleOnward(unsigned char* data, std::size_t size, int& seed, unsigned int& index) {
    std::int32_t s = seed;
    for (std::size_t i = 0; i < size; ++i, ++index) {
        unsigned int const rotation = index % 5;
        unsigned int b = data[i];
        b = ((b << rotation) | (b >> (8 - rotation))) & 0xff;
        b ^= ((index + 3) * 6) & 0xff;
        s = klmfc::scramble::step(s);
        data[i] = static_cast<unsigned char>(b + static_cast<unsigned int>(s));
    }
    seed = s;
}

// The end of a range that starts at `start`, or false when it passes 4 GiB.
bool rangeEnd(unsigned int start, unsigned int size, unsigned int* end) {
    std::uint64_t const sum = std::uint64_t{start} + size;
    *end = static_cast<unsigned int>(sum);
    return sum <= UINT_MAX;
}

} // namespace

// ---- shared state -----------------------------------------------------------------------

K_FileStreamShared* K_FileStream::newShared(char const* name, char const* fullName) {
    void* block = K_CountedAllocate(sizeof(K_FileStreamShared));
    auto* shared = new (block) K_FileStreamShared();
    shared->refCount = 1;
    try {
        shared->name = copyText(name);
        shared->fullName = copyText(fullName);
    } catch (...) {
        K_REALLOCATE_DELETE_implementation(shared->name);
        shared->~K_FileStreamShared();
        K_REALLOCATE_DELETE_implementation(block);
        throw;
    }
    return shared;
}

// ---- K_FileStream ---------------------------------------------------------------------------

K_FileStream::K_FileStream()
    : m_start(0), m_position(0), m_end(0), m_remaining(0), m_shared(nullptr) {}

K_FileStream::K_FileStream(char const* name, int bufferSize) : K_FileStream() {
    char absolute[256];
    char disk[256];
    bool const fits = K_File::namesOf(name, absolute, disk);
    K_File::K_KASFind found{};
    if (fits) {
        K_File::searchFile(&found, absolute);
    }
    std::FILE* file = fits ? klmfc::platform::openFile(disk, "rb") : nullptr;
    if (file == nullptr && found.archive == nullptr) {
        K_Raise<K_FileException_FileNotFound>(fits ? disk : name);
    }
    char const* fullName = disk;
    bool compressed = false;
    bool scrambled = false;
    int scrambleSeed = 0;
    unsigned int scrambleIndex = 0;
    try {
        if (file != nullptr) {
            std::uint64_t length = 0;
            if (!klmfc::platform::fileLength(file, &length)) {
                K_Raise<K_FileException_UnableToReadData>(name);
            }
            // Positions are 32-bit: a larger file is served up to 4 GiB less one byte.
            m_end = static_cast<unsigned int>(std::min<std::uint64_t>(length, UINT_MAX));
            m_remaining = static_cast<int>(m_end);
        } else {
            K_File::K_KASFileInfo const& entry = *found.file;
            fullName = found.archive->name;
            file = klmfc::platform::openFile(fullName, "rb");
            if (file == nullptr) {
                K_Raise<K_FileException_ArchiveNotFound>(fullName);
            }
            if (!klmfc::platform::seekFile(file, entry.offset)) {
                K_Raise<K_FileException_UnableToReadData>(name);
            }
            m_remaining = static_cast<int>(entry.storedSize);
            if (entry.method == K_File::MethodCompressed ||
                entry.method == K_File::MethodScrambled) {
                // The container's header: checked here, so that the stream decodes only
                // what it can deliver in full.
                compressed = true;
                scrambled = entry.method == K_File::MethodScrambled;
                scrambleSeed = entry.seed == 0 ? 1 : entry.seed;
                unsigned char header[kContainerHeader];
                if (entry.storedSize < kContainerHeader ||
                    std::fread(header, 1, kContainerHeader, file) != kContainerHeader) {
                    K_Raise<K_FileException_UnableToReadData>(name);
                }
                if (scrambled) {
                    descrambleOnward(header, kContainerHeader, scrambleSeed, scrambleIndex);
                }
                if (std::memcmp(header, K_File::CMPHEADER, 4) != 0 ||
                    readLE32(header + 4) != entry.size) {
                    K_Raise<K_FileException_FileCorrupted>(name);
                }
                m_remaining = static_cast<int>(entry.storedSize - kContainerHeader);
            }
            m_start = entry.offset;
            m_position = entry.offset;
            if (!rangeEnd(entry.offset, entry.size, &m_end)) {
                K_Raise<K_FileException_FileCorrupted>(name);
            }
        }
        int const size = std::max(bufferSize, kSmallestBuffer);
        auto* buffer =
            static_cast<unsigned char*>(K_CountedAllocate(static_cast<std::size_t>(size)));
        K_FileStreamShared* shared;
        try {
            shared = newShared(name, fullName);
        } catch (...) {
            K_REALLOCATE_DELETE_implementation(buffer);
            throw;
        }
        shared->bufferSize = size;
        shared->buffer = buffer;
        shared->readPointer = shared->buffer;
        shared->compressed = compressed;
        shared->owner = this;
        shared->file = file;
        shared->moreData = true;
        shared->scrambled = scrambled;
        shared->scrambleSeed = scrambleSeed;
        shared->scrambleIndex = scrambleIndex;
        m_shared = shared;
    } catch (...) {
        if (file != nullptr) {
            std::fclose(file);
        }
        m_start = 0;
        m_position = 0;
        m_end = 0;
        throw;
    }
}

void K_FileStream::shareRange(K_FileStream const& other, int offset, int size) {
    m_shared = other.m_shared;
    ++m_shared->refCount;
    unsigned int const from = offset < 0 ? 0u : static_cast<unsigned int>(offset);
    unsigned int const length = size < 0 ? other.size() : static_cast<unsigned int>(size);
    m_remaining = other.m_remaining;
    m_start = other.m_start + from;
    m_end = m_start + length;
    m_position = offset == -1 || size == -1 ? other.m_position : m_start;
}

K_FileStream::K_FileStream(K_FileStream const& other, int offset, int size) : K_FileStream() {
    if (other.m_shared == nullptr) {
        return; // a copy of a stream that never opened
    }
    if (other.m_shared->compressed) {
        // A decoder's state cannot be shared.
        K_Raise<K_FileException_CannotCopyCompressedFileStream>(other.m_shared->name);
    }
    shareRange(other, offset, size);
}

K_FileStream::~K_FileStream() {
    if (m_shared == nullptr) {
        return;
    }
    if (m_shared->owner == this) {
        m_shared->owner = nullptr;
    }
    if (--m_shared->refCount == 0) {
        K_REALLOCATE_DELETE_implementation(m_shared->name);
        K_REALLOCATE_DELETE_implementation(m_shared->fullName);
        K_REALLOCATE_DELETE_implementation(m_shared->buffer);
        if (m_shared->file != nullptr) {
            std::fclose(m_shared->file);
        }
        m_shared->~K_FileStreamShared();
        K_REALLOCATE_DELETE_implementation(m_shared);
    }
    m_shared = nullptr;
}

char const* K_FileStream::callerName() const {
    return m_shared != nullptr ? m_shared->name : "";
}

unsigned int K_FileStream::getPosition() const {
    return m_position - m_start;
}

unsigned int K_FileStream::size() const {
    return m_end - m_start;
}

char const* K_FileStream::getName() const {
    return m_shared != nullptr ? m_shared->fullName : nullptr;
}

unsigned int K_FileStream::seekTarget(unsigned int offset, SeekMode mode) const {
    unsigned int position = m_position;
    switch (mode) {
    case SeekBegin:
        position = m_start + offset;
        break;
    case SeekCurrent:
        position = m_position + offset;
        break;
    case SeekEnd:
        position = m_end - offset;
        break;
    }
    return std::min(std::max(position, m_start), m_end);
}

// Points the shared buffer at `position` when that lies in its window, the bytes from
// bufferPosition that the last fill brought in, and makes this stream the owner.
bool K_FileStream::aimBuffer(unsigned int position) {
    K_FileStreamShared& s = *m_shared;
    std::uint64_t const windowEnd = std::uint64_t{s.bufferPosition} +
                                    static_cast<std::uint64_t>(s.readPointer - s.buffer) +
                                    static_cast<std::uint64_t>(s.available);
    if (position < s.bufferPosition || position >= windowEnd) {
        return false;
    }
    s.readPointer = s.buffer + (position - s.bufferPosition);
    s.available = static_cast<int>(windowEnd - position);
    s.owner = this;
    return true;
}

int K_FileStream::seek(unsigned int offset, SeekMode mode) {
    if (m_shared == nullptr) {
        return 0;
    }
    if (m_shared->compressed) {
        K_Raise<K_FileException_CannotSeekCompressedFileStream>(m_shared->name);
    }
    m_position = seekTarget(offset, mode);
    if (!aimBuffer(m_position)) {
        m_shared->available = 0;
    }
    return 0;
}

unsigned int K_FileStream::read(void* buffer, unsigned int size) {
    if (m_shared == nullptr || m_position >= m_end) {
        return 0;
    }
    size = std::min(size, m_end - m_position);
    auto* out = static_cast<unsigned char*>(buffer);
    return m_shared->compressed ? readDecoded(out, size) : readPlain(out, size);
}

unsigned int K_FileStream::readPlain(unsigned char* out, unsigned int size) {
    K_FileStreamShared& s = *m_shared;
    // Another stream used the buffer last: its window may still hold our bytes.
    if (s.owner != this && !aimBuffer(m_position)) {
        s.available = 0;
    }
    unsigned int done = 0;
    while (done < size) {
        if (s.available == 0) {
            unsigned int const wanted =
                std::min(static_cast<unsigned int>(s.bufferSize), m_end - m_position);
            s.bufferPosition = m_position;
            s.readPointer = s.buffer;
            s.owner = this;
            if (!klmfc::platform::seekFile(s.file, m_position) ||
                std::fread(s.buffer, 1, wanted, s.file) != wanted) {
                s.available = 0;
                K_Raise<K_FileException_UnableToReadData>(s.name);
            }
            s.available = static_cast<int>(wanted);
        }
        unsigned int const n = std::min(size - done, static_cast<unsigned int>(s.available));
        std::memcpy(out + done, s.readPointer, n);
        s.readPointer += n;
        s.available -= static_cast<int>(n);
        m_position += n;
        done += n;
    }
    return done;
}

// Moves the unread input to the buffer's start and fills the room behind it.
void K_FileStream::refill() {
    K_FileStreamShared& s = *m_shared;
    auto const kept = static_cast<unsigned int>(s.available);
    std::memmove(s.buffer, s.readPointer, kept);
    s.readPointer = s.buffer;
    unsigned int const room = static_cast<unsigned int>(s.bufferSize) - kept;
    auto const remaining = static_cast<unsigned int>(m_remaining);
    unsigned int wanted = room;
    if (remaining <= room) {
        s.moreData = false;
        wanted = remaining;
    }
    if (std::fread(s.buffer + kept, 1, wanted, s.file) != wanted) {
        s.moreData = false;
        K_Raise<K_FileException_UnableToReadData>(s.name);
    }
    if (s.scrambled) {
        descrambleOnward(s.buffer + kept, wanted, s.scrambleSeed, s.scrambleIndex);
    }
    m_remaining = static_cast<int>(remaining - wanted);
    s.available = static_cast<int>(kept + wanted);
}

unsigned int K_FileStream::readDecoded(unsigned char* out, unsigned int size) {
    K_FileStreamShared& s = *m_shared;
    unsigned int done = 0;
    while (done < size) {
        if (s.available < 4 && s.moreData) {
            refill();
        }
        int left = s.available;
        int const wanted =
            static_cast<int>(std::min(size - done, static_cast<unsigned int>(INT_MAX)));
        unsigned int const got =
            s.lzss.decode(s.readPointer, out + done, wanted, &left, s.moreData);
        s.readPointer += s.available - left;
        s.available = left;
        m_position += got;
        done += got;
        // No output and no input to come: the code stream ends before the entry does.
        if (got == 0 && !(s.moreData && s.available < 4)) {
            K_Raise<K_FileException_FileCorrupted>(s.name);
        }
    }
    return done;
}
