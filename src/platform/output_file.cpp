#include "platform/output_file.h"

#include "platform/direct_io.h"
#include "platform/files.h"

#include <sys/types.h>

#include <string>

namespace klmfc::platform {

std::FILE* openPath(char const* path, char const* mode) {
    if (path == nullptr || *path == 0) {
        return nullptr;
    }
    std::string systemPath(path);
    toSystemSeparators(systemPath.data());
    return openFile(systemPath.c_str(), mode);
}

std::FILE* createUnbuffered(char const* path) {
    std::FILE* file = openPath(path, "wb");
    if (file != nullptr) {
        std::setvbuf(file, nullptr, _IONBF, 0);
    }
    return file;
}

bool writeOutput(std::FILE* file, void const* data, std::size_t count) {
    return count == 0 || std::fwrite(data, 1, count, file) == count;
}

bool patchOutput(std::FILE* file, std::uint64_t offset, void const* data, std::size_t count,
                 std::uint64_t resume) {
    bool const written = seekFile(file, offset) && writeOutput(file, data, count);
    return seekFile(file, resume) && written;
}

bool seekOutput(std::FILE* file, std::uint64_t offset) {
    return seekFile(file, offset);
}

bool tellOutput(std::FILE* file, std::uint64_t* offset) {
    off_t const at = ::ftello(file);
    if (at < 0) {
        return false;
    }
    *offset = static_cast<std::uint64_t>(at);
    return true;
}

void closeOutput(std::FILE* file) {
    if (file != nullptr) {
        std::fclose(file);
    }
}

} // namespace klmfc::platform
