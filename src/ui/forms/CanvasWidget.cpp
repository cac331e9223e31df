#include "ui/forms/CanvasWidget.h"

#include <QMouseEvent>
#include <QPainter>
#include <QTimer>

namespace quillane {

CanvasWidget::CanvasWidget(QWidget* parent) : QWidget(parent) {
    // The read-out follows the mouse without a button held.
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    surface_.setFont(font());
    nextFrame_ = new QTimer(this);
    nextFrame_->setSingleShot(true);
    connect(nextFrame_, &QTimer::timeout, this, [this] { update(); });
    // Whatever draws on the picture, from any handler or dialog, shows at the
    // next paint.
    surface_.setOnChange([this] { pictureChanged(); });
}

void CanvasWidget::pictureChanged() {
    if (nextFrame_->isActive()) {
        return;
    }
    const qint64 since = sincePaint_.isValid() ? sincePaint_.elapsed() : kFrameInterval;
    if (since >= kFrameInterval) {
        update();
    } else {
        // The last picture of a burst shows too, once the frame is over.
        nextFrame_->start(static_cast<int>(kFrameInterval - since));
    }
}

void CanvasWidget::paintEvent(QPaintEvent*) {
    sincePaint_.start();
    QPainter p(this);
    p.drawImage(0, 0, surface_.image());
}

void CanvasWidget::place(const QRect& geometry) {
    setGeometry(geometry);
    if (surface_.size() != geometry.size()) {
        surface_.resize(geometry.size());
    }
}

void CanvasWidget::resizeEvent(QResizeEvent*) {
    // A hidden widget gets its resize event only when shown, after the owner drew
    // on the image placed for it: keep that picture when the size agrees. A new
    // size starts from a cleared picture.
    if (surface_.size() != size()) {
        surface_.resize(size());
    }
}

void CanvasWidget::mousePressEvent(QMouseEvent* event) {
    const QPointF at = toUser(event->position());
    emit mouseDown(static_cast<float>(at.x()), static_cast<float>(at.y()));
}

void CanvasWidget::mouseMoveEvent(QMouseEvent* event) {
    const QPointF at = toUser(event->position());
    emit mouseMove(static_cast<float>(at.x()), static_cast<float>(at.y()));
}

} // namespace quillane
