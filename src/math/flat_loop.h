// The loop of the reference driver's flat kernels.
#pragma once

#include <cstddef>

// Calls `lane(offset)` for each float of ((count - 1) >> 2) + 1 groups of four, with the
// groups 4 * stride floats apart; nothing when `count <= 0`. `count` is thereby rounded
// up to whole groups. A lane reads its inputs before it stores, so the destination may
// be one of the sources.
template <class Lane> void M_forEachLane(int count, int stride, Lane lane) {
    if (count <= 0) {
        return;
    }
    int const groups = ((count - 1) >> 2) + 1;
    std::ptrdiff_t const step = 4 * static_cast<std::ptrdiff_t>(stride);
    for (int group = 0; group < groups; ++group) {
        std::ptrdiff_t const first = group * step;
        for (std::ptrdiff_t k = 0; k < 4; ++k) {
            lane(first + k);
        }
    }
}
