// What the maths tests share: float bit patterns, runs of floats, and the vector arrays'
// value types as plain runs of components.
#pragma once

#include "klmfc/math/arrays.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <utility>
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

// The floats [from, to) of a block.
inline std::vector<float> floats(float const* memory, int from, int to) {
    return std::vector<float>(memory + from, memory + to);
}

// A vector array's value type, a plain run of D floats, from and to a run; make takes the
// first D floats of a longer run.
template <class Array> struct Shape {
    using Vector = decltype(std::declval<Array const&>().get(0));
    static constexpr int D = sizeof(Vector) / sizeof(float);
    static Vector make(std::vector<float> const& run) {
        Vector v;
        std::memcpy(&v, run.data(), sizeof v);
        return v;
    }
    static std::vector<float> parts(Vector const& v) {
        std::vector<float> run(D);
        std::memcpy(run.data(), &v, sizeof v);
        return run;
    }
};

template <class Array> std::vector<float> vectorAt(Array const& array, int index) {
    return Shape<Array>::parts(array.get(index));
}

using VectorArrayTypes = ::testing::Types<M_Vector2Array, M_Vector3Array, M_Vector4Array>;

} // namespace klmfc::test
