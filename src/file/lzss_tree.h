// The encoder's binary search trees over the 4096-byte window: one tree per first byte,
// ordered by the 18-byte strings that start at each node, as the classic LZSS encoder
// keeps them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace klmfc::file::lzss {

constexpr int kRingSize = 4096;
constexpr int kRingMask = kRingSize - 1;
constexpr int kLongest = 18;                 // the look-ahead
constexpr int kStart = kRingSize - kLongest; // 4078, first write index
constexpr int kNil = kRingSize;              // no node
constexpr int kRoot = kRingSize + 1;         // rson[kRoot + c] roots the strings starting with c

// Eight bytes as one number whose order is that of the bytes compared one by one, first
// byte most significant.
inline std::uint64_t loadOrdered(unsigned char const* p) {
#if defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    std::uint64_t value;
    std::memcpy(&value, p, sizeof value);
    return __builtin_bswap64(value);
#elif defined(__GNUC__) && defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    std::uint64_t value;
    std::memcpy(&value, p, sizeof value);
    return value;
#else
    std::uint64_t value = 0;
    for (int i = 0; i < 8; ++i) {
        value = value << 8 | p[i];
    }
    return value;
#endif
}

// Number of leading bytes in which two ordered loads agree; `diff` is their XOR, not 0.
inline int equalBytes(std::uint64_t diff) {
#if defined(__GNUC__)
    return __builtin_clzll(diff) >> 3;
#else
    int n = 0;
    while ((diff & 0xff00000000000000ull) == 0) {
        diff <<= 8;
        ++n;
    }
    return n;
#endif
}

// An 18-byte string of the ring held for comparing: bytes 1 to 8, 9 to 16, and 17.
// Byte 0 is equal by the choice of tree.
struct Key {
    std::uint64_t head;
    std::uint64_t middle;
    unsigned char last;

    explicit Key(unsigned char const* s)
        : head(loadOrdered(s + 1)), middle(loadOrdered(s + 9)), last(s[17]) {}
};

// Compares `key` with the string at `s` from byte 9 on, bytes 1 to 8 being equal.
// Returns the index of the first unequal byte, or 18 when there is none, and sets
// `greater` when the key's byte there is the larger (as unsigned bytes).
inline int compareFrom9(Key const& key, unsigned char const* s, bool& greater) {
    std::uint64_t const middle = loadOrdered(s + 9);
    if (middle != key.middle) {
        greater = key.middle > middle;
        return 9 + equalBytes(middle ^ key.middle);
    }
    greater = key.last > s[17];
    return key.last != s[17] ? 17 : kLongest;
}

// `yes` when `condition` holds, else `no`, without a branch.
inline int choose(bool condition, int yes, int no) {
    return no ^ ((no ^ yes) & -static_cast<int>(condition));
}

// The strings of the ring as the classic encoder keeps them: node p's 18 bytes start at
// text[p].
struct RingStrings {
    unsigned char const* text;
    unsigned char const* at(int p) const { return text + p; }
};

// The tree over the window. It works on arrays of the layout of K_File's, through
// pointers held for the length of one call; `strings` finds a node's bytes.
template <class Strings> struct Tree {
    Strings strings;
    int* dad;
    int* lson;
    int* rson;
    int matchPosition;
    int matchLength;

    // One insertion on its way down a tree.
    struct Walk {
        Strings strings; // the strings as they stand at the walk's step
        Key key;
        int r;
        int p;
        int next;
        bool right;
        int best;
        int bestPosition;
    };

    void init() {
        for (int i = kRoot; i < kRoot + 256; ++i) {
            rson[i] = kNil;
        }
        for (int i = 0; i < kRingSize; ++i) {
            dad[i] = kNil;
        }
    }

    // Puts node r into the tree of its first byte and finds the longest match on the way
    // down: of equally long matches the first met stays. A full-length match makes r take
    // the old node's place, so older strings give way to newer, nearer ones.
    void insert(int r) {
        Walk walk = begin(r);
        while (step(walk)) {
        }
        matchPosition = walk.bestPosition;
        matchLength = walk.best;
    }

    // Inserts r and then s, which lie in different trees that neither insertion changes
    // for the other: the two walks go down side by side, each filling the other's wait
    // for memory.
    void insertTwo(int r, int s, int& positionR, int& lengthR) {
        Walk a = begin(r);
        Walk b = begin(s);
        walkTwo(a, b);
        positionR = a.bestPosition;
        lengthR = a.best;
        matchPosition = b.bestPosition;
        matchLength = b.best;
    }

    // Takes two walks begun in trees that neither changes for the other to their ends,
    // side by side.
    void walkTwo(Walk& a, Walk& b) {
        bool goingA = true;
        bool goingB = true;
        while (goingA && goingB) {
            goingA = step(a);
            goingB = step(b);
        }
        while (goingA) {
            goingA = step(a);
        }
        while (goingB) {
            goingB = step(b);
        }
    }

    Walk begin(int r) {
        rson[r] = kNil;
        lson[r] = kNil;
        // The walk starts to the right of the root.
        unsigned char const* const key = strings.at(r);
        int const root = kRoot + key[0];
        return Walk{strings, Key(key), r, root, rson[root], true, 0, matchPosition};
    }

    // One level down. False when the walk has ended: r linked below a leaf, or put in the
    // place of a node with an equal string.
    bool step(Walk& w) {
        if (w.next == kNil) {
            (w.right ? rson : lson)[w.p] = w.r;
            dad[w.r] = w.p;
            return false;
        }
        int const p = w.next;
        w.p = p;
        // Both children are loaded along with the string, and the comparison picks one
        // of them without a branch: which way the walk goes cannot be foreseen.
        int const left = lson[p];
        int const right = rson[p];
        int i;
        unsigned char const* const string = w.strings.at(p);
        std::uint64_t const head = loadOrdered(string + 1);
        if (head != w.key.head) {
            w.right = w.key.head > head;
            i = 1 + equalBytes(head ^ w.key.head);
        } else {
            i = compareFrom9(w.key, string, w.right);
        }
        w.next = choose(w.right, right, left);
        bool const longer = i > w.best;
        w.bestPosition = choose(longer, p, w.bestPosition);
        w.best = choose(longer, i, w.best);
        if (i == kLongest) {
            replace(p, w.r);
            return false;
        }
        return true;
    }

    // Node r takes the place of node p, which leaves the tree.
    void replace(int p, int r) {
        dad[r] = dad[p];
        lson[r] = lson[p];
        rson[r] = rson[p];
        dad[lson[p]] = r;
        dad[rson[p]] = r;
        // A root links only through rson, so a parent that is a root always takes the
        // first branch.
        if (rson[dad[p]] == p) {
            rson[dad[p]] = r;
        } else {
            lson[dad[p]] = r;
        }
        dad[p] = kNil;
    }

    void remove(int p) {
        if (dad[p] == kNil) {
            return;
        }
        int q;
        if (rson[p] == kNil) {
            q = lson[p];
        } else if (lson[p] == kNil) {
            q = rson[p];
        } else {
            q = lson[p];
            if (rson[q] != kNil) {
                do {
                    q = rson[q];
                } while (rson[q] != kNil);
                rson[dad[q]] = lson[q];
                dad[lson[q]] = dad[q];
                lson[q] = lson[p];
                dad[lson[p]] = q;
            }
            rson[q] = rson[p];
            dad[rson[p]] = q;
        }
        dad[q] = dad[p];
        if (rson[dad[p]] == p) {
            rson[dad[p]] = q;
        } else {
            lson[dad[p]] = q;
        }
        dad[p] = kNil;
    }
};

// Puts the items of the code stream together from the matches that the tree work found:
// the match of step k is the one found when the string of input byte k went in. An item
// starts where the previous one ended; a match of 2 bytes or less, or none, gives a
// literal.
class ItemWriter {
public:
    ItemWriter(unsigned char const* in, std::size_t size, unsigned char* code)
        : m_in(in), m_size(size), m_code(code), m_out(code + 1), m_flag(code) {
        *m_flag = 0;
    }

    bool done() const { return m_item >= m_size; }

    // The items that start in steps [begin, end), whose matches are at index step - begin
    // of `positions` and `lengths`.
    void write(std::size_t begin, std::size_t end, std::uint16_t const* positions,
               std::uint8_t const* lengths) {
        while (m_item < end) {
            std::size_t const lookAhead = m_size - m_item;
            std::size_t length = lengths[m_item - begin];
            if (length > lookAhead) {
                length = lookAhead;
            }
            if (length <= 2) {
                *m_flag = static_cast<unsigned char>(*m_flag | m_mask);
                *m_out++ = m_in[m_item];
                length = 1;
            } else {
                unsigned const position = positions[m_item - begin];
                *m_out++ = static_cast<unsigned char>(position);
                *m_out++ = static_cast<unsigned char>(((position >> 4) & 0xf0) | (length - 3));
            }
            m_item += length;
            m_mask = (m_mask << 1) & 0xff;
            if (m_mask == 0) {
                m_flag = m_out++;
                *m_flag = 0;
                m_mask = 1;
            }
        }
    }

    // The length of the code stream; a last group with no item is not sent.
    std::size_t finish() {
        if (m_out == m_flag + 1) {
            m_out = m_flag;
        }
        return static_cast<std::size_t>(m_out - m_code);
    }

private:
    unsigned char const* m_in;
    std::size_t m_size;
    unsigned char* m_code;
    unsigned char* m_out;
    unsigned char* m_flag;
    unsigned m_mask = 1;
    std::size_t m_item = 0;
};

} // namespace klmfc::file::lzss
