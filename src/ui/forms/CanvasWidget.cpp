#include "ui/forms/CanvasWidget.h"

#include <QMouseEvent>
#include <QPainter>

namespace quillane {

CanvasWidget::CanvasWidget(QWidget* parent) : QWidget(parent) {
    // The read-out follows the mouse without a button held.
    setMouseTracking(true);
    setAttribute(Qt::WA_OpaquePaintEvent);
    surface_.setFont(font());
    // Whatever draws on the picture, from any handler or dialog, shows at the
    // next paint.
    surface_.setOnChange([this] { update(); });
}

void CanvasWidget::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.drawImage(0, 0, surface_.image());
}

void CanvasWidget::place(const QRect& geometry) {
    setGeometry(geometry);
    if (surface_.size() != geometry.size()) {
        resized(geometry.size());
    }
}

void CanvasWidget::resized(QSize size) {
    surface_.resize(size);
    shown_.clear();
}

void CanvasWidget::resizeEvent(QResizeEvent*) {
    // A hidden widget gets its resize event only when shown, after the owner drew
    // on the image placed for it: keep that picture when the size agrees.
    if (surface_.size() != size()) {
        resized(size());
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
