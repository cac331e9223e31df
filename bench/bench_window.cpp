// The window against the engine: an automatic run of the MBB half-beam (60 x 20)
// driven through the real main window (its timer, its drawing, its labels) on the
// offscreen platform, and the same steps with the engine alone. Prints the steps per
// second of each and their ratio, the median of several rounds taken in turn.
//
//   quillane-bench-window [STEPS] [ROUNDS] [GRAB.png]   (default 300 steps, 5 rounds)
//
// GRAB.png receives the window as it shows the last step, to compare builds.

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "fem/Mesh.h"
#include "model/ModelFile.h"
#include "optimize/Optimization.h"
#include "ui/Commands.h"
#include "ui/forms/frmMain.h"

using namespace quillane;

namespace {

const std::string kFolder = QUILLANE_EXAMPLES_DIR;
const std::string kModel = "mbb.model";

struct Round {
    double seconds = 0;
    std::vector<int16> cells; // the layout after the last step
    int steps = 0;
};

std::vector<int16> cellsOf(const Model& m) {
    std::vector<int16> cells;
    for (int i = 1; i <= m.CellRowCount; ++i) {
        for (int j = 1; j <= m.CellColumnCount; ++j) {
            cells.push_back(m.CellState(i, j));
        }
    }
    return cells;
}

// The engine alone: the model opened and analysed, then `steps` steps in a loop.
Round engineRound(int steps, CanvasSize canvas) {
    Model m;
    OpenModel(m, kFolder + "/" + kModel, canvas);
    // What the window's drawing of the opened model does first.
    MarkActiveNodes(m);
    RunStressAnalysis(m);
    QElapsedTimer clock;
    clock.start();
    for (int k = 0; k < steps; ++k) {
        Optimization(m);
    }
    Round round;
    round.seconds = static_cast<double>(clock.nsecsElapsed()) * 1e-9;
    round.cells = cellsOf(m);
    round.steps = steps;
    return round;
}

// The window: opened, analysed (FEA), then Automatic_Start as the dialog's button
// does, until `steps` steps are shown; the message loop runs as in the program.
Round windowRound(frmMain& window, int steps) {
    Model& m = window.model();
    if (!OpenModelCommand(m, window, kFolder, kModel)) {
        std::fprintf(stderr, "the model %s could not be opened\n", kModel.c_str());
        std::exit(1);
    }
    window.mnuStressAnalysis->trigger();
    QApplication::processEvents();
    QEventLoop loop;
    const auto connection = QObject::connect(&window, &frmMain::runChanged, &loop, [&] {
        if (m.StepCount >= steps) {
            RunGuarded(m, window, [&] { AutomaticStop(m, window); });
            loop.quit();
        }
    });
    QElapsedTimer clock;
    clock.start();
    RunGuarded(m, window, [&] { AutomaticStart(m, window); });
    loop.exec();
    Round round;
    round.seconds = static_cast<double>(clock.nsecsElapsed()) * 1e-9;
    QObject::disconnect(connection);
    round.cells = cellsOf(m);
    round.steps = m.StepCount;
    QApplication::processEvents();
    return round;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

} // namespace

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    QApplication app(argc, argv);
    const int steps = argc > 1 ? std::atoi(argv[1]) : 300;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    if (steps < 1 || steps > 32000 || rounds < 1) {
        std::fprintf(stderr, "usage: quillane-bench-window [STEPS] [ROUNDS] [GRAB.png]\n");
        return 2;
    }

    frmMain window;
    window.setMessageHandler([](const std::string& text, const std::string& title) {
        std::fprintf(stderr, "%s: %s\n", title.c_str(), text.c_str());
        std::exit(1);
    });
    window.show();
    for (int k = 0; k < 10; ++k) {
        QApplication::processEvents();
    }
    const CanvasSize canvas{window.canvasWidth(), window.canvasHeight()};

    std::vector<double> engineRates;
    std::vector<double> windowRates;
    std::vector<double> ratios;
    bool same = true;
    for (int r = 0; r < rounds; ++r) {
        const Round engine = engineRound(steps, canvas);
        const Round shown = windowRound(window, steps);
        same = same && shown.steps == steps && shown.cells == engine.cells;
        engineRates.push_back(steps / engine.seconds);
        windowRates.push_back(steps / shown.seconds);
        ratios.push_back(engine.seconds / shown.seconds);
        std::printf("round %d: engine %.1f steps/s, window %.1f steps/s, window/engine %.1f %%\n",
                    r + 1, engineRates.back(), windowRates.back(), 100.0 * ratios.back());
    }
    std::printf("%s, %d steps, %d rounds (medians; canvas %dx%d, %s platform)\n", kModel.c_str(),
                steps, rounds, window.picCanvas->width(), window.picCanvas->height(),
                qPrintable(QGuiApplication::platformName()));
    std::printf("  engine alone        %8.1f steps/s\n", median(engineRates));
    std::printf("  automatic in window %8.1f steps/s\n", median(windowRates));
    std::printf("  window / engine     %8.1f %%   (target at least 90 %%)\n",
                100.0 * median(ratios));
    std::printf("  same layout as the engine: %s\n", same ? "yes" : "NO");
    if (argc > 3) {
        QApplication::processEvents();
        window.grab().save(QString::fromLocal8Bit(argv[3]));
    }
    return same ? 0 : 1;
}
