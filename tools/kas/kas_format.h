// The .KAS archive layout as the kas tool writes and reads it.
//
// An archive is a 44-byte header, a file table, a directory table and the file data, one
// behind the other. Bytes 8 to 43 of the header and both tables are scrambled with the
// header's seed, each as a run of its own counted from 0; the header's CRC32 is taken over
// its 44 plain bytes with the checksum field at 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>

namespace klmfc::kas {

constexpr std::uint32_t kHeaderSize = 44;
constexpr std::uint32_t kFileEntryTail = 40; // behind a file name and its zero byte
constexpr std::uint32_t kDirEntryTail = 16;  // behind a directory name and its zero byte
constexpr std::uint32_t kContainerHeader = 12;
constexpr std::uint32_t kMaxDirectories = 100000; // five digits of a lookup key
constexpr std::size_t kMaxName = 255;             // a name buffer of 256 bytes

// Header fields, by offset.
constexpr std::size_t kMarkOffset = 0;
constexpr std::size_t kSeedOffset = 4;
constexpr std::size_t kFileCountOffset = 8;
constexpr std::size_t kDirCountOffset = 12;
constexpr std::size_t kFileTableSizeOffset = 16;
constexpr std::size_t kDirTableSizeOffset = 20;
constexpr std::size_t kVersionOffset = 24;
constexpr std::size_t kHeaderCrcOffset = 28;
constexpr std::size_t kFileTableCrcOffset = 32;
constexpr std::size_t kDirTableCrcOffset = 36;
constexpr std::size_t kArchiverIdOffset = 40;

// The format version, the float 1.2.
constexpr std::uint32_t kVersion = 0x3F99999Au;

// The mark this tool writes at offset 0. It also says that the 4-byte field of every file
// entry that the format leaves free holds the CRC32 of the file's plain bytes.
constexpr std::uint32_t kMarkWithChecksums = 0x3153414Bu; // "KAS1"

// The header seed when none is given.
constexpr std::int32_t kDefaultSeed = 0x4B4153; // "KAS"

enum Method : std::int32_t { MethodCompressed = 1, MethodScrambled = 2, MethodStored = 3 };

// "compressed", "scrambled", "stored"; null for any other value.
char const* methodName(std::int32_t method);

// A Windows SYSTEMTIME: eight 16-bit fields, in UTC.
struct SystemTime {
    std::uint16_t year = 1601;
    std::uint16_t month = 1;
    std::uint16_t dayOfWeek = 1; // 0 is Sunday
    std::uint16_t day = 1;
    std::uint16_t hour = 0;
    std::uint16_t minute = 0;
    std::uint16_t second = 0;
    std::uint16_t milliseconds = 0;
};

// Seconds since 1970 in UTC and back; years outside 1601 to 30827 are clamped.
SystemTime systemTimeFromUnix(std::int64_t seconds, unsigned milliseconds);
std::int64_t unixFromSystemTime(SystemTime const& time);
// "2024-05-01 12:00:00"
std::string formatTime(SystemTime const& time);

// What goes wrong in packing and reading; the message names the file.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

inline std::uint32_t getLE32(unsigned char const* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}
inline void putLE32(unsigned char* p, std::uint32_t value) {
    for (int i = 0; i < 4; ++i) {
        p[i] = static_cast<unsigned char>(value >> (8 * i));
    }
}
inline std::uint16_t getLE16(unsigned char const* p) {
    return static_cast<std::uint16_t>(p[0] | p[1] << 8);
}
inline void putLE16(unsigned char* p, std::uint16_t value) {
    p[0] = static_cast<unsigned char>(value);
    p[1] = static_cast<unsigned char>(value >> 8);
}

// A SYSTEMTIME as 16 bytes and back.
void putTime(unsigned char* p, SystemTime const& time);
SystemTime getTime(unsigned char const* p);

// Scrambles or descrambles `size` bytes in place as one run from index 0; a seed of 0 is
// taken as 1, as the reader takes it.
void scrambleRun(unsigned char* data, std::size_t size, std::int32_t seed);
void descrambleRun(unsigned char* data, std::size_t size, std::int32_t seed);

// The seed of the scrambled entry at `index` of the file table, drawn from the header's
// seed; never 0.
std::int32_t entrySeed(std::int32_t headerSeed, std::uint32_t index);

// Names compared the way archive lookups compare them: ASCII case folded.
int compareNoCase(std::string const& a, std::string const& b);
std::string foldCase(std::string text);

} // namespace klmfc::kas
