#include "optimize/Optimization.h"

#include "fem/Mesh.h"
#include "fem/Stresses.h"
#include "model/NumberText.h"
#include "optimize/Potential.h"

namespace quillane {

namespace {

// The numbers of the present results, as the history record and the status label
// read them.
RunRecordEntry recordEntry(const Model& m, const AnalysisReport& report) {
    RunRecordEntry entry;
    entry.step = m.StepCount;
    entry.volume = m.Volume;
    entry.maxStress = m.MaxStress;
    entry.meanStress = m.AvgStress;
    entry.minStress = m.MinStress;
    entry.iterations = report.solver.iterations;
    entry.converged = report.solver.converged;
    return entry;
}

} // namespace

AnalysisReport RunStressAnalysis(Model& m, const std::function<void()>& stressesKnown) {
    // A stress analysis starts the optimization's step count afresh, and with it
    // the run record,
    m.StepCount = 0;
    m.Record.Clear();
    // and solves afresh: no step before it lends its solve.
    ForgetLastSolve(m);
    const AnalysisReport report = AnalyseLayout(m);
    // Entered before the potentials start: optimization is offered from here on even
    // if starting them fails, and the volume rule measures against this entry.
    RunRecordEntry entry = recordEntry(m, report);
    entry.analysis = true;
    m.Record.entries.push_back(entry);
    if (stressesKnown) {
        stressesKnown();
    }
    InitPotential(m);
    return report;
}

StepReport Optimization(Model& m, HistoryRecorder* history,
                        const std::function<void(Model&)>& show) {
    StepReport report;
    // A press on the canvas must do nothing while the layout changes under it.
    m.EditMode = 0;

    // The rule works on the stresses of the previous analysis; cell states change here.
    report.changes = UpdatePotential(m);
    MarkActiveNodes(m);
    // Computed again at the end of the chain on the same states; kept so the order of
    // the work stays as the program has always done it.
    DesignVolume(m);
    report.analysis = AnalyseLayout(m);

    // The step shown and recorded is the count before the increment, so the first
    // step after an analysis is step 0.
    report.step = m.StepCount;
    if (show) {
        show(m);
    }
    if (m.HistoryRecording != 0 && history != nullptr) {
        history->Record(m);
    }
    // Entered where the history record is written, so both hold the same steps: a
    // step whose drawing or history record failed is in neither, and the next step
    // takes its number.
    RunRecordEntry entry = recordEntry(m, report.analysis);
    entry.cellsGained = report.changes.gained;
    entry.cellsLost = report.changes.lost;
    m.Record.entries.push_back(entry);
    m.StepCount = add16(m.StepCount, 1, "the optimization step count");
    return report;
}

} // namespace quillane
