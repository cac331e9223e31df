#pragma once
// The headless runner: opens a model the way the desktop does, analyses it, runs
// optimization steps and writes what was asked for. Everything goes through the
// two streams passed in, so the whole run can be driven from a test.

#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

namespace quillane {
struct Model;
}

namespace quillane::cli {

// Exit codes of the runner.
inline constexpr int kExitSuccess = 0;
inline constexpr int kExitInternal = 1; // anything else: out of memory and the like
inline constexpr int kExitUsage = 2;
inline constexpr int kExitFile = 3;
inline constexpr int kExitFault = 4;

enum class Command { Run, Help, Version };

struct RunOptions {
    Command command = Command::Run;
    std::string modelPath;
    int steps = 0;
    std::optional<std::string> historyPath;
    std::optional<std::string> cellsPath;
    std::optional<std::string> savePath;
    // Parameter overrides, as the parameter dialog's boxes would hold them.
    std::optional<std::string> stressTarget;
    std::optional<std::string> epsilon;
    std::optional<std::string> lambda;
    bool quiet = false;
    // A picture of the canvas with its legend, drawn after the last step.
    std::optional<std::string> pngPath;
    int pngWidth = 800;
    int pngHeight = 600;
    // "" for the plain model, "stress" or "potential" for a result map over it.
    std::string map;
    // The same picture as SVG, after the last step (--svg).
    std::optional<std::string> svgPath;
    // The outline of the final material: .svg, .dxf or .stl by the extension (--shape).
    std::optional<std::string> shapePath;
    // A PNG of the picture every `every` steps into this folder (--frames):
    // frame-00000.png is the analysed state, frame n the state after n x every steps.
    std::optional<std::string> framesDir;
    std::optional<int> every; // --every; 1 when not given
    // Rules that end the steps before --steps is reached (off when not given).
    std::optional<int> untilSteady;       // no cell changed for this many steps
    std::optional<double> minVolumeRatio; // of the analysis's volume, 0 < R < 1
    bool stopOnUnconverged = false;
    // Solve every step, also one whose system is the last one solved (--no-reuse).
    bool noReuse = false;
    // The convergence chart of the run (.png or .svg), drawn after the last step.
    std::optional<std::string> chartPath;
    int chartWidth = 960;
    int chartHeight = 600;
    // Threads of the analysis (--threads); QUILLANE_THREADS or the hardware's count
    // when not given.
    std::optional<int> threads;
};

// The runner's drawings need Qt, which its own logic does without: the program passes
// the real ones, tests may pass their own. Each draws and writes its file and returns
// an empty string on success, otherwise why it failed.
struct Renderers {
    // The canvas with its legend after the last step (--png).
    std::function<std::string(Model& m, const RunOptions& options)> picture;
    // The same picture as SVG (--svg).
    std::function<std::string(Model& m, const RunOptions& options)> svg;
    // One frame of --frames: the picture as a PNG file at `path`.
    std::function<std::string(Model& m, const RunOptions& options, const std::string& path)> frame;
    // The convergence chart of the run record (--chart).
    std::function<std::string(const Model& m, const RunOptions& options)> chart;
};

// The file name of frame n of --frames: "frame-00000.png" upward.
std::string FrameName(int n);

// Every file the options ask the runner to write, in the order of the options.
std::vector<std::string> OutputPaths(const RunOptions& options);

struct ParseResult {
    std::optional<RunOptions> options; // empty when the arguments are not usable
    std::string error;                 // why not, for the usage message
};

// Parses the arguments after the program name.
ParseResult ParseArguments(const std::vector<std::string>& args);

// The usage lines printed after a usage error.
std::string UsageLines();

// The full help printed by --help.
std::string UsageText();

// "quillane-cli 0.1.0"
std::string VersionText();

// Carries out parsed options; returns the exit code.
int Run(const RunOptions& options, std::ostream& out, std::ostream& err,
        const Renderers& renderers = {});

// Parses and runs: what main() does.
int Main(const std::vector<std::string>& args, std::ostream& out, std::ostream& err,
         const Renderers& renderers = {});

} // namespace quillane::cli
