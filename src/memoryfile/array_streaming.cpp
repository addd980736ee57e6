// The arrays element by element onto memory files and archives.
#include "klmfc/memoryfile/array_streaming.h"

namespace {

// The components of a vector, as many as its type has.
template <class Vector> constexpr int kComponents = sizeof(Vector) / sizeof(float);

template <class Stream, class Array> Stream& writeVectors(Stream& stream, Array const& array) {
    int const count = array.getCurrentSize();
    stream << count;
    for (int i = 0; i < count; ++i) {
        auto const v = array.get(i);
        float const* c = &v.x;
        for (int k = 0; k < kComponents<decltype(v)>; ++k) {
            stream << c[k];
        }
    }
    return stream;
}

// An array's element count; a negative one is no count at all.
int readCount(CArchive& archive) {
    int count;
    archive >> count;
    if (count < 0) {
        AfxThrowArchiveException(CArchiveException::badIndex);
    }
    return count;
}

template <class Array> CArchive& readVectors(CArchive& archive, Array& array) {
    array.resize(readCount(archive));
    for (int i = 0; i < array.getCurrentSize(); ++i) {
        decltype(array.get(i)) v;
        float* c = &v.x;
        for (int k = 0; k < kComponents<decltype(v)>; ++k) {
            archive >> c[k];
        }
        array.set(i, v);
    }
    return archive;
}

template <class Stream> Stream& writeScalars(Stream& stream, M_ScalarArray const& array) {
    int const count = array.getCurrentSize();
    stream << count;
    for (int i = 0; i < count; ++i) {
        stream << array.get(i);
    }
    return stream;
}

} // namespace

K_MemoryFile& operator<<(K_MemoryFile& file, M_ScalarArray const& array) {
    return writeScalars(file, array);
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector2Array const& array) {
    return writeVectors(file, array);
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector3Array const& array) {
    return writeVectors(file, array);
}
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector4Array const& array) {
    return writeVectors(file, array);
}

CArchive& operator<<(CArchive& archive, M_ScalarArray const& array) {
    return writeScalars(archive, array);
}
CArchive& operator<<(CArchive& archive, M_Vector2Array const& array) {
    return writeVectors(archive, array);
}
CArchive& operator<<(CArchive& archive, M_Vector3Array const& array) {
    return writeVectors(archive, array);
}
CArchive& operator<<(CArchive& archive, M_Vector4Array const& array) {
    return writeVectors(archive, array);
}

CArchive& operator>>(CArchive& archive, M_ScalarArray& array) {
    array.resize(readCount(archive));
    for (int i = 0; i < array.getCurrentSize(); ++i) {
        float value;
        archive >> value;
        array.set(i, value);
    }
    return archive;
}
CArchive& operator>>(CArchive& archive, M_Vector2Array& array) {
    return readVectors(archive, array);
}
CArchive& operator>>(CArchive& archive, M_Vector3Array& array) {
    return readVectors(archive, array);
}
CArchive& operator>>(CArchive& archive, M_Vector4Array& array) {
    return readVectors(archive, array);
}
