// The doubly linked list family: links and sentinels, moving nodes, the indexed lookup
// with its remembered position, payload lifetimes and the reusable node pool.
#include "klmfc/memory/dllist.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Links = K_DLListBaseNode;
constexpr int kNoCache = 0x7fffffff;

Links* linksOf(void* payload) {
    return reinterpret_cast<Links*>(static_cast<unsigned char*>(payload) - sizeof(Links));
}

// The values front to back; the walk back to front must give the same in reverse.
template <class T> std::vector<int> order(K_DLList<T> const& list) {
    std::vector<int> out;
    std::vector<int> back;
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

// A payload that notes its constructions and, in order, its destructions.
struct Tracked {
    static int s_constructed;
    static std::string s_destroyed;
    Tracked() { ++s_constructed; }
    ~Tracked() { s_destroyed += std::to_string(value); }
    explicit operator int() const { return value; }
    int value = 7;
};
int Tracked::s_constructed = 0;
std::string Tracked::s_destroyed;

struct CountDelta {
    int news0 = K_Memory::getNewCount();
    int deletes0 = K_Memory::getDeleteCount();
    int news() const { return K_Memory::getNewCount() - news0; }
    int deletes() const { return K_Memory::getDeleteCount() - deletes0; }
};

void expectAsBuilt(K_DLList<int> const& list) {
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(nullptr, list.getLast());
    EXPECT_EQ(0, list.getCount());
    EXPECT_EQ(nullptr, list.m_head.m_pPrev);
    EXPECT_EQ(&list.m_tail, list.m_head.m_pNext);
    EXPECT_EQ(&list.m_head, list.m_tail.m_pPrev);
    EXPECT_EQ(nullptr, list.m_tail.m_pNext);
}

void expectUnlinked(void* payload) {
    EXPECT_EQ(nullptr, linksOf(payload)->m_pPrev);
    EXPECT_EQ(nullptr, linksOf(payload)->m_pNext);
}

TEST(DLList, LinksEndsAndMovingNodesWithoutAllocation) {
    CountDelta delta;
    {
        K_DLList<int> a;
        expectAsBuilt(a);
        EXPECT_EQ(kNoCache, a.m_iCachedIndex);
        EXPECT_EQ(nullptr, a.m_pBlockA);
        EXPECT_EQ(nullptr, a.m_pBlockB);
        EXPECT_EQ(nullptr, a.removeFirst());
        EXPECT_EQ(nullptr, a.removeLast());

        int* one = a.addNewLast();
        EXPECT_EQ(linksOf(one), a.m_head.m_pNext); // the links lie just ahead of the payload
        EXPECT_EQ(one, a.removeFirst());
        expectAsBuilt(a);
        expectUnlinked(one);

        *one = 1;
        a.addLast(one);
        *a.addNewLast() = 2;
        int* zero = a.allocateNode();
        expectUnlinked(zero);
        *zero = 0;
        a.addFirst(zero);
        *a.addNewLast() = 3;
        EXPECT_EQ((std::vector<int>{0, 1, 2, 3}), order(a));
        EXPECT_EQ(4, delta.news());

        K_DLList<int> b;
        b.addFirst(a.removeLast());
        b.addFirst(a.removeFirst());
        a.unlink(one);
        expectUnlinked(one);
        b.addLast(one);
        EXPECT_EQ((std::vector<int>{2}), order(a));
        EXPECT_EQ((std::vector<int>{0, 3, 1}), order(b));
        EXPECT_EQ(4, delta.news());
        EXPECT_EQ(0, delta.deletes());
        b.clear();
        expectAsBuilt(b);
        EXPECT_EQ(3, delta.deletes());
    }
    EXPECT_EQ(4, delta.news());
    EXPECT_EQ(4, delta.deletes()); // one new and one delete in a node's life
}

// Tells where getAt started its walk by poisoning each start: the first node's forward
// link and the last node's back link point to themselves, and the remembered payload is
// swapped for the same position in a twin list whose values are 1000 higher. A walk
// from the front then ends on 0 ('F'), one from the back on 99 ('B'), one from the
// remembered position in the twin ('C').
struct GetAtProbe {
    GetAtProbe() {
        for (int i = 0; i < 100; ++i) {
            real.push_back(list.addNewLast());
            *real.back() = i;
            twin.push_back(twinList.addNewLast());
            *twin.back() = 1000 + i;
        }
    }

    char origin(int index) {
        if (list.m_iCachedIndex != kNoCache) {
            list.m_pCachedItem = twin[list.m_iCachedIndex];
        }
        Links* first = linksOf(real.front());
        Links* last = linksOf(real.back());
        Links* const saved[] = {first->m_pNext, last->m_pPrev};
        first->m_pNext = first;
        last->m_pPrev = last;
        int const value = *list.getAt(index);
        first->m_pNext = saved[0];
        last->m_pPrev = saved[1];
        EXPECT_EQ(index, list.m_iCachedIndex);
        list.m_pCachedItem = real[index];
        return value == 1000 + index ? 'C' : value == 0 ? 'F' : value == 99 ? 'B' : '?';
    }

    K_DLList<int> list;
    K_DLList<int> twinList;
    std::vector<int*> real;
    std::vector<int*> twin;
};

TEST(DLList, GetAtWalksFromTheNearestOfFrontBackAndRememberedPosition) {
    GetAtProbe probe;
    K_DLList<int> const& list = probe.list; // the lookup works on a const list
    struct Row {
        int remembered; // -1: nothing remembered
        int index;
        char origin;
    };
    Row const rows[] = {
        {-1, 99, 'B'}, // the last on a fresh list is not walked to from the front
        {-1, 49, 'F'}, {-1, 50, 'B'}, {50, 51, 'C'}, {51, 98, 'B'},
        {30, 15, 'C'}, // a distance equal to the nearest end keeps the remembered position
        {30, 14, 'F'}, {70, 84, 'C'}, {70, 85, 'B'}, {5, 5, 'C'},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(std::to_string(row.remembered) + " -> " + std::to_string(row.index));
        probe.list.m_iCachedIndex = kNoCache;
        if (row.remembered >= 0) {
            ASSERT_EQ(probe.real[row.remembered], list.getAt(row.remembered));
        }
        EXPECT_EQ(row.origin, probe.origin(row.index));
    }

    // Every insertion and removal forgets the position; the next lookup starts at the
    // front again.
    ASSERT_EQ(probe.real[5], list.getAt(5));
    int* last = probe.list.removeLast();
    EXPECT_EQ(kNoCache, list.m_iCachedIndex);
    list.getAt(5);
    probe.list.addLast(last);
    EXPECT_EQ(kNoCache, list.m_iCachedIndex);
    EXPECT_EQ('F', probe.origin(7));
    int* first = probe.list.removeFirst();
    list.getAt(3);
    probe.list.addFirst(first);
    EXPECT_EQ(kNoCache, list.m_iCachedIndex);
    list.getAt(3);
    probe.list.unlink(probe.real[40]);
    EXPECT_EQ(kNoCache, list.m_iCachedIndex);
    EXPECT_EQ(99, *list.getAt(98));
    probe.list.freeNode(probe.real[40]);
}

TEST(DLList, InitListConstructsAndDestroysEachPayloadOncePlainListNone) {
    Tracked::s_constructed = 0;
    Tracked::s_destroyed.clear();
    {
        K_DLListInit<Tracked> list;
        for (int i = 1; i <= 3; ++i) {
            Tracked* item = list.addNewLast();
            EXPECT_EQ(7, item->value); // constructed in allocateNode
            item->value = i;
        }
        Tracked* extra = list.allocateNode();
        extra->value = 9;
        list.freeNode(extra);
        list.addLast(list.removeFirst()); // now 2 3 1
        EXPECT_EQ(4, Tracked::s_constructed);
        EXPECT_EQ("9", Tracked::s_destroyed);
    }
    EXPECT_EQ(4, Tracked::s_constructed);
    EXPECT_EQ("9231", Tracked::s_destroyed); // each once, first to last

    {
        K_DLList<Tracked> plain;
        plain.addNewLast();
        plain.addNewLast();
        plain.clear();
        plain.addNewLast();
    }
    EXPECT_EQ(4, Tracked::s_constructed);
    EXPECT_EQ("9231", Tracked::s_destroyed);
}

TEST(DLList, ReusableNodeListRecyclesLastReleasedFirstAndKeepsValues) {
    Tracked::s_constructed = 0;
    Tracked::s_destroyed.clear();
    CountDelta delta;
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
        EXPECT_EQ((std::vector<int>{3, 2}), order(pool.m_used)); // values kept
        EXPECT_EQ((std::vector<int>{1}), order(pool.m_free));
        EXPECT_EQ(3, Tracked::s_constructed);
        EXPECT_EQ(3, delta.news()); // the steady state allocates nothing

        EXPECT_EQ(nodes[0], pool.getNode());
        pool.getNode(); // the pool is empty: a new node, constructed now
        EXPECT_EQ((std::vector<int>{3, 2, 1, 7}), order(pool.m_used));
        EXPECT_EQ(4, Tracked::s_constructed);
        EXPECT_EQ(4, delta.news());
        EXPECT_EQ("", Tracked::s_destroyed);

        pool.freeAll();
        EXPECT_EQ(0, pool.m_used.getCount() + pool.m_free.getCount());
        EXPECT_EQ("7123", Tracked::s_destroyed); // released to the front, freed front first
        EXPECT_EQ(4, delta.deletes());
        pool.getNode();
        pool.releaseAll();
        pool.getNode();
    }
    EXPECT_EQ(5, Tracked::s_constructed);
    EXPECT_EQ("71237", Tracked::s_destroyed);
    EXPECT_EQ(5, delta.news());
    EXPECT_EQ(5, delta.deletes());
}

} // namespace
