#include "model/ModelFile.h"

#include <algorithm>
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

using namespace quillane;
namespace fs = std::filesystem;

namespace {

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::string join(const std::vector<std::string>& records, const std::string& sep) {
    std::string out;
    for (const auto& r : records) {
        out += r + sep;
    }
    return out;
}

// A grid of rows x columns cells of `size` with its lower-left corner at (x0, y0),
// every cell `code`, numbered as the domain set-up numbers it: nodes row by row from
// the lower left, elements counter-clockwise from their lower-left node.
Model gridModel(int rows, int columns, float size, int16 code, float x0 = 0.0f, float y0 = 0.0f) {
    Model m;
    m.ElementSize = size;
    std::tie(m.DomainX1, m.DomainY1) = std::tuple(x0, y0);
    m.DomainX2 = x0 + static_cast<float>(columns) * size;
    m.DomainY2 = y0 + static_cast<float>(rows) * size;
    m.CellRowCount = static_cast<int16>(rows);
    m.CellColumnCount = static_cast<int16>(columns);
    m.NodeCount = static_cast<int16>((rows + 1) * (columns + 1));
    m.ElementCount = static_cast<int16>(rows * columns);
    SizeGridArrays(m);
    for (int i = 1; i <= rows + 1; ++i) {
        for (int j = 1; j <= columns + 1; ++j) {
            const int k = (columns + 1) * (i - 1) + j;
            m.NodeXY(k, 1) = x0 + static_cast<float>(j - 1) * size;
            m.NodeXY(k, 2) = y0 + static_cast<float>(i - 1) * size;
        }
    }
    for (int i = 1; i <= rows; ++i) {
        for (int j = 1; j <= columns; ++j) {
            const int e = (i - 1) * columns + j;
            const int n0 = (columns + 1) * (i - 1) + j;
            const int corners[] = {n0, n0 + 1, n0 + columns + 2, n0 + columns + 1};
            for (int c = 0; c < 4; ++c) {
                m.ElementNodes(e, c + 1) = static_cast<int16>(corners[c]);
            }
            m.CellState(i, j) = code;
        }
    }
    m.DomainDefined = -1;
    return m;
}

// 3 columns by 2 rows with every kind of cell, a few supports and loads, and values
// that need all their digits.
Model sampleModel() {
    Model m = gridModel(2, 3, 100.0f, kCellDesign, -200.0f, -100.0f);
    m.DomainDefined = 0;
    std::tie(m.DomainWidth, m.OriginFracX, m.OriginFracY) = std::tuple(1234.5f, 0.3f, 0.7f);
    const int16 states[] = {1, 2, -3, 0, 1, 2};
    for (int c = 0; c < 6; ++c) {
        m.CellState(c / 3 + 1, c % 3 + 1) = states[c];
    }
    std::tie(m.NodeFreedom(1, 1), m.NodeFreedom(1, 2)) = std::tuple(int16{1}, int16{1});
    m.NodeFreedom(4, 2) = -1;
    std::tie(m.NodeLoad(12, 1), m.NodeLoad(12, 2)) = std::tuple(1234.5678, -0.001);
    m.NodeLoad(7, 2) = 1.0 / 3.0;
    std::tie(m.YoungModulus, m.PoissonRatio, m.Thickness) = std::tuple(70000.0, 0.33, 2.5);
    // 1/3 needs more than 7 digits: it comes back at single precision
    std::tie(m.StressTarget, m.Epsilon, m.Lambda) = std::tuple(1.0f / 3.0f, int16{3}, 0.1f);
    return m;
}

const CanvasSize kCanvas{3.0, 2.0};

std::string openFails(Model& m, const std::string& path) {
    try {
        OpenModel(m, path, kCanvas);
    } catch (const ModelFileError& e) {
        EXPECT_STREQ(e.what(),
                     "ファイルを開くときにエラーが発生しました。\r\nファイルを選んでください。");
        return e.reason();
    }
    ADD_FAILURE() << "opening " << path << " did not fail";
    return {};
}

// A fresh directory (each test runs in its own process) holding the sample model
// saved as a.model.
class ModelFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        fs::create_directories(dir);
        SaveModel(saved, file("a.model"));
        text = readText(file("a.model"));
        for (std::size_t at = 0, end; (end = text.find("\r\n", at)) != std::string::npos;
             at = end + 2) {
            records.push_back(text.substr(at, end - at));
        }
        ASSERT_EQ(join(records, "\r\n"), text); // every line ends in CR LF
    }
    void TearDown() override { fs::remove_all(dir); }
    std::string file(const std::string& name) const { return (dir / name).string(); }
    std::string write(const std::string& content) const {
        std::ofstream(file("t.model"), std::ios::binary) << content;
        return file("t.model");
    }
    // What saving `m` writes: the original text exactly when every value read back.
    std::string resaved(Model& m) const {
        SaveModel(m, file("again.model"));
        return readText(file("again.model"));
    }
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-modelfile-" + std::to_string(::getpid()));
    Model saved = sampleModel();
    std::string text;
    std::vector<std::string> records;
};

} // namespace

TEST_F(ModelFileTest, SaveAndReopenGivesEveryValueBack) {
    ASSERT_EQ(records.size(), 6u + 2 * 3 + 3 * 12 + 6 + 1);
    const std::vector<std::string> head(records.begin(), records.begin() + 12);
    EXPECT_EQ(head,
              (std::vector<std::string>{"1234.5,100,0.3,0.7", "2,3", "-200,-100", "100,100",
                                        "70000,0.33,2.5", "12,6", "1", "2", "-3", "0", "1", "2"}));
    // Free and unloaded nodes still get their k,0,0 records.
    std::vector<std::string> picked;
    for (int index : {12, 24, 30, 31, 33, 42, 48, 53, 54}) {
        picked.push_back(records[index]);
    }
    EXPECT_EQ(picked, (std::vector<std::string>{"1,-200,-100", "1,1,2,6,5", "1,1,1", "2,0,0",
                                                "4,0,-1", "1,0,0", "7,0,0.333333333333333",
                                                "12,1234.5678,-0.001", "0.3333333,3,0.1"}));
    Model opened;
    opened.NodeCount = 99;
    OpenModel(opened, file("a.model"), kCanvas);
    EXPECT_EQ(opened.ModelFilePath, file("a.model"));
    EXPECT_EQ(opened.DomainDefined, -1);
    // Derived and result arrays come back zero-filled at their full size.
    EXPECT_TRUE(opened.NodeActive == Array1<int16>("NodeActive", 0, 12));
    EXPECT_TRUE(opened.DofNumber == (Array2<int16>("DofNumber", 0, 12, 1, 2)));
    EXPECT_TRUE(opened.ElementDofs == (Array2<int16>("ElementDofs", 0, 6, 1, 8)));
    EXPECT_TRUE(opened.NodeDisp == (Array2<double>("NodeDisp", 0, 12, 1, 2)));
    EXPECT_TRUE(opened.Potential == (Array2<double>("Potential", 1, 2, 1, 3)));
    EXPECT_TRUE(opened.CellStress == (Array2<double>("CellStress", 0, 3, 0, 4)));
    EXPECT_EQ(resaved(opened), text);
}

TEST_F(ModelFileTest, ReadsRenumberedRecordsAnyLineEndAndAnyUsualNumberForm) {
    auto renumbered = records;
    for (std::size_t r = 12; r < renumbered.size() - 1; ++r) {
        renumbered[r].replace(0, renumbered[r].find(','), "1");
    }
    std::string fieldPerLine = text;
    std::replace(fieldPerLine.begin(), fieldPerLine.end(), ',', '\n');
    for (const auto& variant : {join(renumbered, "\r\n"), join(records, ","), fieldPerLine,
                                join(records, "\r"), " " + join(records, " \r\n\t")}) {
        Model opened;
        OpenModel(opened, write(variant), kCanvas);
        EXPECT_EQ(resaved(opened), text);
    }
    // Integer fields take any number, rounding halves to even.
    auto forms = records;
    forms[0] = "1e3,+100.,.5,-3";
    forms[1] = "+2.0,3E+00";
    forms[4] = "7E+04,.33,2.50";
    forms[54] = "1.25e1,2.5,5.E-2";
    Model o;
    OpenModel(o, write(join(forms, "\r\n")), kCanvas);
    records[0] = "1000,100,0.5,-3";
    records[54] = "12.5,2,0.05";
    EXPECT_EQ(resaved(o), join(records, "\r\n"));
}

TEST_F(ModelFileTest, OpeningRebuildsTheViewForTheCanvas) {
    std::tie(saved.DomainWidth, saved.OriginFracX, saved.OriginFracY) =
        std::tuple(1000.0f, 0.5f, 0.5f);
    SaveModel(saved, file("b.model"));
    Model m;
    OpenModel(m, file("b.model"), CanvasSize{3000.0, 2000.0});
    EXPECT_EQ(std::make_tuple(m.DomainHeight, m.ViewRight, m.ViewTop),
              std::make_tuple(666.6667f, 500.0f, 333.33334f));
}

TEST_F(ModelFileTest, ModelWithoutDomainSavesInSevenLinesButCannotBeOpened) {
    Model m;
    SaveModel(m, file("a.model")); // over the longer file
    EXPECT_EQ(readText(file("a.model")),
              "2000,100,0.5,0.5\r\n0,0\r\n0,0\r\n0,0\r\n210000,0.3,1\r\n0,0\r\n0,1,0.05\r\n");
    m = sampleModel();
    EXPECT_EQ(openFails(m, file("a.model")), "the model has no cells: 0 rows");
    // Records 1 to 6 were taken; the arrays could not be sized and keep the old ones.
    EXPECT_EQ(std::make_tuple(m.DomainWidth, m.CellRowCount, m.NodeCount, m.YoungModulus,
                              m.CellState.hi1(), m.DomainDefined),
              std::make_tuple(2000.0f, int16{0}, int16{0}, 210000.0, 2, int16{0}));
}

TEST_F(ModelFileTest, FailedOpensLeaveWhatWasReadBeforeThem) {
    // The old model: another grid and other parameters, while history records.
    Model m = gridModel(1, 1, 100.0f, kCellEmpty);
    std::tie(m.DomainDefined, m.StressTarget, m.ViewRight, m.HistoryRecording) =
        std::tuple(int16{0}, 99.0f, 7.0f, int16{-1});
    // Cut in the middle of the node records: line 18 keeps two of its fields.
    EXPECT_EQ(openFails(m, write(text.substr(0, text.find("6,-100,0") + 6))),
              "line 18: the file ends before the node records are complete");
    EXPECT_EQ(m.DomainWidth, 1234.5f);
    EXPECT_TRUE(m.CellState == saved.CellState);
    // Arrays sized for the new counts; what was not read is still zero.
    EXPECT_EQ(std::make_tuple(m.NodeXY(5, 1), m.NodeXY(6, 1), m.NodeXY(6, 2), m.NodeXY(7, 1),
                              m.ElementNodes.hi1(), m.ElementNodes(1, 1)),
              std::make_tuple(-200.0, -100.0, 0.0, 0.0, 6, int16{0}));
    EXPECT_EQ(std::make_tuple(m.StressTarget, m.ViewRight, m.DomainDefined, m.HistoryRecording),
              std::make_tuple(99.0f, 7.0f, int16{0}, int16{-1}));

    const std::pair<std::size_t, const char*> bad[] = {
        {0, "1x2,100,0.3,0.7"},   {0, "1234.5,,0.3,0.7"},   {0, "1234.5,inf,0,0"},
        {0, "1E+39,100,0.3,0.7"}, {4, "70000,-1E+309,2.5"}, {1, "40000,3"}};
    for (const auto& [record, field] : bad) {
        auto changed = records;
        changed[record] = field;
        const std::string where = "line " + std::to_string(record + 1) + ", field ";
        EXPECT_EQ(openFails(m, write(join(changed, "\r\n"))).rfind(where, 0), 0u) << field;
    }
    const std::string missing = file("none.model");
    EXPECT_EQ(openFails(m, missing), "cannot open " + missing + ": No such file or directory");
    EXPECT_EQ(openFails(m, dir.string() + "/"),
              "cannot read " + dir.string() + "/: Is a directory");
}

TEST_F(ModelFileTest, FailedSavesKeepTheOldFileAndLeaveNoTemporary) {
    EXPECT_THROW(SaveModel(saved, file("missing/a.model")), ModelFileError);
    EXPECT_EQ(saved.ModelFilePath, file("missing/a.model"));
    saved.NodeCount = 13; // arrays that do not match the counts cannot be written
    EXPECT_THROW(SaveModel(saved, file("a.model")), ModelFileError);
    EXPECT_EQ(readText(file("a.model")), text);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 1);
}
