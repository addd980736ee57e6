// Scrambling: the "KC->" container and the descrambling of archive areas.
#include "file/scramble.h"

#include "klmfc/file/file.h"

#include "file/file_internal.h"
#include "klmfc/memory/memory.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>

char const* const K_File::CRYPTHEADER = "KC->";

namespace {

constexpr std::size_t kHeaderSize = 16;

using klmfc::file::readLE32;
using klmfc::file::writeLE32;

} // namespace

void K_File::decryptWithSeed(unsigned char* data, int size, int seed) {
    if (size <= 0) {
        return;
    }
    klmfc::scramble::descramble(data, data, static_cast<std::size_t>(size), seed == 0 ? 1 : seed);
}

void* K_File::encrypt(char const* label, void const* data, unsigned int size) {
    K_MemoryScope scope(label);
    // rand() gives 15 bits; the factor spreads them over the whole word.
    auto const seed = static_cast<std::int32_t>(static_cast<std::uint32_t>(std::rand()) * 0x20004u);
    if (size > 0xffffffffu - kHeaderSize) {
        // The container's own size field cannot hold it: a failed attempt, counted.
        ++K_Memory::sm_iNewCount;
        K_RaiseAllocationFailure();
    }
    auto* block = static_cast<unsigned char*>(K_CountedAllocate(size + kHeaderSize));
    std::memcpy(block, CRYPTHEADER, 4);
    writeLE32(block + 4, size);
    writeLE32(block + 8, static_cast<std::uint32_t>(size + kHeaderSize));
    writeLE32(block + 12, static_cast<std::uint32_t>(seed));
    klmfc::scramble::scramble(static_cast<unsigned char const*>(data), block + kHeaderSize, size,
                              seed);
    return block;
}

void* K_File::encrypt(void const* data, unsigned int size) {
    return encrypt("Kovmar Library", data, size);
}

void* K_File::decrypt(char const* label, void const* container) {
    K_MemoryScope scope(label);
    auto const* bytes = static_cast<unsigned char const*>(container);
    if (std::memcmp(bytes, CRYPTHEADER, 4) != 0) {
        K_Raise<K_FileException_ContainerCorrupted>(CRYPTHEADER, "it does not start with KC->");
    }
    std::uint32_t const size = readLE32(bytes + 4);
    std::uint32_t const whole = readLE32(bytes + 8);
    if (size > 0xffffffffu - kHeaderSize || whole != size + kHeaderSize) {
        K_Raise<K_FileException_ContainerCorrupted>(CRYPTHEADER,
                                                    "its whole size is not the plain size plus 16");
    }
    auto const seed = static_cast<std::int32_t>(readLE32(bytes + 12));
    auto* buffer = static_cast<unsigned char*>(K_CountedAllocate(size));
    klmfc::scramble::descramble(bytes + kHeaderSize, buffer, size, seed);
    return buffer;
}

void* K_File::decrypt(void const* container) {
    return decrypt("Kovmar Library", container);
}
