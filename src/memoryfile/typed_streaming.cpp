// The typed operators of memory files: a tag byte and the value's bytes, little-endian;
// integers in their shortest form when tags are on; strings as a length and characters.
#include "klmfc/math/numerics.h"
#include "klmfc/memoryfile/memoryfile.h"
#include "klmfc/mfc/cstring.h"
#include "memoryfile/wire.h"

#include <cstdio>
#include <limits>
#include <type_traits>

using namespace klmfc::wire;

struct K_MemoryFileOperators {
    using F = K_MemoryFile;

    // The tag and the `Count` payload bytes behind buffer[0] in one write.
    // In the block the tag and the payload are stored apart, so that the payload is read
    // back as it was stored.
    template <int Count> static void put(F& f, F::BasicType type, unsigned char* buffer) {
        if (!f.m_bTagsEnabled) {
            f.write(buffer + 1, Count);
            return;
        }
        unsigned int const at = f.m_uiPosition - f.m_uiBufferBase;
        if (f.m_uiPosition <= f.m_uiSize && std::uint64_t{at} + Count + 1 <= f.m_uiCapacity) {
            unsigned char* p = f.m_pData + at;
            p[0] = type;
            std::memcpy(p + 1, buffer + 1, Count);
            f.m_uiPosition += Count + 1;
            if (f.m_uiPosition > f.m_uiSize) {
                f.m_uiSize = f.m_uiPosition;
            }
            return;
        }
        buffer[0] = type;
        f.write(buffer, Count + 1);
    }

    // The payload of a value of `type`, `count` bytes, after its tag: checked and consumed.
    // A wrong tag is consumed alone.
    static unsigned char const* get(F& f, F::BasicType type, unsigned char* buffer, int count) {
        if (!f.m_bTagsEnabled) {
            f.read(buffer, count);
            return buffer;
        }
        unsigned int const want = static_cast<unsigned int>(count) + 1;
        if (f.m_accessMethod == F::ACCESS_MEMORY &&
            std::uint64_t{f.m_uiPosition} + want <= f.m_uiSize) {
            // In the block: read in place.
            unsigned char const* at = f.m_pData + f.m_uiPosition;
            if (at[0] != type) {
                ++f.m_uiPosition;
                f.raiseDataError();
            }
            f.m_uiPosition += want;
            return at + 1;
        }
        f.readTag(type);
        f.read(buffer, count);
        return buffer;
    }

    // A shrunk integer: its tag and its `width` low bytes. When the file is being appended
    // to and has room, the tag and all four bytes are stored at once and the position moves
    // by 1 + width: the bytes behind lie past the end and are written over later.
    static void putShrunk(F& f, unsigned char tag, std::uint32_t bits, unsigned int width) {
        unsigned int const at = f.m_uiPosition - f.m_uiBufferBase;
        if (f.m_uiPosition == f.m_uiSize && std::uint64_t{at} + 5 <= f.m_uiCapacity) {
            unsigned char* p = f.m_pData + at;
            p[0] = tag;
            put32(p + 1, bits);
            f.m_uiPosition += 1 + width;
            f.m_uiSize = f.m_uiPosition;
            return;
        }
        unsigned char b[5];
        b[0] = tag;
        put32(b + 1, bits);
        f.write(b, static_cast<int>(1 + width));
    }

    // The forms by width, 1 to 4 bytes.
    static constexpr unsigned char kIntTags[5] = {0, F::BT_INT8, F::BT_INT16, F::BT_INT24,
                                                  F::BT_INT};
    static constexpr unsigned char kUintTags[5] = {0, F::BT_UINT8, F::BT_UINT16, F::BT_UINT24,
                                                   F::BT_UINT};

    static void writeInt(F& f, int value) {
        std::uint32_t const bits = static_cast<std::uint32_t>(value);
        if (!f.m_bTagsEnabled) {
            unsigned char b[4];
            put32(b, bits);
            f.write(b, 4);
            return;
        }
        // The magnitude, without overflow for the lowest value. A magnitude with a bit in
        // 0xFF800000 takes four bytes, one in 0x007F8000 three, in 0x00007F80 two: below
        // 0x800000, 0x8000 and 0x80 the bits of the smaller forms are all that is set.
        std::uint32_t const m = value < 0 ? 0u - bits : bits;
        unsigned int const width = 1u + (m >= 0x80u) + (m >= 0x8000u) + (m >= 0x800000u);
        putShrunk(f, kIntTags[width], bits, width);
    }

    static void writeUint(F& f, unsigned int value) {
        if (!f.m_bTagsEnabled) {
            unsigned char b[4];
            put32(b, value);
            f.write(b, 4);
            return;
        }
        unsigned int const width =
            1u + (value >= 0x100u) + (value >= 0x10000u) + (value >= 0x1000000u);
        putShrunk(f, kUintTags[width], value, width);
    }

    // The width of an int's form; 0 for a tag that is none.
    static int intWidth(unsigned char tag) {
        switch (tag) {
        case F::BT_INT:
            return 4;
        case F::BT_INT24:
            return 3;
        case F::BT_INT16:
            return 2;
        case F::BT_INT8:
            return 1;
        default:
            return 0;
        }
    }
    static int uintWidth(unsigned char tag) {
        switch (tag) {
        case F::BT_UINT:
            return 4;
        case F::BT_UINT24:
            return 3;
        case F::BT_UINT16:
            return 2;
        case F::BT_UINT8:
            return 1;
        default:
            return 0;
        }
    }

    // An integer of either form into `target`: the low `width` bytes of the tag's form,
    // extended from the top bit for int. On a wrong tag the target is 0.
    template <class T> static void readShrunk(F& f, T& target) {
        constexpr bool isSigned = std::is_signed_v<T>;
        unsigned char tag = isSigned ? F::BT_INT : F::BT_UINT;
        if (f.m_bTagsEnabled) {
            if (f.m_accessMethod == F::ACCESS_MEMORY &&
                std::uint64_t{f.m_uiPosition} + 5 <= f.m_uiSize) {
                // In the block: the tag and up to four bytes behind it are there.
                unsigned char const* at = f.m_pData + f.m_uiPosition;
                int const width = isSigned ? intWidth(at[0]) : uintWidth(at[0]);
                if (width == 0) {
                    ++f.m_uiPosition;
                    target = 0;
                    f.raiseDataError();
                }
                f.m_uiPosition += 1 + static_cast<unsigned int>(width);
                target = static_cast<T>(extend(get32(at + 1), width, isSigned));
                return;
            }
            f.read(&tag, 1);
        }
        target = 0;
        int const width = isSigned ? intWidth(tag) : uintWidth(tag);
        if (width == 0) {
            f.raiseDataError();
        }
        unsigned char b[4] = {0, 0, 0, 0};
        f.read(b, width);
        target = static_cast<T>(extend(get32(b), width, isSigned));
    }
    static std::uint32_t extend(std::uint32_t bits, int width, bool isSigned) {
        if (width == 4) {
            return bits;
        }
        unsigned int const shift = 32u - 8u * static_cast<unsigned int>(width);
        bits = (bits << shift);
        return isSigned ? static_cast<std::uint32_t>(static_cast<std::int32_t>(bits) >> shift)
                        : bits >> shift;
    }

    template <class Vector> static void putFloats(F& f, F::BasicType type, Vector const& v) {
        constexpr int count = sizeof(Vector) / sizeof(float);
        unsigned char b[1 + 4 * count];
        klmfc::wire::putFloats(b + 1, reinterpret_cast<float const*>(&v), count);
        put<4 * count>(f, type, b);
    }
    template <class Vector> static void getFloats(F& f, F::BasicType type, Vector& v) {
        constexpr int count = sizeof(Vector) / sizeof(float);
        unsigned char b[4 * count];
        klmfc::wire::getFloats(reinterpret_cast<float*>(&v), get(f, type, b, 4 * count), count);
    }

    static void writeString(F& f, char const* text, std::size_t length) {
        if (length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
            char value[32];
            std::snprintf(value, sizeof value, "%zu", length);
            K_Raise<K_MemoryFileException_ValueOutOfRange>(f.getFilename(), value);
        }
        f.writeTag(F::BT_STRING);
        writeInt(f, static_cast<int>(length));
        f.write(text, static_cast<int>(length));
    }

    // The length of a string to read, checked against what the file holds; 0 for none.
    static unsigned int readStringLength(F& f) {
        f.readTag(F::BT_STRING);
        int length;
        readShrunk(f, length);
        if (length < 1) {
            return 0;
        }
        if (static_cast<unsigned int>(length) > f.m_uiSize - f.m_uiPosition) {
            f.raiseOverreading(); // a length beyond the data: nothing is allocated for it
        }
        return static_cast<unsigned int>(length);
    }

    template <class String> static void readString(F& f, String& text) {
        text.clear();
        unsigned int const length = readStringLength(f);
        if (length > 0) {
            text.resize(length);
            f.read(&text[0], static_cast<int>(length));
        }
    }

    [[noreturn]] static void raiseDataError(F& f) { f.raiseDataError(); }

    template <class Narrow> [[noreturn]] static void raiseRange(F& f, Narrow value) {
        char text[32];
        if constexpr (std::numeric_limits<Narrow>::is_signed) {
            std::snprintf(text, sizeof text, "%lld", static_cast<long long>(value));
        } else {
            std::snprintf(text, sizeof text, "%llu", static_cast<unsigned long long>(value));
        }
        K_Raise<K_MemoryFileException_ValueOutOfRange>(f.getFilename(), text);
    }
};

using Ops = K_MemoryFileOperators;
using F = K_MemoryFile;

// ---- integers -------------------------------------------------------------------------------

K_MemoryFile& operator<<(K_MemoryFile& file, int const& value) {
    Ops::writeInt(file, value);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, int& value) {
    Ops::readShrunk(file, value);
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, unsigned int const& value) {
    Ops::writeUint(file, value);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, unsigned int& value) {
    Ops::readShrunk(file, value);
    return file;
}

// `long` and `unsigned long` take 4 bytes wherever the type is wider.
K_MemoryFile& operator<<(K_MemoryFile& file, long const& value) {
    if (static_cast<std::int32_t>(value) != value) {
        Ops::raiseRange(file, value);
    }
    unsigned char b[5];
    put32(b + 1, static_cast<std::uint32_t>(value));
    Ops::put<4>(file, F::BT_LONG, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, long& value) {
    unsigned char b[4];
    value = static_cast<std::int32_t>(get32(Ops::get(file, F::BT_LONG, b, 4)));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, unsigned long const& value) {
    if (static_cast<std::uint32_t>(value) != value) {
        Ops::raiseRange(file, value);
    }
    unsigned char b[5];
    put32(b + 1, static_cast<std::uint32_t>(value));
    Ops::put<4>(file, F::BT_ULONG, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, unsigned long& value) {
    unsigned char b[4];
    value = get32(Ops::get(file, F::BT_ULONG, b, 4));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, short const& value) {
    unsigned char b[3];
    put16(b + 1, static_cast<std::uint16_t>(value));
    Ops::put<2>(file, F::BT_SHORT, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, short& value) {
    unsigned char b[2];
    value = static_cast<short>(get16(Ops::get(file, F::BT_SHORT, b, 2)));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, unsigned short const& value) {
    unsigned char b[3];
    put16(b + 1, value);
    Ops::put<2>(file, F::BT_USHORT, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, unsigned short& value) {
    unsigned char b[2];
    value = get16(Ops::get(file, F::BT_USHORT, b, 2));
    return file;
}

// ---- bytes ----------------------------------------------------------------------------------

K_MemoryFile& operator<<(K_MemoryFile& file, char const& value) {
    unsigned char b[2] = {0, static_cast<unsigned char>(value)};
    Ops::put<1>(file, F::BT_CHAR, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, char& value) {
    unsigned char b[1];
    value = static_cast<char>(*Ops::get(file, F::BT_CHAR, b, 1));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, signed char const& value) {
    unsigned char b[2] = {0, static_cast<unsigned char>(value)};
    Ops::put<1>(file, F::BT_SCHAR, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, signed char& value) {
    unsigned char b[1];
    value = static_cast<signed char>(*Ops::get(file, F::BT_SCHAR, b, 1));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, unsigned char const& value) {
    unsigned char b[2] = {0, value};
    Ops::put<1>(file, F::BT_UCHAR, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, unsigned char& value) {
    unsigned char b[1];
    value = *Ops::get(file, F::BT_UCHAR, b, 1);
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, bool const& value) {
    unsigned char b[2] = {0, static_cast<unsigned char>(value ? 1 : 0)};
    Ops::put<1>(file, F::BT_BOOL, b);
    return file;
}

// A byte other than 0 or 1 is no bool: the data error, and the target keeps its value.
K_MemoryFile& operator>>(K_MemoryFile& file, bool& value) {
    unsigned char b[1];
    unsigned char const byte = *Ops::get(file, F::BT_BOOL, b, 1);
    if (byte > 1) {
        Ops::raiseDataError(file);
    }
    value = byte != 0;
    return file;
}

// ---- floating point -----------------------------------------------------------------------

K_MemoryFile& operator<<(K_MemoryFile& file, float const& value) {
    unsigned char b[5];
    putFloat(b + 1, value);
    Ops::put<4>(file, F::BT_FLOAT, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, float& value) {
    unsigned char b[4];
    value = getFloat(Ops::get(file, F::BT_FLOAT, b, 4));
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, double const& value) {
    unsigned char b[9];
    std::uint64_t bits;
    std::memcpy(&bits, &value, 8);
    put64(b + 1, bits);
    Ops::put<8>(file, F::BT_DOUBLE, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, double& value) {
    unsigned char b[8];
    std::uint64_t const bits = get64(Ops::get(file, F::BT_DOUBLE, b, 8));
    std::memcpy(&value, &bits, 8);
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, M_Float16 const& value) {
    unsigned char b[3];
    put16(b + 1, value.getPacked());
    Ops::put<2>(file, F::BT_FLOAT16, b);
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, M_Float16& value) {
    unsigned char b[2];
    value.setPacked(get16(Ops::get(file, F::BT_FLOAT16, b, 2)));
    return file;
}

// ---- vectors and matrices: their floats in memory order ---------------------------------------

K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector2Template<float> const& value) {
    Ops::putFloats(file, F::BT_VECTOR2, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector2Template<float>& value) {
    Ops::getFloats(file, F::BT_VECTOR2, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector3Template<float> const& value) {
    Ops::putFloats(file, F::BT_VECTOR3, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector3Template<float>& value) {
    Ops::getFloats(file, F::BT_VECTOR3, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector4Template<float> const& value) {
    Ops::putFloats(file, F::BT_VECTOR4, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Vector4Template<float>& value) {
    Ops::getFloats(file, F::BT_VECTOR4, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix2Template<float> const& value) {
    Ops::putFloats(file, F::BT_MATRIX2, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix2Template<float>& value) {
    Ops::getFloats(file, F::BT_MATRIX2, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix3Template<float> const& value) {
    Ops::putFloats(file, F::BT_MATRIX3, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix3Template<float>& value) {
    Ops::getFloats(file, F::BT_MATRIX3, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix4x3Template<float> const& value) {
    Ops::putFloats(file, F::BT_MATRIX4X3, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix4x3Template<float>& value) {
    Ops::getFloats(file, F::BT_MATRIX4X3, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Matrix4Template<float> const& value) {
    Ops::putFloats(file, F::BT_MATRIX4, value);
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, M_Matrix4Template<float>& value) {
    Ops::getFloats(file, F::BT_MATRIX4, value);
    return file;
}

// ---- strings --------------------------------------------------------------------------------

K_MemoryFile& operator<<(K_MemoryFile& file, K_String const& value) {
    Ops::writeString(file, value.data(), value.size());
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, K_String& value) {
    Ops::readString(file, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, K_CTrIString const& value) {
    Ops::writeString(file, value.data(), value.size());
    return file;
}
K_MemoryFile& operator>>(K_MemoryFile& file, K_CTrIString& value) {
    Ops::readString(file, value);
    return file;
}
K_MemoryFile& operator<<(K_MemoryFile& file, char const* value) {
    Ops::writeString(file, value != nullptr ? value : "",
                     value != nullptr ? std::strlen(value) : 0);
    return file;
}

K_MemoryFile& operator<<(K_MemoryFile& file, CString const& value) {
    Ops::writeString(file, static_cast<char const*>(value),
                     static_cast<std::size_t>(value.GetLength()));
    return file;
}

K_MemoryFile& operator>>(K_MemoryFile& file, CString& value) {
    value.Empty();
    unsigned int const length = Ops::readStringLength(file);
    if (length > 0) {
        char* buffer = value.GetBufferSetLength(static_cast<int>(length));
        try {
            file.read(buffer, static_cast<int>(length));
        } catch (...) {
            value.Empty();
            throw;
        }
        value.ReleaseBuffer(static_cast<int>(length));
    }
    return file;
}
