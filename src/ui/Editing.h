#pragma once
// Editing the model with the mouse: the canvas press dispatch by EditMode, the
// design domain and its rectangle operations, supports and loads.

#include <string>

#include "model/Model.h"
#include "ui/Desktop.h"

namespace quillane {

// EditMode codes: what a press on the canvas does.
enum EditCode : int16 {
    kEditNothing = 0,
    kEditDomain = 1,
    kEditAddDesign = 2,
    kEditAddNonDesign = 3,
    kEditCutOut = -1,
    kEditEmpty = -2,
    kEditLoad = 4,
    kEditDisplacementValue = 5,
    kEditStressValue = 6,
    kEditPotentialValue = 7,
    kEditLoadValue = 8,
    kEditMoveOrigin = 9,
    kEditFixX = 11,
    kEditFixY = 12,
    kEditFixXY = 13,
    kEditFree = 14,
};

// Form_Load of the settings dialogs (frmAppliedLoad, frmFreedom, frmWidth,
// frmMaterial, frmController): EditMode = 0, so a click on the canvas does nothing
// while settings change. The main window calls it before showing one of them.
void StopEditing(Model& m);

// The nearest grid line to a coordinate: floor(v / size + 0.5), halves up.
int16 NearestGridLine(float v, float size);

// picCanvas_MouseMove's caption of lblMouseXY: "x = -350mm  y = 120mm" (whole numbers, halves away
// from zero).
std::string MouseText(float X, float Y);

// picCanvas_MouseDown: each test of EditMode in turn (not an else-chain), any
// button. Code 9 moves the origin to the press and redraws.
void CanvasMouseDown(Model& m, Desktop& d, float X, float Y);

// Two clicks: the first corner (marked in light red), then the second; the mesh is
// then built, every cell empty, EditMode = 0, and the canvas redrawn. A rectangle
// without a whole row or column, or with counts beyond 16 bits, is refused with a
// warning and the previous domain stays as it was.
void DesignDomainSet(Model& m, Desktop& d, float X, float Y);

// Rectangle operations over the cells between two clicked cells (both included):
// design material (1), non-design material (2), empty (0), cut out (-3). A click
// whose cell lies outside the domain rectangle (or while no domain exists) is
// refused with kElementNotInDomain; a refused second click keeps the first corner.
void AddDesignElements(Model& m, Desktop& d, float X, float Y);
void AddNonDesignElements(Model& m, Desktop& d, float X, float Y);
void RemoveElements(Model& m, Desktop& d, float X, float Y);
void DeleteDesignDomain(Model& m, Desktop& d, float X, float Y);

// Both pick the grid node nearest to the click (halves go up); a node outside the
// domain rectangle (edges included), or any node while no domain exists, is
// refused with kNodeNotInDomain.
// The clicked node's supports by EditMode 11..14 (both flags written).
void FreedomSet(Model& m, Desktop& d, float X, float Y);
// The clicked node gets (LoadFx, LoadFy), replacing its load; beeps.
void LoadSet(Model& m, Desktop& d, float X, float Y);

} // namespace quillane
