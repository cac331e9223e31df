#include "ui/forms/frmConvergenceChart.h"

#include <QApplication>
#include <QChartView>
#include <QClipboard>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "display/qt/ConvergenceChart.h"
#include "model/SafeFile.h"
#include "ui/RunReport.h"
#include "ui/forms/Text.h"

namespace quillane {

frmConvergenceChart::frmConvergenceChart(Model& m, Desktop& d, QWidget* parent)
    : QWidget(parent, Qt::Window), m_(m), d_(d),
      redraw_(this, 1000 / kRedrawsPerSecond, [this] { refresh(); }) {
    setWindowTitle("Convergence Chart");
    chart = new ConvergenceChart;
    picChart = new QChartView(chart, this); // the view owns the chart
    picChart->setRenderHint(QPainter::Antialiasing);
    picChart->setMinimumSize(480, 300);
    lblNotice = new QLabel(this);
    lblNotice->setWordWrap(true);
    lblNotice->setStyleSheet("color: #b00000;");
    cmdSaveChart = new QPushButton("Save Chart...", this);
    cmdCopyData = new QPushButton("Copy Data", this);
    cmdSaveData = new QPushButton("Save Data...", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(picChart, 1);
    layout->addWidget(lblNotice);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(cmdSaveChart);
    buttons->addWidget(cmdCopyData);
    buttons->addWidget(cmdSaveData);
    buttons->addStretch();
    layout->addLayout(buttons);
    resize(760, 520);

    connect(cmdSaveChart, &QPushButton::clicked, this, [this] {
        const QString png = "PNG image (*.png)";
        const QString svg = "SVG image (*.svg)";
        QString chosen;
        QString path = QFileDialog::getSaveFileName(this, "Save Chart", "convergence.png",
                                                    png + ";;" + svg, &chosen);
        if (path.isEmpty()) {
            return;
        }
        // A name typed without its extension gets the one of the chosen type.
        if (!path.endsWith(".png", Qt::CaseInsensitive) &&
            !path.endsWith(".svg", Qt::CaseInsensitive)) {
            path += chosen == svg ? ".svg" : ".png";
        }
        saveChart(path);
    });
    connect(cmdCopyData, &QPushButton::clicked, this, &frmConvergenceChart::copyData);
    connect(cmdSaveData, &QPushButton::clicked, this, [this] {
        const QString path =
            QFileDialog::getSaveFileName(this, "Save Data", "convergence.csv", "CSV file (*.csv)");
        if (!path.isEmpty()) {
            saveData(path);
        }
    });
}

void frmConvergenceChart::recordChanged() {
    // A hidden window catches up when it is shown.
    if (isVisible()) {
        redraw_.request();
    }
}

void frmConvergenceChart::refresh() {
    redraw_.ran();
    chart->Follow(m_.Record);
    const QString notice = qText(RunNoticeText(m_));
    if (lblNotice->text() != notice) {
        lblNotice->setText(notice);
    }
    ++redraws_;
}

void frmConvergenceChart::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

bool frmConvergenceChart::saveChart(const QString& path) {
    const ChartFormat format =
        path.endsWith(".svg", Qt::CaseInsensitive) ? ChartFormat::Svg : ChartFormat::Png;
    // Drawn by the runner's code at the size the window shows.
    const QByteArray bytes = RenderConvergenceChart(m_.Record, picChart->size(), format);
    return writeFile(path, bytes.toStdString(), "chart");
}

bool frmConvergenceChart::saveData(const QString& path) {
    return writeFile(path, RunRecordCsv(m_.Record), "data");
}

void frmConvergenceChart::copyData() {
    QApplication::clipboard()->setText(qText(RunRecordCsv(m_.Record)));
}

bool frmConvergenceChart::writeFile(const QString& path, const std::string& bytes,
                                    const char* what) {
    try {
        WriteFileReplacing(stdText(path), bytes);
        return true;
    } catch (const FileWriteError& error) {
        d_.showMessage(std::string("The ") + what + " could not be saved: " + error.what() +
                           ".\r\nChoose another file or folder and try again.",
                       "Convergence Chart");
        return false;
    }
}

} // namespace quillane
