#pragma once
// Run-time faults of the analysis and optimization chain.
//
// The chain checks no input of its own: a 16-bit count that overflows, an index
// outside an array, or a division that cannot give a number stops the work where
// it happens. The desktop and the headless runner catch these at the top and
// report them; the model stays as the failed step left it.

#include <stdexcept>
#include <string>

namespace quillane {

enum class FaultKind { Overflow, Subscript, FloatingPoint, Input };

class RuntimeFault : public std::runtime_error {
  public:
    RuntimeFault(FaultKind kind, const std::string& message)
        : std::runtime_error(message), kind_(kind) {}
    FaultKind kind() const noexcept { return kind_; }
    // A short name of the fault for a message box title or a log line.
    const char* title() const noexcept;

  private:
    FaultKind kind_;
};

// A 16-bit count or index left -32768..32767, or a real number was too large for
// the type it had to be stored in.
class OverflowFault : public RuntimeFault {
  public:
    explicit OverflowFault(const std::string& message)
        : RuntimeFault(FaultKind::Overflow, message) {}
};

// An array was indexed outside its bounds, or sized with an upper bound below its
// lower bound.
class SubscriptFault : public RuntimeFault {
  public:
    explicit SubscriptFault(const std::string& message)
        : RuntimeFault(FaultKind::Subscript, message) {}
};

// A division by zero, or a calculation whose result is not a finite number.
class FloatingPointFault : public RuntimeFault {
  public:
    explicit FloatingPointFault(const std::string& message)
        : RuntimeFault(FaultKind::FloatingPoint, message) {}
};

// The model cannot be analysed as it stands: a material value, the element size or the
// loads lie outside what the calculation can take. The message names the value and
// where to change it.
class InputFault : public RuntimeFault {
  public:
    explicit InputFault(const std::string& message) : RuntimeFault(FaultKind::Input, message) {}
};

// What a fault means for the user, in plain words without the program's internal
// names: an index outside an array is told as a model whose parts do not fit together
// (the raw text stays in what()). Ends with a full stop.
std::string FaultExplanation(const RuntimeFault& fault);

[[noreturn]] void raiseOverflow(const std::string& what);
[[noreturn]] void raiseSubscript(const std::string& what);
[[noreturn]] void raiseFloatingPoint(const std::string& what);
[[noreturn]] void raiseInput(const std::string& what);

} // namespace quillane
