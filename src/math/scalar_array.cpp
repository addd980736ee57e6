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

void M_ScalarArray::add(M_ScalarArray const& a, M_ScalarArray const& b) {
    Sys->getCPU()->add(getMemory(), a.getMemory(), b.getMemory(), getCurrentSize());
}

void M_ScalarArray::add(M_ScalarArray const& a, float value) {
    Sys->getCPU()->add(getMemory(), a.getMemory(), value, getCurrentSize());
}

M_ScalarArray& M_ScalarArray::operator+=(M_ScalarArray const& src) {
    Sys->getCPU()->add(getMemory(), src.getMemory(), getCurrentSize());
    return *this;
}

M_ScalarArray& M_ScalarArray::operator+=(float value) {
    Sys->getCPU()->add(getMemory(), value, getCurrentSize());
    return *this;
}
