#include "display/qt/PainterSurface.h"

#include <QFontMetricsF>
#include <QPen>
#include <QRect>
#include <QTransform>
#include <algorithm>
#include <cmath>

namespace quillane {

namespace {

QColor qcolor(Rgb c) {
    return QColor(c.r, c.g, c.b);
}

QPen penOf(Rgb color, int width) {
    QPen pen(qcolor(color));
    pen.setWidth(std::max(1, width));
    pen.setCapStyle(Qt::SquareCap);
    pen.setJoinStyle(Qt::MiterJoin);
    return pen;
}

} // namespace

PainterSurface::PainterSurface(QPainter& painter, QPoint origin, QSize size)
    : painter_(&painter), origin_(origin), size_(size) {}

void PainterSurface::paint(const std::function<void(QPainter&)>& draw) {
    // Every primitive sets the pen and brush it draws with, so the painter only needs
    // the area's offset. Saving and restoring its state for each primitive would
    // write a group per primitive into an SVG.
    const QTransform offset = QTransform::fromTranslate(origin_.x(), origin_.y());
    if (painter_->transform() != offset) {
        painter_->setTransform(offset);
    }
    draw(*painter_);
}

void PainterSurface::fill(const QColor& back) {
    paint([&](QPainter& p) { p.fillRect(QRect(QPoint(0, 0), size_), back); });
}

void PainterSurface::setScale(double left, double top, double right, double bottom) {
    left_ = left;
    top_ = top;
    right_ = right;
    bottom_ = bottom;
}

void PainterSurface::setBackColor(Rgb color) {
    back_ = qcolor(color);
}

void PainterSurface::clear() {
    fill(back_);
    textX_ = left_;
    textY_ = top_;
}

void PainterSurface::setDrawWidth(int pixels) {
    width_ = pixels;
}

QPointF PainterSurface::toPixels(double x, double y) const {
    const double sx = right_ == left_ ? 0.0 : size_.width() / (right_ - left_);
    const double sy = bottom_ == top_ ? 0.0 : size_.height() / (bottom_ - top_);
    return {(x - left_) * sx, (y - top_) * sy};
}

QPointF PainterSurface::toUser(QPointF pixel) const {
    const double x = left_ + pixel.x() * (right_ - left_) / std::max(1, size_.width());
    const double y = top_ + pixel.y() * (bottom_ - top_) / std::max(1, size_.height());
    return {x, y};
}

void PainterSurface::line(double x1, double y1, double x2, double y2, Rgb color) {
    paint([&](QPainter& p) {
        p.setPen(penOf(color, width_));
        const QPointF a = toPixels(x1, y1);
        const QPointF b = toPixels(x2, y2);
        if (a == b) {
            // A zero-length line still leaves a dot of the pen's width.
            p.drawPoint(a);
        } else {
            p.drawLine(a, b);
        }
    });
}

void PainterSurface::box(double x1, double y1, double x2, double y2, Rgb color) {
    paint([&](QPainter& p) {
        p.setPen(penOf(color, width_));
        p.setBrush(Qt::NoBrush);
        p.drawRect(QRectF(toPixels(x1, y1), toPixels(x2, y2)).normalized());
    });
}

void PainterSurface::filledBox(double x1, double y1, double x2, double y2, Rgb color) {
    paint([&](QPainter& p) {
        p.setPen(penOf(color, width_));
        p.setBrush(qcolor(color));
        p.drawRect(QRectF(toPixels(x1, y1), toPixels(x2, y2)).normalized());
    });
}

void PainterSurface::circle(double x, double y, double r, Rgb color) {
    paint([&](QPainter& p) {
        p.setRenderHint(QPainter::Antialiasing);
        p.setPen(penOf(color, width_));
        p.setBrush(Qt::NoBrush);
        const QPointF centre = toPixels(x, y);
        const double radius = std::abs(toPixels(x + r, y).x() - centre.x());
        p.drawEllipse(centre, radius, radius);
    });
}

void PainterSurface::setTextPosition(double x, double y) {
    textX_ = x;
    textY_ = y;
}

void PainterSurface::print(const std::string& text, Rgb color) {
    const QFontMetricsF metrics(font_);
    const QPointF at = toPixels(textX_, textY_);
    paint([&](QPainter& p) {
        p.setFont(font_);
        p.setPen(qcolor(color));
        p.drawText(QPointF(at.x(), at.y() + metrics.ascent()), QString::fromStdString(text));
    });
    // Next line: back to the left edge, one line height further down.
    const QPointF below = toUser(QPointF(at.x(), at.y() + metrics.height()));
    textX_ = left_;
    textY_ = below.y();
}

} // namespace quillane
