// Stop rules in an automatic run through the commands, and what the window says
// about a run: its notices and its record as CSV.
#include "ui/RunReport.h"

#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "fem/Mesh.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
#include "ui/Commands.h"
#include "ui/Window.h"

namespace quillane {
namespace {

// A cantilever of 4 x 2 cells whose top (design) row fades away in step 1 and
// nothing changes after: nothing is ever over the target, Lambda halves the
// potentials and Epsilon is 6.
Model fadingCantilever() {
    Model m = support::makeCantilever(2, 4);
    support::setCells(m, 1, 1, 1, 4, kCellNonDesign);
    std::tie(m.StressTarget, m.Lambda, m.Epsilon) = std::tuple(1.0e30f, 0.5f, int16{6});
    MarkActiveNodes(m);
    return m;
}

TEST(RunCommands, AFiredRuleStopsTheRunAsAutomaticStopAndStartClearsItsNotice) {
    for (const bool steady : {true, false}) {
        Model m = fadingCantilever();
        test::FakeDesktop d;
        StressAnalysisCommand(m, d);
        EXPECT_EQ(d.recordChanges, 1);
        for (int j = 1; j <= 4; ++j) {
            m.Potential(2, j) = 20.0; // 10, then 5 < 6 in step 1
        }
        m.Rules.steady = steady;
        m.Rules.steadySteps = 3;
        AutomaticStart(m, d);
        EXPECT_EQ(d.timerInterval, 1);
        for (int tick = 0; tick < 10; ++tick) {
            OptimizationTimerTick(m, d);
        }
        if (steady) { // steps 2, 3 and 4 changed nothing; later ticks do nothing
            EXPECT_EQ(m.StepCount, 5);
            EXPECT_EQ(std::tuple(m.AutoOptimize, d.timerInterval, d.busy),
                      std::tuple(int16{0}, 0, false));
            EXPECT_EQ(m.Record.stopped, (StopReason{StopRule::Steady, 4}));
            EXPECT_EQ(RunNoticeText(m), "Stopped after step 4: no cell has changed state for 3 "
                                        "steps.");
            EXPECT_EQ(d.recordChanges, 1 + 5 + 1);                    // analysis, steps, the rule
            EXPECT_EQ(d.status, "  Volume = 4.00E+04mm^3     4step"); // as ever
            AutomaticStart(m, d);
            EXPECT_FALSE(m.Record.stopped);
            EXPECT_EQ(RunNoticeText(m), "");
        } else { // off: the run goes on as it always has
            EXPECT_EQ(m.StepCount, 10);
            EXPECT_EQ(std::tuple(m.AutoOptimize, d.timerInterval), std::tuple(int16{-1}, 1));
            EXPECT_FALSE(m.Record.stopped);
        }
        EXPECT_TRUE(d.messages.empty());
        ClearModel(m, d);
        EXPECT_TRUE(m.Record.entries.empty());
    }
}

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
