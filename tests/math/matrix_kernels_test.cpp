// The reference driver's matrix kernels: vectors as rows on the left of a matrix, one at
// a time and by arrays, matrix products with b on the left, and inversion by cofactors.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <iterator>
#include <vector>

namespace {

using namespace klmfc::test;
using M2 = M_Matrix2Template<float>;
using M3 = M_Matrix3Template<float>;
using M43 = M_Matrix4x3Template<float>;
using M4 = M_Matrix4Template<float>;

template <class Matrix> std::vector<float> elements(Matrix const& m) {
    return std::vector<float>(std::begin(m.m), std::end(m.m));
}

// 1, 2, 3, ... row by row, the odd ones negative: no symmetry to hide a wrong index.
template <class Matrix> Matrix counting(int first = 1) {
    Matrix m;
    for (std::size_t i = 0; i < std::size(m.m); ++i) {
        m.m[i] = static_cast<float>((i % 2 == 0 ? 1 : -1) * (first + static_cast<int>(i)));
    }
    return m;
}

template <class Matrix> Matrix identity() {
    Matrix m = {};
    for (int r = 0; r < Matrix::sm_iColumns; ++r) {
        m(r, r) = 1.0f;
    }
    return m;
}

// in times m, standing on the left as a row, then plus m's translation row for a 4x3
// matrix: the definition, as a loop.
template <class Matrix> std::vector<float> rowTimes(std::vector<float> const& in, Matrix const& m) {
    int const n = Matrix::sm_iColumns;
    std::vector<float> out(n, 0.0f);
    for (int c = 0; c < n; ++c) {
        for (int r = 0; r < n; ++r) {
            out[c] += in[r] * m(r, c);
        }
        out[c] += Matrix::sm_iRows > n ? m(n, c) : 0.0f;
    }
    return out;
}

// Arrays and single vectors, from a source and in place.
template <class Array, class Matrix> void checkRowsTimes(Matrix const& m) {
    K_CPUReference reference;
    Array src(8);
    Array dst(8);
    std::vector<std::vector<float>> in;
    for (int i = 0; i < 8; ++i) {
        in.push_back({static_cast<float>(i + 1), static_cast<float>(-i), 2, 3});
        src.set(i, Shape<Array>::make(in[i]));
    }
    reference.multiply(dst, src, m);
    reference.multiply(src, src, m);
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(rowTimes(in[i], m), vectorAt(dst, i)) << "vector " << i;
        EXPECT_EQ(rowTimes(in[i], m), vectorAt(src, i)) << "vector " << i;
    }
    typename Shape<Array>::Vector one = Shape<Array>::make(in[7]);
    typename Shape<Array>::Vector out = {};
    reference.multiply(out, one, m);
    reference.multiply(one, one, m);
    EXPECT_EQ(rowTimes(in[7], m), Shape<Array>::parts(out));
    EXPECT_EQ(rowTimes(in[7], m), Shape<Array>::parts(one));
}

TEST(MatrixKernels, VectorsAreRowsOnTheLeftOneByOneAndByArrays) {
    checkRowsTimes<M_Vector2Array>(counting<M2>());
    checkRowsTimes<M_Vector3Array>(counting<M3>());
    checkRowsTimes<M_Vector3Array>(counting<M43>());
    checkRowsTimes<M_Vector4Array>(counting<M4>());
    checkRowsTimes<M_Vector4Array>(identity<M4>());
    M43 const move = {{1, 0, 0, 0, 1, 0, 0, 0, 1, 10, 20, 30}};
    M_Vector3Template<float> point = {1, 2, 3};
    K_CPUReference().multiply(point, point, move);
    EXPECT_EQ((std::vector<float>{11, 22, 33}), Shape<M_Vector3Array>::parts(point));
}

// multiply(a, b) makes a(r, c) the sum over k of b(r, k) * a(k, c): row r of b times a.
template <class Matrix> std::vector<float> leftTimes(Matrix const& b, Matrix const& a) {
    int const n = Matrix::sm_iColumns;
    std::vector<float> out;
    for (int r = 0; r < n; ++r) {
        std::vector<float> const row =
            rowTimes(std::vector<float>(&b.m[r * n], &b.m[r * n + n]), a);
        out.insert(out.end(), row.begin(), row.end());
    }
    return out;
}

template <class Matrix> void checkProduct() {
    Matrix const a = counting<Matrix>();
    Matrix const b = counting<Matrix>(5);
    Matrix product = a;
    K_CPUReference().multiply(product, b);
    EXPECT_EQ(leftTimes(b, a), elements(product)) << Matrix::sm_iColumns;
    Matrix squared = a;
    K_CPUReference().multiply(squared, squared); // a and b may be one matrix
    EXPECT_EQ(leftTimes(a, a), elements(squared)) << Matrix::sm_iColumns;
}

TEST(MatrixKernels, ProductsPutTheSecondMatrixOnTheLeft) {
    checkProduct<M2>();
    checkProduct<M3>();
    checkProduct<M4>();
    M2 rows = {{1, 2, 3, 4}};
    K_CPUReference().multiply(rows, M2{{0, 1, 1, 0}});
    EXPECT_EQ((std::vector<float>{3, 4, 1, 2}), elements(rows)); // the rows exchanged
    // The block becomes b's block times a's; the translation a's translation times b's
    // block, plus b's: (1, 0, 2) shifted is (2, 1, 0), plus (10, 20, 30).
    M43 a43 = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 1, 0, 2}};
    K_CPUReference().multiply(a43, M43{{0, 1, 0, 0, 0, 1, 1, 0, 0, 10, 20, 30}});
    EXPECT_EQ((std::vector<float>{4, 5, 6, 7, 8, 9, 1, 2, 3, 12, 21, 30}), elements(a43));
}

template <class Matrix> Matrix inverted(Matrix m) {
    K_CPUReference().invert(m);
    return m;
}

// The identity inverts to itself, and m times its inverse is the identity within rounding.
template <class Matrix> void checkInverse(Matrix const& m) {
    EXPECT_EQ(elements(identity<Matrix>()), elements(inverted(identity<Matrix>())));
    Matrix product = inverted(m);
    K_CPUReference().multiply(product, m);
    std::vector<float> const one = elements(identity<Matrix>());
    for (std::size_t i = 0; i < one.size(); ++i) {
        EXPECT_NEAR(one[i], product.m[i], 1e-5f) << "element " << i;
    }
}

TEST(MatrixKernels, InversionByCofactorsGuardsOnlyTheSingular4x4) {
    checkInverse(M2{{4, 7, 2, 6}});
    checkInverse(M3{{2, -1, 0.5f, 1, 3, 2, 0, 1, 4}});
    checkInverse(M4{{2, 0, 1, 3, 1, 4, 0, 2, 0, 1, 5, 1, 3, 2, 1, 6}});
    EXPECT_EQ(elements(identity<M43>()), elements(inverted(identity<M43>())));

    // The block inverted, then the translation negated and carried through it.
    EXPECT_EQ((std::vector<float>{1, 0, 0, 0, 1, 0, 0, 0, 1, -1, -2, -3}),
              elements(inverted(M43{{1, 0, 0, 0, 1, 0, 0, 0, 1, 1, 2, 3}})));
    EXPECT_EQ((std::vector<float>{0.5f, 0, 0, 0, 0.25f, 0, 0, 0, 0.125f, -0.5f, -0.5f, -0.375f}),
              elements(inverted(M43{{2, 0, 0, 0, 4, 0, 0, 0, 8, 1, 2, 3}})));
    M43 const turn = {{0, 1, 0, -1, 0, 0, 0, 0, 2, 5, 6, 7}};
    M_Vector3Template<float> point = {1, 2, 3};
    K_CPUReference().multiply(point, point, turn);
    K_CPUReference().multiply(point, point, inverted(turn));
    EXPECT_EQ((std::vector<float>{1, 2, 3}), Shape<M_Vector3Array>::parts(point));

    // A singular 4x4 becomes all zeros; the other sizes are not guarded.
    M4 const rankTwo = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};
    EXPECT_EQ(std::vector<float>(16, 0.0f), elements(inverted(M4{})));
    EXPECT_EQ(std::vector<float>(16, 0.0f), elements(inverted(rankTwo)));
    auto const isNaN = [](float element) { return std::isnan(element); };
    std::vector<float> const nan3 = elements(inverted(M3{}));
    std::vector<float> const nan2 = elements(inverted(M2{}));
    EXPECT_TRUE(std::all_of(nan3.begin(), nan3.end(), isNaN));
    EXPECT_TRUE(std::all_of(nan2.begin(), nan2.end(), isNaN));
}

} // namespace
