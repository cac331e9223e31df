#pragma once
// The course of a run, kept in memory: one entry for the stress analysis that
// started it and one per optimization step since, with the numbers the history
// file records and what the solver and the cell states did. Also the rules that
// may end an automatic run, and which one did.
//
// Nothing here feeds back into a result: the entries are copies taken after the
// results are computed.

#include <optional>
#include <vector>

#include "model/Int16.h"

namespace quillane {

struct RunRecordEntry {
    bool analysis = false; // the stress analysis that started the run, not a step
    int16 step = 0;        // the step number as shown and recorded (0 for the analysis)
    double volume = 0.0;   // mm³
    double maxStress = 0.0;
    double meanStress = 0.0;
    double minStress = 0.0;
    int iterations = 0; // solver iterations
    bool converged = true;
    int cellsGained = 0; // design cells that got material back in this step
    int cellsLost = 0;   // design cells that lost their material in this step
};

// The rules that end an automatic run, each on or off; the values are kept while a
// rule is off so the dialog shows them again. All off at start-up.
struct StopRules {
    bool steady = false;
    int steadySteps = 15; // no cell changed state for this many steps in a row
    bool volume = false;
    double volumeRatio = 0.3; // the volume at or below this fraction of the analysed one
    bool unconverged = false; // a step whose solve did not converge
    bool steps = false;
    int maxSteps = 1000; // this many steps since the analysis
};

enum class StopRule { Steady, Volume, Unconverged, Steps };

struct StopReason {
    StopRule rule = StopRule::Steps;
    int16 step = 0; // the step after which the rule fired

    bool operator==(const StopReason&) const = default;
};

struct RunRecord {
    std::vector<RunRecordEntry> entries;
    // The rule that ended the last automatic run, until the next start or analysis.
    std::optional<StopReason> stopped;
    // Goes up at every Clear, so a view following the record can tell a new run
    // from one that merely grew.
    unsigned generation = 0;

    void Clear() {
        entries.clear();
        stopped.reset();
        ++generation;
    }
};

} // namespace quillane
