// The three vector arrays differ only in their number of components and their matrix
// types. Storage lives in M_ArrayStorage; every other member is one call of the active
// driver, on the array objects or, for the flat operations, on the floats of the whole
// blocks.
#include "array_storage.h"

// ---- M_Vector2Array ----

M_Vector2Array::M_Vector2Array(int size) {
    M_ArrayStorage::construct(*this, size);
}

M_Vector2Array::M_Vector2Array(M_Vector2Array const& other) {
    M_ArrayStorage::copyConstruct(*this, other);
}

M_Vector2Array::~M_Vector2Array() {
    M_ArrayStorage::destroy(*this);
}

M_Vector2Array& M_Vector2Array::operator=(M_Vector2Array const& other) {
    M_ArrayStorage::assignVectors(*this, other);
    return *this;
}

void M_Vector2Array::allocate(int size) {
    M_ArrayStorage::allocate(*this, size);
}

void M_Vector2Array::resize(int size) {
    M_ArrayStorage::resize(*this, size);
}

void M_Vector2Array::setMemory(float* memory, int size) {
    M_ArrayStorage::setMemory(*this, memory, size);
}

void M_Vector2Array::set(int index, M_Vector2Template<float> const& value) {
    Sys->getCPU()->set(*this, index, value);
}

void M_Vector2Array::get(M_Vector2Template<float>& value, int index) const {
    Sys->getCPU()->get(*this, value, index);
}

M_Vector2Template<float> M_Vector2Array::get(int index) const {
    M_Vector2Template<float> value{};
    Sys->getCPU()->get(*this, value, index);
    return value;
}

void M_Vector2Array::null() {
    M_ArrayStorage::nullVectors(*this);
}

void M_Vector2Array::multiply(M_Vector2Array const& src, M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, src, factors);
}

void M_Vector2Array::divide(M_Vector2Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, src, divisors);
}

void M_Vector2Array::divide_lo(M_Vector2Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide_lo(*this, src, divisors);
}

M_Vector2Array& M_Vector2Array::operator*=(M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, *this, factors);
    return *this;
}

M_Vector2Array& M_Vector2Array::operator/=(M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, *this, divisors);
    return *this;
}

void M_Vector2Array::multiply(M_Vector2Array const& src, M_Matrix2Template<float> const& m) {
    Sys->getCPU()->multiply(*this, src, m);
}

M_Vector2Array& M_Vector2Array::operator*=(M_Matrix2Template<float> const& m) {
    Sys->getCPU()->multiply(*this, *this, m);
    return *this;
}

void M_Vector2Array::normalize_0() {
    Sys->getCPU()->normalize_0(*this, *this);
}

void M_Vector2Array::normalize_lo_0() {
    Sys->getCPU()->normalize_lo_0(*this, *this);
}

void M_Vector2Array::normalize_hi_0() {
    Sys->getCPU()->normalize_hi_0(*this, *this);
}

void M_Vector2Array::normalize_0(M_Vector2Array const& src) {
    Sys->getCPU()->normalize_0(*this, src);
}

void M_Vector2Array::normalize_lo_0(M_Vector2Array const& src) {
    Sys->getCPU()->normalize_lo_0(*this, src);
}

void M_Vector2Array::normalize_hi_0(M_Vector2Array const& src) {
    Sys->getCPU()->normalize_hi_0(*this, src);
}

void M_Vector2Array::dotProduct(M_ScalarArray& dst, M_Vector2Array const& a,
                                M_Vector2Array const& b) {
    Sys->getCPU()->dotProduct(dst, a, b);
}

void M_Vector2Array::length(M_ScalarArray& dst, M_Vector2Array const& v) {
    Sys->getCPU()->length(dst.getMemory(), v);
}

void M_Vector2Array::length_lo(M_ScalarArray& dst, M_Vector2Array const& v) {
    Sys->getCPU()->length_lo(dst.getMemory(), v);
}

void M_Vector2Array::length_hi(M_ScalarArray& dst, M_Vector2Array const& v) {
    Sys->getCPU()->length_hi(dst.getMemory(), v);
}

// The flat operations count the floats of the whole blocks.

void M_Vector2Array::add(M_Vector2Array const& a, M_Vector2Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::subtract(M_Vector2Array const& a, M_Vector2Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), a.getMemory(), b.getMemory(),
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector2Array& M_Vector2Array::operator+=(M_Vector2Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector2Array& M_Vector2Array::operator-=(M_Vector2Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector2Array::multiply(M_Vector2Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), src.getMemory(), value,
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::divide(M_Vector2Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), src.getMemory(), value,
                   M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::divide_lo(M_Vector2Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide_lo(getMemory(), src.getMemory(), value,
                      M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector2Array& M_Vector2Array::operator*=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector2Array& M_Vector2Array::operator/=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector2Array::negate() {
    K_CPUDriver* driver = Sys->getCPU();
    driver->negate(getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::clamp(float low, float high) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clamp(getMemory(), low, high, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::clampMin(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMin(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::clampMax(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMax(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::minimum(M_Vector2Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::maximum(M_Vector2Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::minimum(M_Vector2Array const& a, M_Vector2Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector2Array::maximum(M_Vector2Array const& a, M_Vector2Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}

// ---- M_Vector3Array ----

M_Vector3Array::M_Vector3Array(int size) {
    M_ArrayStorage::construct(*this, size);
}

M_Vector3Array::M_Vector3Array(M_Vector3Array const& other) {
    M_ArrayStorage::copyConstruct(*this, other);
}

M_Vector3Array::~M_Vector3Array() {
    M_ArrayStorage::destroy(*this);
}

M_Vector3Array& M_Vector3Array::operator=(M_Vector3Array const& other) {
    M_ArrayStorage::assignVectors(*this, other);
    return *this;
}

void M_Vector3Array::allocate(int size) {
    M_ArrayStorage::allocate(*this, size);
}

void M_Vector3Array::resize(int size) {
    M_ArrayStorage::resize(*this, size);
}

void M_Vector3Array::setMemory(float* memory, int size) {
    M_ArrayStorage::setMemory(*this, memory, size);
}

void M_Vector3Array::set(int index, M_Vector3Template<float> const& value) {
    Sys->getCPU()->set(*this, index, value);
}

void M_Vector3Array::get(M_Vector3Template<float>& value, int index) const {
    Sys->getCPU()->get(*this, value, index);
}

M_Vector3Template<float> M_Vector3Array::get(int index) const {
    M_Vector3Template<float> value{};
    Sys->getCPU()->get(*this, value, index);
    return value;
}

void M_Vector3Array::null() {
    M_ArrayStorage::nullVectors(*this);
}

void M_Vector3Array::multiply(M_Vector3Array const& src, M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, src, factors);
}

void M_Vector3Array::divide(M_Vector3Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, src, divisors);
}

void M_Vector3Array::divide_lo(M_Vector3Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide_lo(*this, src, divisors);
}

M_Vector3Array& M_Vector3Array::operator*=(M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, *this, factors);
    return *this;
}

M_Vector3Array& M_Vector3Array::operator/=(M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, *this, divisors);
    return *this;
}

void M_Vector3Array::multiply(M_Vector3Array const& src, M_Matrix3Template<float> const& m) {
    Sys->getCPU()->multiply(*this, src, m);
}

M_Vector3Array& M_Vector3Array::operator*=(M_Matrix3Template<float> const& m) {
    Sys->getCPU()->multiply(*this, *this, m);
    return *this;
}

void M_Vector3Array::multiply(M_Vector3Array const& src, M_Matrix4x3Template<float> const& m) {
    Sys->getCPU()->multiply(*this, src, m);
}

M_Vector3Array& M_Vector3Array::operator*=(M_Matrix4x3Template<float> const& m) {
    Sys->getCPU()->multiply(*this, *this, m);
    return *this;
}

void M_Vector3Array::normalize_0() {
    Sys->getCPU()->normalize_0(*this, *this);
}

void M_Vector3Array::normalize_lo_0() {
    Sys->getCPU()->normalize_lo_0(*this, *this);
}

void M_Vector3Array::normalize_hi_0() {
    Sys->getCPU()->normalize_hi_0(*this, *this);
}

void M_Vector3Array::normalize_0(M_Vector3Array const& src) {
    Sys->getCPU()->normalize_0(*this, src);
}

void M_Vector3Array::normalize_lo_0(M_Vector3Array const& src) {
    Sys->getCPU()->normalize_lo_0(*this, src);
}

void M_Vector3Array::normalize_hi_0(M_Vector3Array const& src) {
    Sys->getCPU()->normalize_hi_0(*this, src);
}

void M_Vector3Array::vectorProduct(M_Vector3Array const& a, M_Vector3Array const& b) {
    Sys->getCPU()->vectorProduct(*this, a, b);
}

void M_Vector3Array::dotProduct(M_ScalarArray& dst, M_Vector3Array const& a,
                                M_Vector3Array const& b) {
    Sys->getCPU()->dotProduct(dst, a, b);
}

void M_Vector3Array::length(M_ScalarArray& dst, M_Vector3Array const& v) {
    Sys->getCPU()->length(dst.getMemory(), v);
}

void M_Vector3Array::length_lo(M_ScalarArray& dst, M_Vector3Array const& v) {
    Sys->getCPU()->length_lo(dst.getMemory(), v);
}

void M_Vector3Array::length_hi(M_ScalarArray& dst, M_Vector3Array const& v) {
    Sys->getCPU()->length_hi(dst.getMemory(), v);
}

// The flat operations count the floats of the whole blocks.

void M_Vector3Array::add(M_Vector3Array const& a, M_Vector3Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::subtract(M_Vector3Array const& a, M_Vector3Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), a.getMemory(), b.getMemory(),
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector3Array& M_Vector3Array::operator+=(M_Vector3Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector3Array& M_Vector3Array::operator-=(M_Vector3Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector3Array::multiply(M_Vector3Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), src.getMemory(), value,
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::divide(M_Vector3Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), src.getMemory(), value,
                   M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::divide_lo(M_Vector3Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide_lo(getMemory(), src.getMemory(), value,
                      M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector3Array& M_Vector3Array::operator*=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector3Array& M_Vector3Array::operator/=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector3Array::negate() {
    K_CPUDriver* driver = Sys->getCPU();
    driver->negate(getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::clamp(float low, float high) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clamp(getMemory(), low, high, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::clampMin(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMin(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::clampMax(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMax(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::minimum(M_Vector3Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::maximum(M_Vector3Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::minimum(M_Vector3Array const& a, M_Vector3Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector3Array::maximum(M_Vector3Array const& a, M_Vector3Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}

// ---- M_Vector4Array ----

M_Vector4Array::M_Vector4Array(int size) {
    M_ArrayStorage::construct(*this, size);
}

M_Vector4Array::M_Vector4Array(M_Vector4Array const& other) {
    M_ArrayStorage::copyConstruct(*this, other);
}

M_Vector4Array::~M_Vector4Array() {
    M_ArrayStorage::destroy(*this);
}

M_Vector4Array& M_Vector4Array::operator=(M_Vector4Array const& other) {
    M_ArrayStorage::assignVectors(*this, other);
    return *this;
}

void M_Vector4Array::allocate(int size) {
    M_ArrayStorage::allocate(*this, size);
}

void M_Vector4Array::resize(int size) {
    M_ArrayStorage::resize(*this, size);
}

void M_Vector4Array::setMemory(float* memory, int size) {
    M_ArrayStorage::setMemory(*this, memory, size);
}

void M_Vector4Array::set(int index, M_Vector4Template<float> const& value) {
    Sys->getCPU()->set(*this, index, value);
}

void M_Vector4Array::get(M_Vector4Template<float>& value, int index) const {
    Sys->getCPU()->get(*this, value, index);
}

M_Vector4Template<float> M_Vector4Array::get(int index) const {
    M_Vector4Template<float> value{};
    Sys->getCPU()->get(*this, value, index);
    return value;
}

void M_Vector4Array::null() {
    M_ArrayStorage::nullVectors(*this);
}

void M_Vector4Array::multiply(M_Vector4Array const& src, M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, src, factors);
}

void M_Vector4Array::divide(M_Vector4Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, src, divisors);
}

void M_Vector4Array::divide_lo(M_Vector4Array const& src, M_ScalarArray const& divisors) {
    Sys->getCPU()->divide_lo(*this, src, divisors);
}

M_Vector4Array& M_Vector4Array::operator*=(M_ScalarArray const& factors) {
    Sys->getCPU()->multiply(*this, *this, factors);
    return *this;
}

M_Vector4Array& M_Vector4Array::operator/=(M_ScalarArray const& divisors) {
    Sys->getCPU()->divide(*this, *this, divisors);
    return *this;
}

void M_Vector4Array::multiply(M_Vector4Array const& src, M_Matrix4Template<float> const& m) {
    Sys->getCPU()->multiply(*this, src, m);
}

M_Vector4Array& M_Vector4Array::operator*=(M_Matrix4Template<float> const& m) {
    Sys->getCPU()->multiply(*this, *this, m);
    return *this;
}

void M_Vector4Array::normalize_0() {
    Sys->getCPU()->normalize_0(*this, *this);
}

void M_Vector4Array::normalize_lo_0() {
    Sys->getCPU()->normalize_lo_0(*this, *this);
}

void M_Vector4Array::normalize_hi_0() {
    Sys->getCPU()->normalize_hi_0(*this, *this);
}

void M_Vector4Array::normalize_0(M_Vector4Array const& src) {
    Sys->getCPU()->normalize_0(*this, src);
}

void M_Vector4Array::normalize_lo_0(M_Vector4Array const& src) {
    Sys->getCPU()->normalize_lo_0(*this, src);
}

void M_Vector4Array::normalize_hi_0(M_Vector4Array const& src) {
    Sys->getCPU()->normalize_hi_0(*this, src);
}

void M_Vector4Array::dotProduct(M_ScalarArray& dst, M_Vector4Array const& a,
                                M_Vector4Array const& b) {
    Sys->getCPU()->dotProduct(dst, a, b);
}

void M_Vector4Array::length(M_ScalarArray& dst, M_Vector4Array const& v) {
    Sys->getCPU()->length(dst.getMemory(), v);
}

void M_Vector4Array::length_lo(M_ScalarArray& dst, M_Vector4Array const& v) {
    Sys->getCPU()->length_lo(dst.getMemory(), v);
}

void M_Vector4Array::length_hi(M_ScalarArray& dst, M_Vector4Array const& v) {
    Sys->getCPU()->length_hi(dst.getMemory(), v);
}

// The flat operations count the floats of the whole blocks.

void M_Vector4Array::add(M_Vector4Array const& a, M_Vector4Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::subtract(M_Vector4Array const& a, M_Vector4Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), a.getMemory(), b.getMemory(),
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector4Array& M_Vector4Array::operator+=(M_Vector4Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector4Array& M_Vector4Array::operator-=(M_Vector4Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->subtract(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector4Array::multiply(M_Vector4Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), src.getMemory(), value,
                     M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::divide(M_Vector4Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), src.getMemory(), value,
                   M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::divide_lo(M_Vector4Array const& src, float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide_lo(getMemory(), src.getMemory(), value,
                      M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector4Array& M_Vector4Array::operator*=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->multiply(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

M_Vector4Array& M_Vector4Array::operator/=(float value) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->divide(getMemory(), value, M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}

void M_Vector4Array::negate() {
    K_CPUDriver* driver = Sys->getCPU();
    driver->negate(getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::clamp(float low, float high) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clamp(getMemory(), low, high, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::clampMin(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMin(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::clampMax(float limit) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->clampMax(getMemory(), limit, M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::minimum(M_Vector4Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::maximum(M_Vector4Array const& a) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::minimum(M_Vector4Array const& a, M_Vector4Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->minimum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}

void M_Vector4Array::maximum(M_Vector4Array const& a, M_Vector4Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->maximum(getMemory(), a.getMemory(), b.getMemory(),
                    M_ArrayStorage::wholeBlockFloats(*this, driver));
}
