// A name space of its own for each test: a fresh root, and the file manager's settings put
// back afterwards.
#pragma once

#include "file/kas_builder.h"
#include "klmfc/file/file.h"
#include "support/temp_dir.h"

#include <gtest/gtest.h>

#include <string>

namespace klmfc::test {

// The message of the exception of class E that `action` raises; "none" when nothing is
// raised, "other: ..." for another exception of the library.
template <class E, class F> std::string raised(F&& action) {
    try {
        action();
    } catch (E* e) {
        return e->getErrorMessage();
    } catch (K_Exception* e) {
        return std::string("other: ") + e->getErrorMessage();
    }
    return "none";
}

class FileSystemTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_original = K_File::getRootDirectory();
        File->setFileSystemRoot(dir.path().c_str());
        root = K_File::getRootDirectory();
    }
    void TearDown() override {
        File->disablePriorityArchive();
        K_FileTestAccess::forgetSecondaryPath();
        File->setOverride(1);
        File->setFileSystemRoot(m_original.c_str());
    }
    // Loads the archives of the root again.
    void reload() { File->setFileSystemRoot(root.c_str()); }
    // The whole file through the allocating load.
    std::string loaded(char const* name) {
        unsigned const size = File->size(name);
        char* block = File->load(name, 0xffffffffu);
        std::string out(block, size);
        File->free(block);
        return out;
    }

    TempDir dir;
    std::string root; // the root as the file manager holds it
    std::string m_original;
};

} // namespace klmfc::test
