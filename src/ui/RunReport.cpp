#include "ui/RunReport.h"

#include <charconv>

#include "model/NumberText.h"

namespace quillane {

namespace {

// Shortest text that reads back to the same double: the data is for plotting and
// checking, so nothing is rounded away.
std::string exact(double value) {
    char buffer[64];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    return {buffer, result.ptr};
}

std::string stepName(const RunRecordEntry& entry) {
    return entry.analysis ? "Analysis" : "Step " + std::to_string(entry.step);
}

} // namespace

std::string SolverWarningText(const RunRecordEntry& entry) {
    return stepName(entry) + ": the solver stopped after " + std::to_string(entry.iterations) +
           " iterations without converging; the results shown are approximate.";
}

std::string StopNoticeText(const StopReason& reason, const StopRules& rules) {
    std::string head = "Stopped after step " + std::to_string(reason.step) + ": ";
    switch (reason.rule) {
    case StopRule::Steady:
        return head + "no cell has changed state for " + std::to_string(rules.steadySteps) +
               " steps.";
    case StopRule::Volume:
        return head + "the volume fell to " + formatGeneral(rules.volumeRatio) +
               " of the analysed volume or below.";
    case StopRule::Unconverged:
        return head + "its solve did not converge.";
    case StopRule::Steps:
        return head + std::to_string(rules.maxSteps) + " steps have been made.";
    }
    return head;
}

std::string RunNoticeText(const Model& m) {
    const RunRecord& record = m.Record;
    if (record.stopped) {
        return StopNoticeText(*record.stopped, m.Rules);
    }
    if (!record.entries.empty() && !record.entries.back().converged) {
        return SolverWarningText(record.entries.back());
    }
    return {};
}

std::string RunRecordCsv(const RunRecord& record) {
    std::string csv = "event,step,volume,max,mean,min,iterations,converged,gained,lost\n";
    for (const RunRecordEntry& e : record.entries) {
        csv += std::string(e.analysis ? "analysis" : "step") + "," + std::to_string(e.step) + "," +
               exact(e.volume) + "," + exact(e.maxStress) + "," + exact(e.meanStress) + "," +
               exact(e.minStress) + "," + std::to_string(e.iterations) + "," +
               (e.converged ? "1" : "0") + "," + std::to_string(e.cellsGained) + "," +
               std::to_string(e.cellsLost) + "\n";
    }
    return csv;
}

} // namespace quillane
