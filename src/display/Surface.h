#pragma once
// The drawing primitives the pictures are made of, independent of any toolkit.
//
// A surface carries a user scale given by its top-left and bottom-right corners;
// with top > bottom, y grows upwards. Everything drawn stays until the surface is
// cleared. Colours are plain RGB; the standard 16-colour palette names the usual
// ones. Line widths are in pixels, whatever the scale.

#include <cstdint>
#include <string>

namespace quillane {

struct Rgb {
    std::uint8_t r = 0;
    std::uint8_t g = 0;
    std::uint8_t b = 0;
    friend bool operator==(const Rgb&, const Rgb&) = default;
};

// The standard 16-colour palette: 0 black, 1 blue, 2 green, 3 cyan, 4 red,
// 5 magenta, 6 brown, 7 light grey, 8 dark grey, 9 light blue, 10 light green,
// 11 light cyan, 12 light red, 13 light magenta, 14 yellow, 15 white.
// Raises the subscript fault outside 0..15.
Rgb PaletteColor(int index);

// The canvas's light-yellow background, also the fill of cut-out cells.
inline constexpr Rgb kCanvasBackground{255, 255, 128};

class DrawingSurface {
  public:
    virtual ~DrawingSurface() = default;

    // The user scale: (left, top) is the top-left corner, (right, bottom) the
    // bottom-right one.
    virtual void setScale(double left, double top, double right, double bottom) = 0;
    // The colour clear() fills with; setting it does not change what is drawn.
    virtual void setBackColor(Rgb color) = 0;
    // Fills the whole surface with the background colour and puts the text
    // position at the top-left corner.
    virtual void clear() = 0;
    // Width in pixels of the lines, box outlines and circles drawn from now on.
    virtual void setDrawWidth(int pixels) = 0;

    virtual void line(double x1, double y1, double x2, double y2, Rgb color) = 0;
    // The outline of the axis-parallel box with opposite corners (x1, y1), (x2, y2).
    virtual void box(double x1, double y1, double x2, double y2, Rgb color) = 0;
    // The same box filled, outline included.
    virtual void filledBox(double x1, double y1, double x2, double y2, Rgb color) = 0;
    // A circle of radius r (in units of the x scale) around (x, y).
    virtual void circle(double x, double y, double r, Rgb color) = 0;

    // Where the next print puts the top-left corner of its text.
    virtual void setTextPosition(double x, double y) = 0;
    // Prints one line of UTF-8 text at the text position, then moves the position
    // to the start of the next line (left edge, one line further down).
    virtual void print(const std::string& text, Rgb color) = 0;
};

} // namespace quillane
