// Files written from the start, straight to disk: the sink of a memory file that writes
// through, and the disk files of the MFC stand-ins.
//
// Paths are the system's own, with backslashes taken as separators and directories found
// without regard to case, so that a path written for Windows lands where it should.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace klmfc::platform {

// Opens `path` with an fopen mode ("wb", "rb", "r+b", "w+b"). Null when it cannot be opened.
std::FILE* openPath(char const* path, char const* mode);
// Creates `path` (or empties it) for writing with no buffer of the C library's: every
// write goes to the system at once, so the caller's buffer is the only one. Null when it
// cannot be opened.
std::FILE* createUnbuffered(char const* path);
// Writes `count` bytes at the file's position; false when not all of them went.
bool writeOutput(std::FILE* file, void const* data, std::size_t count);
// Writes `count` bytes at `offset` and comes back to `resume`; false on any failure.
bool patchOutput(std::FILE* file, std::uint64_t offset, void const* data, std::size_t count,
                 std::uint64_t resume);
// Positions of a file beyond 2 GiB.
bool seekOutput(std::FILE* file, std::uint64_t offset);
bool tellOutput(std::FILE* file, std::uint64_t* offset);
// Writes out what the C library holds and closes the file.
void closeOutput(std::FILE* file);

} // namespace klmfc::platform
