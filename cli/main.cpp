// quillane-cli: runs a model's analysis and optimization without the desktop.
#include <QGuiApplication>
#include <QImageWriter>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "Runner.h"
#include "display/qt/Picture.h"

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

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> args(argv + 1, argv + argc);
    // Ends before main returns: Qt must not be torn down by the exit handlers.
    std::unique_ptr<QGuiApplication> app;
    quillane::cli::Renderers renderers;
    renderers.picture = [&app](quillane::Model& m, const quillane::cli::RunOptions& options) {
        return writePicture(app, m, options);
    };
    return quillane::cli::Main(args, std::cout, std::cerr, renderers);
}
