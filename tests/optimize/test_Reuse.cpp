// Reusing the last solve: the same results to the last bit with it on and off, never
// for a system that differs in one bit, and never across an analysis, Clear or Open.

#include <gtest/gtest.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/ModelFile.h"
#include "optimize/Optimization.h"
#include "support/Bits.h"
#include "support/HalfBeam.h"

using namespace quillane;
using support::bits;

namespace {

template <class A> void expectSameBits(const A& a, const A& b, const char* what) {
    ASSERT_EQ(a.size(), b.size()) << what;
    EXPECT_EQ(std::memcmp(a.data(), b.data(), a.size() * sizeof(*a.data())), 0) << what;
}

void expectSameResults(const Model& a, const Model& b) {
    expectSameBits(a.CellState, b.CellState, "cells");
    expectSameBits(a.Potential, b.Potential, "potentials");
    expectSameBits(a.NodeDisp, b.NodeDisp, "displacements");
    expectSameBits(a.CellStress, b.CellStress, "stresses");
    expectSameBits(a.SolutionVector, b.SolutionVector, "solution");
    for (const auto& [x, y] : {std::pair{a.MaxStress, b.MaxStress},
                               {a.MinStress, b.MinStress},
                               {a.AvgStress, b.AvgStress},
                               {a.Volume, b.Volume}}) {
        EXPECT_EQ(bits(x), bits(y));
    }
}

TEST(Reuse, StepsGiveTheSameBitsWithAndWithoutItAndReuseOnceTheLayoutHoldsStill) {
    for (const auto& [columns, rows] : {std::pair{30, 10}, {24, 12}}) {
        Model on = support::mbbHalfBeam(columns, rows);
        Model off = on;
        off.ReuseSolves = false;
        int reused = 0;
        for (int step = 0; step < 150; ++step) {
            const StepReport a = Optimization(on);
            const StepReport b = Optimization(off);
            ASSERT_FALSE(b.analysis.reused);
            reused += a.analysis.reused ? 1 : 0;
            EXPECT_EQ(a.analysis.solver.iterations, b.analysis.solver.iterations) << step;
            EXPECT_EQ(a.analysis.solver.converged, b.analysis.solver.converged) << step;
            EXPECT_EQ(bits(a.analysis.solver.residualRatio), bits(b.analysis.solver.residualRatio))
                << step;
            if (a.analysis.reused) {
                EXPECT_EQ(a.changes.gained + a.changes.lost, 0) << step;
            }
            expectSameResults(on, off);
            if (testing::Test::HasFailure()) {
                FAIL() << columns << " x " << rows << " step " << step;
            }
        }
        EXPECT_GT(reused, 50) << columns << " x " << rows;
    }
}

// An analysed half-beam, re-assembled: its system is the kept one.
Model assembledAgain() {
    Model m = support::mbbHalfBeam(12, 6);
    AssembleSystem(m);
    return m;
}

TEST(Reuse, OneBitOfTheSystemDifferentIsADifferentSystem) {
    {
        Model m = assembledAgain();
        EXPECT_TRUE(MatchLastSystem(m));
        EXPECT_TRUE(MatchLastSystem(m)); // and stays kept
    }
    const int n = assembledAgain().EquationCount;
    const auto flip = [](double& v) { v = std::bit_cast<double>(bits(v) ^ 1u); };
    const std::vector<std::pair<const char*, std::function<void(Model&)>>> changes = {
        {"upper value", [&](Model& m) { flip(m.UpperValue(2, n / 2)); }},
        {"last upper value", [&](Model& m) { flip(m.UpperValue(m.UpperCount(n - 2), n - 2)); }},
        {"diagonal", [&](Model& m) { flip(m.DiagonalValue(n)); }},
        {"load", [&](Model& m) { flip(m.LoadVector(1)); }},
        {"load 0.0 to -0.0", [&](Model& m) { m.LoadVector(n / 2) = -0.0; }},
        {"column", [&](Model& m) { ++m.UpperColumn(1, 1); }},
        {"count", [&](Model& m) { --m.UpperCount(n / 3); }},
        {"equation count", [&](Model& m) { --m.EquationCount; }},
    };
    for (const auto& [what, change] : changes) {
        Model m = assembledAgain();
        ASSERT_EQ(m.LoadVector(n / 2), 0.0);
        change(m);
        EXPECT_FALSE(MatchLastSystem(m)) << what;
        EXPECT_FALSE(m.LastSolve.valid) << what;
    }
}

TEST(Reuse, ALoadOneUlpOffIsSolvedAsIfNothingWereKept) {
    Model m = support::mbbHalfBeam(12, 6);
    const int node = support::nodeAt(m, 7, 1);
    m.NodeLoad(node, 2) = std::nextafter(m.NodeLoad(node, 2), 0.0);
    Model fresh = m;
    fresh.ReuseSolves = false;
    const AnalysisReport a = AnalyseLayout(m);
    const AnalysisReport b = AnalyseLayout(fresh);
    EXPECT_FALSE(a.reused);
    EXPECT_EQ(a.solver.iterations, b.solver.iterations);
    expectSameResults(m, fresh);
    EXPECT_TRUE(AnalyseLayout(m).reused); // now that one is kept
}

TEST(Reuse, AnAnalysisClearOpenOrAFailedSolveForgetsTheKeptSolve) {
    Model m = support::mbbHalfBeam(12, 6);
    ASSERT_TRUE(AnalyseLayout(m).reused);
    EXPECT_FALSE(RunStressAnalysis(m).reused);

    // A solve that fails keeps nothing, not even the system it compared.
    const int node = support::nodeAt(m, 7, 1);
    const double load = m.NodeLoad(node, 2);
    m.NodeLoad(node, 2) = 0.0;
    EXPECT_THROW(AnalyseLayout(m), FloatingPointFault);
    EXPECT_FALSE(m.LastSolve.valid);
    m.NodeLoad(node, 2) = load;
    EXPECT_FALSE(AnalyseLayout(m).reused);
    ASSERT_TRUE(AnalyseLayout(m).reused);

    const std::string path = (std::filesystem::temp_directory_path() /
                              ("quillane-reuse-" + std::to_string(getpid()) + ".model"))
                                 .string();
    SaveModel(m, path);
    OpenModel(m, path, CanvasSize{800.0, 600.0});
    std::filesystem::remove(path);
    EXPECT_FALSE(m.LastSolve.valid);
    MarkActiveNodes(m);
    EXPECT_FALSE(AnalyseLayout(m).reused);

    ClearGeometry(m);
    EXPECT_FALSE(m.LastSolve.valid);
}

} // namespace
