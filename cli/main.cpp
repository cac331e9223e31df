// quillane-cli: runs a model's analysis and optimization without the desktop.
#include <QGuiApplication>
#include <QImageWriter>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Runner.h"
#include "display/qt/Picture.h"
#include "model/SafeFile.h"

namespace {

// Pictures are drawn headless: Qt starts on the offscreen platform (unless the
// caller chose another) only when a picture is asked for.
std::string writePicture(std::unique_ptr<QGuiApplication>& app, quillane::Model& m,
                         const quillane::cli::RunOptions& options) {
    if (!app) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        static int argc = 1;
        static char name[] = "quillane-cli";
        static char* argv[] = {name, nullptr};
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
    const quillane::PictureMap map = options.map == "stress"      ? quillane::PictureMap::Stress
                                     : options.map == "potential" ? quillane::PictureMap::Potential
                                                                  : quillane::PictureMap::None;
    const QImage picture =
        quillane::RenderPicture(m, QSize(options.pngWidth, options.pngHeight), map);
    QImageWriter writer(QString::fromStdString(*options.pngPath), "png");
    if (!writer.write(picture)) {
        return "The picture \"" + *options.pngPath +
               "\" cannot be written: " + writer.errorString().toStdString() + ".";
    }
    return {};
}

// Starts Qt for the pictures, once, as writePicture does.
void startQt(std::unique_ptr<QGuiApplication>& app) {
    if (!app) {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        static int argc = 1;
        static char name[] = "quillane-cli";
        static char* argv[] = {name, nullptr};
        app = std::make_unique<QGuiApplication>(argc, argv);
    }
}

quillane::PictureMap mapOf(const quillane::cli::RunOptions& options) {
    return options.map == "stress"      ? quillane::PictureMap::Stress
           : options.map == "potential" ? quillane::PictureMap::Potential
                                        : quillane::PictureMap::None;
}

// The picture of --png drawn again as SVG (--svg).
std::string writeSvg(std::unique_ptr<QGuiApplication>& app, quillane::Model& m,
                     const quillane::cli::RunOptions& options) {
    startQt(app);
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
    startQt(app);
    const QImage picture =
        quillane::RenderPicture(m, QSize(options.pngWidth, options.pngHeight), mapOf(options));
    try {
        quillane::WriteFileReplacing(path, quillane::PngBytes(picture));
    } catch (const quillane::FileWriteError& e) {
        return "The frame cannot be written: " + std::string(e.what()) + ".";
    }
    return {};
}

} // namespace

int main(int argc, char** argv) {
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
    return quillane::cli::Main(args, std::cout, std::cerr, renderers);
}
