#pragma once
// The drawing primitives on a QPainter: the user scale mapped onto an area of so
// many pixels, pens of whole pixels, text in the surface's font. One code for every
// Qt picture: the image surface paints each primitive on its QImage, a surface given
// a painter (e.g. on a QSvgGenerator) paints with that painter into its own area.

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QPoint>
#include <QSize>
#include <functional>

#include "display/Surface.h"

namespace quillane {

class PainterSurface : public DrawingSurface {
  public:
    // Draws with `painter`, active for as long as the surface is used, into the
    // rectangle of `size` pixels at `origin` of the painter's device. Nothing is
    // clipped (an SVG generator could not keep it): a picture of several areas draws
    // them in order, each covering what an earlier one drew beyond its edge.
    PainterSurface(QPainter& painter, QPoint origin, QSize size);

    QSize size() const { return size_; }
    void setFont(const QFont& font) { font_ = font; }
    const QFont& font() const { return font_; }

    void setScale(double left, double top, double right, double bottom) override;
    void setBackColor(Rgb color) override;
    void clear() override;
    void setDrawWidth(int pixels) override;
    void line(double x1, double y1, double x2, double y2, Rgb color) override;
    void box(double x1, double y1, double x2, double y2, Rgb color) override;
    void filledBox(double x1, double y1, double x2, double y2, Rgb color) override;
    void circle(double x, double y, double r, Rgb color) override;
    void setTextPosition(double x, double y) override;
    void print(const std::string& text, Rgb color) override;

    // User units to pixels of the surface's area and back.
    QPointF toPixels(double x, double y) const;
    QPointF toUser(QPointF pixel) const;

  protected:
    // For a surface that brings its own device (the image surface).
    explicit PainterSurface(QSize size) : size_(size) {}
    void setSize(QSize size) { size_ = size; }
    const QColor& backColor() const { return back_; }

    // Runs the drawing of one primitive with a painter in the surface's pixels.
    virtual void paint(const std::function<void(QPainter&)>& draw);
    // Fills the whole surface with the background colour.
    virtual void fill(const QColor& back);

  private:
    QPainter* painter_ = nullptr;
    QPoint origin_;
    QSize size_;
    QFont font_;
    QColor back_{255, 255, 255};
    int width_ = 1;
    double left_ = 0, top_ = 0, right_ = 1, bottom_ = 1;
    double textX_ = 0, textY_ = 0;
};

} // namespace quillane
