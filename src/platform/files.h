// Disk files as the file manager needs them: found without regard to case, as a program
// written for Windows expects, and with the file system's own separator.
//
// A path is always tried as given first. When that fails it is resolved component by
// component: each component takes the entry of its directory that matches it without
// regard to case (ASCII letters), the exact spelling first, otherwise the first in byte
// order. Directory listings are kept between calls and read again when the directory's
// identity or modification time changes, so a lookup costs a few status calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>

namespace klmfc::platform {

// ---- names --------------------------------------------------------------------------
// Writes backslashes as the system's separator, in place.
void toSystemSeparators(char* path);
// Writes the system's separator as a backslash, in place.
void toNameSeparators(char* path);

// Copies `path` to `out` as it is spelt on disk. True when the whole path exists; when it
// does not, `out` holds the part that exists in its disk spelling followed by the rest as
// given, which is the path to create. False with `out` empty when it does not fit in
// `size` bytes.
bool resolvePath(char const* path, char* out, std::size_t size);

// The full path of `name` against the process's current directory, with "." and ".."
// taken out and separators made single. False when it does not fit in `size` bytes.
bool fullPathName(char const* name, char* out, std::size_t size);

// ---- files and directories, without regard to case -----------------------------------
enum class PathKind { None, File, Directory, Other };
PathKind pathKind(char const* path);

// fopen, with the path resolved. A directory is never opened: null, as for a missing file.
// `length`, when given, takes the size of the file opened.
std::FILE* openFile(char const* path, char const* mode, std::uint64_t* length = nullptr);
// Bytes in an open file; false when it cannot be told.
bool fileLength(std::FILE* file, std::uint64_t* length);

// Makes one directory level; false when it cannot be made or is there already.
bool createDirectory(char const* path);
// Removes a file; directories are left alone. False when nothing was removed.
bool removeFile(char const* path);
// Makes `path` the process's current directory.
bool changeCurrentDirectory(char const* path);

// A time in UTC, field by field.
struct CalendarTime {
    int year;
    int month;     // 1 to 12
    int dayOfWeek; // 0 is Sunday
    int day;       // 1 to 31
    int hour;
    int minute;
    int second;
    int milliseconds;
};
// The last modification of a regular file; false for anything else.
bool fileModifiedUtc(char const* path, CalendarTime* time);

} // namespace klmfc::platform
