// Numeric tools beneath the array kernels.
#pragma once

// The inverse-square-root table. The index is bits 23 to 16 of a float (the lowest
// exponent bit and the top seven mantissa bits); entry i holds the top eight mantissa
// bits of the inverse square root of the middle of that interval. Entries 0 to 127
// serve even biased exponents, 128 to 255 odd ones. All zero until
// M_funcMakeInverseSqrtLUT has run (M_MathInit does it), then only read.
extern unsigned char M_LUTInverseSqrt[256];

// Fills M_LUTInverseSqrt. Running it again gives the same contents.
void M_funcMakeInverseSqrtLUT();

// Converts to int rounding towards positive infinity, whatever the thread's rounding
// mode: switches the mode to upward for the conversion and puts it back.
int M_ceilToInt(float value);
