// Tagged typed streaming: the exact bytes of every type with tags on and off, the shrinking
// integers at the edges of their forms, and what a reader does with data of another type.
#include "memoryfile/memoryfile_test_support.h"

#include "klmfc/math/numerics.h"

#include <gtest/gtest.h>

#include <functional>
#include <type_traits>

namespace {

using klmfc::test::hexOf;
using klmfc::test::raised;

struct Row {
    std::string name;
    bool tags;
    std::function<void(K_MemoryFile&)> write;
    std::function<bool(K_MemoryFile&)> readsBack;
    std::string hex;
};

template <class T> bool same(T const& a, T const& b) {
    if constexpr (std::is_trivially_copyable_v<T>) {
        return std::memcmp(&a, &b, sizeof(T)) == 0;
    } else {
        return a == b;
    }
}

template <class T> Row row(std::string name, T value, std::string hex, bool tags = true) {
    return {std::move(name), tags, [value](K_MemoryFile& f) { f << value; },
            [value](K_MemoryFile& f) {
                T back{};
                f >> back;
                return same(back, value);
            },
            std::move(hex)};
}

M_Float16 packed(std::uint16_t bits) {
    M_Float16 f;
    f.setPacked(bits);
    return f;
}

std::vector<Row> const kRows = {
    row("int 0", 0, "14 00"),
    row("int 127", 127, "14 7F"),
    row("int -127", -127, "14 81"),
    row("int 128", 128, "13 80 00"),
    row("int -128", -128, "13 80 FF"),
    row("int 32767", 32767, "13 FF 7F"),
    row("int 32768", 32768, "12 00 80 00"),
    row("int -32768", -32768, "12 00 80 FF"),
    row("int 8388607", 8388607, "12 FF FF 7F"),
    row("int 8388608", 8388608, "02 00 00 80 00"),
    row("int -8388608", -8388608, "02 00 00 80 FF"),
    row("int lowest", -2147483647 - 1, "02 00 00 00 80"),
    row("uint 0", 0u, "11 00"),
    row("uint 255", 255u, "11 FF"),
    row("uint 256", 256u, "10 00 01"),
    row("uint 65536", 65536u, "0F 00 00 01"),
    row("uint 16777216", 16777216u, "03 00 00 00 01"),
    row("long 5", 5L, "00 05 00 00 00"),
    row("long -2", -2L, "00 FE FF FF FF"),
    row("ulong top", 0xFFFFFFFFul, "01 FF FF FF FF"),
    row("short -2", static_cast<short>(-2), "04 FE FF"),
    row("ushort", static_cast<unsigned short>(0xABCD), "05 CD AB"),
    row("char", 'A', "06 41"),
    row("schar", static_cast<signed char>(-1), "07 FF"),
    row("uchar", static_cast<unsigned char>(200), "08 C8"),
    row("float", 1.0f, "09 00 00 80 3F"),
    row("double", 1.5, "0A 00 00 00 00 00 00 F8 3F"),
    row("bool", true, "0E 01"),
    row("vector2", M_Vector2Template<float>{1, 2}, "15 00 00 80 3F 00 00 00 40"),
    row("matrix2", M_Matrix2Template<float>{{1, 2, 3, 4}},
        "18 00 00 80 3F 00 00 00 40 00 00 40 40 00 00 80 40"),
    row("float16", packed(0x1234), "26 34 12"),
    row("string", K_String("abc"), "0D 14 03 61 62 63"),
    row("empty string", K_String(), "0D 14 00"),
    row("ctri string", K_CTrIString("abc"), "0D 14 03 61 62 63"),
    row("cstring", CString("abc"), "0D 14 03 61 62 63"),
    row("untagged int 0", 0, "00 00 00 00", false),
    row("untagged int -1", -1, "FF FF FF FF", false),
    row("untagged uint", 1u, "01 00 00 00", false),
    row("untagged long", 5L, "05 00 00 00", false),
    row("untagged float", 1.0f, "00 00 80 3F", false),
    row("untagged string", K_String("abc"), "03 00 00 00 61 62 63", false),
    row("untagged vector3", M_Vector3Template<float>{1, 2, 4},
        "00 00 80 3F 00 00 00 40 00 00 80 40", false),
};

TEST(MemoryFileTypedStreaming, WritesTheWireBytesAndReadsThemBack) {
    for (Row const& r : kRows) {
        SCOPED_TRACE(r.name);
        K_MemoryFile file;
        file.enableTags(r.tags);
        r.write(file);
        EXPECT_EQ(hexOf(file), r.hex);
        file.toRead();
        EXPECT_TRUE(r.readsBack(file));
        EXPECT_EQ(file.getPosition(), file.getSize());
    }
}

TEST(MemoryFileTypedStreaming, SizesOfTheLargerTypes) {
    K_MemoryFile file;
    file << M_Vector4Template<float>{} << M_Matrix3Template<float>{} << M_Matrix4x3Template<float>{}
         << M_Matrix4Template<float>{};
    unsigned char const* p = static_cast<unsigned char const*>(file.getAddress());
    EXPECT_EQ(file.getSize(), 17u + 37u + 49u + 65u);
    EXPECT_EQ(hexOf(p, 1) + hexOf(p + 17, 1) + hexOf(p + 54, 1) + hexOf(p + 103, 1), "17191A1B");
}

TEST(MemoryFileTypedStreaming, ACStringLiteralGoesAsAString) {
    K_MemoryFile file;
    file << "abc";
    EXPECT_EQ(hexOf(file), "0D 14 03 61 62 63");
}

TEST(MemoryFileTypedStreaming, LongStringLengthTakesTwoBytes) {
    K_MemoryFile file;
    file << K_String(200, 'x');
    EXPECT_EQ(hexOf(file.getAddress(), 4), "0D 13 C8 00");
    EXPECT_EQ(file.getSize(), 204u);
}

std::string bytes(std::initializer_list<int> values) {
    std::string out;
    for (int v : values) {
        out += static_cast<char>(v);
    }
    return out;
}

// Bytes for a reader that expects another type than the one written, or more bytes.
struct Damaged {
    char const* name;
    std::string data;
    std::function<void(K_MemoryFile&)> read;
    std::string message;
    unsigned int positionAfter;
};

template <class T> std::function<void(K_MemoryFile&)> reads() {
    return [](K_MemoryFile& f) {
        T value{};
        f >> value;
    };
}

TEST(MemoryFileTypedStreaming, DamagedDataRaisesWithTheFilesName) {
    std::string const dataError = "Invalid data read from an K_MemoryFile(\"data.bin\")";
    std::string const overreading = "Read of the end of an K_MemoryFile(\"data.bin\")";
    std::vector<Damaged> const cases = {
        {"float as double", bytes({9, 0, 0, 0x80, 0x3F}), reads<double>(), dataError, 1},
        {"uint as int", bytes({0x11, 5}), reads<int>(), dataError, 1},
        {"int as uint", bytes({0x14, 5}), reads<unsigned int>(), dataError, 1},
        {"long as int", bytes({0, 5, 0, 0, 0}), reads<int>(), dataError, 1},
        {"int as long", bytes({0x14, 5, 0, 0, 0}), reads<long>(), dataError, 1},
        {"unused tag 11", bytes({0x0B, 5, 0, 0, 0}), reads<int>(), dataError, 1},
        {"unused tag 28", bytes({0x1C, 0, 0}), reads<M_Float16>(), dataError, 1},
        {"vector3 as vector2", std::string(1, '\x16') + std::string(12, '\0'),
         reads<M_Vector2Template<float>>(), dataError, 1},
        {"bool of 2", bytes({0x0E, 2}), reads<bool>(), dataError, 2},
        {"int as string", bytes({0x14, 3, 'a', 'b', 'c'}), reads<K_String>(), dataError, 1},
        {"int cut short", bytes({2, 1, 2}), reads<int>(), overreading, 1},
        {"untagged float cut short", bytes({1, 2}), reads<float>(), overreading, 0},
        {"string length beyond the data", bytes({0x0D, 0x13, 0xFF, 0x7F, 'a'}), reads<K_String>(),
         overreading, 4},
        {"cstring length beyond the data", bytes({0x0D, 0x14, 5, 'a'}), reads<CString>(),
         overreading, 3},
    };
    for (Damaged const& c : cases) {
        SCOPED_TRACE(c.name);
        K_MemoryFile file(c.data.data(), static_cast<unsigned int>(c.data.size()), false);
        file.setFilename("data.bin");
        file.enableTags(std::string(c.name).find("untagged") == std::string::npos);
        EXPECT_EQ(raised<K_MemoryFileException>([&] { c.read(file); }), c.message);
        EXPECT_EQ(file.getPosition(), c.positionAfter);
    }
}

TEST(MemoryFileTypedStreaming, AWrongIntegerTagLeavesTheTargetZero) {
    std::string const data = bytes({0x11, 5});
    K_MemoryFile file(data.data(), 2, false);
    int value = 99;
    EXPECT_NE(raised<K_MemoryFileException_DataError>([&] { file >> value; }), "none");
    EXPECT_EQ(value, 0);
}

TEST(MemoryFileTypedStreaming, StringsReadIntoNonEmptyTargetsAndAcrossTypes) {
    K_MemoryFile file;
    file << K_String() << CString("Mixed") << K_String("Case");
    std::string const negativeLength = bytes({0x0D, 0x14, 0x81});
    file.write(negativeLength.data(), 3);
    file.toRead();
    K_String empty = "not empty";
    K_String fromCString;
    CString fromKString = "old";
    CString negative = "x";
    file >> empty >> fromCString >> fromKString >> negative;
    EXPECT_EQ(empty, "");
    EXPECT_EQ(fromCString, "Mixed");
    EXPECT_EQ(fromKString, "Case");
    EXPECT_EQ(negative, "");
    EXPECT_EQ(file.getPosition(), file.getSize());
}

TEST(MemoryFileTypedStreaming, CaseBlindStringsCompareWithoutRegardToCase) {
    EXPECT_EQ(K_CTrIString("Level\\Main.TXT"), K_CTrIString("level\\main.txt"));
    EXPECT_LT(K_CTrIString("apple"), K_CTrIString("BANANA"));
    EXPECT_EQ(K_CTrIString("ABC").find('b'), 1u);
}

TEST(MemoryFileTypedStreaming, ALongBeyond32BitsIsRejectedBeforeAnyByte) {
    if (sizeof(long) == 4) {
        GTEST_SKIP() << "long holds 32 bits here";
    }
    K_MemoryFile file;
    file.setFilename("big");
    long const wide = static_cast<long>(1) << (sizeof(long) * 4); // 2^32 where long has 64 bits
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file << wide; }),
              "Value 4294967296 does not fit in the 32 bits of an K_MemoryFile(\"big\")");
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file << static_cast<unsigned long>(wide); }),
              "Value 4294967296 does not fit in the 32 bits of an K_MemoryFile(\"big\")");
    EXPECT_EQ(raised<K_MemoryFileException>([&] { file << -wide; }),
              "Value -4294967296 does not fit in the 32 bits of an K_MemoryFile(\"big\")");
    EXPECT_EQ(file.getSize(), 0u);
    file << static_cast<long>(-2147483647 - 1);
    EXPECT_EQ(hexOf(file), "00 00 00 00 80");
}

} // namespace
