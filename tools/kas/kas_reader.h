// Reads .KAS archives for the kas tool: the header and both tables are read and checked
// when the archive is opened, the data of an entry when it is asked for.
#pragma once

#include "kas/kas_format.h"

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace klmfc::kas {

struct FileRecord {
    std::string name; // the bare file name
    std::uint32_t size = 0;
    std::uint32_t storedSize = 0;
    std::uint32_t reserved = 0; // the CRC32 of the plain bytes in archives marked "KAS1"
    std::int32_t directory = 0;
    std::int32_t seed = 0;
    std::int32_t method = 0;
    SystemTime time;
    std::uint64_t offset = 0; // of the stored bytes in the archive file
};

struct DirectoryRecord {
    std::string name; // "\" or "\a\b\"
};

class Reader {
public:
    // Opens the archive and reads its header and tables. Raises Error, naming the file,
    // when it cannot be read, when a checksum or the version is wrong, or when the tables
    // do not hold what the header says.
    explicit Reader(std::string path);

    std::string const& path() const { return m_path; }
    std::uint32_t mark() const { return m_mark; }
    std::int32_t seed() const { return m_seed; }
    std::int32_t archiverId() const { return m_archiverId; }
    // Whether the free field of every file entry holds the CRC32 of its plain bytes.
    bool hasEntryChecksums() const { return m_mark == kMarkWithChecksums; }
    std::uint64_t fileSize() const { return m_fileSize; }
    std::uint64_t dataStart() const { return m_dataStart; }

    // In the order of the tables as stored.
    std::vector<FileRecord> const& files() const { return m_files; }
    std::vector<DirectoryRecord> const& directories() const { return m_directories; }

    // The full name of a file: its directory's name and its own ("\a\b.txt").
    std::string fullName(FileRecord const& file) const;

    // The file of that name, looked up as the library looks names up: "/" or "\", with or
    // without the leading one, case ignored. Null when there is none.
    FileRecord const* find(std::string const& name) const;

    // The bytes as stored, and the plain bytes. Raise Error naming the archive and the
    // entry when the archive is cut short or the entry does not decode to its size.
    std::vector<unsigned char> storedBytes(FileRecord const& file);
    std::vector<unsigned char> contents(FileRecord const& file);

private:
    [[noreturn]] void fail(std::string const& what) const;
    std::vector<unsigned char> readTable(std::uint32_t size, std::uint32_t crc, char const* which);

    std::string m_path;
    std::ifstream m_in;
    std::uint64_t m_fileSize = 0;
    std::uint64_t m_dataStart = 0;
    std::uint32_t m_mark = 0;
    std::int32_t m_seed = 0;
    std::int32_t m_archiverId = 0;
    std::vector<FileRecord> m_files;
    std::vector<DirectoryRecord> m_directories;
};

} // namespace klmfc::kas
