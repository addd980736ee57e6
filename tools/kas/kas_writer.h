// Writes .KAS archives.
//
// The writer collects directories and files, then lays the archive out: a header, the
// file table, the directory table, then the stored bytes of every file in the order of
// the file table. Directories are indexed in the order of their names, the root first;
// files are tabled by directory and then by name. Every name is compared without regard
// to case, as archive lookups compare them, so two names that differ only in case are
// refused.
#pragma once

#include "kas/kas_format.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace klmfc::kas {

class Writer {
public:
    // `seed` scrambles the header and the tables and draws the entry seeds; `archiverId`
    // is the number a program can insist on.
    explicit Writer(std::int32_t seed = kDefaultSeed, std::int32_t archiverId = 0);

    // A directory, named from the archive's root with "/" or "\" ("textures/walls",
    // "\textures\walls\"); its parents come with it. The root is always there.
    void addDirectory(std::string const& name);

    // A file, named from the archive's root ("textures/wall.tga"); its directories come
    // with it. The first form takes the bytes, the second reads them from `diskPath` when
    // the archive is written.
    void addFile(std::string const& name, std::vector<unsigned char> data, Method method,
                 SystemTime const& time);
    void addDiskFile(std::string const& name, std::string const& diskPath, Method method,
                     SystemTime const& time);

    std::size_t fileCount() const { return m_files.size(); }
    std::size_t directoryCount() const { return m_directories.size(); }

    // Called after each file with the number done and the total.
    using Progress = std::function<void(std::size_t done, std::size_t total)>;

    // The whole archive in memory.
    std::vector<unsigned char> build(Progress const& progress = {}) const;
    // Writes the archive to `path`, through a temporary file beside it that takes the
    // final name only when all went well. Raises Error naming the file.
    void write(std::string const& path, Progress const& progress = {}) const;

    // What writing gave, for a summary.
    struct Totals {
        std::uint64_t plainBytes = 0;
        std::uint64_t archiveBytes = 0;
    };
    Totals const& totals() const { return m_totals; }

    class Output; // where the archive goes

private:
    struct File {
        std::string directory; // "\" or "\a\b\"
        std::string name;      // the bare file name
        std::vector<unsigned char> data;
        std::string diskPath; // read when written, if not empty
        Method method;
        SystemTime time;
    };

    struct Taken {
        std::string name; // as given
        bool isDirectory;
    };

    void writeTo(Output& out, Progress const& progress) const;
    void addDirectories(std::string const& directory);
    bool take(std::string const& fullName, bool isDirectory);

    std::int32_t m_seed;
    std::int32_t m_archiverId;
    // Full names of the directories by their folded form, so in the order of the table.
    std::map<std::string, std::string> m_directories;
    std::vector<File> m_files;
    // Every full name by its folded form, without a directory's last backslash.
    std::map<std::string, Taken> m_taken;
    mutable Totals m_totals;
};

// Options of packing a directory tree.
struct PackOptions {
    Method method = MethodCompressed;
    std::int32_t seed = kDefaultSeed;
    std::int32_t archiverId = 0;
};

// Gathers the tree under `directory` (files, and every directory, also empty ones) into
// a writer, with the modification times of the files. Symbolic links to files are packed
// as the files; links to directories, and anything that is neither file nor directory,
// are left out and named in `skipped`. A file that is `exclude` itself is left out
// silently.
void gatherTree(Writer& writer, std::string const& directory, Method method,
                std::string const& exclude, std::vector<std::string>* skipped);

// Packs the tree under `directory` into the archive `archive`.
Writer::Totals packDirectory(std::string const& archive, std::string const& directory,
                             PackOptions const& options, Writer::Progress const& progress = {},
                             std::vector<std::string>* skipped = nullptr);

// The full name of a file or directory in the archive's form: backslashes, one in front,
// no empty, "." or ".." part; a directory also ends in one. Raises Error for a name that
// cannot stand in an archive.
std::string archiveName(std::string const& name, bool isDirectory);

} // namespace klmfc::kas
