#pragma once
// The main window's layout, and the part of the model the canvas shows: DomainWidth millimetres
// across, and as many down as the canvas's aspect gives, with the origin placed by the fractions.

#include "model/Int16.h"
#include "model/Model.h"

namespace quillane {

// The view for a canvas of the given size (in its own units): DomainHeight =
// DomainWidth x height / width, so one millimetre is as long in y as in x;
// ViewRight = OriginFracX x DomainWidth, ViewTop = OriginFracY x DomainHeight. A
// Move Origin is thereby undone. A canvas without width raises the floating-point
// fault.
void FitView(Model& m, double canvasWidth, double canvasHeight);

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

} // namespace quillane
