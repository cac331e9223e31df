// The history file: header, records, CR LF line ends, refusing a second start,
// emptying on a new start and failing loudly on a path that cannot be created.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/Model.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"

namespace quillane {
namespace {

// A 3 x 2 cantilever of 100 mm cells, the left edge fixed, a downward force at the
// lower right corner; analysed. The loaded bottom row is non-design material so the
// load stays on the plate whatever the optimization removes above it.
Model AnalysedPlate() {
    Model m;
    m.ElementSize = 100.0f;
    m.DomainX2 = 300.0f;
    m.DomainY2 = 200.0f;
    BuildDomainMesh(m);
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 3; ++j) {
            m.CellState(i, j) = i == 1 ? kCellNonDesign : kCellDesign;
        }
    }
    for (int node : {1, 5, 9}) {
        m.NodeFreedom(node, 1) = 1;
        m.NodeFreedom(node, 2) = 1;
    }
    m.NodeLoad(4, 2) = -500.0;
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    return m;
}

class TempDir {
  public:
    TempDir() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "quillane-history-XXXXXX").string();
        std::vector<char> buffer(pattern.begin(), pattern.end());
        buffer.push_back('\0');
        if (mkdtemp(buffer.data()) == nullptr) {
            throw std::runtime_error("cannot create a temporary directory");
        }
        path_ = buffer.data();
    }
    ~TempDir() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    std::string file(const char* name) const { return (path_ / name).string(); }

  private:
    std::filesystem::path path_;
};

std::string FileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

// Lines of a file whose every line must end in CR LF; a bare CR or LF fails.
std::vector<std::string> CrLfLines(const std::string& path) {
    const std::string text = FileText(path);
    std::vector<std::string> lines;
    std::size_t start = 0;
    for (std::size_t end = text.find("\r\n"); end != std::string::npos;
         end = text.find("\r\n", start)) {
        lines.push_back(text.substr(start, end - start));
        EXPECT_EQ(lines.back().find_first_of("\r\n"), std::string::npos) << lines.back();
        start = end + 2;
    }
    EXPECT_EQ(start, text.size()) << "text after the last CR LF";
    return lines;
}

std::string RecordOf(int step, double max, double avg, double min) {
    return std::to_string(step) + "," + formatGeneral(max) + "," + formatGeneral(avg) + "," +
           formatGeneral(min);
}

TEST(HistoryRecord, FieldsJoinedByCommasInShortestForm) {
    Model m;
    m.StepCount = 3;
    m.MaxStress = 245.125;
    m.AvgStress = 87.5;
    m.MinStress = 0.25;
    EXPECT_EQ(HistoryRecord(m), "3,245.125,87.5,0.25");
    // Double precision, not single: a third keeps fifteen digits.
    m.StepCount = 0;
    m.MaxStress = 1.0 / 3.0;
    m.AvgStress = 1.0e20;
    m.MinStress = 0.0;
    EXPECT_EQ(HistoryRecord(m), "0,0.333333333333333,1E+20,0");
}

TEST(HistoryRecorderTest, DefaultFileIsHistoryTmpInTheCurrentDirectory) {
    const HistoryRecorder recorder;
    EXPECT_EQ(recorder.path(), "History.tmp");
    EXPECT_FALSE(recorder.isOpen());
}

TEST(HistoryRecorderTest, AnalysisThenThreeStepsGivesRecordsZeroZeroOneTwo) {
    TempDir dir;
    HistoryRecorder history(dir.file("History.tmp"));
    Model m = AnalysedPlate();
    m.StressTarget = static_cast<float>(m.AvgStress); // some cells over target, some not
    m.Lambda = 0.3f;
    m.Epsilon = 5;

    std::vector<std::string> expected{"Iteration, Max, Avg, Min"};
    ASSERT_TRUE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_TRUE(history.isOpen());
    expected.push_back(RecordOf(0, m.MaxStress, m.AvgStress, m.MinStress));
    // Flushed at once: readable while recording goes on.
    EXPECT_EQ(CrLfLines(history.path()), expected);

    for (int step = 0; step < 3; ++step) {
        const StepReport report = Optimization(m, &history);
        expected.push_back(RecordOf(report.step, m.MaxStress, m.AvgStress, m.MinStress));
        EXPECT_EQ(CrLfLines(history.path()), expected) << "after step " << step;
    }
    ASSERT_EQ(expected.size(), 5u);
    EXPECT_EQ(expected[1].rfind("0,", 0), 0u);
    EXPECT_EQ(expected[2].rfind("0,", 0), 0u);
    EXPECT_EQ(expected[3].rfind("1,", 0), 0u);
    EXPECT_EQ(expected[4].rfind("2,", 0), 0u);

    history.Close(m);
    EXPECT_EQ(m.HistoryRecording, 0);
    EXPECT_FALSE(history.isOpen());
    EXPECT_EQ(CrLfLines(history.path()), expected);
}

TEST(HistoryRecorderTest, SecondStartIsRefusedAndLeavesTheFileAlone) {
    TempDir dir;
    HistoryRecorder history(dir.file("History.tmp"));
    Model m = AnalysedPlate();
    ASSERT_TRUE(history.Start(m));
    const std::string before = FileText(history.path());

    m.StepCount = 9;
    EXPECT_FALSE(history.Start(m));
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_TRUE(history.isOpen());
    EXPECT_EQ(FileText(history.path()), before);

    // Still recording into the same file afterwards.
    history.Record(m);
    EXPECT_EQ(FileText(history.path()), before + HistoryRecord(m) + "\r\n");
    history.Close(m);
}

TEST(HistoryRecorderTest, StartAfterCloseEmptiesTheFile) {
    TempDir dir;
    HistoryRecorder history(dir.file("History.tmp"));
    Model m = AnalysedPlate();
    ASSERT_TRUE(history.Start(m));
    history.Record(m);
    history.Record(m);
    history.Close(m);
    ASSERT_EQ(CrLfLines(history.path()).size(), 4u);

    m.StepCount = 12;
    m.MaxStress = 1.5;
    ASSERT_TRUE(history.Start(m));
    const std::vector<std::string> expected{"Iteration, Max, Avg, Min", HistoryRecord(m)};
    EXPECT_EQ(CrLfLines(history.path()), expected);
    EXPECT_EQ(expected[1].rfind("12,1.5,", 0), 0u);
    history.Close(m);
}

TEST(HistoryRecorderTest, NothingWrittenWhileNotRecording) {
    TempDir dir;
    HistoryRecorder history(dir.file("History.tmp"));
    Model m = AnalysedPlate();
    history.Record(m); // never started: no file at all
    EXPECT_FALSE(std::filesystem::exists(history.path()));

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

TEST(HistoryRecorderTest, StepAfter32767IsRecordedBeforeTheOverflow) {
    TempDir dir;
    HistoryRecorder history(dir.file("History.tmp"));
    Model m = AnalysedPlate();
    m.StepCount = 32767;
    ASSERT_TRUE(history.Start(m));
    EXPECT_THROW(Optimization(m, &history), OverflowFault);
    const std::vector<std::string> lines = CrLfLines(history.path());
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[2], HistoryRecord(m));
    EXPECT_EQ(lines[2].rfind("32767,", 0), 0u);
    history.Close(m);
}

TEST(HistoryRecorderTest, UncreatableFileRaisesWithTheFlagAlreadySet) {
    TempDir dir;
    HistoryRecorder history(dir.file("no-such-directory/History.tmp"));
    Model m = AnalysedPlate();
    try {
        history.Start(m);
        FAIL() << "Start on a missing directory did not raise";
    } catch (const HistoryFileError& error) {
        const std::string message = error.what();
        EXPECT_NE(message.find("no-such-directory"), std::string::npos) << message;
        EXPECT_NE(message.find(std::strerror(ENOENT)), std::string::npos) << message;
    }
    EXPECT_EQ(m.HistoryRecording, -1);
    EXPECT_FALSE(history.isOpen());
    // The flag stays up, so a further start is refused as "already recording".
    EXPECT_FALSE(history.Start(m));
}

} // namespace
} // namespace quillane
