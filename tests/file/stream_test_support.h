// What the stream tests share: a root of the name space in a directory of their own, and
// reading a stream to its end in pieces of changing size.
#pragma once

#include "klmfc/file/file.h"
#include "klmfc/file/filestream.h"
#include "platform/direct_io.h"
#include "support/temp_dir.h"

#include <string>

namespace klmfc::test {

// Makes a fresh directory the file system root, its archives loaded; the old root, its
// archives and the system's sector size come back at the end.
class StreamRoot {
public:
    StreamRoot() : m_saved(K_File::getRootDirectory()) {}
    ~StreamRoot() {
        File->setFileSystemRoot(m_saved.c_str());
        platform::setSectorSize(0);
    }
    StreamRoot(StreamRoot const&) = delete;
    StreamRoot& operator=(StreamRoot const&) = delete;

    // Loads the archives that now stand in the directory.
    void enter() { File->setFileSystemRoot(dir.path().c_str()); }
    std::string root() const { return K_File::getRootDirectory(); }

    TempDir dir;

private:
    std::string m_saved;
};

// The rest of the stream, read in pieces of the sizes given in turn.
inline std::string readRest(K_FileStream& stream, std::initializer_list<unsigned> pieces) {
    std::string out;
    for (auto it = pieces.begin();;
         it = std::next(it) == pieces.end() ? pieces.begin() : std::next(it)) {
        std::string piece(*it, '\0');
        unsigned const n = stream.read(piece.data(), *it);
        out.append(piece, 0, n);
        if (n < *it) {
            return out;
        }
    }
}

// The message of what `body` raises, or "" when it raises nothing.
template <class Body> std::string raised(Body&& body) {
    try {
        body();
    } catch (K_Exception* e) {
        return e->getErrorMessage();
    }
    return "";
}

} // namespace klmfc::test
