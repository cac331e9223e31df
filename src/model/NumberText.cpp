#include "model/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>

#include "model/Faults.h"

namespace quillane {

namespace {

// Decimal digits and exponent of a value printed in scientific form: the value is
// 0.d1d2d3... x 10^(exponent + 1), i.e. d1.d2d3... x 10^exponent.
struct Decimal {
    bool negative = false;
    std::string digits;
    int exponent = 0;
};

// Correctly rounded scientific digits from <charconv>, which ignores the locale,
// so a model written on one machine reads back on another.
template <typename Real> Decimal scientificDigits(Real value, int significant) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value,
                                      std::chars_format::scientific, significant - 1);
    Decimal out;
    const char* p = buffer;
    if (*p == '-') {
        out.negative = true;
        ++p;
    }
    while (p < result.ptr && *p != 'e') {
        if (*p != '.') {
            out.digits.push_back(*p);
        }
        ++p;
    }
    // Skip 'e'; the exponent is always present in the scientific form.
    ++p;
    std::from_chars(*p == '+' ? p + 1 : p, result.ptr, out.exponent);
    return out;
}

std::string exponentText(int exponent) {
    std::string text = exponent < 0 ? "-" : "+";
    const std::string magnitude = std::to_string(exponent < 0 ? -exponent : exponent);
    if (magnitude.size() < 2) {
        text.push_back('0');
    }
    return text + magnitude;
}

std::string nonFiniteText(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    return value < 0 ? "-Inf" : "Inf";
}

// Takes one unit off the last digit: the digits cut instead of rounded up.
void decrementDigits(Decimal& d) {
    for (auto it = d.digits.rbegin(); it != d.digits.rend(); ++it) {
        if (*it != '0') {
            --*it;
            break;
        }
        *it = '9';
    }
    if (d.digits.size() > 1 && d.digits.front() == '0') {
        d.digits.erase(d.digits.begin());
        --d.exponent;
    }
}

template <typename Real> std::string generalText(Real value, int maxDigits) {
    if (!std::isfinite(value)) {
        return nonFiniteText(static_cast<double>(value));
    }
    if (value == 0) {
        return "0";
    }
    // The fewest digits that still read back as the very same value, up to the cap.
    Decimal d;
    bool beyondRange = false;
    for (int p = 1; p <= maxDigits; ++p) {
        d = scientificDigits(value, p);
        // The digits read as a whole number, so the exponent moves by their count.
        const std::string text = std::string(d.negative ? "-" : "") + d.digits + "e" +
                                 std::to_string(d.exponent - (p - 1));
        Real back{};
        const auto result = std::from_chars(text.data(), text.data() + text.size(), back);
        beyondRange = result.ec == std::errc::result_out_of_range && d.exponent > 0;
        if (back == value) {
            break;
        }
    }
    // Next to the largest value of the type, rounding the last digit up can carry the
    // text beyond the range, so that it could never be read back (the largest double
    // with 15 digits is 1.79769313486232E+308): such a value is cut instead.
    if (beyondRange) {
        decrementDigits(d);
    }
    while (d.digits.size() > 1 && d.digits.back() == '0') {
        d.digits.pop_back();
    }
    std::string out = d.negative ? "-" : "";
    const int n = static_cast<int>(d.digits.size());
    const int e = d.exponent;
    if (e >= -4 && e <= maxDigits - 1) {
        if (e >= 0) {
            if (n <= e + 1) {
                out += d.digits + std::string(static_cast<std::size_t>(e + 1 - n), '0');
            } else {
                const std::size_t integerDigits = static_cast<std::size_t>(e) + 1;
                out += d.digits.substr(0, integerDigits) + "." + d.digits.substr(integerDigits);
            }
        } else {
            out += "0." + std::string(static_cast<std::size_t>(-e - 1), '0') + d.digits;
        }
        return out;
    }
    out += d.digits.substr(0, 1);
    if (n > 1) {
        out += "." + d.digits.substr(1);
    }
    return out + "E" + exponentText(e);
}

// Adds one to a string of decimal digits, growing it on a carry out of the front.
void incrementDigits(std::string& digits) {
    for (auto it = digits.rbegin(); it != digits.rend(); ++it) {
        if (*it != '9') {
            ++*it;
            return;
        }
        *it = '0';
    }
    digits.insert(digits.begin(), '1');
}

// The "0" format works on the decimal the value shows at its own precision, so a
// float such as 2.4999999 read as 2.5 rounds up, as the user sees it.
std::string wholeText(const Decimal& d) {
    std::string integer;
    char firstFraction = '0';
    if (d.exponent >= 0) {
        const auto intLength = static_cast<std::size_t>(d.exponent) + 1;
        integer = d.digits.substr(0, intLength);
        if (integer.size() < intLength) {
            integer.append(intLength - integer.size(), '0');
        } else if (d.digits.size() > intLength) {
            firstFraction = d.digits[intLength];
        }
    } else {
        integer = "0";
        if (d.exponent == -1) {
            firstFraction = d.digits[0];
        }
    }
    if (firstFraction >= '5') {
        incrementDigits(integer);
    }
    const bool allZero = integer.find_first_not_of('0') == std::string::npos;
    if (allZero) {
        return "0";
    }
    return d.negative ? "-" + integer : integer;
}

} // namespace

int16 roundToInt16(double value, const char* what) {
    if (std::isnan(value)) {
        raiseOverflow(std::string("The value of ") + what +
                      " is not a number, so it cannot be stored as a whole number between "
                      "-32768 and 32767.");
    }
    // Explicit halves-to-even instead of nearbyint, so the floating-point rounding
    // mode of the moment cannot change the result. value - floor(value) is exact.
    double rounded = std::floor(value);
    const double fraction = value - rounded;
    if (fraction > 0.5 || (fraction == 0.5 && std::fmod(rounded, 2.0) != 0.0)) {
        rounded += 1.0;
    }
    if (!(rounded >= kInt16Min && rounded <= kInt16Max)) {
        raiseOverflow(std::string("The value of ") + what + " (" + formatGeneral(value) +
                      ") is too large: it must lie between -32768 and 32767.");
    }
    return static_cast<int16>(rounded);
}

double leadingNumber(std::string_view text) {
    std::size_t i = 0;
    const std::size_t size = text.size();
    auto isDigit = [&](std::size_t k) { return k < size && text[k] >= '0' && text[k] <= '9'; };
    while (i < size && (text[i] == ' ' || text[i] == '\t')) {
        ++i;
    }
    const std::size_t start = i;
    bool negative = false;
    if (i < size && (text[i] == '+' || text[i] == '-')) {
        negative = text[i] == '-';
        ++i;
    }
    // Rebuilt in a canonical form for from_chars, which takes no '+' and whose
    // acceptance of a bare "5." or ".5" is better not relied on.
    std::string integer;
    std::string fraction;
    while (isDigit(i)) {
        integer.push_back(text[i++]);
    }
    if (i < size && text[i] == '.') {
        std::size_t k = i + 1;
        while (isDigit(k)) {
            fraction.push_back(text[k++]);
        }
        if (!integer.empty() || !fraction.empty()) {
            i = k;
        }
    }
    if (integer.empty() && fraction.empty()) {
        return 0.0;
    }
    // The exponent, saturated: anything this large already decides overflow or zero.
    long long exponent = 0;
    if (i < size && (text[i] == 'e' || text[i] == 'E')) {
        std::size_t k = i + 1;
        bool expNegative = false;
        if (k < size && (text[k] == '+' || text[k] == '-')) {
            expNegative = text[k] == '-';
            ++k;
        }
        if (isDigit(k)) {
            while (isDigit(k)) {
                exponent = std::min(exponent * 10 + (text[k] - '0'), 1'000'000'000LL);
                ++k;
            }
            if (expNegative) {
                exponent = -exponent;
            }
            i = k;
        }
    }
    std::string canonical = (integer.empty() ? "0" : integer) + "." +
                            (fraction.empty() ? "0" : fraction) + "e" + std::to_string(exponent);
    double value = 0.0;
    const auto result =
        std::from_chars(canonical.data(), canonical.data() + canonical.size(), value);
    if (result.ec == std::errc::result_out_of_range) {
        // Either beyond the largest double or below the smallest subnormal; the
        // decimal position of the first significant digit tells which.
        const auto firstInt = integer.find_first_not_of('0');
        long long magnitude = exponent;
        if (firstInt != std::string::npos) {
            magnitude += static_cast<long long>(integer.size() - firstInt);
        } else {
            const auto firstFrac = fraction.find_first_not_of('0');
            magnitude -= static_cast<long long>(firstFrac);
        }
        if (magnitude > 0) {
            raiseOverflow("The number " + QuotedText(text.substr(start, i - start)) +
                          " is too large to be stored as a real number.");
        }
        value = 0.0;
    }
    return negative ? -value : value;
}

float toSingle(double value, const char* what) {
    const auto single = static_cast<float>(value);
    if (std::isfinite(value) && std::isinf(single)) {
        raiseOverflow(std::string("The value of ") + what + " (" + formatGeneral(value) +
                      ") is too large to be stored in single precision.");
    }
    return single;
}

std::string formatGeneral(float value) {
    return generalText(value, 7);
}
std::string formatGeneral(double value) {
    return generalText(value, 15);
}
std::string formatGeneral(int value) {
    return std::to_string(value);
}

std::string QuotedText(std::string_view text) {
    constexpr std::size_t kReadable = 40;
    std::size_t cut = text.size();
    if (cut > kReadable) {
        cut = kReadable;
        // Back to the first byte of a UTF-8 character (continuation bytes are 10xxxxxx).
        while (cut > 0 && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
            --cut;
        }
    }
    std::string quoted(1, '"');
    quoted.append(text.substr(0, cut));
    if (cut < text.size()) {
        quoted.append("...");
    }
    quoted.push_back('"');
    return quoted;
}

std::string formatScientific(double value) {
    if (!std::isfinite(value)) {
        return nonFiniteText(value);
    }
    if (value == 0) {
        return "0.00E+00";
    }
    // Two roundings on purpose: first to the 15 digits the value shows, then half
    // away from zero on that decimal, so 1.125 gives 1.13 as it reads.
    Decimal d = scientificDigits(value, 15);
    std::string mantissa = d.digits.substr(0, 3);
    if (d.digits[3] >= '5') {
        incrementDigits(mantissa);
        if (mantissa.size() > 3) {
            mantissa.pop_back();
            ++d.exponent;
        }
    }
    std::string out = d.negative ? "-" : "";
    out += mantissa.substr(0, 1) + "." + mantissa.substr(1) + "E" + exponentText(d.exponent);
    return out;
}

std::string formatWhole(double value) {
    if (!std::isfinite(value)) {
        return nonFiniteText(value);
    }
    if (value == 0) {
        return "0";
    }
    return wholeText(scientificDigits(value, 15));
}

std::string formatWhole(float value) {
    if (!std::isfinite(value)) {
        return nonFiniteText(static_cast<double>(value));
    }
    if (value == 0) {
        return "0";
    }
    return wholeText(scientificDigits(value, 7));
}

} // namespace quillane
