// The four array classes on the wire: the current size as an `int`, then every element's
// components as floats, x then y, z and w as far as the class has them, in logical order
// whatever the storage layout. A memory file takes them through its tagged operators for
// `int` and `float`; a CArchive as 4-byte little-endian values with no framing. From a
// memory file a host reads them back value by value; from a CArchive the operators resize
// the array to the count and fill it.
#pragma once

#include "klmfc/math/arrays.h"
#include "klmfc/memoryfile/memoryfile.h"
#include "klmfc/mfc/archive.h"

K_MemoryFile& operator<<(K_MemoryFile& file, M_ScalarArray const& array);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector2Array const& array);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector3Array const& array);
K_MemoryFile& operator<<(K_MemoryFile& file, M_Vector4Array const& array);

CArchive& operator<<(CArchive& archive, M_ScalarArray const& array);
CArchive& operator<<(CArchive& archive, M_Vector2Array const& array);
CArchive& operator<<(CArchive& archive, M_Vector3Array const& array);
CArchive& operator<<(CArchive& archive, M_Vector4Array const& array);

// A negative count raises CArchiveException (badIndex) and leaves the array as it was. An
// archive that ends early leaves the new size and the elements read so far.
CArchive& operator>>(CArchive& archive, M_ScalarArray& array);
CArchive& operator>>(CArchive& archive, M_Vector2Array& array);
CArchive& operator>>(CArchive& archive, M_Vector3Array& array);
CArchive& operator>>(CArchive& archive, M_Vector4Array& array);
