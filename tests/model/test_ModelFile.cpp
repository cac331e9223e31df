#include "model/ModelFile.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "model/NumberText.h"
#include "support/ModelBuilders.h"

using namespace quillane;
namespace fs = std::filesystem;

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

// The records of a file written with CR LF line ends; fails if a line lacks one.
std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    for (std::size_t start = 0, end; start < text.size(); start = end + 2) {
        end = text.find("\r\n", start);
        if (end == std::string::npos) {
            ADD_FAILURE() << "unterminated last line";
            break;
        }
        out.push_back(text.substr(start, end - start));
    }
    return out;
}

std::string join(const std::vector<std::string>& records, const std::string& sep) {
    std::string out;
    for (const auto& r : records) {
        out += r + sep;
    }
    return out;
}

// 3 columns by 2 rows: 6 cells, 12 nodes, with every kind of cell, a few supports
// and loads, and values that need all their digits.
Model sampleModel() {
    Model m = support::makePlate(2, 3, 100.0f, kCellDesign, -200.0f, -100.0f);
    m.DomainDefined = 0;
    m.DomainWidth = 1234.5f;
    m.OriginFracX = 0.3f;
    m.OriginFracY = 0.7f;
    const int16 states[] = {1, 2, -3, 0, 1, 2};
    for (int c = 0; c < 6; ++c) {
        m.CellState(c / 3 + 1, c % 3 + 1) = states[c];
    }
    support::fixNode(m, 1, true, true);
    m.NodeFreedom(4, 2) = -1;
    support::loadNode(m, 12, 1234.5678, -0.001);
    m.NodeLoad(7, 2) = 1.0 / 3.0;
    m.YoungModulus = 70000.0;
    m.PoissonRatio = 0.33;
    m.Thickness = 2.5;
    m.StressTarget = 1.0f / 3.0f; // needs more than 7 digits: back at single precision
    m.Epsilon = 3;
    m.Lambda = 0.1f;
    return m;
}

void expectSameFileValues(const Model& a, const Model& b) {
    const auto scalars = [](const Model& m) {
        return std::make_tuple(formatGeneral(m.DomainWidth), m.ElementSize, m.OriginFracX,
                               m.OriginFracY, m.CellRowCount, m.CellColumnCount, m.DomainX1,
                               m.DomainY1, m.DomainX2, m.DomainY2, m.YoungModulus, m.PoissonRatio,
                               m.Thickness, m.NodeCount, m.ElementCount,
                               formatGeneral(m.StressTarget), m.Epsilon, m.Lambda);
    };
    EXPECT_EQ(scalars(a), scalars(b));
    EXPECT_TRUE(a.CellState == b.CellState);
    EXPECT_TRUE(a.ElementNodes == b.ElementNodes);
    EXPECT_TRUE(a.NodeFreedom == b.NodeFreedom);
    for (int k = 1; k <= a.NodeCount; ++k) {
        for (int c = 1; c <= 2; ++c) {
            EXPECT_EQ(formatGeneral(a.NodeXY(k, c)), formatGeneral(b.NodeXY(k, c)));
            EXPECT_EQ(formatGeneral(a.NodeLoad(k, c)), formatGeneral(b.NodeLoad(k, c)));
        }
    }
}

const CanvasSize kCanvas{3.0, 2.0};

// Opens `path` expecting failure; returns the reason.
std::string openFails(Model& m, const std::string& path) {
    try {
        OpenModel(m, path, kCanvas);
    } catch (const ModelFileError& e) {
        EXPECT_STREQ(e.what(), kModelFileErrorMessage);
        return e.reason();
    }
    ADD_FAILURE() << "opening " << path << " did not fail";
    return {};
}

// A fresh directory per test, removed with everything in it afterwards, holding
// the sample model saved as a.model.
class ModelFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        static std::atomic<int> counter{0};
        dir = fs::temp_directory_path() / ("quillane-modelfile-" + std::to_string(::getpid()) +
                                           "-" + std::to_string(++counter));
        fs::create_directories(dir);
        SaveModel(saved, file("a.model"));
        text = readText(file("a.model"));
        records = lines(text);
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    // Writes `content` to t.model and returns its path.
    std::string write(const std::string& content) const {
        std::ofstream(file("t.model"), std::ios::binary) << content;
        return file("t.model");
    }
    std::size_t entries() const {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(dir), {}));
    }
    fs::path dir;
    Model saved = sampleModel();
    std::string text;
    std::vector<std::string> records;
};

} // namespace

TEST_F(ModelFileTest, SaveAndReopenGivesEveryValueBack) {
    EXPECT_EQ(saved.ModelFilePath, file("a.model"));
    EXPECT_EQ(entries(), 1u);
    ASSERT_EQ(records.size(), 6u + 2 * 3 + 3 * 12 + 6 + 1);
    const std::vector<std::string> head(records.begin(), records.begin() + 12);
    EXPECT_EQ(head,
              (std::vector<std::string>{"1234.5,100,0.3,0.7", "2,3", "-200,-100", "100,100",
                                        "70000,0.33,2.5", "12,6", "1", "2", "-3", "0", "1", "2"}));
    EXPECT_EQ(records[12], "1,-200,-100");
    EXPECT_EQ(records[23], "12,100,100");
    EXPECT_EQ(records[24], "1,1,2,6,5");
    EXPECT_EQ(records[29], "6,7,8,12,11");
    EXPECT_EQ(records[30], "1,1,1");
    EXPECT_EQ(records[31], "2,0,0"); // free nodes still get their record
    EXPECT_EQ(records[33], "4,0,-1");
    EXPECT_EQ(records[42], "1,0,0"); // unloaded nodes too
    EXPECT_EQ(records[48], "7,0,0.333333333333333");
    EXPECT_EQ(records[53], "12,1234.5678,-0.001");
    EXPECT_EQ(records[54], "0.3333333,3,0.1");
    Model opened;
    opened.NodeCount = 99;
    OpenModel(opened, file("a.model"), kCanvas);
    expectSameFileValues(saved, opened);
    EXPECT_EQ(opened.ModelFilePath, file("a.model"));
    EXPECT_EQ(opened.DomainDefined, -1);
    // Derived and result arrays come back zero-filled at their full size.
    EXPECT_TRUE(opened.NodeActive == Array1<int16>("NodeActive", 0, 12));
    EXPECT_TRUE(opened.DofNumber == (Array2<int16>("DofNumber", 0, 12, 1, 2)));
    EXPECT_TRUE(opened.ElementDofs == (Array2<int16>("ElementDofs", 0, 6, 1, 8)));
    EXPECT_TRUE(opened.NodeDisp == (Array2<double>("NodeDisp", 0, 12, 1, 2)));
    EXPECT_TRUE(opened.Potential == (Array2<double>("Potential", 1, 2, 1, 3)));
    EXPECT_TRUE(opened.CellStress == (Array2<double>("CellStress", 0, 3, 0, 4)));
    // Saving what was read writes the same file again.
    SaveModel(opened, file("again.model"));
    EXPECT_EQ(readText(file("again.model")), text);
}

TEST_F(ModelFileTest, RunningNumbersAreIgnoredAndLineEndsCountAsCommas) {
    auto renumbered = records;
    for (std::size_t r = 12; r < renumbered.size() - 1; ++r) {
        renumbered[r].erase(0, renumbered[r].find(','));
        renumbered[r].insert(renumbered[r].begin(), '1');
    }
    std::string oneLine = join(records, ",");
    oneLine.pop_back();
    std::string fieldPerLine = text;
    std::replace(fieldPerLine.begin(), fieldPerLine.end(), ',', '\n');
    // Joined records, one field per line, bare LF and bare CR line ends, blanks.
    for (const auto& variant :
         {join(renumbered, "\r\n"), oneLine, fieldPerLine, join(records, "\n"), join(records, "\r"),
          " " + join(records, " \r\n\t")}) {
        Model opened;
        OpenModel(opened, write(variant), kCanvas);
        expectSameFileValues(saved, opened);
    }
}

TEST_F(ModelFileTest, ReadsEveryUsualNumberForm) {
    for (const char* half : {"0.5", ".5", "5E-01", "5e-1", "+0.5", "+.5", "0.50", "5.E-1"}) {
        records[0] = std::string("1e3,+100.,") + half + ",-3";
        records[1] = "+2.0,3E+00"; // Integer fields take any number...
        records[4] = "7E+04,.33,2.50";
        records[54] = "1.25e1,2.5,.1"; // ...rounding halves to even
        Model o;
        OpenModel(o, write(join(records, "\r\n")), kCanvas);
        EXPECT_EQ(o.OriginFracX, 0.5f) << half;
        EXPECT_EQ(std::make_tuple(o.DomainWidth, o.ElementSize, o.OriginFracY, o.CellRowCount,
                                  o.CellColumnCount, o.YoungModulus, o.PoissonRatio, o.StressTarget,
                                  o.Epsilon, o.Lambda),
                  std::make_tuple(1000.0f, 100.0f, -3.0f, int16{2}, int16{3}, 70000.0, 0.33, 12.5f,
                                  int16{2}, 0.1f));
    }
}

TEST_F(ModelFileTest, ModelWithoutDomainSavesInSevenLinesButCannotBeOpened) {
    Model empty;
    SaveModel(empty, file("empty.model"));
    EXPECT_EQ(readText(file("empty.model")),
              "2000,100,0.5,0.5\r\n0,0\r\n0,0\r\n0,0\r\n210000,0.3,1\r\n0,0\r\n0,1,0.05\r\n");
    Model m = sampleModel();
    EXPECT_EQ(openFails(m, file("empty.model")), "the model has no cells: 0 rows");
    // Records 1 to 6 were taken; the arrays could not be sized and keep the old ones.
    EXPECT_EQ(std::make_tuple(m.DomainWidth, m.CellRowCount, m.NodeCount, m.YoungModulus),
              std::make_tuple(2000.0f, int16{0}, int16{0}, 210000.0));
    EXPECT_EQ(m.CellState.hi1(), 2);
    EXPECT_EQ(m.StressTarget, saved.StressTarget);
    EXPECT_EQ(m.DomainDefined, 0);
}

TEST_F(ModelFileTest, FailuresLeaveWhatWasReadBeforeThem) {
    // The old model: another grid (1 by 1) and other parameters, while history records.
    Model m = support::makePlate(1, 1, 100.0f, kCellEmpty);
    m.DomainDefined = 0;
    m.StressTarget = 99.0f;
    m.ViewRight = 7.0f;
    m.HistoryRecording = -1;
    // Cut in the middle of the node records: line 18 keeps two of its fields.
    EXPECT_EQ(openFails(m, write(text.substr(0, text.find("6,-100,0") + 6))),
              "line 18: the file ends before the node records are complete");
    EXPECT_EQ(m.DomainWidth, 1234.5f);
    EXPECT_TRUE(m.CellState == saved.CellState);
    EXPECT_EQ(m.NodeXY(5, 1), -200.0);
    EXPECT_EQ(m.NodeXY(6, 1), -100.0);
    EXPECT_EQ(m.NodeXY(6, 2), 0.0);
    EXPECT_EQ(m.NodeXY(7, 1), 0.0);
    EXPECT_EQ(m.ElementNodes.hi1(), 6); // sized for the new counts, still zero
    EXPECT_EQ(m.ElementNodes(1, 1), 0);
    EXPECT_EQ(std::make_tuple(m.StressTarget, m.ViewRight, m.DomainDefined, m.HistoryRecording),
              std::make_tuple(99.0f, 7.0f, int16{0}, int16{-1}));
}

TEST_F(ModelFileTest, RejectsFieldsThatAreNotNumbersOrOutOfRange) {
    const std::vector<std::pair<std::size_t, std::string>> cases = {
        {0, "1x2,100,0.3,0.7"}, {0, "1234.5,,0.3,0.7"},   {0, "1234.5,100, ,0.7"},
        {0, "1234.5,inf,0,0"},  {0, "1234.5,nan,0,0"},    {0, "1234.5,0x10,0,0"},
        {0, "1234.5,1e,0,0"},   {0, "1234.5,.,0,0"},      {0, "1234.5,-,0,0"},
        {0, "1234.5,1 2,0,0"},  {0, "1E+39,100,0.3,0.7"}, {4, "70000,-1E+309,2.5"},
        {1, "40000,3"},         {12, "1,abc,-100"}};
    for (const auto& [record, bad] : cases) {
        auto changed = records;
        changed[record] = bad;
        Model m;
        const std::string where = "line " + std::to_string(record + 1) + ", field ";
        EXPECT_EQ(openFails(m, write(join(changed, "\r\n"))).rfind(where, 0), 0u) << bad;
    }
}

TEST_F(ModelFileTest, OpeningAMissingFileOrADirectoryFails) {
    Model m;
    const std::string missing = file("none.model");
    EXPECT_EQ(openFails(m, missing), "cannot open " + missing + ": No such file or directory");
    EXPECT_EQ(m.ModelFilePath, missing);
    EXPECT_EQ(openFails(m, dir.string() + "/"),
              "cannot read " + dir.string() + "/: Is a directory");
}

TEST_F(ModelFileTest, FailedSavesLeaveNoTemporaryAndKeepTheOldFile) {
    Model m = sampleModel();
    EXPECT_THROW(SaveModel(m, file("missing/a.model")), ModelFileError);
    EXPECT_EQ(m.ModelFilePath, file("missing/a.model"));
    EXPECT_THROW(SaveModel(m, dir.string() + "/"), ModelFileError); // empty file name
    EXPECT_THROW(SaveModel(m, dir.string()), ModelFileError);
    // Saving over an existing file replaces it.
    write("old contents that are longer than nothing");
    SaveModel(m, file("t.model"));
    EXPECT_EQ(readText(file("t.model")), text);
    // A model whose arrays do not match its counts cannot be written; the old file stays.
    m.NodeCount = 13;
    EXPECT_THROW(SaveModel(m, file("t.model")), ModelFileError);
    EXPECT_EQ(readText(file("t.model")), text);
    EXPECT_EQ(entries(), 2u); // a.model and t.model, no temporary
}

TEST_F(ModelFileTest, OpeningRebuildsTheViewAndClosesTheHistory) {
    saved.DomainWidth = 1000.0f;
    saved.OriginFracX = 0.5f;
    saved.OriginFracY = 0.5f;
    SaveModel(saved, file("b.model"));
    int closed = 0;
    Model m;
    m.HistoryRecording = -1;
    OpenModel(m, file("b.model"), CanvasSize{3000.0, 2000.0}, [&] { ++closed; });
    EXPECT_EQ(m.DomainHeight, 666.6667f);
    EXPECT_EQ(m.ViewRight, 500.0f);
    EXPECT_EQ(m.ViewTop, 333.33334f);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(m.HistoryRecording, 0);
    OpenModel(m, file("b.model"), kCanvas, [&] { ++closed; }); // not recording: no call
    EXPECT_EQ(closed, 1);
    m.HistoryRecording = -1; // recording without a way to close: the flag is still cleared
    OpenModel(m, file("b.model"), kCanvas);
    EXPECT_EQ(m.HistoryRecording, 0);
}
