#include "optimize/Potential.h"

#include <cmath>
#include <utility>

#include <gtest/gtest.h>

#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// A 3 x 3 grid of design material, every potential 10, no stress anywhere.
Model grid(float lambda, float target = 50.0f, int16 epsilon = 1) {
    Model m = makePlate(3, 3);
    m.Lambda = lambda;
    m.StressTarget = target;
    m.Epsilon = epsilon;
    for (int c = 0; c < 9; ++c) {
        m.Potential(c / 3 + 1, c % 3 + 1) = 10.0;
    }
    return m;
}

// Stresses the centre cell and its four edge neighbours.
void stressCross(Model& m, double stress) {
    for (auto [i, j] :
         {std::pair{2, 2}, std::pair{1, 2}, std::pair{3, 2}, std::pair{2, 1}, std::pair{2, 3}}) {
        m.CellStress(i, j) = stress;
    }
}

} // namespace

TEST(UpdatePotential, FedByKPositionsConvergesToTwoKAndAllFiveStaySaturated) {
    Model cross = grid(0.5f);
    stressCross(cross, 100.0);
    for (int step = 0; step < 5; ++step) {
        UpdatePotential(cross);
        EXPECT_EQ(cross.Potential(2, 2), 10.0); // 0.5 x 10 + 5 x 1
    }
    EXPECT_EQ(cross.PotentialIncrement, 1.0f);
    // Corner (1, 1): itself and its two inner neighbours can feed it; the border
    // positions (0, 1) and (1, 0) hold stress 0 and never do.
    Model m = grid(0.5f, 0.0f);
    for (int c = 0; c < 9; ++c) {
        m.CellStress(c / 3 + 1, c % 3 + 1) = 1.0;
    }
    for (int step = 0; step < 60; ++step) {
        UpdatePotential(m);
    }
    EXPECT_NEAR(m.Potential(1, 1), 6.0, 1e-12);  // 3 positions
    EXPECT_NEAR(m.Potential(1, 2), 8.0, 1e-12);  // 4 positions
    EXPECT_NEAR(m.Potential(2, 2), 10.0, 1e-12); // 5 positions
}

TEST(UpdatePotential, WithoutFeedTheCellDecaysAndIsRemovedBelowEpsilon) {
    Model m = grid(0.5f, 50.0f, 3);
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 5.0);
    EXPECT_EQ(m.CellState(2, 2), kCellDesign);
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(2, 2), 2.5);
    EXPECT_EQ(m.CellState(2, 2), kCellEmpty);
}

TEST(UpdatePotential, OnlyStressAboveTheTargetInSinglePrecisionFeeds) {
    const float target = 100.1f;
    Model m = grid(0.5f, target);
    m.CellStress(1, 1) = static_cast<double>(target); // equal: no feed
    // Above the target as a double, equal to it once rounded to single precision.
    const double justAbove = static_cast<double>(target) * (1.0 + 1e-12);
    ASSERT_GT(justAbove, static_cast<double>(target));
    ASSERT_EQ(static_cast<float>(justAbove), target);
    m.CellStress(2, 2) = justAbove;
    // One single-precision step above the target feeds.
    m.CellStress(3, 3) = static_cast<double>(std::nextafter(target, 1e9f));
    UpdatePotential(m);
    EXPECT_EQ(m.Potential(1, 1), 5.0);
    EXPECT_EQ(m.Potential(2, 2), 5.0);
    EXPECT_EQ(m.Potential(3, 3), 6.0);
}

TEST(UpdatePotential, NonDesignAndCutOutCellsKeepTheirStateWhateverTheirPotential) {
    Model m = grid(0.5f, 50.0f, 5);
    m.CellState(1, 1) = kCellNonDesign;
    m.Potential(1, 1) = 0.0;
    m.CellState(3, 3) = kCellCutOut;
    m.Potential(3, 3) = 100.0;
    stressCross(m, 80.0);
    for (int step = 0; step < 3; ++step) {
        UpdatePotential(m);
    }
    EXPECT_EQ(m.CellState(1, 1), kCellNonDesign);
    EXPECT_EQ(m.CellState(3, 3), kCellCutOut);
    // Their potentials still evolve like any other cell's, each fed here by two
    // stressed neighbours: 100 -> 52 -> 28 -> 16 and 0 -> 2 -> 3 -> 3.5.
    EXPECT_EQ(m.Potential(3, 3), 16.0);
    EXPECT_EQ(m.Potential(1, 1), 3.5);
}

TEST(UpdatePotential, ZeroLambdaLeavesPotentialsAndDecidesFromThem) {
    Model m = grid(0.0f, 50.0f, 5);
    stressCross(m, 100.0);
    m.Potential(1, 1) = 4.0;
    m.Potential(3, 3) = 5.0;
    m.CellState(3, 3) = kCellEmpty;
    ASSERT_NO_THROW(UpdatePotential(m));
    EXPECT_EQ(m.PotentialIncrement, 0.0f);
    EXPECT_EQ(m.Potential(2, 2), 10.0);
    EXPECT_EQ(m.Potential(1, 1), 4.0);
    EXPECT_EQ(m.CellState(1, 1), kCellEmpty);
    EXPECT_EQ(m.CellState(3, 3), kCellDesign);
}

TEST(InitPotential, OccupiedCellsStartAtTenWithinSinglePrecision) {
    Model m = grid(0.05f);
    m.CellState(2, 2) = kCellEmpty;
    m.Potential(2, 2) = 1.25;
    m.CellState(1, 1) = kCellNonDesign;
    m.Potential(1, 1) = 0.0;
    InitPotential(m);
    const float delta = 0.05f * 10.0f / 5.0f;
    EXPECT_EQ(m.PotentialIncrement, delta);
    EXPECT_EQ(m.Potential(1, 1), static_cast<double>(delta * 5.0f / 0.05f));
    EXPECT_NEAR(m.Potential(1, 1), 10.0, 1e-5);
    EXPECT_EQ(m.Potential(3, 3), m.Potential(1, 1));
    EXPECT_EQ(m.Potential(2, 2), 1.25);

    // Lambda 0 divides zero by zero, but only once an occupied cell needs it.
    Model occupied = grid(0.0f);
    EXPECT_THROW(InitPotential(occupied), FloatingPointFault);
    Model zero = grid(0.0f);
    setCells(zero, 1, 1, 3, 3, kCellEmpty);
    zero.CellState(2, 2) = kCellCutOut;
    EXPECT_NO_THROW(InitPotential(zero));
    EXPECT_EQ(zero.Potential(2, 2), 10.0);
}
