// The operating-system layer. Everything the library needs of the platform goes
// through here; the rest of the code holds no platform conditionals of its own.
// Strings are narrow, paths are the system's own (forward slashes on POSIX).
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace klmfc::platform {

// ---- formatting -------------------------------------------------------------------
// Formats at most `limit` characters into `buffer` and always terminates it at or
// before buffer[limit]; `buffer` must hold limit + 1 bytes. Returns the characters
// written (a cut text gives `limit`).
int formatTruncated(char* buffer, std::size_t limit, char const* format, va_list arguments);

// ---- process and environment ------------------------------------------------------
// Directory of the running executable, with no trailing separator. False when it
// does not fit in `size` bytes or cannot be read.
bool programDirectory(char* buffer, std::size_t size);

// Current directory of the process; false when it does not fit.
bool currentDirectory(char* buffer, std::size_t size);
bool setCurrentDirectory(char const* path);

// Value of an environment variable copied into `buffer` (cut to fit). False when the
// variable is not set; the buffer is then left as it was.
bool environmentVariable(char const* name, char* buffer, std::size_t size);

// The machine's name as a 16-byte buffer takes it: at most 15 characters, cut at the
// first dot. False when the system does not give one.
bool machineName(char buffer[16]);

// Ends the process at once.
[[noreturn]] void abortProcess();

// A blocking message with a title: on a terminal, one line on standard error.
// Returns the button pressed; 1 ("OK") is the only answer here.
int showMessage(char const* text, char const* title, unsigned int style);

// ---- files --------------------------------------------------------------------------
enum class FileKind { None, File, Directory, Other };
FileKind fileKind(char const* path);

// Mode bits in the classic C run-time's form: 0x4000 for a directory, 0x8000 for a
// regular file. False when the path cannot be examined.
bool statMode(char const* path, unsigned int* mode);

// One entry of a directory listing.
struct FindData {
    char name[256];
    bool isDirectory;
    std::uint64_t size;
    std::int64_t modifiedUtc; // seconds since 1970, UTC
};

// Lists the entries of a directory whose names match a pattern with "*" and "?",
// ignoring case; "." has no special meaning. `pattern` is a path whose last component
// is the pattern (a bare pattern lists the current directory). "." and ".." are listed
// like other names when the pattern matches them. Entries come sorted by name (byte
// order), so a listing is the same on every run.
struct FindHandle;
FindHandle* findFirst(char const* pattern, FindData* data); // null when nothing matches
bool findNext(FindHandle* handle, FindData* data);
void findClose(FindHandle* handle);

// The matching rule of findFirst on its own.
bool wildcardMatch(char const* pattern, char const* text);

// ---- modules ------------------------------------------------------------------------
// Loads a shared object. A bare file name is looked for in the current directory first.
// Null when it will not load.
void* loadModule(char const* file);
void unloadModule(void* module);

// ---- synchronisation ----------------------------------------------------------------
// A mutex that the thread holding it may take again.
struct RecursiveMutex;
RecursiveMutex* createRecursiveMutex();
void lockMutex(RecursiveMutex* mutex);
void unlockMutex(RecursiveMutex* mutex);
void destroyRecursiveMutex(RecursiveMutex* mutex);

// ---- time ---------------------------------------------------------------------------
// Milliseconds of a steady clock; wraps like a 32-bit counter.
unsigned int milliseconds();

} // namespace klmfc::platform
