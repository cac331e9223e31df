#pragma once
// A picture box: shows the persistent image of its drawing surface and reports the
// mouse in the surface's user units. It keeps what it shows as a drawing too, so the
// picture can be saved as vectors.

#include <QWidget>

#include "display/RecordingSurface.h"
#include "display/qt/ImageSurface.h"
#include "display/qt/Picture.h"

namespace quillane {

class CanvasWidget : public QWidget {
    Q_OBJECT

  public:
    explicit CanvasWidget(QWidget* parent = nullptr);

    ImageSurface& surface() { return surface_; }
    // Draws on the picture and keeps the drawing of what it shows.
    DrawingSurface& drawing() { return drawing_; }
    // The picture as it stands: its pixels, and its drawing since the last clear.
    PictureBox picture() const { return {surface_.image(), shown_.ops(), surface_.font()}; }
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
    // A new size starts from a cleared picture.
    void resized(QSize size);

    ImageSurface surface_;
    RecordingSurface shown_{true};
    TeeSurface drawing_{surface_, shown_};
};

} // namespace quillane
