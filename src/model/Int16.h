#pragma once
// Checked 16-bit integer arithmetic. Every count and index of the model is a
// 16-bit signed integer; a result outside -32768..32767 is an overflow fault,
// never a silent wrap.

#include <cstdint>
#include <string>

#include "model/Faults.h"

namespace quillane {

using int16 = std::int16_t;

inline constexpr int kInt16Min = -32768;
inline constexpr int kInt16Max = 32767;

// Narrows a wider integer to 16 bits, raising the overflow fault when it does not fit.
inline int16 checked16(long long value, const char* what = "a whole-number count") {
    if (value < kInt16Min || value > kInt16Max) {
        raiseOverflow(std::string("The value of ") + what + " (" + std::to_string(value) +
                      ") does not fit in the range -32768 to 32767.");
    }
    return static_cast<int16>(value);
}

inline int16 add16(int a, int b, const char* what = "a whole-number count") {
    return checked16(static_cast<long long>(a) + b, what);
}
inline int16 sub16(int a, int b, const char* what = "a whole-number count") {
    return checked16(static_cast<long long>(a) - b, what);
}
inline int16 mul16(int a, int b, const char* what = "a whole-number count") {
    return checked16(static_cast<long long>(a) * b, what);
}

} // namespace quillane
