// A small .KAS writer for the tests. It lays out exactly the directories and files it is
// given, in the order given, and lets a test change the plain header and tables before
// the checksums are taken, to make archives that lie consistently.
#pragma once

#include "file/file_test_access.h"
#include "file/scramble.h"
#include "support/temp_dir.h"

#include <cstring>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

namespace klmfc::test {

struct KasFile {
    std::string name;
    int directory; // index in the directory table
    Bytes data;    // plain
    int method;
    int seed;
    K_File::SYSTEMTIME time;
};

// The parts of an archive before scrambling and checksums.
struct KasPlain {
    Bytes header; // 44 bytes, checksum fields still 0
    Bytes fileTable;
    Bytes directoryTable;
    Bytes data;
};

inline void putLE16(unsigned char* p, unsigned value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}

// Scrambles a run as the reader descrambles it, a seed of 0 standing for 1.
inline void scrambleRun(unsigned char* data, std::size_t size, int seed) {
    klmfc::scramble::scramble(data, data, size, seed == 0 ? 1 : seed);
}

inline Bytes compressedForm(Bytes const& data) {
    auto* block = static_cast<unsigned char*>(
        K_File::compress(data.data(), static_cast<unsigned>(data.size())));
    Bytes out(block, block + 12 + le32(block + 8));
    K_File::free(block);
    return out;
}

struct KasBuilder {
    int seed = 1234;
    int archiverId = 0;
    float version = 1.2f;
    std::vector<std::string> directories{"\\"};
    std::vector<KasFile> files;
    std::function<void(KasPlain&)> tamper;

    // A file by its full name ("a\\b.txt" or "b.txt"); its directory is added when new.
    KasBuilder& add(std::string const& path, std::string const& contents,
                    int method = K_File::MethodStored) {
        std::size_t const slash = path.rfind('\\');
        std::string const dir =
            slash == std::string::npos ? "\\" : "\\" + path.substr(0, slash + 1);
        return add(dir, path.substr(slash == std::string::npos ? 0 : slash + 1), bytesOf(contents),
                   method);
    }
    KasBuilder& add(std::string const& dir, std::string const& name, Bytes data, int method) {
        int index = directory(dir);
        files.push_back({name, index, std::move(data), method, 77, {2001, 2, 5, 3, 4, 5, 6, 7}});
        return *this;
    }
    int directory(std::string const& dir) {
        for (std::size_t i = 0; i < directories.size(); ++i) {
            if (directories[i] == dir) {
                return static_cast<int>(i);
            }
        }
        directories.push_back(dir);
        return static_cast<int>(directories.size() - 1);
    }

    Bytes build() const {
        KasPlain plain{Bytes(44), {}, {}, {}};
        for (KasFile const& f : files) {
            Bytes stored = f.method == K_File::MethodStored ? f.data : compressedForm(f.data);
            if (f.method == K_File::MethodScrambled) {
                scrambleRun(stored.data(), stored.size(), f.seed);
            }
            plain.fileTable.insert(plain.fileTable.end(), f.name.begin(), f.name.end());
            std::size_t const at = plain.fileTable.size() + 1;
            plain.fileTable.resize(at + 40);
            unsigned char* e = plain.fileTable.data() + at;
            putLE32(e, static_cast<std::uint32_t>(f.data.size()));
            putLE32(e + 4, static_cast<std::uint32_t>(stored.size()));
            putLE32(e + 12, static_cast<std::uint32_t>(f.directory));
            putLE32(e + 16, static_cast<std::uint32_t>(f.seed));
            putLE32(e + 20, static_cast<std::uint32_t>(f.method));
            unsigned short const* t = &f.time.wYear;
            for (int i = 0; i < 8; ++i) {
                putLE16(e + 24 + 2 * i, t[i]);
            }
            plain.data.insert(plain.data.end(), stored.begin(), stored.end());
        }
        for (std::string const& d : directories) {
            plain.directoryTable.insert(plain.directoryTable.end(), d.begin(), d.end());
            plain.directoryTable.resize(plain.directoryTable.size() + 17);
        }
        unsigned char* h = plain.header.data();
        std::memcpy(h, "KAS1", 4);
        putLE32(h + 4, static_cast<std::uint32_t>(seed));
        putLE32(h + 8, static_cast<std::uint32_t>(files.size()));
        putLE32(h + 12, static_cast<std::uint32_t>(directories.size()));
        putLE32(h + 16, static_cast<std::uint32_t>(plain.fileTable.size()));
        putLE32(h + 20, static_cast<std::uint32_t>(plain.directoryTable.size()));
        std::memcpy(h + 24, &version, 4);
        putLE32(h + 40, static_cast<std::uint32_t>(archiverId));
        if (tamper) {
            tamper(plain);
        }
        return seal(plain, seed);
    }

    // Checksums, scrambling and the whole file.
    static Bytes seal(KasPlain plain, int seed) {
        unsigned char* h = plain.header.data();
        auto crc = [](Bytes const& b) {
            return K_File::CRC32(b.data(), static_cast<unsigned>(b.size()));
        };
        putLE32(h + 32, crc(plain.fileTable));
        putLE32(h + 36, crc(plain.directoryTable));
        putLE32(h + 28, 0);
        putLE32(h + 28, crc(plain.header));
        scrambleRun(h + 8, 36, seed);
        scrambleRun(plain.fileTable.data(), plain.fileTable.size(), seed);
        scrambleRun(plain.directoryTable.data(), plain.directoryTable.size(), seed);
        Bytes out = plain.header;
        for (Bytes const* part : {&plain.fileTable, &plain.directoryTable, &plain.data}) {
            out.insert(out.end(), part->begin(), part->end());
        }
        return out;
    }

    void write(std::string const& path) const { writeBytes(path, build()); }

    static void writeBytes(std::string const& path, Bytes const& bytes) {
        std::ofstream out(path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<char const*>(bytes.data()), static_cast<long>(bytes.size()));
    }
};

} // namespace klmfc::test
