// The run record kept beside the history file, and the stop rules that read it.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "fem/Mesh.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"
#include "optimize/StopRules.h"
#include "support/Bits.h"
#include "support/ModelBuilders.h"

using namespace quillane;
using support::bits;
namespace fs = std::filesystem;

namespace {

// A cantilever of 4 x 2 cells of 100 mm: the bottom row non-design, the top row
// design cells whose potentials are set so that, with nothing ever over the target
// and Lambda = 0.5 (halving at every step) and Epsilon = 6, cell j of the top row
// loses its material in step `lastStep[j]`.
Model fadingCantilever(std::vector<int> lastStep) {
    Model m = support::makeCantilever(2, 4);
    support::setCells(m, 1, 1, 1, 4, kCellNonDesign);
    std::tie(m.StressTarget, m.Lambda, m.Epsilon) = std::tuple(1.0e30f, 0.5f, int16{6});
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    for (int j = 1; j <= 4; ++j) {
        m.Potential(2, j) = 10.0 * (1 << lastStep[j - 1]); // halves to 5 < 6 in that step
    }
    return m;
}

// The rule that fires after each of `steps` steps, or -1 when none does; the run
// goes on either way.
std::vector<int> firedAfterEachStep(Model& m, const StopRules& rules, int steps,
                                    std::optional<StopReason>* last = nullptr) {
    std::vector<int> fired;
    for (int k = 0; k < steps; ++k) {
        Optimization(m);
        const std::optional<StopReason> reason = CheckStopRules(rules, m.Record);
        fired.push_back(reason ? static_cast<int>(reason->rule) : -1);
        if (reason && last != nullptr && !*last) {
            *last = reason;
        }
    }
    return fired;
}

TEST(RunRecord, HoldsTheHistoryFilesNumbersBitForBitAndTheCellsThatChanged) {
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-record-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    Model m = support::makeCantilever(3, 6);
    support::setCells(m, 1, 1, 1, 6, kCellNonDesign);
    MarkActiveNodes(m);
    std::tie(m.Lambda, m.Epsilon) = std::tuple(0.3f, int16{5});
    RunStressAnalysis(m);
    m.StressTarget = static_cast<float>(m.AvgStress); // some cells feed, others fade
    HistoryRecorder history((dir / "History.tmp").string());
    ASSERT_TRUE(history.Start(m));

    // What each step showed, straight from the model, and its cells before it.
    std::vector<std::tuple<double, double, double, double>> shown{
        {m.Volume, m.MaxStress, m.AvgStress, m.MinStress}};
    std::vector<std::pair<int, int>> changes;
    for (int k = 0; k < 8; ++k) {
        const Array2<int16> before = m.CellState;
        Optimization(m, &history, [&](Model& s) {
            shown.emplace_back(s.Volume, s.MaxStress, s.AvgStress, s.MinStress);
        });
        int gained = 0;
        int lost = 0;
        for (int i = 1; i <= 3; ++i) {
            for (int j = 1; j <= 6; ++j) {
                gained += before(i, j) == kCellEmpty && m.CellState(i, j) == kCellDesign ? 1 : 0;
                lost += before(i, j) == kCellDesign && m.CellState(i, j) == kCellEmpty ? 1 : 0;
            }
        }
        changes.emplace_back(gained, lost);
    }
    history.Close(m);

    std::ifstream in(dir / "History.tmp", std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line.substr(0, line.size() - 1)); // without the CR
    }
    fs::remove_all(dir);
    const std::vector<RunRecordEntry>& entries = m.Record.entries;
    ASSERT_EQ(entries.size(), 9u);
    ASSERT_EQ(lines.size(), 10u); // the header, then one record per entry
    int changed = 0;
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const RunRecordEntry& e = entries[k];
        EXPECT_EQ(e.analysis, k == 0);
        EXPECT_EQ(e.step, k == 0 ? 0 : static_cast<int>(k) - 1); // 0, 0, 1, 2 ...
        EXPECT_EQ(lines[k + 1], std::to_string(e.step) + "," + formatGeneral(e.maxStress) + "," +
                                    formatGeneral(e.meanStress) + "," + formatGeneral(e.minStress));
        const auto [volume, max, mean, min] = shown[k];
        EXPECT_EQ(
            std::tuple(bits(e.volume), bits(e.maxStress), bits(e.meanStress), bits(e.minStress)),
            std::tuple(bits(volume), bits(max), bits(mean), bits(min)))
            << k;
        EXPECT_TRUE(e.converged);
        EXPECT_GT(e.iterations, 0);
        if (k > 0) {
            EXPECT_EQ(std::pair(e.cellsGained, e.cellsLost), changes[k - 1]) << k;
            changed += e.cellsGained + e.cellsLost;
        }
    }
    EXPECT_GT(changed, 0);

    // A new analysis starts the record afresh; clearing the geometry empties it.
    const unsigned generation = m.Record.generation;
    RunStressAnalysis(m);
    EXPECT_EQ(m.Record.entries.size(), 1u);
    EXPECT_GT(m.Record.generation, generation);
    ClearGeometry(m);
    EXPECT_TRUE(m.Record.entries.empty());
}

TEST(StopRules, SteadyFiresAfterKStepsWithoutAChangeAndNeverWhenOff) {
    // All four design cells go in step 1; from step 2 on nothing changes.
    Model m = fadingCantilever({1, 1, 1, 1});
    StopRules rules;
    rules.steady = true;
    rules.steadySteps = 3;
    Model off = m;
    std::optional<StopReason> reason;
    EXPECT_EQ(firedAfterEachStep(m, rules, 6, &reason),
              (std::vector<int>{-1, -1, -1, -1, 0, 0})); // steps 2, 3, 4 unchanged
    EXPECT_EQ(reason, (StopReason{StopRule::Steady, 4}));
    EXPECT_EQ(std::pair(m.Record.entries[2].cellsGained, m.Record.entries[2].cellsLost),
              std::pair(0, 4));
    rules.steady = false;
    EXPECT_EQ(firedAfterEachStep(off, rules, 6), std::vector<int>(6, -1));
    // Step 0 changes nothing either but is counted like any step: K = 1 fires there.
    Model early = fadingCantilever({1, 1, 1, 1});
    EXPECT_EQ(firedAfterEachStep(early, StopRules{.steady = true, .steadySteps = 1}, 3),
              (std::vector<int>{0, -1, 0}));
}

TEST(StopRules, VolumeFiresAtTheFirstStepAtOrBelowTheFractionOfTheAnalysedVolume) {
    // Eight cells; one design cell goes in each of steps 0 to 3: 7/8, 6/8, 5/8, 4/8.
    for (const auto& [ratio, expected] : std::vector<std::pair<double, std::vector<int>>>{
             {0.75, {-1, 1, 1, 1, 1}},        // 6/8 is "at or below"
             {0.70, {-1, -1, 1, 1, 1}},       // 5/8
             {0.49, {-1, -1, -1, -1, -1}}}) { // never reached
        Model m = fadingCantilever({0, 1, 2, 3});
        StopRules rules;
        rules.volume = true;
        rules.volumeRatio = ratio;
        EXPECT_EQ(firedAfterEachStep(m, rules, 5), expected) << ratio;
    }
    // Without its analysis entry there is nothing to measure against.
    RunRecord stepsOnly;
    stepsOnly.entries.push_back({.step = 3, .volume = 1.0});
    EXPECT_FALSE(CheckStopRules({.volume = true, .volumeRatio = 0.5}, stepsOnly));
}

TEST(StopRules, UnconvergedFiresWhenTheLoadedEndFallsOffAndStepsCountFromTheAnalysis) {
    // The load sits on the right column; when the design cells between it and the
    // clamped left column go in step 2, it hangs on nothing and the solve cannot
    // converge.
    Model m = support::makeCantilever(1, 4);
    support::setCells(m, 1, 1, 1, 1, kCellNonDesign);
    support::setCells(m, 1, 4, 1, 4, kCellNonDesign);
    std::tie(m.StressTarget, m.Lambda, m.Epsilon) = std::tuple(1.0e30f, 0.5f, int16{6});
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    m.Potential(1, 2) = m.Potential(1, 3) = 40.0; // 20, 10, then 5 in step 2
    Model off = m;
    StopRules rules;
    rules.unconverged = true;
    rules.steps = true;
    rules.maxSteps = 5;
    std::optional<StopReason> reason;
    EXPECT_EQ(firedAfterEachStep(m, rules, 5, &reason), (std::vector<int>{-1, -1, 2, 2, 2}));
    EXPECT_EQ(reason, (StopReason{StopRule::Unconverged, 2}));
    EXPECT_TRUE(m.Record.entries[2].converged); // step 1 still held together
    EXPECT_FALSE(m.Record.entries[3].converged);
    // Off, the same run fires only the step count, after the fifth step.
    rules.unconverged = false;
    EXPECT_EQ(firedAfterEachStep(off, rules, 6), (std::vector<int>{-1, -1, -1, -1, 3, 3}));
    // An analysis alone never fires a rule.
    RunStressAnalysis(off);
    EXPECT_FALSE(CheckStopRules({.unconverged = true, .steps = true, .maxSteps = 1}, off.Record));
}

} // namespace
