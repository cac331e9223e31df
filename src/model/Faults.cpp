#include "model/Faults.h"

namespace quillane {

const char* RuntimeFault::title() const noexcept {
    switch (kind_) {
    case FaultKind::Overflow:
        return "Overflow";
    case FaultKind::Subscript:
        return "Subscript out of range";
    case FaultKind::FloatingPoint:
        return "Division by zero or invalid calculation";
    }
    return "Run-time fault";
}

void raiseOverflow(const std::string& what) {
    throw OverflowFault(what);
}
void raiseSubscript(const std::string& what) {
    throw SubscriptFault(what);
}
void raiseFloatingPoint(const std::string& what) {
    throw FloatingPointFault(what);
}

} // namespace quillane
