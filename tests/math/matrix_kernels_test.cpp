// The reference driver's matrix kernels: vectors as rows on the left of a matrix, one at
// a time and by arrays, matrix products with b on the left, and inversion by cofactors.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

namespace {

using namespace klmfc::test;
using D = K_CPUDriver;
using M2 = M_Matrix2Template<float>;
using M3 = M_Matrix3Template<float>;
using M43 = M_Matrix4x3Template<float>;
using M4 = M_Matrix4Template<float>;

template <class Matrix> std::vector<float> elements(Matrix const& m) {
    return std::vector<float>(m.m, m.m + sizeof m.m / sizeof m.m[0]);
}

// 1, 2, 3, ... row by row.
template <class Matrix> Matrix counting() {
    Matrix m;
    for (std::size_t i = 0; i < sizeof m.m / sizeof m.m[0]; ++i) {
        m.m[i] = static_cast<float>(i + 1);
    }
    return m;
}

M2 const kIdentity2 = {{1, 0, 0, 1}};
M3 const kIdentity3 = {{1, 0, 0, 0, 1, 0, 0, 0, 1}};
M43 const kIdentity43 = {{1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}};
M4 const kIdentity4 = {{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}};

// v times m, one vector out of place and in place, then an array of 12 in place at
// current size 5 whose vector i is v times (i + 1): the input times k gives linear * k +
// translation, over the two whole blocks, and the third block stays.
template <class Array, class Matrix>
void checkTimes(Matrix const& m, std::vector<float> const& v, std::vector<float> const& linear,
                std::vector<float> const& translation) {
    K_CPUReference driver;
    auto expected = [&](float k) {
        std::vector<float> out = linear;
        for (std::size_t c = 0; c < out.size(); ++c) {
            out[c] = out[c] * k + translation[c];
        }
        return out;
    };
    typename Shape<Array>::Vector in = Shape<Array>::make(v);
    typename Shape<Array>::Vector out = {};
    driver.multiply(out, in, m);
    EXPECT_EQ(expected(1), Shape<Array>::parts(out));
    driver.multiply(in, in, m);
    EXPECT_EQ(expected(1), Shape<Array>::parts(in));

    Array array(12);
    for (int i = 0; i < 12; ++i) {
        std::vector<float> scaled = v;
        for (float& part : scaled) {
            part *= static_cast<float>(i + 1);
        }
        array.set(i, Shape<Array>::make(scaled));
    }
    array.resize(5);
    driver.multiply(array, array, m);
    for (int i = 0; i < 12; ++i) {
        float const k = static_cast<float>(i + 1);
        std::vector<float> unchanged = v;
        for (float& part : unchanged) {
            part *= k;
        }
        EXPECT_EQ(i < 8 ? expected(k) : unchanged, vectorAt(array, i)) << "vector " << i;
    }
}

TEST(MatrixKernels, VectorsAreRowsOnTheLeftOneByOneAndByArrays) {
    M43 translate = kIdentity43;
    translate[9] = 10;
    translate[10] = 20;
    translate[11] = 30;
    M43 const affine = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 20, 30}};
    std::vector<float> const none = {0, 0, 0, 0};
    {
        SCOPED_TRACE("2 components");
        checkTimes<M_Vector2Array>(kIdentity2, {1, 2}, {1, 2}, none);
        checkTimes<M_Vector2Array>(counting<M2>(), {1, 2}, {7, 10}, none);
    }
    {
        SCOPED_TRACE("3 components");
        checkTimes<M_Vector3Array>(kIdentity3, {1, 2, 3}, {1, 2, 3}, none);
        checkTimes<M_Vector3Array>(counting<M3>(), {1, 2, 3}, {30, 36, 42}, none);
        checkTimes<M_Vector3Array>(kIdentity43, {1, 2, 3}, {1, 2, 3}, none);
        checkTimes<M_Vector3Array>(translate, {1, 2, 3}, {1, 2, 3}, {10, 20, 30});
        checkTimes<M_Vector3Array>(affine, {1, 2, 3}, {30, 36, 42}, {10, 20, 30});
    }
    {
        SCOPED_TRACE("4 components");
        checkTimes<M_Vector4Array>(kIdentity4, {1, 2, 3, 4}, {1, 2, 3, 4}, none);
        checkTimes<M_Vector4Array>(counting<M4>(), {1, 2, 3, 4}, {90, 100, 110, 120}, none);
    }
}

// a after multiply(a, b), and m after invert(m), on the reference driver.
template <class Matrix> std::vector<float> product(Matrix a, Matrix const& b) {
    K_CPUReference().multiply(a, b);
    return elements(a);
}

template <class Matrix> std::vector<float> squared(Matrix a) {
    K_CPUReference().multiply(a, a);
    return elements(a);
}

template <class Matrix> std::vector<float> inverted(Matrix m) {
    K_CPUReference().invert(m);
    return elements(m);
}

TEST(MatrixKernels, ProductsPutTheSecondMatrixOnTheLeft) {
    M3 const shiftRows = {{0, 1, 0, 0, 0, 1, 1, 0, 0}};
    M4 const rotateRows = {{0, 0, 0, 1, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0}};
    // a: block 1 to 9, translation (1, 0, 2); b: block shiftRows, translation (10, 20, 30).
    M43 const a43 = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0, 2}};
    M43 const b43 = {{0, 1, 0, 0, 0, 1, 1, 0, 0, 10, 20, 30}};
    struct Row {
        char const* product;
        std::vector<float> got;
        std::vector<float> expected;
    };
    Row const rows[] = {
        // b on the left exchanges or shifts the rows of a.
        {"2x2", product(M2{{1, 2, 3, 4}}, M2{{0, 1, 1, 0}}), {3, 4, 1, 2}},
        {"3x3", product(counting<M3>(), shiftRows), {4, 5, 6, 7, 8, 9, 1, 2, 3}},
        {"4x4",
         product(counting<M4>(), rotateRows),
         {13, 14, 15, 16, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}},
        // a and b may be one matrix.
        {"2x2 squared", squared(counting<M2>()), {7, 10, 15, 22}},
        {"3x3 squared", squared(counting<M3>()), {30, 36, 42, 66, 81, 96, 102, 126, 150}},
        {"4x4 squared",
         squared(counting<M4>()),
         {90, 100, 110, 120, 202, 228, 254, 280, 314, 356, 398, 440, 426, 484, 542, 600}},
        // The block becomes b's block times a's; the translation a's translation times b's
        // block, plus b's: (1, 0, 2) shifted is (2, 1, 0), plus (10, 20, 30).
        {"4x3", product(a43, b43), {4, 5, 6, 7, 8, 9, 1, 2, 3, 12, 21, 30}},
        {"4x3 by identity", product(a43, kIdentity43), elements(a43)},
    };
    for (Row const& row : rows) {
        EXPECT_EQ(row.expected, row.got) << row.product;
    }
}

TEST(MatrixKernels, InversionByCofactorsGuardsOnlyTheSingular4x4) {
    float const nan = std::nanf("");
    struct Row {
        char const* matrix;
        std::vector<float> got;
        std::vector<float> expected; // NaN: any NaN
        float tolerance;
    };
    Row const rows[] = {
        {"2x2 identity", inverted(kIdentity2), elements(kIdentity2), 0},
        {"3x3 identity", inverted(kIdentity3), elements(kIdentity3), 0},
        {"4x3 identity", inverted(kIdentity43), elements(kIdentity43), 0},
        {"4x4 identity", inverted(kIdentity4), elements(kIdentity4), 0},
        {"2x2", inverted(M2{{4, 7, 2, 6}}), {0.6f, -0.7f, -0.2f, 0.4f}, 1e-7f},
        // Determinant 1: the inverse is all integers.
        {"3x3", inverted(M3{{1, 2, 3, 0, 1, 4, 5, 6, 0}}), {-24, 18, 5, 20, -15, -4, -5, 4, 1}, 0},
        // The inverted block, and the negated translation through it.
        {"4x3 translation",
         inverted(M43{{1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3}}),
         {1, 0, 0, 0, 1, 0, 0, 0, 1, -1, -2, -3},
         0},
        {"4x3 scale and translation",
         inverted(M43{{2, 0, 0, 0, 4, 0, 0, 0, 8, 1, 2, 3}}),
         {0.5f, 0, 0, 0, 0.25f, 0, 0, 0, 0.125f, -0.5f, -0.5f, -0.375f},
         0},
        // H times H is 4 I.
        {"4x4",
         inverted(M4{{1, 1, 1, -1, 1, 1, -1, 1, 1, -1, 1, 1, -1, 1, 1, 1}}),
         {0.25f, 0.25f, 0.25f, -0.25f, 0.25f, 0.25f, -0.25f, 0.25f, 0.25f, -0.25f, 0.25f, 0.25f,
          -0.25f, 0.25f, 0.25f, 0.25f},
         0},
        // A singular 4x4 becomes all zeros; the others are not guarded.
        {"4x4 zero", inverted(M4{}), std::vector<float>(16, 0.0f), 0},
        {"4x4 of rank 2", inverted(counting<M4>()), std::vector<float>(16, 0.0f), 0},
        {"3x3 zero", inverted(M3{}), std::vector<float>(9, nan), 0},
        {"2x2 zero", inverted(M2{}), std::vector<float>(4, nan), 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.matrix);
        ASSERT_EQ(row.expected.size(), row.got.size());
        for (std::size_t i = 0; i < row.got.size(); ++i) {
            if (std::isnan(row.expected[i])) {
                EXPECT_TRUE(std::isnan(row.got[i])) << "element " << i << " is " << row.got[i];
            } else {
                EXPECT_NEAR(row.expected[i], row.got[i], row.tolerance) << "element " << i;
            }
        }
    }

    // A matrix times its inverse is the identity within rounding; a point goes and comes
    // back through a 4x3 and its inverse.
    M4 const m4 = {{2, 0, 1, 3, 1, 4, 0, 2, 0, 1, 5, 1, 3, 2, 1, 6}};
    std::vector<float> const inverse4 = inverted(m4);
    M4 product4;
    std::copy(inverse4.begin(), inverse4.end(), product4.m);
    K_CPUReference driver;
    driver.multiply(product4, m4);
    M3 const m3 = {{2, -1, 0.5f, 1, 3, 2, 0, 1, 4}};
    std::vector<float> const inverse3 = inverted(m3);
    M3 product3;
    std::copy(inverse3.begin(), inverse3.end(), product3.m);
    driver.multiply(product3, m3);
    M43 const m43 = {{0, 1, 0, -1, 0, 0, 0, 0, 2, 5, 6, 7}};
    std::vector<float> const inverse43 = inverted(m43);
    M43 back;
    std::copy(inverse43.begin(), inverse43.end(), back.m);
    M_Vector3Template<float> point = {1, 2, 3};
    driver.multiply(point, point, m43);
    driver.multiply(point, point, back);
    std::vector<float> const pairs[][2] = {
        {elements(kIdentity4), elements(product4)},
        {elements(kIdentity3), elements(product3)},
        {{1, 2, 3}, {point.x, point.y, point.z}},
    };
    for (auto const& pair : pairs) {
        for (std::size_t i = 0; i < pair[0].size(); ++i) {
            EXPECT_NEAR(pair[0][i], pair[1][i], 1e-5f) << "element " << i;
        }
    }
}

} // namespace
