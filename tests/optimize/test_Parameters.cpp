// The parameter dialog's texts: shown in shortest form, read by their leading
// number, stored one after another, and the status caption.

#include <gtest/gtest.h>

#include "model/Faults.h"
#include "model/Model.h"
#include "optimize/Parameters.h"

namespace quillane {
namespace {

ParameterTexts Texts(const char* stress, const char* epsilon, const char* lambda) {
    return ParameterTexts{stress, epsilon, lambda};
}

TEST(ParameterTextsTest, FreshModelShowsZeroOneAndFiveHundredths) {
    const Model m;
    const ParameterTexts texts = ParameterTextsOf(m);
    EXPECT_EQ(texts.stressTarget, "0");
    EXPECT_EQ(texts.epsilon, "1");
    EXPECT_EQ(texts.lambda, "0.05");
}

TEST(ParameterTextsTest, ShownTextsReadBackToTheSameValues) {
    Model m;
    m.StressTarget = 123.456f;
    m.Epsilon = -7;
    m.Lambda = 0.1f;
    const ParameterTexts texts = ParameterTextsOf(m);
    EXPECT_EQ(texts.stressTarget, "123.456");
    EXPECT_EQ(texts.epsilon, "-7");
    EXPECT_EQ(texts.lambda, "0.1");
    Model read;
    ApplyParameterTexts(read, texts);
    EXPECT_EQ(read.StressTarget, m.StressTarget);
    EXPECT_EQ(read.Epsilon, m.Epsilon);
    EXPECT_EQ(read.Lambda, m.Lambda);
}

TEST(ApplyParameterTextsTest, EpsilonRoundsHalvesToEven) {
    Model m;
    ApplyParameterTexts(m, Texts("0", "2.5", "0.05"));
    EXPECT_EQ(m.Epsilon, 2);
    ApplyParameterTexts(m, Texts("0", "3.5", "0.05"));
    EXPECT_EQ(m.Epsilon, 4);
    ApplyParameterTexts(m, Texts("0", "4.6", "0.05"));
    EXPECT_EQ(m.Epsilon, 5);
    ApplyParameterTexts(m, Texts("0", "-2.5", "0.05"));
    EXPECT_EQ(m.Epsilon, -2);
}

TEST(ApplyParameterTextsTest, LeadingNumberOfEachText) {
    Model m;
    ApplyParameterTexts(m, Texts("  120", "abc", "0.1x"));
    EXPECT_EQ(m.StressTarget, 120.0f);
    EXPECT_EQ(m.Epsilon, 0);
    EXPECT_EQ(m.Lambda, 0.1f);

    // No range checks: whatever is typed is stored.
    ApplyParameterTexts(m, Texts("-35.5MPa", "12", "1.5"));
    EXPECT_EQ(m.StressTarget, -35.5f);
    EXPECT_EQ(m.Epsilon, 12);
    EXPECT_EQ(m.Lambda, 1.5f);

    ApplyParameterTexts(m, Texts("", "", ""));
    EXPECT_EQ(m.StressTarget, 0.0f);
    EXPECT_EQ(m.Epsilon, 0);
    EXPECT_EQ(m.Lambda, 0.0f);
}

TEST(ApplyParameterTextsTest, ValuesAreStoredAtSinglePrecision) {
    Model m;
    ApplyParameterTexts(m, Texts("0.1", "1", "0.3333333333333"));
    EXPECT_EQ(m.StressTarget, 0.1f);
    EXPECT_EQ(m.Lambda, static_cast<float>(0.3333333333333));
}

TEST(ApplyParameterTextsTest, EpsilonOverflowKeepsTheStressTargetAlreadyStored) {
    Model m;
    EXPECT_THROW(ApplyParameterTexts(m, Texts("55", "40000", "0.2")), OverflowFault);
    EXPECT_EQ(m.StressTarget, 55.0f);
    EXPECT_EQ(m.Epsilon, 1);
    EXPECT_EQ(m.Lambda, 0.05f);

    // Halves go to even before the range is checked.
    EXPECT_THROW(ApplyParameterTexts(m, Texts("1", "32767.5", "0.2")), OverflowFault);
    ApplyParameterTexts(m, Texts("1", "-32768.5", "0.2"));
    EXPECT_EQ(m.Epsilon, -32768);
}

TEST(ApplyParameterTextsTest, StressTargetBeyondSingleRangeOverflows) {
    Model m;
    EXPECT_THROW(ApplyParameterTexts(m, Texts("1e39", "3", "0.2")), OverflowFault);
    EXPECT_EQ(m.StressTarget, 0.0f);
    EXPECT_EQ(m.Epsilon, 1);
    EXPECT_EQ(m.Lambda, 0.05f);

    EXPECT_THROW(ApplyParameterTexts(m, Texts("10", "3", "-1e39")), OverflowFault);
    EXPECT_EQ(m.StressTarget, 10.0f);
    EXPECT_EQ(m.Epsilon, 3);
    EXPECT_EQ(m.Lambda, 0.05f);
}

TEST(ParameterStatusTextTest, ExactCaption) {
    Model m;
    m.StressTarget = 120.0f;
    m.Epsilon = 3;
    m.Lambda = 0.05f;
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 120MPa   Epsilon = 3   Lambda = 0.05");
    m.StressTarget = 0.1f; // single precision shows 0.1, not 0.100000001490116
    m.Epsilon = -4;
    m.Lambda = 1.5e-5f;
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 0.1MPa   Epsilon = -4   Lambda = 1.5E-05");
}

} // namespace
} // namespace quillane
