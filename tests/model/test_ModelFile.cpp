#include "model/ModelFile.h"

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <sys/stat.h>
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

// Everything opening may change is as it was.
void expectUnchanged(const Model& m, const Model& before) {
    EXPECT_EQ(std::tie(m.DomainWidth, m.ElementSize, m.OriginFracX, m.DomainHeight, m.ViewRight,
                       m.ViewTop, m.DomainX2, m.YoungModulus, m.StressTarget, m.Epsilon),
              std::tie(before.DomainWidth, before.ElementSize, before.OriginFracX,
                       before.DomainHeight, before.ViewRight, before.ViewTop, before.DomainX2,
                       before.YoungModulus, before.StressTarget, before.Epsilon));
    EXPECT_EQ(std::tie(m.CellRowCount, m.CellColumnCount, m.NodeCount, m.ElementCount,
                       m.DomainDefined, m.HistoryRecording, m.ModelFilePath),
              std::tie(before.CellRowCount, before.CellColumnCount, before.NodeCount,
                       before.ElementCount, before.DomainDefined, before.HistoryRecording,
                       before.ModelFilePath));
    EXPECT_TRUE(m.CellState == before.CellState && m.NodeXY == before.NodeXY &&
                m.ElementNodes == before.ElementNodes && m.NodeLoad == before.NodeLoad &&
                m.Potential == before.Potential && m.CellStress == before.CellStress &&
                m.NodeActive == before.NodeActive);
}

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

TEST_F(ModelFileTest, ReadsAnyLineEndAndAnyUsualNumberForm) {
    std::string fieldPerLine = text;
    std::replace(fieldPerLine.begin(), fieldPerLine.end(), ',', '\n');
    for (const auto& variant :
         {join(records, ","), fieldPerLine, join(records, "\r"), " " + join(records, " \r\n\t")}) {
        Model opened;
        OpenModel(opened, write(variant), kCanvas);
        EXPECT_EQ(resaved(opened), text);
    }
    // Integer fields take any number, rounding halves to even.
    auto forms = records;
    forms[0] = "1e3,+100.,.5,-3";
    forms[1] = "+2.0,3E+00";
    forms[4] = "7E+04,.33,2.50";
    forms[12] = "1.0,-200,-1E2";
    forms[54] = "1.25e1,2.5,5.E-2";
    Model o;
    OpenModel(o, write(join(forms, "\r\n")), kCanvas);
    records[0] = "1000,100,0.5,-3";
    records[54] = "12.5,2,0.05";
    EXPECT_EQ(resaved(o), join(records, "\r\n"));
}

TEST_F(ModelFileTest, ExtremeValuesReadBackAndWriteTheSameText) {
    // The largest Double rounded to 15 digits would lie beyond the range: it is cut.
    const double dmax = std::numeric_limits<double>::max();
    const double dtiny = std::numeric_limits<double>::denorm_min();
    const float fmax = std::numeric_limits<float>::max();
    const float ftiny = std::numeric_limits<float>::denorm_min();
    std::tie(saved.YoungModulus, saved.PoissonRatio, saved.Thickness) =
        std::tuple(dmax, -dtiny, std::nextafter(dmax, 0.0));
    std::tie(saved.NodeLoad(1, 1), saved.NodeLoad(1, 2)) =
        std::tuple(-dmax, 2.2250738585072014e-308);
    std::tie(saved.DomainWidth, saved.ElementSize, saved.OriginFracX, saved.OriginFracY) =
        std::tuple(fmax, -ftiny, std::nextafter(fmax, 0.0f), 1.17549435e-38f);
    std::tie(saved.StressTarget, saved.Lambda) = std::tuple(-fmax, ftiny);
    SaveModel(saved, file("x.model"));
    const std::string first = readText(file("x.model"));
    EXPECT_EQ(first.rfind("3.402823E+38,-1E-45,3.402823E+38,1.175494E-38\r\n", 0), 0u);
    EXPECT_NE(first.find("\r\n1.79769313486231E+308,-5E-324,1.79769313486231E+308\r\n"),
              std::string::npos);
    EXPECT_NE(first.find("\r\n1,-1.79769313486231E+308,2.2250738585072E-308\r\n"),
              std::string::npos);
    // Read back at the precision written, each value writes the same text again.
    Model opened;
    OpenModel(opened, file("x.model"), kCanvas);
    EXPECT_EQ(std::tie(opened.PoissonRatio, opened.ElementSize, opened.Lambda),
              std::tie(saved.PoissonRatio, saved.ElementSize, saved.Lambda));
    EXPECT_EQ(resaved(opened), first);
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
    const Model before = m;
    EXPECT_EQ(openFails(m, file("a.model")), "line 2, field 1: the model has no cells: 0 rows");
    expectUnchanged(m, before);
}

// Each broken file is refused with its line and field, and the model in memory is
// left exactly as it was: the old grid, parameters, view, path and history.
TEST_F(ModelFileTest, BadFilesAreRefusedWholeAndNameTheirLineAndField) {
    Model m = gridModel(1, 1, 100.0f, kCellEmpty);
    std::tie(m.DomainDefined, m.StressTarget, m.ViewRight, m.HistoryRecording, m.ModelFilePath) =
        std::tuple(int16{0}, 99.0f, 7.0f, int16{-1}, "old.model");
    m.Potential(1, 1) = 4.5;
    const Model before = m;
    const auto changed = [this](std::size_t record, const std::string& value) {
        auto r = records;
        r[record] = value;
        return join(r, "\r\n");
    };
    const std::pair<std::string, std::string> cases[] = {
        // Cut in the last load record: line 54 keeps two of its fields.
        {text.substr(0, text.find("12,1234.5678") + 12),
         "line 54: the file ends before the load records are complete"},
        {changed(0, "1x2,100,0.3,0.7"), "line 1, field 1: \"1x2\" is not a number"},
        {changed(0, "1234.5,,0.3,0.7"), "line 1, field 2: an empty field is not a number"},
        {changed(0, "1234.5,inf,0,0"), "line 1, field 2: \"inf\" is not a number"},
        {changed(0, "1E+39,100,0.3,0.7"),
         "line 1, field 1: \"1E+39\" is outside the range of a single-precision number (about "
         "-3.4E+38 to 3.4E+38)"},
        {changed(4, "70000,-1E+309,2.5"), "line 5, field 2: \"-1E+309\" is outside the range of a "
                                          "double-precision number (about -1.8E+308 to 1.8E+308)"},
        {changed(1, "40000,3"), "line 2, field 1: \"40000\" is outside the range of a whole "
                                "number (-32768 to 32767)"},
        {changed(0, std::string(5000, '7') + "x"),
         "line 1, field 1: \"7777777777777777777777777777777777777777...\" is not a number"},
        // Counts that do not make one grid the file can hold.
        {changed(1, "2,0"), "line 2, field 2: the model has no cells: 0 columns"},
        {changed(1, "16000,16000"), "line 2, field 2: a grid of 16000 by 16000 cells has "
                                    "256000000 cells and 256032001 nodes, more than a model "
                                    "can hold (32767 of each)"},
        {changed(1, "1,16383"), "line 2, field 2: a grid of 1 by 16383 cells has 16383 cells and "
                                "32768 nodes, more than a model can hold (32767 of each)"},
        {changed(5, "13,6"), "line 6, field 1: the node count 13 does not match a grid of 2 by "
                             "3 cells, which has 12 nodes"},
        {changed(5, "12,5"), "line 6, field 2: the element count 5 does not match a grid of 2 "
                             "by 3 cells, which has 6 elements"},
        {join({records[0], "100,100", records[2], records[3], records[4], "10201,10000"}, "\r\n"),
         "line 6, field 2: the file is too short for a grid of 100 by 100 cells: the records that "
         "follow need at least 303623 bytes, and 0 are left"},
        // References and running numbers.
        {changed(25, "2,2,3,13,6"),
         "line 26, field 4: node 13 of element 2 is not one of the model's nodes (1 to 12)"},
        {changed(24, "1,0,2,6,5"),
         "line 25, field 2: node 0 of element 1 is not one of the model's nodes (1 to 12)"},
        {changed(13, "1,-100,-100"), "line 14, field 1: the node record 2 is numbered 1; the "
                                     "records of a group are numbered 1, 2, 3, ... in order"},
        {changed(53, "11,1234.5678,-0.001"), "line 54, field 1: the load record 12 is numbered 11; "
                                             "the records of a group are numbered 1, 2, 3, ... in "
                                             "order"},
    };
    for (const auto& [content, reason] : cases) {
        EXPECT_EQ(openFails(m, write(content)), reason);
        expectUnchanged(m, before);
    }
    // A cut-down copy of the same grid's records opens: the counts fit the file.
    Model ok;
    OpenModel(ok, write(text), kCanvas);
    EXPECT_EQ(ok.NodeCount, 12);

    const std::string missing = file("none.model");
    EXPECT_EQ(openFails(m, missing), "cannot open " + missing + ": No such file or directory");
    EXPECT_EQ(openFails(m, dir.string() + "/"),
              "cannot read " + dir.string() + "/: Is a directory");
    // Not plain files: a pipe nobody writes to must not block, a device must not be read.
    ASSERT_EQ(::mkfifo(file("pipe").c_str(), 0600), 0);
    EXPECT_EQ(openFails(m, file("pipe")),
              "cannot read " + file("pipe") +
                  ": it is not a plain file (a device, a pipe or a socket)");
    EXPECT_EQ(openFails(m, "/dev/zero"),
              "cannot read /dev/zero: it is not a plain file (a device, a pipe or a socket)");
    // Larger than any model: refused from its size, before it is read.
    fs::resize_file(write(text), 6'000'001);
    EXPECT_EQ(openFails(m, file("t.model")), "cannot read " + file("t.model") +
                                                 ": at 6000001 bytes or more it is larger than any "
                                                 "model file can be (at most 6000000 bytes)");
    expectUnchanged(m, before);
}

TEST_F(ModelFileTest, FailedSavesKeepTheOldFileAndLeaveNoTemporary) {
    EXPECT_THROW(SaveModel(saved, file("missing/a.model")), ModelFileError);
    EXPECT_EQ(saved.ModelFilePath, file("missing/a.model"));
    saved.NodeCount = 13; // arrays that do not match the counts cannot be written
    EXPECT_THROW(SaveModel(saved, file("a.model")), ModelFileError);
    EXPECT_EQ(readText(file("a.model")), text);
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), {}), 1);
}
