#include "fem/Assembly.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <random>
#include <string>
#include <tuple>
#include <utility>

#include <gtest/gtest.h>

#include "fem/ElementStiffness.h"
#include "fem/Mesh.h"
#include "support/Bits.h"
#include "support/DenseReference.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using namespace quillane::support;

namespace {

// Element stiffness, numbering, assembly and compression, as the analysis runs
// them, with the start vector made dirty first so that its clearing shows.
void assembleAndCompress(Model& m) {
    CalcElementStiffness(m);
    NumberEquations(m);
    for (int i = 1; i <= m.EquationCount; ++i) {
        m.SolutionVector(i) = 7.0;
    }
    AssembleStiffness(m);
    AssembleLoads(m);
    CompressStiffness(m.EquationCount, static_cast<int16>(kRowCapacity), m.UpperCount,
                      m.UpperColumn, m.UpperValue, m.DiagonalValue, m.StiffnessMatrix, m.LoadVector,
                      m.SolutionVector);
}

// The whole store, slot 0 and the unused slots included, equals the dense
// reference bit for bit (the layouts are the same), and the start vector is cleared.
::testing::AssertionResult sameAsDenseReference(const Model& m) {
    const reference::CompressedStore expected =
        reference::compressDense(reference::assembleDense(m));
    const auto same = [](const auto& array, const auto& vector) {
        return array.size() == vector.size() &&
               std::memcmp(array.data(), vector.data(), vector.size() * sizeof(vector[0])) == 0;
    };
    for (int i = 1; i <= m.EquationCount; ++i) {
        if (bits(m.SolutionVector(i)) != bits(0.0)) {
            return ::testing::AssertionFailure() << "SolutionVector(" << i << ") not cleared";
        }
    }
    if (same(m.UpperCount, expected.UpperCount) && same(m.UpperColumn, expected.UpperColumn) &&
        same(m.UpperValue, expected.UpperValue) && same(m.DiagonalValue, expected.DiagonalValue)) {
        return ::testing::AssertionSuccess();
    }
    return ::testing::AssertionFailure() << "the store differs from the dense reference";
}

} // namespace

TEST(AssemblyVsDense, FixedModels) {
    // s5 vanishes analytically; whether its couplings are stored depends only on
    // the computed value, so whatever it is, the reference must agree.
    Model third = makeCantilever(3, 5);
    third.CellState(2, 3) = kCellEmpty;
    third.PoissonRatio = 1.0 / 3.0;
    MarkActiveNodes(third);
    // A single unsupported element, with nu = 0.3 and nu = 0.
    Model single = makePlate(1, 1);
    Model singleZero = makePlate(1, 1);
    singleZero.PoissonRatio = 0.0;
    // No equations at all.
    Model clamped = makePlate(1, 2);
    for (int n = 1; n <= clamped.NodeCount; ++n) {
        fixNode(clamped, n, true, true);
    }
    // Name, model, its equation count.
    std::tuple<const char*, Model, int> models[] = {
        {"cantilever", makeCantilever(4, 6), 2 * 5 * 6},
        {"nu = 1/3", std::move(third), 40},
        {"single element", std::move(single), 8},
        {"single element, nu = 0", std::move(singleZero), 8},
        {"empty", makePlate(2, 2, 100.0f, kCellEmpty), 0},
        {"clamped", std::move(clamped), 0}};
    for (auto& [name, m, equations] : models) {
        SCOPED_TRACE(name);
        assembleAndCompress(m);
        EXPECT_EQ(m.EquationCount, equations);
        EXPECT_TRUE(sameAsDenseReference(m));
    }
    // Exact zeros are dropped from the rows: s7 = 0 at nu = 0.
    EXPECT_EQ(std::get<1>(models[2]).UpperCount(1), 7);
    EXPECT_EQ(std::get<1>(models[3]).UpperCount(1), 6);
    EXPECT_EQ(std::get<1>(models[3]).UpperCount(8), 0);
}

TEST(AssemblyVsDense, RandomLayoutsSupportsAndMaterials) {
    // Raw engine output only, so the layouts are the same on every platform.
    std::mt19937 random(20240611u);
    const auto pick = [&](unsigned count) { return static_cast<int>(random() % count); };
    const double ratios[] = {0.3, 0.0, 1.0 / 3.0, 0.49, -0.25, 0.1};
    const int16 codes[] = {kCellDesign, kCellDesign, kCellNonDesign, kCellEmpty, kCellCutOut};
    for (int trial = 0; trial < 60; ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        const int rows = 1 + pick(6);
        const int columns = 1 + pick(7);
        Model m = makePlate(rows, columns, 10.0f * static_cast<float>(1 + pick(5)));
        for (int i = 1; i <= rows; ++i) {
            for (int j = 1; j <= columns; ++j) {
                m.CellState(i, j) = codes[pick(5)];
            }
        }
        for (int n = 1; n <= m.NodeCount; ++n) {
            fixNode(m, n, pick(6) == 0, pick(6) == 0);
        }
        m.PoissonRatio = ratios[pick(6)];
        m.YoungModulus = 1000.0 * (1 + pick(300));
        m.Thickness = 0.5 * (1 + pick(8));
        MarkActiveNodes(m);
        assembleAndCompress(m);
        EXPECT_TRUE(sameAsDenseReference(m));
    }
}

TEST(AssembleLoads, ForcesOnFixedComponentsAndInactiveNodesAreDropped) {
    Model m = makePlate(1, 3);
    m.CellState(1, 3) = kCellCutOut; // nodes 4 and 8 inactive
    fixNode(m, 1, true, false);
    MarkActiveNodes(m);
    CalcElementStiffness(m);
    NumberEquations(m);
    for (int n = 1; n <= m.NodeCount; ++n) {
        loadNode(m, n, 10.0 * n, -1.0 * n);
    }
    for (int p = 0; p <= m.EquationCount; ++p) {
        m.LoadVector(p) = 1000.0; // stale values must be overwritten, not added to
    }
    AssembleLoads(m);
    EXPECT_EQ(m.EquationCount, 11);
    for (int n = 1; n <= m.NodeCount; ++n) {
        for (int d = 1; d <= 2; ++d) {
            const int p = m.DofNumber(n, d);
            if (p != 0) {
                EXPECT_EQ(m.LoadVector(p), m.NodeLoad(n, d)) << "node " << n << " d " << d;
            }
        }
    }
}
