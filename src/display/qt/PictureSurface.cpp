#include "display/qt/PictureSurface.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <unordered_set>

namespace quillane {

namespace {

bool sameBits(double a, double b) {
    return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

// Where a box is: its corners to the bit and its line width.
struct Place {
    std::array<std::uint64_t, 4> corners;
    int width;
    friend bool operator==(const Place&, const Place&) = default;
};

Place placeOf(const DrawOp& op) {
    return {{std::bit_cast<std::uint64_t>(op.a), std::bit_cast<std::uint64_t>(op.b),
             std::bit_cast<std::uint64_t>(op.c), std::bit_cast<std::uint64_t>(op.d)},
            op.width};
}

struct PlaceHash {
    std::size_t operator()(const Place& p) const {
        std::uint64_t h = static_cast<std::uint64_t>(p.width);
        for (std::uint64_t c : p.corners) {
            h = (h ^ c) * 0x100000001b3ULL;
            h ^= h >> 29;
        }
        return static_cast<std::size_t>(h);
    }
};

// Paints on a painter that lasts for a whole picture, or only follows the drawing
// state (scale, width, text position) without painting. Every primitive starts
// from the hints a fresh painter has, as if it had a painter of its own.
class Painting : public PainterSurface {
  public:
    Painting(QPainter& painter, QSize size)
        : PainterSurface(painter, QPoint(0, 0), size), painter_(painter),
          hints_(painter.renderHints()) {}
    bool painting = false;

  protected:
    void paint(const std::function<void(QPainter&)>& draw) override {
        if (!painting) {
            return;
        }
        if (painter_.renderHints() != hints_) {
            painter_.setRenderHints(painter_.renderHints(), false);
            painter_.setRenderHints(hints_, true);
        }
        PainterSurface::paint(draw);
    }
    void fill(const QColor& back) override {
        if (painting) {
            PainterSurface::fill(back);
        }
    }

  private:
    QPainter& painter_;
    QPainter::RenderHints hints_;
};

} // namespace

bool SameOp(const DrawOp& a, const DrawOp& b) {
    return a.kind == b.kind && sameBits(a.a, b.a) && sameBits(a.b, b.b) && sameBits(a.c, b.c) &&
           sameBits(a.d, b.d) && a.color == b.color && a.width == b.width && a.text == b.text;
}

std::vector<DrawOp> UncoveredOps(const std::vector<DrawOp>& ops) {
    // From the end: a box is covered when a filled box of its place comes later.
    std::vector<bool> covered(ops.size(), false);
    std::unordered_set<Place, PlaceHash> filledLater;
    for (std::size_t k = ops.size(); k-- > 0;) {
        const DrawOp& op = ops[k];
        if (op.kind == DrawOp::Clear) {
            filledLater.clear();
        } else if (op.kind == DrawOp::Box || op.kind == DrawOp::FilledBox) {
            const Place place = placeOf(op);
            if (filledLater.count(place) != 0) {
                covered[k] = true;
            } else if (op.kind == DrawOp::FilledBox) {
                filledLater.insert(place);
            }
        }
    }
    std::vector<DrawOp> out;
    out.reserve(ops.size());
    for (std::size_t k = 0; k < ops.size(); ++k) {
        if (!covered[k]) {
            out.push_back(ops[k]);
        }
    }
    return out;
}

PictureSurface::PictureSurface(QSize size) : PainterSurface(size.expandedTo(QSize(1, 1))) {}

void PictureSurface::resize(QSize size) {
    setSize(size.expandedTo(QSize(1, 1)));
    drawing_.clear();
    changed();
}

void PictureSurface::changed() {
    // The owner hears of the first change after a look; the rest follow it.
    if (!stale_) {
        stale_ = true;
        if (onChange_) {
            onChange_();
        }
    }
}

void PictureSurface::paintOps(QImage& image, const std::vector<DrawOp>& ops, std::size_t from,
                              std::size_t to) const {
    if (from >= to) {
        return;
    }
    QPainter painter(&image);
    Painting target(painter, image.size());
    target.setFont(font());
    const auto begin = ops.begin();
    Replay({begin, begin + static_cast<std::ptrdiff_t>(from)}, target);
    target.painting = true;
    Replay({begin + static_cast<std::ptrdiff_t>(from), begin + static_cast<std::ptrdiff_t>(to)},
           target);
}

const QImage& PictureSurface::image() const {
    if (!stale_) {
        return image_;
    }
    stale_ = false;
    std::vector<DrawOp> ops = UncoveredOps(drawing_.ops());
    const std::size_t shorter = std::min(ops.size(), painted_.size());
    std::size_t common = 0;
    while (common < shorter && SameOp(ops[common], painted_[common])) {
        ++common;
    }
    if (image_.size() == size() && common == ops.size() && common == painted_.size()) {
        return image_; // the same picture again
    }
    // The layer holds when it is part of what the two pictures share; otherwise the
    // shared part becomes the layer the next pictures start from.
    QImage image;
    std::size_t from = 0;
    if (layerCount_ > 0 && layerCount_ <= common && layer_.size() == size()) {
        image = layer_;
        from = layerCount_;
        // Grown to what the last three pictures shared, once they shared more.
        const std::size_t shared = std::min(common, lastCommon_);
        if (shared > from) {
            paintOps(image, ops, from, shared);
            layer_ = image;
            layerCount_ = shared;
            from = shared;
        }
    } else {
        image = QImage(size(), QImage::Format_RGB32);
        image.fill(QColor(255, 255, 255));
        layer_ = QImage();
        layerCount_ = 0;
        if (common > 0) {
            paintOps(image, ops, 0, common);
            layer_ = image;
            layerCount_ = common;
            from = common;
        }
    }
    paintOps(image, ops, from, ops.size());
    lastCommon_ = common;
    image_ = std::move(image);
    painted_ = std::move(ops);
    ++paints_;
    return image_;
}

void PictureSurface::setScale(double left, double top, double right, double bottom) {
    PainterSurface::setScale(left, top, right, bottom);
    drawing_.setScale(left, top, right, bottom);
}

void PictureSurface::setBackColor(Rgb color) {
    PainterSurface::setBackColor(color);
    drawing_.setBackColor(color);
}

void PictureSurface::clear() {
    drawing_.clear();
    changed();
}

void PictureSurface::setDrawWidth(int pixels) {
    drawing_.setDrawWidth(pixels);
}

void PictureSurface::line(double x1, double y1, double x2, double y2, Rgb color) {
    drawing_.line(x1, y1, x2, y2, color);
    changed();
}

void PictureSurface::box(double x1, double y1, double x2, double y2, Rgb color) {
    drawing_.box(x1, y1, x2, y2, color);
    changed();
}

void PictureSurface::filledBox(double x1, double y1, double x2, double y2, Rgb color) {
    drawing_.filledBox(x1, y1, x2, y2, color);
    changed();
}

void PictureSurface::circle(double x, double y, double r, Rgb color) {
    drawing_.circle(x, y, r, color);
    changed();
}

void PictureSurface::setTextPosition(double x, double y) {
    drawing_.setTextPosition(x, y);
}

void PictureSurface::print(const std::string& text, Rgb color) {
    drawing_.print(text, color);
    changed();
}

} // namespace quillane
