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
    case FaultKind::Input:
        return "Cannot analyse the model";
    }
    return "Run-time fault";
}

std::string FaultExplanation(const RuntimeFault& fault) {
    if (fault.kind() == FaultKind::Subscript) {
        // The raw text names the program's own arrays and indices: of no use to the
        // user, who can only change the model.
        return "The model's cells, nodes and elements do not fit together: a value was looked "
               "for where the model has none (for example at a node joined to more elements "
               "than a grid allows).";
    }
    std::string text = fault.what();
    if (text.empty()) {
        return "No reason was given.";
    }
    const char last = text.back();
    if (last != '.' && last != '!' && last != '?') {
        text += '.';
    }
    return text;
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
void raiseInput(const std::string& what) {
    throw InputFault(what);
}

} // namespace quillane
