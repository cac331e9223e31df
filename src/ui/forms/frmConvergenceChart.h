#pragma once
// "Convergence Chart": a window beside the main one that follows the run record
// live, says when a solve did not converge or which rule ended a run, and saves the
// chart as PNG or SVG and the record as CSV. Not modal: the run goes on while it is
// open.

#include <QWidget>

#include "model/Model.h"
#include "ui/Desktop.h"
#include "ui/forms/Pacer.h"

class QChartView;
class QLabel;
class QPushButton;

namespace quillane {

class ConvergenceChart;

class frmConvergenceChart : public QWidget {
    Q_OBJECT

  public:
    // At most this many redraws a second: a fast automatic run makes hundreds of
    // steps a second, and drawing each would slow it down.
    static constexpr int kRedrawsPerSecond = 20;

    frmConvergenceChart(Model& m, Desktop& d, QWidget* parent = nullptr);

    // The record changed: redraw now, or once the redraw interval is over, or when
    // the window is shown again.
    void recordChanged();
    // Redraws at once.
    void refresh();

    // What the buttons do once a file is chosen; false after a message was shown.
    // The chart is PNG unless the name ends in .svg.
    bool saveChart(const QString& path);
    bool saveData(const QString& path);
    void copyData();

    ConvergenceChart* chart = nullptr;
    QChartView* picChart = nullptr;
    QLabel* lblNotice = nullptr;
    QPushButton* cmdSaveChart = nullptr;
    QPushButton* cmdCopyData = nullptr;
    QPushButton* cmdSaveData = nullptr;

    int redraws() const { return redraws_; }

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    bool writeFile(const QString& path, const std::string& bytes, const char* what);

    Model& m_;
    Desktop& d_;
    // At most kRedrawsPerSecond redraws; the last change of a burst is drawn too.
    Pacer redraw_;
    int redraws_ = 0;
};

} // namespace quillane
