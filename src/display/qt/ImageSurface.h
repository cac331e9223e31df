#pragma once
// A drawing surface on a persistent QImage: what is drawn stays until cleared, and
// a widget shows it by copying its pixels. Works headless (no window needed;
// printing text needs a QGuiApplication for the fonts).

#include <QImage>
#include <functional>
#include <utility>

#include "display/qt/PainterSurface.h"

namespace quillane {

class ImageSurface : public PainterSurface {
  public:
    explicit ImageSurface(QSize size = QSize(1, 1));

    // A new size keeps the scale and starts from a cleared image.
    void resize(QSize size);
    const QImage& image() const { return image_; }
    // Called after every change of the pixels, e.g. to schedule a widget's repaint.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

  protected:
    // A painter of its own for every primitive, on the image.
    void paint(const std::function<void(QPainter&)>& draw) override;
    void fill(const QColor& back) override;

  private:
    QImage image_;
    std::function<void()> onChange_;
};

} // namespace quillane
