// The storage of the four array classes: rounding, alignment, zero fill, resize, copy and
// assignment, foreign memory, counted allocation and the vector block layout.
#include "klmfc/core/system.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "klmfc/memory/memory.h"
#include "math/math_test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <numeric>
#include <string>
#include <tuple>
#include <vector>

namespace {

using namespace klmfc::test;

// Counter changes since construction.
struct CountDelta {
    int news0 = K_Memory::getNewCount();
    int deletes0 = K_Memory::getDeleteCount();
    int news() const { return K_Memory::getNewCount() - news0; }
    int deletes() const { return K_Memory::getDeleteCount() - deletes0; }
};

// Lets a test see where an array's block begins.
template <class Array> struct Peek : Array {
    using Array::Array;
    float* allocation() const { return this->m_pfAllocation; }
};

bool alignedTo(float const* p, int bytes) {
    return reinterpret_cast<std::uintptr_t>(p) % static_cast<unsigned>(bytes) == 0;
}

// Coarser blocks and a wider alignment than the reference, and than the allocator gives.
class WideDriver : public K_CPUReference {
public:
    int getStructureGranularity() const override { return 8; }
    int getMemoryAlignment() const override { return 64; }
};

TEST(ScalarArray, ConstructionRoundsToTheActiveDriversGranularityAlignsAndZeroFills) {
    K_CPUDriver* const reference = Sys->getCPU();
    WideDriver wide;
    for (K_CPUDriver* driver : {reference, static_cast<K_CPUDriver*>(&wide)}) {
        Sys->setActiveCPUDriver(driver);
        int const granularity = driver->getStructureGranularity();
        int const alignment = driver->getMemoryAlignment();
        for (int size : {0, 1, 4, 5, 9, 17}) {
            SCOPED_TRACE("granularity " + std::to_string(granularity) + ", size " +
                         std::to_string(size));
            int const rounded = (size + granularity - 1) / granularity * granularity;
            CountDelta delta;
            {
                Peek<M_ScalarArray> array(size);
                EXPECT_EQ(1, delta.news()); // even an empty array has its alignment's floats
                EXPECT_EQ(rounded, array.getAllocatedSize());
                EXPECT_EQ(rounded, array.getCurrentSize());
                EXPECT_TRUE(alignedTo(array.getMemory(), alignment));
                EXPECT_GE(array.getMemory(), array.allocation());
                EXPECT_LT(array.getMemory(), array.allocation() + alignment / 4);
                EXPECT_EQ(std::vector<float>(rounded, 0.0f), floats(array.getMemory(), 0, rounded));
            }
            EXPECT_EQ(1, delta.deletes());
        }
    }
    Sys->setActiveCPUDriver(reference);
}

TEST(ScalarArray, ResizeGrowsOnlyPastTheCapacityAndClearsBehindTheCurrentSize) {
    // The resizes of a filled array of 8, then the allocations made, the capacity, and the
    // floats that keep their values; the rest up to the capacity are zero.
    std::tuple<std::vector<int>, int, int, int> const cases[] = {
        {{5}, 0, 8, 8}, {{2, 8}, 0, 8, 8}, {{9}, 1, 12, 8}, {{3, 9}, 1, 12, 3}};
    for (auto const& [resizes, allocations, capacity, kept] : cases) {
        M_ScalarArray array(8);
        std::iota(array.getMemory(), array.getMemory() + 8, 1.0f);
        CountDelta delta;
        for (int size : resizes) {
            array.resize(size);
        }
        SCOPED_TRACE("last resize " + std::to_string(resizes.back()));
        EXPECT_EQ(resizes.back(), array.getCurrentSize());
        EXPECT_EQ(capacity, array.getAllocatedSize());
        EXPECT_EQ(allocations, delta.news());
        EXPECT_EQ(allocations, delta.deletes());
        std::vector<float> expected(capacity, 0.0f);
        std::iota(expected.begin(), expected.begin() + kept, 1.0f);
        EXPECT_EQ(expected, floats(array.getMemory(), 0, capacity));
    }

    // allocate below the current size clips it; null clears the current floats only.
    M_ScalarArray array(16);
    std::iota(array.getMemory(), array.getMemory() + 16, 1.0f);
    array.allocate(6);
    EXPECT_EQ(8, array.getAllocatedSize());
    EXPECT_EQ(8, array.getCurrentSize());
    array.resize(6);
    array.null();
    EXPECT_EQ((std::vector<float>{0, 0, 0, 0, 0, 0, 7, 8}), floats(array.getMemory(), 0, 8));
}

TEST(ScalarArray, CopyTakesTheRoundedSizeAssignmentTheExactOneAndSetMemoryAdopts) {
    M_ScalarArray source(8);
    std::iota(source.getMemory(), source.getMemory() + 8, 1.0f);
    source.resize(5);
    EXPECT_EQ(8, M_ScalarArray(source).getCurrentSize());

    // Assignment copies the current floats and never shrinks the capacity.
    M_ScalarArray target(16);
    M_ScalarArray small(2);
    CountDelta delta;
    target = source;
    EXPECT_EQ(0, delta.news());
    EXPECT_EQ(5, target.getCurrentSize());
    EXPECT_EQ(16, target.getAllocatedSize());
    EXPECT_EQ((std::vector<float>{1, 2, 3, 4, 5, 0}), floats(target.getMemory(), 0, 6));
    small = source;
    EXPECT_EQ(5, small.getCurrentSize());
    EXPECT_EQ(5.0f, small.get(4));
    source = static_cast<M_ScalarArray const&>(source);
    EXPECT_EQ(5, source.getCurrentSize());

    // The adopted block has no rounding, and the array releases it as its own.
    CountDelta adopted;
    {
        Peek<M_ScalarArray> adopter(8);
        auto* block = static_cast<float*>(K_CountedAllocate(8 * sizeof(float)));
        adopter.setMemory(block, 6);
        EXPECT_EQ(1, adopted.deletes());
        EXPECT_EQ(block, adopter.getMemory());
        EXPECT_EQ(6, adopter.getAllocatedSize());
        EXPECT_EQ(6, adopter.getCurrentSize());
    }
    EXPECT_EQ(2, adopted.news());
    EXPECT_EQ(2, adopted.deletes());
}

// Vector i of the vector-array tests: (i + 1, i + 1.25, i + 1.5, i + 1.75), cut to D.
std::vector<float> number(int i, int D) {
    float const base = static_cast<float>(i + 1);
    std::vector<float> v = {base, base + 0.25f, base + 0.5f, base + 0.75f};
    v.resize(D);
    return v;
}

template <class Array> class VectorArray : public ::testing::Test {};
TYPED_TEST_SUITE(VectorArray, VectorArrayTypes);

TYPED_TEST(VectorArray, BlocksOfFourInPlanesAndWholeBlocksKeptOnResizeCopyAndAssignment) {
    using Array = TypeParam;
    int const D = Shape<Array>::D;
    Array array(5);
    EXPECT_EQ(8, array.getAllocatedSize());
    EXPECT_EQ(8, array.getCurrentSize());
    EXPECT_EQ(std::vector<float>(8 * D, 0.0f), floats(array.getMemory(), 0, 8 * D));

    // Vector 5 lies in block 1, lane 1: one float in each plane.
    std::vector<int> const fifth[] = {{}, {}, {9, 13}, {13, 17, 21}, {17, 21, 25, 29}};
    array.set(5, Shape<Array>::make({1, 2, 3, 4}));
    for (int c = 0; c < D; ++c) {
        EXPECT_EQ(static_cast<float>(c + 1), array.getMemory()[fifth[D][c]]) << "component " << c;
    }
    for (int i = 0; i < 8; ++i) {
        array.set(i, Shape<Array>::make(number(i, D)));
    }
    typename Shape<Array>::Vector out{};
    array.get(out, 6);
    EXPECT_EQ(number(6, D), Shape<Array>::parts(out));

    // The copy takes the rounded size; assignment the exact one, and the whole blocks.
    array.resize(5);
    Array const copy(array);
    EXPECT_EQ(8, copy.getCurrentSize());
    EXPECT_EQ(floats(array.getMemory(), 0, 8 * D), floats(copy.getMemory(), 0, 8 * D));
    Array target(16);
    Array small(1);
    target = array;
    small = array;
    EXPECT_EQ(5, target.getCurrentSize());
    EXPECT_EQ(16, target.getAllocatedSize());
    EXPECT_EQ(floats(array.getMemory(), 0, 8 * D), floats(target.getMemory(), 0, 8 * D));
    EXPECT_EQ(std::vector<float>(8 * D, 0.0f), floats(target.getMemory(), 8 * D, 16 * D));
    EXPECT_EQ(5, small.getCurrentSize());
    EXPECT_EQ(number(4, D), vectorAt(small, 4));
    small.add(small, small); // flat arithmetic sums vector 4 whole
    std::vector<float> twice = number(4, D);
    std::transform(twice.begin(), twice.end(), twice.begin(), [](float p) { return 2 * p; });
    EXPECT_EQ(twice, vectorAt(small, 4));

    // null clears the current vectors only; growing keeps the whole blocks.
    array.null();
    EXPECT_EQ(std::vector<float>(D, 0.0f), vectorAt(array, 4));
    CountDelta grow;
    array.resize(9);
    EXPECT_EQ(1, grow.news());
    EXPECT_EQ(12, array.getAllocatedSize());
    for (int i = 5; i < 12; ++i) {
        EXPECT_EQ(i < 8 ? number(i, D) : std::vector<float>(D, 0.0f), vectorAt(array, i)) << i;
    }
}

} // namespace
