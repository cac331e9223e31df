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

void StartUp(Model& m, Desktop& d) {
    d.setTitle(kMainTitle);
    m.DomainWidth = 2000.0f;
    m.ElementSize = 100.0f;
    d.setStatus(SummaryText(m));

    m.DomainDefined = 0;
    m.OriginFracX = 0.5f;
    m.OriginFracY = 0.5f;
    m.AutoOptimize = 0;
    d.setTimerInterval(0);

    m.EditMode = kEditNothing;
    m.DisplayMode = 1;
    m.DomainX1 = 0.0f;
    m.DomainX2 = 0.0f;
    m.DomainY1 = 0.0f;
    m.DomainY2 = 0.0f;
    m.NodeCount = 0;
    m.ElementCount = 0;
    m.ClickCount = 0;

    m.YoungModulus = 210000.0;
    m.Thickness = 1.0;
    m.PoissonRatio = 0.3;
    d.setTitle(kMainTitle);
    m.LoadFx = 0.0;
    m.LoadFy = 0.0;
    MakeColorTable(m);

    m.StressTarget = 0.0f;
    m.Epsilon = 1;
    m.Lambda = 0.05f;
    m.HistoryRecording = 0;
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
}

void ExitProgram(Model& m, Desktop& d) {
    m.HistoryRecording = 0;
    // Closing a file that is not open is harmless.
    d.history().Close(m);
}

} // namespace quillane
