// What the memory file's sources share: streams and blocks on the counted path.
#pragma once

#include <cstdint>

class K_FileStream;

namespace klmfc::memoryfile {

// A K_FileStream over a range of `stream`, as its copy constructor takes it.
K_FileStream* newStreamView(K_FileStream const& stream, int start, int size);
// Releases a stream of newStreamView; null does nothing.
void deleteStream(K_FileStream* stream);
// A block of `bytes`; raises K_MemoryException_Allocation beyond 2 GiB - 1.
unsigned char* allocateBlock(std::uint64_t bytes);

} // namespace klmfc::memoryfile
