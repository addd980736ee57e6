// kas: packs a directory tree into a .KAS archive, and lists, extracts, prints and checks
// the archives.
#include "kas/kas_reader.h"
#include "kas/kas_writer.h"

#include "klmfc/core/exception.h"
#include "klmfc/file/file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

namespace fs = std::filesystem;
using namespace klmfc::kas;

namespace {

char const kUsage[] =
    "usage: kas pack OUT.KAS DIR [--method store|compress|scramble] [--seed N] [--id N]\n"
    "       kas list ARCHIVE\n"
    "       kas extract ARCHIVE DIR\n"
    "       kas cat ARCHIVE NAME\n"
    "       kas verify ARCHIVE\n"
    "       kas --help\n";

char const kHelp[] =
    "\n"
    "  pack      packs every file and directory under DIR into the archive OUT.KAS\n"
    "            --method  how the files are stored: store, compress (LZSS, the default)\n"
    "                      or scramble (compressed, then scrambled)\n"
    "            --seed N  the seed that scrambles the header and the tables (default 4407635)\n"
    "            --id N    the archiver ID that a program can insist on (default 0)\n"
    "  list      names, sizes, storage methods and modification times (UTC) of the files\n"
    "  extract   writes every directory and file of the archive under DIR\n"
    "  cat       writes the file NAME of the archive to standard output\n"
    "  verify    checks the checksums, and that every entry decodes to its size\n"
    "\n"
    "Names in an archive use the backslash and ignore case; NAME may use \"/\" as well.\n"
    "The exit status is 0 on success and 1 on any failure.\n";

int usageError(char const* what) {
    std::fprintf(stderr, "kas: %s\n%s", what, kUsage);
    return 1;
}

// A 32-bit number, signed or not, in decimal or with 0x in hexadecimal.
bool parseNumber(char const* text, std::int32_t* value) {
    errno = 0;
    char* end = nullptr;
    long long const n = std::strtoll(text, &end, 0);
    if (errno != 0 || end == text || *end != '\0' || n < INT32_MIN || n > 0xffffffffLL) {
        return false;
    }
    *value = static_cast<std::int32_t>(static_cast<std::uint32_t>(n));
    return true;
}

// ---- pack -----------------------------------------------------------------------------------

int pack(std::vector<std::string> const& args) {
    PackOptions options;
    std::vector<std::string> positional;
    for (std::size_t i = 0; i < args.size(); ++i) {
        std::string option = args[i];
        std::string value;
        if (option.rfind("--", 0) == 0) {
            std::size_t const equals = option.find('=');
            if (equals != std::string::npos) {
                value = option.substr(equals + 1);
                option.resize(equals);
            } else if (i + 1 < args.size()) {
                value = args[++i];
            } else {
                return usageError((option + " needs a value").c_str());
            }
            if (option == "--method") {
                if (value == "store") {
                    options.method = MethodStored;
                } else if (value == "compress") {
                    options.method = MethodCompressed;
                } else if (value == "scramble") {
                    options.method = MethodScrambled;
                } else {
                    return usageError(("unknown method \"" + value + "\"").c_str());
                }
            } else if (option == "--seed" || option == "--id") {
                std::int32_t n;
                if (!parseNumber(value.c_str(), &n)) {
                    return usageError(
                        (option + " takes a 32-bit number, not \"" + value + "\"").c_str());
                }
                (option == "--seed" ? options.seed : options.archiverId) = n;
            } else {
                return usageError(("unknown option " + option).c_str());
            }
        } else {
            positional.push_back(option);
        }
    }
    if (positional.size() != 2) {
        return usageError("pack takes an archive and a directory");
    }
    std::string const& archive = positional[0];
    std::string const& directory = positional[1];

    bool const terminal = ::isatty(STDERR_FILENO) != 0;
    int shown = -1;
    auto const progress = [&](std::size_t done, std::size_t total) {
        if (!terminal || total < 100) {
            return;
        }
        int const percent = static_cast<int>(done * 100 / total);
        if (percent != shown || done == total) {
            shown = percent;
            std::fprintf(stderr, "\rkas: packing %zu of %zu files (%d%%)", done, total, percent);
            if (done == total) {
                std::fprintf(stderr, "\r%*s\r", 60, "");
            }
            std::fflush(stderr);
        }
    };
    std::vector<std::string> skipped;
    Writer writer(options.seed, options.archiverId);
    gatherTree(writer, directory, options.method, archive, &skipped);
    for (auto const& s : skipped) {
        std::fprintf(stderr, "kas: left out %s\n", s.c_str());
    }
    writer.write(archive, progress);
    std::printf("%s: %zu files in %zu directories, %" PRIu64 " bytes in an archive of %" PRIu64
                " bytes\n",
                archive.c_str(), writer.fileCount(), writer.directoryCount(),
                writer.totals().plainBytes, writer.totals().archiveBytes);
    return 0;
}

// ---- list -----------------------------------------------------------------------------------

std::vector<FileRecord const*> byName(Reader const& reader) {
    std::vector<FileRecord const*> files;
    for (auto const& f : reader.files()) {
        files.push_back(&f);
    }
    std::stable_sort(files.begin(), files.end(), [&](FileRecord const* a, FileRecord const* b) {
        return compareNoCase(reader.fullName(*a), reader.fullName(*b)) < 0;
    });
    return files;
}

std::string methodText(std::int32_t method) {
    char const* name = methodName(method);
    return name != nullptr ? name : "method " + std::to_string(method);
}

int list(std::string const& archive) {
    Reader reader(archive);
    std::printf("%12s %12s  %-10s  %-19s  %s\n", "Size", "Stored", "Method", "Modified (UTC)",
                "Name");
    std::uint64_t size = 0;
    std::uint64_t stored = 0;
    for (FileRecord const* f : byName(reader)) {
        std::printf("%12" PRIu32 " %12" PRIu32 "  %-10s  %-19s  %s\n", f->size, f->storedSize,
                    methodText(f->method).c_str(), formatTime(f->time).c_str(),
                    reader.fullName(*f).c_str());
        size += f->size;
        stored += f->storedSize;
    }
    std::printf("%zu files in %zu directories, %" PRIu64 " bytes, %" PRIu64 " stored\n",
                reader.files().size(), reader.directories().size(), size, stored);
    return 0;
}

// ---- extract ----------------------------------------------------------------------------------

// The disk path of an archive name under `root`; false when a part of the name cannot be
// a file name here or would lead out of `root`.
bool diskPath(fs::path const& root, std::string const& name, fs::path* out) {
    fs::path path = root;
    std::size_t start = 1;
    while (start < name.size()) {
        std::size_t end = name.find('\\', start);
        if (end == std::string::npos) {
            end = name.size();
        }
        std::string const part = name.substr(start, end - start);
        if (part.empty() || part == "." || part == ".." || part.find('/') != std::string::npos) {
            return false;
        }
        path /= part;
        start = end + 1;
    }
    *out = path;
    return true;
}

void setTime(fs::path const& path, SystemTime const& time) {
    struct timespec times[2];
    times[0].tv_sec = static_cast<time_t>(unixFromSystemTime(time));
    times[0].tv_nsec = static_cast<long>(time.milliseconds % 1000) * 1000000L;
    times[1] = times[0];
    ::utimensat(AT_FDCWD, path.c_str(), times, 0);
}

int extract(std::string const& archive, std::string const& directory) {
    Reader reader(archive);
    fs::path const root(directory);
    int failures = 0;
    auto report = [&](std::string const& what) {
        std::fprintf(stderr, "kas: %s\n", what.c_str());
        ++failures;
    };
    std::error_code error;
    fs::create_directories(root, error);
    if (error) {
        throw Error(directory + ": cannot create: " + error.message());
    }
    for (auto const& d : reader.directories()) {
        fs::path path;
        if (!diskPath(root, d.name, &path)) {
            report(archive + ": the directory \"" + d.name + "\" cannot be written here");
            continue;
        }
        fs::create_directories(path, error);
        if (error) {
            report(path.string() + ": cannot create: " + error.message());
        }
    }
    std::size_t written = 0;
    for (auto const& f : reader.files()) {
        std::string const name = reader.fullName(f);
        fs::path path;
        if (!diskPath(root, name, &path)) {
            report(archive + ": the file \"" + name + "\" cannot be written here");
            continue;
        }
        try {
            std::vector<unsigned char> const data = reader.contents(f);
            std::ofstream out(path, std::ios::binary | std::ios::trunc);
            out.write(reinterpret_cast<char const*>(data.data()),
                      static_cast<std::streamsize>(data.size()));
            out.close();
            if (!out) {
                report(path.string() + ": cannot write: " + std::strerror(errno));
                continue;
            }
            setTime(path, f.time);
            ++written;
        } catch (Error const& e) {
            report(e.what());
        }
    }
    std::printf("%s: %zu files in %zu directories extracted to %s\n", archive.c_str(), written,
                reader.directories().size(), directory.c_str());
    return failures == 0 ? 0 : 1;
}

// ---- cat ----------------------------------------------------------------------------------------

int cat(std::string const& archive, std::string const& name) {
    Reader reader(archive);
    FileRecord const* file = reader.find(name);
    if (file == nullptr) {
        throw Error(archive + ": no file \"" + name + "\" in the archive");
    }
    std::vector<unsigned char> const data = reader.contents(*file);
    if (std::fwrite(data.data(), 1, data.size(), stdout) != data.size() ||
        std::fflush(stdout) != 0) {
        throw Error(std::string("standard output: cannot write: ") + std::strerror(errno));
    }
    return 0;
}

// ---- verify -------------------------------------------------------------------------------------

int verify(std::string const& archive) {
    Reader reader(archive);
    std::size_t problems = 0;
    auto report = [&](std::string const& what) {
        std::fprintf(stderr, "kas: %s: %s\n", archive.c_str(), what.c_str());
        ++problems;
    };
    for (auto const& f : reader.files()) {
        std::string const name = reader.fullName(f);
        try {
            std::vector<unsigned char> const data = reader.contents(f);
            if (reader.hasEntryChecksums() &&
                K_File::CRC32(data.data(), static_cast<unsigned int>(data.size())) != f.reserved) {
                report(name + ": the checksum of its bytes is wrong");
            }
        } catch (Error const& e) {
            std::fprintf(stderr, "kas: %s\n", e.what());
            ++problems;
        }
    }
    // A name that stands twice: lookups find only one of the two.
    auto twice = [&](std::vector<std::string> names, char const* kind) {
        std::sort(names.begin(), names.end(), [](std::string const& a, std::string const& b) {
            return compareNoCase(a, b) < 0;
        });
        for (std::size_t i = 1; i < names.size(); ++i) {
            if (compareNoCase(names[i - 1], names[i]) == 0) {
                report(std::string("the ") + kind + " \"" + names[i] + "\" stands twice");
            }
        }
    };
    std::vector<std::string> names;
    for (auto const& f : reader.files()) {
        names.push_back(reader.fullName(f));
    }
    twice(names, "file");
    names.clear();
    for (auto const& d : reader.directories()) {
        names.push_back(d.name);
    }
    twice(names, "directory");
    std::uint64_t end = reader.dataStart();
    for (auto const& f : reader.files()) {
        end += f.storedSize;
    }
    if (end < reader.fileSize()) {
        report(std::to_string(reader.fileSize() - end) + " bytes stand behind the last entry");
    }
    if (problems != 0) {
        std::fprintf(stderr, "kas: %s: %zu problem%s\n", archive.c_str(), problems,
                     problems == 1 ? "" : "s");
        return 1;
    }
    std::printf("%s: OK, %zu files in %zu directories\n", archive.c_str(), reader.files().size(),
                reader.directories().size());
    return 0;
}

int run(std::vector<std::string> const& args) {
    if (args.empty()) {
        return usageError("no command given");
    }
    std::string const& command = args[0];
    std::vector<std::string> const rest(args.begin() + 1, args.end());
    if (command == "--help" || command == "-h" || command == "help") {
        std::printf("%s%s", kUsage, kHelp);
        return 0;
    }
    if (command == "pack") {
        return pack(rest);
    }
    // The commands on one archive, with what each takes behind it.
    struct Command {
        char const* name;
        char const* takes;
        std::size_t arguments;
    } static const commands[] = {{"list", "an archive", 1},
                                 {"verify", "an archive", 1},
                                 {"extract", "an archive and a directory", 2},
                                 {"cat", "an archive and a name", 2}};
    auto const found = std::find_if(std::begin(commands), std::end(commands),
                                    [&](Command const& c) { return command == c.name; });
    if (found == std::end(commands)) {
        return usageError(("unknown command \"" + command + "\"").c_str());
    }
    if (rest.size() != found->arguments) {
        return usageError((command + " takes " + found->takes).c_str());
    }
    if (command == "list") {
        return list(rest[0]);
    }
    if (command == "extract") {
        return extract(rest[0], rest[1]);
    }
    if (command == "cat") {
        return cat(rest[0], rest[1]);
    }
    return verify(rest[0]);
}

} // namespace

int main(int argc, char** argv) {
    std::vector<std::string> const args(argv + 1, argv + argc);
    try {
        return run(args);
    } catch (Error const& e) {
        std::fprintf(stderr, "kas: %s\n", e.what());
    } catch (K_Exception* e) {
        std::fprintf(stderr, "kas: %s\n", e->getErrorMessage());
    } catch (std::bad_alloc const&) {
        std::fprintf(stderr, "kas: out of memory\n");
    } catch (std::exception const& e) {
        std::fprintf(stderr, "kas: %s\n", e.what());
    }
    return 1;
}
