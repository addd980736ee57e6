// The doubly linked list family: links and sentinels, moving nodes, the indexed lookup
// with its remembered position, payload lifetimes and the reusable node pool.
#include "klmfc/memory/dllist.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace {

// The links lie just ahead of the payload.
K_DLListBaseNode* linksOf(void* payload) {
    return reinterpret_cast<K_DLListBaseNode*>(static_cast<unsigned char*>(payload) -
                                               sizeof(K_DLListBaseNode));
}

// The values front to back; the walk back to front must give the same in reverse.
template <class T> std::vector<int> order(K_DLList<T> const& list) {
    std::vector<int> out, back;
    for (T* item = list.getFirst(); item != nullptr; item = list.getNext(item)) {
        out.push_back(static_cast<int>(*item));
    }
    for (T* item = list.getLast(); item != nullptr; item = list.getPrev(item)) {
        back.insert(back.begin(), static_cast<int>(*item));
    }
    EXPECT_EQ(out, back);
    EXPECT_EQ(static_cast<int>(out.size()), list.getCount());
    return out;
}

// Both sentinels linked to each other with their outer links null.
bool asBuilt(K_DLList<int> const& list) {
    return list.getCount() == 0 && list.getFirst() == nullptr && list.m_head.m_pPrev == nullptr &&
           list.m_head.m_pNext == &list.m_tail && list.m_tail.m_pPrev == &list.m_head &&
           list.m_tail.m_pNext == nullptr;
}
bool unlinked(int* payload) {
    return linksOf(payload)->m_pPrev == nullptr && linksOf(payload)->m_pNext == nullptr;
}

TEST(DLList, LinksEndsAndMovingNodesWithoutAllocation) {
    K_Memory::resetNewDeleteCounts();
    {
        K_DLList<int> a;
        EXPECT_TRUE(asBuilt(a));
        EXPECT_EQ(nullptr, a.removeLast());
        int* one = a.addNewLast();
        EXPECT_EQ(linksOf(one), a.m_head.m_pNext);
        EXPECT_EQ(one, a.removeFirst());
        EXPECT_TRUE(asBuilt(a) && unlinked(one));
        *one = 1;
        a.addLast(one);
        *a.addNewLast() = 2;
        int* zero = a.allocateNode();
        EXPECT_TRUE(unlinked(zero));
        *zero = 0;
        a.addFirst(zero);
        *a.addNewLast() = 3;
        EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), order(a));

        K_DLList<int> b;
        b.addFirst(a.removeLast());
        b.addFirst(a.removeFirst());
        a.unlink(one);
        EXPECT_TRUE(unlinked(one));
        b.addLast(one);
        EXPECT_EQ((std::vector<int>{2}), order(a));
        EXPECT_EQ((std::vector<int>{0, 3, 1}), order(b));
        b.clear();
        EXPECT_TRUE(asBuilt(b));
        EXPECT_EQ(4, K_Memory::getNewCount()); // moving allocates nothing
        EXPECT_EQ(3, K_Memory::getDeleteCount());
    }
    EXPECT_EQ(4, K_Memory::getDeleteCount()); // one new and one delete in a node's life
}

TEST(DLList, GetAtWalksFromTheNearestOfFrontBackAndRememberedPosition) {
    // Three lists of 100, values 0.., 1000.., 2000... In the first, the back is made to lead
    // into the third and the remembered payload is swapped for the same position in the
    // second, so the value found tells where the walk began.
    K_DLList<int> lists[3];
    std::vector<int*> nodes[3];
    for (int k = 0; k < 3; ++k) {
        for (int i = 0; i < 100; ++i) {
            nodes[k].push_back(lists[k].addNewLast());
            *nodes[k].back() = 1000 * k + i;
        }
    }
    K_DLList<int>& list = lists[0];
    auto origin = [&](int index) {
        if (list.m_iCachedIndex != K_DLLIST_NO_CACHE) {
            list.m_pCachedItem = nodes[1][list.m_iCachedIndex];
        }
        list.m_tail.m_pPrev = linksOf(nodes[2].back());
        int const value = *static_cast<K_DLList<int> const&>(list).getAt(index);
        list.m_tail.m_pPrev = linksOf(nodes[0].back());
        list.m_pCachedItem = nodes[0][index];
        EXPECT_EQ(index, value % 1000);
        EXPECT_EQ(index, list.m_iCachedIndex);
        return "FCB"[value / 1000]; // front, remembered position, back
    };
    EXPECT_EQ(K_DLLIST_NO_CACHE, list.m_iCachedIndex);
    struct Row {
        int remembered; // -1: nothing remembered
        int index;
        char origin;
    } const rows[] = {
        {-1, 99, 'B'}, // the last on a fresh list is not walked to from the front
        {-1, 49, 'F'}, {-1, 50, 'B'}, {50, 51, 'C'}, {51, 98, 'B'},
        {30, 15, 'C'}, // a distance equal to the nearest end keeps the remembered position
        {30, 14, 'F'}, {70, 84, 'C'}, {70, 85, 'B'}, {5, 5, 'C'},
    };
    for (Row const& row : rows) {
        list.m_iCachedIndex = K_DLLIST_NO_CACHE;
        if (row.remembered >= 0) {
            ASSERT_EQ(nodes[0][row.remembered], list.getAt(row.remembered));
        }
        EXPECT_EQ(row.origin, origin(row.index)) << row.remembered << " -> " << row.index;
    }

    // Every insertion and every removal forgets the position.
    int* node = nullptr;
    std::function<void()> const changes[] = {
        [&] { node = list.removeLast(); }, [&] { list.addFirst(node); }, [&] { list.unlink(node); },
        [&] { list.addLast(node); }};
    for (auto const& change : changes) {
        list.getAt(5);
        change();
        EXPECT_EQ(K_DLLIST_NO_CACHE, list.m_iCachedIndex);
    }
}

// A payload that notes its constructions and, in order, its destructions.
struct Tracked {
    static inline int s_constructed = 0;
    static inline std::string s_destroyed;
    Tracked() { ++s_constructed; }
    ~Tracked() { s_destroyed += std::to_string(value); }
    explicit operator int() const { return value; }
    int value = 7;
};

TEST(DLList, ReusableNodeListRecyclesLastReleasedFirstAndKeepsValues) {
    Tracked::s_constructed = 0;
    Tracked::s_destroyed.clear();
    K_Memory::resetNewDeleteCounts();
    {
        K_ReusableNodeList<Tracked, K_DLListInit<Tracked>> pool;
        Tracked* nodes[3];
        for (int i = 0; i < 3; ++i) {
            nodes[i] = pool.getNode();
            nodes[i]->value = i + 1;
        }
        pool.releaseAll();
        EXPECT_EQ(0, pool.m_used.getCount());
        EXPECT_EQ((std::vector<int>{3, 2, 1}), order(pool.m_free));
        EXPECT_EQ(nodes[2], pool.getNode());
        EXPECT_EQ(nodes[1], pool.getNode());
        EXPECT_EQ(nodes[0], pool.getNode());
        EXPECT_EQ(3, K_Memory::getNewCount()); // the steady state allocates nothing
        pool.getNode();                        // the pool is empty: a new node, constructed now
        EXPECT_EQ((std::vector<int>{3, 2, 1, 7}), order(pool.m_used)); // values kept
        EXPECT_EQ(4, Tracked::s_constructed);
        pool.freeAll();
        EXPECT_EQ("7123", Tracked::s_destroyed); // released to the front, freed front first
        EXPECT_EQ(4, K_Memory::getDeleteCount());
    }
    // Destroying a list runs the destructor of each payload once, first to last, in a
    // K_DLListInit, and none in a K_DLList.
    {
        K_DLList<Tracked> plain;
        plain.addNewLast();
        K_DLListInit<Tracked> list;
        list.addNewLast()->value = 8;
        list.addNewLast()->value = 9;
    }
    EXPECT_EQ(6, Tracked::s_constructed);
    EXPECT_EQ("712389", Tracked::s_destroyed);
    EXPECT_EQ(7, K_Memory::getNewCount());
    EXPECT_EQ(7, K_Memory::getDeleteCount());
}

} // namespace
