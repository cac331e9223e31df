#include "ui/Commands.h"

#include <cmath>
#include <new>

#include "display/Canvas.h"
#include "display/ResultMaps.h"
#include "model/Faults.h"
#include "model/Messages.h"
#include "model/ModelFile.h"
#include "model/NumberText.h"
#include "optimize/History.h"
#include "optimize/Optimization.h"
#include "optimize/Parameters.h"
#include "optimize/StopRules.h"
#include "ui/Editing.h"
#include "ui/Window.h"

namespace quillane {

namespace {

constexpr const char* kLineBreak = "\r\n";

std::string faultHint(FaultKind kind) {
    switch (kind) {
    case FaultKind::Overflow:
        return "Check the numbers entered and the size of the model: counts and steps go up to "
               "32767.";
    case FaultKind::Subscript:
        return "Set up the design domain again, or open a model file saved by the program.";
    case FaultKind::Input:
        return {}; // the message itself says what to change
    case FaultKind::FloatingPoint:
        break;
    }
    return "Check that the model has material, supports that hold it, and at least one load.";
}

// The other texts are sentences already; a bare one gets its full stop.
std::string asSentence(const char* text) {
    std::string s = text != nullptr ? text : "";
    if (s.empty()) {
        return "no reason was given.";
    }
    const char last = s.back();
    if (last != '.' && last != '!' && last != '?') {
        s += '.';
    }
    return s;
}

void drawChosenMap(Model& m, Desktop& d) {
    if (m.DisplayMode == 1) {
        DrawStressMap(m, d.canvas(), d.colorBar(), m.MaxStress, m.MinStress, m.CellStress);
    } else if (m.DisplayMode == 2) {
        DrawNeuronMap(m, d.canvas(), d.colorBar(), m.Potential);
    }
}

// Tools that work on cells or nodes of the domain need one; otherwise the user is
// told to set it up first and the mode stays as it was.
void setModeOnDomain(Model& m, Desktop& d, int16 code) {
    if (m.DomainDefined != 0) {
        m.EditMode = code;
    } else {
        d.showMessage(kDomainFirst, kWarningTitle);
    }
}

} // namespace

bool RunGuarded(Model& m, Desktop& d, const std::function<void()>& handler) {
    try {
        handler();
        return true;
    } catch (const std::exception& error) {
        // Whatever was under way has stopped: no busy pointer and no timer that
        // would run into the same fault again at the next tick.
        d.setBusy(false);
        m.AutoOptimize = 0;
        d.setTimerInterval(0);
        if (dynamic_cast<const HistoryFileError*>(&error) != nullptr) {
            // A recorder that cannot write is no longer recording; closing it lets
            // the user start again once the folder can be written to.
            d.history().Close(m);
        }
        // A failed analysis has emptied the record.
        d.runRecordChanged();
        d.showMessage(FaultMessage(error), FaultTitle(error));
        return false;
    }
}

std::string FaultMessage(const std::exception& error) {
    if (const auto* fault = dynamic_cast<const RuntimeFault*>(&error)) {
        if (fault->kind() == FaultKind::Input) {
            return "The analysis cannot start: " + FaultExplanation(*fault);
        }
        return "The calculation stopped: " + FaultExplanation(*fault) + kLineBreak +
               faultHint(fault->kind());
    }
    if (dynamic_cast<const HistoryFileError*>(&error) != nullptr) {
        return "The history could not be recorded: " + asSentence(error.what()) + kLineBreak +
               "Recording is off. Make sure the current folder can be written to, then choose "
               "\"Record history\" again.";
    }
    if (const auto* file = dynamic_cast<const ModelFileError*>(&error)) {
        return "The model file could not be read or written: " +
               asSentence(file->reason().c_str()) + kLineBreak +
               "Choose another file or folder and try again.";
    }
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return std::string("The program ran out of memory and stopped the command.") + kLineBreak +
               "Make the design domain smaller or the element size larger, then try again.";
    }
    return "The command stopped unexpectedly: " + asSentence(error.what()) + kLineBreak +
           "The model stays as the command left it; save it under a new name before going on.";
}

std::string FaultTitle(const std::exception& error) {
    if (const auto* fault = dynamic_cast<const RuntimeFault*>(&error)) {
        return fault->title();
    }
    if (dynamic_cast<const HistoryFileError*>(&error) != nullptr) {
        return "History file";
    }
    if (dynamic_cast<const ModelFileError*>(&error) != nullptr) {
        return kModelFileErrorTitle;
    }
    if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) {
        return "Out of memory";
    }
    return "Error";
}

void StressAnalysisCommand(Model& m, Desktop& d) {
    // A press on the canvas does nothing while and after the analysis runs.
    m.EditMode = 0;
    d.setBusy(true);
    RunStressAnalysis(m, [&d] { d.setResultMenusEnabled(true); });
    // A solver that ran out of iterations still leaves its best displacements; the
    // map and the volume are shown from them as for a converged one.
    DrawStressMap(m, d.canvas(), d.colorBar(), m.MaxStress, m.MinStress, m.CellStress);
    d.setStatus(AnalysisStatusText(m));
    d.runRecordChanged();
    d.setBusy(false);
}

void OptimizationStep(Model& m, Desktop& d) {
    d.setBusy(true);
    const auto show = [&d](Model& model) {
        if (model.DisplayMode == 1 || model.DisplayMode == 2) {
            // The map fills occupied cells only: the canvas goes first so that cells
            // that lost their material show empty instead of their old colour.
            DrawCanvas(model, d.canvas());
            drawChosenMap(model, d);
        }
        d.setStatus(StepStatusText(model));
    };
    Optimization(m, m.HistoryRecording != 0 ? &d.history() : nullptr, show);
    d.runRecordChanged();
    d.setBusy(false);
}

void OptimizationTimerTick(Model& m, Desktop& d) {
    if (m.AutoOptimize != 0) {
        OptimizationStep(m, d);
        // With every rule off nothing fires and the run goes on as it always has.
        if (const std::optional<StopReason> fired = CheckStopRules(m.Rules, m.Record)) {
            AutomaticStop(m, d);
            m.Record.stopped = fired;
            d.runRecordChanged();
        }
    }
}

void AutomaticStart(Model& m, Desktop& d) {
    if (m.Record.stopped) {
        m.Record.stopped.reset();
        d.runRecordChanged();
    }
    m.AutoOptimize = -1;
    d.setBusy(true);
    // Steps follow each other as fast as the message loop lets the ticks through.
    d.setTimerInterval(1);
}

void AutomaticStop(Model& m, Desktop& d) {
    m.AutoOptimize = 0;
    d.setTimerInterval(0);
    d.setBusy(false);
}

void BitByBit(Model& m, Desktop& d) {
    // The flag stays set and the timer untouched, so a running automatic series
    // goes on after this extra step.
    m.AutoOptimize = -1;
    d.setBusy(true);
    OptimizationStep(m, d);
    d.setBusy(false);
}

void CancelOptimization(Model& m, Desktop& d) {
    m.AutoOptimize = 0;
    d.setTimerInterval(0);
    d.setBusy(false);
}

void RecordHistory(Model& m, Desktop& d) {
    if (m.HistoryRecording != 0) {
        d.showMessage(kHistoryAlreadyRecording, kWarningTitle);
        return;
    }
    d.history().Start(m);
}

std::string ModelPathOf(const std::string& folder, const std::string& name) {
    // No folder at all means the current one: the name stays relative rather than
    // landing in the file system's root.
    if (folder.empty()) {
        return name;
    }
    if (folder.back() == '/') {
        return folder + name;
    }
    return folder + "/" + name;
}

bool SaveModelCommand(Model& m, Desktop& d, const std::string& folder, const std::string& name) {
    try {
        SaveModel(m, ModelPathOf(folder, name));
    } catch (const ModelFileError&) {
        d.showMessage(kModelFileErrorMessage, kModelFileErrorTitle);
        return false;
    }
    return true;
}

bool OpenModelCommand(Model& m, Desktop& d, const std::string& folder, const std::string& name) {
    try {
        OpenModel(m, ModelPathOf(folder, name), CanvasSize{d.canvasWidth(), d.canvasHeight()},
                  [&m, &d] { d.history().Close(m); });
    } catch (const ModelFileError&) {
        // Nothing was taken from the file; the dialog stays open for another try.
        d.showMessage(kModelFileErrorMessage, kModelFileErrorTitle);
        return false;
    }
    // The model in memory is the file's from here on: a redraw that fails is reported,
    // and the title, the menus and the history still follow the new model.
    RunGuarded(m, d, [&m, &d] {
        ApplyCanvasScale(m, d.canvas());
        DrawCanvas(m, d.canvas());
    });
    d.setTitle(kOpenedTitle);
    // The results belong to the model that was replaced, and so does its run.
    d.setResultMenusEnabled(false);
    m.Record.Clear();
    d.runRecordChanged();
    if (m.HistoryRecording != 0 || d.history().isOpen()) {
        d.history().Close(m);
    }
    return true;
}

void ApplyShape(Model& m, Desktop& d, ShapeOption option) {
    // Any choice abandons a half-made rectangle.
    m.ClickCount = 0;
    switch (option) {
    case ShapeOption::DesignDomain:
        m.EditMode = kEditDomain;
        break;
    case ShapeOption::AddElements:
        setModeOnDomain(m, d, kEditAddDesign);
        break;
    case ShapeOption::RemoveElements:
        setModeOnDomain(m, d, kEditEmpty);
        break;
    case ShapeOption::AddNonDesignElements:
        setModeOnDomain(m, d, kEditAddNonDesign);
        break;
    case ShapeOption::DeleteDesignDomain:
        setModeOnDomain(m, d, kEditCutOut);
        break;
    case ShapeOption::Nothing:
        m.EditMode = kEditNothing;
        break;
    }
}

void ApplyFreedom(Model& m, Desktop& d, FreedomOption option) {
    switch (option) {
    case FreedomOption::FixX:
        setModeOnDomain(m, d, kEditFixX);
        break;
    case FreedomOption::FixY:
        setModeOnDomain(m, d, kEditFixY);
        break;
    case FreedomOption::FixXY:
        setModeOnDomain(m, d, kEditFixXY);
        break;
    case FreedomOption::Free:
        setModeOnDomain(m, d, kEditFree);
        break;
    }
}

void ApplyAppliedLoad(Model& m, Desktop& d, bool loadOn, const std::string& fxText,
                      const std::string& fyText) {
    m.LoadFx = leadingNumber(fxText);
    m.LoadFy = leadingNumber(fyText);
    if (loadOn) {
        setModeOnDomain(m, d, kEditLoad);
    }
    d.setStatus("x方向荷重成分 = " + formatGeneral(m.LoadFx) +
                "N   y方向荷重成分 = " + formatGeneral(m.LoadFy) + "N");
}

bool ApplyWidth(Model& m, Desktop& d, const std::string& widthText, const std::string& sizeText) {
    // Both are read before anything is stored, so a refusal changes nothing.
    const float width = toSingle(leadingNumber(widthText), "the display width");
    const float size = toSingle(leadingNumber(sizeText), "the element size");
    if (!(width > 0.0f) || !(size > 0.0f) || !std::isfinite(width) || !std::isfinite(size)) {
        d.showMessage(kWidthNotPositive, kWarningTitle);
        return false;
    }
    m.DomainWidth = width;
    // DomainHeight from the canvas's aspect, and with it the view from the origin
    // fractions (undoing a Move Origin); nothing below depends on the view.
    FitView(m, d.canvasWidth(), d.canvasHeight());
    m.ElementSize = size;
    d.setStatus(SummaryText(m));
    ApplyCanvasScale(m, d.canvas());
    // The mesh is not rebuilt: a new element size takes effect at the next domain set-up.
    DrawCanvas(m, d.canvas());
    return true;
}

void ApplyMaterial(Model& m, Desktop& d, const std::string& emodText,
                   const std::string& thicknessText, const std::string& poissonText) {
    m.YoungModulus = leadingNumber(emodText);
    m.Thickness = leadingNumber(thicknessText);
    m.PoissonRatio = leadingNumber(poissonText);
    d.setStatus("ヤング率 = " + formatGeneral(m.YoungModulus) + "MPa  板厚 = " +
                formatGeneral(m.Thickness) + "mm  ポアソン比 = " + formatGeneral(m.PoissonRatio));
}

void ApplyController(Model& m, Desktop& d, const std::string& stressText,
                     const std::string& epsilonText, const std::string& lambdaText) {
    ApplyParameterTexts(m, ParameterTexts{stressText, epsilonText, lambdaText});
    d.setStatus(ParameterStatusText(m));
}

void ApplyValueChoice(Model& m, ValueOption option) {
    switch (option) {
    case ValueOption::Load:
        m.EditMode = kEditLoadValue;
        break;
    case ValueOption::Displacement:
        m.EditMode = kEditDisplacementValue;
        break;
    case ValueOption::Stress:
        m.EditMode = kEditStressValue;
        break;
    case ValueOption::Potential:
        m.EditMode = kEditPotentialValue;
        break;
    case ValueOption::Nothing:
        break;
    }
}

void ApplyImageChoice(Model& m, Desktop& d, bool stress) {
    m.DisplayMode = stress ? 1 : 2;
    // Drawn also before any result or domain exists: the legend then shows its title
    // and zeros. The choice also decides the map after the next step.
    drawChosenMap(m, d);
}

} // namespace quillane
