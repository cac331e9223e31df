#include "model/NumberText.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "model/Faults.h"

using namespace quillane;

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
} // namespace

// --- roundToInt16 ---

TEST(NumberText, RoundsHalvesToEven) {
    EXPECT_EQ(roundToInt16(2.5), 2);
    EXPECT_EQ(roundToInt16(3.5), 4);
    EXPECT_EQ(roundToInt16(-2.5), -2);
    EXPECT_EQ(roundToInt16(-1.5), -2);
    EXPECT_EQ(roundToInt16(0.5), 0);
    EXPECT_EQ(roundToInt16(1.5), 2);
    EXPECT_EQ(roundToInt16(2.4999999), 2);
    EXPECT_EQ(roundToInt16(2.5000001), 3);
    EXPECT_EQ(roundToInt16(-0.4), 0);
}

TEST(NumberText, RoundingOverflowsOutsideInt16) {
    EXPECT_EQ(roundToInt16(32767.4), 32767);
    EXPECT_THROW(roundToInt16(32767.5), OverflowFault);
    EXPECT_EQ(roundToInt16(-32768.5), -32768);
    EXPECT_THROW(roundToInt16(-32768.6), OverflowFault);
    EXPECT_THROW(roundToInt16(kNaN), OverflowFault);
    EXPECT_THROW(roundToInt16(kInf), OverflowFault);
    EXPECT_THROW(roundToInt16(-kInf), OverflowFault);
}

TEST(NumberText, RoundingFaultNamesTheQuantity) {
    try {
        roundToInt16(40000.0, "the number of iterations");
        FAIL() << "expected an overflow fault";
    } catch (const OverflowFault& fault) {
        const std::string message = fault.what();
        EXPECT_NE(message.find("the number of iterations"), std::string::npos) << message;
        EXPECT_NE(message.find("40000"), std::string::npos) << message;
        EXPECT_NE(message.find("32767"), std::string::npos) << message;
        EXPECT_EQ(fault.kind(), FaultKind::Overflow);
    }
}

// --- leadingNumber ---

TEST(NumberText, ReadsLeadingNumber) {
    EXPECT_EQ(leadingNumber("12"), 12.0);
    EXPECT_EQ(leadingNumber("  \t-0.5"), -0.5);
    EXPECT_EQ(leadingNumber("+3"), 3.0);
    EXPECT_EQ(leadingNumber(".5"), 0.5);
    EXPECT_EQ(leadingNumber("-.5"), -0.5);
    EXPECT_EQ(leadingNumber("5."), 5.0);
    EXPECT_EQ(leadingNumber("5E-01"), 0.5);
    EXPECT_EQ(leadingNumber("1.5e3"), 1500.0);
    EXPECT_EQ(leadingNumber("0.1"), 0.1); // correctly rounded, same double as the literal
    EXPECT_EQ(leadingNumber("2.1E+07"), 2.1e7);
}

TEST(NumberText, IgnoresWhatFollowsTheNumber) {
    EXPECT_EQ(leadingNumber("0.1x"), 0.1);
    EXPECT_EQ(leadingNumber("12abc"), 12.0);
    EXPECT_EQ(leadingNumber("1e"), 1.0);
    EXPECT_EQ(leadingNumber("2E+"), 2.0);
    EXPECT_EQ(leadingNumber("3e-x"), 3.0);
    EXPECT_EQ(leadingNumber("1,5"), 1.0); // "," is never a decimal point
    EXPECT_EQ(leadingNumber("3 4"), 3.0);
    EXPECT_EQ(leadingNumber("1.2.3"), 1.2);
}

TEST(NumberText, TextWithoutNumberReadsZero) {
    EXPECT_EQ(leadingNumber(""), 0.0);
    EXPECT_EQ(leadingNumber("abc"), 0.0);
    EXPECT_EQ(leadingNumber("-"), 0.0);
    EXPECT_EQ(leadingNumber("."), 0.0);
    EXPECT_EQ(leadingNumber("-."), 0.0);
    EXPECT_EQ(leadingNumber("   "), 0.0);
    EXPECT_EQ(leadingNumber("x5"), 0.0);
    EXPECT_EQ(leadingNumber("e5"), 0.0);
}

TEST(NumberText, LeadingNumberRangeLimits) {
    EXPECT_THROW(leadingNumber("1e400"), OverflowFault);
    EXPECT_THROW(leadingNumber("-1e400"), OverflowFault);
    EXPECT_THROW(leadingNumber("1e99999999999999999999"), OverflowFault);
    EXPECT_EQ(leadingNumber("1.7976931348623157e308"), DBL_MAX);
    EXPECT_EQ(leadingNumber("1e-400"), 0.0);
    EXPECT_EQ(leadingNumber("0.000001e-400"), 0.0);
    EXPECT_EQ(leadingNumber("4e-320"), 4e-320); // subnormal kept
    EXPECT_EQ(leadingNumber("0e99999"), 0.0);
}

// --- toSingle ---

TEST(NumberText, ToSingleOverflowsBeyondFloatRange) {
    EXPECT_EQ(toSingle(0.1), 0.1f);
    EXPECT_EQ(toSingle(3.4e38), 3.4e38f);
    EXPECT_EQ(toSingle(3.4028235e38), FLT_MAX); // just above FLT_MAX, rounds down to it
    EXPECT_THROW(toSingle(1e39), OverflowFault);
    EXPECT_THROW(toSingle(-1e39), OverflowFault);
    EXPECT_TRUE(std::isnan(toSingle(kNaN)));
    EXPECT_EQ(toSingle(1e-50), 0.0f);
}

// --- formatGeneral ---

TEST(NumberText, GeneralFormOfSingles) {
    EXPECT_EQ(formatGeneral(0.05f), "0.05");
    EXPECT_EQ(formatGeneral(100.0f), "100");
    EXPECT_EQ(formatGeneral(0.1f), "0.1");
    EXPECT_EQ(formatGeneral(12.5f), "12.5");
    EXPECT_EQ(formatGeneral(-0.05f), "-0.05");
    EXPECT_EQ(formatGeneral(1.0000001f), "1"); // would need 8 digits: capped at 7
    EXPECT_EQ(formatGeneral(3.4e38f), "3.4E+38");
    EXPECT_EQ(formatGeneral(0.0f), "0");
    EXPECT_EQ(formatGeneral(-0.0f), "0");
}

TEST(NumberText, GeneralFormOfSinglesAtExponentBounds) {
    EXPECT_EQ(formatGeneral(0.0001f), "0.0001");
    EXPECT_EQ(formatGeneral(0.00001f), "1E-05");
    EXPECT_EQ(formatGeneral(1234567.0f), "1234567");
    EXPECT_EQ(formatGeneral(12345678.0f), "1.234568E+07");
    EXPECT_EQ(formatGeneral(2.1e7f), "2.1E+07");
}

TEST(NumberText, GeneralFormOfDoubles) {
    EXPECT_EQ(formatGeneral(0.1), "0.1");
    EXPECT_EQ(formatGeneral(1.0 / 3), "0.333333333333333");
    EXPECT_EQ(formatGeneral(245.125), "245.125");
    EXPECT_EQ(formatGeneral(2.1e7), "21000000");
    EXPECT_EQ(formatGeneral(-3.5e-10), "-3.5E-10");
    EXPECT_EQ(formatGeneral(1e100), "1E+100");
    EXPECT_EQ(formatGeneral(-0.0), "0");
    EXPECT_EQ(formatGeneral(kNaN), "NaN");
    EXPECT_EQ(formatGeneral(-kInf), "-Inf");
}

TEST(NumberText, GeneralFormOfDoublesAtExponentBounds) {
    EXPECT_EQ(formatGeneral(0.0001), "0.0001");
    EXPECT_EQ(formatGeneral(0.00012), "0.00012");
    EXPECT_EQ(formatGeneral(1e-5), "1E-05");
    EXPECT_EQ(formatGeneral(1e14), "100000000000000");
    EXPECT_EQ(formatGeneral(123456789012345.0), "123456789012345");
    EXPECT_EQ(formatGeneral(1e15), "1E+15");
    EXPECT_EQ(formatGeneral(1234567890123456.0), "1.23456789012346E+15");
}

TEST(NumberText, GeneralFormOfWholeNumbers) {
    EXPECT_EQ(formatGeneral(0), "0");
    EXPECT_EQ(formatGeneral(-32768), "-32768");
}

// --- formatScientific ("0.00E+00") ---

TEST(NumberText, ScientificFormat) {
    EXPECT_EQ(formatScientific(2000000.0), "2.00E+06");
    EXPECT_EQ(formatScientific(12500.0), "1.25E+04");
    EXPECT_EQ(formatScientific(0.000123), "1.23E-04");
    EXPECT_EQ(formatScientific(-0.000123), "-1.23E-04");
    EXPECT_EQ(formatScientific(1.0), "1.00E+00");
    EXPECT_EQ(formatScientific(123456.0), "1.23E+05");
    EXPECT_EQ(formatScientific(1e100), "1.00E+100");
    EXPECT_EQ(formatScientific(0.0), "0.00E+00");
    EXPECT_EQ(formatScientific(-0.0), "0.00E+00");
}

TEST(NumberText, ScientificFormatRoundsTiesAwayWithCarry) {
    EXPECT_EQ(formatScientific(1.125), "1.13E+00");
    EXPECT_EQ(formatScientific(-1.125), "-1.13E+00");
    EXPECT_EQ(formatScientific(9.995), "1.00E+01");
    EXPECT_EQ(formatScientific(999.5), "1.00E+03");
    EXPECT_EQ(formatScientific(9.99e99), "9.99E+99");
    EXPECT_EQ(formatScientific(9.995e99), "1.00E+100");
    // 2.675 is stored just below the tie; at 15 digits it reads 2.675, which rounds up.
    EXPECT_EQ(formatScientific(2.675), "2.68E+00");
}

// --- formatWhole ("0") ---

TEST(NumberText, WholeFormatRoundsHalvesAwayFromZero) {
    EXPECT_EQ(formatWhole(2.5), "3");
    EXPECT_EQ(formatWhole(-2.5), "-3");
    EXPECT_EQ(formatWhole(0.5), "1");
    EXPECT_EQ(formatWhole(-350.2), "-350");
    EXPECT_EQ(formatWhole(119.6), "120");
    EXPECT_EQ(formatWhole(99.5), "100");
    EXPECT_EQ(formatWhole(0.4), "0");
    EXPECT_EQ(formatWhole(-0.4), "0");
    EXPECT_EQ(formatWhole(0.049), "0");
    EXPECT_EQ(formatWhole(-0.0), "0");
    EXPECT_EQ(formatWhole(1e6), "1000000");
}

TEST(NumberText, WholeFormatPrintsAllIntegerDigits) {
    EXPECT_EQ(formatWhole(123456789012345.0), "123456789012345");
    EXPECT_EQ(formatWhole(-999999999999999.0), "-999999999999999");
    EXPECT_EQ(formatWhole(1e15), "1000000000000000");
}

TEST(NumberText, WholeFormatOfSinglesReadsAtSinglePrecision) {
    // 2.4999998f is stored as 2.49999976..., which shows as 2.500000 at 7 digits.
    const float almostHalf = 2.4999998f;
    EXPECT_EQ(formatWhole(almostHalf), "3");
    EXPECT_EQ(formatWhole(static_cast<double>(almostHalf)), "2");
    EXPECT_EQ(formatWhole(-2.5f), "-3");
    EXPECT_EQ(formatWhole(-0.4f), "0");
    // Only 7 significant digits survive, even for a whole float.
    EXPECT_EQ(formatWhole(16777216.0f), "16777220");
}
