#pragma once
// Number rules shared by every caption, file and record of the program.
//
// - Reals become 16-bit integers by rounding to the nearest, halves to the even
//   neighbour; a result outside -32768..32767 is an overflow fault.
// - Typed numbers are read by taking the leading number of the text, with "." as
//   the decimal point whatever the locale, and 0 when there is none.
// - Numbers in captions, model files and history records are written in their
//   shortest general form: at most 7 significant digits for single precision,
//   15 for double precision, plain for decimal exponents -4 up to digits - 1,
//   otherwise an exponent form such as 1E-05 or 2.1E+07.

#include <string>
#include <string_view>

#include "model/Int16.h"

namespace quillane {

// Rounds to the nearest integer, halves to even (2.5 -> 2, 3.5 -> 4, -2.5 -> -2).
// Raises the overflow fault when the result leaves -32768..32767 or the value is
// not a number. `what` names the quantity in the fault's message.
int16 roundToInt16(double value, const char* what = "a number");

// The leading number of a text: leading blanks (spaces and tabs) are skipped, then
// the longest prefix of the form [sign] digits [. digits] [E|e [sign] digits] is
// taken (digits may be missing on either side of the point, but not on both);
// anything after it is ignored. A text without a leading number gives 0. An
// exponent letter without digits after it is not part of the number. Raises the
// overflow fault when the number is beyond the range of a double.
double leadingNumber(std::string_view text);

// A double stored as single precision, rounded to nearest. Raises the overflow
// fault when the value is beyond the single-precision range.
float toSingle(double value, const char* what = "a number");

// Shortest general form of a single-precision value (at most 7 significant digits).
std::string formatGeneral(float value);
// Shortest general form of a double-precision value (at most 15 significant digits).
std::string formatGeneral(double value);
// A whole number, plainly.
std::string formatGeneral(int value);

// A text typed by the user or read from a file, as a message quotes it: in double
// quotes, and cut after 40 characters with "..." so that a long field stays readable
// ("\"abc\"", "\"1234567890123456789012345678901234567890...\""). A cut never splits a
// UTF-8 character.
std::string QuotedText(std::string_view text);

// The "0.00E+00" format: mantissa with two decimals, E, sign, at least two
// exponent digits (2000000 -> "2.00E+06", 0 -> "0.00E+00", -0.000123 -> "-1.23E-04").
std::string formatScientific(double value);

// The "0" format: rounded to a whole number, halves away from zero, minus sign for
// negative results (2.5 -> "3", -2.5 -> "-3", -350.2 -> "-350", -0.4 -> "0").
std::string formatWhole(double value);
// As above for a single-precision value (read at single precision).
std::string formatWhole(float value);

} // namespace quillane
