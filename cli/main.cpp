// quillane-cli: runs a model's analysis and optimization without the desktop.
#include <QBuffer>
#include <QGuiApplication>
#include <QImageWriter>
#include <csignal>
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
    return quillane::cli::Main(args, std::cout, std::cerr, renderers);
}
