// The history file: header, records, CR LF line ends, refusing a second start,
// emptying on a new start and failing loudly on a path that cannot be created.

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"
#include "support/ModelBuilders.h"

namespace quillane {
namespace {

namespace fs = std::filesystem;

std::string FileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Lines of a file whose every line must end in CR LF; a bare CR or LF fails.
std::vector<std::string> CrLfLines(const std::string& path) {
    const std::string text = FileText(path);
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end; (end = text.find("\r\n", start)) != std::string::npos; start = end + 2) {
        lines.push_back(text.substr(start, end - start));
        EXPECT_EQ(lines.back().find_first_of("\r\n"), std::string::npos) << lines.back();
    }
    EXPECT_EQ(start, text.size()) << "text after the last CR LF";
    return lines;
}

// A 3 x 2 cantilever of 100 mm cells, analysed, recorded into a fresh directory. The
// loaded bottom row is non-design material so the load stays on the plate whatever
// the optimization removes above it.
class HistoryTest : public ::testing::Test {
  protected:
    HistoryTest() {
        fs::create_directories(dir);
        support::setCells(m, 1, 1, 1, 3, kCellNonDesign);
        support::fixLeftEdge(m);
        support::loadNode(m, support::nodeAt(m, 1, 4), 0.0, -500.0);
        RunStressAnalysis(m);
    }
    ~HistoryTest() override { fs::remove_all(dir); }
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-history-" + std::to_string(::getpid()));
    Model m = support::makePlate(2, 3);
    HistoryRecorder history{(dir / "History.tmp").string()};
};

TEST_F(HistoryTest, AnalysisThenThreeStepsGivesRecordsZeroZeroOneTwo) {
    m.StressTarget = static_cast<float>(m.AvgStress); // some cells over target, some not
    m.Lambda = 0.3f;
    m.Epsilon = 5;
    ASSERT_TRUE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    const auto record = [&](int step) {
        return std::to_string(step) + "," + formatGeneral(m.MaxStress) + "," +
               formatGeneral(m.AvgStress) + "," + formatGeneral(m.MinStress);
    };
    std::vector<std::string> expected{"Iteration, Max, Avg, Min", record(0)};
    EXPECT_EQ(CrLfLines(history.path()), expected); // flushed at once: readable meanwhile
    for (int step = 0; step < 3; ++step) {
        expected.push_back(record(Optimization(m, &history).step));
        EXPECT_EQ(CrLfLines(history.path()), expected) << "after step " << step;
    }
    const char* numbers[] = {"0,", "0,", "1,", "2,"};
    for (int k = 0; k < 4; ++k) {
        EXPECT_EQ(expected[k + 1].rfind(numbers[k], 0), 0u) << expected[k + 1];
    }
    history.Close(m);
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_FALSE(history.isOpen());
    EXPECT_EQ(CrLfLines(history.path()), expected);
}

TEST_F(HistoryTest, SecondStartIsRefusedAndStartAfterCloseEmptiesTheFile) {
    ASSERT_TRUE(history.Start(m));
    const std::string before = FileText(history.path());
    m.StepCount = 9;
    EXPECT_FALSE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_EQ(FileText(history.path()), before);
    history.Record(m); // still recording into the same file
    EXPECT_EQ(FileText(history.path()), before + HistoryRecord(m) + "\r\n");
    history.Close(m);
    ASSERT_EQ(CrLfLines(history.path()).size(), 3u);

    m.StepCount = 12;
    ASSERT_TRUE(history.Start(m));
    EXPECT_EQ(CrLfLines(history.path()),
              (std::vector<std::string>{"Iteration, Max, Avg, Min", HistoryRecord(m)}));
    EXPECT_EQ(HistoryRecord(m).rfind("12,", 0), 0u);
    history.Close(m);
}

TEST_F(HistoryTest, NothingWrittenWhileNotRecording) {
    history.Record(m); // never started: no file at all
    EXPECT_FALSE(fs::exists(history.path()));
    ASSERT_TRUE(history.Start(m));
    const std::string started = FileText(history.path());
    Optimization(m, nullptr); // recording, but no recorder given: the step still runs
    m.HistoryRecording = 0;   // the flag, not the open file, decides
    Optimization(m, &history);
    history.Record(m);
    EXPECT_EQ(m.StepCount, 2);
    EXPECT_EQ(FileText(history.path()), started);
    history.Close(m);
    history.Close(m); // closing twice is harmless
    EXPECT_EQ(m.HistoryRecording, 0);
}

TEST_F(HistoryTest, StepAfter32767IsRecordedBeforeTheOverflow) {
    m.StepCount = 32767;
    ASSERT_TRUE(history.Start(m));
    EXPECT_THROW(Optimization(m, &history), OverflowFault);
    const std::vector<std::string> lines = CrLfLines(history.path());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2], HistoryRecord(m));
    EXPECT_EQ(lines[2].rfind("32767,", 0), 0u);
    history.Close(m);
}

TEST_F(HistoryTest, UncreatableFileRaisesWithTheFlagAlreadySet) {
    HistoryRecorder nowhere((dir / "no-such-directory/History.tmp").string());
    EXPECT_THROW(nowhere.Start(m), HistoryFileError); // its text names the path: see the runner
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_FALSE(nowhere.isOpen());
    EXPECT_FALSE(nowhere.Start(m)); // the flag stays up: "already recording"
}

} // namespace
} // namespace quillane
