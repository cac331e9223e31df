#include "model/ModelFile.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include "fem/Mesh.h"
#include "model/NumberText.h"

using namespace quillane;
namespace fs = std::filesystem;

namespace {

// A fresh directory per test, removed with everything in it afterwards.
class ModelFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        static std::atomic<int> counter{0};
        dir = fs::temp_directory_path() / ("quillane-modelfile-" + std::to_string(::getpid()) +
                                           "-" + std::to_string(++counter));
        fs::create_directories(dir);
    }
    void TearDown() override {
        fs::permissions(dir, fs::perms::owner_all, fs::perm_options::add);
        fs::remove_all(dir);
    }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        for (const auto& e : fs::directory_iterator(dir)) {
            names.push_back(e.path().filename().string());
        }
        return names;
    }

    fs::path dir;
};

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

void writeText(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

// The records of a file written with CR LF line ends; fails if a line lacks one.
std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> out;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find("\r\n", start);
        EXPECT_NE(end, std::string::npos) << "unterminated last line";
        if (end == std::string::npos) {
            break;
        }
        out.push_back(text.substr(start, end - start));
        start = end + 2;
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
    Model m;
    m.DomainWidth = 1234.5f;
    m.ElementSize = 100.0f;
    m.OriginFracX = 0.3f;
    m.OriginFracY = 0.7f;
    m.DomainX1 = -200.0f;
    m.DomainX2 = 100.0f;
    m.DomainY1 = -100.0f;
    m.DomainY2 = 100.0f;
    BuildDomainMesh(m);
    const int16 states[2][3] = {{1, 2, -3}, {0, 1, 2}};
    for (int i = 1; i <= 2; ++i) {
        for (int j = 1; j <= 3; ++j) {
            m.CellState(i, j) = states[i - 1][j - 1];
        }
    }
    m.NodeFreedom(1, 1) = 1;
    m.NodeFreedom(1, 2) = 1;
    m.NodeFreedom(4, 2) = -1;
    m.NodeLoad(12, 1) = 1234.5678;
    m.NodeLoad(12, 2) = -0.001;
    m.NodeLoad(7, 2) = 1.0 / 3.0;
    m.YoungModulus = 70000.0;
    m.PoissonRatio = 0.33;
    m.Thickness = 2.5;
    m.StressTarget = 12.5f;
    m.Epsilon = 3;
    m.Lambda = 0.1f;
    return m;
}

void expectSameFileValues(const Model& a, const Model& b) {
    EXPECT_EQ(formatGeneral(a.DomainWidth), formatGeneral(b.DomainWidth));
    EXPECT_EQ(a.ElementSize, b.ElementSize);
    EXPECT_EQ(a.OriginFracX, b.OriginFracX);
    EXPECT_EQ(a.OriginFracY, b.OriginFracY);
    EXPECT_EQ(a.CellRowCount, b.CellRowCount);
    EXPECT_EQ(a.CellColumnCount, b.CellColumnCount);
    EXPECT_EQ(a.DomainX1, b.DomainX1);
    EXPECT_EQ(a.DomainY1, b.DomainY1);
    EXPECT_EQ(a.DomainX2, b.DomainX2);
    EXPECT_EQ(a.DomainY2, b.DomainY2);
    EXPECT_EQ(a.YoungModulus, b.YoungModulus);
    EXPECT_EQ(a.PoissonRatio, b.PoissonRatio);
    EXPECT_EQ(a.Thickness, b.Thickness);
    EXPECT_EQ(a.NodeCount, b.NodeCount);
    EXPECT_EQ(a.ElementCount, b.ElementCount);
    EXPECT_TRUE(a.CellState == b.CellState);
    EXPECT_TRUE(a.ElementNodes == b.ElementNodes);
    EXPECT_TRUE(a.NodeFreedom == b.NodeFreedom);
    for (int k = 1; k <= a.NodeCount; ++k) {
        for (int c = 1; c <= 2; ++c) {
            EXPECT_EQ(formatGeneral(a.NodeXY(k, c)), formatGeneral(b.NodeXY(k, c)));
            EXPECT_EQ(formatGeneral(a.NodeLoad(k, c)), formatGeneral(b.NodeLoad(k, c)));
        }
    }
    EXPECT_EQ(formatGeneral(a.StressTarget), formatGeneral(b.StressTarget));
    EXPECT_EQ(a.Epsilon, b.Epsilon);
    EXPECT_EQ(a.Lambda, b.Lambda);
}

// Opens `path` expecting failure; returns the reason.
std::string openFails(Model& m, const std::string& path) {
    try {
        OpenModel(m, path, CanvasSize{3.0, 2.0});
    } catch (const ModelFileError& e) {
        EXPECT_STREQ(e.what(), kModelFileErrorMessage);
        return e.reason();
    }
    ADD_FAILURE() << "opening " << path << " did not fail";
    return {};
}

const CanvasSize kCanvas{3.0, 2.0};

} // namespace

TEST_F(ModelFileTest, SaveAndReopenGivesEveryValueBack) {
    Model saved = sampleModel();
    saved.StressTarget = 1.0f / 3.0f; // needs more than 7 digits: back at single precision
    const std::string path = file("plate.model");
    SaveModel(saved, path);
    EXPECT_EQ(saved.ModelFilePath, path);
    EXPECT_EQ(entries(), std::vector<std::string>{"plate.model"});

    const auto records = lines(readText(path));
    ASSERT_EQ(records.size(), 6u + 2 * 3 + 3 * 12 + 6 + 1);
    EXPECT_EQ(records[0], "1234.5,100,0.3,0.7");
    EXPECT_EQ(records[1], "2,3");
    EXPECT_EQ(records[2], "-200,-100");
    EXPECT_EQ(records[3], "100,100");
    EXPECT_EQ(records[4], "70000,0.33,2.5");
    EXPECT_EQ(records[5], "12,6");
    const std::vector<std::string> cells(records.begin() + 6, records.begin() + 12);
    EXPECT_EQ(cells, (std::vector<std::string>{"1", "2", "-3", "0", "1", "2"}));
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
    OpenModel(opened, path, kCanvas);
    expectSameFileValues(saved, opened);
    EXPECT_EQ(opened.ModelFilePath, path);
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
    EXPECT_EQ(readText(file("again.model")), readText(path));
}

TEST_F(ModelFileTest, RunningNumbersAreIgnoredOnReading) {
    Model saved = sampleModel();
    SaveModel(saved, file("a.model"));
    auto records = lines(readText(file("a.model")));
    for (std::size_t r = 12; r < records.size() - 1; ++r) {
        records[r].erase(0, records[r].find(','));
        records[r].insert(records[r].begin(), '1');
    }
    writeText(file("b.model"), join(records, "\r\n"));
    Model opened;
    OpenModel(opened, file("b.model"), kCanvas);
    expectSameFileValues(saved, opened);
}

TEST_F(ModelFileTest, LineEndsCountAsCommas) {
    Model saved = sampleModel();
    SaveModel(saved, file("a.model"));
    const auto records = lines(readText(file("a.model")));
    std::string oneLine = join(records, ",");
    oneLine.pop_back();
    std::string fieldPerLine = join(records, "\r\n");
    for (char& c : fieldPerLine) {
        c = c == ',' ? '\n' : c;
    }
    // Joined records, one field per line, bare LF and bare CR line ends, blanks.
    const std::vector<std::string> variants = {oneLine, fieldPerLine, join(records, "\n"),
                                               join(records, "\r"), " " + join(records, " \r\n\t")};
    for (const auto& text : variants) {
        writeText(file("v.model"), text);
        Model opened;
        OpenModel(opened, file("v.model"), kCanvas);
        expectSameFileValues(saved, opened);
    }
}

TEST_F(ModelFileTest, ReadsEveryUsualNumberForm) {
    Model saved = sampleModel();
    SaveModel(saved, file("a.model"));
    auto records = lines(readText(file("a.model")));
    for (const char* half : {"0.5", ".5", "5E-01", "5e-1", "+0.5", "+.5", "0.50", "5.E-1"}) {
        records[0] = std::string("1e3,+100.,") + half + ",-3";
        records[1] = "+2.0,3E+00"; // Integer fields take any number...
        records[4] = "7E+04,.33,2.50";
        records[54] = "1.25e1,2.5,.1"; // ...rounding halves to even
        writeText(file("n.model"), join(records, "\r\n"));
        Model opened;
        OpenModel(opened, file("n.model"), kCanvas);
        EXPECT_EQ(opened.OriginFracX, 0.5f) << half;
        EXPECT_EQ(opened.DomainWidth, 1000.0f);
        EXPECT_EQ(opened.ElementSize, 100.0f);
        EXPECT_EQ(opened.OriginFracY, -3.0f);
        EXPECT_EQ(opened.CellRowCount, 2);
        EXPECT_EQ(opened.CellColumnCount, 3);
        EXPECT_EQ(opened.YoungModulus, 70000.0);
        EXPECT_EQ(opened.PoissonRatio, 0.33);
        EXPECT_EQ(opened.StressTarget, 12.5f);
        EXPECT_EQ(opened.Epsilon, 2);
        EXPECT_EQ(opened.Lambda, 0.1f);
    }
}

TEST_F(ModelFileTest, ModelWithoutDomainSavesInSevenLinesButCannotBeOpened) {
    Model empty;
    SaveModel(empty, file("empty.model"));
    EXPECT_EQ(readText(file("empty.model")),
              "2000,100,0.5,0.5\r\n0,0\r\n0,0\r\n0,0\r\n210000,0.3,1\r\n0,0\r\n0,1,0.05\r\n");

    Model m = sampleModel();
    const std::string reason = openFails(m, file("empty.model"));
    EXPECT_EQ(reason, "the model has no cells: 0 rows");
    // Records 1 to 6 were taken; the arrays could not be sized and keep the old ones.
    EXPECT_EQ(m.DomainWidth, 2000.0f);
    EXPECT_EQ(m.CellRowCount, 0);
    EXPECT_EQ(m.NodeCount, 0);
    EXPECT_EQ(m.YoungModulus, 210000.0);
    EXPECT_EQ(m.CellState.hi1(), 2);
    EXPECT_EQ(m.StressTarget, 12.5f);
    EXPECT_EQ(m.DomainDefined, 0);
}

TEST_F(ModelFileTest, FailuresLeaveWhatWasReadBeforeThem) {
    Model saved = sampleModel();
    SaveModel(saved, file("a.model"));
    const std::string text = readText(file("a.model"));
    auto records = lines(text);

    // The old model: another grid and other parameters, while history records.
    const auto oldModel = [] {
        Model m;
        m.DomainX2 = 100.0f;
        m.DomainY2 = 100.0f;
        BuildDomainMesh(m); // 1 by 1
        m.StressTarget = 99.0f;
        m.ViewRight = 7.0f;
        m.HistoryRecording = -1;
        return m;
    };

    {
        // Cut in the middle of the node records: line 18 keeps two of its fields.
        writeText(file("cut.model"), text.substr(0, text.find("6,-100,0") + 6));
        Model m = oldModel();
        EXPECT_EQ(openFails(m, file("cut.model")),
                  "line 18: the file ends before the node records are complete");
        EXPECT_EQ(m.DomainWidth, 1234.5f);
        EXPECT_TRUE(m.CellState == saved.CellState);
        EXPECT_EQ(m.NodeXY(5, 1), -200.0);
        EXPECT_EQ(m.NodeXY(6, 1), -100.0);
        EXPECT_EQ(m.NodeXY(6, 2), 0.0);
        EXPECT_EQ(m.NodeXY(7, 1), 0.0);
        EXPECT_EQ(m.ElementNodes.hi1(), 6); // sized for the new counts, still zero
        EXPECT_EQ(m.ElementNodes(1, 1), 0);
        EXPECT_EQ(m.StressTarget, 99.0f);
        EXPECT_EQ(m.ViewRight, 7.0f);
        EXPECT_EQ(m.DomainDefined, 0);
        EXPECT_EQ(m.HistoryRecording, -1);
    }
    {
        auto bad = records;
        bad[12] = "1,abc,-100";
        writeText(file("nan.model"), join(bad, "\r\n"));
        Model m = oldModel();
        EXPECT_EQ(openFails(m, file("nan.model")), "line 13, field 2: \"abc\" is not a number");
        EXPECT_TRUE(m.CellState == saved.CellState);
        EXPECT_EQ(m.NodeXY(1, 1), 0.0);
        EXPECT_EQ(m.StressTarget, 99.0f);
    }
    {
        auto bad = records;
        bad[1] = "40000,3";
        writeText(file("big.model"), join(bad, "\r\n"));
        Model m = oldModel();
        EXPECT_EQ(openFails(m, file("big.model")),
                  "line 2, field 1: 40000 is outside the range of a whole number (-32768 to "
                  "32767)");
        EXPECT_EQ(m.DomainWidth, 1234.5f);
        EXPECT_EQ(m.OriginFracY, 0.7f);
        EXPECT_EQ(m.CellRowCount, 1);
        EXPECT_EQ(m.CellState.hi2(), 1);
    }
}

TEST_F(ModelFileTest, RejectsFieldsThatAreNotWholeNumbers) {
    Model saved = sampleModel();
    SaveModel(saved, file("a.model"));
    const auto records = lines(readText(file("a.model")));
    const std::vector<std::pair<std::string, std::string>> cases = {
        {"1x2,100,0.3,0.7", "line 1, field 1: \"1x2\" is not a number"},
        {"1234.5,,0.3,0.7", "line 1, field 2: an empty field is not a number"},
        {"1234.5,100, ,0.7", "line 1, field 3: an empty field is not a number"},
        {"1234.5,inf,0.3,0.7", "line 1, field 2: \"inf\" is not a number"},
        {"1234.5,nan,0.3,0.7", "line 1, field 2: \"nan\" is not a number"},
        {"1234.5,0x10,0.3,0.7", "line 1, field 2: \"0x10\" is not a number"},
        {"1234.5,1e,0.3,0.7", "line 1, field 2: \"1e\" is not a number"},
        {"1234.5,.,0.3,0.7", "line 1, field 2: \".\" is not a number"},
        {"1234.5,-,0.3,0.7", "line 1, field 2: \"-\" is not a number"},
        {"1234.5,1 2,0.3,0.7", "line 1, field 2: \"1 2\" is not a number"},
        {"1E+39,100,0.3,0.7", "line 1, field 1: 1E+39 is outside the range of a "
                              "single-precision number (about -3.4E+38 to 3.4E+38)"},
    };
    for (const auto& [first, reason] : cases) {
        auto bad = records;
        bad[0] = first;
        writeText(file("bad.model"), join(bad, "\r\n"));
        Model m;
        EXPECT_EQ(openFails(m, file("bad.model")), reason);
    }
    auto bad = records;
    bad[4] = "70000,-1E+309,2.5";
    writeText(file("bad.model"), join(bad, "\r\n"));
    Model m;
    EXPECT_EQ(openFails(m, file("bad.model")),
              "line 5, field 2: -1E+309 is outside the range of a double-precision number "
              "(about -1.8E+308 to 1.8E+308)");
    EXPECT_EQ(m.YoungModulus, 70000.0);
    EXPECT_EQ(m.PoissonRatio, 0.3);
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
    const std::string inMissing = file("missing/a.model");
    try {
        SaveModel(m, inMissing);
        FAIL() << "saving into a missing directory succeeded";
    } catch (const ModelFileError& e) {
        EXPECT_STREQ(e.what(), kModelFileErrorMessage);
        EXPECT_EQ(e.reason(), "cannot create " + inMissing + ": No such file or directory");
    }
    EXPECT_EQ(m.ModelFilePath, inMissing);
    // An empty file name leaves the directory's path.
    EXPECT_THROW(SaveModel(m, dir.string() + "/"), ModelFileError);
    EXPECT_THROW(SaveModel(m, dir.string()), ModelFileError);
    EXPECT_TRUE(entries().empty());

    // Saving over an existing file replaces it.
    const std::string path = file("a.model");
    writeText(path, "old contents that are longer than nothing");
    SaveModel(m, path);
    const std::string good = readText(path);
    EXPECT_EQ(lines(good).size(), 55u);

    // A model whose arrays do not match its counts cannot be written; the old file stays.
    Model broken = sampleModel();
    broken.NodeCount = 13;
    EXPECT_THROW(SaveModel(broken, path), ModelFileError);
    EXPECT_EQ(readText(path), good);
    EXPECT_EQ(entries(), std::vector<std::string>{"a.model"});
}

TEST_F(ModelFileTest, SaveIntoAReadOnlyDirectoryKeepsTheOldFile) {
    if (::geteuid() == 0) {
        GTEST_SKIP() << "a read-only directory does not stop root";
    }
    Model m = sampleModel();
    const std::string path = file("a.model");
    SaveModel(m, path);
    const std::string good = readText(path);
    m.Epsilon = 5;
    fs::permissions(dir, fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_THROW(SaveModel(m, path), ModelFileError);
    EXPECT_EQ(readText(path), good);
}

TEST_F(ModelFileTest, OpeningRebuildsTheViewAndClosesTheHistory) {
    Model saved = sampleModel();
    saved.DomainWidth = 1000.0f;
    saved.OriginFracX = 0.5f;
    saved.OriginFracY = 0.5f;
    SaveModel(saved, file("a.model"));

    int closed = 0;
    Model m;
    m.HistoryRecording = -1;
    OpenModel(m, file("a.model"), CanvasSize{3000.0, 2000.0}, [&] { ++closed; });
    EXPECT_EQ(m.DomainHeight, 666.6667f);
    EXPECT_EQ(m.ViewRight, 500.0f);
    EXPECT_EQ(m.ViewTop, 333.33334f);
    EXPECT_EQ(m.DomainDefined, -1);
    EXPECT_EQ(closed, 1);
    EXPECT_EQ(m.HistoryRecording, 0);

    // Not recording: nothing to close.
    OpenModel(m, file("a.model"), kCanvas, [&] { ++closed; });
    EXPECT_EQ(closed, 1);
    // Recording without a way to close: the flag is still cleared.
    m.HistoryRecording = -1;
    OpenModel(m, file("a.model"), kCanvas);
    EXPECT_EQ(m.HistoryRecording, 0);
}
