#include "ui/Window.h"

#include "display/Canvas.h"
#include "display/ColorScale.h"
#include "model/NumberText.h"
#include "ui/Editing.h"

namespace quillane {

std::string SummaryText(const Model& m) {
    return "Width = " + formatGeneral(m.DomainWidth) + "mm" +
           "  Element Size = " + formatGeneral(m.ElementSize) + "mm";
}

std::string AnalysisStatusText(const Model& m) {
    return "  Volume = " + formatScientific(m.Volume) + "mm^3";
}

std::string StepStatusText(const Model& m) {
    return "  Volume = " + formatScientific(m.Volume) + "mm^3     " +
           formatGeneral(static_cast<int>(m.StepCount)) + "step";
}

void StartUp(Model& m, Desktop& d) {
    // The start-up values are the model's own defaults, set in the order the window
    // has always set them.
    const Model fresh;
    d.setTitle(kMainTitle);
    m.DomainWidth = fresh.DomainWidth;
    m.ElementSize = fresh.ElementSize;
    d.setStatus(SummaryText(m));

    m.DomainDefined = fresh.DomainDefined;
    m.OriginFracX = fresh.OriginFracX;
    m.OriginFracY = fresh.OriginFracY;
    m.AutoOptimize = fresh.AutoOptimize;
    d.setTimerInterval(0);

    m.EditMode = fresh.EditMode;
    m.DisplayMode = fresh.DisplayMode;
    m.DomainX1 = fresh.DomainX1;
    m.DomainX2 = fresh.DomainX2;
    m.DomainY1 = fresh.DomainY1;
    m.DomainY2 = fresh.DomainY2;
    m.NodeCount = fresh.NodeCount;
    m.ElementCount = fresh.ElementCount;
    m.ClickCount = fresh.ClickCount;

    m.YoungModulus = fresh.YoungModulus;
    m.Thickness = fresh.Thickness;
    m.PoissonRatio = fresh.PoissonRatio;
    d.setTitle(kMainTitle);
    m.LoadFx = fresh.LoadFx;
    m.LoadFy = fresh.LoadFy;
    MakeColorTable(m);

    m.StressTarget = fresh.StressTarget;
    m.Epsilon = fresh.Epsilon;
    m.Lambda = fresh.Lambda;
    m.HistoryRecording = fresh.HistoryRecording;
    // Optimization and recording make sense only after an analysis.
    d.setResultMenusEnabled(false);
}

void RebuildView(Model& m, Desktop& d) {
    FitView(m, d.canvasWidth(), d.canvasHeight());
    ApplyCanvasScale(m, d.canvas());
}

void AfterResize(Model& m, Desktop& d) {
    RebuildView(m, d);
    // A result map shown before is replaced by the plain model.
    DrawCanvas(m, d.canvas());
    DrawColorBar(m, d.colorBar(), "stress(MPa)");
}

void MoveOrigin(Model& m) {
    m.EditMode = kEditMoveOrigin;
}

void ClearModel(Model& m, Desktop& d) {
    picCanvasClear(m, d.canvas(), d.colorBar());
    m.EditMode = kEditNothing;
    d.setResultMenusEnabled(false);
    if (m.HistoryRecording == -1) {
        d.history().Close(m);
    }
    // picCanvasClear has emptied the run record with the geometry.
    d.runRecordChanged();
}

void ExitProgram(Model& m, Desktop& d) {
    m.HistoryRecording = 0;
    // Closing a file that is not open is harmless.
    d.history().Close(m);
}

} // namespace quillane
