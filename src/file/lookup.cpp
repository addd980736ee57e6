// Where a name is, and the operations on whole files. A name is tried on disk first,
// then in the archives in the order of the active list.
#include "file/file_internal.h"
#include "platform/direct_io.h"
#include "platform/files.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>

using klmfc::file::BlockGuard;
using klmfc::file::FileGuard;

namespace {

unsigned int const kWholeFile = 0xffffffffu;

unsigned int packTime(unsigned int year, unsigned int month, unsigned int day, unsigned int hour,
                      unsigned int minute, unsigned int second) {
    return ((((year * 12u + month) * 31u + day) * 24u + hour) * 60u + minute + 5060224u) * 60u +
           second;
}

void upperCase(char* text) {
    for (; *text != 0; ++text) {
        *text = static_cast<char>(std::toupper(static_cast<unsigned char>(*text)));
    }
}

// The length of a disk file, which must fit the 32-bit sizes of the interface.
unsigned int lengthOf(std::uint64_t length, char const* disk) {
    if (length > 0xffffffffu) {
        K_Raise<K_FileException_UnableToReadData>(disk);
    }
    return static_cast<unsigned int>(length);
}

// A printf format with at most one conversion, of an int into digits: the only kind that
// tmpName can feed safely, and one whose texts differ for every number.
bool isNumberFormat(char const* format) {
    int conversions = 0;
    for (char const* p = format; *p != 0; ++p) {
        if (*p != '%') {
            continue;
        }
        ++p;
        if (*p == '%') {
            continue;
        }
        while (*p != 0 && std::strchr("-+ #0", *p) != nullptr) {
            ++p;
        }
        while (*p >= '0' && *p <= '9') {
            ++p;
        }
        if (*p == '.') {
            ++p;
            while (*p >= '0' && *p <= '9') {
                ++p;
            }
        }
        if (*p == 0 || std::strchr("diuxXo", *p) == nullptr || ++conversions > 1) {
            return false;
        }
    }
    return true;
}

bool formatNumber(char* buffer, char const* format, int number) {
    int const n = std::snprintf(buffer, 256, format, number);
    return n >= 0 && n < 256;
}

} // namespace

// ---- lookups --------------------------------------------------------------------------

K_File::Location K_File::whereAbsolute(char const* absolute, char const* disk) {
    if (klmfc::platform::pathKind(disk) != klmfc::platform::PathKind::None) {
        return LocationDisk;
    }
    K_KASFind find;
    searchFile(&find, absolute);
    if (find.archive != nullptr) {
        return LocationArchive;
    }
    searchDir(&find, absolute);
    return find.archive != nullptr ? LocationArchive : LocationNone;
}

K_File::Location K_File::where(char const* name) {
    char absolute[256];
    char disk[256];
    return namesOf(name, absolute, disk) ? whereAbsolute(absolute, disk) : LocationNone;
}

int K_File::exists(char const* name) {
    return where(name) > LocationNone ? 1 : 0;
}

int K_File::isDirectoryAbsolute(char const* absolute, char const* disk) {
    if (klmfc::platform::pathKind(disk) == klmfc::platform::PathKind::Directory) {
        return 1;
    }
    K_KASFind find;
    searchDir(&find, absolute);
    return find.archive != nullptr ? 1 : 0;
}

int K_File::isDirectory(char const* name) {
    char absolute[256];
    char disk[256];
    return namesOf(name, absolute, disk) ? isDirectoryAbsolute(absolute, disk) : 0;
}

unsigned int K_File::size(char const* name) {
    char absolute[256];
    char disk[256];
    std::uint64_t length = 0;
    if (namesOf(name, absolute, disk)) {
        if (std::FILE* opened = klmfc::platform::openFile(disk, "rb", &length)) {
            FileGuard file(opened);
            return lengthOf(length, disk);
        }
    }
    upperCase(absolute);
    K_KASFind find;
    searchFile(&find, absolute);
    if (find.archive == nullptr) {
        K_Raise<K_FileException_FileNotFound>(absolute);
    }
    return find.file->size;
}

unsigned int K_File::timeStamp(char const* name) {
    char absolute[256];
    char disk[256];
    if (!namesOf(name, absolute, disk)) {
        return 0;
    }
    klmfc::platform::CalendarTime t;
    if (klmfc::platform::fileModifiedUtc(disk, &t)) {
        return packTime(static_cast<unsigned int>(t.year), static_cast<unsigned int>(t.month),
                        static_cast<unsigned int>(t.day), static_cast<unsigned int>(t.hour),
                        static_cast<unsigned int>(t.minute), static_cast<unsigned int>(t.second));
    }
    if (whereAbsolute(absolute, disk) != LocationArchive) {
        return 0;
    }
    K_KASFind find;
    searchFile(&find, absolute);
    if (find.archive == nullptr) {
        return 0;
    }
    SYSTEMTIME const& s = find.file->time;
    return packTime(s.wYear, s.wMonth, s.wDay, s.wHour, s.wMinute, s.wSecond);
}

int K_File::getMethod(char const* name) {
    int const location = where(name);
    if (location == LocationDisk || location == 3) {
        return MethodStored;
    }
    if (location != LocationArchive) {
        return -1;
    }
    char absolute[256];
    relativeToAbsolutePath(absolute, name);
    K_KASFind find;
    searchFile(&find, absolute);
    // A directory that lives only in an archive has no entry, and so no method.
    return find.archive != nullptr ? find.file->method : -1;
}

// ---- loading ----------------------------------------------------------------------------

namespace {

// Checks that the stored bytes of a compressed entry hold a container of the entry's size
// whose code stream lies inside them.
bool containerFits(unsigned char const* stored, unsigned int storedSize, unsigned int size) {
    return storedSize >= 12 && klmfc::file::readLE32(stored + 8) <= storedSize - 12 &&
           klmfc::file::readLE32(stored + 4) == size;
}

} // namespace

void K_File::load(void* buffer, char const* name, unsigned int size) {
    char absolute[256];
    char disk[256];
    bool const fits = namesOf(name, absolute, disk);
    std::uint64_t length = 0;
    if (std::FILE* opened = fits ? klmfc::platform::openFile(disk, "rb", &length) : nullptr) {
        FileGuard file(opened);
        if (size == kWholeFile) {
            size = lengthOf(length, disk);
        }
        if (size != 0 && std::fread(buffer, 1, size, opened) != size) {
            K_Raise<K_FileException_UnableToReadData>(disk);
        }
        return;
    }
    K_KASFind find;
    searchFile(&find, absolute);
    if (find.archive == nullptr) {
        K_Raise<K_FileException_FileNotFound>(absolute);
    }
    loadEntry(buffer, find, absolute);
}

void K_File::loadEntry(void* buffer, K_KASFind const& find, char const* absolute) {
    std::uint64_t length = 0;
    FileGuard file(klmfc::platform::openFile(find.archive->name, "rb", &length));
    if (file.get() == nullptr) {
        K_Raise<K_FileException_ArchiveNotFound>(find.archive->name);
    }
    K_KASFileInfo const& entry = *find.file;
    if (std::uint64_t(entry.offset) + entry.storedSize > length ||
        !klmfc::platform::seekFile(file.get(), entry.offset)) {
        K_Raise<K_FileException_UnableToReadData>(absolute);
    }
    if (entry.method == MethodStored) {
        // The bytes as they are: straight into the caller's buffer.
        if (entry.size > entry.storedSize) {
            K_Raise<K_FileException_FileCorrupted>(absolute);
        }
        if (entry.size != 0 && std::fread(buffer, 1, entry.size, file.get()) != entry.size) {
            K_Raise<K_FileException_UnableToReadData>(absolute);
        }
        return;
    }
    if (entry.method != MethodCompressed && entry.method != MethodScrambled) {
        return;
    }
    if (entry.storedSize > 0x7fffffffu) {
        K_Raise<K_FileException_FileCorrupted>(absolute);
    }
    BlockGuard work(entry.storedSize);
    if (entry.storedSize != 0 &&
        std::fread(work.get(), 1, entry.storedSize, file.get()) != entry.storedSize) {
        K_Raise<K_FileException_UnableToReadData>(absolute);
    }
    if (entry.method == MethodScrambled) {
        decryptWithSeed(work.get(), static_cast<int>(entry.storedSize), entry.seed);
    }
    if (!containerFits(work.get(), entry.storedSize, entry.size)) {
        K_Raise<K_FileException_FileCorrupted>(absolute);
    }
    decompress(static_cast<void*>(buffer), static_cast<void const*>(work.get()));
}

char* K_File::load(char const* label, char const* name, unsigned int size) {
    (void)label;
    char absolute[256];
    char disk[256];
    bool const fits = namesOf(name, absolute, disk);
    char upper[256];
    klmfc::file::copyName(upper, name);
    upperCase(upper);
    // One look at the disk serves both the size and the bytes.
    std::uint64_t length = 0;
    if (std::FILE* opened = fits ? klmfc::platform::openFile(disk, "rb", &length) : nullptr) {
        FileGuard file(opened);
        if (size == kWholeFile) {
            size = lengthOf(length, disk);
        }
        if (size == 0) {
            K_Raise<K_FileException_FileCorrupted>(upper);
        }
        char* buffer = static_cast<char*>(K_CountedAllocate(size));
        if (std::fread(buffer, 1, size, opened) != size) {
            free(buffer);
            K_Raise<K_FileException_UnableToReadData>(disk);
        }
        return buffer;
    }
    K_KASFind find;
    searchFile(&find, absolute);
    if (find.archive == nullptr) {
        if (size == kWholeFile) {
            upperCase(absolute);
        }
        K_Raise<K_FileException_FileNotFound>(absolute);
    }
    unsigned int const whole = find.file->size;
    if (size == kWholeFile) {
        size = whole;
    }
    if (size == 0) {
        K_Raise<K_FileException_FileCorrupted>(absolute);
    }
    char* buffer = static_cast<char*>(K_CountedAllocate(size));
    try {
        if (size < whole) {
            // An entry comes whole: decoded aside, it gives its first `size` bytes, as a
            // disk file does.
            BlockGuard all(whole);
            loadEntry(all.get(), find, absolute);
            std::memcpy(buffer, all.get(), size);
        } else {
            loadEntry(buffer, find, absolute);
        }
    } catch (...) {
        free(buffer);
        throw;
    }
    return buffer;
}

char* K_File::load(char const* name, unsigned int size) {
    return load("Kovmar Library", name, size);
}

void K_File::free(void* buffer) {
    K_REALLOCATE_DELETE_implementation(buffer);
}

// ---- writing --------------------------------------------------------------------------

void K_File::checkPathExistence(char const* absolute) {
    char disk[256];
    if (!absolutePathToDirStructure(disk, absolute)) {
        return;
    }
    char* const slash = std::strrchr(disk, '/');
    if (slash != nullptr && slash != disk) {
        *slash = 0;
        klmfc::platform::createDirectory(disk);
    }
}

int K_File::save(char const* name, void const* data, unsigned int size) {
    char absolute[256];
    char disk[256];
    if (!namesOf(name, absolute, disk)) {
        return 0;
    }
    checkPathExistence(absolute);
    if (m_override != 0) {
        klmfc::platform::removeFile(disk);
    }
    if (whereAbsolute(absolute, disk) == LocationDisk) {
        return 0;
    }
    std::FILE* opened = klmfc::platform::openFile(disk, "wb");
    if (opened == nullptr) {
        return 0;
    }
    FileGuard file(opened);
    if (size != 0) {
        std::fwrite(data, 1, size, opened);
    }
    return 1;
}

int K_File::append(char const* name, void const* data, unsigned int size) {
    char absolute[256];
    char disk[256];
    if (!namesOf(name, absolute, disk)) {
        return 0;
    }
    checkPathExistence(absolute);
    std::FILE* opened = klmfc::platform::openFile(disk, "a+b");
    if (opened == nullptr) {
        return save(name, data, size);
    }
    FileGuard file(opened);
    std::fseek(opened, 0, SEEK_END);
    if (size != 0) {
        std::fwrite(data, 1, size, opened);
    }
    return 1;
}

int K_File::del(char const* name) {
    char absolute[256];
    char disk[256];
    return namesOf(name, absolute, disk) && klmfc::platform::removeFile(disk) ? 1 : 0;
}

int K_File::tmpName(char* buffer, char const* format) {
    char first[256];
    if (!isNumberFormat(format) || !formatNumber(buffer, format, 0)) {
        buffer[0] = 0;
        return 0;
    }
    std::strcpy(first, buffer);
    for (int number = 1; where(buffer) == LocationDisk; ++number) {
        if (number == INT_MAX || !formatNumber(buffer, format, number) ||
            std::strcmp(buffer, first) == 0) {
            buffer[0] = 0;
            return 0;
        }
    }
    return 1;
}
