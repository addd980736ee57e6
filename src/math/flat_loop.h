// The loops of the reference driver's kernels.
#pragma once

#include <cstddef>

// Stores `lane(offset)` into `dst[offset]` for each float of ((count - 1) >> 2) + 1 groups
// of four, with the groups 4 * stride floats apart; nothing when `count <= 0`. `count` is
// thereby rounded up to whole groups. A group's four results are all formed before any
// of them is stored, so the destination may be one of the sources, and the four lanes
// can go into one vector instruction.
template <class T, class Lane> void M_forEachLane(int count, int stride, T* dst, Lane lane) {
    if (count <= 0) {
        return;
    }
    int const groups = ((count - 1) >> 2) + 1;
    std::ptrdiff_t const step = 4 * static_cast<std::ptrdiff_t>(stride);
    for (int group = 0; group < groups; ++group) {
        std::ptrdiff_t const first = group * step;
        T const results[4] = {lane(first), lane(first + 1), lane(first + 2), lane(first + 3)};
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            dst[first + k] = results[k];
        }
    }
}

// The vector kernels, over the ((count * D - 1) / (4 * D)) + 1 blocks of a vector array
// of D components that `count` vectors reach; nothing when `count <= 0`. For each of the
// four lanes of a block, `lane(vector, scalar, ...)` is given the float offset of the
// lane's x component (its other components follow 4, 8 and 12 floats on) and the offset
// of the float of a scalar array that pairs with the lane. All four lanes of a block are
// computed before any of them is stored, so the destination may be the source.

// `lane(vector, scalar, out)` fills the D components of the lane's result, stored at the
// lane's place in `dst`, a vector array of D components.
template <int D, class Lane> void M_forEachVector(int count, float* dst, Lane lane) {
    if (count <= 0) {
        return;
    }
    int const blocks = ((count * D - 1) / (4 * D)) + 1;
    for (int block = 0; block < blocks; ++block) {
        std::ptrdiff_t const vector = static_cast<std::ptrdiff_t>(block) * 4 * D;
        std::ptrdiff_t const scalar = static_cast<std::ptrdiff_t>(block) * 4;
        float results[4][D];
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            lane(vector + k, scalar + k, results[k]);
        }
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            for (int c = 0; c < D; ++c) {
                dst[vector + 4 * c + k] = results[k][c];
            }
        }
    }
}

// `lane(vector, scalar)` returns one float, stored at the lane's place in `dst`, a scalar
// array.
template <int D, class Lane> void M_forEachVectorToScalar(int count, float* dst, Lane lane) {
    if (count <= 0) {
        return;
    }
    int const blocks = ((count * D - 1) / (4 * D)) + 1;
    for (int block = 0; block < blocks; ++block) {
        std::ptrdiff_t const vector = static_cast<std::ptrdiff_t>(block) * 4 * D;
        std::ptrdiff_t const scalar = static_cast<std::ptrdiff_t>(block) * 4;
        float const results[4] = {lane(vector, scalar), lane(vector + 1, scalar + 1),
                                  lane(vector + 2, scalar + 2), lane(vector + 3, scalar + 3)};
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            dst[scalar + k] = results[k];
        }
    }
}
