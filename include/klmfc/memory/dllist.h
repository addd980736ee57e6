// The library's doubly linked lists.
//
// A node is its two links directly followed by the payload, in one counted block;
// callers hold payload pointers. Two sentinels mark the ends, nodes outlive their
// membership (unlink from one list, add to another, no allocation), and the indexed
// lookup remembers where it last was.
#pragma once

#include "klmfc/memory/memory.h"

#include <new>

// The link part of every node.
struct K_DLListBaseNode {
    K_DLListBaseNode* m_pPrev;
    K_DLListBaseNode* m_pNext;
};

// No position remembered.
constexpr int K_DLLIST_NO_CACHE = 0x7fffffff;

template <class T, class Node> class K_DLListBase {
public:
    K_DLListBase()
        : m_iCount(0), m_iCachedIndex(K_DLLIST_NO_CACHE), m_pCachedItem(nullptr),
          m_pBlockA(nullptr), m_pBlockB(nullptr) {
        m_head.m_pPrev = nullptr;
        m_head.m_pNext = &m_tail;
        m_tail.m_pPrev = &m_head;
        m_tail.m_pNext = nullptr;
    }

    virtual ~K_DLListBase() { destroy(); }

    // Allocates a node with its links null; the payload is not constructed.
    virtual T* allocateNode() {
        // Checked here rather than at class scope, where T may still be incomplete (a
        // payload can hold a list of its own kind).
        static_assert(sizeof(Node) % alignof(T) == 0,
                      "payload would be misaligned behind the links");
        void* block = K_CountedAllocate(sizeof(Node) + sizeof(T));
        Node* node = static_cast<Node*>(block);
        node->m_pPrev = nullptr;
        node->m_pNext = nullptr;
        return payloadOf(node);
    }

    // Gives the node back without running T's destructor.
    virtual void freeNode(T* item) { K_REALLOCATE_DELETE_implementation(nodeOf(item)); }

    T* getFirst() const { return isReal(m_head.m_pNext) ? payloadOf(m_head.m_pNext) : nullptr; }
    T* getLast() const { return isReal(m_tail.m_pPrev) ? payloadOf(m_tail.m_pPrev) : nullptr; }

    T* getNext(T* item) const {
        Node* next = nodeOf(item)->m_pNext;
        return isReal(next) ? payloadOf(next) : nullptr;
    }
    T* getPrev(T* item) const {
        Node* prev = nodeOf(item)->m_pPrev;
        return isReal(prev) ? payloadOf(prev) : nullptr;
    }

    int getCount() const { return m_iCount; }

    void addLast(T* item) {
        Node* node = nodeOf(item);
        node->m_pPrev = m_tail.m_pPrev;
        node->m_pNext = &m_tail;
        m_tail.m_pPrev->m_pNext = node;
        m_tail.m_pPrev = node;
        ++m_iCount;
        m_iCachedIndex = K_DLLIST_NO_CACHE;
    }

    void addFirst(T* item) {
        Node* node = nodeOf(item);
        node->m_pNext = m_head.m_pNext;
        node->m_pPrev = &m_head;
        m_head.m_pNext->m_pPrev = node;
        m_head.m_pNext = node;
        ++m_iCount;
        m_iCachedIndex = K_DLLIST_NO_CACHE;
    }

    T* addNewLast() {
        T* item = allocateNode();
        addLast(item);
        return item;
    }

    void unlink(T* item) {
        Node* node = nodeOf(item);
        node->m_pPrev->m_pNext = node->m_pNext;
        node->m_pNext->m_pPrev = node->m_pPrev;
        node->m_pPrev = nullptr;
        node->m_pNext = nullptr;
        --m_iCount;
        m_iCachedIndex = K_DLLIST_NO_CACHE;
    }

    T* removeFirst() {
        T* item = getFirst();
        if (item != nullptr) {
            unlink(item);
        }
        return item;
    }

    T* removeLast() {
        T* item = getLast();
        if (item != nullptr) {
            unlink(item);
        }
        return item;
    }

    // Payload at `index` (0 <= index < getCount()), walking from whichever of the front,
    // the back and the remembered position is nearest.
    T* getAt(int index) const {
        if (m_iCachedIndex == K_DLLIST_NO_CACHE) {
            m_iCachedIndex = 0;
            m_pCachedItem = getFirst();
        }
        int const distance =
            index > m_iCachedIndex ? index - m_iCachedIndex : m_iCachedIndex - index;
        int const fromEnd = m_iCount - index - 1;
        int const nearestEnd = fromEnd < index ? fromEnd : index;
        if (distance > nearestEnd) {
            if (index < fromEnd) {
                m_iCachedIndex = 0;
                m_pCachedItem = getFirst();
            } else {
                m_iCachedIndex = m_iCount - 1;
                m_pCachedItem = getLast();
            }
        }
        while (m_iCachedIndex > index) {
            m_pCachedItem = getPrev(m_pCachedItem);
            --m_iCachedIndex;
        }
        while (m_iCachedIndex < index) {
            m_pCachedItem = getNext(m_pCachedItem);
            ++m_iCachedIndex;
        }
        return m_pCachedItem;
    }

    // Frees every node, first to last, through the virtual freeNode.
    void clear() {
        while (isReal(m_head.m_pNext)) {
            T* item = payloadOf(m_head.m_pNext);
            unlink(item);
            freeNode(item);
        }
    }

    // The link part of a payload pointer.
    static Node* nodeOf(T* item) {
        return reinterpret_cast<Node*>(reinterpret_cast<unsigned char*>(item) - sizeof(Node));
    }
    static T* payloadOf(Node* node) {
        return reinterpret_cast<T*>(reinterpret_cast<unsigned char*>(node) + sizeof(Node));
    }

    Node m_head;
    Node m_tail;
    int m_iCount;
    mutable int m_iCachedIndex;
    mutable T* m_pCachedItem;
    unsigned char* m_pBlockA;
    unsigned char* m_pBlockB;

protected:
    // The destructor's work, run by each level with its own virtual table in force.
    void destroy() {
        K_REALLOCATE_DELETE_implementation(m_pBlockA);
        m_pBlockA = nullptr;
        K_REALLOCATE_DELETE_implementation(m_pBlockB);
        m_pBlockB = nullptr;
        clear();
    }

private:
    static bool isReal(Node const* node) {
        return node->m_pPrev != nullptr && node->m_pNext != nullptr;
    }

    K_DLListBase(K_DLListBase const&) = delete;
    K_DLListBase& operator=(K_DLListBase const&) = delete;
};

// List of payloads that need no construction: pointers, handles, plain records.
template <class T> class K_DLList : public K_DLListBase<T, K_DLListBaseNode> {
public:
    K_DLList() = default;
    ~K_DLList() override { this->destroy(); }
};

// List whose payloads are constructed in allocateNode and destroyed in freeNode.
template <class T> class K_DLListInit : public K_DLList<T> {
public:
    K_DLListInit() = default;
    ~K_DLListInit() override { this->destroy(); }

    T* allocateNode() override {
        T* item = K_DLList<T>::allocateNode();
        try {
            new (item) T();
        } catch (...) {
            K_REALLOCATE_DELETE_implementation(K_DLList<T>::nodeOf(item));
            throw;
        }
        return item;
    }

    void freeNode(T* item) override {
        item->~T();
        K_DLList<T>::freeNode(item);
    }
};

// A pool of nodes: nodes in use and nodes ready for use again. A steady state makes
// no allocation.
template <class T, class List> class K_ReusableNodeList {
public:
    K_ReusableNodeList() = default;
    ~K_ReusableNodeList() { freeAll(); }

    // A node from the pool, linked at the end of m_used. A recycled payload keeps the
    // values of its last use.
    T* getNode() {
        if (m_free.getCount() == 0) {
            m_free.addNewLast();
        }
        T* item = m_free.removeFirst();
        m_used.addLast(item);
        return item;
    }

    // Moves every node in use to the front of the free list.
    void releaseAll() {
        while (T* item = m_used.removeFirst()) {
            m_free.addFirst(item);
        }
    }

    void freeAll() {
        releaseAll();
        m_free.clear();
    }

    List m_used;
    List m_free;

private:
    K_ReusableNodeList(K_ReusableNodeList const&) = delete;
    K_ReusableNodeList& operator=(K_ReusableNodeList const&) = delete;
};
