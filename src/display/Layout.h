#pragma once
// The main window's layout rule: how its client area divides into the canvas, the
// colour legend beside it and the strip of status labels below.

#include "model/Int16.h"

namespace quillane {

// The layout rule for a client area of height H and width W in the window's own
// unit: canvas height CH = H - strip, label top LT = H - labelOffset, colour-bar
// width CB = CH / 21 * 5.5, canvas width CW = W - CB, each rounded half to even to
// 16 bits as soon as it is computed (overflow fault beyond). In twips strip = 300
// and labelOffset = 230.
struct LayoutBoxes {
    int16 canvasHeight = 0;  // CH
    int16 labelTop = 0;      // LT
    int16 colorBarWidth = 0; // CB
    int16 canvasWidth = 0;   // CW
};
LayoutBoxes ComputeLayout(double clientHeight, double clientWidth, double strip = 300,
                          double labelOffset = 230);

// The first window's client area, in twips, and the twips of one pixel on the screen.
inline constexpr int kFirstClientWidthTwips = 8085;
inline constexpr int kFirstClientHeightTwips = 5880;
inline constexpr int kTwipsPerPixel = 15;

// The canvas of the first window laid out by the rule (6624 x 5580 twips): the view
// of a model opened without a window (the runner, the examples) is fitted to it.
LayoutBoxes FirstWindowLayout();

} // namespace quillane
