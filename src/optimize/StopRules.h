#pragma once
// The rules that may end an automatic run, checked on the run record after each
// step. The window and the runner stop on the same answer.

#include <optional>

#include "model/RunRecord.h"

namespace quillane {

// Which rule fires after the record's last entry, or nothing. Only steps count: an
// analysis entry never fires a rule. When several fire at once the first of
// unconverged, volume, steady and steps is named.
// - unconverged: the last step's solve did not converge;
// - volume: the last step's volume is at or below volumeRatio x the volume of the
//   record's analysis entry (never without one);
// - steady: the last steadySteps steps changed no cell's state;
// - steps: maxSteps steps have been made since the analysis.
std::optional<StopReason> CheckStopRules(const StopRules& rules, const RunRecord& record);

} // namespace quillane
