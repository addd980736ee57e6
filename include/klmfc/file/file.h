// The file manager: one name space over a directory tree and archives, reached
// through the global File.
//
// Every name uses the backslash as its separator; "/" is accepted on input. A name is
// first made absolute (a leading backslash, counted from the root of the name space),
// then mapped to a disk path. Disk names are found without regard to case, as on
// Windows, and a loose file under the root hides an archive entry of the same name.
#pragma once

#include "klmfc/core/system.h"
#include "klmfc/file/compression.h"

namespace klmfc::platform {
struct FindHandle;
}

// ---- failures of the file system ----------------------------------------------------
// Each takes the name that its message shows.
class K_FileException_FileNotFound : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_FileNotFound, K_FileException)
    explicit K_FileException_FileNotFound(char const* name);
};
class K_FileException_FileCorrupted : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_FileCorrupted, K_FileException)
    explicit K_FileException_FileCorrupted(char const* name);
};
class K_FileException_FileNotAStream : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_FileNotAStream, K_FileException)
    explicit K_FileException_FileNotAStream(char const* name);
};
class K_FileException_ArchiveNotFound : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_ArchiveNotFound, K_FileException)
    explicit K_FileException_ArchiveNotFound(char const* name);
};
class K_FileException_OverreadingStream : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_OverreadingStream, K_FileException)
    explicit K_FileException_OverreadingStream(char const* name);
};
class K_FileException_DirectoryNotFound : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_DirectoryNotFound, K_FileException)
    explicit K_FileException_DirectoryNotFound(char const* name);
};
class K_FileException_ArchiveCorrupted : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_ArchiveCorrupted, K_FileException)
    explicit K_FileException_ArchiveCorrupted(char const* name);
};
// `version` is the archive's, `module` the one this library reads, rounded down.
class K_FileException_ArchiveVersionConflict : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_ArchiveVersionConflict, K_FileException)
    K_FileException_ArchiveVersionConflict(char const* name, double version, double module);
};
class K_FileException_IncompatibleArchiverID : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_IncompatibleArchiverID, K_FileException)
    explicit K_FileException_IncompatibleArchiverID(char const* name);
};
class K_FileException_CannotCopyCompressedFileStream : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_CannotCopyCompressedFileStream, K_FileException)
    explicit K_FileException_CannotCopyCompressedFileStream(char const* name);
};
class K_FileException_CannotSeekCompressedFileStream : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_CannotSeekCompressedFileStream, K_FileException)
    explicit K_FileException_CannotSeekCompressedFileStream(char const* name);
};
class K_FileException_UnableToReadData : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_UnableToReadData, K_FileException)
    explicit K_FileException_UnableToReadData(char const* name);
};

// ---- compression and scrambling: failures ---------------------------------------------
// A "KA->" or "KC->" container that is not what it says: `mark` is the container's kind,
// `reason` what is wrong with it.
class K_FileException_ContainerCorrupted : public K_FileException {
    K_EXCEPTION_CLASS_BODY(K_FileException_ContainerCorrupted, K_FileException)
    K_FileException_ContainerCorrupted(char const* mark, char const* reason);
};
// ---- end of compression and scrambling: failures ---------------------------------------

class K_File {
public:
    // Path modes.
    enum { ArchiveHandlingOff = 0, ArchiveHandlingOn = 1 };

    // Where a name is.
    enum Location { LocationNone = 0, LocationArchive = 1, LocationDisk = 2 };

    // How an archive entry is stored; a disk file counts as stored.
    enum { MethodCompressed = 1, MethodScrambled = 2, MethodStored = 3 };

    // A calendar time in UTC, field by field as archives store it.
    struct SYSTEMTIME {
        unsigned short wYear;
        unsigned short wMonth; // 1 to 12
        unsigned short wDayOfWeek;
        unsigned short wDay; // 1 to 31
        unsigned short wHour;
        unsigned short wMinute;
        unsigned short wSecond;
        unsigned short wMilliseconds;
    };

    // The 44 bytes at the start of a .KAS file, descrambled.
    struct K_KASHeader {
        unsigned char mark[4];
        int seed; // of the header's bytes 8 to 43 and of both tables
        int fileCount;
        int directoryCount;
        unsigned int fileTableSize;
        unsigned int directoryTableSize;
        float version;
        unsigned int headerChecksum; // 0 once checked
        unsigned int fileTableChecksum;
        unsigned int directoryTableChecksum;
        int archiverID;
    };

    struct K_KASFileInfo {
        char* key;               // directory index as "%05i", then the bare file name
        unsigned int size;       // uncompressed
        unsigned int offset;     // of the stored bytes in the archive file
        unsigned int storedSize; // in the archive file
        unsigned int reserved;
        int directory; // index in the directory table as stored
        int seed;      // of the entry, for MethodScrambled
        int method;
        SYSTEMTIME time;
    };

    struct K_KASDirInfo {
        char* name; // full name with a backslash at both ends; the root is a single one
        unsigned char data[16];
        int id; // index in the directory table as stored
    };

    // A loaded archive: its header and both tables, each sorted without regard to case.
    struct K_KASArchive {
        char* name; // full path of the archive file
        K_KASHeader header;
        K_KASFileInfo* files;
        K_KASDirInfo* directories;
        char* fileNames;
        char* directoryNames;
        // Open-addressing hash tables of positions in `files`, then in `directories`, by
        // name without regard to case, so that a lookup costs the same in any archive.
        unsigned int* index;
    };

    // The result of an archive lookup; a null archive means not found.
    struct K_KASFind {
        K_KASArchive* archive;
        K_KASFileInfo* file; // null for a directory
        K_KASDirInfo* directory;
    };

    // ---- lookups ------------------------------------------------------------------------
    Location where(char const* name);
    // 1 when where() finds the name, else 0.
    int exists(char const* name);
    // 1 for a directory on disk or in an archive, else 0.
    int isDirectory(char const* name);
    // Bytes of the file; of an archive entry its uncompressed size. Raises
    // K_FileException_FileNotFound.
    unsigned int size(char const* name);
    // Modification time packed into seconds since 1995 on a calendar of 31-day months,
    // for ordering; 0 when unknown.
    unsigned int timeStamp(char const* name);
    // -1 when the name is no file anywhere, 3 on disk, else the archive entry's method.
    int getMethod(char const* name);

    // ---- whole files ----------------------------------------------------------------------
    // A new buffer of exactly `size` bytes (0xffffffff: the whole file) with the file's
    // bytes; release it with free. Raises K_FileException_FileCorrupted for an empty file.
    char* load(char const* label, char const* name, unsigned int size);
    char* load(char const* name, unsigned int size);
    // Fills `buffer`. From disk `size` bytes (0xffffffff: the whole file); from an archive
    // always the whole entry, whatever `size` says.
    void load(void* buffer, char const* name, unsigned int size);
    // Releases a block that load, compress, decompress, encrypt or decrypt gave.
    static void free(void* buffer);

    // Writes a disk file; 1 on success, 0 on failure. With the override set (the default)
    // an existing file is replaced, without it kept. One missing directory level is made.
    int save(char const* name, void const* data, unsigned int size);
    // Adds to a disk file or writes it; 1 on success, 0 on failure.
    int append(char const* name, void const* data, unsigned int size);
    // Removes a disk file (never a directory); 1 on success, 0 on failure.
    int del(char const* name);
    // A name that is not on disk, from a printf format with one integer conversion tried
    // with 0, 1, 2 and on; 1 with the name in `buffer` (256 bytes), else 0 and "".
    int tmpName(char* buffer, char const* format);

    void setOverride(int value) { m_override = value; }
    int getOverride() const { return m_override; }

    // ---- directories ----------------------------------------------------------------------
    // Moves the root to an operating-system directory and reloads the archives. Raises
    // K_FileException_DirectoryNotFound; the archives are then unloaded.
    void setFileSystemRoot(char const* path);
    // Moves the current directory of the name space; the process's stays. Raises
    // K_FileException_DirectoryNotFound.
    void changeDirectory(char const* name);
    // The current directory of the name space; always ends in one backslash.
    char const* getCurrentDirectory() const { return m_path; }
    // The absolute name, in a buffer shared by all callers, good until the next call.
    char const* getFullPathName(char const* name);
    char const* getStartupDirectory() const { return m_strStartupDirectory; }
    // The file system root, an operating-system path with no trailing separator.
    static char const* getRootDirectory() { return m_originalLocalDirPath; }
    static int getArchiveHandling() { return m_archiveHandling; }
    // ArchiveHandlingOn: names count from the root and the archives are active.
    // ArchiveHandlingOff: names are operating-system paths (written with backslashes)
    // and the archives wait aside.
    void setArchiveHandling(int mode);
    // The absolute name up to and including its last backslash, and behind it.
    void getPath(char const* name, K_String& out) const;
    void getFilename(char const* name, K_String& out) const;

    // ---- the archive set ------------------------------------------------------------------
    // Archives are looked for first in the priority archive, then in the root's "*.KAS"
    // files, then in those of the secondary directory, each directory's in name order.
    // Reloads all archives; true when the secondary directory holds archives.
    bool setSecondaryArchiveSearchPath(char const* path);
    char const* getSecondaryArchiveSearchPath() const { return sm_strSecondaryArchiveSearchPath; }
    // Loads an archive (an operating-system file name) ahead of all others, in place of
    // any earlier one. It stays first when the archives are reloaded.
    void enablePriorityArchive(char const* name);
    void disablePriorityArchive() const;
    bool isPriorityArchiveEnabled() const { return sm_bPriorityArchiveEnabled; }
    char const* getPriorityArchive() const {
        return sm_bPriorityArchiveEnabled ? sm_strPriorityArchive : nullptr;
    }
    // Raises K_FileException_IncompatibleArchiverID for the first active archive whose
    // archiver ID is not `id`.
    void verifyArchiverID(int id) const;

    // ---- enumeration ----------------------------------------------------------------------
    // The bare names that match the pattern's last part ("*" and "?", case ignored): the
    // entries of the current directory on disk, then the subdirectories and then the
    // files of the pattern's directory in the archives. Null at the end.
    char const* findFirst(char const* pattern);
    char const* findNext();

    static unsigned int instance;
    static int m_archiveHandling;
    static char m_strStartupDirectory[256];
    static char m_originalLocalDirPath[256];
    static char m_path[256];
    static float const KAS_ARCHIVE_VERSION; // 1.2

private:
    friend class K_KovmarInit;
    friend class K_FileStream;
    friend class K_UnbufferedFileStream;
    friend class K_FileDirectoryChange;

    K_File();
    ~K_File();
    K_File(K_File const&) = delete;
    K_File& operator=(K_File const&) = delete;

    // Finds and loads all archives: those of the root, then those of the secondary
    // directory. True when the secondary directory held any.
    bool loadArchives();
    void unloadArchives();
    // Reads one archive's header and tables into `record`; raises on any fault, leaving
    // the record empty.
    void loadArchiveHeader(K_KASArchive* record, char const* name);
    // Drops the archive set, moves the root to `newRoot` when it is not null, and loads
    // the set again, the priority archive included. Gives the result of loadArchives.
    bool reloadArchives(char const* newRoot);

    // The name forms. `out` takes 256 bytes. Both give false when the result would not fit
    // in 255 characters (`out` then holds a name that is found nowhere).
    static bool relativeToAbsolutePath(char* out, char const* name);
    static bool absolutePathToDirStructure(char* out, char const* absolute);
    // Both forms at once; false when the absolute name does not fit. A disk path that does
    // not fit is left empty: the name can then be found in the archives only.
    static bool namesOf(char const* name, char* absolute, char* disk);
    // Makes the last directory level of an absolute name.
    static void checkPathExistence(char const* absolute);
    // 1 when `text` matches `pattern` ("*", "?", case ignored), else 0.
    static int xstricmp(char const* pattern, char const* text);

    // Archive lookups of an absolute name, in the order of the active list.
    static void searchFile(K_KASFind* result, char const* name);
    static void searchDir(K_KASFind* result, char const* name);

    // Delivers the whole of an archive entry that searchFile found into `buffer`.
    static void loadEntry(void* buffer, K_KASFind const& find, char const* absolute);

    Location whereAbsolute(char const* absolute, char const* disk);
    int isDirectoryAbsolute(char const* absolute, char const* disk);

    static K_DLList<K_KASArchive>* KASArchiveList;
    static K_DLList<K_KASArchive>* KASArchiveListSwap;
    static K_DLList<int>* m_findDirIDList;
    static bool sm_bPriorityArchiveEnabled;
    static char sm_strPriorityArchive[256];
    static char sm_strSecondaryArchiveSearchPath[256];
    static char* m_pathName;
    static unsigned int m_uPathLen;
    // Raised whenever the archive set changes, so that a search under way ends.
    static unsigned int sm_uArchiveSetGeneration;

    int m_override;

    // The search of findFirst and findNext.
    char m_findPattern[256];
    int m_findPhase; // 0 disk, 1 archive directories, 2 archive files, 3 ended
    int m_findIndex;
    char m_findData[256]; // name of the current disk entry
    klmfc::platform::FindHandle* m_findHandle;
    K_KASArchive* m_findArchive;
    char m_findDir[256];
    char m_findDiskPattern[256];
    char m_findResult[256];
    int m_findLookForDir;
    char m_findDirPrefix[16];
    int* m_findDirNode;
    unsigned int m_findGeneration;

    // ---- compression, scrambling and checksums --------------------------------------------
    // lzss.cpp, lzss_stream.cpp, scramble.cpp, crc32.cpp. Blocks that these return belong
    // to the caller, who releases them with free.
public:
    // A new "KA->" container of `size` bytes of `data`: the characters "KA->", the size,
    // the size of the code stream, then the code stream. `label` names the allocation.
    static void* compress(char const* label, void const* data, unsigned int size);
    static void* compress(void const* data, unsigned int size);
    // A new buffer of the container's uncompressed size with the decoded bytes. Raises
    // K_FileException_ContainerCorrupted when the container is not a sound "KA->" one.
    // The container must hold the 12 bytes of its header and the code stream they give;
    // nothing behind that is read.
    static void* decompress(char const* label, void const* container);
    static void* decompress(void const* container);

    // A new "KC->" container: "KC->", the plain size, the plain size + 16, the seed, and
    // the scrambled bytes. The seed comes from rand().
    static void* encrypt(char const* label, void const* data, unsigned int size);
    static void* encrypt(void const* data, unsigned int size);
    // A new buffer of the plain size with the descrambled bytes. Raises
    // K_FileException_ContainerCorrupted when the mark or the two sizes disagree.
    static void* decrypt(char const* label, void const* container);
    static void* decrypt(void const* container);

    // The standard CRC-32 (reflected, polynomial 0xEDB88320); 0 for no bytes.
    static unsigned int CRC32(void const* data, unsigned int size);

    static char const* const CMPHEADER;   // "KA->"
    static char const* const CRYPTHEADER; // "KC->"

private:
    friend class K_FileTestAccess;

    // Decodes the container into `buffer`, which takes the container's uncompressed size,
    // and returns `buffer`. Checks and raises as the public form does; on a raise the
    // buffer may hold part of the data. Pass `buffer` as void*: a char* picks the public
    // form with a label.
    static void* decompress(void* buffer, void const* container);

    // The encoder's binary search tree over the window; node i is the 18-byte string
    // at text_buf[i].
    static void initTree();
    static void insertNode(int r);
    static void deleteNode(int p);

    // Descrambles `size` bytes in place, counting from 0; a seed of 0 is taken as 1.
    static void decryptWithSeed(unsigned char* data, int size, int seed);

    static unsigned char text_buf[4113]; // the ring and a copy of its first 17 bytes
    static int dad[4097];
    static int lson[4097];
    static int rson[4353]; // 4097 to 4352: the roots, one per first byte
    static int match_position;
    static int match_length;
    // ---- end of compression, scrambling and checksums -------------------------------------
};

static_assert(sizeof(K_File::K_KASHeader) == 44, "the header is read as it lies in the file");
static_assert(sizeof(K_File::SYSTEMTIME) == 16, "the time is read as it lies in the file");

// Changes the current directory of the name space for the length of a scope, and puts it
// back when the scope ends, also when an exception passes.
class K_FileDirectoryChange {
public:
    K_FileDirectoryChange();
    explicit K_FileDirectoryChange(K_String const& directory);
    ~K_FileDirectoryChange();

    // Ends any change in force, then changes to `directory`. Raises
    // K_FileException_DirectoryNotFound and then leaves no change in force.
    void construct(K_String const& directory);
    // Goes back to the directory of the change in force, if any. Never raises: when that
    // directory has gone meanwhile the current directory is set back to its name all the
    // same.
    void destruct();
    bool isConstructed() const { return m_constructed; }

private:
    K_FileDirectoryChange(K_FileDirectoryChange const&) = delete;
    K_FileDirectoryChange& operator=(K_FileDirectoryChange const&) = delete;

    void initializeMembers();

    K_String m_previousDirectory;
    bool m_constructed;
};
