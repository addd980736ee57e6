// The floating-point control state of the running thread.
//
// The state is exchanged in the layout of the x87 control word, the form the maths
// classes hand around: bits 10 and 11 hold the rounding mode (0 to nearest, 1 downward,
// 2 upward, 3 towards zero), bits 8 and 9 the working precision (0 a 24-bit mantissa,
// 2 53 bits, 3 64 bits), the other bits are the x87 unit's own (exception masks).
#pragma once

namespace klmfc::platform {

// The control word of the calling thread.
int floatControlWord();

// Loads the control word of the calling thread. Where the processor computes floats in
// its vector unit as well (SSE), that unit's rounding mode follows the rounding field,
// so float, double and long double arithmetic all round alike; its other settings stay
// as they are. The precision field governs only the x87 unit.
void setFloatControlWord(int word);

} // namespace klmfc::platform
