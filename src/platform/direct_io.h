// Reading files past the system's cache, and the positioning of C streams beyond 2 GiB.
//
// An unbuffered file is read in whole sectors into a sector-aligned buffer, from positions
// on a sector boundary. Where the file system allows it the reads bypass the cache
// (O_DIRECT); where it does not, the file is read in the ordinary way with the same
// results, so a caller keeps to the alignment rules either way.
#pragma once

#include <cstdint>
#include <cstdio>

namespace klmfc::platform {

struct UnbufferedFile;

// Opens a regular file for reading, the path found without regard to case as openFile
// finds it. Null when it cannot be opened or is not a regular file.
UnbufferedFile* openUnbuffered(char const* path);
void closeUnbuffered(UnbufferedFile* file);

// Bytes in the file.
std::uint64_t unbufferedFileSize(UnbufferedFile* file);
// Sets the position of the next read, counted from the file's start; it should lie on a
// sector boundary.
void seekUnbuffered(UnbufferedFile* file, std::uint64_t offset);
// Reads up to `size` bytes into `buffer` and gives the count, which is below `size` only
// at the end of the file (0 also when the file cannot be read). `buffer` and `size` should
// be multiples of the sector size.
unsigned int readUnbuffered(UnbufferedFile* file, void* buffer, unsigned int size);
// Whether the reads of the file bypass the system's cache.
bool readsPastCache(UnbufferedFile const* file);

// Bytes per sector of the volume that holds `path`: the alignment that unbuffered reads
// keep. 512 where the system does not tell.
unsigned int sectorSize(char const* path);
// Makes sectorSize give `bytes` for every path (a power of two), for tests; 0 goes back to
// asking the system.
void setSectorSize(unsigned int bytes);

// Positions a C stream at a byte offset that may lie beyond 2 GiB. False on failure.
bool seekFile(std::FILE* file, std::uint64_t offset);

} // namespace klmfc::platform
