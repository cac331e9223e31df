#include "display/RecordingSurface.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace quillane {

void RecordingSurface::add(DrawOp op) {
    op.width = width_;
    ops_.push_back(std::move(op));
}

void RecordingSurface::setScale(double left, double top, double right, double bottom) {
    left_ = left;
    top_ = top;
    // Twenty lines fill the height; the sign makes "down" follow the scale's direction.
    lineHeight_ = (top - bottom) / 20.0;
    add({DrawOp::Scale, left, top, right, bottom, {}, 0, {}});
}

void RecordingSurface::setBackColor(Rgb color) {
    back_ = color;
    add({DrawOp::BackColor, 0, 0, 0, 0, color, 0, {}});
}

void RecordingSurface::clear() {
    textX_ = left_;
    textY_ = top_;
    add({DrawOp::Clear, 0, 0, 0, 0, back_, 0, {}});
}

void RecordingSurface::setDrawWidth(int pixels) {
    width_ = pixels;
    add({DrawOp::DrawWidth, 0, 0, 0, 0, {}, 0, {}});
}

void RecordingSurface::line(double x1, double y1, double x2, double y2, Rgb color) {
    add({DrawOp::Line, x1, y1, x2, y2, color, 0, {}});
}

void RecordingSurface::box(double x1, double y1, double x2, double y2, Rgb color) {
    add({DrawOp::Box, x1, y1, x2, y2, color, 0, {}});
}

void RecordingSurface::filledBox(double x1, double y1, double x2, double y2, Rgb color) {
    add({DrawOp::FilledBox, x1, y1, x2, y2, color, 0, {}});
}

void RecordingSurface::circle(double x, double y, double r, Rgb color) {
    add({DrawOp::Circle, x, y, r, 0, color, 0, {}});
}

void RecordingSurface::setTextPosition(double x, double y) {
    textX_ = x;
    textY_ = y;
    add({DrawOp::TextPosition, x, y, 0, 0, {}, 0, {}});
}

void RecordingSurface::print(const std::string& text, Rgb color) {
    add({DrawOp::Print, textX_, textY_, 0, 0, color, 0, text});
    textX_ = left_;
    textY_ -= lineHeight_;
}

std::vector<DrawOp> RecordingSurface::sinceClear() const {
    const auto last = std::find_if(ops_.rbegin(), ops_.rend(),
                                   [](const DrawOp& op) { return op.kind == DrawOp::Clear; });
    return {last.base(), ops_.end()};
}

std::vector<DrawOp> RecordingSurface::ofKind(DrawOp::Kind kind) const {
    std::vector<DrawOp> out;
    std::copy_if(ops_.begin(), ops_.end(), std::back_inserter(out),
                 [kind](const DrawOp& op) { return op.kind == kind; });
    return out;
}

} // namespace quillane
