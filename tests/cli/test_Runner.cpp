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
#include <tuple>
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
    const int code = Main(args, out, err);
    return {code, out.str(), err.str()};
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

class RunnerTest : public ::testing::Test {
  protected:
    void SetUp() override { fs::create_directories(dir_); }
    void TearDown() override { fs::remove_all(dir_); }
    std::string path(const char* name) const { return (dir_ / name).string(); }
    const fs::path dir_ =
        fs::temp_directory_path() / ("quillane-cli-" + std::to_string(::getpid()));
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
    EXPECT_EQ(history[5], "");
    const char* steps[] = {"0", "0", "1", "2"};
    for (int k = 0; k < 4; ++k) {
        const std::vector<std::string> record = split(history[k + 1], ",");
        ASSERT_EQ(record.size(), 4u) << history[k + 1];
        EXPECT_EQ(record[0], steps[k]);
        // The record and the printed line show the same values in the same form.
        EXPECT_EQ(record[1], field(lines[k], "max"));
        EXPECT_EQ(record[3], field(lines[k], "min"));
    }

    const std::string csv = readFile(path("cells.csv"));
    const std::vector<std::string> rows = split(csv, "\n");
    ASSERT_EQ(rows.size(), 3u * 6u + 2u); // header, 18 cells, empty tail
    EXPECT_EQ(rows[0], "row,column,state,stress,potential");
    EXPECT_EQ(csv.find('\r'), std::string::npos);
    int present = 0;
    for (int n = 0; n < 18; ++n) {
        const std::vector<std::string> f = split(rows[n + 1], ",");
        ASSERT_EQ(f.size(), 5u) << rows[n + 1];
        EXPECT_EQ(f[0] + "," + f[1], std::to_string(n / 6 + 1) + "," + std::to_string(n % 6 + 1));
        const int state = std::stoi(f[2]);
        EXPECT_TRUE(state == -3 || state == 0 || state == 1 || state == 2) << state;
        present += state > 0 ? 1 : 0;
        // Numbers in their shortest round-trip form.
        for (const std::string& text : {f[3], f[4]}) {
            double value = 0;
            const auto parsed = std::from_chars(text.data(), text.data() + text.size(), value);
            ASSERT_EQ(parsed.ec, std::errc()) << text;
            ASSERT_EQ(parsed.ptr, text.data() + text.size()) << text;
            char again[64];
            EXPECT_EQ(std::string(again, std::to_chars(again, again + 64, value).ptr), text);
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
    quillane::Model saved;
    quillane::OpenModel(saved, path("out.model"), quillane::CanvasSize{6624, 5580});
    EXPECT_EQ(saved.StressTarget, 10.0f);
    EXPECT_EQ(saved.Epsilon, 4); // 3.5 goes to the even neighbour
    EXPECT_EQ(saved.Lambda, 0.5f);
    const std::vector<std::string> rows = split(readFile(path("cells.csv")), "\n");
    ASSERT_EQ(rows.size(), 20u);
    int removed = 0;
    for (int n = 0; n < 18; ++n) {
        const int16_t state = saved.CellState(n / 6 + 1, n % 6 + 1);
        EXPECT_EQ(std::to_string(state), split(rows[n + 1], ",")[2]) << n;
        removed += state == 0 ? 1 : 0;
    }
    EXPECT_GT(removed, 0); // the steps changed the layout: not a copy of the input file
}

TEST_F(RunnerTest, FileFailuresExitWithThreeAndRunTimeFaultsWithFour) {
    const Outcome missing = run({"run", path("no-such.model")});
    EXPECT_EQ(missing.code, 3);
    EXPECT_NE(missing.err.find("ファイルを開くときにエラーが発生しました。"), std::string::npos);
    EXPECT_NE(missing.err.find("ファイルを選んでください。"), std::string::npos);
    EXPECT_NE(missing.err.find(std::strerror(ENOENT)), std::string::npos) << missing.err;
    EXPECT_EQ(missing.out, "");
    // No load divides by zero; Lambda 0 makes the starting potential 0 / 0, as in the
    // desktop; an Epsilon beyond 16 bits overflows where the dialog would.
    const std::string nowhere = path("no-dir/file");
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases = {
        {{"run", kTiny, "--history", nowhere, "--steps", "1"}, 3, nowhere},
        {{"run", kTiny, "--cells", nowhere}, 3, nowhere},
        {{"run", kTiny, "--save", nowhere}, 3, "written"},
        {{"run", kExamples + "/noload.model", "--quiet"}, 4, "No load"},
        {{"run", kTiny, "--lambda", "0"}, 4, "Lambda"},
        {{"run", kTiny, "--epsilon", "40000"}, 4, "Overflow"}};
    for (const auto& [args, code, word] : cases) {
        const Outcome o = run(args);
        EXPECT_EQ(o.code, code) << word;
        EXPECT_NE(o.err.find(word), std::string::npos) << o.err;
    }
}

TEST_F(RunnerTest, PictureIsDrawnAfterTheLastStepThroughTheWriter) {
    int calls = 0;
    quillane::cli::RunOptions seen;
    int stepsSeen = -1;
    auto writer = [&](quillane::Model& m, const quillane::cli::RunOptions& options) {
        ++calls;
        seen = options;
        stepsSeen = m.StepCount;
        return std::string();
    };
    std::ostringstream out;
    std::ostringstream err;
    const int code = Main({"run", kTiny, "--steps", "2", "--png", path("tiny.png"), "--size",
                           "320x200", "--map", "potential"},
                          out, err, writer);
    EXPECT_EQ(code, 0) << err.str();
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(stepsSeen, 2);
    EXPECT_EQ(seen.pngWidth, 320);
    EXPECT_EQ(seen.pngHeight, 200);
    EXPECT_EQ(seen.map, "potential");

    // A writer that fails, or none at all, is a file error.
    const int failed = Main({"run", kTiny, "--png", path("x.png")}, out, err,
                            [](quillane::Model&, const quillane::cli::RunOptions&) {
                                return std::string("disk full");
                            });
    EXPECT_EQ(failed, 3);
    EXPECT_NE(err.str().find("disk full"), std::string::npos);
    EXPECT_EQ(run({"run", kTiny, "--png", path("y.png")}).code, 3);
}

TEST(RunnerUsage, BadArgumentsExitWithTwo) {
    // The words of each case, M standing for the model; options belong to the command.
    for (const char* line :
         {"", "simulate M", "run", "run M M", "run M --steps", "run M --steps -1",
          "run M --steps 1.5", "run M --steps 3x", "run M --steps 99999999999", "run M --step 3",
          "run M --history", "--quiet run M", "run M --map stress", "run M --png p --map heat",
          "run M --png p --size 0x5", "run M --png p --size 80", "run M --png p --size 80x"}) {
        std::vector<std::string> args;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            args.push_back(word == "M" ? kTiny : word);
        }
        const Outcome o = run(args);
        EXPECT_EQ(o.code, 2) << line;
        EXPECT_NE(o.err.find("usage: quillane-cli run MODEL"), std::string::npos) << line;
        EXPECT_EQ(o.out, "") << line;
    }
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find("usage: quillane-cli run MODEL"), std::string::npos);
    EXPECT_EQ(run({"--version"}).out, quillane::cli::VersionText() + "\n");
}

} // namespace
