#include "kas/kas_reader.h"

#include "klmfc/core/exception.h"
#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

namespace klmfc::kas {

namespace {

std::string number(std::uint64_t value) {
    return std::to_string(value);
}

struct BlockRelease {
    void operator()(void* block) const { K_REALLOCATE_DELETE_implementation(block); }
};

} // namespace

void Reader::fail(std::string const& what) const {
    throw Error(m_path + ": " + what);
}

Reader::Reader(std::string path) : m_path(std::move(path)), m_in(m_path, std::ios::binary) {
    if (!m_in) {
        fail(std::string("cannot open: ") + std::strerror(errno));
    }
    m_in.seekg(0, std::ios::end);
    m_fileSize = static_cast<std::uint64_t>(m_in.tellg());
    m_in.seekg(0);
    if (!m_in) {
        fail("cannot read");
    }
    if (m_fileSize < kHeaderSize) {
        fail("too short for an archive header (" + number(m_fileSize) + " bytes)");
    }
    unsigned char h[kHeaderSize];
    m_in.read(reinterpret_cast<char*>(h), kHeaderSize);
    m_mark = getLE32(h + kMarkOffset);
    m_seed = static_cast<std::int32_t>(getLE32(h + kSeedOffset));
    descrambleRun(h + 8, kHeaderSize - 8, m_seed);
    std::uint32_t const headerCrc = getLE32(h + kHeaderCrcOffset);
    putLE32(h + kHeaderCrcOffset, 0);
    if (K_File::CRC32(h, kHeaderSize) != headerCrc) {
        fail("the header's checksum is wrong: the file is corrupted or not an archive");
    }
    std::uint32_t const version = getLE32(h + kVersionOffset);
    if (version != kVersion) {
        float shown;
        std::memcpy(&shown, &version, sizeof shown);
        char text[64];
        std::snprintf(text, sizeof text, "format version %1.2f, not 1.20",
                      static_cast<double>(shown));
        fail(text);
    }
    auto const fileCount = static_cast<std::int32_t>(getLE32(h + kFileCountOffset));
    auto const dirCount = static_cast<std::int32_t>(getLE32(h + kDirCountOffset));
    std::uint32_t const fileTableSize = getLE32(h + kFileTableSizeOffset);
    std::uint32_t const dirTableSize = getLE32(h + kDirTableSizeOffset);
    m_archiverId = static_cast<std::int32_t>(getLE32(h + kArchiverIdOffset));
    m_dataStart = std::uint64_t{kHeaderSize} + fileTableSize + dirTableSize;
    if (fileCount < 0 || dirCount < 0) {
        fail("the header gives a negative count");
    }
    if (m_dataStart > m_fileSize) {
        fail("the tables run past the end of the file");
    }

    std::vector<unsigned char> const files =
        readTable(fileTableSize, getLE32(h + kFileTableCrcOffset), "file table");
    std::vector<unsigned char> const dirs =
        readTable(dirTableSize, getLE32(h + kDirTableCrcOffset), "directory table");

    // Entries: a name, its zero byte, and a fixed tail.
    auto walk = [this](std::vector<unsigned char> const& table, std::int32_t count,
                       std::uint32_t tail, char const* which, auto&& take) {
        std::size_t pos = 0;
        for (std::int32_t i = 0; i < count; ++i) {
            void const* zero = pos < table.size()
                                   ? std::memchr(table.data() + pos, 0, table.size() - pos)
                                   : nullptr;
            std::size_t const nameEnd =
                zero == nullptr ? table.size()
                                : static_cast<unsigned char const*>(zero) - table.data();
            if (zero == nullptr || table.size() - nameEnd - 1 < tail) {
                fail(std::string("the ") + which + " holds fewer entries than the header's " +
                     number(static_cast<std::uint64_t>(count)));
            }
            take(std::string(table.begin() + static_cast<std::ptrdiff_t>(pos),
                             table.begin() + static_cast<std::ptrdiff_t>(nameEnd)),
                 table.data() + nameEnd + 1);
            pos = nameEnd + 1 + tail;
        }
        if (pos != table.size()) {
            fail(std::string("the ") + which + " holds more than the header's " +
                 number(static_cast<std::uint64_t>(count)) + " entries");
        }
    };

    std::uint64_t offset = m_dataStart;
    walk(files, fileCount, kFileEntryTail, "file table",
         [&](std::string name, unsigned char const* p) {
             FileRecord r;
             r.name = std::move(name);
             r.size = getLE32(p);
             r.storedSize = getLE32(p + 4);
             r.reserved = getLE32(p + 8);
             r.directory = static_cast<std::int32_t>(getLE32(p + 12));
             r.seed = static_cast<std::int32_t>(getLE32(p + 16));
             r.method = static_cast<std::int32_t>(getLE32(p + 20));
             r.time = getTime(p + 24);
             r.offset = offset;
             offset += r.storedSize;
             m_files.push_back(std::move(r));
         });
    walk(dirs, dirCount, kDirEntryTail, "directory table",
         [&](std::string name, unsigned char const*) {
             if (name.empty() || name.front() != '\\' || name.back() != '\\') {
                 fail("the directory \"" + name + "\" does not start and end with a backslash");
             }
             m_directories.push_back(DirectoryRecord{std::move(name)});
         });
    for (auto const& f : m_files) {
        if (f.directory < 0 || f.directory >= dirCount) {
            fail("the file \"" + f.name + "\" names directory " + std::to_string(f.directory) +
                 " of " + std::to_string(dirCount));
        }
    }
}

std::vector<unsigned char> Reader::readTable(std::uint32_t size, std::uint32_t crc,
                                             char const* which) {
    std::vector<unsigned char> table(size);
    m_in.read(reinterpret_cast<char*>(table.data()), static_cast<std::streamsize>(size));
    if (!m_in) {
        fail(std::string("cannot read the ") + which);
    }
    descrambleRun(table.data(), table.size(), m_seed);
    if (K_File::CRC32(table.data(), size) != crc) {
        fail(std::string("the ") + which + "'s checksum is wrong");
    }
    return table;
}

std::string Reader::fullName(FileRecord const& file) const {
    return m_directories[static_cast<std::size_t>(file.directory)].name + file.name;
}

FileRecord const* Reader::find(std::string const& name) const {
    std::string wanted = name;
    for (char& c : wanted) {
        c = c == '/' ? '\\' : c;
    }
    if (wanted.empty() || wanted.front() != '\\') {
        wanted.insert(wanted.begin(), '\\');
    }
    std::size_t const cut = wanted.rfind('\\') + 1;
    std::string const directory = wanted.substr(0, cut);
    std::string const leaf = wanted.substr(cut);
    for (std::size_t d = 0; d < m_directories.size(); ++d) {
        if (compareNoCase(m_directories[d].name, directory) != 0) {
            continue;
        }
        for (auto const& f : m_files) {
            if (f.directory == static_cast<std::int32_t>(d) && compareNoCase(f.name, leaf) == 0) {
                return &f;
            }
        }
    }
    return nullptr;
}

std::vector<unsigned char> Reader::storedBytes(FileRecord const& file) {
    std::string const name = fullName(file);
    if (file.offset + file.storedSize > m_fileSize) {
        fail(name + ": the archive is cut short: the entry ends at byte " +
             number(file.offset + file.storedSize) + ", the file at " + number(m_fileSize));
    }
    std::vector<unsigned char> stored(file.storedSize);
    m_in.clear();
    m_in.seekg(static_cast<std::streamoff>(file.offset));
    m_in.read(reinterpret_cast<char*>(stored.data()), static_cast<std::streamsize>(stored.size()));
    if (!m_in) {
        fail(name + ": cannot read the entry's data");
    }
    return stored;
}

std::vector<unsigned char> Reader::contents(FileRecord const& file) {
    std::string const name = fullName(file);
    if (methodName(file.method) == nullptr) {
        fail(name + ": unknown storage method " + std::to_string(file.method));
    }
    std::vector<unsigned char> stored = storedBytes(file);
    if (file.method == MethodStored) {
        if (file.storedSize != file.size) {
            fail(name + ": stores " + number(file.storedSize) + " bytes for a file of " +
                 number(file.size));
        }
        return stored;
    }
    if (file.method == MethodScrambled) {
        descrambleRun(stored.data(), stored.size(), file.seed);
    }
    if (stored.size() < kContainerHeader || std::memcmp(stored.data(), "KA->", 4) != 0) {
        fail(name + ": does not hold a KA-> container");
    }
    if (getLE32(stored.data() + 4) != file.size) {
        fail(name + ": its container holds " + number(getLE32(stored.data() + 4)) +
             " bytes, the table says " + number(file.size));
    }
    if (std::uint64_t{kContainerHeader} + getLE32(stored.data() + 8) != stored.size()) {
        fail(name + ": its container's code stream does not fill the " + number(stored.size()) +
             " stored bytes");
    }
    std::unique_ptr<unsigned char, BlockRelease> plain;
    try {
        plain.reset(static_cast<unsigned char*>(K_File::decompress("kas", stored.data())));
    } catch (K_Exception* e) {
        fail(name + ": does not decode: " + e->getErrorMessage());
    }
    return std::vector<unsigned char>(plain.get(), plain.get() + file.size);
}

} // namespace klmfc::kas
