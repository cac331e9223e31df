#include "Runner.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "display/ColorScale.h"
#include "display/Layout.h"
#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/Model.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "model/SafeFile.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"
#include "optimize/Parameters.h"
#include "optimize/StopRules.h"

#include <unistd.h>

#ifndef QUILLANE_VERSION
#define QUILLANE_VERSION "unknown"
#endif

namespace quillane::cli {

namespace {

constexpr const char* kProgram = "quillane-cli";

// The cells file or another output of the runner could not be written.
class OutputFileError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Shortest text that reads back to the same double.
std::string roundTrip(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return std::string(buffer, result.ptr);
}

// The model file message holds a CR LF for the message box; on a terminal a plain
// line break reads better.
std::string terminalLines(std::string text) {
    for (std::size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) {
        text.replace(at, 2, "\n");
    }
    return text;
}

// "volume=1.28E+05 max=123.456 avg=45.6 min=0.123 iterations=44": the volume in the
// status label's "0.00E+00" form, so it reads as the desktop shows it; the stresses
// in their shortest general form, as the history file holds them.
std::string resultFields(const Model& m, const AnalysisReport& report) {
    return "volume=" + formatScientific(m.Volume) + " max=" + formatGeneral(m.MaxStress) +
           " avg=" + formatGeneral(m.AvgStress) + " min=" + formatGeneral(m.MinStress) +
           " iterations=" + std::to_string(report.solver.iterations);
}

void warnIfNotConverged(const AnalysisReport& report, const std::string& stage, std::ostream& err) {
    if (!report.solver.converged) {
        err << "warning: " << stage << ": the solver stopped after " << report.solver.iterations
            << " iterations without reaching the tolerance (residual ratio "
            << formatScientific(report.solver.residualRatio) << ")\n";
    }
}

void writeCells(const Model& m, const std::string& path) {
    std::string text = "row,column,state,stress,potential\n";
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            text += std::to_string(i) + ',' + std::to_string(j) + ',' +
                    std::to_string(m.CellState(i, j)) + ',' + roundTrip(m.CellStress(i, j)) + ',' +
                    roundTrip(m.Potential(i, j)) + '\n';
        }
    }
    try {
        WriteFileReplacing(path, text);
    } catch (const FileWriteError& error) {
        throw OutputFileError(std::string("The cells file could not be written: ") + error.what() +
                              ".");
    }
}

// The folder of --frames, created if missing; checked before any work so that a run
// does not end in a folder it cannot write to.
void prepareFrames(const RunOptions& options, const Renderers& renderers) {
    if (!options.framesDir) {
        return;
    }
    if (!renderers.frame) {
        throw OutputFileError("This build of the runner cannot draw pictures.");
    }
    const std::string& dir = *options.framesDir;
    std::error_code error;
    std::filesystem::create_directories(dir, error);
    if (!error && !std::filesystem::is_directory(dir, error)) {
        error = std::make_error_code(std::errc::not_a_directory);
    }
    if (!error && ::access(dir.c_str(), W_OK | X_OK) != 0) {
        error = std::error_code(errno, std::generic_category());
    }
    if (error) {
        throw OutputFileError("The frames folder \"" + dir +
                              "\" cannot be created or written to: " + error.message() + ".");
    }
}

// Frame `steps / every` after `steps` steps, when that is a whole number.
void writeFrame(Model& m, const RunOptions& options, const Renderers& renderers, int steps) {
    const int every = options.every.value_or(1);
    if (!options.framesDir || steps % every != 0) {
        return;
    }
    const std::string path =
        (std::filesystem::path(*options.framesDir) / FrameName(steps / every)).string();
    if (const std::string problem = renderers.frame(m, options, path); !problem.empty()) {
        throw OutputFileError(problem);
    }
}

// The outline of the material as it stands after the last step.
void writeShape(const Model& m, const std::string& path) {
    const Shape shape = TraceShape(m);
    try {
        WriteShapeFile(shape, m.Thickness, path);
    } catch (const ShapeExportError& e) {
        throw OutputFileError("The shape file \"" + path + "\" was not written: " + e.what());
    } catch (const FileWriteError& e) {
        throw OutputFileError("The shape file cannot be written: " + std::string(e.what()) + ".");
    }
}

// Every output can be written, none of them is the model being read, and no two are
// the same file: checked before any work, so a bad path is not found after the steps.
std::string outputProblem(const RunOptions& options) {
    const std::vector<std::string> paths = OutputPaths(options);
    for (std::size_t k = 0; k < paths.size(); ++k) {
        const std::string& path = paths[k];
        if (SameFile(path, options.modelPath)) {
            return "the output file \"" + path + "\" is the model file being read; choose " +
                   "another name for it";
        }
        for (std::size_t earlier = 0; earlier < k; ++earlier) {
            if (SameFile(path, paths[earlier])) {
                return "the output files \"" + paths[earlier] + "\" and \"" + path +
                       "\" are the same file; give each output its own name";
            }
        }
        if (const std::string why = WriteProblem(path); !why.empty()) {
            std::string problem = "the output file \"" + path + "\" cannot be written: ";
            problem += why;
            return problem;
        }
    }
    return {};
}

// The closing line: "final  volume=6.92E+04 steps=300 unconverged=0 reused=12
// stopped=steps  Stress Target = ...".
struct Summary {
    int steps = 0;       // steps run
    int unconverged = 0; // solves (analysis and steps) that stopped without converging
    int reused = 0;      // steps whose system was the last one solved, so none ran
    std::optional<StopReason> stopped; // the rule that ended the steps, if one did
};

// "stopped=steps" when the steps ran out (or none were asked for); otherwise the
// rule and the step after which it fired, "stopped=steady at=57", each a name=value
// field like the rest of the line.
std::string stoppedFields(const Summary& summary) {
    if (!summary.stopped) {
        return "stopped=steps";
    }
    const char* name = "steps";
    switch (summary.stopped->rule) {
    case StopRule::Steady:
        name = "steady";
        break;
    case StopRule::Volume:
        name = "volume";
        break;
    case StopRule::Unconverged:
        name = "unconverged";
        break;
    case StopRule::Steps:
        break;
    }
    return std::string("stopped=") + name + " at=" + std::to_string(summary.stopped->step);
}

std::string finalLine(const Model& m, const Summary& summary) {
    return "final  volume=" + formatScientific(m.Volume) +
           " steps=" + std::to_string(summary.steps) +
           " unconverged=" + std::to_string(summary.unconverged) +
           " reused=" + std::to_string(summary.reused) + " " + stoppedFields(summary) + "  " +
           ParameterStatusText(m);
}

// Everything after the options are known. `stage` always names the work in hand, so
// a fault can say where it happened.
int runModel(const RunOptions& options, std::ostream& out, std::ostream& err, std::string& stage,
             const Renderers& renderers) {
    stage = "checking the output files";
    if (const std::string problem = outputProblem(options); !problem.empty()) {
        throw OutputFileError(problem + ".");
    }

    Model m;
    if (options.threads) {
        m.Threads.set(*options.threads);
    } else if (std::string warning; DefaultThreadCount(&warning), !warning.empty()) {
        err << "warning: " << warning << '\n';
    }
    MakeColorTable(m);
    stage = "opening the model";
    // The view is fitted to the canvas of the desktop's first window, as opening the
    // model there would fit it.
    const LayoutBoxes canvas = FirstWindowLayout();
    OpenModel(m, options.modelPath,
              CanvasSize{static_cast<double>(canvas.canvasWidth),
                         static_cast<double>(canvas.canvasHeight)});
    // The desktop redraws the canvas after opening, which marks the active nodes the
    // analysis relies on.
    MarkActiveNodes(m);

    stage = "setting the parameters";
    if (options.stressTarget || options.epsilon || options.lambda) {
        ParameterTexts texts = ParameterTextsOf(m);
        if (options.stressTarget) {
            texts.stressTarget = *options.stressTarget;
        }
        if (options.epsilon) {
            texts.epsilon = *options.epsilon;
        }
        if (options.lambda) {
            texts.lambda = *options.lambda;
        }
        ApplyParameterTexts(m, texts);
    }

    stage = "preparing the frames folder";
    prepareFrames(options, renderers);
    if (options.svgPath && !renderers.svg) {
        throw OutputFileError("This build of the runner cannot draw pictures.");
    }
    // The runner's rules; the step-count rule of the window is --steps here.
    m.Rules.steady = options.untilSteady.has_value();
    m.Rules.steadySteps = options.untilSteady.value_or(m.Rules.steadySteps);
    m.Rules.volume = options.minVolumeRatio.has_value();
    m.Rules.volumeRatio = options.minVolumeRatio.value_or(m.Rules.volumeRatio);
    m.Rules.unconverged = options.stopOnUnconverged;
    m.ReuseSolves = !options.noReuse;

    Summary summary;
    stage = "the analysis";
    const AnalysisReport analysis = RunStressAnalysis(m);
    warnIfNotConverged(analysis, "analysis", err);
    summary.unconverged += analysis.solver.converged ? 0 : 1;
    if (!options.quiet) {
        out << "analysis  " << resultFields(m, analysis) << '\n';
    }

    // The history is written beside its file and replaces it when the steps end, also
    // when a step fails; an earlier file stays whole until then.
    std::optional<HistoryRecorder> history;
    if (options.historyPath) {
        history.emplace(*options.historyPath, HistoryWriting::ReplaceWhenClosed);
        history->Start(m);
    }
    stage = "drawing frame 0";
    writeFrame(m, options, renderers, 0);

    try {
        for (int k = 0; k < options.steps; ++k) {
            stage = "step " + std::to_string(m.StepCount);
            const std::string label = stage;
            const StepReport step = Optimization(m, history ? &*history : nullptr);
            ++summary.steps;
            warnIfNotConverged(step.analysis, label, err);
            summary.unconverged += step.analysis.solver.converged ? 0 : 1;
            summary.reused += step.analysis.reused ? 1 : 0;
            if (!options.quiet) {
                out << label << "  " << resultFields(m, step.analysis) << '\n';
            }
            stage = "drawing the frame after " + label;
            writeFrame(m, options, renderers, summary.steps);
            // A run that stops early writes its outputs for the step where it stopped.
            summary.stopped = CheckStopRules(m.Rules, m.Record);
            if (summary.stopped) {
                break;
            }
        }
    } catch (...) {
        if (history) {
            try {
                history->Close(m);
            } catch (const HistoryFileError&) {
                // The failure of the step is the one to report.
            }
        }
        throw;
    }
    if (history) {
        history->Close(m);
    }

    if (options.cellsPath) {
        stage = "writing the cells";
        writeCells(m, *options.cellsPath);
    }
    if (options.savePath) {
        stage = "saving the model";
        SaveModel(m, *options.savePath);
    }
    if (options.pngPath) {
        stage = "drawing the picture";
        if (!renderers.picture) {
            throw OutputFileError("This build of the runner cannot draw pictures.");
        }
        if (const std::string problem = renderers.picture(m, options); !problem.empty()) {
            throw OutputFileError(problem);
        }
    }
    if (options.svgPath) {
        stage = "drawing the SVG picture";
        if (const std::string problem = renderers.svg(m, options); !problem.empty()) {
            throw OutputFileError(problem);
        }
    }
    if (options.shapePath) {
        stage = "writing the shape";
        writeShape(m, *options.shapePath);
    }
    if (options.chartPath) {
        stage = "drawing the chart";
        if (!renderers.chart) {
            throw OutputFileError("This build of the runner cannot draw charts.");
        }
        if (const std::string problem = renderers.chart(m, options); !problem.empty()) {
            throw OutputFileError(problem);
        }
    }
    if (!options.quiet) {
        out << finalLine(m, summary) << '\n';
    }
    return kExitSuccess;
}

} // namespace

namespace {

// A whole number of decimal digits within lo..hi.
bool wholeNumber(std::string_view text, int lo, int hi, int& value) {
    if (text.empty() || text.size() > 9 ||
        text.find_first_not_of("0123456789") != std::string_view::npos) {
        return false;
    }
    int v = 0;
    std::from_chars(text.data(), text.data() + text.size(), v);
    if (v < lo || v > hi) {
        return false;
    }
    value = v;
    return true;
}

// A decimal number strictly between 0 and 1, the whole text.
bool openFraction(std::string_view text, double& value) {
    double v = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (text.empty() || error != std::errc() || end != text.data() + text.size() || !(v > 0.0) ||
        !(v < 1.0)) {
        return false;
    }
    value = v;
    return true;
}

// Whether a file name ends in `extension` ("png"), in any case.
bool hasExtension(std::string_view path, std::string_view extension) {
    if (path.size() <= extension.size() + 1 || path[path.size() - extension.size() - 1] != '.') {
        return false;
    }
    return std::equal(
        extension.begin(), extension.end(), path.end() - extension.size(),
        [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

// "800x600" into its two whole numbers, each 1 to 20000.
bool pictureSize(std::string_view text, int& width, int& height) {
    const std::size_t x = text.find('x');
    return x != std::string_view::npos && wholeNumber(text.substr(0, x), 1, 20000, width) &&
           wholeNumber(text.substr(x + 1), 1, 20000, height);
}

// A parameter override read as the parameter dialog reads its box, so that a value
// its type cannot hold is refused before any work instead of failing the run.
std::string parameterValue(const std::string& name, const std::string& text, bool whole) {
    try {
        const double value = leadingNumber(text);
        if (whole) {
            roundToInt16(value);
        } else {
            toSingle(value);
        }
        return {};
    } catch (const OverflowFault&) {
        return name + " '" + text + "' is beyond the range of " +
               (whole ? "a whole number from -32768 to 32767"
                      : "a single-precision number (about -3.4E+38 to 3.4E+38)");
    }
}

// One option of `run`: its name, whether it takes a value, and what the value does
// to the options. `apply` returns why the value cannot be used, or "" when it can.
struct OptionRule {
    const char* name;
    bool takesValue;
    std::function<std::string(RunOptions&, const std::string& value)> apply;
};

using TextField = std::optional<std::string> RunOptions::*;

OptionRule textOption(const char* name, TextField field) {
    return {name, true, [field](RunOptions& o, const std::string& value) {
                o.*field = value;
                return std::string();
            }};
}

OptionRule parameterOption(const char* name, TextField field, bool whole) {
    return {name, true, [name, field, whole](RunOptions& o, const std::string& value) {
                o.*field = value;
                return parameterValue(name, value, whole);
            }};
}

const std::vector<OptionRule>& optionRules() {
    static const std::vector<OptionRule> rules = {
        {"--steps", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             if (wholeNumber(value, 0, kInt16Max, o.steps)) {
                 return {};
             }
             return "--steps needs a whole number from 0 to 32767, not '" + value + "'";
         }},
        textOption("--history", &RunOptions::historyPath),
        textOption("--cells", &RunOptions::cellsPath),
        textOption("--save", &RunOptions::savePath),
        parameterOption("--stress-target", &RunOptions::stressTarget, false),
        parameterOption("--epsilon", &RunOptions::epsilon, true),
        parameterOption("--lambda", &RunOptions::lambda, false),
        textOption("--png", &RunOptions::pngPath),
        {"--size", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             if (pictureSize(value, o.pngWidth, o.pngHeight)) {
                 return {};
             }
             return "--size needs WIDTHxHEIGHT in pixels (1 to 20000), not '" + value + "'";
         }},
        {"--map", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             if (value != "stress" && value != "potential") {
                 return "--map needs 'stress' or 'potential', not '" + value + "'";
             }
             o.map = value;
             return {};
         }},
        {"--quiet", false,
         [](RunOptions& o, const std::string&) {
             o.quiet = true;
             return std::string();
         }},
        textOption("--svg", &RunOptions::svgPath),
        {"--shape", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             if (!ShapeFormatOf(value)) {
                 return "--shape needs a file name ending in .svg, .dxf or .stl, not '" + value +
                        "'";
             }
             o.shapePath = value;
             return {};
         }},
        textOption("--frames", &RunOptions::framesDir),
        {"--every", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             int every = 0;
             if (wholeNumber(value, 1, kInt16Max, every)) {
                 o.every = every;
                 return {};
             }
             return "--every needs a whole number of steps from 1 to 32767, not '" + value + "'";
         }},
        {"--until-steady", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             int k = 0;
             if (!wholeNumber(value, 1, kInt16Max, k)) {
                 return "--until-steady needs a whole number of steps from 1 to 32767, not '" +
                        value + "'";
             }
             o.untilSteady = k;
             return {};
         }},
        {"--min-volume-ratio", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             double r = 0.0;
             if (!openFraction(value, r)) {
                 return "--min-volume-ratio needs a number between 0 and 1 (both excluded), "
                        "not '" +
                        value + "'";
             }
             o.minVolumeRatio = r;
             return {};
         }},
        {"--stop-on-unconverged", false,
         [](RunOptions& o, const std::string&) {
             o.stopOnUnconverged = true;
             return std::string();
         }},
        {"--threads", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             int threads = 0;
             if (wholeNumber(value, 1, kMaxThreads, threads)) {
                 o.threads = threads;
                 return {};
             }
             return "--threads needs a whole number from 1 to " + std::to_string(kMaxThreads) +
                    ", not '" + value + "'";
         }},
        {"--no-reuse", false,
         [](RunOptions& o, const std::string&) {
             o.noReuse = true;
             return std::string();
         }},
        {"--chart", true,
         [](RunOptions& o, const std::string& value) -> std::string {
             if (!hasExtension(value, "png") && !hasExtension(value, "svg")) {
                 return "--chart needs a file name ending in .png or .svg, not '" + value + "'";
             }
             o.chartPath = value;
             return {};
         }},
    };
    return rules;
}

// What the options asked for together; "" when they agree.
std::string checkCombination(const RunOptions& o) {
    if (!o.pngPath && !o.svgPath && !o.framesDir && !o.map.empty()) {
        return "--map draws into the picture of --png, --svg or --frames; give one of them too";
    }
    if (o.every && !o.framesDir) {
        return "--every sets the steps between the frames of --frames; give --frames DIR too";
    }
    if ((o.untilSteady || o.minVolumeRatio || o.stopOnUnconverged) && o.steps == 0) {
        return "the stop rules end a run of --steps N steps early; give --steps N (1 to 32767)";
    }
    return {};
}

} // namespace

std::vector<std::string> OutputPaths(const RunOptions& options) {
    std::vector<std::string> paths;
    // The folder of --frames is not a file: the run creates and checks it itself.
    for (const std::optional<std::string>* path :
         {&options.historyPath, &options.cellsPath, &options.savePath, &options.pngPath,
          &options.svgPath, &options.shapePath, &options.chartPath}) {
        if (*path) {
            paths.push_back(**path);
        }
    }
    return paths;
}

ParseResult ParseArguments(const std::vector<std::string>& args) {
    ParseResult result;
    RunOptions options;
    const auto fail = [&result](std::string why) {
        result.error = std::move(why);
        return result;
    };
    if (args.empty()) {
        return fail("no command given");
    }
    for (const std::string& arg : args) {
        if (arg == "--help" || arg == "-h") {
            options.command = Command::Help;
            result.options = options;
            return result;
        }
    }
    if (args[0] == "--version") {
        options.command = Command::Version;
        result.options = options;
        return result;
    }
    if (args[0] != "run") {
        return fail("unknown command '" + args[0] + "'");
    }

    bool haveModel = false;
    std::vector<std::string> given;
    for (std::size_t k = 1; k < args.size(); ++k) {
        const std::string& arg = args[k];
        if (arg.rfind("--", 0) != 0) {
            if (haveModel) {
                return fail("more than one model file given ('" + options.modelPath + "' and '" +
                            arg + "')");
            }
            options.modelPath = arg;
            haveModel = true;
            continue;
        }
        // --name VALUE or --name=VALUE
        std::string name = arg;
        std::optional<std::string> value;
        if (const std::size_t eq = arg.find('='); eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
        }
        const auto& rules = optionRules();
        const auto rule = std::find_if(rules.begin(), rules.end(),
                                       [&](const OptionRule& r) { return name == r.name; });
        if (rule == rules.end()) {
            return fail("unknown option '" + name + "'");
        }
        if (std::find(given.begin(), given.end(), name) != given.end()) {
            return fail("option '" + name + "' is given more than once");
        }
        given.push_back(name);
        if (!rule->takesValue) {
            if (value) {
                return fail("option '" + name + "' takes no value");
            }
            value = std::string();
        } else if (!value) {
            // The next word is a value only if it is not an option itself: a name such
            // as "--quiet" after --save is a forgotten value, not a file to write.
            if (k + 1 >= args.size() || args[k + 1].rfind("--", 0) == 0) {
                return fail("option '" + name + "' needs a value");
            }
            value = args[++k];
        }
        if (std::string why = rule->apply(options, *value); !why.empty()) {
            return fail(why);
        }
    }
    if (!haveModel) {
        return fail("no model file given");
    }
    if (std::string why = checkCombination(options); !why.empty()) {
        return fail(why);
    }
    result.options = options;
    return result;
}

std::string FrameName(int n) {
    std::array<char, 32> name{};
    std::snprintf(name.data(), name.size(), "frame-%05d.png", n);
    return name.data();
}

std::string UsageLines() {
    return "usage: quillane-cli run MODEL [--steps N] [--history FILE] [--cells FILE] "
           "[--save FILE]\n"
           "                        [--png FILE [--size WxH] [--map stress|potential]]\n"
           "                        [--svg FILE] [--shape FILE] [--frames DIR [--every K]]\n"
           "                        [--stress-target S] [--epsilon E] [--lambda L] [--quiet]\n"
           "                        [--until-steady K] [--min-volume-ratio R] "
           "[--stop-on-unconverged]\n"
           "                        [--chart FILE] [--threads N] [--no-reuse]\n"
           "       quillane-cli --help | --version\n";
}

std::string UsageText() {
    return UsageLines() +
           "\n"
           "Opens MODEL, runs the stress analysis and N optimization steps (0 to 32767,\n"
           "default 0). The last line sums up: the volume, the steps run, how many solves\n"
           "stopped without converging (unconverged=N), the steps whose system was bit for bit\n"
           "the last one solved and took its solution (reused=N), why the steps ended\n"
           "(stopped=steps, or stopped=steady, stopped=volume or stopped=unconverged with\n"
           "at=STEP, the step after which the rule fired), then the parameters.\n"
           "  --history FILE      record the history (header, the analysed state, one line a "
           "step);\n"
           "                      written beside FILE, which it replaces when the steps end\n"
           "  --cells FILE        write row,column,state,stress,potential of every cell as CSV\n"
           "  --save FILE         save the final model\n"
           "  --png FILE          draw the canvas with its legend into a PNG image (after the\n"
           "                      last step), as the desktop draws it\n"
           "  --size WxH          the picture's size in pixels (default 800x600)\n"
           "  --map stress|potential\n"
           "                      draw that result map over the model in the picture\n"
           "  --svg FILE          the same picture as an SVG drawing, its texts as text\n"
           "                      (--size and --map apply as for --png)\n"
           "  --shape FILE        the outline of the final material in mm, by the extension:\n"
           "                      .svg (one filled path), .dxf (closed polylines for CAD) or\n"
           "                      .stl (the plate extruded by its thickness, a closed solid)\n"
           "  --frames DIR        a PNG of the picture (--size, --map) every K steps into DIR,\n"
           "                      created if missing: frame-00000.png is the analysed state,\n"
           "                      frame-00001.png the state after K steps, and so on\n"
           "  --every K           the steps between two frames (1 to 32767, default 1)\n"
           "  --stress-target S, --epsilon E, --lambda L\n"
           "                      override the model's optimization parameters\n"
           "  --quiet             print nothing but warnings and errors\n"
           "Stop rules, checked after every step, end the run before --steps N is reached\n"
           "(they need --steps; one that fires at the last step is still named); the outputs\n"
           "are then written for the step where the run stopped:\n"
           "  --until-steady K    stop when no cell has changed state for K steps in a row\n"
           "  --min-volume-ratio R\n"
           "                      stop when the volume is at or below R (0 < R < 1) times\n"
           "                      the volume of the analysis\n"
           "  --stop-on-unconverged\n"
           "                      stop after a step whose solve did not converge\n"
           "  --chart FILE        draw the convergence chart (volume, largest, mean and\n"
           "                      smallest stress by step; unconverged solves marked) into\n"
           "                      FILE, a PNG or SVG image by its extension (960x600)\n"
           "  --threads N         threads of the analysis (1 to 64; default QUILLANE_THREADS,\n"
           "                      else the processor count); every count gives the same\n"
           "                      results, bit for bit. An invalid QUILLANE_THREADS is\n"
           "                      ignored with a warning\n"
           "  --no-reuse          solve every step, also one whose system is the last one\n"
           "                      solved (the results are the same; for comparing speed)\n"
           "Every output file is written whole or not at all, and checked before any work:\n"
           "its folder must exist, and it must be neither the model nor another output.\n"
           "Exit codes: 0 done, 2 usage error, 3 a file could not be read or written,\n"
           "4 a run-time fault in the analysis or the steps. When standard output is closed\n"
           "early (e.g. piped into head), the run still ends normally and writes its files;\n"
           "a note says so on standard error and the exit code is that of the run.\n";
}

std::string VersionText() {
    return std::string(kProgram) + " " + QUILLANE_VERSION;
}

namespace {

int runAndReport(const RunOptions& options, std::ostream& out, std::ostream& err,
                 std::string& stage, const Renderers& renderers) {
    try {
        return runModel(options, out, err, stage, renderers);
    } catch (const ModelFileError& e) {
        const bool saving = stage == "saving the model";
        err << "error: the model file \"" << (saving ? *options.savePath : options.modelPath)
            << "\" could not be " << (saving ? "written" : "read") << ":\n"
            << terminalLines(e.what()) << "\n"
            << "reason: " << e.reason() << '\n';
        return kExitFile;
    } catch (const HistoryFileError& e) {
        err << "error: " << e.what() << '\n';
        return kExitFile;
    } catch (const OutputFileError& e) {
        err << "error: " << e.what() << '\n';
        return kExitFile;
    } catch (const RuntimeFault& e) {
        err << "error: run-time fault in " << stage << ": " << e.title() << "\n"
            << FaultExplanation(e) << '\n';
        // The program's own words, for a report of the problem.
        if (e.kind() == FaultKind::Subscript) {
            err << "detail: " << e.what() << '\n';
        }
        return kExitFault;
    } catch (const std::exception& e) {
        err << "error: unexpected failure in " << stage << ": " << e.what() << '\n';
        return kExitInternal;
    }
}

} // namespace

int Run(const RunOptions& options, std::ostream& out, std::ostream& err,
        const Renderers& renderers) {
    switch (options.command) {
    case Command::Help:
        out << UsageText();
        return kExitSuccess;
    case Command::Version:
        out << VersionText() << '\n';
        return kExitSuccess;
    case Command::Run:
        break;
    }

    std::string stage;
    const int code = runAndReport(options, out, err, stage, renderers);
    // A reader that stopped early (e.g. "| head -1") closes standard output; the run
    // goes on to its end all the same, since its files are what it is for.
    out.flush();
    if (!out) {
        err << "note: standard output was closed before the run ended; the run went on to its "
            << (code == kExitSuccess ? "end and wrote every file asked for" : "end") << ".\n";
    }
    return code;
}

int Main(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
         const Renderers& renderers) {
    const ParseResult parsed = ParseArguments(args);
    if (!parsed.options) {
        err << kProgram << ": " << parsed.error << '\n' << UsageLines();
        return kExitUsage;
    }
    return Run(*parsed.options, out, err, renderers);
}

} // namespace quillane::cli
