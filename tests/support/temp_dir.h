#pragma once

#include <string>

namespace klmfc::test {

// A fresh directory under the system's temporary directory, removed with all its
// contents when the object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(TempDir const&) = delete;
    TempDir& operator=(TempDir const&) = delete;

    std::string const& path() const { return m_path; }
    // path() + "/" + relative
    std::string operator/(std::string const& relative) const { return m_path + "/" + relative; }

    // Writes `contents` to the file `relative` (creating missing directories).
    void write(std::string const& relative, std::string const& contents) const;
    void mkdir(std::string const& relative) const;

private:
    std::string m_path;
};

// Whole contents of a file; empty when it cannot be read.
std::string readFile(std::string const& path);
bool fileExists(std::string const& path);

} // namespace klmfc::test
