#pragma once
// A drawing surface that keeps a list of what was asked of it, for tests, for
// checking a picture without pixels, and for drawing a picture again on another
// surface (the window's picture saved as SVG).

#include <string>
#include <vector>

#include "display/Surface.h"

namespace quillane {

struct DrawOp {
    enum Kind {
        Scale,
        BackColor,
        Clear,
        DrawWidth,
        Line,
        Box,
        FilledBox,
        Circle,
        TextPosition,
        Print
    };
    Kind kind = Clear;
    // Scale: left, top, right, bottom. Line and boxes: x1, y1, x2, y2. Circle: x, y,
    // r. TextPosition: x, y. Print: the text position it printed at.
    double a = 0, b = 0, c = 0, d = 0;
    Rgb color;     // of the primitive, or the background colour
    int width = 1; // the draw width in force
    std::string text;
};

class RecordingSurface : public DrawingSurface {
  public:
    // Keeps everything drawn; with `sinceClearOnly`, only what is on the surface: a
    // clear drops what came before and starts the list with the scale, background
    // colour and draw width in force, so replaying the list draws the same picture.
    explicit RecordingSurface(bool sinceClearOnly = false) : sinceClearOnly_(sinceClearOnly) {}

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

    // Everything recorded since the start (or the last forget()).
    const std::vector<DrawOp>& ops() const { return ops_; }
    // What is on the surface now: the operations after the last clear.
    std::vector<DrawOp> sinceClear() const;
    // The operations of one kind, in order.
    std::vector<DrawOp> ofKind(DrawOp::Kind kind) const;
    void forget() { ops_.clear(); }

    Rgb backColor() const { return back_; }
    int drawWidth() const { return width_; }

  private:
    void add(DrawOp op);

    std::vector<DrawOp> ops_;
    bool sinceClearOnly_ = false;
    Rgb back_{255, 255, 255};
    int width_ = 1;
    double left_ = 0, top_ = 0, right_ = 0, bottom_ = 0;
    double textX_ = 0, textY_ = 0;
    double lineHeight_ = 0; // a print moves down by this in user units; 0 without a scale
};

// Asks `target` for the same drawing again, call by call (each primitive at the draw
// width it was recorded with); a print prints at the target's own text position.
void Replay(const std::vector<DrawOp>& ops, DrawingSurface& target);

// Draws everything on two surfaces at once, e.g. an image and its record.
class TeeSurface : public DrawingSurface {
  public:
    TeeSurface(DrawingSurface& first, DrawingSurface& second) : first_(first), second_(second) {}

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

  private:
    DrawingSurface& first_;
    DrawingSurface& second_;
};

} // namespace quillane
