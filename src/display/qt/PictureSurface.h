#pragma once
// A picture box's surface: it keeps what is drawn as a drawing and turns it into
// pixels only when someone looks at the image. A fast automatic run draws the whole
// model every step, far more often than a screen can show it; here a step costs the
// recording of its primitives, and the pixels are painted once per look, with one
// painter, from the layer the pictures before had in common (background, domain,
// grid), skipping boxes that a later box of the same place covers. The pixels are
// those an ImageSurface painting each primitive as it comes would have.

#include <QImage>
#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

#include "display/RecordingSurface.h"
#include "display/qt/PainterSurface.h"

namespace quillane {

class PictureSurface : public PainterSurface {
  public:
    explicit PictureSurface(QSize size = QSize(1, 1));

    // A new size keeps the scale and starts from a cleared picture.
    void resize(QSize size);
    // The pixels of everything drawn since the last clear.
    const QImage& image() const;
    // What is on the picture: the drawing since the last clear.
    const std::vector<DrawOp>& ops() const { return drawing_.ops(); }
    // Called when the picture changes after its image was last taken (once, not
    // per primitive), e.g. to schedule a widget's repaint.
    void setOnChange(std::function<void()> onChange) { onChange_ = std::move(onChange); }
    // Images painted so far from the drawing (tests count them).
    int paints() const { return paints_; }

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
    void changed();
    // Paints ops[from, to) on `image`, the drawing state set by ops[0, from) first.
    void paintOps(QImage& image, const std::vector<DrawOp>& ops, std::size_t from,
                  std::size_t to) const;

    RecordingSurface drawing_{true};
    std::function<void()> onChange_;
    mutable bool stale_ = true;
    mutable int paints_ = 0;
    // The image, and the primitives it was painted from (covered boxes left out).
    mutable QImage image_;
    mutable std::vector<DrawOp> painted_;
    // The image after the first layerCount_ of painted_: where the next one starts.
    mutable QImage layer_;
    mutable std::size_t layerCount_ = 0;
    // How much the last picture shared with the one before it.
    mutable std::size_t lastCommon_ = 0;
};

// The drawing without the boxes a later filled box covers exactly: the same corners
// to the bit and the same line width, with no clear in between.
std::vector<DrawOp> UncoveredOps(const std::vector<DrawOp>& ops);

// The same primitive to the bit (so a picture that repeats is not painted again).
bool SameOp(const DrawOp& a, const DrawOp& b);

} // namespace quillane
