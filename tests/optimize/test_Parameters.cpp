// The parameter dialog's texts: shown in shortest form, read by their leading
// number, stored one after another, and the status caption.

#include <gtest/gtest.h>

#include <tuple>

#include "model/Faults.h"
#include "model/Model.h"
#include "optimize/Parameters.h"

namespace quillane {
namespace {

// The three values as stored, for comparing in one go.
std::tuple<float, int16, float> Values(const Model& m) {
    return {m.StressTarget, m.Epsilon, m.Lambda};
}

TEST(ParameterTextsTest, ShownTextsReadBackToTheSameValues) {
    const ParameterTexts fresh = ParameterTextsOf(Model{});
    EXPECT_EQ(std::tie(fresh.stressTarget, fresh.epsilon, fresh.lambda),
              std::make_tuple("0", "1", "0.05"));
    Model m;
    m.StressTarget = 123.456f;
    m.Epsilon = -7;
    m.Lambda = 0.1f;
    const ParameterTexts texts = ParameterTextsOf(m);
    EXPECT_EQ(std::tie(texts.stressTarget, texts.epsilon, texts.lambda),
              std::make_tuple("123.456", "-7", "0.1"));
    Model read;
    ApplyParameterTexts(read, texts);
    EXPECT_EQ(Values(read), Values(m));
}

TEST(ApplyParameterTextsTest, LeadingNumberOfEachTextAtSinglePrecisionEpsilonHalvesToEven) {
    // No range checks: whatever is typed is stored.
    const std::tuple<ParameterTexts, float, int16, float> cases[] = {
        {{"0", "2.5", "0.05"}, 0.0f, 2, 0.05f},
        {{"0", "3.5", "0.05"}, 0.0f, 4, 0.05f},
        {{"  120", "abc", "0.1x"}, 120.0f, 0, 0.1f},
        {{"-35.5MPa", "12", "1.5"}, -35.5f, 12, 1.5f},
        {{"", "", ""}, 0.0f, 0, 0.0f},
        {{"0.1", "1", "0.3333333333333"}, 0.1f, 1, static_cast<float>(0.3333333333333)},
        {{"1", "-32768.5", "0.2"}, 1.0f, -32768, 0.2f}};
    for (const auto& [texts, stress, epsilon, lambda] : cases) {
        Model m;
        ApplyParameterTexts(m, texts);
        EXPECT_EQ(Values(m), std::make_tuple(stress, epsilon, lambda)) << texts.epsilon;
    }
}

TEST(ApplyParameterTextsTest, OverflowKeepsTheValuesAlreadyStored) {
    Model m;
    EXPECT_THROW(ApplyParameterTexts(m, {"55", "40000", "0.2"}), OverflowFault);
    EXPECT_EQ(Values(m), std::make_tuple(55.0f, int16{1}, 0.05f));
    // Halves go to even before the range is checked.
    EXPECT_THROW(ApplyParameterTexts(m, {"1", "32767.5", "0.2"}), OverflowFault);
    Model single;
    EXPECT_THROW(ApplyParameterTexts(single, {"1e39", "3", "0.2"}), OverflowFault);
    EXPECT_EQ(Values(single), std::make_tuple(0.0f, int16{1}, 0.05f));
    EXPECT_THROW(ApplyParameterTexts(single, {"10", "3", "-1e39"}), OverflowFault);
    EXPECT_EQ(Values(single), std::make_tuple(10.0f, int16{3}, 0.05f));
}

TEST(ParameterStatusTextTest, ExactCaption) {
    Model m;
    m.StressTarget = 120.0f;
    m.Epsilon = 3;
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 120MPa   Epsilon = 3   Lambda = 0.05");
    m.StressTarget = 0.1f; // single precision shows 0.1, not 0.100000001490116
    m.Epsilon = -4;
    m.Lambda = 1.5e-5f;
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 0.1MPa   Epsilon = -4   Lambda = 1.5E-05");
}

} // namespace
} // namespace quillane
