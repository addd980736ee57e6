// The host's vector and matrix value types.
//
// All of them are plain runs of their components with nothing else inside: the drivers
// and the arrays see only this layout. Matrices are stored row by row and vectors
// multiply on the left as rows, so out[c] is the sum over r of in[r] * m(r, c). The 4x3
// matrix is four rows of three whose last row is the translation; its first three rows
// are laid out exactly like a 3x3 matrix.
#pragma once

template <class T> struct M_Vector2Template {
    T x;
    T y;
};

template <class T> struct M_Vector3Template {
    T x;
    T y;
    T z;
};

template <class T> struct M_Vector4Template {
    T x;
    T y;
    T z;
    T w;
};

// The matrices share their access: m[index] row by row, or (row, column).
template <class T> struct M_Matrix2Template {
    static constexpr int sm_iRows = 2;
    static constexpr int sm_iColumns = 2;
    T m[sm_iRows * sm_iColumns];

    T& operator[](int index) { return m[index]; }
    T const& operator[](int index) const { return m[index]; }
    T& operator()(int row, int column) { return m[row * sm_iColumns + column]; }
    T const& operator()(int row, int column) const { return m[row * sm_iColumns + column]; }
};

template <class T> struct M_Matrix3Template {
    static constexpr int sm_iRows = 3;
    static constexpr int sm_iColumns = 3;
    T m[sm_iRows * sm_iColumns];

    T& operator[](int index) { return m[index]; }
    T const& operator[](int index) const { return m[index]; }
    T& operator()(int row, int column) { return m[row * sm_iColumns + column]; }
    T const& operator()(int row, int column) const { return m[row * sm_iColumns + column]; }
};

template <class T> struct M_Matrix4x3Template {
    static constexpr int sm_iRows = 4;
    static constexpr int sm_iColumns = 3;
    T m[sm_iRows * sm_iColumns];

    T& operator[](int index) { return m[index]; }
    T const& operator[](int index) const { return m[index]; }
    T& operator()(int row, int column) { return m[row * sm_iColumns + column]; }
    T const& operator()(int row, int column) const { return m[row * sm_iColumns + column]; }
};

template <class T> struct M_Matrix4Template {
    static constexpr int sm_iRows = 4;
    static constexpr int sm_iColumns = 4;
    T m[sm_iRows * sm_iColumns];

    T& operator[](int index) { return m[index]; }
    T const& operator[](int index) const { return m[index]; }
    T& operator()(int row, int column) { return m[row * sm_iColumns + column]; }
    T const& operator()(int row, int column) const { return m[row * sm_iColumns + column]; }
};

// The drivers read these types as bare floats.
static_assert(sizeof(float) == 4, "the value types are runs of 32-bit floats");
static_assert(sizeof(M_Vector2Template<float>) == 2 * sizeof(float), "no padding");
static_assert(sizeof(M_Vector3Template<float>) == 3 * sizeof(float), "no padding");
static_assert(sizeof(M_Vector4Template<float>) == 4 * sizeof(float), "no padding");
static_assert(sizeof(M_Matrix2Template<float>) == 4 * sizeof(float), "no padding");
static_assert(sizeof(M_Matrix3Template<float>) == 9 * sizeof(float), "no padding");
static_assert(sizeof(M_Matrix4x3Template<float>) == 12 * sizeof(float), "no padding");
static_assert(sizeof(M_Matrix4Template<float>) == 16 * sizeof(float), "no padding");
