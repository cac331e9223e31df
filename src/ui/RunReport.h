#pragma once
// What the window says about a run: that the last solve did not converge, which
// stop rule ended an automatic run, and the run record as CSV for the user's own
// plots.

#include <string>

#include "model/Model.h"

namespace quillane {

// "Step 1119: the solver stopped after 3338 iterations without converging; the
// results shown are approximate." ("Analysis: ..." for the analysis entry.)
std::string SolverWarningText(const RunRecordEntry& entry);

// "Stopped after step 57: no cell has changed state for 15 steps." and the like for
// the other rules, with the rules' values as they were set.
std::string StopNoticeText(const StopReason& reason, const StopRules& rules);

// The notice the window shows now: the stop notice when a rule ended the run,
// otherwise the solver warning when the last solve did not converge, otherwise "".
std::string RunNoticeText(const Model& m);

// The run record as CSV, one line per entry after a header:
// "event,step,volume,max,mean,min,iterations,converged,gained,lost", the event being
// "analysis" or "step", the numbers in the shortest form that reads back to the
// same double, converged 1 or 0. Lines end in LF.
std::string RunRecordCsv(const RunRecord& record);

} // namespace quillane
