// Chunks: writing them with their sizes filled in afterwards, also on a file that has gone
// to disk, and reading them through views of the payload.
#include "klmfc/memoryfile/memoryfile.h"

#include "klmfc/file/filestream.h"
#include "memoryfile/memoryfile_internal.h"
#include "memoryfile/wire.h"
#include "platform/output_file.h"

#include <algorithm>

namespace {

constexpr unsigned int kSizeField = 9; // offset of the size in a chunk

} // namespace

// ---- writing ------------------------------------------------------------------------------

void K_MemoryFile::createChunk(unsigned int id, unsigned int version) {
    unsigned int const start = m_uiPosition;
    unsigned char header[12];
    klmfc::wire::put32(header, id);
    klmfc::wire::put32(header + 4, version);
    klmfc::wire::put32(header + 8, 0);
    m_chunkStack.reserve(m_chunkStack.size() + 1);
    writeTagged(BT_CHUNK, header, 12);
    m_chunkStack.push_back(start);
}

void K_MemoryFile::closeChunk() {
    if (m_chunkStack.empty()) {
        raiseInvalid("closeChunk with no chunk open");
    }
    unsigned int const start = m_chunkStack.back();
    unsigned char size[4];
    klmfc::wire::put32(size, m_uiPosition - start);
    std::uint64_t const field = std::uint64_t{start} + kSizeField;
    if (m_pWriteFile != nullptr) {
        // What lies before the buffer's base has gone to disk; the rest is in the buffer.
        unsigned int onDisk = 0;
        if (field < m_uiBufferBase) {
            onDisk = static_cast<unsigned int>(std::min<std::uint64_t>(4, m_uiBufferBase - field));
            klmfc::platform::patchOutput(m_pWriteFile, field, size, onDisk, m_uiBufferBase);
        }
        for (unsigned int i = onDisk; i < 4; ++i) {
            std::uint64_t const at = field + i - m_uiBufferBase;
            if (at < m_uiCapacity) {
                m_pData[at] = size[i];
            }
        }
    } else if (m_pData != nullptr) {
        for (unsigned int i = 0; i < 4; ++i) {
            if (field + i < m_uiCapacity) {
                m_pData[field + i] = size[i];
            }
        }
    }
    m_chunkStack.pop_back();
}

// ---- reading ------------------------------------------------------------------------------

bool K_MemoryFile::readChunkHeader(ChunkHeader& header, bool mustExist) {
    unsigned int const start = m_uiPosition;
    if (mustExist) {
        readTag(BT_CHUNK);
    } else {
        // The last byte of a file counts as its end: a lone tag there is no chunk.
        if (std::uint64_t{start} + 1 >= m_uiSize) {
            return false;
        }
        unsigned char tag;
        read(&tag, 1);
        if (tag != BT_CHUNK) {
            moveTo(start);
            return false;
        }
    }
    if (std::uint64_t{m_uiPosition} + 12 > m_uiSize) {
        moveTo(start);
        raiseOverreading();
    }
    unsigned char bytes[12];
    read(bytes, 12);
    header.m_uiID = klmfc::wire::get32(bytes);
    header.m_uiVersion = klmfc::wire::get32(bytes + 4);
    header.m_uiSize = klmfc::wire::get32(bytes + 8);
    return true;
}

void K_MemoryFile::buildChunk(Chunk& chunk, ChunkHeader const& header, unsigned int payloadStart) {
    // A chunk whose size is below its header's or beyond this file is damaged data: no view
    // may reach outside the parent.
    if (header.m_uiSize < sm_uiChunkHeaderSize ||
        header.m_uiSize - sm_uiChunkHeaderSize > m_uiSize - payloadStart) {
        raiseDataError();
    }
    unsigned int const size = header.m_uiSize - sm_uiChunkHeaderSize;
    K_String const name = m_filename; // the payload's messages name the parent's file
    bool const itself = &chunk.m_memoryFile == this; // building the chunk destroys this file
    if (m_accessMethod == ACCESS_MEMORY) {
        unsigned char* block = m_pData;
        if (itself && m_bOwnsData) {
            // This file's block would go with it: the payload takes a copy.
            m_pData = nullptr;
            try {
                chunk.m_memoryFile.construct(block + payloadStart, size, true);
            } catch (...) {
                K_REALLOCATE_DELETE_implementation(block);
                throw;
            }
            K_REALLOCATE_DELETE_implementation(block);
            chunk.m_header = header;
            chunk.m_bValid = true;
            chunk.m_memoryFile.m_filename = name;
            return;
        }
        chunk.construct(block + payloadStart, size, header);
    } else if (itself) {
        K_FileStream* view = klmfc::memoryfile::newStreamView(
            *m_pStream, static_cast<int>(payloadStart), static_cast<int>(size));
        try {
            chunk.construct(*view, 0, static_cast<int>(size), header);
        } catch (...) {
            klmfc::memoryfile::deleteStream(view);
            throw;
        }
        klmfc::memoryfile::deleteStream(view);
    } else {
        chunk.construct(*m_pStream, static_cast<int>(payloadStart), static_cast<int>(size), header);
    }
    chunk.m_memoryFile.m_filename = name;
}

void K_MemoryFile::openChunk(Chunk& chunk, unsigned int /*expected*/) {
    unsigned int const start = m_uiPosition;
    ChunkHeader header;
    readChunkHeader(header, true);
    unsigned int const payloadStart = m_uiPosition;
    moveTo(start); // the parent stays at the head of the chunk
    buildChunk(chunk, header, payloadStart);
}

K_MemoryFile::Chunk K_MemoryFile::openChunk(unsigned int expected) {
    Chunk chunk;
    openChunk(chunk, expected);
    return chunk;
}

void K_MemoryFile::peekChunk(Chunk& chunk) {
    bool const itself = &chunk.m_memoryFile == this;
    if (!itself) {
        chunk.invalidate();
    }
    unsigned int const start = m_uiPosition;
    ChunkHeader header;
    if (!readChunkHeader(header, false)) {
        if (itself) {
            chunk.invalidate();
        }
        return;
    }
    unsigned int const payloadStart = m_uiPosition;
    moveTo(start);
    buildChunk(chunk, header, payloadStart);
}

K_MemoryFile::Chunk K_MemoryFile::peekChunk() {
    Chunk chunk;
    peekChunk(chunk);
    return chunk;
}

void K_MemoryFile::skipChunk() {
    unsigned int const start = m_uiPosition;
    ChunkHeader header;
    if (!readChunkHeader(header, false)) {
        return;
    }
    moveTo(start);
    if (header.m_uiSize < sm_uiChunkHeaderSize) {
        raiseDataError(); // a size that would not move on
    }
    if (std::uint64_t{start} + header.m_uiSize > m_uiSize) {
        K_Raise<K_MemoryFileException_SeekOutOfRange>(getFilename());
    }
    moveTo(start + header.m_uiSize);
}

// ---- Chunk --------------------------------------------------------------------------------

K_MemoryFile::Chunk::Chunk() : m_header{0, 0, 0}, m_memoryFile(), m_bValid(false) {}

K_MemoryFile::Chunk::Chunk(Chunk const& other)
    : m_header(other.m_header), m_memoryFile(other.m_memoryFile), m_bValid(other.m_bValid) {}

K_MemoryFile::Chunk& K_MemoryFile::Chunk::operator=(Chunk const& other) {
    if (this != &other) {
        m_memoryFile = other.m_memoryFile;
        m_header = other.m_header;
        m_bValid = other.m_bValid;
    }
    return *this;
}

K_MemoryFile::Chunk::~Chunk() = default;

K_MemoryFile::Chunk::Chunk(void const* data, unsigned int size, ChunkHeader const& header)
    : Chunk() {
    construct(data, size, header);
}

K_MemoryFile::Chunk::Chunk(K_FileStream const& stream, int start, int size,
                           ChunkHeader const& header)
    : Chunk() {
    construct(stream, start, size, header);
}

void K_MemoryFile::Chunk::construct(void const* data, unsigned int size,
                                    ChunkHeader const& header) {
    m_bValid = false;
    m_memoryFile.construct(data, size, false);
    m_header = header;
    m_bValid = true;
}

void K_MemoryFile::Chunk::construct(K_FileStream const& stream, int start, int size,
                                    ChunkHeader const& header) {
    m_bValid = false;
    m_memoryFile.construct(stream, start, size);
    m_header = header;
    m_bValid = true;
}

void K_MemoryFile::Chunk::invalidate() {
    m_memoryFile.construct();
    m_header = ChunkHeader{0, 0, 0};
    m_bValid = false;
}
