// The reference driver's kernels on vector arrays in its block layout: blocks of four
// vectors, each component in a plane of four floats. Every kernel takes its count from
// its destination (length from its source), runs over the whole blocks that count
// reaches, all four lanes included, and reads a whole block before it stores, so the
// destination may be the source.
#include "flat_loop.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "klmfc/math/numerics.h"

#include <cmath>

namespace {

// The sum of the squares of the D components at `v`, `v + 4`, ...
template <int D> float sumOfSquares(float const* v) {
    float sum = v[0] * v[0];
    for (int c = 1; c < D; ++c) {
        sum += v[4 * c] * v[4 * c];
    }
    return sum;
}

// Each vector times, or divided by, the float of its lane.
template <int D> void scaleVectors(float* dst, float const* src, float const* factors, int count) {
    M_forEachVector<D>(count, dst, [=](std::ptrdiff_t v, std::ptrdiff_t s, float* out) {
        float const factor = factors[s];
        for (int c = 0; c < D; ++c) {
            out[c] = src[v + 4 * c] * factor;
        }
    });
}

template <int D>
void divideVectors(float* dst, float const* src, float const* divisors, int count) {
    M_forEachVector<D>(count, dst, [=](std::ptrdiff_t v, std::ptrdiff_t s, float* out) {
        float const divisor = divisors[s];
        for (int c = 0; c < D; ++c) {
            out[c] = src[v + 4 * c] / divisor;
        }
    });
}

// Each vector times factor(sum of its squares).
template <int D, class Factor>
void normalizeVectors(float* dst, float const* src, int count, Factor factor) {
    M_forEachVector<D>(count, dst, [=](std::ptrdiff_t v, std::ptrdiff_t, float* out) {
        float const f = factor(sumOfSquares<D>(src + v));
        for (int c = 0; c < D; ++c) {
            out[c] = f * src[v + 4 * c];
        }
    });
}

// length(sum of squares) of each vector into the float of its lane.
template <int D, class Length>
void vectorLengths(float* dst, float const* src, int count, Length length) {
    M_forEachVectorToScalar<D>(count, dst, [=](std::ptrdiff_t v, std::ptrdiff_t) {
        return length(sumOfSquares<D>(src + v));
    });
}

template <int D> void dotProducts(float* dst, float const* a, float const* b, int count) {
    M_forEachVectorToScalar<D>(count, dst, [=](std::ptrdiff_t v, std::ptrdiff_t) {
        float sum = a[v] * b[v];
        for (int c = 1; c < D; ++c) {
            sum += a[v + 4 * c] * b[v + 4 * c];
        }
        return sum;
    });
}

// The factors of the three tiers of normalisation; a zero vector stays zero. Function
// objects rather than functions, so that each tier's loop is compiled with its factor
// inline.
struct ExactFactor {
    float operator()(float sum) const {
        float const length = std::sqrt(sum);
        return length == 0.0f ? 0.0f : 1.0f / length;
    }
};

struct EstimatedFactor {
    float operator()(float sum) const { return sum == 0.0f ? 0.0f : M_invSqrtEstimate(sum); }
};

struct RefinedFactor {
    float operator()(float sum) const { return sum == 0.0f ? 0.0f : M_invSqrtRefined(sum); }
};

// The lengths of the three tiers; a zero vector has length 0 and takes no table lookup.
struct ExactLength {
    float operator()(float sum) const { return std::sqrt(sum); }
};

struct EstimatedLength {
    float operator()(float sum) const { return sum == 0.0f ? 0.0f : sum * M_invSqrtEstimate(sum); }
};

struct RefinedLength {
    float operator()(float sum) const { return sum == 0.0f ? 0.0f : sum * M_invSqrtRefined(sum); }
};

} // namespace

// ---- vectors by the floats of their lanes ----

void K_CPUReference::multiply(M_Vector4Array& dst, M_Vector4Array const& src,
                              M_ScalarArray const& factors) const {
    scaleVectors<4>(dst.getMemory(), src.getMemory(), factors.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::multiply(M_Vector3Array& dst, M_Vector3Array const& src,
                              M_ScalarArray const& factors) const {
    scaleVectors<3>(dst.getMemory(), src.getMemory(), factors.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::multiply(M_Vector2Array& dst, M_Vector2Array const& src,
                              M_ScalarArray const& factors) const {
    scaleVectors<2>(dst.getMemory(), src.getMemory(), factors.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::divide(M_Vector4Array& dst, M_Vector4Array const& src,
                            M_ScalarArray const& divisors) const {
    divideVectors<4>(dst.getMemory(), src.getMemory(), divisors.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::divide(M_Vector3Array& dst, M_Vector3Array const& src,
                            M_ScalarArray const& divisors) const {
    divideVectors<3>(dst.getMemory(), src.getMemory(), divisors.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::divide(M_Vector2Array& dst, M_Vector2Array const& src,
                            M_ScalarArray const& divisors) const {
    divideVectors<2>(dst.getMemory(), src.getMemory(), divisors.getMemory(), dst.getCurrentSize());
}

// ---- normalisation ----

void K_CPUReference::normalize_0(M_Vector4Array& dst, M_Vector4Array const& src) const {
    normalizeVectors<4>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), ExactFactor());
}

void K_CPUReference::normalize_0(M_Vector3Array& dst, M_Vector3Array const& src) const {
    normalizeVectors<3>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), ExactFactor());
}

void K_CPUReference::normalize_0(M_Vector2Array& dst, M_Vector2Array const& src) const {
    normalizeVectors<2>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), ExactFactor());
}

void K_CPUReference::normalize_lo_0(M_Vector4Array& dst, M_Vector4Array const& src) const {
    normalizeVectors<4>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), EstimatedFactor());
}

void K_CPUReference::normalize_lo_0(M_Vector3Array& dst, M_Vector3Array const& src) const {
    normalizeVectors<3>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), EstimatedFactor());
}

void K_CPUReference::normalize_lo_0(M_Vector2Array& dst, M_Vector2Array const& src) const {
    normalizeVectors<2>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), EstimatedFactor());
}

void K_CPUReference::normalize_hi_0(M_Vector4Array& dst, M_Vector4Array const& src) const {
    normalizeVectors<4>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), RefinedFactor());
}

void K_CPUReference::normalize_hi_0(M_Vector3Array& dst, M_Vector3Array const& src) const {
    normalizeVectors<3>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), RefinedFactor());
}

void K_CPUReference::normalize_hi_0(M_Vector2Array& dst, M_Vector2Array const& src) const {
    normalizeVectors<2>(dst.getMemory(), src.getMemory(), dst.getCurrentSize(), RefinedFactor());
}

// ---- lengths: the count is the source's ----

void K_CPUReference::length(float* dst, M_Vector4Array const& src) const {
    vectorLengths<4>(dst, src.getMemory(), src.getCurrentSize(), ExactLength());
}

void K_CPUReference::length(float* dst, M_Vector3Array const& src) const {
    vectorLengths<3>(dst, src.getMemory(), src.getCurrentSize(), ExactLength());
}

void K_CPUReference::length(float* dst, M_Vector2Array const& src) const {
    vectorLengths<2>(dst, src.getMemory(), src.getCurrentSize(), ExactLength());
}

void K_CPUReference::length_lo(float* dst, M_Vector4Array const& src) const {
    vectorLengths<4>(dst, src.getMemory(), src.getCurrentSize(), EstimatedLength());
}

void K_CPUReference::length_lo(float* dst, M_Vector3Array const& src) const {
    vectorLengths<3>(dst, src.getMemory(), src.getCurrentSize(), EstimatedLength());
}

void K_CPUReference::length_lo(float* dst, M_Vector2Array const& src) const {
    vectorLengths<2>(dst, src.getMemory(), src.getCurrentSize(), EstimatedLength());
}

void K_CPUReference::length_hi(float* dst, M_Vector4Array const& src) const {
    vectorLengths<4>(dst, src.getMemory(), src.getCurrentSize(), RefinedLength());
}

void K_CPUReference::length_hi(float* dst, M_Vector3Array const& src) const {
    vectorLengths<3>(dst, src.getMemory(), src.getCurrentSize(), RefinedLength());
}

void K_CPUReference::length_hi(float* dst, M_Vector2Array const& src) const {
    vectorLengths<2>(dst, src.getMemory(), src.getCurrentSize(), RefinedLength());
}

// ---- dot products: the count is the scalar destination's ----

void K_CPUReference::dotProduct(M_ScalarArray& dst, M_Vector4Array const& a,
                                M_Vector4Array const& b) const {
    dotProducts<4>(dst.getMemory(), a.getMemory(), b.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::dotProduct(M_ScalarArray& dst, M_Vector3Array const& a,
                                M_Vector3Array const& b) const {
    dotProducts<3>(dst.getMemory(), a.getMemory(), b.getMemory(), dst.getCurrentSize());
}

void K_CPUReference::dotProduct(M_ScalarArray& dst, M_Vector2Array const& a,
                                M_Vector2Array const& b) const {
    dotProducts<2>(dst.getMemory(), a.getMemory(), b.getMemory(), dst.getCurrentSize());
}
