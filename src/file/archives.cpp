// The .KAS archives: reading one archive's header and tables, the archive set and its
// order, and the lookups of a name in it.
#include "file/file_internal.h"
#include "platform/files.h"
#include "platform/platform.h"

#include <cmath>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <limits>

using klmfc::file::BlockGuard;
using klmfc::file::FileGuard;
using klmfc::file::readLE16;
using klmfc::file::readLE32;

float const K_File::KAS_ARCHIVE_VERSION = 1.2f;
bool K_File::sm_bPriorityArchiveEnabled = false;
char K_File::sm_strPriorityArchive[256];
char K_File::sm_strSecondaryArchiveSearchPath[256];

namespace {

std::uint32_t const kHeaderSize = 44;
std::uint32_t const kFileTail = 40;      // behind a file name and its zero byte
std::uint32_t const kDirectoryTail = 16; // behind a directory name and its zero byte
int const kMaxDirectories = 100000;      // the five digits of a key

// The record of the priority archive, and its full path for loading it again.
K_File::K_KASArchive* s_priorityRecord = nullptr;
char s_priorityPath[256];

void releaseTables(K_File::K_KASArchive* record) {
    K_REALLOCATE_DELETE_implementation(record->name);
    K_REALLOCATE_DELETE_implementation(record->files);
    K_REALLOCATE_DELETE_implementation(record->fileNames);
    K_REALLOCATE_DELETE_implementation(record->directories);
    K_REALLOCATE_DELETE_implementation(record->directoryNames);
    K_REALLOCATE_DELETE_implementation(record->index);
    std::memset(record, 0, sizeof *record);
}

void* allocateArray(std::uint64_t count, std::size_t elementSize) {
    if (count > std::numeric_limits<std::size_t>::max() / elementSize) {
        ++K_Memory::sm_iNewCount;
        K_RaiseAllocationFailure();
    }
    return K_CountedAllocate(static_cast<std::size_t>(count * elementSize));
}

bool holds(K_DLList<K_File::K_KASArchive> const* list, K_File::K_KASArchive const* record) {
    for (K_File::K_KASArchive* a = list->getFirst(); a != nullptr; a = list->getNext(a)) {
        if (a == record) {
            return true;
        }
    }
    return false;
}

// Walks `count` entries of a name, its zero byte and `tail` bytes, which must fill the
// table exactly; gives the bytes that the names take with `extra` bytes each.
std::uint64_t measureTable(unsigned char const* table, std::uint32_t size, int count,
                           std::uint32_t tail, std::uint32_t extra, char const* path) {
    std::uint64_t names = 0;
    std::uint32_t pos = 0;
    for (int i = 0; i < count; ++i) {
        void const* zero = std::memchr(table + pos, 0, size - pos);
        if (zero == nullptr) {
            K_Raise<K_FileException_ArchiveCorrupted>(path);
        }
        std::uint32_t const length =
            static_cast<std::uint32_t>(static_cast<unsigned char const*>(zero) - (table + pos));
        // No name of the file system is longer than 255 characters.
        if (length > 255 || size - pos - length - 1 < tail) {
            K_Raise<K_FileException_ArchiveCorrupted>(path);
        }
        names += length + extra;
        pos += length + 1 + tail;
    }
    if (pos != size) {
        K_Raise<K_FileException_ArchiveCorrupted>(path);
    }
    return names;
}

} // namespace

// ---- one archive ----------------------------------------------------------------------

void K_File::loadArchiveHeader(K_KASArchive* record, char const* name) {
    char native[256];
    klmfc::file::copyName(native, name);
    klmfc::platform::toSystemSeparators(native);
    char full[256];
    if (std::strlen(name) > 255 || !klmfc::platform::fullPathName(native, full, sizeof full)) {
        K_Raise<K_FileException_ArchiveNotFound>(name);
    }
    // The record keeps the path as it is spelt on disk.
    char path[256];
    if (!klmfc::platform::resolvePath(full, path, sizeof path)) {
        std::strcpy(path, full);
    }
    FileGuard file(klmfc::platform::openFile(path, "rb"));
    if (file.get() == nullptr) {
        K_Raise<K_FileException_ArchiveNotFound>(full);
    }
    std::uint64_t length = 0;
    unsigned char raw[kHeaderSize];
    if (!klmfc::platform::fileLength(file.get(), &length) ||
        std::fread(raw, 1, kHeaderSize, file.get()) != kHeaderSize) {
        K_Raise<K_FileException_UnableToReadData>(path);
    }
    int const seed = static_cast<int>(readLE32(raw + 4));
    decryptWithSeed(raw + 8, 36, seed);
    unsigned int const checksum = readLE32(raw + 28);
    std::memset(raw + 28, 0, 4);
    if (CRC32(raw, kHeaderSize) != checksum) {
        K_Raise<K_FileException_ArchiveCorrupted>(path);
    }
    K_KASHeader header;
    std::memcpy(&header, raw, kHeaderSize);
    if (header.version != KAS_ARCHIVE_VERSION) {
        K_Raise<K_FileException_ArchiveVersionConflict>(path, static_cast<double>(header.version),
                                                        std::floor(double(KAS_ARCHIVE_VERSION)));
    }
    // The checksums vouch for the bytes, not for a writer's arithmetic.
    if (header.fileCount < 0 || header.directoryCount < 0 ||
        header.directoryCount > kMaxDirectories) {
        K_Raise<K_FileException_ArchiveCorrupted>(path);
    }
    std::uint64_t const dataStart =
        std::uint64_t(kHeaderSize) + header.fileTableSize + header.directoryTableSize;
    if (dataStart > length) {
        K_Raise<K_FileException_UnableToReadData>(path);
    }

    // Reads a table and descrambles it; its checksum must be `checksum`.
    auto readTable = [&](unsigned char* table, std::uint32_t size, unsigned int checksum) {
        if (size != 0 && std::fread(table, 1, size, file.get()) != size) {
            K_Raise<K_FileException_UnableToReadData>(path);
        }
        if (size > 0x7fffffffu) {
            K_Raise<K_FileException_ArchiveCorrupted>(path); // more than one run can count
        }
        decryptWithSeed(table, static_cast<int>(size), seed);
        if (CRC32(table, size) != checksum) {
            K_Raise<K_FileException_ArchiveCorrupted>(path);
        }
    };

    try {
        std::memset(record, 0, sizeof *record);
        record->header = header;
        std::size_t const pathLength = std::strlen(path) + 1;
        record->name = static_cast<char*>(K_CountedAllocate(pathLength));
        std::memcpy(record->name, path, pathLength);

        // The file table: name, zero byte, 40 bytes.
        {
            std::uint32_t const size = header.fileTableSize;
            BlockGuard table(size);
            readTable(table.get(), size, header.fileTableChecksum);
            std::uint64_t const names =
                measureTable(table.get(), size, header.fileCount, kFileTail, 6, path);
            record->files = static_cast<K_KASFileInfo*>(
                allocateArray(std::uint64_t(header.fileCount), sizeof(K_KASFileInfo)));
            record->fileNames = static_cast<char*>(allocateArray(names, 1));
            char* key = record->fileNames;
            std::uint64_t offset = dataStart;
            unsigned char const* p = table.get();
            for (int i = 0; i < header.fileCount; ++i) {
                std::size_t const length = std::strlen(reinterpret_cast<char const*>(p));
                unsigned char const* f = p + length + 1;
                K_KASFileInfo& info = record->files[i];
                info.size = readLE32(f);
                info.storedSize = readLE32(f + 4);
                info.reserved = readLE32(f + 8);
                info.directory = static_cast<int>(readLE32(f + 12));
                info.seed = static_cast<int>(readLE32(f + 16));
                info.method = static_cast<int>(readLE32(f + 20));
                unsigned short* time = &info.time.wYear;
                for (int field = 0; field < 8; ++field) {
                    time[field] = readLE16(f + 24 + 2 * field);
                }
                // Every file lies in a directory of the table, and its data below 4 GiB.
                if (info.directory < 0 || info.directory >= header.directoryCount ||
                    offset + info.storedSize > 0xffffffffu) {
                    K_Raise<K_FileException_ArchiveCorrupted>(path);
                }
                info.offset = static_cast<unsigned int>(offset);
                offset += info.storedSize;
                int id = info.directory;
                for (int digit = 4; digit >= 0; --digit) {
                    key[digit] = static_cast<char>('0' + id % 10);
                    id /= 10;
                }
                std::memcpy(key + 5, p, length + 1);
                info.key = key;
                key += length + 6;
                p = f + kFileTail;
            }
        }

        // The directory table: name, zero byte, 16 bytes.
        {
            std::uint32_t const size = header.directoryTableSize;
            BlockGuard table(size);
            readTable(table.get(), size, header.directoryTableChecksum);
            std::uint64_t const names =
                measureTable(table.get(), size, header.directoryCount, kDirectoryTail, 1, path);
            record->directories = static_cast<K_KASDirInfo*>(
                allocateArray(std::uint64_t(header.directoryCount), sizeof(K_KASDirInfo)));
            record->directoryNames = static_cast<char*>(allocateArray(names, 1));
            char* name = record->directoryNames;
            unsigned char const* p = table.get();
            for (int j = 0; j < header.directoryCount; ++j) {
                std::size_t const length = std::strlen(reinterpret_cast<char const*>(p));
                K_KASDirInfo& info = record->directories[j];
                std::memcpy(name, p, length + 1);
                info.name = name;
                std::memcpy(info.data, p + length + 1, kDirectoryTail);
                info.id = j;
                name += length + 1;
                p += length + 1 + kDirectoryTail;
            }
        }
        std::sort(record->files, record->files + header.fileCount,
                  [](K_KASFileInfo const& a, K_KASFileInfo const& b) {
                      return klmfc::file::sortsBefore(a.key, b.key);
                  });
        std::sort(record->directories, record->directories + header.directoryCount,
                  [](K_KASDirInfo const& a, K_KASDirInfo const& b) {
                      return klmfc::file::sortsBefore(a.name, b.name);
                  });
        record->index = static_cast<unsigned int*>(
            allocateArray(klmfc::file::indexWords(header), sizeof(unsigned int)));
        klmfc::file::buildIndex(klmfc::file::fileSlots(*record),
                                klmfc::file::slotsFor(header.fileCount), record->files,
                                header.fileCount, klmfc::file::keyOf);
        klmfc::file::buildIndex(klmfc::file::directorySlots(*record),
                                klmfc::file::slotsFor(header.directoryCount), record->directories,
                                header.directoryCount, klmfc::file::nameOf);
    } catch (...) {
        releaseTables(record);
        throw;
    }
}

// ---- the archive set --------------------------------------------------------------------

namespace {

// Adds an empty record to `list`, at its end or at its front, and loads it; a record that
// fails to load leaves the list again.
K_File::K_KASArchive* addArchive(K_DLList<K_File::K_KASArchive>* list, bool first) {
    K_File::K_KASArchive* record = list->allocateNode();
    std::memset(record, 0, sizeof *record);
    if (first) {
        list->addFirst(record);
    } else {
        list->addLast(record);
    }
    return record;
}

void dropArchive(K_DLList<K_File::K_KASArchive>* list, K_File::K_KASArchive* record) {
    releaseTables(record);
    list->unlink(record);
    list->freeNode(record);
}

// Runs `load` on every file that `pattern` lists, in name order; true when there was one.
template <class Load> bool loadDirectory(char const* pattern, Load load) {
    klmfc::platform::FindData found;
    klmfc::platform::FindHandle* handle = klmfc::platform::findFirst(pattern, &found);
    bool any = false;
    try {
        for (bool more = handle != nullptr; more;
             more = klmfc::platform::findNext(handle, &found)) {
            if (!found.isDirectory) {
                any = true;
                load(found.name);
            }
        }
    } catch (...) {
        klmfc::platform::findClose(handle);
        throw;
    }
    klmfc::platform::findClose(handle);
    return any;
}

} // namespace

bool K_File::loadArchives() {
    setArchiveHandling(ArchiveHandlingOn);
    std::strcpy(m_path, "\\");
    if (m_findHandle != nullptr) {
        klmfc::platform::findClose(m_findHandle);
        m_findHandle = nullptr;
    }
    auto loadInto = [this](char const* name) {
        K_KASArchive* record = addArchive(KASArchiveList, false);
        try {
            loadArchiveHeader(record, name);
        } catch (...) {
            dropArchive(KASArchiveList, record);
            throw;
        }
    };
    loadDirectory("*.KAS", loadInto);
    if (sm_strSecondaryArchiveSearchPath[0] == 0) {
        return false;
    }
    char directory[256];
    klmfc::file::copyName(directory, sm_strSecondaryArchiveSearchPath);
    klmfc::platform::toSystemSeparators(directory);
    char pattern[512];
    char spelt[256];
    klmfc::platform::resolvePath(directory, spelt, sizeof spelt);
    std::snprintf(pattern, sizeof pattern, "%s*.KAS", spelt[0] != 0 ? spelt : directory);
    return loadDirectory(pattern, [&](char const* name) {
        loadInto(K_STR("%s%s", sm_strSecondaryArchiveSearchPath, name));
    });
}

void K_File::unloadArchives() {
    ++sm_uArchiveSetGeneration;
    for (K_DLList<K_KASArchive>* list : {KASArchiveList, KASArchiveListSwap}) {
        if (list == nullptr) {
            continue;
        }
        for (K_KASArchive* a = list->getFirst(); a != nullptr; a = list->getNext(a)) {
            releaseTables(a);
        }
        list->clear();
    }
    s_priorityRecord = nullptr;
}

bool K_File::reloadArchives(char const* newRoot) {
    bool const priority = sm_bPriorityArchiveEnabled;
    unloadArchives();
    sm_bPriorityArchiveEnabled = false;
    if (newRoot != nullptr) {
        char native[256];
        klmfc::file::copyName(native, newRoot);
        klmfc::platform::toSystemSeparators(native);
        if (std::strlen(newRoot) > 255 || !klmfc::platform::changeCurrentDirectory(native)) {
            K_Raise<K_FileException_DirectoryNotFound>(newRoot);
        }
        klmfc::platform::currentDirectory(m_originalLocalDirPath, sizeof m_originalLocalDirPath);
    }
    bool const found = loadArchives();
    if (priority) {
        // The priority archive stays first: it is loaded again from where it was found.
        K_KASArchive* record = addArchive(KASArchiveList, true);
        try {
            loadArchiveHeader(record, s_priorityPath);
        } catch (...) {
            dropArchive(KASArchiveList, record);
            throw;
        }
        s_priorityRecord = record;
        sm_bPriorityArchiveEnabled = true;
    }
    return found;
}

bool K_File::setSecondaryArchiveSearchPath(char const* path) {
    klmfc::file::copyName(sm_strSecondaryArchiveSearchPath, path);
    std::size_t const length = std::strlen(sm_strSecondaryArchiveSearchPath);
    if (length > 0 && length < 255 && sm_strSecondaryArchiveSearchPath[length - 1] != '\\' &&
        sm_strSecondaryArchiveSearchPath[length - 1] != '/') {
        std::strcpy(sm_strSecondaryArchiveSearchPath + length, "\\");
    }
    return reloadArchives(nullptr);
}

void K_File::enablePriorityArchive(char const* name) {
    if (sm_bPriorityArchiveEnabled) {
        disablePriorityArchive();
    }
    klmfc::file::copyName(sm_strPriorityArchive, name);
    ++sm_uArchiveSetGeneration;
    K_KASArchive* record = addArchive(KASArchiveList, true);
    try {
        loadArchiveHeader(record, name);
    } catch (...) {
        dropArchive(KASArchiveList, record);
        throw;
    }
    klmfc::file::copyName(s_priorityPath, record->name);
    s_priorityRecord = record;
    sm_bPriorityArchiveEnabled = true;
}

void K_File::disablePriorityArchive() const {
    if (!sm_bPriorityArchiveEnabled) {
        return;
    }
    ++sm_uArchiveSetGeneration;
    // The record leaves whichever list holds it: the path mode may have set it aside.
    if (s_priorityRecord != nullptr) {
        for (K_DLList<K_KASArchive>* list : {KASArchiveList, KASArchiveListSwap}) {
            if (holds(list, s_priorityRecord)) {
                dropArchive(list, s_priorityRecord);
                break;
            }
        }
    }
    s_priorityRecord = nullptr;
    sm_bPriorityArchiveEnabled = false;
}

void K_File::verifyArchiverID(int id) const {
    for (K_KASArchive* a = KASArchiveList->getFirst(); a != nullptr;
         a = KASArchiveList->getNext(a)) {
        if (a->header.archiverID != id) {
            K_Raise<K_FileException_IncompatibleArchiverID>(a->name);
        }
    }
}

// ---- lookups ----------------------------------------------------------------------------

namespace {

K_File::K_KASDirInfo* findDirectory(K_File::K_KASArchive const& a, char const* name) {
    return klmfc::file::findIndexed(klmfc::file::directorySlots(a),
                                    klmfc::file::slotsFor(a.header.directoryCount), a.directories,
                                    name, [](K_File::K_KASDirInfo const& d) { return d.name; });
}

} // namespace

void K_File::searchFile(K_KASFind* result, char const* name) {
    result->archive = nullptr;
    result->file = nullptr;
    result->directory = nullptr;
    std::size_t const length = std::strlen(name);
    if (KASArchiveList == nullptr || length > 255) {
        return;
    }
    // The directory key: what stands before the last backslash, with a backslash at both
    // ends; the file key: the directory's five digits and the rest.
    char directory[258];
    std::size_t d = 0;
    if (name[0] != '\\' && name[0] != '/') {
        directory[d++] = '\\';
    }
    std::size_t start = 0;
    for (std::size_t i = 0; i < length; ++i) {
        char const c = name[i] == '/' ? '\\' : name[i];
        directory[d++] = c;
        if (c == '\\') {
            start = i + 1;
        }
    }
    d -= length - start;
    directory[d] = 0;
    char key[262];
    std::memcpy(key + 5, name + start, length - start + 1);
    for (K_KASArchive* a = KASArchiveList->getFirst(); a != nullptr;
         a = KASArchiveList->getNext(a)) {
        K_KASDirInfo* dir = findDirectory(*a, directory);
        if (dir == nullptr) {
            continue;
        }
        int id = dir->id;
        for (int digit = 4; digit >= 0; --digit) {
            key[digit] = static_cast<char>('0' + id % 10);
            id /= 10;
        }
        K_KASFileInfo* file = klmfc::file::findIndexed(
            klmfc::file::fileSlots(*a), klmfc::file::slotsFor(a->header.fileCount), a->files, key,
            [](K_KASFileInfo const& f) { return f.key; });
        if (file != nullptr) {
            result->archive = a;
            result->file = file;
            result->directory = dir;
            return;
        }
    }
}

void K_File::searchDir(K_KASFind* result, char const* name) {
    result->archive = nullptr;
    result->file = nullptr;
    result->directory = nullptr;
    std::size_t const length = std::strlen(name);
    if (KASArchiveList == nullptr || length > 255) {
        return;
    }
    char directory[258];
    for (std::size_t i = 0; i < length; ++i) {
        directory[i] = name[i] == '/' ? '\\' : name[i];
    }
    std::size_t d = length;
    directory[d++] = '\\';
    if (d > 1 && directory[d - 2] == '\\') {
        --d;
    }
    directory[d] = 0;
    for (K_KASArchive* a = KASArchiveList->getFirst(); a != nullptr;
         a = KASArchiveList->getNext(a)) {
        K_KASDirInfo* dir = findDirectory(*a, directory);
        if (dir != nullptr) {
            result->archive = a;
            result->directory = dir;
            return;
        }
    }
}
