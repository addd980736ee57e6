#include "kas/kas_writer.h"

#include "klmfc/core/exception.h"
#include "klmfc/file/file.h"
#include "klmfc/memory/memory.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>

namespace fs = std::filesystem;

namespace klmfc::kas {

namespace {

constexpr std::uint64_t kLimit = 0xffffffffu; // offsets and sizes are 32-bit

std::string systemError() {
    return std::strerror(errno);
}

// A block from the library's compressor, released the library's way.
struct BlockRelease {
    void operator()(void* block) const { K_REALLOCATE_DELETE_implementation(block); }
};
using Block = std::unique_ptr<unsigned char, BlockRelease>;

std::vector<unsigned char> readWhole(std::string const& path) {
    std::error_code error;
    std::uintmax_t const size = fs::file_size(path, error);
    if (error) {
        throw Error(path + ": cannot read: " + error.message());
    }
    if (size > kLimit) {
        throw Error(path + ": too large for an archive (more than 4 GiB)");
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        throw Error(path + ": cannot read: " + systemError());
    }
    std::vector<unsigned char> data(static_cast<std::size_t>(size));
    in.read(reinterpret_cast<char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (static_cast<std::uintmax_t>(in.gcount()) != size || in.peek() != EOF) {
        throw Error(path + ": cannot read: the file changed while it was packed");
    }
    return data;
}

// The stored form of one file.
std::vector<unsigned char> storedForm(std::vector<unsigned char>&& data, Method method,
                                      std::int32_t seed, std::string const& name) {
    if (method == MethodStored) {
        return std::move(data);
    }
    Block block;
    try {
        block.reset(static_cast<unsigned char*>(
            K_File::compress("kas", data.data(), static_cast<unsigned int>(data.size()))));
    } catch (K_Exception* e) {
        throw Error(name + ": cannot compress: " + e->getErrorMessage());
    }
    std::size_t const size = kContainerHeader + getLE32(block.get() + 8);
    std::vector<unsigned char> stored(block.get(), block.get() + size);
    if (method == MethodScrambled) {
        scrambleRun(stored.data(), stored.size(), seed);
    }
    return stored;
}

} // namespace

// ---- where the archive goes -------------------------------------------------------------

class Writer::Output {
public:
    virtual ~Output() = default;
    // Room for the header and the tables, which come last.
    virtual void reserveFront(std::size_t size) = 0;
    virtual void append(unsigned char const* data, std::size_t size) = 0;
    virtual void writeFront(std::vector<unsigned char> const& front) = 0;
};

namespace {

class MemoryOutput : public Writer::Output {
public:
    void reserveFront(std::size_t size) override { bytes.assign(size, 0); }
    void append(unsigned char const* data, std::size_t size) override {
        bytes.insert(bytes.end(), data, data + size);
    }
    void writeFront(std::vector<unsigned char> const& front) override {
        std::copy(front.begin(), front.end(), bytes.begin());
    }
    std::vector<unsigned char> bytes;
};

class FileOutput : public Writer::Output {
public:
    FileOutput(std::string path, std::string shownName)
        : m_path(std::move(path)), m_shown(std::move(shownName)),
          m_out(m_path, std::ios::binary | std::ios::trunc) {
        if (!m_out) {
            throw Error(m_shown + ": cannot create: " + systemError());
        }
    }
    void reserveFront(std::size_t size) override {
        std::vector<char> const zeros(size, 0);
        m_out.write(zeros.data(), static_cast<std::streamsize>(zeros.size()));
        check();
    }
    void append(unsigned char const* data, std::size_t size) override {
        m_out.write(reinterpret_cast<char const*>(data), static_cast<std::streamsize>(size));
        check();
    }
    void writeFront(std::vector<unsigned char> const& front) override {
        m_out.seekp(0);
        m_out.write(reinterpret_cast<char const*>(front.data()),
                    static_cast<std::streamsize>(front.size()));
        m_out.close();
        check();
    }

private:
    void check() {
        if (!m_out) {
            throw Error(m_shown + ": cannot write: " + systemError());
        }
    }

    std::string m_path;
    std::string m_shown;
    std::ofstream m_out;
};

} // namespace

// ---- names --------------------------------------------------------------------------------

std::string archiveName(std::string const& name, bool isDirectory) {
    std::vector<std::string> parts;
    std::string part;
    for (std::size_t i = 0; i <= name.size(); ++i) {
        char const c = i < name.size() ? name[i] : '\\';
        if (c == '\\' || c == '/') {
            if (part == "." || part == "..") {
                throw Error("\"" + name + "\": \".\" and \"..\" cannot stand in an archive name");
            }
            if (!part.empty()) {
                parts.push_back(part);
            }
            part.clear();
        } else if (c == '\0') {
            throw Error("\"" + name + "\": an archive name cannot hold a zero byte");
        } else {
            part += c;
        }
    }
    if (!isDirectory && (parts.empty() || name.back() == '/' || name.back() == '\\')) {
        throw Error("\"" + name + "\": a file needs a name behind its last separator");
    }
    std::string full;
    for (auto const& p : parts) {
        full += '\\' + p;
    }
    if (full.size() > kMaxName) {
        throw Error("\"" + full + "\": longer than " + std::to_string(kMaxName) + " characters");
    }
    return isDirectory ? full + '\\' : full;
}

// ---- the writer ---------------------------------------------------------------------------

Writer::Writer(std::int32_t seed, std::int32_t archiverId)
    : m_seed(seed), m_archiverId(archiverId) {
    addDirectories("\\");
}

bool Writer::take(std::string const& fullName, bool isDirectory) {
    std::string const bare =
        isDirectory && fullName.size() > 1 ? fullName.substr(0, fullName.size() - 1) : fullName;
    auto const [it, added] = m_taken.emplace(foldCase(bare), Taken{bare, isDirectory});
    if (added) {
        return true;
    }
    if (it->second.name == bare && isDirectory && it->second.isDirectory) {
        return false; // the same directory again
    }
    if (it->second.name == bare) {
        throw Error("\"" + bare + "\" is added twice");
    }
    throw Error("\"" + it->second.name + "\" and \"" + bare +
                "\" differ only in case, and archive names ignore case");
}

void Writer::addDirectories(std::string const& directory) {
    // "\a\b\": "\", "\a\", "\a\b\"
    for (std::size_t end = directory.find('\\'); end != std::string::npos;
         end = directory.find('\\', end + 1)) {
        std::string const level = directory.substr(0, end + 1);
        if (take(level, true)) {
            if (m_directories.size() >= kMaxDirectories) {
                throw Error("more than " + std::to_string(kMaxDirectories) +
                            " directories do not fit in an archive");
            }
            m_directories.emplace(foldCase(level), level);
        }
    }
}

void Writer::addDirectory(std::string const& name) {
    addDirectories(archiveName(name, true));
}

void Writer::addFile(std::string const& name, std::vector<unsigned char> data, Method method,
                     SystemTime const& time) {
    if (data.size() > kLimit) {
        throw Error("\"" + name + "\": too large for an archive (more than 4 GiB)");
    }
    std::string const full = archiveName(name, false);
    std::size_t const cut = full.rfind('\\') + 1;
    addDirectories(full.substr(0, cut));
    take(full, false);
    m_files.push_back(
        File{full.substr(0, cut), full.substr(cut), std::move(data), {}, method, time});
}

void Writer::addDiskFile(std::string const& name, std::string const& diskPath, Method method,
                         SystemTime const& time) {
    addFile(name, {}, method, time);
    m_files.back().diskPath = diskPath;
}

std::vector<unsigned char> Writer::build(Progress const& progress) const {
    MemoryOutput out;
    writeTo(out, progress);
    return std::move(out.bytes);
}

void Writer::write(std::string const& path, Progress const& progress) const {
    std::string const part = path + ".part";
    try {
        FileOutput out(part, path);
        writeTo(out, progress);
    } catch (...) {
        std::remove(part.c_str());
        throw;
    }
    if (std::rename(part.c_str(), path.c_str()) != 0) {
        std::string const why = systemError();
        std::remove(part.c_str());
        throw Error(path + ": cannot write: " + why);
    }
}

void Writer::writeTo(Output& out, Progress const& progress) const {
    // Directory indices: the order of the folded names.
    std::map<std::string, std::int32_t> index;
    std::uint64_t dirTableSize = 0;
    for (auto const& [folded, name] : m_directories) {
        index.emplace(folded, static_cast<std::int32_t>(index.size()));
        dirTableSize += name.size() + 1 + kDirEntryTail;
    }
    // Files by directory, then by name.
    struct Row {
        File const* file;
        std::int32_t directory;
        std::string folded;
    };
    std::vector<Row> rows;
    std::uint64_t fileTableSize = 0;
    for (auto const& f : m_files) {
        rows.push_back(Row{&f, index.at(foldCase(f.directory)), foldCase(f.name)});
        fileTableSize += f.name.size() + 1 + kFileEntryTail;
    }
    std::sort(rows.begin(), rows.end(), [](Row const& a, Row const& b) {
        return a.directory != b.directory ? a.directory < b.directory : a.folded < b.folded;
    });
    std::uint64_t const dataStart = kHeaderSize + fileTableSize + dirTableSize;
    if (dataStart > kLimit) {
        throw Error("the tables of the archive would pass 4 GiB");
    }

    out.reserveFront(static_cast<std::size_t>(dataStart));
    std::vector<unsigned char> fileTable;
    fileTable.reserve(static_cast<std::size_t>(fileTableSize));
    std::uint64_t end = dataStart;
    Totals totals;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        File const& f = *rows[i].file;
        std::string const full = f.directory + f.name;
        std::vector<unsigned char> data = f.diskPath.empty() ? f.data : readWhole(f.diskPath);
        auto const size = static_cast<std::uint32_t>(data.size());
        std::uint32_t const crc = K_File::CRC32(data.data(), size);
        std::int32_t const seed =
            f.method == MethodScrambled ? entrySeed(m_seed, static_cast<std::uint32_t>(i)) : 0;
        std::vector<unsigned char> const stored = storedForm(std::move(data), f.method, seed, full);
        end += stored.size();
        if (end > kLimit) {
            throw Error("the archive would pass 4 GiB at \"" + full + "\"");
        }
        out.append(stored.data(), stored.size());

        fileTable.insert(fileTable.end(), f.name.begin(), f.name.end());
        fileTable.push_back(0);
        unsigned char tail[kFileEntryTail];
        putLE32(tail, size);
        putLE32(tail + 4, static_cast<std::uint32_t>(stored.size()));
        putLE32(tail + 8, crc);
        putLE32(tail + 12, static_cast<std::uint32_t>(rows[i].directory));
        putLE32(tail + 16, static_cast<std::uint32_t>(seed));
        putLE32(tail + 20, static_cast<std::uint32_t>(f.method));
        putTime(tail + 24, f.time);
        fileTable.insert(fileTable.end(), tail, tail + kFileEntryTail);
        totals.plainBytes += size;
        if (progress) {
            progress(i + 1, rows.size());
        }
    }

    std::vector<unsigned char> dirTable;
    dirTable.reserve(static_cast<std::size_t>(dirTableSize));
    for (auto const& entry : m_directories) {
        dirTable.insert(dirTable.end(), entry.second.begin(), entry.second.end());
        dirTable.insert(dirTable.end(), 1 + kDirEntryTail, 0);
    }

    std::vector<unsigned char> front(kHeaderSize);
    unsigned char* h = front.data();
    putLE32(h + kMarkOffset, kMarkWithChecksums);
    putLE32(h + kSeedOffset, static_cast<std::uint32_t>(m_seed));
    putLE32(h + kFileCountOffset, static_cast<std::uint32_t>(rows.size()));
    putLE32(h + kDirCountOffset, static_cast<std::uint32_t>(m_directories.size()));
    putLE32(h + kFileTableSizeOffset, static_cast<std::uint32_t>(fileTable.size()));
    putLE32(h + kDirTableSizeOffset, static_cast<std::uint32_t>(dirTable.size()));
    putLE32(h + kVersionOffset, kVersion);
    putLE32(h + kFileTableCrcOffset,
            K_File::CRC32(fileTable.data(), static_cast<unsigned int>(fileTable.size())));
    putLE32(h + kDirTableCrcOffset,
            K_File::CRC32(dirTable.data(), static_cast<unsigned int>(dirTable.size())));
    putLE32(h + kArchiverIdOffset, static_cast<std::uint32_t>(m_archiverId));
    putLE32(h + kHeaderCrcOffset, K_File::CRC32(h, kHeaderSize));
    scrambleRun(h + 8, kHeaderSize - 8, m_seed);
    scrambleRun(fileTable.data(), fileTable.size(), m_seed);
    scrambleRun(dirTable.data(), dirTable.size(), m_seed);
    front.insert(front.end(), fileTable.begin(), fileTable.end());
    front.insert(front.end(), dirTable.begin(), dirTable.end());
    out.writeFront(front);

    totals.archiveBytes = end;
    m_totals = totals;
}

// ---- packing a tree ----------------------------------------------------------------------

namespace {

struct Identity {
    bool known = false;
    dev_t device = 0;
    ino_t inode = 0;
};

Identity identityOf(std::string const& path) {
    struct stat info;
    Identity id;
    if (::stat(path.c_str(), &info) == 0) {
        id = Identity{true, info.st_dev, info.st_ino};
    }
    return id;
}

struct Gatherer {
    Writer& writer;
    Method method;
    Identity exclude;
    std::vector<std::string>* skipped;

    void skip(std::string const& path, char const* why) {
        if (skipped != nullptr) {
            skipped->push_back(path + ": " + why);
        }
    }

    void walk(fs::path const& directory, std::string const& prefix) {
        std::vector<fs::path> entries;
        std::error_code error;
        for (fs::directory_iterator it(directory, error), end; !error && it != end;
             it.increment(error)) {
            entries.push_back(it->path());
        }
        if (error) {
            throw Error(directory.string() + ": cannot list: " + error.message());
        }
        std::sort(entries.begin(), entries.end());
        for (auto const& path : entries) {
            std::string const leaf = path.filename().string();
            std::string const shown = path.string();
            if (leaf.find('\\') != std::string::npos) {
                throw Error(shown + ": the name holds a backslash, which archives take as a "
                                    "separator");
            }
            struct stat info;
            struct stat link;
            if (::lstat(shown.c_str(), &link) != 0 || ::stat(shown.c_str(), &info) != 0) {
                skip(shown, "cannot be examined, or a link that leads nowhere");
                continue;
            }
            std::string const name = prefix + "\\" + leaf;
            if (S_ISDIR(info.st_mode)) {
                if (S_ISLNK(link.st_mode)) {
                    skip(shown, "a link to a directory");
                    continue;
                }
                writer.addDirectory(name);
                walk(path, name);
            } else if (S_ISREG(info.st_mode)) {
                if (exclude.known && info.st_dev == exclude.device &&
                    info.st_ino == exclude.inode) {
                    continue;
                }
                SystemTime const time = systemTimeFromUnix(
                    info.st_mtim.tv_sec, static_cast<unsigned>(info.st_mtim.tv_nsec / 1000000));
                writer.addDiskFile(name, shown, method, time);
            } else {
                skip(shown, "neither a file nor a directory");
            }
        }
    }
};

} // namespace

void gatherTree(Writer& writer, std::string const& directory, Method method,
                std::string const& exclude, std::vector<std::string>* skipped) {
    std::error_code error;
    if (!fs::is_directory(directory, error)) {
        throw Error(directory + ": " +
                    (fs::exists(directory, error) ? "not a directory" : "no such directory"));
    }
    Gatherer gatherer{writer, method, identityOf(exclude), skipped};
    gatherer.walk(directory, "");
}

Writer::Totals packDirectory(std::string const& archive, std::string const& directory,
                             PackOptions const& options, Writer::Progress const& progress,
                             std::vector<std::string>* skipped) {
    Writer writer(options.seed, options.archiverId);
    gatherTree(writer, directory, options.method, archive, skipped);
    writer.write(archive, progress);
    return writer.totals();
}

} // namespace klmfc::kas
