#pragma once
// A picture box: shows the persistent image of its drawing surface and reports the
// mouse in the surface's user units.

#include <QWidget>

#include "display/qt/ImageSurface.h"

namespace quillane {

class CanvasWidget : public QWidget {
    Q_OBJECT

  public:
    explicit CanvasWidget(QWidget* parent = nullptr);

    ImageSurface& surface() { return surface_; }
    // Moves and sizes the box and its image at once, so that what the owner draws
    // right after lands on an image of the new size.
    void place(const QRect& geometry);
    // User coordinates (mm on the canvas) of a pixel position in the widget.
    QPointF toUser(QPointF pixel) const { return surface_.toUser(pixel); }
    QPointF toPixels(double x, double y) const { return surface_.toPixels(x, y); }

  signals:
    // Any button; positions in user units, single precision as the handlers take them.
    void mouseDown(float x, float y);
    void mouseMove(float x, float y);

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;

  private:
    ImageSurface surface_;
};

} // namespace quillane
