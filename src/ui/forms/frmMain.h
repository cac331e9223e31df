#pragma once
// The main window: menus, the canvas, the colour legend, the two status labels and
// the optimization timer. It holds the one model and translates the toolkit's
// events into calls of the plain editing and command functions.

#include <QAction>
#include <QLabel>
#include <QMainWindow>
#include <QMenu>
#include <QTimer>
#include <functional>

#include "model/Model.h"
#include "optimize/History.h"
#include "ui/Desktop.h"
#include "ui/forms/CanvasWidget.h"
#include "ui/forms/StatusLabel.h"

namespace quillane {

class frmConvergenceChart;

class frmMain : public QMainWindow, public Desktop {
    Q_OBJECT

  public:
    explicit frmMain(QWidget* parent = nullptr);
    ~frmMain() override;

    Model& model() { return model_; }

    // Where message boxes go; by default a modal box with the exclamation icon and
    // an OK button. Tests replace it to capture the messages.
    using MessageHandler = std::function<void(const std::string& text, const std::string& title)>;
    void setMessageHandler(MessageHandler handler) { messageHandler_ = std::move(handler); }

    // Where the export commands ask for the file to write; by default a standard save
    // dialog offering the formats. Returns "" when the user cancels. Tests replace it.
    using SaveFileChooser = std::function<std::string(const std::string& caption)>;
    void setSaveFileChooser(SaveFileChooser chooser) { saveFileChooser_ = std::move(chooser); }

    // Desktop
    DrawingSurface& canvas() override { return picCanvas->drawing(); }
    DrawingSurface& colorBar() override { return picColorBar->drawing(); }
    void showMessage(const std::string& text, const std::string& title) override;
    void beep() override;
    void setBusy(bool busy) override;
    void setStatus(const std::string& text) override;
    void setMouseStatus(const std::string& text) override;
    void setTitle(const std::string& text) override;
    void setResultMenusEnabled(bool enabled) override;
    void setTimerInterval(int milliseconds) override;
    double canvasWidth() override { return picCanvas->width(); }
    double canvasHeight() override { return picCanvas->height(); }
    HistoryRecorder& history() override { return history_; }
    void runRecordChanged() override;

    // Controls, named as the program knows them.
    CanvasWidget* picCanvas = nullptr;
    CanvasWidget* picColorBar = nullptr;
    StatusLabel* lblUpDate = nullptr;
    StatusLabel* lblMouseXY = nullptr;
    QTimer* tmrOpt = nullptr;

    QMenu* mnuFile = nullptr;
    QAction* mnuOpen = nullptr;
    QAction* mnuSave = nullptr;
    QAction* mnuImageCopy = nullptr;
    QAction* mnuHistory = nullptr;
    QAction* mnuExit = nullptr;
    QAction* mnuExportImage = nullptr;
    QAction* mnuExportShape = nullptr;
    QMenu* mnuGraphicArea = nullptr;
    QAction* mnuWidth = nullptr;
    QAction* mnuMoveOrigin = nullptr;
    QAction* mnuImageIndicator = nullptr;
    QAction* mnuValueIndicator = nullptr;
    QAction* mnuClear = nullptr;
    QAction* mnuShape = nullptr;
    QMenu* mnuAnalysis = nullptr;
    QAction* mnuMaterial = nullptr;
    QAction* mnuFreedom = nullptr;
    QAction* mnuAppliedLoad = nullptr;
    QAction* mnuDrivingParameter = nullptr;
    QAction* mnuStressAnalysis = nullptr;
    QAction* mnuOptimization = nullptr;

    // Added after the program's own controls: the run's notice beside the status
    // labels, the "Run" menu and the chart window it opens (created on first use).
    QLabel* lblRunNotice = nullptr;
    QMenu* mnuRun = nullptr;
    QAction* mnuConvergenceChart = nullptr;
    QAction* mnuStopRules = nullptr;
    frmConvergenceChart* chartWindow = nullptr;
    void mnuConvergenceChart_Click();

    // The layout rule applied to the present client area (also run on every resize).
    void Form_Resize();

  signals:
    // After runRecordChanged: the optimization dialog shows the notice too.
    void runChanged();

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

  private:
    void buildMenus();
    // The two labels as wide as their texts where the window has room for them.
    void placeLabels();
    // The Optimization dialog beside the canvas, so the map stays in view.
    void placeBesideCanvas(QDialog& dialog);
    // Runs an event handler under the fault guard, then shows what it drew.
    void handle(const std::function<void()>& handler);
    void refreshPictures();
    template <class Dialog> void showDialog();
    // The dialogs that change settings stop the canvas editing first.
    template <class Dialog> void showSettingsDialog();

    void picCanvas_MouseDown(float x, float y);
    void picCanvas_MouseMove(float x, float y);
    void tmrOpt_Timer();
    void mnuImageCopy_Click();
    void mnuExit_Click();
    void mnuExportImage_Click();
    void mnuExportShape_Click();
    // The file to export to, from the chooser or a save dialog with these filters
    // ("PNG image (*.png)"); the first filter's ending is added to a bare name.
    std::string exportFile(const std::string& caption, const QStringList& filters);

    Model model_;
    HistoryRecorder history_;
    MessageHandler messageHandler_;
    SaveFileChooser saveFileChooser_;
    bool busy_ = false;
    int labelTop_ = 0;
    int labelHeight_ = 0;
};

} // namespace quillane
