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
    right_ = right;
    bottom_ = bottom;
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
    if (sinceClearOnly_) {
        ops_.clear();
        add({DrawOp::Scale, left_, top_, right_, bottom_, {}, 0, {}});
        add({DrawOp::BackColor, 0, 0, 0, 0, back_, 0, {}});
        add({DrawOp::DrawWidth, 0, 0, 0, 0, {}, 0, {}});
    }
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

void Replay(const std::vector<DrawOp>& ops, DrawingSurface& target) {
    for (const DrawOp& op : ops) {
        switch (op.kind) {
        case DrawOp::Scale:
            target.setScale(op.a, op.b, op.c, op.d);
            break;
        case DrawOp::BackColor:
            target.setBackColor(op.color);
            break;
        case DrawOp::Clear:
            target.clear();
            break;
        case DrawOp::DrawWidth:
            target.setDrawWidth(op.width);
            break;
        case DrawOp::Line:
            target.setDrawWidth(op.width);
            target.line(op.a, op.b, op.c, op.d, op.color);
            break;
        case DrawOp::Box:
            target.setDrawWidth(op.width);
            target.box(op.a, op.b, op.c, op.d, op.color);
            break;
        case DrawOp::FilledBox:
            target.setDrawWidth(op.width);
            target.filledBox(op.a, op.b, op.c, op.d, op.color);
            break;
        case DrawOp::Circle:
            target.setDrawWidth(op.width);
            target.circle(op.a, op.b, op.c, op.color);
            break;
        case DrawOp::TextPosition:
            target.setTextPosition(op.a, op.b);
            break;
        case DrawOp::Print:
            target.print(op.text, op.color);
            break;
        }
    }
}

void TeeSurface::setScale(double left, double top, double right, double bottom) {
    first_.setScale(left, top, right, bottom);
    second_.setScale(left, top, right, bottom);
}

void TeeSurface::setBackColor(Rgb color) {
    first_.setBackColor(color);
    second_.setBackColor(color);
}

void TeeSurface::clear() {
    first_.clear();
    second_.clear();
}

void TeeSurface::setDrawWidth(int pixels) {
    first_.setDrawWidth(pixels);
    second_.setDrawWidth(pixels);
}

void TeeSurface::line(double x1, double y1, double x2, double y2, Rgb color) {
    first_.line(x1, y1, x2, y2, color);
    second_.line(x1, y1, x2, y2, color);
}

void TeeSurface::box(double x1, double y1, double x2, double y2, Rgb color) {
    first_.box(x1, y1, x2, y2, color);
    second_.box(x1, y1, x2, y2, color);
}

void TeeSurface::filledBox(double x1, double y1, double x2, double y2, Rgb color) {
    first_.filledBox(x1, y1, x2, y2, color);
    second_.filledBox(x1, y1, x2, y2, color);
}

void TeeSurface::circle(double x, double y, double r, Rgb color) {
    first_.circle(x, y, r, color);
    second_.circle(x, y, r, color);
}

void TeeSurface::setTextPosition(double x, double y) {
    first_.setTextPosition(x, y);
    second_.setTextPosition(x, y);
}

void TeeSurface::print(const std::string& text, Rgb color) {
    first_.print(text, color);
    second_.print(text, color);
}

} // namespace quillane
