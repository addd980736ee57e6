#include "platform/platform.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <dlfcn.h>
#include <pthread.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace klmfc::platform {

int formatTruncated(char* buffer, std::size_t limit, char const* format, va_list arguments) {
    int const n = std::vsnprintf(buffer, limit + 1, format, arguments);
    if (n < 0) {
        buffer[0] = 0;
        return 0;
    }
    return static_cast<std::size_t>(n) > limit ? static_cast<int>(limit) : n;
}

namespace {
bool copyOut(std::string const& text, char* buffer, std::size_t size) {
    if (text.size() + 1 > size) {
        return false;
    }
    std::memcpy(buffer, text.c_str(), text.size() + 1);
    return true;
}
} // namespace

bool programDirectory(char* buffer, std::size_t size) {
    std::vector<char> path(4096);
    ssize_t n = ::readlink("/proc/self/exe", path.data(), path.size() - 1);
    if (n <= 0) {
        return false;
    }
    std::string exe(path.data(), static_cast<std::size_t>(n));
    std::size_t const slash = exe.rfind('/');
    if (slash == std::string::npos) {
        return false;
    }
    exe.resize(slash == 0 ? 1 : slash);
    return copyOut(exe, buffer, size);
}

bool currentDirectory(char* buffer, std::size_t size) {
    return size > 0 && ::getcwd(buffer, size) != nullptr;
}

bool setCurrentDirectory(char const* path) { return ::chdir(path) == 0; }

bool environmentVariable(char const* name, char* buffer, std::size_t size) {
    char const* value = std::getenv(name);
    if (value == nullptr) {
        return false;
    }
    if (size > 0) {
        std::size_t const n = std::min(std::strlen(value), size - 1);
        std::memcpy(buffer, value, n);
        buffer[n] = 0;
    }
    return true;
}

bool machineName(char buffer[16]) {
    char host[256] = {};
    if (::gethostname(host, sizeof host - 1) != 0 || host[0] == 0) {
        return false;
    }
    std::size_t n = 0;
    while (n < 15 && host[n] != 0 && host[n] != '.') {
        ++n;
    }
    std::memcpy(buffer, host, n);
    buffer[n] = 0;
    return true;
}

void abortProcess() { std::abort(); }

int showMessage(char const* text, char const* title, unsigned int) {
    std::fprintf(stderr, "%s: %s\n", title != nullptr ? title : "", text != nullptr ? text : "");
    std::fflush(stderr);
    return 1;
}

bool statMode(char const* path, unsigned int* mode) {
    struct stat st;
    if (::stat(path, &st) != 0) {
        return false;
    }
    unsigned int m = 0;
    if (S_ISDIR(st.st_mode)) {
        m |= 0x4000;
    }
    if (S_ISREG(st.st_mode)) {
        m |= 0x8000;
    }
    m |= (st.st_mode & S_IRUSR) ? 0x0100 : 0;
    m |= (st.st_mode & S_IWUSR) ? 0x0080 : 0;
    m |= (st.st_mode & S_IXUSR) ? 0x0040 : 0;
    *mode = m;
    return true;
}

FileKind fileKind(char const* path) {
    struct stat st;
    if (::stat(path, &st) != 0) {
        return FileKind::None;
    }
    if (S_ISDIR(st.st_mode)) {
        return FileKind::Directory;
    }
    return S_ISREG(st.st_mode) ? FileKind::File : FileKind::Other;
}

bool wildcardMatch(char const* pattern, char const* text) {
    // Iterative form of the recursive rule: a "*" first tries the rest of the pattern
    // here and on failure takes one more character of the text.
    char const* starPattern = nullptr;
    char const* starText = nullptr;
    for (;;) {
        if (*pattern == '*') {
            starPattern = ++pattern;
            starText = text;
            continue;
        }
        if (*text == 0) {
            if (*pattern == 0) {
                return true;
            }
        } else if (*pattern == '?' ||
                   (*pattern != 0 && std::toupper(static_cast<unsigned char>(*pattern)) ==
                                         std::toupper(static_cast<unsigned char>(*text)))) {
            ++pattern;
            ++text;
            continue;
        }
        if (starPattern == nullptr || *starText == 0) {
            return false;
        }
        pattern = starPattern;
        text = ++starText;
    }
}

struct FindHandle {
    std::string directory;
    std::vector<std::string> names;
    std::size_t next = 0;
};

namespace {
bool fill(FindHandle* handle, FindData* data) {
    while (handle->next < handle->names.size()) {
        std::string const& name = handle->names[handle->next++];
        std::string const full = handle->directory + "/" + name;
        struct stat st;
        if (::stat(full.c_str(), &st) != 0 && ::lstat(full.c_str(), &st) != 0) {
            continue; // vanished since the listing
        }
        std::size_t const n = std::min(name.size(), sizeof data->name - 1);
        std::memcpy(data->name, name.c_str(), n);
        data->name[n] = 0;
        data->isDirectory = S_ISDIR(st.st_mode);
        data->size = static_cast<std::uint64_t>(st.st_size);
        data->modifiedUtc = static_cast<std::int64_t>(st.st_mtime);
        return true;
    }
    return false;
}
} // namespace

FindHandle* findFirst(char const* pattern, FindData* data) {
    std::string const full(pattern);
    std::size_t const slash = full.rfind('/');
    auto* handle = new FindHandle;
    std::string mask;
    if (slash == std::string::npos) {
        handle->directory = ".";
        mask = full;
    } else {
        handle->directory = slash == 0 ? "/" : full.substr(0, slash);
        mask = full.substr(slash + 1);
    }
    if (DIR* dir = ::opendir(handle->directory.c_str())) {
        while (dirent* entry = ::readdir(dir)) {
            if (wildcardMatch(mask.c_str(), entry->d_name)) {
                handle->names.emplace_back(entry->d_name);
            }
        }
        ::closedir(dir);
    }
    std::sort(handle->names.begin(), handle->names.end());
    if (!fill(handle, data)) {
        delete handle;
        return nullptr;
    }
    return handle;
}

bool findNext(FindHandle* handle, FindData* data) { return handle != nullptr && fill(handle, data); }

void findClose(FindHandle* handle) { delete handle; }

void* loadModule(char const* file) {
    std::string path(file);
    if (path.find('/') == std::string::npos && fileKind(file) == FileKind::File) {
        path = "./" + path;
    }
    return ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
}

void unloadModule(void* module) {
    if (module != nullptr) {
        ::dlclose(module);
    }
}

struct RecursiveMutex {
    pthread_mutex_t mutex;
};

RecursiveMutex* createRecursiveMutex() {
    auto* m = new RecursiveMutex;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m->mutex, &attributes);
    pthread_mutexattr_destroy(&attributes);
    return m;
}

void lockMutex(RecursiveMutex* mutex) { pthread_mutex_lock(&mutex->mutex); }
void unlockMutex(RecursiveMutex* mutex) { pthread_mutex_unlock(&mutex->mutex); }

void destroyRecursiveMutex(RecursiveMutex* mutex) {
    if (mutex != nullptr) {
        pthread_mutex_destroy(&mutex->mutex);
        delete mutex;
    }
}

unsigned int milliseconds() {
    timespec ts;
    ::clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<unsigned int>(static_cast<unsigned long long>(ts.tv_sec) * 1000u +
                                     static_cast<unsigned long long>(ts.tv_nsec) / 1000000u);
}

} // namespace klmfc::platform
