#pragma once
// The main window's own logic, apart from its widgets: start-up, the view after a
// resize, the status captions and the menu commands that act directly.

#include <string>

#include "model/Model.h"
#include "ui/Desktop.h"

namespace quillane {

inline constexpr const char* kMainTitle =
    "Quillane Optimization for Shape and Topology      HARROW Lab., Calder univ.";
// The title after a model was opened.
inline constexpr const char* kOpenedTitle =
    "Quillane Optimization for Shape and Topology      by HARROW Lab., Calder univ.";
// The caption of the minimized window.
inline constexpr const char* kMinimizedTitle = "POST";

// The status captions of lblUpDate.
// "Width = 2000mm  Element Size = 100mm"
std::string SummaryText(const Model& m);
// After an analysis: "  Volume = " Volume in "0.00E+00" "mm^3", e.g. "  Volume = 2.00E+06mm^3".
std::string AnalysisStatusText(const Model& m);
// After a step: "  Volume = 1.25E+04mm^3     3step", with the step's number (StepCount
// before its increment).
std::string StepStatusText(const Model& m);

// Form_Load of frmMain: the start-up values, the summary, the title, the colour table, the
// timer stopped and the result menus disabled.
void StartUp(Model& m, Desktop& d);

// DomainHeight from the canvas's aspect, ViewRight and ViewTop from the origin
// fractions, then the canvas scale. Undoes a Move Origin.
void RebuildView(Model& m, Desktop& d);

// Form_Resize, the rest of it after the widgets are placed: the view, DrawCanvas, and the
// legend with "stress(MPa)".
void AfterResize(Model& m, Desktop& d);

// mnuMoveOrigin_Click, "Move Origin": EditMode = 9.
void MoveOrigin(Model& m);

// mnuClear_Click, "Clear Model": the canvas and geometry emptied (picCanvasClear, which also
// empties the run record), EditMode = 0, the result menus disabled, and an open history file
// closed.
void ClearModel(Model& m, Desktop& d);

// mnuExit_Click, "Exit": the history file closed, recording off.
void ExitProgram(Model& m, Desktop& d);

} // namespace quillane
