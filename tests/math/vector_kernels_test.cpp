// The reference driver's kernels on vector arrays: scaling and division by the float of
// each lane, the three tiers of normalisation and length, dot products and the cross
// product. Each runs over the whole blocks that its count reaches, and no further.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>
#include <vector>

namespace {

using namespace klmfc::test;
using D = K_CPUDriver;

constexpr float kUntouched = -99.0f;

// Vector i, component c is (i + 1) * (c + 1); the lanes' floats are powers of two, so
// every product and quotient below is exact.
template <class Array> void checkScalingByLanes(D const& driver) {
    int const dims = Shape<Array>::D;
    SCOPED_TRACE("components " + std::to_string(dims));
    float const lanes[12] = {2, 0.5f, 4, -1, 8, 0.25f, -2, 16, 1, 1, 1, 1};
    M_ScalarArray factors(12);
    for (int i = 0; i < 12; ++i) {
        factors.set(i, lanes[i]);
    }
    Array src(12);
    for (int i = 0; i < 12; ++i) {
        std::vector<float> v;
        for (int c = 0; c < dims; ++c) {
            v.push_back(static_cast<float>((i + 1) * (c + 1)));
        }
        src.set(i, Shape<Array>::make(v));
    }
    struct Row {
        char const* kernel;
        void (*run)(D const&, Array&, Array const&, M_ScalarArray const&);
        bool divides;
    };
    Row const rows[] = {
        {"multiply",
         [](D const& d, Array& o, Array const& i, M_ScalarArray const& s) { d.multiply(o, i, s); },
         false},
        {"divide",
         [](D const& d, Array& o, Array const& i, M_ScalarArray const& s) { d.divide(o, i, s); },
         true},
        {"divide_lo",
         [](D const& d, Array& o, Array const& i, M_ScalarArray const& s) { d.divide_lo(o, i, s); },
         true},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.kernel);
        for (bool inPlace : {false, true}) {
            SCOPED_TRACE(inPlace ? "in place" : "from a source");
            Array dst(12);
            fillAll(dst, kUntouched);
            if (inPlace) {
                dst = src;
            }
            dst.resize(5); // two blocks: vectors 5 to 7 follow along, 8 to 11 stay
            row.run(driver, dst, inPlace ? dst : src, factors);
            for (int i = 0; i < 12; ++i) {
                std::vector<float> expected;
                for (int c = 0; c < dims; ++c) {
                    float const x = static_cast<float>((i + 1) * (c + 1));
                    expected.push_back(i >= 8 ? (inPlace ? x : kUntouched)
                                              : (row.divides ? x / lanes[i] : x * lanes[i]));
                }
                EXPECT_EQ(expected, vectorAt(dst, i)) << "vector " << i;
            }
        }
    }

    // A zero divisor is not tested for.
    factors.set(1, 0.0f);
    Array dst(4);
    driver.divide(dst, src, factors);
    EXPECT_EQ(std::numeric_limits<float>::infinity(), vectorAt(dst, 1)[0]);
}

TEST(VectorKernels, ScalingAndDivisionTakeTheFloatOfEachLane) {
    K_CPUReference reference;
    checkScalingByLanes<M_Vector2Array>(reference);
    checkScalingByLanes<M_Vector3Array>(reference);
    checkScalingByLanes<M_Vector4Array>(reference);
}

// ---- the three tiers: exact, one step of Newton-Raphson on the table, the table alone ----

template <class Array, class Normalize>
void checkNormalization(float tolerance, Normalize normalize,
                        std::vector<std::vector<float>> const& in,
                        std::vector<std::vector<float>> const& unit) {
    SCOPED_TRACE("components " + std::to_string(Shape<Array>::D));
    K_CPUReference reference;
    Array const src = arrayOf<Array>(in, 8);
    Array out(8);
    Array inPlace = src;
    normalize(reference, out, src);
    normalize(reference, inPlace, inPlace);
    for (std::size_t i = 0; i < in.size(); ++i) {
        for (int c = 0; c < Shape<Array>::D; ++c) {
            float const got = vectorAt(out, static_cast<int>(i))[c];
            if (tolerance == 0.0f) {
                EXPECT_FLOAT_EQ(unit[i][c], got) << "vector " << i << " component " << c;
            } else {
                EXPECT_NEAR(unit[i][c], got, tolerance) << "vector " << i << " component " << c;
            }
            EXPECT_EQ(got, vectorAt(inPlace, static_cast<int>(i))[c]);
        }
    }
}

// tolerance 0: within four units in the last place.
template <class Normalize> void checkNormalizationTier(float tolerance, Normalize normalize) {
    checkNormalization<M_Vector2Array>(tolerance, normalize,
                                       {{3, 4}, {0, 0}, {-5, 0}, {0, 0.5f}, {1e-3f, 0}},
                                       {{0.6f, 0.8f}, {0, 0}, {-1, 0}, {0, 1}, {1, 0}});
    checkNormalization<M_Vector3Array>(
        tolerance, normalize, {{2, 3, 6}, {0, 0, 0}, {0, 0, -2}, {1e4f, 0, 0}},
        {{2.0f / 7, 3.0f / 7, 6.0f / 7}, {0, 0, 0}, {0, 0, -1}, {1, 0, 0}});
    // w counts towards the length.
    checkNormalization<M_Vector4Array>(tolerance, normalize,
                                       {{1, 1, 1, 1}, {0, 0, 0, 0}, {0, 0, 0, 3}},
                                       {{0.5f, 0.5f, 0.5f, 0.5f}, {0, 0, 0, 0}, {0, 0, 0, 1}});
}

TEST(VectorKernels, NormalizationInThreeTiersKeepsZeroVectorsZero) {
    checkNormalizationTier(0.0f, [](D const& d, auto& o, auto const& i) { d.normalize_0(o, i); });
    checkNormalizationTier(0.00003f,
                           [](D const& d, auto& o, auto const& i) { d.normalize_hi_0(o, i); });
    checkNormalizationTier(0.004f,
                           [](D const& d, auto& o, auto const& i) { d.normalize_lo_0(o, i); });
    // The exact tier hits the textbook values.
    K_CPUReference reference;
    M_Vector2Array v = arrayOf<M_Vector2Array>({{3, 4}}, 4);
    reference.normalize_0(v, v);
    EXPECT_EQ((std::vector<float>{0.6f, 0.8f}), vectorAt(v, 0));
}

// The count is the source's: at current size 5, two blocks of lengths are written.
template <class Array, class Length>
void checkLengths(float tolerance, Length length, std::vector<std::vector<float>> const& in,
                  std::vector<float> const& lengths) {
    SCOPED_TRACE("components " + std::to_string(Shape<Array>::D));
    K_CPUReference reference;
    Array src = arrayOf<Array>(in, 12);
    src.resize(5);
    M_ScalarArray dst(12);
    std::fill(dst.getMemory(), dst.getMemory() + 12, kUntouched);
    dst.resize(1);
    length(reference, dst.getMemory(), src);
    for (std::size_t i = 0; i < lengths.size(); ++i) {
        float const got = dst.get(static_cast<int>(i));
        if (tolerance == 0.0f || lengths[i] == 0.0f) {
            EXPECT_EQ(lengths[i], got) << "vector " << i;
        } else {
            EXPECT_NEAR(lengths[i], got, tolerance * lengths[i]) << "vector " << i;
        }
    }
    EXPECT_EQ(0.0f, dst.get(7)); // a zero vector behind the count, in a whole block
    EXPECT_EQ(kUntouched, dst.get(8));
}

// tolerance: relative; 0 for exact.
template <class Length> void checkLengthTier(float tolerance, Length length) {
    checkLengths<M_Vector2Array>(tolerance, length, {{3, 4}, {0, 0}, {-5, 12}, {0.5f, 0}},
                                 {5, 0, 13, 0.5f});
    checkLengths<M_Vector3Array>(tolerance, length, {{1, 2, 2}, {0, 0, 0}, {2, 3, 6}}, {3, 0, 7});
    checkLengths<M_Vector4Array>(tolerance, length,
                                 {{1, 1, 1, 1}, {0, 0, 0, 0}, {0, 0, 0, -4}, {1e5f, 0, 0, 0}},
                                 {2, 0, 4, 1e5f});
}

TEST(VectorKernels, LengthInThreeTiersCountsByTheSource) {
    checkLengthTier(0.0f, [](D const& d, float* o, auto const& i) { d.length(o, i); });
    checkLengthTier(0.00003f, [](D const& d, float* o, auto const& i) { d.length_hi(o, i); });
    checkLengthTier(0.004f, [](D const& d, float* o, auto const& i) { d.length_lo(o, i); });
}

// a_i and b_i chosen so that a_i . b_i is 3i - 2 for three components, 3i for two and
// 3i + 3 for four.
template <class Array> void checkDotProducts(D const& driver, float offset) {
    int const dims = Shape<Array>::D;
    SCOPED_TRACE("components " + std::to_string(dims));
    std::vector<std::vector<float>> a;
    std::vector<std::vector<float>> b;
    for (int i = 0; i < 8; ++i) {
        std::vector<float> const ai = {static_cast<float>(i), 1, 2, 1};
        std::vector<float> const bi = {2, static_cast<float>(i), -1, 5};
        a.emplace_back(ai.begin(), ai.begin() + dims);
        b.emplace_back(bi.begin(), bi.begin() + dims);
    }
    Array const va = arrayOf<Array>(a, 8);
    Array const vb = arrayOf<Array>(b, 8);
    M_ScalarArray dst(8);
    std::fill(dst.getMemory(), dst.getMemory() + 8, kUntouched);
    dst.resize(3); // one block: only the first four vectors are read
    driver.dotProduct(dst, va, vb);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(i < 4 ? 3.0f * static_cast<float>(i) + offset : kUntouched, dst.get(i))
            << "lane " << i;
    }
}

TEST(VectorKernels, DotProductsCountByTheScalarArray) {
    K_CPUReference reference;
    checkDotProducts<M_Vector2Array>(reference, 0.0f);
    checkDotProducts<M_Vector3Array>(reference, -2.0f);
    checkDotProducts<M_Vector4Array>(reference, 3.0f);
}

TEST(VectorKernels, VectorProductIsTheRightHandedCrossProduct) {
    struct Case {
        std::vector<float> a;
        std::vector<float> b;
        std::vector<float> cross;
    };
    Case const cases[] = {
        {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}},
        {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}},
        {{0, 0, 1}, {1, 0, 0}, {0, 1, 0}},
        {{0, 1, 0}, {1, 0, 0}, {0, 0, -1}},
        {{1, 2, 3}, {4, 5, 6}, {-3, 6, -3}},
        {{2, 0, 0}, {4, 0, 0}, {0, 0, 0}},
        {{1, -2, 0.5f}, {3, 1, -1}, {1.5f, 2.5f, 7}},
    };
    std::vector<std::vector<float>> as;
    std::vector<std::vector<float>> bs;
    for (Case const& c : cases) {
        as.push_back(c.a);
        bs.push_back(c.b);
    }
    K_CPUReference reference;
    M_Vector3Array const a = arrayOf<M_Vector3Array>(as, 12);
    M_Vector3Array const b = arrayOf<M_Vector3Array>(bs, 12);
    M_Vector3Array dst(12);
    fillAll(dst, kUntouched);
    dst.resize(5);
    reference.vectorProduct(dst, a, b);
    for (std::size_t i = 0; i < 7; ++i) {
        EXPECT_EQ(cases[i].cross, vectorAt(dst, static_cast<int>(i))) << "case " << i;
    }
    EXPECT_EQ((std::vector<float>{0, 0, 0}), vectorAt(dst, 7)); // zero vectors, whole block
    EXPECT_EQ((std::vector<float>{kUntouched, kUntouched, kUntouched}), vectorAt(dst, 8));
}

} // namespace
