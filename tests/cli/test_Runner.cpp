// End-to-end runs of the headless runner on the example models, through the same
// entry point main() uses but with string streams instead of a process.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "Runner.h"
#include "model/Model.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "support/ModelBuilders.h"

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

Outcome run(const std::vector<std::string>& args, const quillane::cli::Renderers& renderers = {}) {
    std::ostringstream out;
    std::ostringstream err;
    const int code = Main(args, out, err, renderers);
    return {code, out.str(), err.str()};
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
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
    const std::size_t from = line.find(name + "=") + name.size() + 1;
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

TEST_F(RunnerTest, RunsStepsAndWritesHistoryCellsModelAndPicture) {
    std::vector<std::tuple<int, int, int, std::string>> pictures; // steps, width, height, map
    const Outcome o = run(
        {"run", kTiny, "--steps", "3", "--history", path("h.tmp"), "--cells", path("cells.csv"),
         "--save", path("out.model"), "--epsilon", "3.5", "--lambda=0.5x", "--png", path("a.png"),
         "--size", "320x200", "--map", "potential"},
        {[&](quillane::Model& m, const quillane::cli::RunOptions& options) {
            pictures.emplace_back(m.StepCount, options.pngWidth, options.pngHeight, options.map);
            return std::string();
        }});
    ASSERT_EQ(o.code, 0) << o.err;
    EXPECT_EQ(o.err, "");
    EXPECT_EQ(pictures, (decltype(pictures){{3, 320, 200, "potential"}})); // after the last step
    const std::vector<std::string> lines = split(o.out, "\n");
    ASSERT_EQ(lines.size(), 6u) << o.out; // analysis, 3 steps, summary, empty tail
    EXPECT_EQ(lines[0].rfind("analysis  volume=", 0), 0u);
    EXPECT_EQ(lines[3].rfind("step 2  volume=", 0), 0u);
    // 3.5 goes to the even neighbour.
    EXPECT_NE(lines[4].find("Stress Target = 10MPa   Epsilon = 4   Lambda = 0.5"),
              std::string::npos);
    // Header and the analysed state, then a record per step; the first matches line 1.
    const std::vector<std::string> history = split(readFile(path("h.tmp")), "\r\n");
    ASSERT_EQ(history.size(), 6u);
    EXPECT_EQ(history[1], "0," + field(lines[0], "max") + "," + field(lines[0], "avg") + "," +
                              field(lines[0], "min"));
    // The cells file agrees with the saved model, whose layout the steps changed.
    quillane::Model saved;
    quillane::OpenModel(saved, path("out.model"), quillane::CanvasSize{6624, 5580});
    EXPECT_EQ(std::make_tuple(saved.StressTarget, saved.Epsilon, saved.Lambda),
              std::make_tuple(10.0f, int16_t{4}, 0.5f));
    const std::vector<std::string> rows = split(readFile(path("cells.csv")), "\n");
    ASSERT_EQ(rows.size(), 3u * 6u + 2u); // header, 18 cells, empty tail
    EXPECT_EQ(rows[0], "row,column,state,stress,potential");
    int present = 0;
    int removed = 0;
    for (int n = 0; n < 18; ++n) {
        const int16_t state = saved.CellState(n / 6 + 1, n % 6 + 1);
        const std::string head = std::to_string(n / 6 + 1) + "," + std::to_string(n % 6 + 1) + "," +
                                 std::to_string(state) + ",";
        EXPECT_EQ(rows[n + 1].rfind(head, 0), 0u) << rows[n + 1];
        present += state > 0 ? 1 : 0;
        removed += state == 0 ? 1 : 0;
    }
    EXPECT_GT(removed, 0);
    // Cells of 10 mm on a plate 1 mm thick: 100 mm³ per present cell.
    EXPECT_EQ(field(lines[4], "volume"), quillane::formatScientific(present * 100.0));
    EXPECT_EQ(run({"run", kTiny, "--quiet"}).out, "");
    // The tiny plate falls apart after a few steps: every solve that stopped without
    // converging is warned about and counted on the final line.
    const Outcome apart = run({"run", kTiny, "--steps", "10"});
    const std::vector<std::string> out = split(apart.out, "\n");
    ASSERT_EQ(out.size(), 13u) << apart.out;
    const std::vector<std::string> warnings = split(apart.err, "warning: ");
    EXPECT_GT(warnings.size(), 1u);
    EXPECT_EQ(field(out[11], "unconverged"), std::to_string(warnings.size() - 1)) << out[11];
    EXPECT_EQ(field(lines[4], "unconverged"), "0");
}

TEST_F(RunnerTest, FileFailuresExitWithThreeAndRunTimeFaultsWithFour) {
    // No load divides by zero; an Epsilon beyond 16 bits overflows as in the dialog.
    const std::string nowhere = path("no-dir/file");
    const std::vector<std::tuple<std::vector<std::string>, int, std::string>> cases = {
        {{"run", path("no-such.model")}, 3, std::strerror(ENOENT)},
        {{"run", kTiny, "--history", nowhere, "--steps", "1"}, 3, nowhere},
        {{"run", kTiny, "--cells", nowhere}, 3, nowhere},
        {{"run", kTiny, "--save", nowhere}, 3, "does not exist"},
        {{"run", kExamples + "/noload.model", "--quiet"}, 4, "No load"},
        {{"run", kTiny, "--png", path("a.png")}, 3, "cannot draw pictures"}};
    for (const auto& [args, code, word] : cases) {
        const Outcome o = run(args);
        EXPECT_EQ(o.code, code) << o.err;
        EXPECT_NE(o.err.find(word), std::string::npos) << o.err;
    }
    // A fault inside the program's own stores is told in plain words; its raw text
    // follows as a detail. Three elements sharing one corner overfill a row.
    quillane::Model shared = quillane::support::makePlate(1, 3);
    shared.ElementNodes(2, 1) = 1;
    shared.ElementNodes(3, 1) = 1;
    quillane::support::fixNode(shared, 8, true, true);
    quillane::support::loadNode(shared, 4, 0, -100);
    quillane::SaveModel(shared, path("shared.model"));
    const Outcome inside = run({"run", path("shared.model")});
    EXPECT_EQ(inside.code, 4);
    EXPECT_EQ(inside.err.rfind("error: run-time fault in the analysis: Subscript out of range\n"
                               "The model's cells, nodes and elements do not fit together: ",
                               0),
              0u)
        << inside.err;
    EXPECT_NE(inside.err.find("\ndetail: Equation 1 couples to more than nine"), std::string::npos)
        << inside.err;

    const Outcome failed = run({"run", kTiny, "--png", path("a.png")},
                               {[](auto&, auto&) { return std::string("disk full"); }});
    EXPECT_EQ(failed.code, 3);
    EXPECT_NE(failed.err.find("disk full"), std::string::npos);
}

TEST_F(RunnerTest, OutputsAreCheckedBeforeAnyWork) {
    const std::string model = path("m.model");
    fs::copy_file(kTiny, model);
    fs::create_symlink(model, path("link.model"));
    std::ofstream(path("ro.csv")) << "keep";
    fs::permissions(path("ro.csv"), fs::perms::owner_read);
    const std::string same = dir_.string() + "/./m.model";
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--history", model}, "the output file \"" + model + "\" is the model file being read"},
        {{"--cells", path("link.model")}, "is the model file being read"},
        {{"--save", same}, "is the model file being read"},
        {{"--cells", path("a.csv"), "--save", dir_.string() + "/a.csv"},
         "are the same file; give each output its own name"},
        {{"--save", dir_.string()}, "cannot be written: it is a folder"},
        {{"--cells", path("ro.csv")}, "cannot be written: the file is write-protected"},
        {{"--png", path("no/a.png")},
         "cannot be written: the folder " + path("no") + " does not exist"},
    };
    for (const auto& [options, why] : cases) {
        std::vector<std::string> args = {"run", model, "--steps", "1"};
        args.insert(args.end(), options.begin(), options.end());
        const Outcome o = run(args);
        EXPECT_EQ(o.code, 3) << o.err;
        EXPECT_EQ(o.out, "") << why; // not even the analysis ran
        EXPECT_EQ(o.err.rfind("error: ", 0), 0u) << o.err;
        EXPECT_NE(o.err.find(why), std::string::npos) << o.err;
    }
    EXPECT_EQ(readFile(model), readFile(kTiny));
    EXPECT_EQ(readFile(path("ro.csv")), "keep");
}

TEST_F(RunnerTest, AFullDiskKeepsTheOldFilesAndAStoppedRunKeepsItsHistory) {
    std::ofstream(path("h.txt")) << "old history";
    std::ofstream(path("c.csv")) << "old cells";
    // The file size limit stands in for a full disk.
    struct rlimit saved {};
    ::getrlimit(RLIMIT_FSIZE, &saved);
    const auto previous = std::signal(SIGXFSZ, SIG_IGN);
    struct rlimit small = saved;
    small.rlim_cur = 400;
    ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &small), 0);
    const Outcome history = run({"run", kTiny, "--steps", "30", "--history", path("h.txt")});
    const Outcome cells = run({"run", kTiny, "--cells", path("c.csv")});
    ::setrlimit(RLIMIT_FSIZE, &saved);
    std::signal(SIGXFSZ, previous);
    for (const Outcome& o : {history, cells}) {
        EXPECT_EQ(o.code, 3) << o.err;
        EXPECT_NE(o.err.find(std::strerror(EFBIG)), std::string::npos) << o.err;
    }
    EXPECT_EQ(readFile(path("h.txt")), "old history");
    EXPECT_EQ(readFile(path("c.csv")), "old cells");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir_), {}), 2);

    // A step that fails: the history up to it replaces the old file. With every cell
    // design material and Epsilon above any potential, step 0 leaves no material.
    std::string text = readFile(kTiny);
    std::size_t at = 0;
    for (int line = 0; line < 6; ++line) {
        at = text.find("\r\n", at) + 2;
    }
    for (int cell = 0; cell < 18; ++cell) {
        const std::size_t end = text.find("\r\n", at);
        text.replace(at, end - at, "1");
        at += 3;
    }
    std::ofstream(path("all.model"), std::ios::binary) << text;
    const Outcome stopped = run(
        {"run", path("all.model"), "--steps", "3", "--epsilon", "11", "--history", path("h.txt")});
    EXPECT_EQ(stopped.code, 4) << stopped.err;
    EXPECT_EQ(split(readFile(path("h.txt")), "\r\n").size(), 3u); // header, analysis, end
}

// A stream whose reader has gone, as standard output piped into "head -1" becomes.
struct ClosedOutput : std::streambuf {
    int overflow(int) override { return traits_type::eof(); }
};

TEST_F(RunnerTest, AClosedStandardOutputDoesNotStopTheRunOrItsFiles) {
    ClosedOutput closed;
    std::ostream out(&closed);
    std::ostringstream err;
    const int code = Main({"run", kTiny, "--steps", "2", "--save", path("out.model")}, out, err);
    EXPECT_EQ(code, 0);
    EXPECT_EQ(err.str(), "note: standard output was closed before the run ended; the run went "
                         "on to its end and wrote every file asked for.\n");
    quillane::Model saved;
    EXPECT_NO_THROW(quillane::OpenModel(saved, path("out.model"), quillane::CanvasSize{3, 2}));
}

TEST(RunnerUsage, BadArgumentsExitWithTwoBeforeAnyWork) {
    const std::string kUsage = "usage: quillane-cli run MODEL";
    // The words of each case, M standing for the model and O for an output file, with
    // what the message says. Nothing is written when the arguments are refused.
    const fs::path output =
        fs::temp_directory_path() / ("quillane-usage-" + std::to_string(::getpid()));
    const std::pair<const char*, const char*> cases[] = {
        {"", "no command given"},
        {"simulate M", "unknown command 'simulate'"},
        {"run", "no model file given"},
        {"run M M", "more than one model file given"},
        {"run M --steps", "option '--steps' needs a value"},
        {"run M --steps -1", "--steps needs a whole number from 0 to 32767, not '-1'"},
        {"run M --steps 3x", "not '3x'"},
        {"run M --steps 40000", "not '40000'"},
        {"run M --step 3", "unknown option '--step'"},
        {"--quiet run M", "unknown command '--quiet'"},
        {"run M --map stress", "--map draws into the picture of --png"},
        {"run M --png O --map heat", "--map needs 'stress' or 'potential', not 'heat'"},
        {"run M --png O --size 0x5", "--size needs WIDTHxHEIGHT"},
        // A forgotten value never takes the next option as a file name.
        {"run M --save --quiet", "option '--save' needs a value"},
        {"run M --history --steps 3", "option '--history' needs a value"},
        {"run M --steps 1 --steps 2", "option '--steps' is given more than once"},
        {"run M --quiet=yes", "option '--quiet' takes no value"},
        // Values their type cannot hold are refused as the dialog would overflow.
        {"run M --lambda 1e39", "--lambda '1e39' is beyond the range of a single-precision"},
        {"run M --stress-target -4e38", "--stress-target '-4e38' is beyond"},
        {"run M --epsilon 40000", "--epsilon '40000' is beyond the range of a whole number"},
        {"run M --epsilon 1e400", "--epsilon '1e400' is beyond"},
    };
    for (const auto& [line, why] : cases) {
        std::vector<std::string> args;
        std::istringstream words(line);
        for (std::string word; words >> word;) {
            args.push_back(word == "M" ? kTiny : word == "O" ? output.string() : word);
        }
        const Outcome o = run(args);
        EXPECT_EQ(o.code, 2) << line << ": " << o.err;
        EXPECT_TRUE(o.out.empty()) << line << ": " << o.err;
        EXPECT_NE(o.err.find(kUsage), std::string::npos) << line << ": " << o.err;
        EXPECT_NE(o.err.find(why), std::string::npos) << line << ": " << o.err;
    }
    EXPECT_FALSE(fs::exists(output));
    EXPECT_FALSE(fs::exists("--quiet"));
    // The value may follow an equals sign, also one that starts like an option.
    EXPECT_EQ(run({"run", kTiny, "--lambda=0.5x", "--quiet"}).code, 0);
    const Outcome help = run({"--help"});
    EXPECT_EQ(help.code, 0);
    EXPECT_NE(help.out.find(kUsage), std::string::npos);
    EXPECT_EQ(run({"--version"}).out, quillane::cli::VersionText() + "\n");
}

} // namespace
