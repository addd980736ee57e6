// The forms of a name: as given, absolute, and as a disk path.
#include "file/file_internal.h"
#include "platform/files.h"
#include "platform/platform.h"

#include <cstring>

namespace {

// How much of the start of an absolute name ".." cannot climb above: the leading
// backslash, a drive ("C:" or "C:\") or the two backslashes of a network name.
std::size_t rootLength(char const* text) {
    if (text[0] == '\\' && text[1] == '\\') {
        return 2;
    }
    if (text[0] != 0 && text[1] == ':') {
        return text[2] == '\\' ? 3 : 2;
    }
    return text[0] == '\\' ? 1 : 0;
}

} // namespace

bool K_File::relativeToAbsolutePath(char* out, char const* name) {
    bool fits = true;

    // The work copy: "/" becomes a backslash, and a "." in front of a backslash goes with
    // it unless a "." stands before it in the name as given.
    char work[256];
    std::size_t w = 0;
    for (std::size_t i = 0; name[i] != 0; ++i) {
        char const c = name[i];
        if (c == '.' && name[i + 1] == '\\' && (i == 0 || name[i - 1] != '.')) {
            ++i;
            continue;
        }
        if (w == 255) {
            fits = false;
            break;
        }
        work[w++] = c == '/' ? '\\' : c;
    }
    work[w] = 0;

    char const* start = m_path;
    if (m_archiveHandling != ArchiveHandlingOn) {
        // Operating-system paths: a drive, a network name or, with no drives, a path from
        // the top of the file system stand as they are.
        bool const drive = w >= 2 && work[1] == ':';
        if (drive || work[0] == '\\') {
            // "\x" takes the drive of the current directory, where there are drives.
            std::size_t prefix =
                !drive && work[1] != '\\' && m_path[0] != 0 && m_path[1] == ':' ? 2 : 0;
            if (prefix + w > 255) {
                fits = false;
                prefix = 0;
            }
            std::memcpy(out, m_path, prefix);
            std::memcpy(out + prefix, work, w + 1);
            return fits;
        }
    } else if (work[0] == '\\') {
        start = "";
    }

    // Append the work copy to the start; two dots go up one level wherever they stand.
    std::size_t r = std::strlen(start);
    if (r > 255) {
        r = 255;
        fits = false;
    }
    std::memcpy(out, start, r);
    out[r] = 0;
    std::size_t const floor = rootLength(r != 0 ? out : work);
    for (std::size_t i = 0; i < w;) {
        if (work[i] == '.' && work[i + 1] == '.') {
            long k = static_cast<long>(r) - 2;
            while (k >= static_cast<long>(floor) && out[k] != '\\') {
                --k;
            }
            r = std::max(static_cast<std::size_t>(k + 1), floor);
            i = std::min(i + 3, w);
            continue;
        }
        if (r == 255) {
            fits = false;
            break;
        }
        out[r++] = work[i++];
    }
    if (r > 0 && out[r - 1] == '\\') {
        --r;
    }
    out[r] = 0;
    return fits;
}

bool K_File::absolutePathToDirStructure(char* out, char const* absolute) {
    std::size_t const length = std::strlen(absolute);
    if (m_archiveHandling != ArchiveHandlingOn) {
        if (length > 255) {
            out[0] = 0;
            return false;
        }
        std::memcpy(out, absolute, length + 1);
        klmfc::platform::toSystemSeparators(out);
        return true;
    }
    std::size_t root = std::strlen(m_originalLocalDirPath);
    char const* tail = absolute;
    // A root that ends in a separator ("/") takes the name's leading backslash as its own.
    if (root > 0 &&
        (m_originalLocalDirPath[root - 1] == '/' || m_originalLocalDirPath[root - 1] == '\\') &&
        tail[0] == '\\') {
        ++tail;
    }
    std::size_t const rest = std::strlen(tail);
    if (root + rest > 255) {
        out[0] = 0;
        return false;
    }
    std::memcpy(out, m_originalLocalDirPath, root);
    std::memcpy(out + root, tail, rest + 1);
    klmfc::platform::toSystemSeparators(out + root);
    std::size_t const total = root + rest;
    if (total > 1 && rest > 0 && out[total - 1] == '/') {
        out[total - 1] = 0;
    }
    return true;
}

bool K_File::namesOf(char const* name, char* absolute, char* disk) {
    if (!relativeToAbsolutePath(absolute, name)) {
        disk[0] = 0;
        return false;
    }
    absolutePathToDirStructure(disk, absolute);
    return true;
}

char const* K_File::getFullPathName(char const* name) {
    char absolute[256];
    relativeToAbsolutePath(absolute, name);
    unsigned int const needed = static_cast<unsigned int>(std::strlen(absolute)) + 1;
    if (m_uPathLen < needed) {
        m_pathName = static_cast<char*>(K_REALLOCATE_implementation(
            m_pathName, static_cast<int>(m_uPathLen), static_cast<int>(needed)));
        m_uPathLen = needed;
    }
    std::memcpy(m_pathName, absolute, needed);
    return m_pathName;
}

void K_File::getPath(char const* name, K_String& out) const {
    char absolute[256];
    relativeToAbsolutePath(absolute, name);
    out.assign(absolute);
    std::size_t const slash = out.rfind('\\');
    if (slash != K_String::npos) {
        out.erase(slash + 1);
    }
}

void K_File::getFilename(char const* name, K_String& out) const {
    char absolute[256];
    relativeToAbsolutePath(absolute, name);
    out.assign(absolute);
    std::size_t const slash = out.rfind('\\');
    if (slash != K_String::npos) {
        out.erase(0, slash + 1);
    }
}

int K_File::xstricmp(char const* pattern, char const* text) {
    return klmfc::platform::wildcardMatch(pattern, text) ? 1 : 0;
}
