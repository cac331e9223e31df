#include "display/qt/ImageSurface.h"

namespace quillane {

ImageSurface::ImageSurface(QSize size)
    : PainterSurface(size.expandedTo(QSize(1, 1))),
      image_(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32) {
    image_.fill(backColor());
}

void ImageSurface::resize(QSize size) {
    image_ = QImage(size.expandedTo(QSize(1, 1)), QImage::Format_RGB32);
    image_.fill(backColor());
    setSize(image_.size());
}

void ImageSurface::paint(const std::function<void(QPainter&)>& draw) {
    {
        QPainter p(&image_);
        draw(p);
    }
    if (onChange_) {
        onChange_();
    }
}

void ImageSurface::fill(const QColor& back) {
    image_.fill(back);
    if (onChange_) {
        onChange_();
    }
}

} // namespace quillane
