#include "Runner.h"

#include <cerrno>
#include <charconv>
#include <cstring>
#include <fstream>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include "display/ColorScale.h"
#include "display/Layout.h"
#include "fem/Mesh.h"
#include "fem/StressAnalysis.h"
#include "model/Faults.h"
#include "model/Model.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"
#include "optimize/Parameters.h"

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

bool parseSteps(std::string_view text, int& steps) {
    if (text.empty()) {
        return false;
    }
    for (const char c : text) {
        if (c < '0' || c > '9') {
            return false;
        }
    }
    int value = 0;
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (ec != std::errc() || end != text.data() + text.size()) {
        return false;
    }
    steps = value;
    return true;
}

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
    errno = 0;
    std::ofstream file(path, std::ios::out | std::ios::binary | std::ios::trunc);
    if (!file.is_open()) {
        const int error = errno;
        throw OutputFileError("The cells file \"" + path + "\" cannot be created: " +
                              (error != 0 ? std::strerror(error) : "reason unknown") + ".");
    }
    file << "row,column,state,stress,potential\n";
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            file << i << ',' << j << ',' << static_cast<int>(m.CellState(i, j)) << ','
                 << roundTrip(m.CellStress(i, j)) << ',' << roundTrip(m.Potential(i, j)) << '\n';
        }
    }
    file.flush();
    if (!file) {
        throw OutputFileError("The cells file \"" + path + "\" cannot be written.");
    }
}

// Everything after the options are known. `stage` always names the work in hand, so
// a fault can say where it happened.
// "800x600" into its two whole numbers, each at least 1.
bool parseSize(std::string_view text, int& width, int& height) {
    const std::size_t x = text.find('x');
    if (x == std::string_view::npos) {
        return false;
    }
    int w = 0;
    int h = 0;
    if (!parseSteps(text.substr(0, x), w) || !parseSteps(text.substr(x + 1), h) || w < 1 || h < 1 ||
        w > 20000 || h > 20000) {
        return false;
    }
    width = w;
    height = h;
    return true;
}

int runModel(const RunOptions& options, std::ostream& out, std::ostream& err, std::string& stage,
             const PictureWriter& writePicture) {
    Model m;
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

    stage = "the analysis";
    const AnalysisReport analysis = RunStressAnalysis(m);
    warnIfNotConverged(analysis, "analysis", err);
    if (!options.quiet) {
        out << "analysis  " << resultFields(m, analysis) << '\n';
    }

    std::optional<HistoryRecorder> history;
    if (options.historyPath) {
        history.emplace(*options.historyPath);
        history->Start(m);
    }

    for (int k = 0; k < options.steps; ++k) {
        stage = "step " + std::to_string(m.StepCount);
        const std::string label = stage;
        const StepReport step = Optimization(m, history ? &*history : nullptr);
        warnIfNotConverged(step.analysis, label, err);
        if (!options.quiet) {
            out << label << "  " << resultFields(m, step.analysis) << '\n';
        }
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
        if (!writePicture) {
            throw OutputFileError("This build of the runner cannot draw pictures.");
        }
        if (const std::string problem = writePicture(m, options); !problem.empty()) {
            throw OutputFileError(problem);
        }
    }
    if (!options.quiet) {
        out << "final  volume=" << formatScientific(m.Volume) << " steps=" << options.steps << "  "
            << ParameterStatusText(m) << '\n';
    }
    return kExitSuccess;
}

} // namespace

ParseResult ParseArguments(const std::vector<std::string>& args) {
    ParseResult result;
    RunOptions options;
    if (args.empty()) {
        result.error = "no command given";
        return result;
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
        result.error = "unknown command '" + args[0] + "'";
        return result;
    }

    bool haveModel = false;
    for (std::size_t k = 1; k < args.size(); ++k) {
        const std::string& arg = args[k];
        if (arg.rfind("--", 0) != 0) {
            if (haveModel) {
                result.error = "more than one model file given ('" + options.modelPath + "' and '" +
                               arg + "')";
                return result;
            }
            options.modelPath = arg;
            haveModel = true;
            continue;
        }
        if (arg == "--quiet") {
            options.quiet = true;
            continue;
        }
        // --name VALUE or --name=VALUE
        std::string name = arg;
        std::optional<std::string> value;
        if (const std::size_t eq = arg.find('='); eq != std::string::npos) {
            name = arg.substr(0, eq);
            value = arg.substr(eq + 1);
        }
        std::optional<std::string>* target = nullptr;
        if (name == "--history") {
            target = &options.historyPath;
        } else if (name == "--cells") {
            target = &options.cellsPath;
        } else if (name == "--save") {
            target = &options.savePath;
        } else if (name == "--stress-target") {
            target = &options.stressTarget;
        } else if (name == "--epsilon") {
            target = &options.epsilon;
        } else if (name == "--lambda") {
            target = &options.lambda;
        } else if (name == "--png") {
            target = &options.pngPath;
        } else if (name != "--steps" && name != "--size" && name != "--map") {
            result.error = "unknown option '" + name + "'";
            return result;
        }
        if (!value) {
            if (k + 1 >= args.size()) {
                result.error = "option '" + name + "' needs a value";
                return result;
            }
            value = args[++k];
        }
        if (target != nullptr) {
            *target = *value;
        } else if (name == "--size") {
            if (!parseSize(*value, options.pngWidth, options.pngHeight)) {
                result.error =
                    "--size needs WIDTHxHEIGHT in pixels (1 to 20000), not '" + *value + "'";
                return result;
            }
        } else if (name == "--map") {
            if (*value != "stress" && *value != "potential") {
                result.error = "--map needs 'stress' or 'potential', not '" + *value + "'";
                return result;
            }
            options.map = *value;
        } else if (!parseSteps(*value, options.steps)) {
            result.error = "--steps needs a non-negative whole number, not '" + *value + "'";
            return result;
        }
    }
    if (!haveModel) {
        result.error = "no model file given";
        return result;
    }
    if (!options.pngPath && !options.map.empty()) {
        result.error = "--map draws into the picture of --png; give --png FILE too";
        return result;
    }
    result.options = options;
    return result;
}

std::string UsageLines() {
    return "usage: quillane-cli run MODEL [--steps N] [--history FILE] [--cells FILE] "
           "[--save FILE]\n"
           "                        [--png FILE [--size WxH] [--map stress|potential]]\n"
           "                        [--stress-target S] [--epsilon E] [--lambda L] [--quiet]\n"
           "       quillane-cli --help | --version\n";
}

std::string UsageText() {
    return UsageLines() +
           "\n"
           "Opens MODEL, runs the stress analysis and N optimization steps (default 0).\n"
           "  --history FILE      record the history (header, the analysed state, one line a "
           "step)\n"
           "  --cells FILE        write row,column,state,stress,potential of every cell as CSV\n"
           "  --save FILE         save the final model\n"
           "  --png FILE          draw the canvas with its legend into a PNG image (after the\n"
           "                      last step), as the desktop draws it\n"
           "  --size WxH          the picture's size in pixels (default 800x600)\n"
           "  --map stress|potential\n"
           "                      draw that result map over the model in the picture\n"
           "  --stress-target S, --epsilon E, --lambda L\n"
           "                      override the model's optimization parameters\n"
           "  --quiet             print nothing but warnings and errors\n"
           "Exit codes: 0 done, 2 usage error, 3 a file could not be read or written,\n"
           "4 a run-time fault in the analysis or the steps.\n";
}

std::string VersionText() {
    return std::string(kProgram) + " " + QUILLANE_VERSION;
}

int Run(const RunOptions& options, std::ostream& out, std::ostream& err,
        const PictureWriter& writePicture) {
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
    try {
        return runModel(options, out, err, stage, writePicture);
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
            << e.what() << '\n';
        return kExitFault;
    } catch (const std::exception& e) {
        err << "error: unexpected failure in " << stage << ": " << e.what() << '\n';
        return kExitInternal;
    }
}

int Main(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
         const PictureWriter& writePicture) {
    const ParseResult parsed = ParseArguments(args);
    if (!parsed.options) {
        err << kProgram << ": " << parsed.error << '\n' << UsageLines();
        return kExitUsage;
    }
    return Run(*parsed.options, out, err, writePicture);
}

} // namespace quillane::cli
