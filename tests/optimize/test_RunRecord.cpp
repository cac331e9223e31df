// The run record kept beside the history file, and the stop rules that read it.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
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

// An analysed cantilever of `columns` x `rows` cells, the bottom row non-design.
// Nothing is ever over the target; Lambda = 0.5 halves the potentials and Epsilon
// is 6, so design cell j of the top row, starting at 10 x 2^lastStep[j], loses its
// material in step lastStep[j].
Model fading(int columns, int rows, std::vector<int> lastStep) {
    Model m = support::makeCantilever(rows, columns);
    support::setCells(m, 1, 1, 1, columns, kCellNonDesign);
    std::tie(m.StressTarget, m.Lambda, m.Epsilon) = std::tuple(1.0e30f, 0.5f, int16{6});
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    for (int j = 1; j <= columns; ++j) {
        m.Potential(rows, j) = 10.0 * (1 << lastStep[j - 1]);
    }
    return m;
}

// The rule (its number) that fires after each of `steps` steps, -1 for none; the
// run goes on either way. `first` gets the first reason given.
std::vector<int> fired(Model& m, const StopRules& rules, int steps,
                       std::optional<StopReason>* first = nullptr) {
    std::vector<int> rule;
    for (int k = 0; k < steps; ++k) {
        Optimization(m);
        const std::optional<StopReason> reason = CheckStopRules(rules, m.Record);
        rule.push_back(reason ? static_cast<int>(reason->rule) : -1);
        if (reason && first != nullptr && !*first) {
            *first = reason;
        }
    }
    return rule;
}

TEST(RunRecord, HoldsTheHistoryFilesNumbersBitForBitAndTheCellsThatChanged) {
    const fs::path file =
        fs::temp_directory_path() / ("quillane-record-" + std::to_string(::getpid()));
    Model m = fading(6, 3, {0, 0, 0, 0, 0, 0});
    m.StressTarget = static_cast<float>(m.AvgStress); // some cells feed, others fade
    HistoryRecorder history(file.string());
    ASSERT_TRUE(history.Start(m));
    // What each step showed, straight from the model.
    std::vector<std::tuple<double, double, double, double>> shown{
        {m.Volume, m.MaxStress, m.AvgStress, m.MinStress}};
    int changed = 0;
    for (int k = 0; k < 8; ++k) {
        const int before = static_cast<int>(m.Volume);
        const StepReport step = Optimization(m, &history, [&](Model& s) {
            shown.emplace_back(s.Volume, s.MaxStress, s.AvgStress, s.MinStress);
        });
        // Cells of 100 x 100 x 1 mm: the volume moves by what was gained and lost.
        EXPECT_EQ(static_cast<int>(m.Volume) - before,
                  10000 * (step.changes.gained - step.changes.lost));
        changed += step.changes.gained + step.changes.lost;
    }
    EXPECT_GT(changed, 0);
    history.Close(m);
    std::ifstream in(file, std::ios::binary);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line.substr(0, line.size() - 1)); // without the CR
    }
    fs::remove(file);

    const std::vector<RunRecordEntry>& entries = m.Record.entries;
    ASSERT_EQ(entries.size(), 9u);
    ASSERT_EQ(lines.size(), 10u); // the header, then one record per entry
    for (std::size_t k = 0; k < entries.size(); ++k) {
        const RunRecordEntry& e = entries[k];
        EXPECT_EQ(std::tuple(e.analysis, e.step, e.converged),
                  std::tuple(k == 0, int16(k == 0 ? 0 : k - 1), true)); // steps 0, 0, 1, 2 ...
        EXPECT_EQ(lines[k + 1], std::to_string(e.step) + "," + formatGeneral(e.maxStress) + "," +
                                    formatGeneral(e.meanStress) + "," + formatGeneral(e.minStress));
        const auto [volume, max, mean, min] = shown[k];
        EXPECT_EQ(
            std::tuple(bits(e.volume), bits(e.maxStress), bits(e.meanStress), bits(e.minStress)),
            std::tuple(bits(volume), bits(max), bits(mean), bits(min)))
            << k;
    }
    // A new analysis starts the record afresh; clearing the geometry empties it.
    const unsigned generation = m.Record.generation;
    RunStressAnalysis(m);
    EXPECT_EQ(std::pair(m.Record.entries.size(), m.Record.generation > generation),
              std::pair(std::size_t{1}, true));
    ClearGeometry(m);
    EXPECT_TRUE(m.Record.entries.empty());
}

TEST(StopRules, EachFiresAtItsStepAndNeverWhenOff) {
    // Steady: all four design cells go in step 1; steps 2, 3 and 4 change nothing.
    Model m = fading(4, 2, {1, 1, 1, 1});
    const Model start = m;
    std::optional<StopReason> reason;
    EXPECT_EQ(fired(m, {.steady = true, .steadySteps = 3}, 6, &reason),
              (std::vector<int>{-1, -1, -1, -1, 0, 0}));
    EXPECT_EQ(reason, (StopReason{StopRule::Steady, 4}));
    EXPECT_EQ(std::pair(m.Record.entries[2].cellsGained, m.Record.entries[2].cellsLost),
              std::pair(0, 4));
    m = start; // step 0 changed nothing either: K = 1 fires there
    EXPECT_EQ(fired(m, {.steady = true, .steadySteps = 1}, 3), (std::vector<int>{0, -1, 0}));
    m = start; // off: nothing, ever
    EXPECT_EQ(fired(m, {.steadySteps = 1, .volumeRatio = 0.99, .maxSteps = 1}, 6),
              std::vector<int>(6, -1));

    // Volume: one of four design cells over four non-design ones goes in each of
    // steps 0 to 3 (7/8, 6/8, 5/8, 4/8 of the analysed volume).
    for (const auto& [ratio, expected] : std::vector<std::pair<double, std::vector<int>>>{
             {0.75, {-1, 1, 1, 1, 1}}, {0.70, {-1, -1, 1, 1, 1}}, {0.49, {-1, -1, -1, -1, -1}}}) {
        m = fading(4, 2, {0, 1, 2, 3});
        EXPECT_EQ(fired(m, {.volume = true, .volumeRatio = ratio}, 5), expected) << ratio;
    }
    RunRecord stepsOnly; // without its analysis there is nothing to measure against
    stepsOnly.entries.push_back({.step = 3, .volume = 1.0});
    EXPECT_FALSE(CheckStopRules({.volume = true, .volumeRatio = 0.5}, stepsOnly));

    // Unconverged: a 4 x 1 cantilever whose middle cells go in step 2, leaving the
    // loaded end hanging on nothing. Steps count from the analysis.
    m = fading(4, 1, {0, 2, 2, 0});
    support::setCells(m, 1, 2, 1, 3, kCellDesign); // the clamped and loaded ends stay
    const Model apart = m;
    reason.reset();
    EXPECT_EQ(fired(m, {.unconverged = true, .steps = true, .maxSteps = 5}, 5, &reason),
              (std::vector<int>{-1, -1, 2, 2, 2}));
    EXPECT_EQ(reason, (StopReason{StopRule::Unconverged, 2}));
    EXPECT_EQ(std::pair(m.Record.entries[2].converged, m.Record.entries[3].converged),
              std::pair(true, false));
    m = apart;
    EXPECT_EQ(fired(m, {.steps = true, .maxSteps = 5}, 6),
              (std::vector<int>{-1, -1, -1, -1, 3, 3}));
    RunStressAnalysis(m); // an analysis alone never fires a rule
    EXPECT_FALSE(CheckStopRules({.unconverged = true, .steps = true, .maxSteps = 1}, m.Record));
}

} // namespace
