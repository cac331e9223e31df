// One optimization step and the history file it records into.

#include "optimize/Optimization.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <tuple>
#include <vector>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "support/ModelBuilders.h"

using namespace quillane;
namespace fs = std::filesystem;

namespace {

// An analysed cantilever of `columns` x `rows` cells of 100 mm under parameters for
// which nothing ever feeds. The bottom row is non-design material, so the plate
// still carries the load when every design cell above it has gone.
Model analysedCantilever(int columns, int rows, float lambda, int16 epsilon) {
    Model m = support::makeCantilever(rows, columns);
    support::setCells(m, 1, 1, 1, columns, kCellNonDesign);
    std::tie(m.StressTarget, m.Lambda, m.Epsilon) = std::tuple(1.0e30f, lambda, epsilon);
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    return m;
}

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Lines of a file whose every line must end in CR LF.
std::vector<std::string> crLfLines(const std::string& path) {
    const std::string text = fileText(path);
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
        lines.push_back(text.substr(start, end - start));
        EXPECT_EQ(lines.back().find_first_of("\r\n"), std::string::npos) << lines.back();
    }
    EXPECT_EQ(start, text.size()) << "text after the last CR LF";
    return lines;
}

TEST(StressAnalysisCommand, ResetsTheStepCountAndStartsTheOccupiedCellsPotentials) {
    Model m = support::makeCantilever(2, 4);
    support::setCells(m, 2, 4, 2, 4, kCellEmpty);
    MarkActiveNodes(m);
    std::tie(m.StepCount, m.Lambda) = std::tuple(int16{7}, 0.3f);
    m.Potential(2, 4) = 3.5; // an empty cell keeps its potential
    int known = 0;
    RunStressAnalysis(m, [&] {
        ++known;
        EXPECT_EQ(m.Potential(1, 1), 0.0); // the stresses are known before the potentials
    });
    EXPECT_EQ(known, 1);
    EXPECT_EQ(m.StepCount, 0);
    EXPECT_EQ(m.Potential(2, 4), 3.5);
    // 0.3 x 10 / 5 x 5 / 0.3 in single precision
    EXPECT_EQ(m.Potential(1, 1), static_cast<double>(0.3f * 10.0f / 5.0f * 5.0f / 0.3f));
    EXPECT_EQ(m.Potential(2, 3), m.Potential(1, 1));
}

TEST(StressAnalysisCommand, NothingToSolveOrNoLoadStopsInTheSolverAfterResettingTheStepCount) {
    // A model at start-up has no arrays at all.
    std::pair<Model, const char*> cases[] = {
        {Model(), "nothing to solve"},
        {support::makePlate(2, 2, 100.0f, kCellEmpty), "nothing to solve"},
        {support::makeCantilever(2, 3, 100.0f, 0.0), "No load"}};
    for (auto& [m, expected] : cases) {
        m.StepCount = 3;
        int known = 0;
        try {
            RunStressAnalysis(m, [&] { ++known; });
            ADD_FAILURE() << "no fault, expected " << expected;
        } catch (const FloatingPointFault& fault) {
            EXPECT_NE(std::string(fault.what()).find(expected), std::string::npos) << fault.what();
        }
        EXPECT_EQ(m.StepCount, 0);
        EXPECT_EQ(known, 0);
    }
}

TEST(OptimizationStep, RedrawSeesTheNewResultsThenStatusTextAndCountFollow) {
    // 10 -> 5 < 6: the whole design row goes in the first step.
    Model m = analysedCantilever(4, 2, 0.5f, 6);
    m.Thickness = 2.5;
    m.EditMode = 6;
    std::vector<Model> seen;
    const StepReport first = Optimization(m, nullptr, [&](Model& shown) { seen.push_back(shown); });
    EXPECT_EQ(m.EditMode, 0);
    ASSERT_EQ(seen.size(), 1u);
    EXPECT_EQ(std::make_tuple(seen[0].StepCount, first.step, m.StepCount),
              std::make_tuple(int16{0}, int16{0}, int16{1}));
    EXPECT_EQ(seen[0].Volume, 4 * 10000 * 2.5);
    EXPECT_TRUE(seen[0].CellStress == m.CellStress);
    EXPECT_EQ(Optimization(m).step, 1);
}

TEST(OptimizationStep, PotentialEqualToEpsilonKeepsOrRestoresMaterialAndIsAnalysed) {
    Model m = analysedCantilever(4, 2, 0.5f, 5);
    support::setCells(m, 2, 3, 2, 4, kCellEmpty);
    m.Potential(2, 1) = 10.0;  // -> 5, equal: kept
    m.Potential(2, 2) = 9.998; // -> 4.999: removed
    m.Potential(2, 3) = 10.0;  // empty -> 5, equal: material again
    m.Potential(2, 4) = 9.998; // empty -> 4.999: stays empty
    const StepReport report = Optimization(m);
    const int16 expected[] = {kCellDesign, kCellEmpty, kCellDesign, kCellEmpty};
    for (int j = 1; j <= 4; ++j) {
        EXPECT_EQ(m.CellState(2, j), expected[j - 1]) << j;
        EXPECT_EQ(m.CellStress(2, j) > 0.0, expected[j - 1] == kCellDesign) << j;
    }
    EXPECT_EQ(m.Volume, 6 * 10000.0);
    EXPECT_EQ(report.step, 0);
}

class HistoryTest : public ::testing::Test {
  protected:
    HistoryTest() { fs::create_directories(dir); }
    ~HistoryTest() override { fs::remove_all(dir); }
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-history-" + std::to_string(::getpid()));
    Model m = analysedCantilever(3, 2, 0.3f, 5);
    HistoryRecorder history{(dir / "History.tmp").string()};
};

TEST_F(HistoryTest, AnalysisThenThreeStepsGivesRecordsZeroZeroOneTwo) {
    m.StressTarget = static_cast<float>(m.AvgStress); // some cells over target, some not
    ASSERT_TRUE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    const auto record = [&](int step) {
        return std::to_string(step) + "," + formatGeneral(m.MaxStress) + "," +
               formatGeneral(m.AvgStress) + "," + formatGeneral(m.MinStress);
    };
    std::vector<std::string> expected{"Iteration, Max, Avg, Min", record(0)};
    EXPECT_EQ(crLfLines(history.path()), expected); // flushed at once: readable meanwhile
    for (int step = 0; step < 3; ++step) {
        Optimization(m, &history);
        expected.push_back(record(step)); // numbered before the increment: 0, 0, 1, 2
        EXPECT_EQ(crLfLines(history.path()), expected) << "after step " << step;
    }
    history.Close(m);
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_FALSE(history.isOpen());
}

TEST_F(HistoryTest, SecondStartIsRefusedAndStartAfterCloseEmptiesTheFile) {
    ASSERT_TRUE(history.Start(m));
    const std::string before = fileText(history.path());
    EXPECT_FALSE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_EQ(fileText(history.path()), before);
    history.Close(m);
    m.StepCount = 12;
    ASSERT_TRUE(history.Start(m));
    EXPECT_EQ(crLfLines(history.path()),
              (std::vector<std::string>{"Iteration, Max, Avg, Min", HistoryRecord(m)}));
    EXPECT_EQ(HistoryRecord(m).rfind("12,", 0), 0u);
}

TEST_F(HistoryTest, StepAfter32767IsRecordedThenOverflowsWithTheStepDone) {
    m.StepCount = 32767;
    m.Epsilon = 8; // 10 -> 7: the design row goes
    ASSERT_TRUE(history.Start(m));
    EXPECT_THROW(Optimization(m, &history), OverflowFault);
    EXPECT_EQ(m.StepCount, 32767);
    EXPECT_EQ(std::make_tuple(m.CellState(2, 1), m.CellStress(2, 1), m.Volume),
              std::make_tuple(kCellEmpty, 0.0, 3 * 10000.0));
    const std::vector<std::string> lines = crLfLines(history.path());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2], HistoryRecord(m));
    EXPECT_EQ(lines[2].rfind("32767,", 0), 0u);
}

TEST_F(HistoryTest, UncreatableFileRaisesWithTheFlagAlreadySet) {
    HistoryRecorder nowhere((dir / "no-such-directory/History.tmp").string());
    EXPECT_THROW(nowhere.Start(m), HistoryFileError);
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_FALSE(nowhere.isOpen());
    EXPECT_FALSE(nowhere.Start(m)); // the flag stays up: "already recording"
}

} // namespace
