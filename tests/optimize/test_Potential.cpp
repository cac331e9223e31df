// The potential rule and the parameters that drive it, as the dialog reads them.

#include "optimize/Potential.h"

#include <cmath>
#include <tuple>

#include <gtest/gtest.h>

#include "model/Faults.h"
#include "optimize/Parameters.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// A 3 x 3 grid of design material, every potential 10, no stress anywhere.
Model grid(float lambda, float target = 50.0f, int16 epsilon = 1) {
    Model m = makePlate(3, 3);
    std::tie(m.Lambda, m.StressTarget, m.Epsilon) = std::tuple(lambda, target, epsilon);
    for (int c = 0; c < 9; ++c) {
        m.Potential(c / 3 + 1, c % 3 + 1) = 10.0;
    }
    return m;
}

std::tuple<float, int16, float> Values(const Model& m) {
    return {m.StressTarget, m.Epsilon, m.Lambda};
}

} // namespace

TEST(UpdatePotential, FedByKPositionsConvergesToTwoKAndBorderPositionsNeverFeed) {
    Model m = grid(0.5f, 0.0f);
    for (int c = 0; c < 9; ++c) {
        m.CellStress(c / 3 + 1, c % 3 + 1) = 1.0;
    }
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 10.0); // 0.5 x 10 + 5 x 1: stays saturated
    EXPECT_EQ(m.PotentialIncrement, 1.0f);
    for (int step = 0; step < 60; ++step) {
        UpdatePotential(m);
    }
    EXPECT_NEAR(m.Potential(1, 1), 6.0, 1e-12); // corner: 3 positions
    EXPECT_NEAR(m.Potential(1, 2), 8.0, 1e-12); // edge: 4 positions
}

TEST(UpdatePotential, PotentialsDecayWithoutFeedAndOnlyDesignCellsChangeState) {
    Model m = grid(0.5f, 50.0f, 3);
    m.CellState(1, 1) = kCellNonDesign;
    m.Potential(1, 1) = 0.0;
    m.CellState(3, 3) = kCellCutOut;
    m.Potential(3, 3) = 100.0;
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 5.0);
    EXPECT_EQ(m.CellState(2, 2), kCellDesign);
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 2.5);
    EXPECT_EQ(m.CellState(2, 2), kCellEmpty);
    EXPECT_EQ(m.Potential(3, 3), 25.0);
    EXPECT_EQ(m.CellState(1, 1), kCellNonDesign);
    EXPECT_EQ(m.CellState(3, 3), kCellCutOut);
    // Lambda 0: nothing forgotten or fed, and a potential equal to Epsilon restores.
    std::tie(m.Lambda, m.Potential(2, 2), m.CellStress(2, 2)) = std::tuple(0.0f, 3.0, 100.0);
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 3.0);
    EXPECT_EQ(m.CellState(2, 2), kCellDesign);
}

TEST(UpdatePotential, OnlyStressAboveTheTargetInSinglePrecisionFeeds) {
    const float target = 100.1f;
    Model m = grid(0.5f, target);
    m.CellStress(1, 1) = static_cast<double>(target); // equal: no feed
    // Above the target as a double, equal to it once rounded to single precision.
    const double justAbove = static_cast<double>(target) * (1.0 + 1e-12);
    ASSERT_EQ(static_cast<float>(justAbove), target);
    m.CellStress(2, 2) = justAbove;
    m.CellStress(3, 3) = static_cast<double>(std::nextafter(target, 1e9f));
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(1, 1), 5.0);
    EXPECT_EQ(m.Potential(2, 2), 5.0);
    EXPECT_EQ(m.Potential(3, 3), 6.0);
}

TEST(InitPotential, OccupiedCellsStartAtTenWithinSinglePrecisionAndLambdaZeroFaults) {
    Model m = grid(0.05f);
    m.CellState(2, 2) = kCellEmpty;
    m.Potential(2, 2) = 1.25;
    m.CellState(1, 1) = kCellNonDesign;
    m.Potential(1, 1) = 0.0;
    InitPotential(m);
    const float delta = 0.05f * 10.0f / 5.0f;
    EXPECT_EQ(m.PotentialIncrement, delta);
    EXPECT_EQ(m.Potential(1, 1), static_cast<double>(delta * 5.0f / 0.05f));
    EXPECT_EQ(m.Potential(2, 2), 1.25);
    // 0 / 0, but only once an occupied cell needs it.
    m = grid(0.0f);
    EXPECT_THROW(InitPotential(m), FloatingPointFault);
    setCells(m, 1, 1, 3, 3, kCellCutOut);
    EXPECT_NO_THROW(InitPotential(m));
}

TEST(ParameterTexts, ShownInShortestFormAndReportedInTheCaption) {
    Model m;
    std::tie(m.StressTarget, m.Epsilon, m.Lambda) = std::tuple(0.1f, int16{-7}, 1.5e-5f);
    const ParameterTexts texts = ParameterTextsOf(m);
    EXPECT_EQ(std::tie(texts.stressTarget, texts.epsilon, texts.lambda),
              std::make_tuple("0.1", "-7", "1.5E-05")); // not 0.100000001490116
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 0.1MPa   Epsilon = -7   Lambda = 1.5E-05");
    std::tie(m.StressTarget, m.Epsilon, m.Lambda) = std::tuple(120.0f, int16{3}, 0.05f);
    EXPECT_EQ(ParameterStatusText(m), "Stress Target = 120MPa   Epsilon = 3   Lambda = 0.05");
}

TEST(ParameterTexts, LeadingNumberOfEachTextEpsilonHalvesToEvenNoRangeCheck) {
    const std::tuple<ParameterTexts, float, int16, float> cases[] = {
        {{"0", "2.5", "0.05"}, 0.0f, 2, 0.05f},
        {{"  120", "3.5", "0.1x"}, 120.0f, 4, 0.1f},
        {{"-35.5MPa", "abc", "1.5"}, -35.5f, 0, 1.5f},
        {{"", "-32768.5", "1e-3"}, 0.0f, -32768, 0.001f}};
    for (const auto& [texts, stress, epsilon, lambda] : cases) {
        Model m;
        ApplyParameterTexts(m, texts);
        EXPECT_EQ(Values(m), std::make_tuple(stress, epsilon, lambda)) << texts.epsilon;
    }
}

TEST(ParameterTexts, AnOverflowInAnyBoxLeavesEveryParameterAsItWas) {
    for (const ParameterTexts& texts :
         {ParameterTexts{"55", "40000", "0.2"},
          ParameterTexts{"1", "32767.5", "0.2"}, // even: 32768
          ParameterTexts{"1e39", "3", "0.2"}, ParameterTexts{"55", "3", "-4e38"}}) {
        Model m;
        EXPECT_THROW(ApplyParameterTexts(m, texts), OverflowFault) << texts.epsilon;
        EXPECT_EQ(Values(m), std::make_tuple(0.0f, int16{1}, 0.05f)) << texts.epsilon;
    }
}
