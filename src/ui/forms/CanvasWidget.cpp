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
    surface_.setOnChange([this] { nextFrame_.request(); });
}

void CanvasWidget::paintEvent(QPaintEvent*) {
    nextFrame_.ran();
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
