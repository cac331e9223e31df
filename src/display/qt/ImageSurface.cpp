#include "display/qt/ImageSurface.h"

#include <QFontMetricsF>
#include <QPainter>
#include <QPen>
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

ImageSurface::ImageSurface(QSize size)
    : image_(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32) {
    image_.fill(back_);
}

void ImageSurface::resize(QSize size) {
    image_ = QImage(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32);
    image_.fill(back_);
}

void ImageSurface::setScale(double left, double top, double right, double bottom) {
    left_ = left;
    top_ = top;
    right_ = right;
    bottom_ = bottom;
}

void ImageSurface::setBackColor(Rgb color) {
    back_ = qcolor(color);
}

void ImageSurface::clear() {
    image_.fill(back_);
    textX_ = left_;
    textY_ = top_;
    changed();
}

void ImageSurface::setDrawWidth(int pixels) {
    width_ = pixels;
}

QPointF ImageSurface::toPixels(double x, double y) const {
    const double sx = right_ == left_ ? 0.0 : image_.width() / (right_ - left_);
    const double sy = bottom_ == top_ ? 0.0 : image_.height() / (bottom_ - top_);
    return {(x - left_) * sx, (y - top_) * sy};
}

QPointF ImageSurface::toUser(QPointF pixel) const {
    const double x = left_ + pixel.x() * (right_ - left_) / std::max(1, image_.width());
    const double y = top_ + pixel.y() * (bottom_ - top_) / std::max(1, image_.height());
    return {x, y};
}

void ImageSurface::line(double x1, double y1, double x2, double y2, Rgb color) {
    QPainter p(&image_);
    p.setPen(penOf(color, width_));
    const QPointF a = toPixels(x1, y1);
    const QPointF b = toPixels(x2, y2);
    if (a == b) {
        // A zero-length line still leaves a dot of the pen's width.
        p.drawPoint(a);
    } else {
        p.drawLine(a, b);
    }
    changed();
}

void ImageSurface::box(double x1, double y1, double x2, double y2, Rgb color) {
    QPainter p(&image_);
    p.setPen(penOf(color, width_));
    p.setBrush(Qt::NoBrush);
    p.drawRect(QRectF(toPixels(x1, y1), toPixels(x2, y2)).normalized());
    changed();
}

void ImageSurface::filledBox(double x1, double y1, double x2, double y2, Rgb color) {
    QPainter p(&image_);
    p.setPen(penOf(color, width_));
    p.setBrush(qcolor(color));
    p.drawRect(QRectF(toPixels(x1, y1), toPixels(x2, y2)).normalized());
    changed();
}

void ImageSurface::circle(double x, double y, double r, Rgb color) {
    QPainter p(&image_);
    p.setRenderHint(QPainter::Antialiasing);
    p.setPen(penOf(color, width_));
    p.setBrush(Qt::NoBrush);
    const QPointF centre = toPixels(x, y);
    const double radius = std::abs(toPixels(x + r, y).x() - centre.x());
    p.drawEllipse(centre, radius, radius);
    changed();
}

void ImageSurface::setTextPosition(double x, double y) {
    textX_ = x;
    textY_ = y;
}

void ImageSurface::print(const std::string& text, Rgb color) {
    QPainter p(&image_);
    p.setFont(font_);
    p.setPen(qcolor(color));
    const QFontMetricsF metrics(font_);
    const QPointF at = toPixels(textX_, textY_);
    p.drawText(QPointF(at.x(), at.y() + metrics.ascent()), QString::fromStdString(text));
    // Next line: back to the left edge, one line height further down.
    const QPointF below = toUser(QPointF(at.x(), at.y() + metrics.height()));
    textX_ = left_;
    textY_ = below.y();
    changed();
}

} // namespace quillane
