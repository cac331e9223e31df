// The desktop program: one main window.
#include <QApplication>

#include "model/SafeFile.h"
#include "ui/forms/frmMain.h"

int main(int argc, char* argv[]) {
    // Ctrl+C or a kill while a model is saved removes the unfinished temporary file.
    quillane::InstallTemporaryFileCleanup();
    QApplication app(argc, argv);
    QApplication::setApplicationName("Quillane");
    // Lets the desktop match the window to its menu entry (quillane.desktop).
    QGuiApplication::setDesktopFileName("quillane");
    quillane::frmMain window;
    window.show();
    return QApplication::exec();
}
