// The scalar array: storage through M_ArrayStorage, and every arithmetic member one call
// of the active driver with this array's memory and current size.
#include "array_storage.h"

M_ScalarArray::M_ScalarArray(int size) {
    M_ArrayStorage::construct(*this, size);
}

M_ScalarArray::M_ScalarArray(M_ScalarArray const& other) {
    M_ArrayStorage::copyConstruct(*this, other);
}

M_ScalarArray::~M_ScalarArray() {
    M_ArrayStorage::destroy(*this);
}

M_ScalarArray& M_ScalarArray::operator=(M_ScalarArray const& other) {
    if (m_iCurrentSize != other.m_iCurrentSize) {
        resize(other.getCurrentSize());
    }
    for (int i = 0; i < m_iCurrentSize; ++i) {
        set(i, other.get(i));
    }
    return *this;
}

void M_ScalarArray::allocate(int size) {
    M_ArrayStorage::allocate(*this, size);
}

void M_ScalarArray::resize(int size) {
    M_ArrayStorage::resize(*this, size);
}

void M_ScalarArray::setMemory(float* memory, int size) {
    M_ArrayStorage::setMemory(*this, memory, size);
}

void M_ScalarArray::null() {
    for (int i = 0; i < m_iCurrentSize; ++i) {
        set(i, 0.0f);
    }
}

// ---- this = a op b, this = a op value ----

void M_ScalarArray::add(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->add(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::subtract(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->subtract(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::multiply(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->multiply(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::divide(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->divide(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::divide_lo(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->divide_lo(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::add(M_ScalarArray const& a, float value) {
    Sys->getCPU()->add(getMemory(), a.getMemory(), value, getCurrentSize());
}

void M_ScalarArray::subtract(M_ScalarArray const& a, float value) {
    Sys->getCPU()->subtract(getMemory(), a.getMemory(), value, getCurrentSize());
}

void M_ScalarArray::multiply(M_ScalarArray const& a, float value) {
    Sys->getCPU()->multiply(getMemory(), a.getMemory(), value, getCurrentSize());
}

void M_ScalarArray::divide(M_ScalarArray const& a, float value) {
    Sys->getCPU()->divide(getMemory(), a.getMemory(), value, getCurrentSize());
}

// A float divisor takes the plain divide: one reciprocal and a multiplication per lane.
void M_ScalarArray::divide_lo(M_ScalarArray const& a, float value) {
    Sys->getCPU()->divide(getMemory(), a.getMemory(), value, getCurrentSize());
}

// ---- in place ----

M_ScalarArray& M_ScalarArray::operator+=(M_ScalarArray const& src) {
    Sys->getCPU()->add(getMemory(), src.getMemory(), getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator-=(M_ScalarArray const& src) {
    Sys->getCPU()->subtract(getMemory(), src.getMemory(), getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator*=(M_ScalarArray const& src) {
    Sys->getCPU()->multiply(getMemory(), src.getMemory(), getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator/=(M_ScalarArray const& src) {
    Sys->getCPU()->divide(getMemory(), src.getMemory(), getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator+=(float value) {
    Sys->getCPU()->add(getMemory(), value, getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator-=(float value) {
    Sys->getCPU()->subtract(getMemory(), value, getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator*=(float value) {
    Sys->getCPU()->multiply(getMemory(), value, getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator/=(float value) {
    Sys->getCPU()->divide(getMemory(), value, getCurrentSize());
    return *this;
}

// ---- unary ----

void M_ScalarArray::reciprocal_0() {
    Sys->getCPU()->reciprocal_0(getMemory(), getCurrentSize());
}

void M_ScalarArray::reciprocal_0(M_ScalarArray const& src) {
    Sys->getCPU()->reciprocal_0(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::reciprocal_lo_0() {
    Sys->getCPU()->reciprocal_lo_0(getMemory(), getCurrentSize());
}

void M_ScalarArray::reciprocal_lo_0(M_ScalarArray const& src) {
    Sys->getCPU()->reciprocal_lo_0(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::reciprocal_hi_0() {
    Sys->getCPU()->reciprocal_hi_0(getMemory(), getCurrentSize());
}

void M_ScalarArray::reciprocal_hi_0(M_ScalarArray const& src) {
    Sys->getCPU()->reciprocal_hi_0(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt() {
    Sys->getCPU()->sqrt(getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt(M_ScalarArray const& src) {
    Sys->getCPU()->sqrt(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt_lo() {
    Sys->getCPU()->sqrt_lo(getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt_lo(M_ScalarArray const& src) {
    Sys->getCPU()->sqrt_lo(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt_hi() {
    Sys->getCPU()->sqrt_hi(getMemory(), getCurrentSize());
}

void M_ScalarArray::sqrt_hi(M_ScalarArray const& src) {
    Sys->getCPU()->sqrt_hi(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt() {
    Sys->getCPU()->invsqrt(getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt(M_ScalarArray const& src) {
    Sys->getCPU()->invsqrt(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt_lo() {
    Sys->getCPU()->invsqrt_lo(getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt_lo(M_ScalarArray const& src) {
    Sys->getCPU()->invsqrt_lo(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt_hi() {
    Sys->getCPU()->invsqrt_hi(getMemory(), getCurrentSize());
}

void M_ScalarArray::invsqrt_hi(M_ScalarArray const& src) {
    Sys->getCPU()->invsqrt_hi(getMemory(), src.getMemory(), getCurrentSize());
}

void M_ScalarArray::negate() {
    Sys->getCPU()->negate(getMemory(), getCurrentSize());
}

void M_ScalarArray::abs() {
    Sys->getCPU()->abs(getMemory(), getCurrentSize());
}

// ---- clamps, minimum and maximum ----

void M_ScalarArray::clamp(float low, float high) {
    Sys->getCPU()->clamp(getMemory(), low, high, getCurrentSize());
}

void M_ScalarArray::clampMin(float limit) {
    Sys->getCPU()->clampMin(getMemory(), limit, getCurrentSize());
}

void M_ScalarArray::clampMax(float limit) {
    Sys->getCPU()->clampMax(getMemory(), limit, getCurrentSize());
}

void M_ScalarArray::minimum(M_ScalarArray const& a) {
    Sys->getCPU()->minimum(getMemory(), a.getMemory(), getCurrentSize());
}

void M_ScalarArray::minimum(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->minimum(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::maximum(M_ScalarArray const& a) {
    Sys->getCPU()->maximum(getMemory(), a.getMemory(), getCurrentSize());
}

void M_ScalarArray::maximum(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->maximum(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

// ---- from vector arrays: the driver reads the counts ----

void M_ScalarArray::dotProduct(M_Vector2Array const& a, M_Vector2Array const& b) {
    Sys->getCPU()->dotProduct(*this, a, b);
}

void M_ScalarArray::dotProduct(M_Vector3Array const& a, M_Vector3Array const& b) {
    Sys->getCPU()->dotProduct(*this, a, b);
}

void M_ScalarArray::dotProduct(M_Vector4Array const& a, M_Vector4Array const& b) {
    Sys->getCPU()->dotProduct(*this, a, b);
}

void M_ScalarArray::length(M_Vector2Array const& v) {
    Sys->getCPU()->length(getMemory(), v);
}

void M_ScalarArray::length(M_Vector3Array const& v) {
    Sys->getCPU()->length(getMemory(), v);
}

void M_ScalarArray::length(M_Vector4Array const& v) {
    Sys->getCPU()->length(getMemory(), v);
}

void M_ScalarArray::length_lo(M_Vector2Array const& v) {
    Sys->getCPU()->length_lo(getMemory(), v);
}

void M_ScalarArray::length_lo(M_Vector3Array const& v) {
    Sys->getCPU()->length_lo(getMemory(), v);
}

void M_ScalarArray::length_lo(M_Vector4Array const& v) {
    Sys->getCPU()->length_lo(getMemory(), v);
}

void M_ScalarArray::length_hi(M_Vector2Array const& v) {
    Sys->getCPU()->length_hi(getMemory(), v);
}

void M_ScalarArray::length_hi(M_Vector3Array const& v) {
    Sys->getCPU()->length_hi(getMemory(), v);
}

void M_ScalarArray::length_hi(M_Vector4Array const& v) {
    Sys->getCPU()->length_hi(getMemory(), v);
}
