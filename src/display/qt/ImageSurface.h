#pragma once
// A drawing surface on a persistent QImage: what is drawn stays until cleared, and
// a widget shows it by copying its pixels. Works headless (no window needed;
// printing text needs a QGuiApplication for the fonts).

#include <QFont>
#include <QImage>
#include <functional>
#include <utility>

#include "display/Surface.h"

namespace quillane {

class ImageSurface : public DrawingSurface {
  public:
    explicit ImageSurface(QSize size = QSize(1, 1));

    // A new size keeps the scale and starts from a cleared image.
    void resize(QSize size);
    const QImage& image() const { return image_; }
    QSize size() const { return image_.size(); }
    void setFont(const QFont& font) { font_ = font; }
    // Called after every change of the pixels, e.g. to schedule a widget's repaint.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }

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

    // User units to pixels and back.
    QPointF toPixels(double x, double y) const;
    QPointF toUser(QPointF pixel) const;

  private:
    void changed() const {
        if (onChange_) {
            onChange_();
        }
    }

    QImage image_;
    std::function<void()> onChange_;
    QFont font_;
    QColor back_{255, 255, 255};
    int width_ = 1;
    double left_ = 0, top_ = 0, right_ = 1, bottom_ = 1;
    double textX_ = 0, textY_ = 0;
};

} // namespace quillane
