// quillane-cli: runs a model's analysis and optimization without the desktop.
#include <QApplication>
#include <QBuffer>
#include <QImageWriter>
#include <csignal>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Runner.h"
#include "display/qt/ConvergenceChart.h"
#include "display/qt/Picture.h"
#include "model/Model.h"
#include "model/SafeFile.h"

namespace {

// Pictures are drawn headless: Qt starts on the offscreen platform (unless the
// caller chose another) only when a picture is asked for. The chart is a graphics
// widget and needs the widgets' application; the canvas pictures alone do with the
// lighter one, as they always have.
void startQt(std::unique_ptr<QGuiApplication>& app, const quillane::cli::RunOptions& options) {
    if (app) {
        return;
    }
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
        qputenv("QT_QPA_PLATFORM", "offscreen");
    }
    static int argc = 1;
    static char name[] = "quillane-cli";
    static char* argv[] = {name, nullptr};
    if (options.chartPath) {
        app = std::make_unique<QApplication>(argc, argv);
    } else {
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
}

quillane::PictureMap mapOf(const quillane::cli::RunOptions& options) {
    return options.map == "stress"      ? quillane::PictureMap::Stress
           : options.map == "potential" ? quillane::PictureMap::Potential
                                        : quillane::PictureMap::None;
}

std::string writePicture(std::unique_ptr<QGuiApplication>& app, quillane::Model& m,
                         const quillane::cli::RunOptions& options) {
    startQt(app, options);
    const QImage picture =
        quillane::RenderPicture(m, QSize(options.pngWidth, options.pngHeight), mapOf(options));
    // Encoded in memory, then written whole like every other output.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    if (!writer.write(picture)) {
        return "The picture \"" + *options.pngPath +
               "\" cannot be drawn: " + writer.errorString().toStdString() + ".";
    }
    try {
        quillane::WriteFileReplacing(*options.pngPath,
                                     std::string_view(bytes.constData(), bytes.size()));
    } catch (const quillane::FileWriteError& error) {
        return std::string("The picture could not be written: ") + error.what() + ".";
    }
    return {};
}

// The picture of --png drawn again as SVG (--svg).
std::string writeSvg(std::unique_ptr<QGuiApplication>& app, quillane::Model& m,
                     const quillane::cli::RunOptions& options) {
    startQt(app, options);
    const quillane::PictureParts parts =
        quillane::DrawPicture(m, QSize(options.pngWidth, options.pngHeight), mapOf(options));
    try {
        quillane::WriteFileReplacing(*options.svgPath,
                                     quillane::PictureSvg(parts.canvas, parts.bar));
    } catch (const quillane::FileWriteError& e) {
        return "The SVG picture cannot be written: " + std::string(e.what()) + ".";
    }
    return {};
}

// One frame of --frames.
std::string writeFrame(std::unique_ptr<QGuiApplication>& app, quillane::Model& m,
                       const quillane::cli::RunOptions& options, const std::string& path) {
    startQt(app, options);
    const QImage picture =
        quillane::RenderPicture(m, QSize(options.pngWidth, options.pngHeight), mapOf(options));
    try {
        quillane::WriteFileReplacing(path, quillane::PngBytes(picture));
    } catch (const quillane::FileWriteError& e) {
        return "The frame cannot be written: " + std::string(e.what()) + ".";
    }
    return {};
}

std::string writeChart(std::unique_ptr<QGuiApplication>& app, const quillane::Model& m,
                       const quillane::cli::RunOptions& options) {
    startQt(app, options);
    const std::string& path = *options.chartPath;
    // The option's check allows only the two extensions.
    const bool svg =
        path.size() >= 4 &&
        QString::fromStdString(path.substr(path.size() - 4)).compare(".svg", Qt::CaseInsensitive) ==
            0;
    const QByteArray bytes = quillane::RenderConvergenceChart(
        m.Record, QSize(options.chartWidth, options.chartHeight),
        svg ? quillane::ChartFormat::Svg : quillane::ChartFormat::Png);
    try {
        quillane::WriteFileReplacing(path, std::string_view(bytes.constData(), bytes.size()));
    } catch (const quillane::FileWriteError& e) {
        return std::string("The chart could not be written: ") + e.what() + ".";
    }
    return {};
}

} // namespace

int main(int argc, char** argv) {
    // A closed standard output (e.g. "| head -1") must not end the run before its files
    // are written: the failed writes are noticed and reported instead.
    std::signal(SIGPIPE, SIG_IGN);
    // Ctrl+C or a kill removes the temporary files of unfinished outputs.
    quillane::InstallTemporaryFileCleanup();
    const std::vector<std::string> args(argv + 1, argv + argc);
    // Ends before main returns: Qt must not be torn down by the exit handlers.
    std::unique_ptr<QGuiApplication> app;
    quillane::cli::Renderers renderers;
    renderers.picture = [&app](quillane::Model& m, const quillane::cli::RunOptions& options) {
        return writePicture(app, m, options);
    };
    renderers.svg = [&app](quillane::Model& m, const quillane::cli::RunOptions& options) {
        return writeSvg(app, m, options);
    };
    renderers.frame = [&app](quillane::Model& m, const quillane::cli::RunOptions& options,
                             const std::string& path) { return writeFrame(app, m, options, path); };
    renderers.chart = [&app](const quillane::Model& m, const quillane::cli::RunOptions& options) {
        return writeChart(app, m, options);
    };
    return quillane::cli::Main(args, std::cout, std::cerr, renderers);
}
