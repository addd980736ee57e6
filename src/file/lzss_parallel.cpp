// The encoder on two processors. The trees of different first bytes never meet: an
// insertion walks only the tree of its string's first byte, a removal takes a node out of
// the tree it went into, and a node's 18 bytes stay as they were from its insertion to its
// removal. So the first bytes are split in two halves of about equal weight, and each
// side runs the insertions and removals of its own trees in the order of the steps, on
// links of its own. The strings are read from the input itself: the node of step k starts
// at input byte k, the 18 blank nodes in front of the input at -18 to -1, and the bytes
// after the end of the input are those the ring held there. The matches of both sides go
// into one table per block of steps, from which the calling thread writes the items.
#include "file/lzss_parallel.h"

#include "file/lzss_tree.h"
#include "platform/processor.h"

#include <algorithm>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <thread>

namespace klmfc::file::lzss {
namespace {

constexpr std::size_t kSteps = 16384;            // steps of tree work in one block
constexpr std::ptrdiff_t kLifetime = kStart + 1; // a node leaves this many steps after it came

// The ring index of the node that step k inserts, and of the one it takes out.
int arriving(std::size_t k) {
    return static_cast<int>((kStart + k) & kRingMask);
}
int leaving(std::size_t k) {
    return static_cast<int>((k - 1) & kRingMask);
}

// The strings of the nodes as they stand at one step, read from a copy of the input that
// has the ring's blanks in front of it and, behind it, what the ring holds there once the
// input has run out.
struct InputStrings {
    unsigned char const* bytes; // input byte 0 of the copy
    unsigned char const* here;  // the step's own string
    int ring;                   // the ring index of the step's own node

    void moveTo(std::size_t k) {
        here = bytes + k;
        ring = arriving(k);
    }

    // The nodes in the tree came in less than kLifetime steps ago: their distance back in
    // the ring is their distance back in the input.
    unsigned char const* at(int p) const { return here - ((ring - p) & kRingMask); }
};

struct Side {
    int dad[kRingSize + 1];
    int lson[kRingSize + 1];
    int rson[kRoot + 256];
    std::uint32_t events[2 * kSteps]; // step within the block times 2, plus 1 for an insertion
    Tree<InputStrings> tree;
};

// Like the arrays of K_File, this serves one compression at a time.
struct State {
    Side sides[2];
    unsigned char sideOf[256];
    std::uint16_t positions[2][kSteps]; // two blocks: one being written out, one being found
    std::uint8_t lengths[2][kSteps];
} state;

// Splits the byte values in two halves of about the same count in the input, the heaviest
// first, each to the lighter half so far.
void splitFirstBytes(unsigned char const* in, std::size_t size) {
    std::size_t counts[4][256] = {};
    std::size_t i = 0;
    for (; i + 4 <= size; i += 4) {
        ++counts[0][in[i]];
        ++counts[1][in[i + 1]];
        ++counts[2][in[i + 2]];
        ++counts[3][in[i + 3]];
    }
    for (; i < size; ++i) {
        ++counts[0][in[i]];
    }
    std::size_t total[256];
    int order[256];
    for (int c = 0; c < 256; ++c) {
        total[c] = counts[0][c] + counts[1][c] + counts[2][c] + counts[3][c];
        order[c] = c;
    }
    std::sort(order, order + 256,
              [&](int a, int b) { return total[a] != total[b] ? total[a] > total[b] : a < b; });
    std::size_t weight[2] = {0, 0};
    for (int c : order) {
        int const side = weight[1] < weight[0] ? 1 : 0;
        state.sideOf[c] = static_cast<unsigned char>(side);
        weight[side] += total[c];
    }
}

// The copy of the input that the strings are read from: 18 blanks, the input, and 18 bytes
// more, with room behind for the 8-byte loads of the comparisons. Null when there is no
// memory for it.
std::unique_ptr<unsigned char[]> copyInput(unsigned char const* in, std::size_t size) {
    std::unique_ptr<unsigned char[]> copy(
        new (std::nothrow) unsigned char[size + 2 * kLongest + 8]);
    if (copy) {
        std::memset(copy.get(), ' ', kLongest);
        std::memcpy(copy.get() + kLongest, in, size);
        // After the end of the input the ring keeps what it held: the byte 4096 places
        // earlier, or a blank of its start, or the 0 that the look-ahead starts with.
        for (std::size_t j = size; j < size + kLongest + 8; ++j) {
            copy[kLongest + j] = j < kLongest ? 0 : j >= kRingSize ? in[j - kRingSize] : ' ';
        }
    }
    return copy;
}

void prepare(unsigned char const* copy, unsigned char const* in, std::size_t size) {
    splitFirstBytes(in, size);
    for (Side& side : state.sides) {
        side.tree =
            Tree<InputStrings>{InputStrings{copy, copy, 0}, side.dad, side.lson, side.rson, 0, 0};
        side.tree.init();
    }
}

// The first byte of the node that step k takes out; a blank for the blank nodes.
unsigned char leavingFirst(unsigned char const* in, std::size_t k) {
    std::ptrdiff_t const start = static_cast<std::ptrdiff_t>(k) - kLifetime;
    return start >= 0 ? in[start] : static_cast<unsigned char>(' ');
}

// The tree work of one side for steps [begin, end), its matches into table `table`.
void runSide(int me, unsigned char const* in, std::size_t begin, std::size_t end, int table) {
    Side& side = state.sides[me];
    Tree<InputStrings> tree = side.tree;
    if (begin == 0 && state.sideOf[' '] == me) {
        // The blanks in front of the input go in first.
        tree.strings.moveTo(0);
        for (int i = 1; i <= kLongest; ++i) {
            tree.insert(kStart - i);
        }
    }
    // The side's events in the order of the steps: at step k, the removal of the node of
    // step k - kLifetime, then the insertion of the node of step k.
    std::size_t n = 0;
    for (std::size_t k = begin; k < end; ++k) {
        // Nodes before the 18 blank ones were never inserted.
        bool const anyLeaving = static_cast<std::ptrdiff_t>(k) - kLifetime >= -kLongest;
        std::uint32_t const at = static_cast<std::uint32_t>(k - begin) << 1;
        side.events[n] = at;
        n += static_cast<std::size_t>(anyLeaving && state.sideOf[leavingFirst(in, k)] == me);
        side.events[n] = at | 1;
        n += static_cast<std::size_t>(state.sideOf[in[k]] == me);
    }
    std::uint16_t* positions = state.positions[table];
    std::uint8_t* lengths = state.lengths[table];
    auto keep = [&](std::size_t k, int position, int length) {
        positions[k - begin] = static_cast<std::uint16_t>(position);
        lengths[k - begin] = static_cast<std::uint8_t>(length);
    };
    using Walk = Tree<InputStrings>::Walk;
    for (std::size_t i = 0; i < n;) {
        std::size_t const k = begin + (side.events[i] >> 1);
        if ((side.events[i] & 1) == 0) {
            tree.remove(leaving(k));
            ++i;
            continue;
        }
        // An insertion goes down side by side with the side's next one when that one
        // starts with another byte and the removals between them are not from the first
        // one's tree: those removals then run first. Each walk reads the strings as they
        // stand at its own step.
        unsigned char const first = in[k];
        std::size_t j = i + 1;
        while (j < n && (side.events[j] & 1) == 0 &&
               leavingFirst(in, begin + (side.events[j] >> 1)) != first) {
            ++j;
        }
        std::size_t const k2 = j < n ? begin + (side.events[j] >> 1) : 0;
        if (j < n && (side.events[j] & 1) != 0 && in[k2] != first) {
            for (std::size_t m = i + 1; m < j; ++m) {
                tree.remove(leaving(begin + (side.events[m] >> 1)));
            }
            tree.strings.moveTo(k);
            Walk a = tree.begin(arriving(k));
            tree.strings.moveTo(k2);
            Walk b = tree.begin(arriving(k2));
            tree.walkTwo(a, b);
            keep(k, a.bestPosition, a.best);
            keep(k2, b.bestPosition, b.best);
            i = j + 1;
            continue;
        }
        tree.strings.moveTo(k);
        tree.insert(arriving(k));
        keep(k, tree.matchPosition, tree.matchLength);
        ++i;
    }
    side.tree = tree;
}

std::size_t blockEnd(std::size_t begin, std::size_t size) {
    return size - begin < kSteps ? size : begin + kSteps;
}

// How far each side has come, in blocks, and the wait for the other.
struct Meeting {
    std::mutex mutex;
    std::condition_variable changed;
    std::size_t found = 0;   // blocks whose second side is done
    std::size_t written = 0; // blocks written out

    void set(std::size_t& counter, std::size_t value) {
        {
            std::lock_guard<std::mutex> lock(mutex);
            counter = value;
        }
        changed.notify_all();
    }

    void waitFor(std::size_t const& counter, std::size_t value) {
        std::unique_lock<std::mutex> lock(mutex);
        changed.wait(lock, [&] { return counter >= value; });
    }
};

} // namespace

bool twoSidedWorthIt() {
    return klmfc::platform::usableProcessors() > 1;
}

std::size_t encodeTwoSided(unsigned char const* in, std::size_t size, unsigned char* code,
                           bool secondThread) {
    std::unique_ptr<unsigned char[]> const copy = copyInput(in, size);
    if (!copy) {
        return kNotEncoded;
    }
    prepare(copy.get() + kLongest, in, size);
    std::size_t const blocks = (size + kSteps - 1) / kSteps;
    Meeting meeting;
    std::thread second;
    try {
        if (secondThread) {
            second = std::thread([&] {
                for (std::size_t j = 0; j < blocks; ++j) {
                    // The table of block j held block j - 2: it must have been written out.
                    if (j >= 2) {
                        meeting.waitFor(meeting.written, j - 1);
                    }
                    std::size_t const begin = j * kSteps;
                    runSide(1, in, begin, blockEnd(begin, size), static_cast<int>(j & 1));
                    meeting.set(meeting.found, j + 1);
                }
            });
        }
    } catch (...) {
        // No second thread: the calling thread does both sides, block by block.
    }
    bool const alone = !second.joinable();

    ItemWriter writer(in, size, code);
    for (std::size_t j = 0; j < blocks; ++j) {
        std::size_t const begin = j * kSteps;
        std::size_t const end = blockEnd(begin, size);
        int const table = static_cast<int>(j & 1);
        runSide(0, in, begin, end, table);
        if (alone) {
            runSide(1, in, begin, end, table);
        } else {
            meeting.waitFor(meeting.found, j + 1);
        }
        writer.write(begin, end, state.positions[table], state.lengths[table]);
        if (!alone) {
            meeting.set(meeting.written, j + 1);
        }
    }
    if (!alone) {
        second.join();
    }
    return writer.finish();
}

} // namespace klmfc::file::lzss
