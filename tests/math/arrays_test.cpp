// The storage of the four array classes: rounding, alignment, zero fill, resize, copy and
// assignment, foreign memory, counted allocation, the vector block layout, and the
// dispatch of array operations to the active driver.
#include "klmfc/core/system.h"
#include "klmfc/math/arrays.h"
#include "klmfc/math/cpudriver.h"
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

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

bool alignedTo(float const* p, unsigned bytes) {
    return reinterpret_cast<std::uintptr_t>(p) % bytes == 0;
}

// The floats [from, to) of a block.
std::vector<float> floats(float const* memory, int from, int to) {
    return std::vector<float>(memory + from, memory + to);
}

// 1, 2, 3, ... for floats [from, to).
std::vector<float> counting(int from, int to) {
    std::vector<float> values;
    for (int i = from; i < to; ++i) {
        values.push_back(static_cast<float>(i + 1));
    }
    return values;
}

void fillCounting(float* memory, int count) {
    for (int i = 0; i < count; ++i) {
        memory[i] = static_cast<float>(i + 1);
    }
}

// Puts the driver that was active back when the test ends.
class ActiveDriverScope {
public:
    ActiveDriverScope() : m_saved(Sys->getCPU()) {}
    ~ActiveDriverScope() { Sys->setActiveCPUDriver(m_saved); }

private:
    K_CPUDriver* m_saved;
};

TEST(ScalarArray, ConstructionRoundsToTheGranularityAlignsAndZeroFills) {
    struct Case {
        int size;
        int rounded;
    };
    Case const cases[] = {{0, 0}, {1, 4}, {4, 4}, {5, 8}, {9, 12}};
    for (Case const& c : cases) {
        SCOPED_TRACE("size " + std::to_string(c.size));
        CountDelta delta;
        {
            Peek<M_ScalarArray> array(c.size);
            EXPECT_EQ(1, delta.news());
            EXPECT_EQ(c.rounded, array.getAllocatedSize());
            EXPECT_EQ(c.rounded, array.getCurrentSize());
            // Even an empty array has a block: the alignment's four floats.
            ASSERT_NE(nullptr, array.getMemory());
            EXPECT_TRUE(alignedTo(array.getMemory(), 16));
            EXPECT_GE(array.getMemory(), array.allocation());
            EXPECT_LT(array.getMemory(), array.allocation() + 4);
            EXPECT_EQ(std::vector<float>(c.rounded, 0.0f), floats(array.getMemory(), 0, c.rounded));
        }
        EXPECT_EQ(1, delta.deletes());
    }
}

TEST(ScalarArray, ResizeGrowsOnlyPastTheCapacityAndClearsBehindTheCurrentSize) {
    struct Case {
        std::vector<int> resizes;
        int allocations;
        int capacity;
        int kept; // floats 0 .. kept-1 hold their old values, the rest up to capacity are 0
    };
    Case const cases[] = {{{5}, 0, 8, 8}, {{2, 8}, 0, 8, 8}, {{9}, 1, 12, 8}, {{3, 9}, 1, 12, 3}};
    for (Case const& c : cases) {
        SCOPED_TRACE("resizes to " + std::to_string(c.resizes.front()) + ", ...");
        M_ScalarArray array(8);
        fillCounting(array.getMemory(), 8);
        CountDelta delta;
        for (int size : c.resizes) {
            array.resize(size);
        }
        EXPECT_EQ(c.resizes.back(), array.getCurrentSize());
        EXPECT_EQ(c.capacity, array.getAllocatedSize());
        EXPECT_EQ(c.allocations, delta.news());
        EXPECT_EQ(c.allocations, delta.deletes());
        EXPECT_TRUE(alignedTo(array.getMemory(), 16));
        EXPECT_EQ(counting(0, c.kept), floats(array.getMemory(), 0, c.kept));
        EXPECT_EQ(std::vector<float>(c.capacity - c.kept, 0.0f),
                  floats(array.getMemory(), c.kept, c.capacity));
    }

    // allocate below the current size moves to a smaller block and clips the size.
    M_ScalarArray array(16);
    fillCounting(array.getMemory(), 16);
    array.allocate(6);
    EXPECT_EQ(8, array.getAllocatedSize());
    EXPECT_EQ(8, array.getCurrentSize());
    EXPECT_EQ(counting(0, 8), floats(array.getMemory(), 0, 8));
}

TEST(ScalarArray, CopyTakesTheRoundedSizeAndAssignmentTheExactOne) {
    M_ScalarArray source(8);
    fillCounting(source.getMemory(), 8);
    source.resize(5);

    M_ScalarArray copy(source);
    EXPECT_EQ(8, copy.getCurrentSize());
    EXPECT_NE(source.getMemory(), copy.getMemory());
    EXPECT_EQ(counting(0, 8), floats(copy.getMemory(), 0, 8));

    // Assignment gives exactly the source's size and never shrinks the capacity.
    M_ScalarArray target(16);
    CountDelta delta;
    target = source;
    EXPECT_EQ(0, delta.news());
    EXPECT_EQ(5, target.getCurrentSize());
    EXPECT_EQ(16, target.getAllocatedSize());
    EXPECT_EQ(counting(0, 5), floats(target.getMemory(), 0, 5));
    EXPECT_EQ(0.0f, target.get(5));

    M_ScalarArray small(2);
    small = source;
    EXPECT_EQ(5, small.getCurrentSize());
    EXPECT_EQ(5.0f, small.get(4));

    M_ScalarArray& alias = source;
    source = alias;
    EXPECT_EQ(5, source.getCurrentSize());
    EXPECT_EQ(counting(0, 8), floats(source.getMemory(), 0, 8));
}

TEST(ScalarArray, SetMemoryAdoptsTheBlockAsItsOwn) {
    CountDelta delta;
    {
        Peek<M_ScalarArray> array(8);
        auto* block = static_cast<float*>(K_CountedAllocate(8 * sizeof(float)));
        array.setMemory(block, 6);
        EXPECT_EQ(1, delta.deletes());
        EXPECT_EQ(block, array.getMemory());
        EXPECT_EQ(block, array.allocation());
        EXPECT_EQ(6, array.getAllocatedSize()); // no rounding
        EXPECT_EQ(6, array.getCurrentSize());
    }
    EXPECT_EQ(2, delta.news());
    EXPECT_EQ(2, delta.deletes()); // the destructor released the adopted block
}

TEST(ScalarArray, AddAndNullWorkOnTheDestinationsCount) {
    M_ScalarArray a(8);
    M_ScalarArray b(8);
    for (int i = 0; i < 8; ++i) {
        a.set(i, static_cast<float>(i));
        b.set(i, static_cast<float>(100 * i));
    }
    // A destination of size 5 writes the whole second group, floats 5 to 7 included.
    M_ScalarArray sum(12);
    std::fill(sum.getMemory(), sum.getMemory() + 12, -1.0f);
    sum.resize(5);
    sum.add(a, b);
    EXPECT_EQ(5, sum.getCurrentSize());
    EXPECT_EQ((std::vector<float>{0, 101, 202, 303, 404, 505, 606, 707, -1, -1, -1, -1}),
              floats(sum.getMemory(), 0, 12));

    // The same array as destination and both sources doubles every element.
    M_ScalarArray twice(8);
    fillCounting(twice.getMemory(), 8);
    twice.add(twice, twice);
    EXPECT_EQ((std::vector<float>{2, 4, 6, 8, 10, 12, 14, 16}), floats(twice.getMemory(), 0, 8));

    M_ScalarArray shifted(4);
    shifted.add(a, 0.5f);
    shifted += b;
    EXPECT_EQ(&shifted, &(shifted += 10.0f));
    EXPECT_EQ((std::vector<float>{10.5f, 111.5f, 212.5f, 313.5f}),
              floats(shifted.getMemory(), 0, 4));

    // null clears the current floats only.
    twice.resize(6);
    twice.null();
    EXPECT_EQ((std::vector<float>{0, 0, 0, 0, 0, 0, 14, 16}), floats(twice.getMemory(), 0, 8));
}

// ---- dispatch ----

// Changes only the longest add, and marks its results.
class MarkingAddDriver : public K_CPUReference {
public:
    using K_CPUReference::add;
    void add(float* dst, float const* a, float const* b, int count, int stride) const override {
        ++calls;
        K_CPUReference::add(dst, a, b, count, stride);
        dst[0] = 999.0f;
    }
    mutable int calls = 0;
};

TEST(ArrayDispatch, TheNextOperationRunsOnTheNewlyActiveDriver) {
    ActiveDriverScope restore;
    K_CPUDriver* const reference = Sys->getCPU();
    M_ScalarArray x(8);
    M_ScalarArray y(8);
    fillCounting(x.getMemory(), 8);
    fillCounting(y.getMemory(), 8);

    MarkingAddDriver driver;
    Sys->setActiveCPUDriver(&driver);
    // The in-place form is a short form of the reference: it reaches the override too.
    x += y;
    EXPECT_EQ(1, driver.calls);
    EXPECT_EQ(999.0f, x.get(0));
    EXPECT_EQ(4.0f, x.get(1));

    Sys->setActiveCPUDriver(reference);
    x += y;
    EXPECT_EQ(1, driver.calls);
    EXPECT_EQ(1000.0f, x.get(0));
}

// Records which add overload an array operation calls, and with what.
class AddOverloadDriver : public K_CPUReference {
public:
    struct Call {
        std::string form;
        void const* dst;
        void const* a;
        void const* b;
        float value;
        int count;
    };
    mutable std::vector<Call> calls;

    using K_CPUReference::add;
    void add(float* d, float v, int n) const override {
        calls.push_back({"(dst, value, count)", d, nullptr, nullptr, v, n});
    }
    void add(float* d, float const* s, float v, int n) const override {
        calls.push_back({"(dst, src, value, count)", d, s, nullptr, v, n});
    }
    void add(float* d, float const* s, int n) const override {
        calls.push_back({"(dst, src, count)", d, s, nullptr, 0.0f, n});
    }
    void add(float* d, float const* a, float const* b, int n) const override {
        calls.push_back({"(dst, a, b, count)", d, a, b, 0.0f, n});
    }
};

TEST(ArrayDispatch, EachMemberMakesOneCallOfItsOverloadWithTheDestinationsCount) {
    ActiveDriverScope restore;
    AddOverloadDriver driver;
    Sys->setActiveCPUDriver(&driver);
    M_ScalarArray dst(8);
    M_ScalarArray a(16);
    M_ScalarArray b(4);
    dst.resize(6);
    M_Vector3Array vdst(8);
    M_Vector3Array va(8);
    M_Vector3Array vb(8);
    vdst.resize(5);
    float* const d = dst.getMemory();
    float* const vd = vdst.getMemory();

    struct Row {
        char const* member;
        std::function<void()> run;
        AddOverloadDriver::Call expected;
    };
    Row const rows[] = {
        {"add(a, b)",
         [&] { dst.add(a, b); },
         {"(dst, a, b, count)", d, a.getMemory(), b.getMemory(), 0.0f, 6}},
        {"add(a, value)",
         [&] { dst.add(a, 2.5f); },
         {"(dst, src, value, count)", d, a.getMemory(), nullptr, 2.5f, 6}},
        {"+= array", [&] { dst += b; }, {"(dst, src, count)", d, b.getMemory(), nullptr, 0, 6}},
        {"+= float", [&] { dst += 1.5f; }, {"(dst, value, count)", d, nullptr, nullptr, 1.5f, 6}},
        // Vector arrays count the floats of their whole blocks: 5 vectors of 3 are 2 blocks.
        {"vector add(a, b)",
         [&] { vdst.add(va, vb); },
         {"(dst, a, b, count)", vd, va.getMemory(), vb.getMemory(), 0.0f, 24}},
        {"vector +=",
         [&] { vdst += va; },
         {"(dst, src, count)", vd, va.getMemory(), nullptr, 0.0f, 24}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.member);
        driver.calls.clear();
        row.run();
        ASSERT_EQ(1u, driver.calls.size());
        AddOverloadDriver::Call const& got = driver.calls[0];
        EXPECT_EQ(row.expected.form, got.form);
        EXPECT_TRUE(row.expected.dst == got.dst && row.expected.a == got.a &&
                    row.expected.b == got.b);
        EXPECT_EQ(row.expected.value, got.value);
        EXPECT_EQ(row.expected.count, got.count);
    }
}

// Coarser blocks and a wider alignment than the reference.
class WideDriver : public K_CPUReference {
public:
    int getStructureGranularity() const override { return 8; }
    int getMemoryAlignment() const override { return 64; }
};

TEST(ArrayDispatch, AllocationFollowsTheActiveDriversGranularityAndAlignment) {
    ActiveDriverScope restore;
    WideDriver driver;
    Sys->setActiveCPUDriver(&driver);
    for (int size : {0, 1, 9, 17}) {
        SCOPED_TRACE("size " + std::to_string(size));
        Peek<M_ScalarArray> array(size);
        Peek<M_Vector4Array> vectors(size);
        EXPECT_EQ((size + 7) / 8 * 8, array.getAllocatedSize());
        EXPECT_EQ((size + 7) / 8 * 8, vectors.getAllocatedSize());
        EXPECT_TRUE(alignedTo(array.getMemory(), 64));
        EXPECT_TRUE(alignedTo(vectors.getMemory(), 64));
        EXPECT_LT(array.getMemory(), array.allocation() + 16);
    }
}

// ---- vector arrays ----

template <class Array> struct VectorTraits;
template <> struct VectorTraits<M_Vector2Array> {
    using Vector = M_Vector2Template<float>;
    static constexpr int D = 2;
    static Vector make(float base) { return {base, base + 0.25f}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y}; }
};
template <> struct VectorTraits<M_Vector3Array> {
    using Vector = M_Vector3Template<float>;
    static constexpr int D = 3;
    static Vector make(float base) { return {base, base + 0.25f, base + 0.5f}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y, v.z}; }
};
template <> struct VectorTraits<M_Vector4Array> {
    using Vector = M_Vector4Template<float>;
    static constexpr int D = 4;
    static Vector make(float base) { return {base, base + 0.25f, base + 0.5f, base + 0.75f}; }
    static std::vector<float> parts(Vector const& v) { return {v.x, v.y, v.z, v.w}; }
};

template <class Array> class VectorArray : public ::testing::Test {
protected:
    using Traits = VectorTraits<Array>;
    static constexpr int D = Traits::D;
    static std::vector<float> made(float base) { return Traits::parts(Traits::make(base)); }
    static void fill(Array& array, int count) {
        for (int i = 0; i < count; ++i) {
            array.set(i, Traits::make(1.0f + i));
        }
    }
};
using VectorArrayTypes = ::testing::Types<M_Vector2Array, M_Vector3Array, M_Vector4Array>;
TYPED_TEST_SUITE(VectorArray, VectorArrayTypes);

TYPED_TEST(VectorArray, StorageIsInBlocksOfFourWithComponentsInPlanes) {
    using Traits = typename TestFixture::Traits;
    int const D = TestFixture::D;
    CountDelta delta;
    Peek<TypeParam> array(5);
    EXPECT_EQ(1, delta.news());
    EXPECT_EQ(8, array.getAllocatedSize());
    EXPECT_EQ(8, array.getCurrentSize());
    EXPECT_TRUE(alignedTo(array.getMemory(), 16));
    EXPECT_LT(array.getMemory(), array.allocation() + 4);
    EXPECT_EQ(std::vector<float>(8 * D, 0.0f), floats(array.getMemory(), 0, 8 * D));

    TestFixture::fill(array, 8);
    for (int i = 0; i < 8; ++i) {
        SCOPED_TRACE("vector " + std::to_string(i));
        std::vector<float> const expected = TestFixture::made(1.0f + i);
        // The last component of vector i sits in the last plane of block i / 4, lane i % 4.
        EXPECT_EQ(expected[D - 1], array.getMemory()[(i / 4) * 4 * D + (D - 1) * 4 + i % 4]);
        EXPECT_EQ(expected, Traits::parts(array.get(i)));
        typename Traits::Vector out{};
        array.get(out, i);
        EXPECT_EQ(expected, Traits::parts(out));
    }

    // null clears the current vectors only.
    array.resize(5);
    array.null();
    EXPECT_EQ(std::vector<float>(D, 0.0f), Traits::parts(array.get(4)));
    EXPECT_EQ(TestFixture::made(6.0f), Traits::parts(array.get(5)));
}

TEST(VectorArrayLayout, VectorFiveLandsOnTheFixedFloats) {
    M_Vector2Array two(8);
    two.set(5, {1.0f, 2.0f});
    EXPECT_EQ((std::vector<float>{1, 2}),
              (std::vector<float>{two.getMemory()[9], two.getMemory()[13]}));
    M_Vector3Array three(8);
    three.set(5, {1.0f, 2.0f, 3.0f});
    float const* m3 = three.getMemory();
    EXPECT_EQ((std::vector<float>{1, 2, 3}), (std::vector<float>{m3[13], m3[17], m3[21]}));
    M_Vector4Array four(8);
    four.set(5, {1.0f, 2.0f, 3.0f, 4.0f});
    float const* m4 = four.getMemory();
    EXPECT_EQ((std::vector<float>{1, 2, 3, 4}),
              (std::vector<float>{m4[17], m4[21], m4[25], m4[29]}));
}

TYPED_TEST(VectorArray, ResizeKeepsTheWholeBlocksAndClearsTheRest) {
    using Traits = typename TestFixture::Traits;
    TypeParam array(8);
    TestFixture::fill(array, 8);
    array.resize(5);
    CountDelta delta;
    array.resize(9);
    EXPECT_EQ(1, delta.news());
    EXPECT_EQ(12, array.getAllocatedSize());
    EXPECT_EQ(9, array.getCurrentSize());
    // Vectors 5 to 7 share a block with current vectors, so they stay.
    for (int i = 0; i < 8; ++i) {
        EXPECT_EQ(TestFixture::made(1.0f + i), Traits::parts(array.get(i))) << "vector " << i;
    }
    for (int i = 8; i < 12; ++i) {
        EXPECT_EQ(std::vector<float>(TestFixture::D, 0.0f), Traits::parts(array.get(i)))
            << "vector " << i;
    }
}

TYPED_TEST(VectorArray, CopyAndAssignment) {
    using Traits = typename TestFixture::Traits;
    int const D = TestFixture::D;
    TypeParam source(8);
    TestFixture::fill(source, 8);
    source.resize(5);

    TypeParam copy(source);
    EXPECT_EQ(8, copy.getCurrentSize());
    EXPECT_EQ(floats(source.getMemory(), 0, 8 * D), floats(copy.getMemory(), 0, 8 * D));

    // A flat copy of the whole blocks; the size is exactly the source's.
    TypeParam target(16);
    CountDelta delta;
    target = source;
    EXPECT_EQ(0, delta.news());
    EXPECT_EQ(5, target.getCurrentSize());
    EXPECT_EQ(16, target.getAllocatedSize());
    EXPECT_EQ(floats(source.getMemory(), 0, 8 * D), floats(target.getMemory(), 0, 8 * D));
    EXPECT_EQ(std::vector<float>(8 * D, 0.0f), floats(target.getMemory(), 8 * D, 16 * D));

    TypeParam small(1);
    small = source;
    EXPECT_EQ(5, small.getCurrentSize());
    EXPECT_EQ(TestFixture::made(5.0f), Traits::parts(small.get(4)));
}

TYPED_TEST(VectorArray, AddCoversTheWholeBlocksOnly) {
    using Traits = typename TestFixture::Traits;
    int const D = TestFixture::D;
    TypeParam a(12);
    TypeParam b(12);
    TypeParam sum(12);
    TestFixture::fill(a, 12);
    TestFixture::fill(b, 12);
    std::fill(sum.getMemory(), sum.getMemory() + 12 * D, -1.0f);
    sum.resize(5);
    sum.add(a, b);
    for (int i = 0; i < 8; ++i) {
        std::vector<float> expected = TestFixture::made(1.0f + i);
        for (float& part : expected) {
            part *= 2.0f;
        }
        EXPECT_EQ(expected, Traits::parts(sum.get(i))) << "vector " << i;
    }
    // The third block holds no current vector and is left alone.
    EXPECT_EQ(std::vector<float>(4 * D, -1.0f), floats(sum.getMemory(), 8 * D, 12 * D));
}

} // namespace
