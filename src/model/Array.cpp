#include "model/Array.h"

namespace quillane::detail {

namespace {
std::string range(int lo, int hi) {
    if (hi < lo) {
        return "it has no elements";
    }
    return "its range is " + std::to_string(lo) + " to " + std::to_string(hi);
}
} // namespace

void raiseIndex(const char* name, long long i, int lo, int hi) {
    raiseSubscript(std::string("Index ") + std::to_string(i) + " of " + name +
                   " is out of range: " + range(lo, hi) + ".");
}

void raiseIndex2(const char* name, long long i, long long j, int lo1, int hi1, int lo2, int hi2) {
    std::string where = (hi1 < lo1 || hi2 < lo2)
                            ? std::string("it has no elements")
                            : "its ranges are " + std::to_string(lo1) + " to " +
                                  std::to_string(hi1) + " and " + std::to_string(lo2) + " to " +
                                  std::to_string(hi2);
    raiseSubscript(std::string("Index (") + std::to_string(i) + ", " + std::to_string(j) + ") of " +
                   name + " is out of range: " + where + ".");
}

void raiseBounds(const char* name, int lo, int hi) {
    raiseSubscript(std::string("Cannot size ") + name + " from " + std::to_string(lo) + " to " +
                   std::to_string(hi) + ": the upper bound lies below the lower bound.");
}

} // namespace quillane::detail
