// The reference driver's matrix kernels: vectors and arrays of vectors times matrices,
// matrix products and inversion. Vectors stand on the left as rows, so out[c] is the sum
// over r of in[r] * m(r, c); a product multiply(a, b) puts b on the left. Every formula
// is straight code, and every result is formed from its inputs before it is stored, so a
// destination may be its source.
#include "flat_loop.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"

#include <cstring>

namespace {

// The 3x3 block and the translation row of a 4x3 matrix, in the matrix's own memory.
M_Matrix3Template<float>& blockOf(M_Matrix4x3Template<float>& m) {
    return *reinterpret_cast<M_Matrix3Template<float>*>(m.m);
}

M_Matrix3Template<float> const& blockOf(M_Matrix4x3Template<float> const& m) {
    return *reinterpret_cast<M_Matrix3Template<float> const*>(m.m);
}

M_Vector3Template<float>& translationOf(M_Matrix4x3Template<float>& m) {
    return *reinterpret_cast<M_Vector3Template<float>*>(m.m + 9);
}

float M_det2(float a, float b, float c, float d) {
    return a * d - b * c;
}

// The determinant of the columns (a1, a2, a3), (b1, b2, b3), (c1, c2, c3), expanded along
// the first row; the sum is rounded to a float after its second term.
float M_det3(float a1, float a2, float a3, float b1, float b2, float b3, float c1, float c2,
             float c3) {
    float const firstTwo = M_det2(b2, b3, c2, c3) * a1 - M_det2(a2, a3, c2, c3) * b1;
    return firstTwo + M_det2(a2, a3, b2, b3) * c1;
}

} // namespace

// ---- arrays of vectors times a matrix, over the whole blocks of dst ----

void K_CPUReference::multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                              M_Matrix4Template<float> const& m) const {
    float const m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3];
    float const m4 = m[4], m5 = m[5], m6 = m[6], m7 = m[7];
    float const m8 = m[8], m9 = m[9], m10 = m[10], m11 = m[11];
    float const m12 = m[12], m13 = m[13], m14 = m[14], m15 = m[15];
    float* const out = dst.getMemory();
    float const* const in = src.getMemory();
    M_forEachVector<4>(dst.getCurrentSize(), out, [=](std::ptrdiff_t v, std::ptrdiff_t, float* r) {
        float const x = in[v];
        float const y = in[v + 4];
        float const z = in[v + 8];
        float const w = in[v + 12];
        r[0] = x * m0 + y * m4 + z * m8 + w * m12;
        r[1] = x * m1 + y * m5 + z * m9 + w * m13;
        r[2] = x * m2 + y * m6 + z * m10 + w * m14;
        r[3] = x * m3 + y * m7 + z * m11 + w * m15;
    });
}

void K_CPUReference::multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                              M_Matrix4x3Template<float> const& m) const {
    float const m0 = m[0], m1 = m[1], m2 = m[2];
    float const m3 = m[3], m4 = m[4], m5 = m[5];
    float const m6 = m[6], m7 = m[7], m8 = m[8];
    float const m9 = m[9], m10 = m[10], m11 = m[11];
    float* const out = dst.getMemory();
    float const* const in = src.getMemory();
    M_forEachVector<3>(dst.getCurrentSize(), out, [=](std::ptrdiff_t v, std::ptrdiff_t, float* r) {
        float const x = in[v];
        float const y = in[v + 4];
        float const z = in[v + 8];
        r[0] = x * m0 + y * m3 + z * m6 + m9;
        r[1] = x * m1 + y * m4 + z * m7 + m10;
        r[2] = x * m2 + y * m5 + z * m8 + m11;
    });
}

void K_CPUReference::multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                              M_Matrix3Template<float> const& m) const {
    float const m0 = m[0], m1 = m[1], m2 = m[2];
    float const m3 = m[3], m4 = m[4], m5 = m[5];
    float const m6 = m[6], m7 = m[7], m8 = m[8];
    float* const out = dst.getMemory();
    float const* const in = src.getMemory();
    M_forEachVector<3>(dst.getCurrentSize(), out, [=](std::ptrdiff_t v, std::ptrdiff_t, float* r) {
        float const x = in[v];
        float const y = in[v + 4];
        float const z = in[v + 8];
        r[0] = x * m0 + y * m3 + z * m6;
        r[1] = x * m1 + y * m4 + z * m7;
        r[2] = x * m2 + y * m5 + z * m8;
    });
}

void K_CPUReference::multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                              M_Matrix2Template<float> const& m) const {
    float const m0 = m[0], m1 = m[1], m2 = m[2], m3 = m[3];
    float* const out = dst.getMemory();
    float const* const in = src.getMemory();
    M_forEachVector<2>(dst.getCurrentSize(), out, [=](std::ptrdiff_t v, std::ptrdiff_t, float* r) {
        float const x = in[v];
        float const y = in[v + 4];
        r[0] = x * m0 + y * m2;
        r[1] = x * m1 + y * m3;
    });
}

// ---- one vector times a matrix ----

void K_CPUReference::multiply(M_Vector4Template<float>& dst, M_Vector4Template<float> const& src,
                              M_Matrix4Template<float> const& m) const {
    float const x = src.x;
    float const y = src.y;
    float const z = src.z;
    float const w = src.w;
    dst.x = x * m[0] + y * m[4] + z * m[8] + w * m[12];
    dst.y = x * m[1] + y * m[5] + z * m[9] + w * m[13];
    dst.z = x * m[2] + y * m[6] + z * m[10] + w * m[14];
    dst.w = x * m[3] + y * m[7] + z * m[11] + w * m[15];
}

// A point: the 3x3 block, then the translation.
void K_CPUReference::multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                              M_Matrix4x3Template<float> const& m) const {
    float const x = src.x;
    float const y = src.y;
    float const z = src.z;
    dst.x = x * m[0] + y * m[3] + z * m[6] + m[9];
    dst.y = x * m[1] + y * m[4] + z * m[7] + m[10];
    dst.z = x * m[2] + y * m[5] + z * m[8] + m[11];
}

void K_CPUReference::multiply(M_Vector3Template<float>& dst, M_Vector3Template<float> const& src,
                              M_Matrix3Template<float> const& m) const {
    float const x = src.x;
    float const y = src.y;
    float const z = src.z;
    dst.x = x * m[0] + y * m[3] + z * m[6];
    dst.y = x * m[1] + y * m[4] + z * m[7];
    dst.z = x * m[2] + y * m[5] + z * m[8];
}

void K_CPUReference::multiply(M_Vector2Template<float>& dst, M_Vector2Template<float> const& src,
                              M_Matrix2Template<float> const& m) const {
    float const x = src.x;
    float const y = src.y;
    dst.x = x * m[0] + y * m[2];
    dst.y = x * m[1] + y * m[3];
}

// ---- matrix products: a becomes b times a, formed in a temporary, so a may be b ----

void K_CPUReference::multiply(M_Matrix4Template<float>& a,
                              M_Matrix4Template<float> const& b) const {
    float const product[16] = {
        b[0] * a[0] + b[1] * a[4] + b[2] * a[8] + b[3] * a[12],
        b[0] * a[1] + b[1] * a[5] + b[2] * a[9] + b[3] * a[13],
        b[0] * a[2] + b[1] * a[6] + b[2] * a[10] + b[3] * a[14],
        b[0] * a[3] + b[1] * a[7] + b[2] * a[11] + b[3] * a[15],
        b[4] * a[0] + b[5] * a[4] + b[6] * a[8] + b[7] * a[12],
        b[4] * a[1] + b[5] * a[5] + b[6] * a[9] + b[7] * a[13],
        b[4] * a[2] + b[5] * a[6] + b[6] * a[10] + b[7] * a[14],
        b[4] * a[3] + b[5] * a[7] + b[6] * a[11] + b[7] * a[15],
        b[8] * a[0] + b[9] * a[4] + b[10] * a[8] + b[11] * a[12],
        b[8] * a[1] + b[9] * a[5] + b[10] * a[9] + b[11] * a[13],
        b[8] * a[2] + b[9] * a[6] + b[10] * a[10] + b[11] * a[14],
        b[8] * a[3] + b[9] * a[7] + b[10] * a[11] + b[11] * a[15],
        b[12] * a[0] + b[13] * a[4] + b[14] * a[8] + b[15] * a[12],
        b[12] * a[1] + b[13] * a[5] + b[14] * a[9] + b[15] * a[13],
        b[12] * a[2] + b[13] * a[6] + b[14] * a[10] + b[15] * a[14],
        b[12] * a[3] + b[13] * a[7] + b[14] * a[11] + b[15] * a[15],
    };
    std::memcpy(a.m, product, sizeof product);
}

// The block of a becomes b's block times a's; the translation row of a becomes that row
// times b's block, plus b's translation. a and b must be two matrices.
void K_CPUReference::multiply(M_Matrix4x3Template<float>& a,
                              M_Matrix4x3Template<float> const& b) const {
    this->multiply(blockOf(a), blockOf(b));
    M_Vector3Template<float> const translation = {a[9], a[10], a[11]};
    this->multiply(translationOf(a), translation, blockOf(b));
    a[9] += b[9];
    a[10] += b[10];
    a[11] += b[11];
}

void K_CPUReference::multiply(M_Matrix3Template<float>& a,
                              M_Matrix3Template<float> const& b) const {
    float const product[9] = {
        b[0] * a[0] + b[1] * a[3] + b[2] * a[6], b[0] * a[1] + b[1] * a[4] + b[2] * a[7],
        b[0] * a[2] + b[1] * a[5] + b[2] * a[8], b[3] * a[0] + b[4] * a[3] + b[5] * a[6],
        b[3] * a[1] + b[4] * a[4] + b[5] * a[7], b[3] * a[2] + b[4] * a[5] + b[5] * a[8],
        b[6] * a[0] + b[7] * a[3] + b[8] * a[6], b[6] * a[1] + b[7] * a[4] + b[8] * a[7],
        b[6] * a[2] + b[7] * a[5] + b[8] * a[8],
    };
    std::memcpy(a.m, product, sizeof product);
}

void K_CPUReference::multiply(M_Matrix2Template<float>& a,
                              M_Matrix2Template<float> const& b) const {
    float const product[4] = {
        b[0] * a[0] + b[1] * a[2],
        b[0] * a[1] + b[1] * a[3],
        b[2] * a[0] + b[3] * a[2],
        b[2] * a[1] + b[3] * a[3],
    };
    std::memcpy(a.m, product, sizeof product);
}

// ---- inversion ----

// By cofactors; the singular case is guarded: the adjugate is multiplied by 0.
void K_CPUReference::invert(M_Matrix4Template<float>& a) const {
    // All sixteen elements are read first: the adjugate is written over them.
    float const m00 = a[0], m01 = a[1], m02 = a[2], m03 = a[3];
    float const m10 = a[4], m11 = a[5], m12 = a[6], m13 = a[7];
    float const m20 = a[8], m21 = a[9], m22 = a[10], m23 = a[11];
    float const m30 = a[12], m31 = a[13], m32 = a[14], m33 = a[15];

    // The determinant, by expansion along row 0; its minors are the cofactors of row 0
    // up to sign.
    float const minor00 = M_det3(m11, m21, m31, m12, m22, m32, m13, m23, m33);
    float const minor01 = M_det3(m10, m20, m30, m12, m22, m32, m13, m23, m33);
    float const minor02 = M_det3(m10, m20, m30, m11, m21, m31, m13, m23, m33);
    float const minor03 = M_det3(m10, m20, m30, m11, m21, m31, m12, m22, m32);
    float const det = m00 * minor00 - m01 * minor01 + m02 * minor02 - m03 * minor03;
    // A singular matrix becomes all zeros.
    float const s = det != 0.0f ? 1.0f / det : 0.0f;

    // The adjugate: element (j, i) is the cofactor of element (i, j).
    float const c00 = minor00;
    float const c01 = -minor01;
    float const c02 = minor02;
    float const c03 = -minor03;
    float const c10 = -M_det3(m01, m21, m31, m02, m22, m32, m03, m23, m33);
    float const c11 = M_det3(m00, m20, m30, m02, m22, m32, m03, m23, m33);
    float const c12 = -M_det3(m00, m20, m30, m01, m21, m31, m03, m23, m33);
    float const c13 = M_det3(m00, m20, m30, m01, m21, m31, m02, m22, m32);
    float const c20 = M_det3(m01, m11, m31, m02, m12, m32, m03, m13, m33);
    float const c21 = -M_det3(m00, m10, m30, m02, m12, m32, m03, m13, m33);
    float const c22 = M_det3(m00, m10, m30, m01, m11, m31, m03, m13, m33);
    float const c23 = -M_det3(m00, m10, m30, m01, m11, m31, m02, m12, m32);
    float const c30 = -M_det3(m01, m11, m21, m02, m12, m22, m03, m13, m23);
    float const c31 = M_det3(m00, m10, m20, m02, m12, m22, m03, m13, m23);
    float const c32 = -M_det3(m00, m10, m20, m01, m11, m21, m03, m13, m23);
    float const c33 = M_det3(m00, m10, m20, m01, m11, m21, m02, m12, m22);

    a[0] = c00 * s;
    a[1] = c10 * s;
    a[2] = c20 * s;
    a[3] = c30 * s;
    a[4] = c01 * s;
    a[5] = c11 * s;
    a[6] = c21 * s;
    a[7] = c31 * s;
    a[8] = c02 * s;
    a[9] = c12 * s;
    a[10] = c22 * s;
    a[11] = c32 * s;
    a[12] = c03 * s;
    a[13] = c13 * s;
    a[14] = c23 * s;
    a[15] = c33 * s;
}

// The block inverted, then the translation row negated and carried through the inverse.
// No test of the determinant beyond that of the 3x3 inversion, which has none.
void K_CPUReference::invert(M_Matrix4x3Template<float>& m) const {
    this->invert(blockOf(m));
    M_Vector3Template<float> const translation = {m[9], m[10], m[11]};
    this->multiply(translationOf(m), translation, blockOf(m));
    m[9] = -m[9];
    m[10] = -m[10];
    m[11] = -m[11];
}

// By cofactors, with no test of the determinant: a singular matrix gives infinities and
// NaNs.
void K_CPUReference::invert(M_Matrix3Template<float>& m) const {
    float const d = m[0] * (m[4] * m[8] - m[7] * m[5]) + m[1] * (m[6] * m[5] - m[3] * m[8]) +
                    m[2] * (m[7] * m[3] - m[6] * m[4]);
    float const r = 1.0f / d;
    float const inverse[9] = {
        r * (m[4] * m[8] - m[7] * m[5]), r * (m[7] * m[2] - m[1] * m[8]),
        r * (m[1] * m[5] - m[2] * m[4]), r * (m[6] * m[5] - m[3] * m[8]),
        r * (m[0] * m[8] - m[6] * m[2]), r * (m[3] * m[2] - m[0] * m[5]),
        r * (m[7] * m[3] - m[6] * m[4]), r * (m[6] * m[1] - m[7] * m[0]),
        r * (m[4] * m[0] - m[3] * m[1]),
    };
    std::memcpy(m.m, inverse, sizeof inverse);
}

// No test of the determinant.
void K_CPUReference::invert(M_Matrix2Template<float>& m) const {
    float const r = 1.0f / (m[0] * m[3] - m[2] * m[1]);
    float const m0 = m[0];
    float const m1 = m[1];
    float const m2 = m[2];
    float const m3 = m[3];
    m[0] = m3 * r;
    m[1] = -m1 * r;
    m[2] = -m2 * r;
    m[3] = m0 * r;
}
