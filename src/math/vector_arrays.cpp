// The three vector arrays differ only in their number of components; the bodies live
// in M_ArrayStorage and the single-vector accesses go through the driver.
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

void M_Vector2Array::add(M_Vector2Array const& a, M_Vector2Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector2Array& M_Vector2Array::operator+=(M_Vector2Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
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

void M_Vector3Array::add(M_Vector3Array const& a, M_Vector3Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector3Array& M_Vector3Array::operator+=(M_Vector3Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
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

void M_Vector4Array::add(M_Vector4Array const& a, M_Vector4Array const& b) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), a.getMemory(), b.getMemory(),
                M_ArrayStorage::wholeBlockFloats(*this, driver));
}

M_Vector4Array& M_Vector4Array::operator+=(M_Vector4Array const& src) {
    K_CPUDriver* driver = Sys->getCPU();
    driver->add(getMemory(), src.getMemory(), M_ArrayStorage::wholeBlockFloats(*this, driver));
    return *this;
}
