// Offsets beyond 2 GiB on 32-bit systems too.
#define _FILE_OFFSET_BITS 64

#include "platform/direct_io.h"

#include "platform/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <new>

namespace klmfc::platform {

struct UnbufferedFile {
    int descriptor;
    bool direct;
};

namespace {

std::atomic<unsigned int> s_sectorSize{0};

int openReadOnly(char const* path, bool direct) {
    int flags = O_RDONLY | O_CLOEXEC;
#ifdef O_DIRECT
    if (direct) {
        flags |= O_DIRECT;
    }
#else
    (void)direct;
#endif
    int descriptor;
    do {
        descriptor = ::open(path, flags);
    } while (descriptor < 0 && errno == EINTR);
    return descriptor;
}

// Drops O_DIRECT from an open file, after the file system refused a read with it.
bool dropDirect(UnbufferedFile* file) {
#ifdef O_DIRECT
    int const flags = ::fcntl(file->descriptor, F_GETFL);
    if (flags < 0 || ::fcntl(file->descriptor, F_SETFL, flags & ~O_DIRECT) != 0) {
        return false;
    }
#endif
    file->direct = false;
    return true;
}

} // namespace

UnbufferedFile* openUnbuffered(char const* path) {
    char resolved[4096];
    if (!resolvePath(path, resolved, sizeof resolved)) {
        return nullptr;
    }
    bool direct = true;
    int descriptor = openReadOnly(resolved, true);
    if (descriptor < 0 && errno == EINVAL) {
        // The file system takes no O_DIRECT (tmpfs, for one): ordinary reads.
        direct = false;
        descriptor = openReadOnly(resolved, false);
    }
    if (descriptor < 0) {
        return nullptr;
    }
    struct stat info;
    if (::fstat(descriptor, &info) != 0 || !S_ISREG(info.st_mode)) {
        ::close(descriptor);
        return nullptr;
    }
    auto* file = new (std::nothrow) UnbufferedFile{descriptor, direct};
    if (file == nullptr) {
        ::close(descriptor);
    }
    return file;
}

void closeUnbuffered(UnbufferedFile* file) {
    if (file != nullptr) {
        ::close(file->descriptor);
        delete file;
    }
}

std::uint64_t unbufferedFileSize(UnbufferedFile* file) {
    struct stat info;
    if (::fstat(file->descriptor, &info) != 0 || info.st_size < 0) {
        return 0;
    }
    return static_cast<std::uint64_t>(info.st_size);
}

void seekUnbuffered(UnbufferedFile* file, std::uint64_t offset) {
    ::lseek(file->descriptor, static_cast<off_t>(offset), SEEK_SET);
}

unsigned int readUnbuffered(UnbufferedFile* file, void* buffer, unsigned int size) {
    auto* out = static_cast<unsigned char*>(buffer);
    unsigned int done = 0;
    while (done < size) {
        ssize_t const n = ::read(file->descriptor, out + done, size - done);
        if (n > 0) {
            done += static_cast<unsigned int>(n);
            if (static_cast<unsigned int>(n) < size - done + static_cast<unsigned int>(n)) {
                break; // a regular file reads short only at its end
            }
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && errno == EINVAL && file->direct && dropDirect(file)) {
            // The alignment asked of us does not meet the device's: read through the cache.
            continue;
        }
        break; // the end of the file, or a failure
    }
    return done;
}

bool readsPastCache(UnbufferedFile const* file) {
    return file->direct;
}

unsigned int sectorSize(char const* path) {
    unsigned int const set = s_sectorSize.load();
    if (set != 0) {
        return set;
    }
#if defined(STATX_DIOALIGN)
    char resolved[4096];
    struct statx info;
    if (resolvePath(path, resolved, sizeof resolved) &&
        ::statx(AT_FDCWD, resolved, 0, STATX_DIOALIGN, &info) == 0 &&
        (info.stx_mask & STATX_DIOALIGN) != 0 && info.stx_dio_offset_align != 0) {
        unsigned int const align = info.stx_dio_offset_align > info.stx_dio_mem_align
                                       ? info.stx_dio_offset_align
                                       : info.stx_dio_mem_align;
        return align;
    }
#else
    (void)path;
#endif
    return 512;
}

void setSectorSize(unsigned int bytes) {
    s_sectorSize.store(bytes);
}

bool seekFile(std::FILE* file, std::uint64_t offset) {
    return ::fseeko(file, static_cast<off_t>(offset), SEEK_SET) == 0;
}

} // namespace klmfc::platform
