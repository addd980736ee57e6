#include "support/temp_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace klmfc::test {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "klmfc-test-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    m_path = pattern;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

void TempDir::write(std::string const& relative, std::string const& contents) const {
    std::filesystem::path const full = std::filesystem::path(m_path) / relative;
    std::filesystem::create_directories(full.parent_path());
    std::ofstream out(full, std::ios::binary);
    out << contents;
}

void TempDir::mkdir(std::string const& relative) const {
    std::filesystem::create_directories(std::filesystem::path(m_path) / relative);
}

std::string readFile(std::string const& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
}

bool fileExists(std::string const& path) {
    return std::filesystem::exists(path);
}

} // namespace klmfc::test
