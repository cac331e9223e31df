#pragma once
// The commands behind the menus and dialog buttons, as plain functions on the
// model and the desktop. Dialogs only read their controls and call these.

#include <functional>
#include <string>

#include "model/Model.h"
#include "ui/Desktop.h"

namespace quillane {

// Runs a handler; a run-time fault, a file error or a shortage of memory is
// caught here: the pointer is restored, automatic optimization stopped (flag and
// timer), and the fault reported in a message box that says what happened and
// why. The model stays as the handler left it, except that a history file that
// could not be written is closed (recording off), so it can be started again.
// Returns false after a fault.
bool RunGuarded(Model& m, Desktop& d, const std::function<void()>& handler);

// The message box text for a caught exception, in plain words.
std::string FaultMessage(const std::exception& error);
// Its title.
std::string FaultTitle(const std::exception& error);

// mnuStressAnalysis_Click, "FEA": EditMode = 0, busy pointer, the analysis, the stress map, the
// volume in the status label, the result menus enabled, default pointer.
void StressAnalysisCommand(Model& m, Desktop& d);

// Optimization, the main window's step: one optimization step with the map chosen by DisplayMode
// (the canvas redrawn first, so cells that lost their material show empty), the status label and a
// history record when recording.
void OptimizationStep(Model& m, Desktop& d);

// tmrOpt_Timer: a step when AutoOptimize is set. Then the stop rules: when one fires,
// the run stops as Automatic_Stop stops it and the record keeps which rule fired.
void OptimizationTimerTick(Model& m, Desktop& d);
// frmOptimization's buttons: cmdAutoStart_Click, cmdAutoStop_Click, cmdManual_Click
// ("Bit by Bit") and cmdCancel_Click. Automatic_Start also drops the notice of a rule
// that ended the last run.
void AutomaticStart(Model& m, Desktop& d);
void AutomaticStop(Model& m, Desktop& d);
void BitByBit(Model& m, Desktop& d);
void CancelOptimization(Model& m, Desktop& d);

// mnuHistory_Click, "Record history": refuses a second start with a warning.
void RecordHistory(Model& m, Desktop& d);

// The full path of a model file from the folder of the directory list and the
// typed name: the folder, the platform's separator unless the folder already ends
// with one, then the name as typed. An empty folder leaves the name relative.
std::string ModelPathOf(const std::string& folder, const std::string& name);

// cmdSave_Click of frmSave ("Save") and cmdOpen_Click of frmOpen ("Open"). Return true when the
// dialog may close; on a failure the file message is shown (title "データ読込") and false returned.
// Opening also rebuilds the view, redraws, sets the opened title, disables the
// result menus and closes an open history file.
bool SaveModelCommand(Model& m, Desktop& d, const std::string& folder, const std::string& name);
bool OpenModelCommand(Model& m, Desktop& d, const std::string& folder, const std::string& name);

// The dialogs' OK buttons.

enum class ShapeOption {
    DesignDomain,
    AddElements,
    RemoveElements,
    AddNonDesignElements,
    DeleteDesignDomain,
    Nothing
};
// cmdOK_Click of frmShape: ClickCount = 0, then EditMode by the option; options on the domain
// need one (otherwise the domain-first warning and EditMode unchanged).
void ApplyShape(Model& m, Desktop& d, ShapeOption option);

enum class FreedomOption { FixX, FixY, FixXY, Free };
// cmdOK_Click of frmFreedom (opening it has set EditMode = 0).
void ApplyFreedom(Model& m, Desktop& d, FreedomOption option);

// cmdOK_Click of frmAppliedLoad: the forces read from the boxes, EditMode = 4 when loads are
// on (domain first), and the forces in the status label either way.
void ApplyAppliedLoad(Model& m, Desktop& d, bool loadOn, const std::string& fxText,
                      const std::string& fyText);

// cmdOK_Click of frmWidth. A width or element size that is not above 0 is refused with a
// warning and nothing is stored, since every later division by it would fail.
// Returns false when refused (the dialog stays open).
bool ApplyWidth(Model& m, Desktop& d, const std::string& widthText, const std::string& sizeText);

// cmdOK_Click of frmMaterial: the three values and their status text.
void ApplyMaterial(Model& m, Desktop& d, const std::string& emodText,
                   const std::string& thicknessText, const std::string& poissonText);

// cmdOK_Click of frmController: the three parameters and their status text.
void ApplyController(Model& m, Desktop& d, const std::string& stressText,
                     const std::string& epsilonText, const std::string& lambdaText);

enum class ValueOption { Load, Displacement, Stress, Potential, Nothing };
// cmdOK_Click of frmValueIndicator: EditMode 8, 5, 6, 7, or unchanged for "Nothing".
void ApplyValueChoice(Model& m, ValueOption option);

// cmdOK_Click of frmImageIndicator: DisplayMode 1 with the stress map or 2 with the potential map.
void ApplyImageChoice(Model& m, Desktop& d, bool stress);

} // namespace quillane
