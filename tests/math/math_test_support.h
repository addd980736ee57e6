// What the maths tests share: float bit patterns and the vector arrays' value types as
// plain runs of components.
#pragma once

#include "klmfc/math/arrays.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

namespace klmfc::test {

inline std::uint32_t bitsOf(float value) {
    std::uint32_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

inline float fromBits(std::uint32_t bits) {
    float value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The number of components of a vector array, and its value type to and from a run.
template <class Array> struct Shape;
template <> struct Shape<M_Vector2Array> {
    static constexpr int D = 2;
    using Vector = M_Vector2Template<float>;
    static Vector make(std::vector<float> const& v) { return {v[0], v[1]}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y}; }
};
template <> struct Shape<M_Vector3Array> {
    static constexpr int D = 3;
    using Vector = M_Vector3Template<float>;
    static Vector make(std::vector<float> const& v) { return {v[0], v[1], v[2]}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y, v.z}; }
};
template <> struct Shape<M_Vector4Array> {
    static constexpr int D = 4;
    using Vector = M_Vector4Template<float>;
    static Vector make(std::vector<float> const& v) { return {v[0], v[1], v[2], v[3]}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y, v.z, v.w}; }
};

template <class Array> std::vector<float> vectorAt(Array const& array, int index) {
    return Shape<Array>::parts(array.get(index));
}

// Every float of the array's capacity.
template <class Array> void fillAll(Array& array, float value) {
    std::fill(array.getMemory(), array.getMemory() + Shape<Array>::D * array.getAllocatedSize(),
              value);
}

// The vectors 0, 1, ... of a fresh array of `size`; the rest stay zero.
template <class Array> Array arrayOf(std::vector<std::vector<float>> const& vectors, int size) {
    Array array(size);
    for (std::size_t i = 0; i < vectors.size(); ++i) {
        array.set(static_cast<int>(i), Shape<Array>::make(vectors[i]));
    }
    return array;
}

} // namespace klmfc::test
