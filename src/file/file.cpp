// The file manager object: its statics, its start and end, its directories and its
// failures.
#include "file/file_internal.h"
#include "platform/files.h"
#include "platform/platform.h"

#include <cstring>
#include <new>

K_File* File = nullptr;

unsigned int K_File::instance = 0;
int K_File::m_archiveHandling = 0;
char K_File::m_strStartupDirectory[256];
char K_File::m_originalLocalDirPath[256];
char K_File::m_path[256];
char* K_File::m_pathName = nullptr;
unsigned int K_File::m_uPathLen = 0;
K_DLList<K_File::K_KASArchive>* K_File::KASArchiveList = nullptr;
K_DLList<K_File::K_KASArchive>* K_File::KASArchiveListSwap = nullptr;
K_DLList<int>* K_File::m_findDirIDList = nullptr;
unsigned int K_File::sm_uArchiveSetGeneration = 0;

namespace {

char const* orEmpty(char const* text) {
    return text != nullptr ? text : "";
}

template <class T> T* createCounted() {
    void* block = K_CountedAllocate(sizeof(T));
    return new (block) T();
}

template <class T> void destroyCounted(T*& object) {
    if (object != nullptr) {
        object->~T();
        K_REALLOCATE_DELETE_implementation(object);
        object = nullptr;
    }
}

} // namespace

// ---- failures -------------------------------------------------------------------------

K_FileException_FileNotFound::K_FileException_FileNotFound(char const* name) {
    setError("File %s not found", orEmpty(name));
}
K_FileException_FileCorrupted::K_FileException_FileCorrupted(char const* name) {
    setError("File %s is corrupted", orEmpty(name));
}
K_FileException_FileNotAStream::K_FileException_FileNotAStream(char const* name) {
    setError("File %s is not a stream", orEmpty(name));
}
K_FileException_ArchiveNotFound::K_FileException_ArchiveNotFound(char const* name) {
    setError("Archive %s not found", orEmpty(name));
}
K_FileException_OverreadingStream::K_FileException_OverreadingStream(char const* name) {
    setError("Overreading stream %s", orEmpty(name));
}
K_FileException_DirectoryNotFound::K_FileException_DirectoryNotFound(char const* name) {
    setError("Directory %s not found", orEmpty(name));
}
K_FileException_ArchiveCorrupted::K_FileException_ArchiveCorrupted(char const* name) {
    setError("Archive \"%s\" is corrupted", orEmpty(name));
}
K_FileException_ArchiveVersionConflict::K_FileException_ArchiveVersionConflict(char const* name,
                                                                               double version,
                                                                               double module) {
    setError("Archive \"%s\" is v%1.2f and KL-module is v%1.2f - Update your archive",
             orEmpty(name), version, module);
}
K_FileException_IncompatibleArchiverID::K_FileException_IncompatibleArchiverID(char const* name) {
    setError("Archive \"%s\" is not compatible with this program", orEmpty(name));
}
K_FileException_CannotCopyCompressedFileStream::K_FileException_CannotCopyCompressedFileStream(
    char const* name) {
    setError("Cannot copy construct compressed file stream \"%s\"", orEmpty(name));
}
K_FileException_CannotSeekCompressedFileStream::K_FileException_CannotSeekCompressedFileStream(
    char const* name) {
    setError("Cannot seek compressed file stream \"%s\"", orEmpty(name));
}
K_FileException_UnableToReadData::K_FileException_UnableToReadData(char const* name) {
    setError("Unable to read data from \"%s\"", orEmpty(name));
}

// ---- start and end ----------------------------------------------------------------------

K_File::K_File()
    : m_override(1), m_findPattern(), m_findPhase(3), m_findIndex(0), m_findData(),
      m_findHandle(nullptr), m_findArchive(nullptr), m_findDir(), m_findDiskPattern(),
      m_findResult(), m_findLookForDir(0), m_findDirPrefix(), m_findDirNode(nullptr),
      m_findGeneration(0) {
    if (instance++ == 0) {
        KASArchiveList = createCounted<K_DLList<K_KASArchive>>();
        KASArchiveListSwap = createCounted<K_DLList<K_KASArchive>>();
        m_findDirIDList = createCounted<K_DLList<int>>();
    }
    klmfc::platform::currentDirectory(m_strStartupDirectory, sizeof m_strStartupDirectory);
    // The root is the directory of the program's executable.
    char program[256] = {};
    if (klmfc::platform::programDirectory(program, sizeof program)) {
        klmfc::platform::setCurrentDirectory(program);
    }
    klmfc::platform::currentDirectory(m_originalLocalDirPath, sizeof m_originalLocalDirPath);
    setOverride(1);
    try {
        loadArchives();
    } catch (...) {
        unloadArchives();
        if (--instance == 0) {
            destroyCounted(KASArchiveList);
            destroyCounted(KASArchiveListSwap);
            destroyCounted(m_findDirIDList);
        }
        throw;
    }
}

K_File::~K_File() {
    if (m_findHandle != nullptr) {
        klmfc::platform::findClose(m_findHandle);
        m_findHandle = nullptr;
    }
    if (instance > 0 && --instance == 0) {
        K_REALLOCATE_DELETE_implementation(m_pathName);
        m_pathName = nullptr;
        m_uPathLen = 0;
        unloadArchives();
        destroyCounted(KASArchiveList);
        destroyCounted(KASArchiveListSwap);
        destroyCounted(m_findDirIDList);
        sm_bPriorityArchiveEnabled = false;
    }
}

// ---- directories ----------------------------------------------------------------------

void K_File::setArchiveHandling(int mode) {
    m_archiveHandling = mode;
    ++sm_uArchiveSetGeneration;
    K_DLList<K_KASArchive>* from = KASArchiveListSwap;
    K_DLList<K_KASArchive>* to = KASArchiveList;
    if (mode == ArchiveHandlingOn) {
        std::strcpy(m_path, "\\");
    } else {
        // The root as a name: backslashes, and one at the end.
        klmfc::file::copyName(m_path, m_originalLocalDirPath);
        klmfc::platform::toNameSeparators(m_path);
        std::size_t const length = std::strlen(m_path);
        if (length == 0 || (m_path[length - 1] != '\\' && length < 255)) {
            std::strcpy(m_path + length, "\\");
        }
        std::swap(from, to);
    }
    if (from != nullptr && to != nullptr) {
        while (K_KASArchive* archive = from->removeFirst()) {
            to->addLast(archive);
        }
    }
}

void K_File::changeDirectory(char const* name) {
    if (name[0] == 0 || std::strcmp(name, ".") == 0) {
        return;
    }
    char copy[256];
    klmfc::file::copyName(copy, name);
    std::size_t const length = std::strlen(copy);
    if (length > 1 && copy[length - 1] == '\\') {
        copy[length - 1] = 0;
    }
    char absolute[256];
    char disk[256];
    bool const fits = std::strlen(name) <= 255 && namesOf(copy, absolute, disk);
    std::size_t const size = std::strlen(absolute);
    if (!fits || size > 254 || !isDirectoryAbsolute(absolute, disk)) {
        K_Raise<K_FileException_DirectoryNotFound>(absolute);
    }
    std::memcpy(m_path, absolute, size);
    m_path[size] = '\\';
    m_path[size + 1] = 0;
    if (size > 0 && m_path[size - 1] == '\\') {
        m_path[size] = 0;
    }
}

void K_File::setFileSystemRoot(char const* path) {
    reloadArchives(path);
}
