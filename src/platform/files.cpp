// Offsets and sizes are 64-bit on 32-bit systems too: archives reach 4 GiB.
#define _FILE_OFFSET_BITS 64

#include "platform/files.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <unordered_map>
#include <utility>
#include <vector>

namespace klmfc::platform {

void toSystemSeparators(char* path) {
    for (; *path != 0; ++path) {
        if (*path == '\\') {
            *path = '/';
        }
    }
}

void toNameSeparators(char* path) {
    for (; *path != 0; ++path) {
        if (*path == '/') {
            *path = '\\';
        }
    }
}

namespace {

std::string folded(std::string text) {
    for (char& c : text) {
        if (c >= 'a' && c <= 'z') {
            c = static_cast<char>(c - 'a' + 'A');
        }
    }
    return text;
}

// The entries of one directory, as (folded name, name on disk), sorted.
struct Listing {
    dev_t device;
    ino_t inode;
    timespec modified;
    bool settled; // later changes are sure to move `modified`
    std::vector<std::pair<std::string, std::string>> entries;
};

struct ListingCache {
    std::mutex mutex;
    std::unordered_map<std::string, Listing> byDirectory;
};

constexpr std::size_t kMaxListings = 256;

// Never destroyed: lookups may come from the destructors of other statics.
ListingCache& cache() {
    static ListingCache* const instance = new ListingCache;
    return *instance;
}

long long nanoseconds(timespec const& t) {
    return static_cast<long long>(t.tv_sec) * 1000000000LL + t.tv_nsec;
}

// A listing can be kept only when any change after it must give the directory another
// modification time. A change gets the kernel's coarse clock, which lags by up to a tick,
// rounded down to the file system's granularity; times with no fraction of a second come
// from file systems that keep whole seconds (or two, on FAT).
bool settled(timespec const& modified, timespec const& readAt) {
    long long const margin = modified.tv_nsec == 0 ? 3000000000LL : 50000000LL;
    return nanoseconds(readAt) - nanoseconds(modified) > margin;
}

bool readListing(std::string const& directory, Listing* listing) {
    DIR* dir = ::opendir(directory.c_str());
    if (dir == nullptr) {
        return false;
    }
    while (dirent* entry = ::readdir(dir)) {
        std::string name(entry->d_name);
        if (name != "." && name != "..") {
            listing->entries.emplace_back(folded(name), std::move(name));
        }
    }
    ::closedir(dir);
    std::sort(listing->entries.begin(), listing->entries.end());
    return true;
}

// The disk spelling of `name` in `directory`, whose status is `status`.
bool findEntry(std::string const& directory, struct stat const& status, std::string const& name,
               std::string* spelt) {
    ListingCache& c = cache();
    std::lock_guard<std::mutex> lock(c.mutex);
    auto it = c.byDirectory.find(directory);
    bool const fresh = it != c.byDirectory.end() && it->second.settled &&
                       it->second.device == status.st_dev && it->second.inode == status.st_ino &&
                       nanoseconds(it->second.modified) == nanoseconds(status.st_mtim);
    if (!fresh) {
        Listing listing{status.st_dev, status.st_ino, status.st_mtim, false, {}};
        timespec readAt{};
        ::clock_gettime(CLOCK_REALTIME, &readAt);
        if (!readListing(directory, &listing)) {
            if (it != c.byDirectory.end()) {
                c.byDirectory.erase(it);
            }
            return false;
        }
        listing.settled = settled(status.st_mtim, readAt);
        if (it == c.byDirectory.end()) {
            if (c.byDirectory.size() >= kMaxListings) {
                c.byDirectory.clear();
            }
            it = c.byDirectory.emplace(directory, std::move(listing)).first;
        } else {
            it->second = std::move(listing);
        }
    }
    auto const& entries = it->second.entries;
    std::string const key = folded(name);
    auto first = std::lower_bound(entries.begin(), entries.end(), key,
                                  [](std::pair<std::string, std::string> const& e,
                                     std::string const& k) { return e.first < k; });
    if (first == entries.end() || first->first != key) {
        return false;
    }
    for (auto e = first; e != entries.end() && e->first == key; ++e) {
        if (e->second == name) {
            *spelt = name;
            return true;
        }
    }
    *spelt = first->second;
    return true;
}

// The spelling on disk of a path that does not exist as given, with its status when it
// exists otherwise spelt.
bool respell(char const* path, std::string& out, struct stat* status) {
    // The deepest directory above the path that exists as spelt: above it nothing needs a
    // listing.
    std::string const given(path);
    std::string directory = ".";
    struct stat dirStatus;
    std::size_t pos = 0;
    for (std::size_t cut = given.size(); cut != 0;) {
        cut = given.rfind('/', cut - 1);
        if (cut == std::string::npos) {
            break;
        }
        std::string const above = cut == 0 ? std::string("/") : given.substr(0, cut);
        if (::stat(above.c_str(), &dirStatus) == 0 && S_ISDIR(dirStatus.st_mode)) {
            directory = above;
            pos = cut + 1;
            break;
        }
    }
    if (directory == "." && ::stat(".", &dirStatus) != 0) {
        out = given;
        return false;
    }
    out = directory == "." ? std::string() : directory == "/" ? directory : directory + "/";
    // Below it, each part is looked up in its directory's listing.
    for (;;) {
        std::size_t end = given.find('/', pos);
        if (end == std::string::npos) {
            end = given.size();
        }
        std::string const part = given.substr(pos, end - pos);
        std::string spelt = part;
        if (!part.empty() && part != "." && part != ".." &&
            !findEntry(directory, dirStatus, part, &spelt)) {
            out.append(given, pos, std::string::npos);
            return false;
        }
        out += spelt;
        if (end == given.size()) {
            break;
        }
        if (::stat(out.c_str(), &dirStatus) != 0 || !S_ISDIR(dirStatus.st_mode)) {
            out.append(given, end, std::string::npos);
            return false;
        }
        directory = out;
        out += '/';
        pos = end + 1;
    }
    return ::stat(out.c_str(), status) == 0;
}

// The path as spelt on disk in `out`, with its status when it exists.
bool resolve(char const* path, std::string& out, struct stat* status) {
    if (::stat(path, status) == 0) {
        out = path;
        return true;
    }
    return respell(path, out, status);
}

bool copyOut(std::string const& text, char* out, std::size_t size) {
    if (text.size() + 1 > size) {
        if (size > 0) {
            out[0] = 0;
        }
        return false;
    }
    std::memcpy(out, text.c_str(), text.size() + 1);
    return true;
}

} // namespace

bool resolvePath(char const* path, char* out, std::size_t size) {
    std::string spelt;
    struct stat status;
    bool const found = resolve(path, spelt, &status);
    return copyOut(spelt, out, size) && found;
}

bool fullPathName(char const* name, char* out, std::size_t size) {
    std::string full;
    if (name[0] != '/') {
        std::vector<char> cwd(4096);
        if (::getcwd(cwd.data(), cwd.size()) == nullptr) {
            return false;
        }
        full = cwd.data();
        full += '/';
    }
    full += name;
    std::vector<std::string> parts;
    std::size_t pos = 0;
    while (pos <= full.size()) {
        std::size_t end = full.find('/', pos);
        if (end == std::string::npos) {
            end = full.size();
        }
        std::string part = full.substr(pos, end - pos);
        if (part == "..") {
            if (!parts.empty()) {
                parts.pop_back();
            }
        } else if (!part.empty() && part != ".") {
            parts.push_back(std::move(part));
        }
        pos = end + 1;
    }
    std::string result;
    for (std::string const& part : parts) {
        result += '/';
        result += part;
    }
    return copyOut(result.empty() ? std::string("/") : result, out, size);
}

PathKind pathKind(char const* path) {
    std::string spelt;
    struct stat status;
    if (!resolve(path, spelt, &status)) {
        return PathKind::None;
    }
    if (S_ISDIR(status.st_mode)) {
        return PathKind::Directory;
    }
    return S_ISREG(status.st_mode) ? PathKind::File : PathKind::Other;
}

std::FILE* openFile(char const* path, char const* mode, std::uint64_t* length) {
    std::string spelt;
    struct stat status;
    std::FILE* file = nullptr;
    if (mode[0] == 'r') {
        // Reading: the name as given first, the spelling on disk only when that fails.
        file = std::fopen(path, mode);
        if (file == nullptr && (errno == ENOENT || errno == ENOTDIR) &&
            respell(path, spelt, &status)) {
            file = std::fopen(spelt.c_str(), mode);
        }
    } else {
        // Writing: an existing file of another spelling is the one written.
        resolve(path, spelt, &status);
        file = std::fopen(spelt.c_str(), mode);
    }
    if (file != nullptr) {
        struct stat opened;
        if (::fstat(::fileno(file), &opened) != 0 || S_ISDIR(opened.st_mode)) {
            std::fclose(file);
            errno = EISDIR;
            return nullptr;
        }
        if (length != nullptr) {
            *length = static_cast<std::uint64_t>(opened.st_size);
        }
    }
    return file;
}

bool fileLength(std::FILE* file, std::uint64_t* length) {
    struct stat status;
    if (::fstat(::fileno(file), &status) != 0 || status.st_size < 0) {
        return false;
    }
    *length = static_cast<std::uint64_t>(status.st_size);
    return true;
}

bool createDirectory(char const* path) {
    std::string spelt;
    struct stat status;
    return !resolve(path, spelt, &status) && ::mkdir(spelt.c_str(), 0777) == 0;
}

bool removeFile(char const* path) {
    std::string spelt;
    struct stat status;
    return resolve(path, spelt, &status) && !S_ISDIR(status.st_mode) &&
           ::unlink(spelt.c_str()) == 0;
}

bool changeCurrentDirectory(char const* path) {
    std::string spelt;
    struct stat status;
    return resolve(path, spelt, &status) && S_ISDIR(status.st_mode) && ::chdir(spelt.c_str()) == 0;
}

bool fileModifiedUtc(char const* path, CalendarTime* time) {
    std::string spelt;
    struct stat status;
    if (!resolve(path, spelt, &status) || !S_ISREG(status.st_mode)) {
        return false;
    }
    std::time_t const seconds = status.st_mtime;
    std::tm utc;
    if (::gmtime_r(&seconds, &utc) == nullptr) {
        return false;
    }
    time->year = utc.tm_year + 1900;
    time->month = utc.tm_mon + 1;
    time->dayOfWeek = utc.tm_wday;
    time->day = utc.tm_mday;
    time->hour = utc.tm_hour;
    time->minute = utc.tm_min;
    time->second = utc.tm_sec;
    time->milliseconds = static_cast<int>(status.st_mtim.tv_nsec / 1000000);
    return true;
}

} // namespace klmfc::platform
