// Enumeration of one directory over disk and archives: the disk's entries of the current
// directory, then the archives' subdirectories of the pattern's directory, then their
// files, each archive in the order of its sorted table. Nothing is merged.
#include "file/file_internal.h"
#include "platform/files.h"
#include "platform/platform.h"

#include <cstdio>
#include <cstring>

namespace {

enum { PhaseDisk = 0, PhaseDirectories = 1, PhaseFiles = 2, PhaseEnded = 3 };

void prefixOf(char* prefix, int const* id) {
    if (id != nullptr) {
        std::snprintf(prefix, 16, "%05i", *id);
    } else {
        std::strcpy(prefix, "XXXXX");
    }
}

} // namespace

char const* K_File::findFirst(char const* pattern) {
    char const* const slash = std::strrchr(pattern, '\\');
    klmfc::file::copyName(m_findPattern, slash != nullptr ? slash + 1 : pattern);
    m_findPhase = PhaseDisk;
    m_findIndex = 0;
    if (m_findHandle != nullptr) {
        klmfc::platform::findClose(m_findHandle);
        m_findHandle = nullptr;
    }
    relativeToAbsolutePath(m_findDir, pattern);
    char* const last = std::strrchr(m_findDir, '\\');
    if (last != nullptr) {
        last[1] = 0;
    } else {
        m_findDir[0] = 0;
    }
    char everything[256];
    relativeToAbsolutePath(everything, "*.*");
    absolutePathToDirStructure(m_findDiskPattern, everything);
    m_findLookForDir = 1;
    m_findDirIDList->clear();
    m_findArchive = KASArchiveList->getFirst();
    m_findGeneration = sm_uArchiveSetGeneration;
    return findNext();
}

char const* K_File::findNext() {
    for (;;) {
        switch (m_findPhase) {
        case PhaseDisk: {
            klmfc::platform::FindData found;
            bool more;
            if (m_findIndex == 0) {
                m_findIndex = 1;
                // Every entry of the pattern's disk directory, as "*.*" lists them on
                // Windows, names with no dot too; the pattern's own part filters them.
                char directory[256];
                std::strcpy(directory, m_findDiskPattern);
                char* const cut = std::strrchr(directory, '/');
                if (cut != nullptr) {
                    cut[cut == directory ? 1 : 0] = 0;
                } else {
                    std::strcpy(directory, ".");
                }
                char spelt[256];
                klmfc::platform::resolvePath(directory, spelt, sizeof spelt);
                char listing[260];
                std::snprintf(listing, sizeof listing, "%s/*",
                              std::strcmp(spelt, "/") == 0 ? "" : spelt);
                if (m_findDiskPattern[0] != 0) {
                    m_findHandle = klmfc::platform::findFirst(listing, &found);
                }
                more = m_findHandle != nullptr;
            } else {
                more = m_findHandle != nullptr && klmfc::platform::findNext(m_findHandle, &found);
            }
            for (; more; more = klmfc::platform::findNext(m_findHandle, &found)) {
                if (std::strcmp(found.name, ".") != 0 && std::strcmp(found.name, "..") != 0 &&
                    xstricmp(m_findPattern, found.name) == 1) {
                    klmfc::file::copyName(m_findData, found.name);
                    return m_findData;
                }
            }
            if (m_findHandle != nullptr) {
                klmfc::platform::findClose(m_findHandle);
                m_findHandle = nullptr;
            }
            m_findPhase = PhaseDirectories;
            m_findIndex = 0;
            // The archives are those of now, should the set have changed since findFirst.
            if (m_findGeneration != sm_uArchiveSetGeneration) {
                m_findGeneration = sm_uArchiveSetGeneration;
                m_findArchive = KASArchiveList->getFirst();
                m_findDirIDList->clear();
            }
            break;
        }

        case PhaseDirectories: {
            if (m_findGeneration != sm_uArchiveSetGeneration || m_findArchive == nullptr) {
                m_findPhase = PhaseEnded;
                break;
            }
            K_KASArchive* a = m_findArchive;
            std::size_t const dirLength = std::strlen(m_findDir);
            while (m_findPhase == PhaseDirectories) {
                if (m_findIndex >= a->header.directoryCount) {
                    // This archive is done: note whether it has the directory at all.
                    if (m_findLookForDir == 1) {
                        *m_findDirIDList->addNewLast() = -1;
                    }
                    m_findLookForDir = 1;
                    a = KASArchiveList->getNext(a);
                    m_findArchive = a;
                    m_findIndex = 0;
                    if (a == nullptr) {
                        m_findArchive = KASArchiveList->getFirst();
                        m_findPhase = PhaseFiles;
                        m_findDirNode = m_findDirIDList->getFirst();
                        if (m_findDirNode == nullptr) {
                            m_findPhase = PhaseEnded;
                        } else {
                            prefixOf(m_findDirPrefix, m_findDirNode);
                        }
                    }
                    continue;
                }
                K_KASDirInfo const& dir = a->directories[m_findIndex];
                if (m_findLookForDir == 1 && klmfc::file::compareNoCase(dir.name, m_findDir) == 0) {
                    *m_findDirIDList->addNewLast() = dir.id;
                    m_findLookForDir = 0;
                }
                // One level below: the rest behind the directory holds one backslash, at
                // its end. The directory's name is matched with its case.
                if (char const* at = std::strstr(dir.name, m_findDir)) {
                    char const* const rest = at + dirLength;
                    char const* const backslash = std::strchr(rest, '\\');
                    if (backslash != nullptr && backslash[1] == 0) {
                        std::size_t const n = static_cast<std::size_t>(backslash - rest);
                        std::memcpy(m_findResult, rest, n);
                        m_findResult[n] = 0;
                        if (xstricmp(m_findPattern, m_findResult) == 1) {
                            ++m_findIndex;
                            return m_findResult;
                        }
                        m_findResult[0] = 0;
                    }
                }
                ++m_findIndex;
            }
            break;
        }

        case PhaseFiles: {
            if (m_findGeneration != sm_uArchiveSetGeneration) {
                m_findPhase = PhaseEnded;
                break;
            }
            K_KASArchive* a = m_findArchive;
            while (a != nullptr) {
                int const count = a->header.fileCount;
                if (m_findIndex == 0) {
                    // The files of one directory lie together in the sorted table.
                    m_findIndex =
                        static_cast<int>(klmfc::file::lowerBound(a->files, count, m_findDirPrefix,
                                                                 klmfc::file::keyOf) -
                                         a->files);
                }
                for (; m_findIndex < count; ++m_findIndex) {
                    char const* const key = a->files[m_findIndex].key;
                    if (std::strncmp(key, m_findDirPrefix, 5) != 0) {
                        m_findIndex = count;
                        break;
                    }
                    klmfc::file::copyName(m_findResult, key + 5);
                    if (xstricmp(m_findPattern, m_findResult) == 1) {
                        ++m_findIndex;
                        return m_findResult;
                    }
                    m_findResult[0] = 0;
                }
                a = KASArchiveList->getNext(a);
                m_findArchive = a;
                if (m_findDirNode != nullptr) {
                    m_findDirNode = m_findDirIDList->getNext(m_findDirNode);
                }
                prefixOf(m_findDirPrefix, m_findDirNode);
                m_findIndex = 0;
            }
            m_findPhase = PhaseEnded;
            break;
        }

        default:
            return nullptr;
        }
    }
}
