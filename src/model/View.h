#pragma once
// The part of the model the canvas shows: DomainWidth millimetres across, and as many
// down as the canvas's aspect gives, with the origin placed by the fractions.

#include "model/Model.h"

namespace quillane {

// The view for a canvas of the given size (in its own units): DomainHeight =
// DomainWidth x height / width, so one millimetre is as long in y as in x;
// ViewRight = OriginFracX x DomainWidth, ViewTop = OriginFracY x DomainHeight. A
// Move Origin is thereby undone. A canvas without width raises the floating-point
// fault.
void FitView(Model& m, double canvasWidth, double canvasHeight);

} // namespace quillane
