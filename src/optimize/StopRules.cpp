#include "optimize/StopRules.h"

#include <algorithm>

namespace quillane {

std::optional<StopReason> CheckStopRules(const StopRules& rules, const RunRecord& record) {
    const std::vector<RunRecordEntry>& entries = record.entries;
    if (entries.empty() || entries.back().analysis) {
        return std::nullopt;
    }
    const RunRecordEntry& last = entries.back();
    const auto fired = [&last](StopRule rule) { return StopReason{rule, last.step}; };

    if (rules.unconverged && !last.converged) {
        return fired(StopRule::Unconverged);
    }
    if (rules.volume && entries.front().analysis &&
        last.volume <= rules.volumeRatio * entries.front().volume) {
        return fired(StopRule::Volume);
    }
    // The steps since the analysis, newest first.
    const auto steps = std::find_if(entries.rbegin(), entries.rend(),
                                    [](const RunRecordEntry& e) { return e.analysis; }) -
                       entries.rbegin();
    if (rules.steady && rules.steadySteps > 0 && steps >= rules.steadySteps &&
        std::all_of(
            entries.rbegin(), entries.rbegin() + rules.steadySteps,
            [](const RunRecordEntry& e) { return e.cellsGained == 0 && e.cellsLost == 0; })) {
        return fired(StopRule::Steady);
    }
    if (rules.steps && steps >= rules.maxSteps) {
        return fired(StopRule::Steps);
    }
    return std::nullopt;
}

} // namespace quillane
