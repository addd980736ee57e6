// The counted allocation layer: K_REALLOCATE_*, the counters, K_Allocator and the
// exhaustion exception.
#include "klmfc/memory/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <vector>

namespace {

void expectCounts(int news, int deletes) {
    EXPECT_EQ(news, K_Memory::getNewCount());
    EXPECT_EQ(deletes, K_Memory::getDeleteCount());
}

TEST(CountedMemory, ReallocateAlwaysMovesKeepsTheSmallerSizeAndCountsEachStep) {
    K_Memory::resetNewDeleteCounts();
    K_REALLOCATE_DELETE_implementation(nullptr);
    // A null old block: a fresh block, the old size is not looked at, no release.
    void* block = K_REALLOCATE_implementation(nullptr, 100, 16);
    expectCounts(1, 0);
    std::memcpy(block, "0123456789abcdef", 16);
    int oldSize = 16;
    for (int newSize : {8, 8, 32}) {
        void* moved = K_REALLOCATE_implementation(block, oldSize, newSize);
        EXPECT_NE(block, moved); // made while the old block still lives
        EXPECT_EQ(0, std::memcmp(moved, "01234567", 8)) << oldSize << " -> " << newSize;
        block = moved;
        oldSize = newSize;
    }
    expectCounts(4, 3);
    // A reset zeroes both even with a block outstanding; its release then counts alone.
    K_Memory::resetNewDeleteCounts();
    K_REALLOCATE_DELETE_implementation(block);
    expectCounts(0, 1);
}

TEST(CountedMemory, AllocatorCountsStringAndVectorBlocks) {
    K_Memory::resetNewDeleteCounts();
    {
        K_String text(40, 'x');
        std::vector<int, K_Allocator<int>> values(4);
        values.push_back(4); // grown: a new block, the old one released
        expectCounts(3, 1);
    }
    expectCounts(3, 3);
}

TEST(CountedMemory, ExhaustionRaisesAllocationExceptionAndStillCounts) {
    // (Under the address sanitizer the second needs allocator_may_return_null=1, which the
    // debug test preset sets.)
    std::function<void()> const attempts[] = {
        [] { K_Allocator<int>().allocate(SIZE_MAX / 2); },      // the byte count overflows
        [] { K_Allocator<char>().allocate(SIZE_MAX / 2 + 1); }, // beyond any address space
    };
    for (auto const& attempt : attempts) {
        K_Memory::resetNewDeleteCounts();
        try {
            attempt();
            ADD_FAILURE() << "no exception";
        } catch (K_MemoryException_Allocation* e) {
            EXPECT_STREQ("Out of system memory resources", e->getErrorMessage());
        }
        expectCounts(1, 0); // a failed attempt is counted too
    }
}

} // namespace
