// End-to-end runs of the headless runner on the small example models, through the
// same entry point main() uses but with string streams instead of a process.

#include <gtest/gtest.h>

#include <cerrno>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include <unistd.h>

#include "Runner.h"
#include "model/Model.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"

namespace {

namespace fs = std::filesystem;
using quillane::cli::Main;

const std::string kExamples = QUILLANE_EXAMPLES_DIR;
const std::string kTiny = kExamples + "/tiny.model";

struct Outcome {
    int code = -1;
    std::string out;
    std::string err;
};

Outcome run(const std::vector<std::string>& args) {
    std::ostringstream out;
    std::ostringstream err;
    Outcome o;
    o.code = Main(args, out, err);
    o.out = out.str();
    o.err = err.str();
    return o;
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream s;
    s << in.rdbuf();
    return s.str();
}

std::vector<std::string> split(const std::string& text, const std::string& separator) {
    std::vector<std::string> parts;
    std::size_t from = 0;
    for (std::size_t at; (at = text.find(separator, from)) != std::string::npos;) {
        parts.push_back(text.substr(from, at - from));
        from = at + separator.size();
    }
    parts.push_back(text.substr(from));
    return parts;
}

// The value after "name=" on a line of the runner's output.
std::string field(const std::string& line, const std::string& name) {
    const std::size_t at = line.find(name + "=");
    if (at == std::string::npos) {
        return {};
    }
    const std::size_t from = at + name.size() + 1;
    return line.substr(from, line.find(' ', from) - from);
}

quillane::Model openModel(const fs::path& path) {
    quillane::Model m;
    quillane::OpenModel(m, path.string(), quillane::CanvasSize{6624, 5580});
    return m;
}

class RunnerTest : public ::testing::Test {
  protected:
    void SetUp() override {
        const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
        dir_ = fs::temp_directory_path() /
               ("quillane-cli-" + std::to_string(::getpid()) + "-" + info->name());
        fs::create_directories(dir_);
    }
    void TearDown() override { fs::remove_all(dir_); }
    std::string path(const char* name) const { return (dir_ / name).string(); }

    fs::path dir_;
};

TEST_F(RunnerTest, RunsStepsAndWritesHistoryAndCells) {
    const Outcome o = run(
        {"run", kTiny, "--steps", "3", "--history", path("h.tmp"), "--cells", path("cells.csv")});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.err, "");

    const std::vector<std::string> lines = split(o.out, "\n");
    ASSERT_EQ(lines.size(), 6u) << o.out; // analysis, 3 steps, summary, empty tail
    EXPECT_EQ(lines[0].rfind("analysis  volume=", 0), 0u);
    EXPECT_EQ(lines[1].rfind("step 0  volume=", 0), 0u);
    EXPECT_EQ(lines[3].rfind("step 2  volume=", 0), 0u);
    EXPECT_NE(lines[4].find("Stress Target = 10MPa   Epsilon = 3   Lambda = 0.5"),
              std::string::npos);

    // Header, the analysed state, then one record per step, numbered before the increment.
    const std::vector<std::string> history = split(readFile(path("h.tmp")), "\r\n");
    ASSERT_EQ(history.size(), 6u);
    EXPECT_EQ(history[0], "Iteration, Max, Avg, Min");
    const char* steps[] = {"0", "0", "1", "2"};
    for (int k = 0; k < 4; ++k) {
        const std::vector<std::string> record = split(history[k + 1], ",");
        ASSERT_EQ(record.size(), 4u) << history[k + 1];
        EXPECT_EQ(record[0], steps[k]);
        // The record and the printed line show the same maximum in the same form.
        EXPECT_EQ(record[1], field(lines[k], "max"));
        EXPECT_EQ(record[3], field(lines[k], "min"));
    }
    EXPECT_EQ(history[5], "");

    const std::string csv = readFile(path("cells.csv"));
    const std::vector<std::string> rows = split(csv, "\n");
    ASSERT_EQ(rows.size(), 3u * 6u + 2u); // header, 18 cells, empty tail
    EXPECT_EQ(rows[0], "row,column,state,stress,potential");
    EXPECT_EQ(csv.find('\r'), std::string::npos);
    int present = 0;
    for (int n = 0; n < 18; ++n) {
        const std::vector<std::string> f = split(rows[n + 1], ",");
        ASSERT_EQ(f.size(), 5u) << rows[n + 1];
        EXPECT_EQ(f[0], std::to_string(n / 6 + 1));
        EXPECT_EQ(f[1], std::to_string(n % 6 + 1));
        const int state = std::stoi(f[2]);
        EXPECT_TRUE(state == -3 || state == 0 || state == 1 || state == 2) << state;
        present += state > 0 ? 1 : 0;
        for (const std::string& text : {f[3], f[4]}) {
            double value = 0;
            const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
            ASSERT_EQ(parsed.ec, std::errc()) << text;
            ASSERT_EQ(parsed.ptr, text.data() + text.size()) << text;
            char again[64];
            const auto written = std::to_chars(again, again + sizeof again, value);
            EXPECT_EQ(std::string(again, written.ptr), text);
        }
    }
    // Cells of 10 mm on a plate 1 mm thick: 100 mm³ per present cell.
    EXPECT_EQ(field(lines[4], "volume"), quillane::formatScientific(present * 100.0));
}

TEST_F(RunnerTest, SavedModelHoldsTheFinalLayoutAndTheOverrides) {
    const Outcome ok = run({"run", "--steps=2", kTiny, "--quiet", "--save", path("out.model"),
                            "--cells", path("cells.csv"), "--epsilon", "3.5", "--lambda=0.5x"});
    ASSERT_EQ(ok.code, 0) << ok.err;
    EXPECT_EQ(ok.out, "");

    const quillane::Model saved = openModel(path("out.model"));
    EXPECT_EQ(saved.StressTarget, 10.0f);
    EXPECT_EQ(saved.Epsilon, 4); // 3.5 goes to the even neighbour
    EXPECT_EQ(saved.Lambda, 0.5f);

    const std::vector<std::string> rows = split(readFile(path("cells.csv")), "\n");
    ASSERT_EQ(rows.size(), 20u);
    int removed = 0;
    for (int i = 1; i <= saved.CellRowCount; ++i) {
        for (int j = 1; j <= saved.CellColumnCount; ++j) {
            const std::vector<std::string> f = split(rows[(i - 1) * 6 + j], ",");
            EXPECT_EQ(std::to_string(saved.CellState(i, j)), f[2]) << i << "," << j;
            removed += saved.CellState(i, j) == 0 ? 1 : 0;
        }
    }
    // The steps changed the layout, so the comparison above is not of the input file.
    EXPECT_GT(removed, 0);
}

TEST_F(RunnerTest, FileFailuresExitWithThree) {
    const Outcome missing = run({"run", path("no-such.model")});
    EXPECT_EQ(missing.code, 3);
    EXPECT_NE(missing.err.find("ファイルを開くときにエラーが発生しました。"), std::string::npos);
    EXPECT_NE(missing.err.find("ファイルを選んでください。"), std::string::npos);
    EXPECT_NE(missing.err.find(std::strerror(ENOENT)), std::string::npos) << missing.err;
    EXPECT_EQ(missing.out, "");

    const std::string nowhere = path("no-dir/file");
    const Outcome history = run({"run", kTiny, "--history", nowhere, "--steps", "1"});
    EXPECT_EQ(history.code, 3);
    EXPECT_NE(history.err.find(nowhere), std::string::npos) << history.err;

    const Outcome cells = run({"run", kTiny, "--cells", nowhere});
    EXPECT_EQ(cells.code, 3);
    EXPECT_NE(cells.err.find(nowhere), std::string::npos) << cells.err;

    const Outcome save = run({"run", kTiny, "--save", nowhere});
    EXPECT_EQ(save.code, 3);
    EXPECT_NE(save.err.find("ファイルを選んでください。"), std::string::npos);
    EXPECT_NE(save.err.find("written"), std::string::npos) << save.err;
}

TEST_F(RunnerTest, RunTimeFaultsExitWithFour) {
    const Outcome noload = run({"run", kExamples + "/noload.model", "--quiet"});
    EXPECT_EQ(noload.code, 4);
    EXPECT_NE(noload.err.find("No load"), std::string::npos) << noload.err;
    EXPECT_NE(noload.err.find("Division by zero"), std::string::npos) << noload.err;

    // Lambda 0 makes the starting potential 0 / 0, as in the desktop.
    const Outcome lambda = run({"run", kTiny, "--lambda", "0"});
    EXPECT_EQ(lambda.code, 4);
    EXPECT_NE(lambda.err.find("Lambda"), std::string::npos) << lambda.err;

    // An Epsilon beyond 16 bits overflows where the dialog would.
    const Outcome epsilon = run({"run", kTiny, "--epsilon", "40000"});
    EXPECT_EQ(epsilon.code, 4);
    EXPECT_NE(epsilon.err.find("Overflow"), std::string::npos) << epsilon.err;
}

TEST(RunnerUsage, BadArgumentsExitWithTwo) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"simulate", kTiny},
        {"run"},
        {"run", kTiny, kTiny},
        {"run", kTiny, "--steps"},
        {"run", kTiny, "--steps", "-1"},
        {"run", kTiny, "--steps", "1.5"},
        {"run", kTiny, "--steps", "3x"},
        {"run", kTiny, "--steps", "99999999999"},
        {"run", kTiny, "--step", "3"},
        {"run", kTiny, "--history"},
        {"--quiet", "run", kTiny}, // options belong to the command
    };
    for (const auto& args : cases) {
        const Outcome o = run(args);
        std::string shown;
        for (const auto& a : args) {
            shown += a + " ";
        }
        EXPECT_EQ(o.code, 2) << shown;
        EXPECT_NE(o.err.find("usage: quillane-cli run MODEL"), std::string::npos) << shown;
        EXPECT_EQ(o.out, "") << shown;
    }
}

TEST(RunnerUsage, HelpAndVersion) {
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("usage: quillane-cli run MODEL"), std::string::npos);
    EXPECT_EQ(help.err, "");

    const Outcome version = run({"--version"});
    EXPECT_EQ(version.code, 0);
    EXPECT_EQ(version.out, quillane::cli::VersionText() + "\n");
    EXPECT_EQ(version.out.rfind("quillane-cli ", 0), 0u);
    EXPECT_GT(version.out.size(), std::string("quillane-cli \n").size());
}

} // namespace
