#include "ui/forms/frmMain.h"

#include <QApplication>
#include <QClipboard>
#include <QCloseEvent>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMenuBar>
#include <QMessageBox>
#include <QResizeEvent>
#include <QScreen>
#include <QWindowStateChangeEvent>
#include <algorithm>
#include <type_traits>

#include "display/Layout.h"
#include "display/Shape.h"
#include "display/qt/Picture.h"
#include "ui/Commands.h"
#include "ui/Editing.h"
#include "ui/Export.h"
#include "ui/RunReport.h"
#include "ui/Window.h"
#include "ui/forms/Text.h"
#include "ui/forms/frmAppliedLoad.h"
#include "ui/forms/frmController.h"
#include "ui/forms/frmConvergenceChart.h"
#include "ui/forms/frmFreedom.h"
#include "ui/forms/frmImageIndicator.h"
#include "ui/forms/frmMaterial.h"
#include "ui/forms/frmOpen.h"
#include "ui/forms/frmOptimization.h"
#include "ui/forms/frmSave.h"
#include "ui/forms/frmShape.h"
#include "ui/forms/frmStopRules.h"
#include "ui/forms/frmValueIndicator.h"
#include "ui/forms/frmWidth.h"

namespace quillane {

namespace {

// The first window's client area in pixels.
constexpr int kInitialClientWidth = kFirstClientWidthTwips / kTwipsPerPixel;
constexpr int kInitialClientHeight = kFirstClientHeightTwips / kTwipsPerPixel;
// The labels' left edges and widths (5000 and 4000 twips wide, the second at 5300).
constexpr int kUpDateWidth = 333;
constexpr int kMouseXYLeft = 353;
constexpr int kMouseXYWidth = 267;

} // namespace

frmMain::frmMain(QWidget* parent) : QMainWindow(parent) {
    auto* client = new QWidget(this);
    setCentralWidget(client);

    tmrOpt = new QTimer(this);
    picColorBar = new CanvasWidget(client);
    picColorBar->setObjectName("picColorBar");
    picCanvas = new CanvasWidget(client);
    picCanvas->setObjectName("picCanvas");
    lblUpDate = new StatusLabel(client);
    lblUpDate->setObjectName("lblUpDate");
    lblMouseXY = new StatusLabel(client);
    lblMouseXY->setObjectName("lblMouseXY");
    // A badge in the gap between the two status labels, so neither they nor the
    // canvas and legend move: red "!" when the last solve did not converge, blue "i"
    // when a stop rule ended the run; the words are its tool tip, in the
    // optimization dialog and in the chart window. Hidden otherwise.
    lblRunNotice = new QLabel(client);
    lblRunNotice->setObjectName("lblRunNotice");
    lblRunNotice->setAlignment(Qt::AlignCenter);
    lblRunNotice->hide();
    picCanvas->drawing().setBackColor(kCanvasBackground);
    const QColor window = palette().color(QPalette::Window);
    picColorBar->drawing().setBackColor(Rgb{static_cast<std::uint8_t>(window.red()),
                                            static_cast<std::uint8_t>(window.green()),
                                            static_cast<std::uint8_t>(window.blue())});

    buildMenus();

    connect(picCanvas, &CanvasWidget::mouseDown, this, &frmMain::picCanvas_MouseDown);
    connect(picCanvas, &CanvasWidget::mouseMove, this, &frmMain::picCanvas_MouseMove);
    connect(tmrOpt, &QTimer::timeout, this, &frmMain::tmrOpt_Timer);

    StartUp(model_, *this);
    resize(kInitialClientWidth, kInitialClientHeight + menuBar()->sizeHint().height());
}

frmMain::~frmMain() = default;

void frmMain::buildMenus() {
    QMenuBar* bar = menuBar();
    auto command = [this](QMenu* menu, const char* caption, const char* name,
                          const std::function<void()>& action) {
        QAction* item = menu->addAction(QString::fromUtf8(caption));
        item->setObjectName(name);
        connect(item, &QAction::triggered, this, [this, action] { action(); });
        return item;
    };
    auto separator = [](QMenu* menu, const char* name) {
        menu->addSeparator()->setObjectName(name);
    };

    mnuFile = bar->addMenu("File");
    mnuFile->setObjectName("mnuFile");
    mnuOpen = command(mnuFile, "Open model", "mnuOpen", [this] { showDialog<frmOpen>(); });
    mnuSave = command(mnuFile, "Save model", "mnuSave", [this] { showDialog<frmSave>(); });
    mnuImageCopy = command(mnuFile, "Copy image", "mnuImageCopy", [this] { mnuImageCopy_Click(); });
    mnuHistory = command(mnuFile, "Record history", "mnuHistory",
                         [this] { handle([this] { RecordHistory(model_, *this); }); });
    separator(mnuFile, "separater2");
    mnuExit = command(mnuFile, "Exit", "mnuExit", [this] { mnuExit_Click(); });
    // The exports come after the program's own items.
    separator(mnuFile, "separatorExport");
    mnuExportImage =
        command(mnuFile, "Export Image...", "mnuExportImage", [this] { mnuExportImage_Click(); });
    mnuExportShape =
        command(mnuFile, "Export Shape...", "mnuExportShape", [this] { mnuExportShape_Click(); });

    mnuGraphicArea = bar->addMenu("Graphic");
    mnuGraphicArea->setObjectName("mnuGraphicArea");
    mnuWidth = command(mnuGraphicArea, "Width and Mesh Density", "mnuWidth",
                       [this] { showSettingsDialog<frmWidth>(); });
    mnuMoveOrigin =
        command(mnuGraphicArea, "Move Origin", "mnuMoveOrigin", [this] { MoveOrigin(model_); });
    separator(mnuGraphicArea, "separater3");
    mnuImageIndicator = command(mnuGraphicArea, "Graphics", "mnuImageIndicator",
                                [this] { showDialog<frmImageIndicator>(); });
    mnuValueIndicator = command(mnuGraphicArea, "Values", "mnuValueIndicator",
                                [this] { showDialog<frmValueIndicator>(); });
    separator(mnuGraphicArea, "separater5");
    mnuClear = command(mnuGraphicArea, "Clear Model", "mnuClear",
                       [this] { handle([this] { ClearModel(model_, *this); }); });

    // Top-level commands sit directly in the menu bar.
    mnuShape = bar->addAction("Shape");
    mnuShape->setObjectName("mnuShape");
    connect(mnuShape, &QAction::triggered, this, [this] {
        setStatus(SummaryText(model_));
        showDialog<frmShape>();
    });

    mnuAnalysis = bar->addMenu("Parameter");
    mnuAnalysis->setObjectName("mnuAnalysis");
    mnuMaterial = command(mnuAnalysis, "Design Property", "mnuMaterial",
                          [this] { showSettingsDialog<frmMaterial>(); });
    mnuFreedom = command(mnuAnalysis, "Freedom Conditions", "mnuFreedom",
                         [this] { showSettingsDialog<frmFreedom>(); });
    mnuAppliedLoad = command(mnuAnalysis, "Applied Load", "mnuAppliedLoad",
                             [this] { showSettingsDialog<frmAppliedLoad>(); });
    // The caption's spelling is the program's own.
    mnuDrivingParameter = command(mnuAnalysis, "Optimizaion Parameter", "mnuDrivingParameter",
                                  [this] { showSettingsDialog<frmController>(); });

    mnuStressAnalysis = bar->addAction("FEA");
    mnuStressAnalysis->setObjectName("mnuStressAnalysis");
    connect(mnuStressAnalysis, &QAction::triggered, this,
            [this] { handle([this] { StressAnalysisCommand(model_, *this); }); });

    mnuOptimization = bar->addAction("Optimization");
    mnuOptimization->setObjectName("mnuOptimization");
    connect(mnuOptimization, &QAction::triggered, this, [this] { showDialog<frmOptimization>(); });

    // New commands live in a menu of their own after the program's menus, which keep
    // their items as they were.
    mnuRun = bar->addMenu("Run");
    mnuRun->setObjectName("mnuRun");
    mnuConvergenceChart = command(mnuRun, "Convergence Chart...", "mnuConvergenceChart",
                                  [this] { mnuConvergenceChart_Click(); });
    mnuConvergenceChart->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_G));
    mnuStopRules =
        command(mnuRun, "Stop Rules...", "mnuStopRules", [this] { showDialog<frmStopRules>(); });
    mnuStopRules->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_R));
    // Also from the chart window, which is the active one while the user watches it.
    mnuConvergenceChart->setShortcutContext(Qt::ApplicationShortcut);
    mnuStopRules->setShortcutContext(Qt::ApplicationShortcut);
}

void frmMain::mnuConvergenceChart_Click() {
    if (chartWindow == nullptr) {
        chartWindow = new frmConvergenceChart(model_, *this, this);
    }
    chartWindow->show();
    chartWindow->raise();
    chartWindow->activateWindow();
}

void frmMain::runRecordChanged() {
    const std::string notice = RunNoticeText(model_);
    if (notice.empty()) {
        lblRunNotice->hide();
    } else {
        const bool unconverged =
            !model_.Record.entries.empty() && !model_.Record.entries.back().converged;
        lblRunNotice->setText(unconverged ? "!" : "i");
        lblRunNotice->setStyleSheet(unconverged
                                        ? "background: #d00000; color: white; font-weight: bold;"
                                        : "background: #1f4e9c; color: white; font-weight: bold;");
        lblRunNotice->setToolTip(qText(notice));
        lblRunNotice->show();
    }
    if (chartWindow != nullptr) {
        chartWindow->recordChanged();
    }
    emit runChanged();
}

template <class Dialog> void frmMain::showSettingsDialog() {
    StopEditing(model_);
    showDialog<Dialog>();
}

template <class Dialog> void frmMain::showDialog() {
    // Created on first use, shown modal, gone when it closes.
    Dialog dialog(model_, *this, this);
    if constexpr (std::is_same_v<Dialog, frmOptimization>) {
        // The dialog of the running steps says at once why a run stopped.
        connect(this, &frmMain::runChanged, &dialog, &frmOptimization::showRunNotice);
        placeBesideCanvas(dialog);
    }
    dialog.exec();
    refreshPictures();
}

void frmMain::placeBesideCanvas(QDialog& dialog) {
    dialog.adjustSize();
    // The frame the window system adds is not known before the dialog shows; the main
    // window's own frame is a fair guess.
    const QSize frame = frameGeometry().size() - geometry().size();
    const QSize size = dialog.size() + frame;
    const QRect screen = this->screen()->availableGeometry();
    // To the right of the main window when the screen has room there, else to its
    // left, else from the canvas's right edge over the legend; on the screen always.
    const QRect window = frameGeometry();
    QPoint at(window.right() + 1, window.top());
    if (at.x() + size.width() - 1 > screen.right()) {
        at.setX(window.left() - size.width());
        if (at.x() < screen.left()) {
            at = picCanvas->mapToGlobal(QPoint(picCanvas->width(), 0));
        }
    }
    at.setX(std::max(screen.left(), std::min(at.x(), screen.right() + 1 - size.width())));
    at.setY(std::max(screen.top(), std::min(at.y(), screen.bottom() + 1 - size.height())));
    dialog.move(at);
}

void frmMain::handle(const std::function<void()>& handler) {
    RunGuarded(model_, *this, handler);
    refreshPictures();
}

void frmMain::refreshPictures() {
    picCanvas->update();
    picColorBar->update();
}

void frmMain::showMessage(const std::string& text, const std::string& title) {
    if (messageHandler_) {
        messageHandler_(text, title);
        return;
    }
    QMessageBox box(QMessageBox::Warning, qDisplayText(title), qDisplayText(text), QMessageBox::Ok,
                    this);
    box.exec();
}

void frmMain::beep() {
    QApplication::beep();
}

void frmMain::setBusy(bool busy) {
    // The pointer is a state, not a stack: setting it twice needs one restore.
    if (busy && !busy_) {
        QApplication::setOverrideCursor(Qt::WaitCursor);
    } else if (!busy && busy_) {
        QApplication::restoreOverrideCursor();
    }
    busy_ = busy;
}

void frmMain::setStatus(const std::string& text) {
    lblUpDate->setFullText(qDisplayText(text));
    placeLabels();
}
void frmMain::setMouseStatus(const std::string& text) {
    lblMouseXY->setFullText(qDisplayText(text));
    placeLabels();
}

void frmMain::placeLabels() {
    // The layout's widths (5000 and 4000 twips, the second label at 5300) are the
    // least each label gets; a longer text widens its label as far as the window
    // allows, pushing the mouse read-out to the right, and the rest is cut with "..."
    // and shown whole as the tooltip.
    const int client = centralWidget()->width();
    const int gap = kMouseXYLeft - kUpDateWidth;
    const int mouseWidth = std::max(kMouseXYWidth, lblMouseXY->textWidth());
    const int upDateWidth =
        std::max(kUpDateWidth, std::min(lblUpDate->textWidth(), client - gap - mouseWidth));
    const int mouseLeft = std::max(kMouseXYLeft, upDateWidth + gap);
    lblUpDate->setGeometry(0, labelTop_, upDateWidth, labelHeight_);
    lblMouseXY->setGeometry(mouseLeft, labelTop_,
                            std::max(kMouseXYWidth, std::min(mouseWidth, client - mouseLeft)),
                            labelHeight_);
    // The run notice keeps to the gap between the two labels, wherever it is.
    lblRunNotice->setGeometry(upDateWidth + 2, labelTop_, gap - 4, labelHeight_);
}

void frmMain::setTitle(const std::string& text) {
    setWindowTitle(qDisplayText(text));
}

void frmMain::setResultMenusEnabled(bool enabled) {
    mnuOptimization->setEnabled(enabled);
    mnuHistory->setEnabled(enabled);
}

void frmMain::setTimerInterval(int milliseconds) {
    if (milliseconds <= 0) {
        tmrOpt->stop();
    } else {
        // The shortest interval asks for steps as fast as the message loop lets the
        // ticks through: a zero timer does that without the slack of a 1 ms one,
        // and still lets every other event (the stop button) through first.
        tmrOpt->start(milliseconds <= 1 ? 0 : milliseconds);
    }
}

void frmMain::Form_Resize() {
    if (isMinimized()) {
        // What the minimized window shows on the task bar.
        setTitle(kMinimizedTitle);
        return;
    }
    setTitle(kMainTitle);
    QWidget* client = centralWidget();
    // The labels' strip: the same role as the 300 twips under the canvas, sized for
    // the label font so the texts are not clipped.
    const int labelHeight = lblUpDate->fontMetrics().height() + 2;
    const int strip = labelHeight + 8;
    const int labelOffset = labelHeight + 4;
    const LayoutBoxes boxes = ComputeLayout(client->height(), client->width(), strip, labelOffset);
    picCanvas->place(QRect(0, 0, boxes.canvasWidth, boxes.canvasHeight));
    picColorBar->place(QRect(boxes.canvasWidth, 0, boxes.colorBarWidth, boxes.canvasHeight));
    labelTop_ = boxes.labelTop;
    labelHeight_ = labelHeight;
    placeLabels();
    AfterResize(model_, *this);
    refreshPictures();
}

void frmMain::resizeEvent(QResizeEvent* event) {
    QMainWindow::resizeEvent(event);
    handle([this] { Form_Resize(); });
}

void frmMain::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange) {
        handle([this] { Form_Resize(); });
    }
}

void frmMain::closeEvent(QCloseEvent* event) {
    // Ends the program at once; ending it closes the history file.
    tmrOpt->stop();
    history_.Close(model_);
    event->accept();
}

void frmMain::picCanvas_MouseDown(float x, float y) {
    handle([&] { CanvasMouseDown(model_, *this, x, y); });
}

void frmMain::picCanvas_MouseMove(float x, float y) {
    setMouseStatus(MouseText(x, y));
}

void frmMain::tmrOpt_Timer() {
    // The pictures repaint themselves, at most once a frame: a fast run makes more
    // steps a second than a screen shows.
    RunGuarded(model_, *this, [this] { OptimizationTimerTick(model_, *this); });
}

void frmMain::mnuImageCopy_Click() {
    QClipboard* clipboard = QApplication::clipboard();
    clipboard->clear();
    clipboard->setImage(picCanvas->surface().image());
}

std::string frmMain::exportFile(const std::string& caption, const QStringList& filters) {
    if (saveFileChooser_) {
        return saveFileChooser_(caption);
    }
    // "PNG image (*.png)" -> "png"
    const auto ending = [](const QString& filter) {
        const qsizetype dot = filter.lastIndexOf('.');
        return filter.mid(dot + 1).chopped(1);
    };
    QFileDialog dialog(this, qText(caption));
    dialog.setAcceptMode(QFileDialog::AcceptSave);
    dialog.setNameFilters(filters);
    dialog.setDefaultSuffix(ending(filters.first()));
    connect(&dialog, &QFileDialog::filterSelected, &dialog,
            [&](const QString& filter) { dialog.setDefaultSuffix(ending(filter)); });
    // Next to the model, named after it, when it came from a file.
    const QFileInfo model(qText(model_.ModelFilePath));
    if (!model_.ModelFilePath.empty() && model.absoluteDir().exists()) {
        dialog.setDirectory(model.absoluteDir());
        dialog.selectFile(model.completeBaseName());
    } else {
        dialog.setDirectory(QDir::current());
    }
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty()) {
        return {};
    }
    return stdText(dialog.selectedFiles().first());
}

void frmMain::mnuExportImage_Click() {
    const std::string path =
        exportFile(kExportImageTitle, {"PNG image (*.png)", "SVG drawing (*.svg)"});
    if (path.empty()) {
        return;
    }
    if (!PictureFormatOf(path)) {
        showMessage(kImageFileName, kExportImageTitle);
        return;
    }
    // What the window shows now: the canvas and the legend as they are.
    try {
        WritePicture(path, picCanvas->picture(), picColorBar->picture());
    } catch (const std::exception& error) {
        showMessage(ExportFailureMessage(error), kExportImageTitle);
    }
}

void frmMain::mnuExportShape_Click() {
    // Nothing to write: say so before asking for a file.
    if (TraceShape(model_).empty()) {
        showMessage(kNoShapeToExport, kExportShapeTitle);
        return;
    }
    const std::string path = exportFile(
        kExportShapeTitle, {"SVG outline (*.svg)", "DXF drawing (*.dxf)", "STL solid (*.stl)"});
    if (!path.empty()) {
        ExportShapeCommand(model_, *this, path);
    }
}

void frmMain::mnuExit_Click() {
    ExitProgram(model_, *this);
    tmrOpt->stop();
    hide();
    QApplication::quit();
}

} // namespace quillane
