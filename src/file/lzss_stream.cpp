// The resumable LZSS decoder: the whole state lives in the stream, so a code stream can
// be decoded piece by piece as its bytes arrive, a match carried from one call to the
// next.
#include "klmfc/file/compression.h"

#include <cstring>

namespace {
constexpr int kRingMask = 4095;
constexpr int kStart = 4078;
} // namespace

K_LZSSStreamState::K_LZSSStreamState()
    : writeIndex(kStart), matchPosition(0), matchLength(0), matchIndex(1), flags(0) {
    std::memset(ring, ' ', kStart);
    std::memset(ring + kStart, 0, sizeof ring - kStart);
}

unsigned int K_LZSSStreamState::decode(unsigned char const* input, unsigned char* output,
                                       int wanted, int* inputLeft, bool moreInput) {
    unsigned char* const ringBytes = ring;
    unsigned char* op = output;
    unsigned char const* ip = input;
    int left = *inputLeft;
    int write = writeIndex;
    int position = matchPosition;
    int last = matchLength;
    int next = matchIndex;
    unsigned flagBits = flags;

    while (wanted > 0) {
        // Whole groups while nothing can run short inside one: a flag byte is due, the
        // input holds the group and 3 bytes more, and the output takes the most a group
        // gives. Each step of the group then meets the tests below as passed.
        if (next > last && (flagBits & 0x200) == 0 && left >= 20 && wanted >= 144) {
            unsigned const flagByte = *ip++;
            unsigned group = flagByte;
            left -= 1;
            if (flagByte == 0xff && write <= 4096 - 8) {
                // Eight literals, as data that does not compress gives them.
                std::memcpy(op, ip, 8);
                std::memcpy(ringBytes + write, ip, 8);
                op += 8;
                ip += 8;
                write = (write + 8) & kRingMask;
                left -= 8;
                wanted -= 8;
                flagBits = (flagByte | 0xff00u) >> 7;
                continue;
            }
            for (int item = 0; item < 8; ++item, group >>= 1) {
                if ((group & 1) != 0) {
                    unsigned char const c = *ip++;
                    ringBytes[write] = c;
                    write = (write + 1) & kRingMask;
                    *op++ = c;
                    left -= 1;
                    wanted -= 1;
                } else {
                    int const from = ip[0] | ((ip[1] & 0xf0) << 4);
                    int const count = (ip[1] & 0x0f) + 3;
                    ip += 2;
                    left -= 2;
                    for (int k = 0; k < count; ++k) {
                        unsigned char const c = ringBytes[(from + k) & kRingMask];
                        ringBytes[write] = c;
                        write = (write + 1) & kRingMask;
                        op[k] = c;
                    }
                    op += count;
                    wanted -= count;
                    position = from;
                    last = count - 1;
                    next = count;
                }
            }
            flagBits = (flagByte | 0xff00u) >> 7; // as after the group's seven shifts
            continue;
        }
        // A step takes at most 3 bytes: while more can come, stop before that runs short.
        if (moreInput && left < 3) {
            break;
        }
        if (next <= last) {
            // Go on with the match under way, as far as it goes or the caller wants.
            int count = last - next + 1;
            if (count > wanted) {
                count = wanted;
            }
            int from = position + next;
            for (int k = 0; k < count; ++k) {
                unsigned char const c = ringBytes[(from + k) & kRingMask];
                ringBytes[write] = c;
                write = (write + 1) & kRingMask;
                op[k] = c;
            }
            op += count;
            next += count;
            wanted -= count;
            continue;
        }

        unsigned shifted = flagBits >> 1;
        bool const needFlagByte = (shifted & 0x100) == 0;
        if (!moreInput) {
            // The last of the input: take nothing unless the whole next item is there.
            if (needFlagByte && left < 1) {
                break;
            }
            unsigned const bit = needFlagByte ? (ip[0] & 1u) : (shifted & 1u);
            int const need = (needFlagByte ? 1 : 0) + (bit != 0 ? 1 : 2);
            if (left < need) {
                break;
            }
        }
        if (needFlagByte) {
            shifted = *ip++ | 0xff00u;
            --left;
        }
        flagBits = shifted;
        if ((flagBits & 1) != 0) {
            unsigned char const c = *ip++;
            --left;
            ringBytes[write] = c;
            write = (write + 1) & kRingMask;
            *op++ = c;
            --wanted;
        } else {
            position = ip[0] | ((ip[1] & 0xf0) << 4);
            last = (ip[1] & 0x0f) + 2;
            next = 0;
            ip += 2;
            left -= 2;
        }
    }

    writeIndex = write;
    matchPosition = position;
    matchLength = last;
    matchIndex = next;
    flags = flagBits;
    *inputLeft = left;
    return static_cast<unsigned int>(op - output);
}
