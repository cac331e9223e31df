#pragma once
// Doubles compared by their bit patterns: equal values with different signs of
// zero, or two different NaNs, must not pass for the same result.

#include <bit>
#include <cstdint>

namespace quillane::support {

inline std::uint64_t bits(double v) {
    return std::bit_cast<std::uint64_t>(v);
}

} // namespace quillane::support
