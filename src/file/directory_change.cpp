// The scope of a change of the name space's current directory.
#include "file/file_internal.h"

K_FileDirectoryChange::K_FileDirectoryChange() : m_constructed(false) {}

K_FileDirectoryChange::K_FileDirectoryChange(K_String const& directory) : m_constructed(false) {
    construct(directory);
}

K_FileDirectoryChange::~K_FileDirectoryChange() {
    destruct();
}

void K_FileDirectoryChange::construct(K_String const& directory) {
    destruct();
    m_constructed = true;
    try {
        m_previousDirectory = File->getCurrentDirectory();
        File->changeDirectory(directory.c_str());
    } catch (...) {
        destruct();
        throw;
    }
}

void K_FileDirectoryChange::destruct() {
    if (!m_constructed) {
        return;
    }
    if (File != nullptr) {
        try {
            File->changeDirectory(m_previousDirectory.c_str());
        } catch (K_FileException*) {
            // The directory has gone meanwhile: the current directory goes back to its
            // name all the same, so that scopes still unwind in order.
            klmfc::file::copyName(K_File::m_path, m_previousDirectory.c_str());
        }
    }
    initializeMembers();
}

void K_FileDirectoryChange::initializeMembers() {
    m_constructed = false;
    m_previousDirectory.clear();
}
