// A memory file as one field of a CArchive: its size as a 32-bit value, then its bytes.
#include "klmfc/memoryfile/memoryfile.h"
#include "klmfc/mfc/archive.h"

#include <algorithm>
#include <vector>

namespace {

// Bytes are taken from the archive in pieces of this size, so that a damaged size cannot
// make a block larger than the data behind it.
constexpr unsigned int kPiece = 1u << 20;

} // namespace

CArchive& operator<<(CArchive& archive, K_MemoryFile const& file) {
    unsigned int const size = file.getSize();
    if (file.getAccessMethod() == K_MemoryFile::ACCESS_STREAM &&
        file.getMode() == K_MemoryFile::MODE_WRITE) {
        // A write-through file: its content is on disk, its block only a buffer.
        K_Raise<K_MemoryFileException_InvalidOperation>(file.getFilename(),
                                                        "storing a file written straight to disk");
    }
    archive << size;
    if (size == 0) {
        return archive;
    }
    if (file.getAddress() != nullptr) {
        archive.Write(file.getAddress(), size);
        return archive;
    }
    // A file read by stream: its bytes through a view of its own.
    K_MemoryFile view(file);
    view.seek(0, K_MemoryFile::SeekBegin);
    std::vector<unsigned char, K_Allocator<unsigned char>> piece(std::min(size, kPiece));
    for (unsigned int done = 0; done < size;) {
        unsigned int const n = std::min(size - done, kPiece);
        view.read(piece.data(), static_cast<int>(n));
        archive.Write(piece.data(), n);
        done += n;
    }
    return archive;
}

CArchive& operator>>(CArchive& archive, K_MemoryFile& file) {
    if (file.isConstructed()) {
        file.destruct();
    }
    unsigned int size;
    archive >> size;
    std::vector<unsigned char, K_Allocator<unsigned char>> block;
    while (block.size() < size) {
        std::size_t const done = block.size();
        unsigned int const n = std::min(size - static_cast<unsigned int>(done), kPiece);
        block.resize(done + n); // zero-filled
        if (archive.Read(block.data() + done, n) != n) {
            AfxThrowArchiveException(CArchiveException::endOfFile);
        }
    }
    file.construct(block.data(), size, true);
    return archive;
}
