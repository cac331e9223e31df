// End-to-end runs of the headless runner on the example models, through the same
// entry point main() uses but with string streams instead of a process.

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <csignal>

#include "Runner.h"
#include "display/Canvas.h"
#include "display/RecordingSurface.h"
#include "display/ResultMaps.h"
#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "model/Model.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "model/View.h"
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

// Renderers with one drawing of the test's own.
template <class Draw> quillane::cli::Renderers withPicture(Draw draw) {
    quillane::cli::Renderers renderers;
    renderers.picture = draw;
    return renderers;
}
template <class Draw> quillane::cli::Renderers withChart(Draw draw) {
    quillane::cli::Renderers renderers;
    renderers.chart = draw;
    return renderers;
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
        withPicture([&](quillane::Model& m, const quillane::cli::RunOptions& options) {
            pictures.emplace_back(m.StepCount, options.pngWidth, options.pngHeight, options.map);
            return std::string();
        }));
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
                               withPicture([](auto&, auto&) { return std::string("disk full"); }));
    EXPECT_EQ(failed.code, 3);
    EXPECT_NE(failed.err.find("disk full"), std::string::npos);
}

// Draws the picture as the program does, on recording surfaces: what a picture does
// to the model (the view fitted, the active nodes marked) without Qt.
std::string drawLikeThePicture(quillane::Model& m, const quillane::cli::RunOptions& options) {
    quillane::RecordingSurface canvas;
    quillane::RecordingSurface bar;
    quillane::FitView(m, options.pngWidth, options.pngHeight);
    quillane::ApplyCanvasScale(m, canvas);
    quillane::DrawCanvas(m, canvas);
    quillane::DrawStressMap(m, canvas, bar, m.MaxStress, m.MinStress, m.CellStress);
    return {};
}

TEST_F(RunnerTest, SvgShapeAndFramesEveryKSteps) {
    std::vector<std::pair<std::string, int>> frames; // file name, steps run
    std::vector<int> svgs;
    quillane::cli::Renderers renderers;
    renderers.svg = [&](quillane::Model& m, const quillane::cli::RunOptions& options) {
        svgs.push_back(m.StepCount);
        return drawLikeThePicture(m, options);
    };
    renderers.frame = [&](quillane::Model& m, const quillane::cli::RunOptions& options,
                          const std::string& file) {
        frames.emplace_back(fs::path(file).filename().string(), m.StepCount);
        std::ofstream(file) << "frame";
        return drawLikeThePicture(m, options);
    };
    const std::vector<std::string> common = {"run",     kTiny,          "--steps",   "5",
                                             "--cells", path("c.csv"),  "--history", path("h.tmp"),
                                             "--save",  path("s.model")};
    ASSERT_EQ(run(common).code, 0);
    const std::string cells = readFile(path("c.csv"));
    const std::string history = readFile(path("h.tmp"));
    std::vector<std::string> args = common;
    const std::vector<std::string> more = {
        "--frames",    path("frames/new"), "--every",     "2",     "--svg",
        path("p.svg"), "--shape",          path("s.svg"), "--map", "stress"};
    args.insert(args.end(), more.begin(), more.end());
    const Outcome o = run(args, renderers);
    ASSERT_EQ(o.code, 0) << o.err;
    // Frame 0 is the analysed state, then one every 2 steps; the folder is created.
    EXPECT_EQ(frames, (std::vector<std::pair<std::string, int>>{
                          {"frame-00000.png", 0}, {"frame-00001.png", 2}, {"frame-00002.png", 4}}));
    EXPECT_EQ(std::distance(fs::directory_iterator(path("frames/new")), fs::directory_iterator()),
              3);
    EXPECT_EQ(svgs, std::vector<int>{5});
    // Drawing the frames changes no result.
    EXPECT_EQ(readFile(path("c.csv")), cells);
    EXPECT_EQ(readFile(path("h.tmp")), history);
    // The shape is the final model's.
    quillane::Model saved;
    quillane::OpenModel(saved, path("s.model"), quillane::CanvasSize{6624, 5580});
    EXPECT_EQ(readFile(path("s.svg")), quillane::ShapeSvg(quillane::TraceShape(saved)));
    // The files of the options, the frames' folder aside.
    const auto parsed = quillane::cli::ParseArguments(args);
    ASSERT_TRUE(parsed.options);
    EXPECT_EQ(quillane::cli::OutputPaths(*parsed.options),
              (std::vector<std::string>{path("h.tmp"), path("c.csv"), path("s.model"),
                                        path("p.svg"), path("s.svg")}));
    EXPECT_EQ(quillane::cli::FrameName(32767), "frame-32767.png");

    // Outputs that cannot be written, each before or instead of the work it needs.
    std::ofstream(path("plain")) << "a file";
    const std::vector<std::tuple<std::vector<std::string>, std::string, bool>> failures = {
        {{"--frames", path("plain/frames")}, "The frames folder", false},
        {{"--shape", path("none/s.dxf")}, "s.dxf\" cannot be written: the folder", false},
        {{"--svg", path("p.svg")}, "cannot draw pictures", false},
    };
    for (const auto& [extra, message, analysed] : failures) {
        std::vector<std::string> failing = {"run", kTiny};
        failing.insert(failing.end(), extra.begin(), extra.end());
        const Outcome f =
            run(failing, extra[0] == "--svg" ? quillane::cli::Renderers{} : renderers);
        EXPECT_EQ(f.code, 3) << f.err;
        EXPECT_NE(f.err.find(message), std::string::npos) << f.err;
        EXPECT_EQ(f.out.empty(), !analysed) << f.out;
    }
    renderers.frame = [](auto&, auto&, auto&) { return std::string("no room for frames"); };
    const Outcome full = run({"run", kTiny, "--frames", path("frames")}, renderers);
    EXPECT_EQ(full.code, 3);
    EXPECT_NE(full.err.find("no room for frames"), std::string::npos);
}

TEST_F(RunnerTest, StopRulesEndTheRunEarlyAndItsOutputsAreOfThatStep) {
    // The steps' lines, the final line and the runner's own view of the run.
    const auto lines = [](const Outcome& o) { return split(o.out, "\n"); };
    const auto final = [&](const Outcome& o) { return lines(o).at(lines(o).size() - 2); };

    // Without a rule the steps run out.
    // The second step's layout is the first's: its solve is that one's.
    EXPECT_NE(
        final(run({"run", kTiny, "--steps", "2"})).find(" unconverged=0 reused=1 stopped=steps  "),
        std::string::npos);

    // The tiny plate falls apart: the first step whose solve is warned about ends it.
    const Outcome apart = run({"run", kTiny, "--steps", "10"});
    const std::string firstWarning = split(apart.err, "\n").at(0); // "warning: step 4: ..."
    ASSERT_EQ(firstWarning.rfind("warning: step ", 0), 0u) << apart.err;
    const std::string step = firstWarning.substr(14, firstWarning.find(':', 14) - 14);
    const Outcome o =
        run({"run", kTiny, "--steps", "10", "--stop-on-unconverged", "--history", path("h.tmp"),
             "--cells", path("c.csv"), "--save", path("s.model"), "--chart", path("chart.svg")},
            withChart([&](const quillane::Model& m, const quillane::cli::RunOptions& options) {
                EXPECT_EQ(m.Record.entries.size(), std::stoul(step) + 2);
                EXPECT_EQ(*options.chartPath, path("chart.svg"));
                return std::string();
            }));
    ASSERT_EQ(o.code, 0) << o.err;
    const int steps = std::stoi(step) + 1;
    EXPECT_EQ(lines(o).size(), static_cast<std::size_t>(steps) + 3); // analysis, steps, final
    EXPECT_NE(final(o).find(" steps=" + std::to_string(steps) +
                            " unconverged=1 reused=1 stopped=unconverged at=" + step +
                            "  Stress Target"),
              std::string::npos)
        << final(o);
    // Every output is of that step: the history's last record, the cells and the model.
    const std::vector<std::string> history = split(readFile(path("h.tmp")), "\r\n");
    EXPECT_EQ(history.size(), static_cast<std::size_t>(steps) + 3);
    EXPECT_EQ(history[history.size() - 2].rfind(step + ",", 0), 0u);
    quillane::Model saved;
    quillane::OpenModel(saved, path("s.model"), quillane::CanvasSize{6624, 5580});
    const std::vector<std::string> cells = split(readFile(path("c.csv")), "\n");
    for (int n = 0; n < 18; ++n) {
        EXPECT_EQ(split(cells[n + 1], ",")[2],
                  std::to_string(saved.CellState(n / 6 + 1, n % 6 + 1)));
    }
    EXPECT_NE(run({"run", kTiny, "--steps", "3", "--chart", path("c.png")})
                  .err.find("cannot draw charts"),
              std::string::npos);

    // The volume rule, whose steps the optimization layer pins; and the MBB beam, in
    // which no cell changes from step 32 on: ten steady steps end at step 41.
    EXPECT_NE(final(run({"run", kTiny, "--steps", "9", "--min-volume-ratio", "0.99"}))
                  .find(" stopped=volume at=1  "), // 1500 of 1800 mm³
              std::string::npos);
    // The steps without a change reuse the solve before them; without reuse every
    // step solves, to the same results.
    const std::string mbb = kExamples + "/mbb.model";
    std::vector<std::string> outputs;
    for (const auto& [reuse, fields] :
         {std::pair{"", " steps=42 unconverged=0 reused=16 stopped=steady at=41  "},
          {"--no-reuse", " steps=42 unconverged=0 reused=0 stopped=steady at=41  "}}) {
        std::vector<std::string> args = {
            "run", mbb,         "--steps",     "1000",    "--until-steady",
            "10",  "--history", path("h.tmp"), "--cells", path("c.csv")};
        if (*reuse != '\0') {
            args.emplace_back(reuse);
        }
        const Outcome steady = run(args);
        EXPECT_NE(final(steady).find(fields), std::string::npos) << final(steady);
        outputs.push_back(readFile(path("h.tmp")) + readFile(path("c.csv")));
    }
    EXPECT_EQ(outputs[0], outputs[1]);
    quillane::cli::RunOptions options;
    options.chartPath = "c.svg";
    EXPECT_EQ(quillane::cli::OutputPaths(options), std::vector<std::string>{"c.svg"});
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
        text = text.substr(0, at) + "1" + text.substr(end); // (replace() trips GCC 12's -Wrestrict)
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
        {"run M --every 2", "--every sets the steps between the frames of --frames"},
        {"run M --frames O --every 0", "--every needs a whole number of steps from 1 to 32767"},
        {"run M --frames", "option '--frames' needs a value"},
        {"run M --shape O.obj", "--shape needs a file name ending in .svg, .dxf or .stl"},
        {"run M --shape O", "--shape needs a file name ending in .svg, .dxf or .stl"},
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
        // The stop rules and the chart.
        {"run M --steps 5 --until-steady 0", "--until-steady needs a whole number of steps"},
        {"run M --steps 5 --until-steady 2.5", "from 1 to 32767, not '2.5'"},
        {"run M --steps 5 --min-volume-ratio 1", "--min-volume-ratio needs a number between 0 "
                                                 "and 1 (both excluded), not '1'"},
        {"run M --steps 5 --min-volume-ratio 0", "not '0'"},
        {"run M --steps 5 --min-volume-ratio 0.5x", "not '0.5x'"},
        {"run M --steps 5 --min-volume-ratio nan", "not 'nan'"},
        {"run M --steps 5 --stop-on-unconverged=yes", "option '--stop-on-unconverged' takes no "
                                                      "value"},
        {"run M --until-steady 10", "the stop rules end a run of --steps N steps early"},
        {"run M --steps 0 --stop-on-unconverged", "give --steps N (1 to 32767)"},
        {"run M --chart O", "--chart needs a file name ending in .png or .svg"},
        {"run M --chart chart.jpg", "not 'chart.jpg'"},
        {"run M --chart .svg", "not '.svg'"},
        {"run M --threads 0", "--threads needs a whole number from 1 to 64, not '0'"},
        {"run M --threads 65", "not '65'"},
        {"run M --threads two", "not 'two'"},
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

TEST(RunnerThreads, AnInvalidEnvironmentCountIsIgnoredWithAWarning) {
    ::setenv("QUILLANE_THREADS", "0", 1);
    const Outcome ignored = run({"run", kTiny, "--quiet"});
    const Outcome given = run({"run", kTiny, "--quiet", "--threads", "2"});
    ::unsetenv("QUILLANE_THREADS");
    EXPECT_EQ(ignored.code, 0);
    EXPECT_NE(ignored.err.find("warning: QUILLANE_THREADS=\"0\" is not a thread count from 1 to "
                               "64; it is ignored"),
              std::string::npos)
        << ignored.err;
    EXPECT_EQ(given.code, 0); // --threads wins, so the variable is not read
    EXPECT_TRUE(given.err.empty()) << given.err;
}

} // namespace
