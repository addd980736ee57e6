// The reference driver's kernels on vector arrays: scaling and division by the float of
// each lane, the three tiers of normalisation and length, dot products and the cross
// product.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace klmfc::test;
using D = K_CPUDriver;

template <class Array> class VectorKernels : public ::testing::Test {};
TYPED_TEST_SUITE(VectorKernels, VectorArrayTypes);

// Vector i of the source is (i + 1) * (1, 2, 3, 4) cut to D components.
TYPED_TEST(VectorKernels, ScalingDivisionAndDotProductPairEachVectorWithTheFloatOfItsLane) {
    using Array = TypeParam;
    int const dims = Shape<Array>::D;
    float const lanes[8] = {2, 0.5f, 4, -1, 8, 0.25f, -2, 16}; // powers of two: exact
    M_ScalarArray factors(8);
    Array src(8);
    for (int i = 0; i < 8; ++i) {
        float const k = static_cast<float>(i + 1);
        factors.set(i, lanes[i]);
        src.set(i, Shape<Array>::make({k, 2 * k, 3 * k, 4 * k}));
    }
    Array product(8);
    Array quotient(8);
    Array quotientLo(8);
    product.multiply(src, factors);
    quotient.divide(src, factors);
    quotientLo.divide_lo(src, factors);
    Array inPlace(src);
    inPlace *= factors;
    for (int i = 0; i < 8; ++i) {
        std::vector<float> times = vectorAt(src, i);
        std::vector<float> over = times;
        for (int c = 0; c < dims; ++c) {
            times[c] *= lanes[i];
            over[c] /= lanes[i];
        }
        EXPECT_EQ(times, vectorAt(product, i)) << "vector " << i;
        EXPECT_EQ(times, vectorAt(inPlace, i)) << "vector " << i;
        EXPECT_EQ(over, vectorAt(quotient, i)) << "vector " << i;
        EXPECT_EQ(over, vectorAt(quotientLo, i)) << "vector " << i;
    }
    inPlace /= factors;
    EXPECT_EQ(floats(src.getMemory(), 0, 8 * dims), floats(inPlace.getMemory(), 0, 8 * dims));
    factors.set(1, 0.0f); // a zero divisor is not tested for
    quotient.divide(src, factors);
    EXPECT_EQ(std::numeric_limits<float>::infinity(), vectorAt(quotient, 1)[0]);

    // The dot products count by the scalar array: at size 3, one block of vectors is read.
    factors.resize(3);
    Array::dotProduct(factors, src, src);
    float const squares[] = {0, 0, 5, 14, 30}; // 1 + 4 + 9 + 16, cut to D terms
    for (int i = 0; i < 8; ++i) {
        float const k = static_cast<float>(i + 1);
        EXPECT_EQ(i < 4 ? k * k * squares[dims] : lanes[i], factors.get(i)) << "lane " << i;
    }
}

TYPED_TEST(VectorKernels, NormalizeAndLengthInThreeTiersKeepZeroVectorsZero) {
    using Array = TypeParam;
    int const dims = Shape<Array>::D;
    // (3, 4), zero, the x axis and -2 along the last axis; vector 4 lies behind the count
    // of a length's destination but within its source's.
    std::vector<std::vector<float>> in = {{3, 4, 0, 0}, {0, 0, 0, 0}, {1, 0, 0, 0}, {0, 0, 0, 0}};
    in[3][dims - 1] = -2.0f;
    in.push_back(in[0]);
    std::vector<float> const lengths = {5, 0, 1, 2, 5};
    Array src(8);
    for (int i = 0; i < 5; ++i) {
        src.set(i, Shape<Array>::make(in[i]));
    }
    src.resize(5);
    // Each tier, what the x axis normalises to and its length, and the tolerance: on the
    // components of a unit vector, and relative on a length.
    std::tuple<void (D::*)(Array&, Array const&) const, void (D::*)(float*, Array const&) const,
               float, float> const tiers[] = {
        {&D::normalize_0, &D::length, 1.0f, 0.0f},
        {&D::normalize_hi_0, &D::length_hi, fromBits(0x3F7FFFA0u), 0.00003f}, // 0.99999428
        {&D::normalize_lo_0, &D::length_lo, 0.998046875f, 0.004f},
    };
    K_CPUReference reference;
    for (auto const& [normalize, length, axis, tolerance] : tiers) {
        SCOPED_TRACE("tolerance " + std::to_string(tolerance));
        Array unit(8);
        Array inPlace(src);
        unit.resize(5);
        inPlace.resize(5);
        (reference.*normalize)(unit, src);
        (reference.*normalize)(inPlace, inPlace);
        M_ScalarArray lengthOf(8);
        lengthOf.resize(1);
        (reference.*length)(lengthOf.getMemory(), src);
        for (int i = 0; i < 5; ++i) {
            // The x axis gives the tier's own value exactly.
            float const within = i == 2 ? 0.0f : tolerance;
            float const scale = i == 2 ? axis : 1.0f / lengths[i];
            for (int c = 0; c < dims; ++c) {
                float const component = lengths[i] == 0.0f ? 0.0f : in[i][c] * scale;
                EXPECT_NEAR(component, vectorAt(unit, i)[c], within) << i << ", " << c;
            }
            float const expected = i == 2 ? axis : lengths[i];
            EXPECT_EQ(vectorAt(unit, i), vectorAt(inPlace, i)) << "vector " << i;
            EXPECT_NEAR(expected, lengthOf.get(i), within * expected) << "vector " << i;
        }
    }
}

TEST(VectorKernels, VectorProductIsTheRightHandedCrossProduct) {
    std::vector<float> const cases[][3] = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},   {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}},
        {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},   {{0, 1, 0}, {1, 0, 0}, {0, 0, -1}},
        {{1, 2, 3}, {4, 5, 6}, {-3, 6, -3}}, {{1, -2, 0.5f}, {3, 1, -1}, {1.5f, 2.5f, 7}},
    };
    M_Vector3Array a(8);
    M_Vector3Array b(8);
    M_Vector3Array dst(8);
    for (int i = 0; i < 6; ++i) {
        a.set(i, Shape<M_Vector3Array>::make(cases[i][0]));
        b.set(i, Shape<M_Vector3Array>::make(cases[i][1]));
    }
    dst.vectorProduct(a, b);
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(cases[i][2], vectorAt(dst, i)) << "case " << i;
    }
}

} // namespace
