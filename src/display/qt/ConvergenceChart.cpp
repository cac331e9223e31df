#include "display/qt/ConvergenceChart.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QGraphicsScene>
#include <QImage>
#include <QLineSeries>
#include <QPainter>
#include <QScatterSeries>
#include <QSvgGenerator>
#include <QValueAxis>
#include <algorithm>
#include <cmath>
#include <string>

#include "model/NumberText.h"

namespace quillane {

namespace {

QLineSeries* lineSeries(const QString& name, const QColor& color, qreal width) {
    auto* series = new QLineSeries;
    series->setName(name);
    QPen pen(color);
    pen.setWidthF(width);
    series->setPen(pen);
    return series;
}

// Ticks at round numbers (1, 2 or 5 times a power of ten) about five to a range,
// anchored at 0, whatever range the run has reached; never closer than `finest`.
void setRoundTicks(QValueAxis* axis, double low, double high, double finest = 0.0) {
    const double rough = (high - low) / 5.0;
    const double power = std::pow(10.0, std::floor(std::log10(rough)));
    double interval = power;
    for (const double factor : {2.0, 5.0, 10.0}) {
        if (interval < rough) {
            interval = factor * power;
        }
    }
    interval = std::max(interval, finest);
    // The ticks first: the axis lays out its labels when its range changes.
    axis->setTickType(QValueAxis::TicksDynamic);
    axis->setTickAnchor(0.0);
    axis->setTickInterval(interval);
    axis->setRange(low, high);
}

// A value axis whose range is at least a little wide, so a constant curve sits in
// the middle instead of on an edge. Quantities that cannot be negative keep 0 as
// their floor.
void setPaddedRange(QValueAxis* axis, double low, double high) {
    double pad = (high - low) * 0.05;
    if (pad <= 0.0) {
        pad = std::max(std::abs(high) * 0.05, 1.0);
    }
    const double floor = low >= 0.0 ? std::max(0.0, low - pad) : low - pad;
    setRoundTicks(axis, floor, high + pad);
}

} // namespace

double ChartStepOf(const RunRecordEntry& entry) {
    return entry.analysis ? -1.0 : static_cast<double>(entry.step);
}

ConvergenceChart::ConvergenceChart() {
    // The run is followed live: animations would lag behind it.
    setAnimationOptions(QChart::NoAnimation);
    legend()->setAlignment(Qt::AlignBottom);

    volume = lineSeries("Volume (mm³)", QColor(0, 70, 160), 2.5);
    maxStress = lineSeries("Largest stress", QColor(200, 110, 0), 1.5);
    meanStress = lineSeries("Mean stress", QColor(120, 60, 160), 1.5);
    minStress = lineSeries("Smallest stress", QColor(0, 140, 120), 1.5);

    unconverged = new QScatterSeries;
    unconverged->setName("Not converged");
    unconverged->setMarkerShape(QScatterSeries::MarkerShapeTriangle);
    unconverged->setMarkerSize(11.0);
    unconverged->setColor(QColor(220, 0, 0));
    unconverged->setBorderColor(QColor(140, 0, 0));

    present = new QScatterSeries;
    present->setName("Present step");
    present->setMarkerShape(QScatterSeries::MarkerShapeCircle);
    present->setMarkerSize(16.0);
    present->setColor(Qt::transparent);
    QPen ring(Qt::black);
    ring.setWidthF(2.5);
    present->setPen(ring);

    stepAxis = new QValueAxis;
    stepAxis->setTitleText("Step (the analysis at -1)");
    stepAxis->setLabelFormat("%d");
    volumeAxis = new QValueAxis;
    volumeAxis->setTitleText("Volume (mm³)");
    volumeAxis->setLabelFormat("%.4g");
    stressAxis = new QValueAxis;
    stressAxis->setTitleText("von Mises stress (MPa)");
    stressAxis->setLabelFormat("%.3g");
    addAxis(stepAxis, Qt::AlignBottom);
    addAxis(volumeAxis, Qt::AlignLeft);
    addAxis(stressAxis, Qt::AlignRight);

    for (QXYSeries* series : std::initializer_list<QXYSeries*>{volume, maxStress, meanStress,
                                                               minStress, unconverged, present}) {
        addSeries(series);
        series->attachAxis(stepAxis);
        const bool onVolume = series == volume || series == unconverged || series == present;
        series->attachAxis(onVolume ? volumeAxis : stressAxis);
    }
    restart(0);
}

void ConvergenceChart::restart(unsigned generation) {
    for (QXYSeries* series : std::initializer_list<QXYSeries*>{volume, maxStress, meanStress,
                                                               minStress, unconverged, present}) {
        series->clear();
    }
    generation_ = generation;
    shown_ = 0;
    anyConverged_ = false;
    setTitle("No analysis yet");
    stepAxis->setRange(-1.0, 1.0);
    volumeAxis->setRange(0.0, 1.0);
    stressAxis->setRange(0.0, 1.0);
}

void ConvergenceChart::Follow(const RunRecord& record) {
    const std::vector<RunRecordEntry>& entries = record.entries;
    if (record.generation != generation_ || entries.size() < shown_) {
        restart(record.generation);
    }
    if (entries.size() == shown_) {
        return;
    }
    QList<QPointF> volumes;
    QList<QPointF> maxima;
    QList<QPointF> means;
    QList<QPointF> minima;
    QList<QPointF> failed;
    for (std::size_t k = shown_; k < entries.size(); ++k) {
        const RunRecordEntry& e = entries[k];
        const double x = ChartStepOf(e);
        volumes.append(QPointF(x, e.volume));
        maxima.append(QPointF(x, e.maxStress));
        means.append(QPointF(x, e.meanStress));
        minima.append(QPointF(x, e.minStress));
        if (!e.converged) {
            failed.append(QPointF(x, e.volume));
        }
        if (k == 0) {
            firstStep_ = x;
            volumeLow_ = volumeHigh_ = e.volume;
        }
        lastStep_ = x;
        volumeLow_ = std::min(volumeLow_, e.volume);
        volumeHigh_ = std::max(volumeHigh_, e.volume);
        // The stresses of a solve that did not converge can be wild (millions of MPa
        // once the structure has fallen apart): the axis fits the sound ones, and the
        // others, marked, may run off the top.
        if (k == 0 || (e.converged && !anyConverged_)) {
            stressLow_ = e.minStress;
            stressHigh_ = e.maxStress;
            anyConverged_ = e.converged;
        }
        if (e.converged || !anyConverged_) {
            stressLow_ = std::min({stressLow_, e.minStress, e.meanStress, e.maxStress});
            stressHigh_ = std::max({stressHigh_, e.minStress, e.meanStress, e.maxStress});
        }
    }
    // One append per series and update: each append makes the chart lay out again.
    volume->append(volumes);
    maxStress->append(maxima);
    meanStress->append(means);
    minStress->append(minima);
    if (!failed.isEmpty()) {
        unconverged->append(failed);
    }
    shown_ = entries.size();

    const RunRecordEntry& last = entries.back();
    present->replace(QList<QPointF>{QPointF(ChartStepOf(last), last.volume)});
    // The title is rich text, where runs of blanks collapse: commas part its pieces.
    setTitle(QString::fromStdString(
        (last.analysis ? std::string("Analysis") : "Step " + std::to_string(last.step)) +
        ", volume " + formatScientific(last.volume) + "mm^3" +
        (last.converged ? "" : ", solve not converged")));
    fitAxes();
}

void ConvergenceChart::fitAxes() {
    // Steps are whole numbers.
    setRoundTicks(stepAxis, firstStep_, std::max(lastStep_, firstStep_ + 1.0), 1.0);
    setPaddedRange(volumeAxis, volumeLow_, volumeHigh_);
    setPaddedRange(stressAxis, stressLow_, stressHigh_);
}

QByteArray RenderConvergenceChart(const RunRecord& record, QSize size, ChartFormat format) {
    QGraphicsScene scene;
    auto* chart = new ConvergenceChart; // the scene owns it
    scene.addItem(chart);
    const QRectF area(QPointF(0.0, 0.0), QSizeF(size));
    chart->setGeometry(area);
    chart->Follow(record);
    scene.setSceneRect(area);
    // A graphics widget lays itself out when its posted layout request arrives; no
    // event loop runs here, so it is delivered now (layout requests only, so a
    // window saving its chart runs no other event, such as a step, meanwhile).
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);

    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    if (format == ChartFormat::Png) {
        QImage image(size, QImage::Format_RGB32);
        image.fill(Qt::white);
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        scene.render(&painter, area, area);
        painter.end();
        image.save(&buffer, "PNG");
    } else {
        QSvgGenerator svg;
        svg.setOutputDevice(&buffer);
        svg.setSize(size);
        svg.setViewBox(QRect(QPoint(0, 0), size));
        svg.setTitle("Convergence");
        QPainter painter(&svg);
        painter.setRenderHint(QPainter::Antialiasing);
        scene.render(&painter, area, area);
        painter.end();
    }
    return bytes;
}

} // namespace quillane
