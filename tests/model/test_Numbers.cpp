// Numbers as the program reads, rounds and writes them, and the bounds-checked arrays.

#include "model/NumberText.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "model/Array.h"
#include "model/Faults.h"
#include "model/Int16.h"

using namespace quillane;

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();
} // namespace

TEST(NumberText, RoundsHalvesToEvenAndOverflowsOutsideInt16AndSingleRange) {
    const std::pair<double, int> table[] = {{2.5, 2},       {3.5, 4},         {-2.5, -2},
                                            {-1.5, -2},     {0.5, 0},         {2.4999999, 2},
                                            {2.5000001, 3}, {32767.4, 32767}, {-32768.5, -32768}};
    for (const auto& [value, rounded] : table) {
        EXPECT_EQ(roundToInt16(value), rounded) << value;
    }
    for (double bad : {32767.5, -32768.6, kNaN, kInf}) {
        EXPECT_THROW(roundToInt16(bad), OverflowFault) << bad;
    }
    EXPECT_EQ(toSingle(3.4028235e38), FLT_MAX); // just above FLT_MAX, rounds down to it
    EXPECT_THROW(toSingle(-1e39), OverflowFault);
    EXPECT_TRUE(std::isnan(toSingle(kNaN)));
    EXPECT_EQ(toSingle(1e-50), 0.0f);
}

TEST(NumberText, ReadsTheLeadingNumberAndIgnoresWhatFollows) {
    // "0.1" must be the same double as the literal; "," is never a decimal point;
    // underflow goes to zero and subnormals are kept.
    const std::pair<const char*, double> table[] = {
        {"  \t-0.5", -0.5}, {"+3", 3.0},        {".5", 0.5},     {"5.", 5.0},  {"5E-01", 0.5},
        {"0.1x", 0.1},      {"1e", 1.0},        {"3e-x", 3.0},   {"1,5", 1.0}, {"1.2.3", 1.2},
        {"", 0.0},          {"abc", 0.0},       {"-", 0.0},      {".", 0.0},   {"e5", 0.0},
        {"1e-400", 0.0},    {"4e-320", 4e-320}, {"0e99999", 0.0}};
    for (const auto& [text, value] : table) {
        EXPECT_EQ(leadingNumber(text), value) << '"' << text << '"';
    }
    EXPECT_EQ(leadingNumber("1.7976931348623157e308"), DBL_MAX);
    for (const char* text : {"1e400", "-1e400", "1e99999999999999999999"}) {
        EXPECT_THROW(leadingNumber(text), OverflowFault) << text;
    }
}

TEST(NumberText, GeneralForm) {
    // Singles show at most 7 digits (1.0000001f would need 8), doubles at most 15;
    // the exponent form starts below 1E-04 and at the digit limit.
    const std::pair<float, const char*> singles[] = {
        {0.05f, "0.05"},         {1.0000001f, "1"},
        {3.4e38f, "3.4E+38"},    {-0.0f, "0"},
        {0.0001f, "0.0001"},     {0.00001f, "1E-05"},
        {1234567.0f, "1234567"}, {12345678.0f, "1.234568E+07"}};
    for (const auto& [value, text] : singles) {
        EXPECT_EQ(formatGeneral(value), text) << value;
    }
    const std::pair<double, const char*> doubles[] = {{0.1, "0.1"},
                                                      {2.1e7, "21000000"},
                                                      {-3.5e-10, "-3.5E-10"},
                                                      {1e100, "1E+100"},
                                                      {kNaN, "NaN"},
                                                      {-kInf, "-Inf"},
                                                      {1.0 / 3, "0.333333333333333"},
                                                      {123456789012345.0, "123456789012345"},
                                                      {1234567890123456.0, "1.23456789012346E+15"},
                                                      // cut, since ...232E+308 cannot be read
                                                      {-DBL_MAX, "-1.79769313486231E+308"},
                                                      {4.9e-324, "5E-324"}};
    for (const auto& [value, text] : doubles) {
        EXPECT_EQ(formatGeneral(value), text) << value;
    }
    EXPECT_EQ(formatGeneral(-32768), "-32768");
    EXPECT_EQ(formatGeneral(FLT_MAX), "3.402823E+38");
}

TEST(NumberText, QuotedTextIsCutToAReadableLength) {
    EXPECT_EQ(QuotedText("abc"), "\"abc\"");
    EXPECT_EQ(QuotedText(std::string(40, '7')), "\"" + std::string(40, '7') + "\"");
    EXPECT_EQ(QuotedText(std::string(41, '7')), "\"" + std::string(40, '7') + "...\"");
    // A character of three bytes across the cut stays whole or goes whole.
    EXPECT_EQ(QuotedText(std::string(39, 'x') + "警告"), "\"" + std::string(39, 'x') + "...\"");
}

TEST(NumberText, ScientificAndWholeFormsRoundTiesAwayFromZero) {
    // 2.675 is stored just below the tie; at 15 digits it reads 2.675, which rounds up.
    const std::pair<double, const char*> scientific[] = {
        {2000000.0, "2.00E+06"}, {-0.000123, "-1.23E-04"}, {1e100, "1.00E+100"},
        {-0.0, "0.00E+00"},      {-1.125, "-1.13E+00"},    {9.995, "1.00E+01"},
        {9.995e99, "1.00E+100"}, {2.675, "2.68E+00"}};
    for (const auto& [value, text] : scientific) {
        EXPECT_EQ(formatScientific(value), text) << value;
    }
    const std::pair<double, const char*> whole[] = {
        {2.5, "3"}, {-2.5, "-3"}, {99.5, "100"}, {-0.4, "0"}, {1e15, "1000000000000000"}};
    for (const auto& [value, text] : whole) {
        EXPECT_EQ(formatWhole(value), text) << value;
    }
    // Singles read at single precision: 2.4999998f is 2.500000 at 7 digits, and only
    // 7 significant digits survive even for a whole float.
    const float almostHalf = 2.4999998f;
    EXPECT_EQ(formatWhole(almostHalf), "3");
    EXPECT_EQ(formatWhole(static_cast<double>(almostHalf)), "2");
    EXPECT_EQ(formatWhole(16777216.0f), "16777220");
}

TEST(Array1, IndexOutsideEitherEndOrOfAnUnsizedArrayRaisesAndRedimZeroFills) {
    Array1<double> a("a", 1, 5);
    EXPECT_NO_THROW(a(5));
    for (int bad : {0, 6, -32768}) {
        EXPECT_THROW(a(bad), SubscriptFault) << bad;
    }
    a(2) = 7.5;
    a.redim(0, 6); // growing keeps nothing
    EXPECT_TRUE(a == Array1<double>("a", 0, 6));
    EXPECT_THROW(a.redim(1, 0), SubscriptFault); // upper below lower
    a.clear();
    EXPECT_THROW(a(0), SubscriptFault);
    EXPECT_THROW(Array1<double>("never sized")(0), SubscriptFault);
}

TEST(Array2, BoundsOffsetsAndRedimWithNonZeroLowerBounds) {
    Array2<int> a("a", -2, 3, 1, 4);
    for (auto [i, j] : {std::pair{-3, 1}, std::pair{4, 1}, std::pair{-2, 0}, std::pair{-2, 5}}) {
        EXPECT_THROW(a(i, j), SubscriptFault) << i << "," << j;
    }
    a(3, 2) = 7; // the last row of the second column
    EXPECT_EQ(a.stride(), 6);
    EXPECT_EQ(a.column(2)[5], 7);
    a.redim(1, 3, 1, 3);
    EXPECT_TRUE(a == (Array2<int>("a", 1, 3, 1, 3)));
    EXPECT_THROW(a.redim(1, 3, 1, 0), SubscriptFault);
}

TEST(Int16, ArithmeticOverflowsAtBothEdges) {
    EXPECT_EQ(add16(32766, 1), 32767);
    EXPECT_EQ(sub16(-32767, 1), -32768);
    EXPECT_EQ(mul16(-128, 256), -32768);
    EXPECT_THROW(add16(32767, 1), OverflowFault);
    EXPECT_THROW(add16(-32768, -1), OverflowFault);
    EXPECT_THROW(sub16(0, -32768), OverflowFault);
    EXPECT_THROW(mul16(128, 256), OverflowFault);
    EXPECT_THROW(mul16(-32768, -1), OverflowFault);
}
