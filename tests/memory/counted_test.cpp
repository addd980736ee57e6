// The counted allocation layer: K_REALLOCATE_*, the counters, K_Allocator and the
// exhaustion exception.
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace {

struct CountDelta {
    int news0 = K_Memory::getNewCount();
    int deletes0 = K_Memory::getDeleteCount();
    int news() const { return K_Memory::getNewCount() - news0; }
    int deletes() const { return K_Memory::getDeleteCount() - deletes0; }
};

TEST(CountedMemory, ReallocateAlwaysMovesKeepsTheSmallerSizeAndCountsEachStep) {
    CountDelta delta;
    K_REALLOCATE_DELETE_implementation(nullptr);
    EXPECT_EQ(0, delta.deletes());

    // A null old block: a fresh block, the old size is not looked at, no release.
    auto* block = static_cast<unsigned char*>(K_REALLOCATE_implementation(nullptr, 100, 16));
    ASSERT_NE(nullptr, block);
    EXPECT_EQ(1, delta.news());
    EXPECT_EQ(0, delta.deletes());
    for (int i = 0; i < 16; ++i) {
        block[i] = static_cast<unsigned char>(0xA0 + i);
    }
    int const sizes[][2] = {{16, 8}, {8, 8}, {8, 32}, {32, 3}};
    int known = 16; // leading bytes that still hold the pattern
    int calls = 0;
    for (auto const& size : sizes) {
        SCOPED_TRACE(std::to_string(size[0]) + " -> " + std::to_string(size[1]));
        auto* moved =
            static_cast<unsigned char*>(K_REALLOCATE_implementation(block, size[0], size[1]));
        ++calls;
        EXPECT_NE(block, moved); // the new block is made while the old one still lives
        known = std::min(known, size[1]);
        for (int i = 0; i < known; ++i) {
            EXPECT_EQ(0xA0 + i, moved[i]) << "byte " << i;
        }
        EXPECT_EQ(1 + calls, delta.news());
        EXPECT_EQ(calls, delta.deletes());
        block = moved;
    }

    // A reset zeroes both even with a block outstanding; its release then counts alone.
    K_Memory::resetNewDeleteCounts();
    EXPECT_EQ(0, K_Memory::getNewCount());
    EXPECT_EQ(0, K_Memory::getDeleteCount());
    K_REALLOCATE_DELETE_implementation(block);
    EXPECT_EQ(0, K_Memory::sm_iNewCount);
    EXPECT_EQ(1, K_Memory::sm_iDeleteCount);
}

TEST(CountedMemory, AllocatorCountsStringAndVectorBlocks) {
    CountDelta delta;
    {
        K_String shortText("abc"); // fits the string's own buffer
        EXPECT_EQ(0, delta.news());
        K_String text(40, 'x');
        K_String copy = text;
        EXPECT_EQ(2, delta.news());
        EXPECT_EQ(0, delta.deletes());
    }
    EXPECT_EQ(2, delta.deletes());
    {
        std::vector<int, K_Allocator<int>> values;
        values.reserve(4);
        EXPECT_EQ(3, delta.news());
        for (int i = 0; i < 5; ++i) {
            values.push_back(i);
        }
        EXPECT_EQ(4, delta.news()); // grown once: a new block, the old one released
        EXPECT_EQ(3, delta.deletes());
    }
    EXPECT_EQ(4, delta.deletes());
}

TEST(CountedMemory, ExhaustionRaisesAllocationExceptionAndStillCounts) {
    std::vector<std::function<void()>> attempts = {
        [] { K_Allocator<int>().allocate(SIZE_MAX / 2); }, // the byte count overflows
    };
    // Beyond any address space. (Under the address sanitizer this needs
    // allocator_may_return_null=1, which the debug test preset sets.)
    std::size_t const huge = SIZE_MAX / 2 + 1;
    attempts.push_back([huge] { K_Allocator<char>().allocate(huge); });
    attempts.push_back([huge] { K_CountedAllocate(huge); });
    for (std::size_t i = 0; i < attempts.size(); ++i) {
        SCOPED_TRACE(i);
        CountDelta delta;
        K_MemoryException* caught = nullptr;
        try {
            attempts[i]();
        } catch (K_MemoryException* e) {
            caught = e;
        }
        ASSERT_NE(nullptr, dynamic_cast<K_MemoryException_Allocation*>(caught));
        EXPECT_STREQ("Out of system memory resources", caught->getErrorMessage());
        EXPECT_EQ(1, delta.news());
        EXPECT_EQ(0, delta.deletes());
    }
}

} // namespace
