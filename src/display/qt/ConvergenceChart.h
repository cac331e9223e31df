#pragma once
// The convergence chart of a run: the volume on the left axis and the largest, mean
// and smallest element stress on the right, against the step; solves that did not
// converge are marked and the present step is ringed. The desktop's chart window
// follows a run with it and the runner draws the same chart into a file, so both
// show one picture.

#include <QByteArray>
#include <QChart>
#include <QSize>

#include "model/RunRecord.h"

class QLineSeries;
class QScatterSeries;
class QValueAxis;

namespace quillane {

// Where an entry stands on the step axis. The analysis and the first step are both
// numbered 0 in the history file; the analysis, which comes first, is drawn one
// before it.
double ChartStepOf(const RunRecordEntry& entry);

class ConvergenceChart : public QChart {
  public:
    ConvergenceChart();

    // Brings the chart up to the record. A record that only grew adds its new
    // entries to the series (a long run is never redrawn from its start); one that
    // was cleared since starts the series afresh.
    void Follow(const RunRecord& record);

    QLineSeries* volume = nullptr;
    QLineSeries* maxStress = nullptr;
    QLineSeries* meanStress = nullptr;
    QLineSeries* minStress = nullptr;
    QScatterSeries* unconverged = nullptr; // at the volume of each such entry
    QScatterSeries* present = nullptr;     // the last entry
    QValueAxis* stepAxis = nullptr;
    QValueAxis* volumeAxis = nullptr;
    QValueAxis* stressAxis = nullptr;

  private:
    void restart(unsigned generation);
    void fitAxes();

    unsigned generation_ = 0;
    std::size_t shown_ = 0; // entries already in the series
    double firstStep_ = 0.0;
    double lastStep_ = 0.0;
    double volumeLow_ = 0.0;
    double volumeHigh_ = 0.0;
    double stressLow_ = 0.0;
    double stressHigh_ = 0.0;
    bool anyConverged_ = false; // the stress range holds converged entries only
};

enum class ChartFormat { Png, Svg };

// The chart of `record` alone at `size` pixels, as PNG or SVG bytes. Needs a
// QApplication (the chart is a graphics widget).
QByteArray RenderConvergenceChart(const RunRecord& record, QSize size, ChartFormat format);

} // namespace quillane
