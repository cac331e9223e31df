#include "model/NumberText.h"

#include <cfloat>
#include <cmath>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "model/Faults.h"

using namespace quillane;

namespace {
const double kNaN = std::numeric_limits<double>::quiet_NaN();
const double kInf = std::numeric_limits<double>::infinity();

// Checks `format(value) == text` for each pair of the table.
template <typename T, typename F>
void expectForms(F format, const std::vector<std::pair<T, std::string>>& table) {
    for (const auto& [value, text] : table) {
        EXPECT_EQ(format(value), text) << "value " << value;
    }
}
} // namespace

TEST(NumberText, RoundsHalvesToEvenAndOverflowsOutsideInt16) {
    const std::pair<double, int> table[] = {
        {2.5, 2},       {3.5, 4},  {-2.5, -2},     {-1.5, -2},       {0.5, 0},          {1.5, 2},
        {2.4999999, 2}, {-0.4, 0}, {2.5000001, 3}, {32767.4, 32767}, {-32768.5, -32768}};
    for (const auto& [value, rounded] : table) {
        EXPECT_EQ(roundToInt16(value), rounded) << value;
    }
    for (double bad : {32767.5, -32768.6, kNaN, kInf, -kInf}) {
        EXPECT_THROW(roundToInt16(bad), OverflowFault) << bad;
    }
    try {
        roundToInt16(40000.0, "the number of iterations");
        FAIL() << "expected an overflow fault";
    } catch (const OverflowFault& fault) {
        const std::string message = fault.what();
        EXPECT_NE(message.find("the number of iterations"), std::string::npos) << message;
        EXPECT_NE(message.find("40000"), std::string::npos) << message;
    }
}

TEST(NumberText, ReadsTheLeadingNumberAndIgnoresWhatFollows) {
    // "0.1" is correctly rounded, the same double as the literal. What follows the number
    // is ignored, "," is never a decimal point, text without a number reads zero,
    // underflow goes to zero and subnormals are kept.
    const std::pair<const char*, double> table[] = {
        {"12", 12.0},       {"  \t-0.5", -0.5}, {"+3", 3.0},     {".5", 0.5},
        {"-.5", -0.5},      {"5.", 5.0},        {"5E-01", 0.5},  {"1.5e3", 1500.0},
        {"2.1E+07", 2.1e7}, {"0.1", 0.1},       {"0.1x", 0.1},   {"12abc", 12.0},
        {"1e", 1.0},        {"2E+", 2.0},       {"3e-x", 3.0},   {"1,5", 1.0},
        {"3 4", 3.0},       {"1.2.3", 1.2},     {"", 0.0},       {"abc", 0.0},
        {"-", 0.0},         {".", 0.0},         {"-.", 0.0},     {"   ", 0.0},
        {"x5", 0.0},        {"e5", 0.0},        {"1e-400", 0.0}, {"0.000001e-400", 0.0},
        {"4e-320", 4e-320}, {"0e99999", 0.0}};
    for (const auto& [text, value] : table) {
        EXPECT_EQ(leadingNumber(text), value) << '"' << text << '"';
    }
    EXPECT_EQ(leadingNumber("1.7976931348623157e308"), DBL_MAX);
    for (const char* text : {"1e400", "-1e400", "1e99999999999999999999"}) {
        EXPECT_THROW(leadingNumber(text), OverflowFault) << text;
    }
}

TEST(NumberText, ToSingleOverflowsBeyondFloatRange) {
    EXPECT_EQ(toSingle(3.4028235e38), FLT_MAX); // just above FLT_MAX, rounds down to it
    EXPECT_THROW(toSingle(1e39), OverflowFault);
    EXPECT_THROW(toSingle(-1e39), OverflowFault);
    EXPECT_TRUE(std::isnan(toSingle(kNaN)));
    EXPECT_EQ(toSingle(1e-50), 0.0f);
}

TEST(NumberText, GeneralForm) {
    // Singles show at most 7 digits (1.0000001f would need 8), doubles at most 15.
    const std::vector<std::pair<float, std::string>> singles = {
        {0.05f, "0.05"},         {100.0f, "100"},
        {-0.05f, "-0.05"},       {1.0000001f, "1"},
        {3.4e38f, "3.4E+38"},    {-0.0f, "0"},
        {0.0001f, "0.0001"},     {0.00001f, "1E-05"},
        {1234567.0f, "1234567"}, {12345678.0f, "1.234568E+07"}};
    const std::vector<std::pair<double, std::string>> doubles = {
        {0.1, "0.1"},    {2.1e7, "21000000"}, {-3.5e-10, "-3.5E-10"}, {1e100, "1E+100"},
        {-0.0, "0"},     {kNaN, "NaN"},       {-kInf, "-Inf"},        {0.00012, "0.00012"},
        {1e-5, "1E-05"}, {1e15, "1E+15"}};
    const auto general = [](auto v) { return formatGeneral(v); };
    expectForms(general, singles);
    expectForms(general, doubles);
    EXPECT_EQ(formatGeneral(1.0 / 3), "0.333333333333333");
    EXPECT_EQ(formatGeneral(123456789012345.0), "123456789012345");
    EXPECT_EQ(formatGeneral(1234567890123456.0), "1.23456789012346E+15");
    EXPECT_EQ(formatGeneral(-32768), "-32768");
}

TEST(NumberText, ScientificAndWholeFormsRoundTiesAwayFromZero) {
    // 2.675 is stored just below the tie; at 15 digits it reads 2.675, which rounds up.
    const std::vector<std::pair<double, std::string>> scientific = {
        {2000000.0, "2.00E+06"}, {-0.000123, "-1.23E-04"}, {1.0, "1.00E+00"},
        {1e100, "1.00E+100"},    {-0.0, "0.00E+00"},       {-1.125, "-1.13E+00"},
        {9.995, "1.00E+01"},     {999.5, "1.00E+03"},      {9.995e99, "1.00E+100"},
        {2.675, "2.68E+00"}};
    const std::vector<std::pair<double, std::string>> whole = {
        {2.5, "3"},    {-2.5, "-3"}, {0.5, "1"},  {-350.2, "-350"},
        {99.5, "100"}, {-0.4, "0"},  {-0.0, "0"}, {1e15, "1000000000000000"}};
    expectForms([](double v) { return formatScientific(v); }, scientific);
    expectForms([](double v) { return formatWhole(v); }, whole);
    // Singles read at single precision: 2.4999998f is 2.49999976..., 2.500000 at 7 digits,
    // and only 7 significant digits survive even for a whole float.
    const float almostHalf = 2.4999998f;
    EXPECT_EQ(formatWhole(almostHalf), "3");
    EXPECT_EQ(formatWhole(static_cast<double>(almostHalf)), "2");
    EXPECT_EQ(formatWhole(-2.5f), "-3");
    EXPECT_EQ(formatWhole(16777216.0f), "16777220");
    EXPECT_EQ(formatWhole(-999999999999999.0), "-999999999999999");
}
