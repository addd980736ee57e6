#include "klmfc/file/file.h"

#include "platform/platform.h"

#include <cstring>

K_File* File = nullptr;

unsigned int K_File::instance = 0;
int K_File::m_archiveHandling = 0;
char K_File::m_strStartupDirectory[256];
char K_File::m_originalLocalDirPath[256];
char K_File::m_path[256];

K_File::K_File() : m_override(1) {
    ++instance;
    klmfc::platform::currentDirectory(m_strStartupDirectory, 255);
    // The root is the directory of the program's executable.
    char program[256] = {};
    if (klmfc::platform::programDirectory(program, sizeof program)) {
        klmfc::platform::setCurrentDirectory(program);
    }
    klmfc::platform::currentDirectory(m_originalLocalDirPath, 255);
    setOverride(1);
    loadArchives();
}

K_File::~K_File() {
    if (instance > 0 && --instance == 0) {
        unloadArchives();
    }
}

void K_File::loadArchives() {
    m_archiveHandling = ArchiveHandlingOn;
    std::strcpy(m_path, "\\");
}

void K_File::unloadArchives() {}
