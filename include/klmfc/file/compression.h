// The resumable LZSS decoder that compressed file streams run on.
//
// A code stream is a run of groups: a flag byte and up to eight items taken from its
// lowest bit upward, 1 for one literal byte, 0 for a match of two bytes (ring position in
// 12 bits, length minus 3 in 4). The ring holds 4096 bytes; before the first byte it is
// blank up to 4077, and the write index is 4078.
#pragma once

class K_LZSSStreamState {
public:
    // The start state: the ring blank from 0 to 4077 (the bytes behind read 0), the write
    // index at 4078, no match under way, no flag byte loaded.
    K_LZSSStreamState();

    // Decodes at most `wanted` bytes into `output` and returns how many it wrote. It takes
    // input from `input` and lowers *inputLeft by what it took; the caller moves its read
    // pointer by that much and calls again with the same state.
    //
    // With `moreInput` set the caller can still refill, so decoding stops as soon as fewer
    // than 3 bytes are left (a step takes at most 3). With `moreInput` clear the input at
    // hand is all there is: decoding stops early when the next item needs more bytes than
    // are left, without taking any of them, and the count returned is then below `wanted`.
    // No byte outside input[0, *inputLeft) is read and no byte past output[wanted - 1] is
    // written, whatever the input holds.
    unsigned int decode(unsigned char const* input, unsigned char* output, int wanted,
                        int* inputLeft, bool moreInput);

    unsigned char ring[4113]; // only the first 4096 bytes are in use
    int writeIndex;           // where the next byte goes
    int matchPosition;        // ring position of the match under way
    int matchLength;          // its length minus 1
    int matchIndex;           // next byte of that match; above matchLength: none under way
    unsigned flags;           // flag byte in the low half, ones above it count the shifts
};
