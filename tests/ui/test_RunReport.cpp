// What the window says about a run: its notices and its record as CSV. (The rules
// stopping a run through the window are tested with the window.)
#include "ui/RunReport.h"

#include <gtest/gtest.h>

#include <string>

namespace quillane {
namespace {

TEST(RunReport, NoticesAndTheRecordAsCsv) {
    StopRules rules{.steadySteps = 12, .volumeRatio = 0.25, .maxSteps = 300};
    const std::pair<StopRule, const char*> notices[] = {
        {StopRule::Steady, "Stopped after step 57: no cell has changed state for 12 steps."},
        {StopRule::Volume,
         "Stopped after step 57: the volume fell to 0.25 of the analysed volume or below."},
        {StopRule::Unconverged, "Stopped after step 57: its solve did not converge."},
        {StopRule::Steps, "Stopped after step 57: 300 steps have been made."}};
    for (const auto& [rule, text] : notices) {
        EXPECT_EQ(StopNoticeText({rule, 57}, rules), text);
    }

    Model m;
    m.Record.entries = {{.analysis = true,
                         .volume = 120000,
                         .maxStress = 0.1 + 0.2,
                         .meanStress = 45.5,
                         .minStress = 1e-7,
                         .iterations = 52},
                        {.step = 0,
                         .volume = 98000,
                         .maxStress = 150,
                         .meanStress = 44,
                         .minStress = 2,
                         .iterations = 3338,
                         .converged = false,
                         .cellsGained = 1,
                         .cellsLost = 23}};
    EXPECT_EQ(RunRecordCsv(m.Record),
              "event,step,volume,max,mean,min,iterations,converged,gained,lost\n"
              "analysis,0,120000,0.30000000000000004,45.5,1e-07,52,1,0,0\n"
              "step,0,98000,150,44,2,3338,0,1,23\n");
    EXPECT_EQ(RunNoticeText(m), "Step 0: the solver stopped after 3338 iterations without "
                                "converging; the results shown are approximate.");
    EXPECT_EQ(SolverWarningText(m.Record.entries[0]),
              "Analysis: the solver stopped after 52 iterations without converging; the results "
              "shown are approximate.");
    m.Record.stopped = StopReason{StopRule::Unconverged, 0};
    EXPECT_EQ(RunNoticeText(m), "Stopped after step 0: its solve did not converge.");
    m.Record.entries.pop_back();
    m.Record.stopped.reset();
    EXPECT_EQ(RunNoticeText(m), "");
}

} // namespace
} // namespace quillane
