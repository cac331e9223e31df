#pragma once
// A picture box: shows the picture of its drawing surface and reports the mouse in
// the surface's user units. The surface keeps the drawing, which also saves the
// picture as vectors, and paints its pixels when the box shows them: at most once a
// frame, however often the owner draws.

#include <QWidget>

#include "display/qt/Picture.h"
#include "display/qt/PictureSurface.h"
#include "ui/forms/Pacer.h"

namespace quillane {

class CanvasWidget : public QWidget {
    Q_OBJECT

  public:
    // The least time between two repaints, in milliseconds (about a screen's frame).
    static constexpr int kFrameInterval = 16;

    explicit CanvasWidget(QWidget* parent = nullptr);

    PictureSurface& surface() { return surface_; }
    // Draws on the picture and keeps the drawing of what it shows.
    DrawingSurface& drawing() { return surface_; }
    // The picture as it stands: its pixels, and its drawing since the last clear.
    PictureBox picture() const { return {surface_.image(), surface_.ops(), surface_.font()}; }
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
    PictureSurface surface_;
    // A repaint when the picture changed: now, or when the frame is over.
    Pacer nextFrame_{this, kFrameInterval, [this] { update(); }};
};

} // namespace quillane
