// These kernels of the reference driver are filled in with the rest of the vector maths.
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"

// ---- subtract ----

void K_CPUReference::subtract(float*, float const*, float, int, int) const {}

void K_CPUReference::subtract(float*, float const*, float const*, int, int) const {}

// ---- multiply ----

void K_CPUReference::multiply(M_Vector4Array&, M_Vector4Array const&, M_ScalarArray const&) const {}

void K_CPUReference::multiply(M_Vector3Array&, M_Vector3Array const&, M_ScalarArray const&) const {}

void K_CPUReference::multiply(M_Vector2Array&, M_Vector2Array const&, M_ScalarArray const&) const {}

void K_CPUReference::multiply(M_Vector4Array&, M_Vector4Array const&,
                              M_Matrix4Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector3Array&, M_Vector3Array const&,
                              M_Matrix4x3Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector3Array&, M_Vector3Array const&,
                              M_Matrix3Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector2Array&, M_Vector2Array const&,
                              M_Matrix2Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector4Template<float>&, M_Vector4Template<float> const&,
                              M_Matrix4Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector3Template<float>&, M_Vector3Template<float> const&,
                              M_Matrix4x3Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector3Template<float>&, M_Vector3Template<float> const&,
                              M_Matrix3Template<float> const&) const {}

void K_CPUReference::multiply(M_Vector2Template<float>&, M_Vector2Template<float> const&,
                              M_Matrix2Template<float> const&) const {}

void K_CPUReference::multiply(M_Matrix4Template<float>&, M_Matrix4Template<float> const&) const {}

void K_CPUReference::multiply(M_Matrix4x3Template<float>&,
                              M_Matrix4x3Template<float> const&) const {}

void K_CPUReference::multiply(M_Matrix3Template<float>&, M_Matrix3Template<float> const&) const {}

void K_CPUReference::multiply(M_Matrix2Template<float>&, M_Matrix2Template<float> const&) const {}

void K_CPUReference::multiply(float*, float const*, float, int, int) const {}

void K_CPUReference::multiply(float*, float const*, float const*, int, int) const {}

// ---- divide ----

void K_CPUReference::divide(M_Vector4Array&, M_Vector4Array const&, M_ScalarArray const&) const {}

void K_CPUReference::divide(M_Vector3Array&, M_Vector3Array const&, M_ScalarArray const&) const {}

void K_CPUReference::divide(M_Vector2Array&, M_Vector2Array const&, M_ScalarArray const&) const {}

void K_CPUReference::divide(float*, float const*, float, int, int) const {}

void K_CPUReference::divide(float*, float const*, float const*, int, int) const {}

// ---- multiply then add or subtract ----

void K_CPUReference::multiply_then_add(float*, float const*, float const*, int, int) const {}

void K_CPUReference::multiply_then_subtract(float*, float const*, float const*, int, int) const {}

// ---- unary kernels ----

void K_CPUReference::reciprocal_0(float*, float const*, int) const {}

void K_CPUReference::sqrt(float*, float const*, int) const {}

void K_CPUReference::invsqrt(float*, float const*, int) const {}

void K_CPUReference::negate(float*, float const*, int) const {}

void K_CPUReference::abs(float*, float const*, int) const {}

// ---- clamps, minimum and maximum ----

void K_CPUReference::clamp(float*, float const*, float, float, int) const {}

void K_CPUReference::clampMin(float*, float const*, float, int) const {}

void K_CPUReference::clampMax(float*, float const*, float, int) const {}

void K_CPUReference::minimum(float*, float*, float*, int) const {}

void K_CPUReference::maximum(float*, float*, float*, int) const {}

// ---- matrix inversion ----

void K_CPUReference::invert(M_Matrix4Template<float>&) const {}

void K_CPUReference::invert(M_Matrix4x3Template<float>&) const {}

void K_CPUReference::invert(M_Matrix3Template<float>&) const {}

void K_CPUReference::invert(M_Matrix2Template<float>&) const {}

// ---- normalisation ----

void K_CPUReference::normalize_0(M_Vector4Array&, M_Vector4Array const&) const {}

void K_CPUReference::normalize_0(M_Vector3Array&, M_Vector3Array const&) const {}

void K_CPUReference::normalize_0(M_Vector2Array&, M_Vector2Array const&) const {}

void K_CPUReference::normalize_lo_0(M_Vector4Array&, M_Vector4Array const&) const {}

void K_CPUReference::normalize_lo_0(M_Vector3Array&, M_Vector3Array const&) const {}

void K_CPUReference::normalize_lo_0(M_Vector2Array&, M_Vector2Array const&) const {}

void K_CPUReference::normalize_hi_0(M_Vector4Array&, M_Vector4Array const&) const {}

void K_CPUReference::normalize_hi_0(M_Vector3Array&, M_Vector3Array const&) const {}

void K_CPUReference::normalize_hi_0(M_Vector2Array&, M_Vector2Array const&) const {}

// ---- lengths ----

void K_CPUReference::length(float*, M_Vector4Array const&) const {}

void K_CPUReference::length(float*, M_Vector3Array const&) const {}

void K_CPUReference::length(float*, M_Vector2Array const&) const {}

void K_CPUReference::length_lo(float*, M_Vector4Array const&) const {}

void K_CPUReference::length_lo(float*, M_Vector3Array const&) const {}

void K_CPUReference::length_lo(float*, M_Vector2Array const&) const {}

void K_CPUReference::length_hi(float*, M_Vector4Array const&) const {}

void K_CPUReference::length_hi(float*, M_Vector3Array const&) const {}

void K_CPUReference::length_hi(float*, M_Vector2Array const&) const {}

// ---- dot products ----

void K_CPUReference::dotProduct(M_ScalarArray&, M_Vector4Array const&,
                                M_Vector4Array const&) const {}

void K_CPUReference::dotProduct(M_ScalarArray&, M_Vector3Array const&,
                                M_Vector3Array const&) const {}

void K_CPUReference::dotProduct(M_ScalarArray&, M_Vector2Array const&,
                                M_Vector2Array const&) const {}

// ---- conversion ----

void K_CPUReference::convertToInt(int*, float const*, int) const {}
