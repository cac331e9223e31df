// The "Run" menu on the offscreen platform: the convergence chart following the
// window's run and saving itself, the stop rules dialog, and a rule ending an
// automatic run with its notice.
#include <gtest/gtest.h>

#include <QChartView>
#include <QLineSeries>
#include <QScatterSeries>
#include <QTest>
#include <QXmlStreamReader>
#include <QtWidgets>

#include "display/qt/ConvergenceChart.h"
#include "fem/Mesh.h"
#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
#include "ui/Commands.h"
#include "ui/forms/frmConvergenceChart.h"
#include "ui/forms/frmMain.h"
#include "ui/forms/frmOptimization.h"
#include "ui/forms/frmStopRules.h"

namespace quillane {
namespace {

// A 4 x 1 cantilever whose middle design cells go in step 2, leaving the loaded end
// hanging on nothing: the solves of step 2 on do not converge.
Model fallingApart() {
    Model m = support::makeCantilever(1, 4);
    support::setCells(m, 1, 1, 1, 1, kCellNonDesign);
    support::setCells(m, 1, 4, 1, 4, kCellNonDesign);
    m.StressTarget = 1.0e30f;
    m.Lambda = 0.5f;
    m.Epsilon = 6;
    MarkActiveNodes(m);
    return m;
}

struct RunMenu : ::testing::Test {
    void SetUp() override {
        QDir::setCurrent(folder.path()); // where History.tmp goes
        window.setMessageHandler([this](const std::string& text, const std::string& title) {
            messages.push_back(title + ": " + text);
        });
        window.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    }
    void TearDown() override { QDir::setCurrent(previous); }
    // Analyses `model` in the window and runs automatically until a rule stops it.
    void runUntilStopped(const Model& model, StopRules rules) {
        m = model;
        window.mnuStressAnalysis->trigger();
        m.Potential(1, 2) = m.Potential(1, 3) = 40.0; // 20, 10, then 5 < 6 in step 2
        m.Rules = rules;
        AutomaticStart(m, window);
        QTRY_VERIFY_WITH_TIMEOUT(m.AutoOptimize == 0, 20000);
    }

    QTemporaryDir folder;
    QString previous = QDir::currentPath();
    frmMain window;
    Model& m = window.model();
    std::vector<std::string> messages;
};

TEST_F(RunMenu, ChartFollowsTheRunMarksUnconvergedStepsAndSavesPngSvgAndCsv) {
    EXPECT_EQ(window.mnuConvergenceChart->shortcut(), QKeySequence("Ctrl+G"));
    window.mnuConvergenceChart->trigger();
    frmConvergenceChart* chartWindow = window.chartWindow;
    ASSERT_NE(chartWindow, nullptr);
    EXPECT_TRUE(chartWindow->isVisible());
    EXPECT_FALSE(chartWindow->isModal());
    ConvergenceChart* chart = chartWindow->chart;
    EXPECT_EQ(chart->volume->count(), 0);

    // Stops by the step count after its eighth step; steps 2 to 7 did not converge.
    runUntilStopped(fallingApart(), {.steps = true, .maxSteps = 8});
    EXPECT_EQ(m.StepCount, 8);
    chartWindow->refresh();
    for (QLineSeries* series :
         {chart->volume, chart->maxStress, chart->meanStress, chart->minStress}) {
        EXPECT_EQ(series->count(), 9); // the analysis and eight steps
    }
    EXPECT_EQ(chart->volume->at(0), QPointF(-1.0, m.Record.entries[0].volume));
    EXPECT_EQ(chart->maxStress->at(3).y(), m.Record.entries[3].maxStress);
    ASSERT_EQ(chart->unconverged->count(), 6);
    EXPECT_EQ(chart->unconverged->at(0), QPointF(2.0, m.Record.entries[3].volume));
    EXPECT_EQ(chart->present->points(), QList<QPointF>{QPointF(7.0, m.Volume)});
    EXPECT_EQ(chartWindow->lblNotice->text(), "Stopped after step 7: 8 steps have been made.");
    // A new analysis starts the chart afresh; of the fallen layout, it fails too.
    window.mnuStressAnalysis->trigger();
    chartWindow->refresh();
    EXPECT_EQ(chart->volume->count(), 1);
    EXPECT_EQ(chart->unconverged->points(), QList<QPointF>{QPointF(-1.0, m.Volume)});
    EXPECT_TRUE(chartWindow->lblNotice->text().startsWith("Analysis: the solver stopped after "));
    runUntilStopped(fallingApart(), {.steps = true, .maxSteps = 3});

    // Saved as PNG and SVG by the runner's drawing, the data as CSV and to the clipboard.
    const QString png = folder.filePath("chart.png");
    const QString svg = folder.filePath("chart.SVG");
    ASSERT_TRUE(chartWindow->saveChart(png));
    ASSERT_TRUE(chartWindow->saveChart(svg));
    const QImage image(png);
    EXPECT_EQ(image.size(), chartWindow->picChart->size());
    QFile svgFile(svg);
    ASSERT_TRUE(svgFile.open(QIODevice::ReadOnly));
    QXmlStreamReader xml(&svgFile);
    int paths = 0;
    QStringList texts;
    while (!xml.atEnd()) {
        if (xml.readNext() == QXmlStreamReader::StartElement) {
            paths += xml.name() == QLatin1String("path") || xml.name() == QLatin1String("polyline");
            if (xml.name() == QLatin1String("text")) {
                texts << xml.readElementText(QXmlStreamReader::IncludeChildElements).trimmed();
            }
        }
    }
    EXPECT_FALSE(xml.hasError()) << xml.errorString().toStdString();
    EXPECT_GT(paths, 4);
    EXPECT_TRUE(texts.contains("Step 2, volume 2.00E+04mm^3, solve not converged"))
        << texts.join('|').toStdString();
    EXPECT_TRUE(texts.contains("Volume (mm³)"));
    ASSERT_TRUE(chartWindow->saveData(folder.filePath("run.csv")));
    QFile csv(folder.filePath("run.csv"));
    ASSERT_TRUE(csv.open(QIODevice::ReadOnly));
    const QString data = QString::fromUtf8(csv.readAll());
    EXPECT_EQ(data.count('\n'), 5); // header, analysis, three steps
    EXPECT_TRUE(data.contains("\nstep,2,20000,")) << data.toStdString();
    chartWindow->copyData();
    EXPECT_EQ(QApplication::clipboard()->text(), data);
    // A folder that does not exist is reported, and nothing else happens.
    EXPECT_FALSE(chartWindow->saveData(folder.filePath("no/such/run.csv")));
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].rfind("Convergence Chart: The data could not be saved: cannot ", 0), 0u)
        << messages[0];
}

TEST_F(RunMenu, RulesAreOffUntilSetAndTheChartChangesNoResult) {
    frmStopRules dialog(m, window);
    EXPECT_EQ(dialog.windowTitle(), "Stop Rules");
    for (QCheckBox* rule :
         {dialog.chkSteady, dialog.chkVolume, dialog.chkUnconverged, dialog.chkSteps}) {
        EXPECT_FALSE(rule->isChecked());
    }
    EXPECT_FALSE(dialog.txtSteadySteps->isEnabled());
    dialog.chkSteady->click();
    EXPECT_TRUE(dialog.txtSteadySteps->isEnabled());
    dialog.txtSteadySteps->setValue(4);
    dialog.chkUnconverged->click();
    dialog.cmdCancel->click();
    EXPECT_FALSE(m.Rules.steady);
    frmStopRules again(m, window);
    EXPECT_EQ(again.txtSteadySteps->value(), 15); // Cancel kept the old values
    again.chkUnconverged->click();
    again.chkVolume->click();
    again.txtVolumeRatio->setValue(0.4);
    again.cmdOK->click();
    EXPECT_TRUE(m.Rules.unconverged && m.Rules.volume && !m.Rules.steady);
    EXPECT_EQ(m.Rules.volumeRatio, 0.4);

    // The unconverged rule ends the run after step 2, said by the badge between the
    // status labels and by the optimization dialog; the labels keep their texts.
    runUntilStopped(fallingApart(), m.Rules);
    EXPECT_EQ(m.Record.stopped, (StopReason{StopRule::Unconverged, 2}));
    // Stopped as Automatic_Stop stops: the flag, the timer and the pointer.
    EXPECT_EQ(std::tuple(m.AutoOptimize, window.tmrOpt->isActive(), QApplication::overrideCursor()),
              std::tuple(int16{0}, false, nullptr));
    EXPECT_EQ(window.lblUpDate->text(), "  Volume = 2.00E+04mm^3     2step");
    EXPECT_TRUE(window.lblRunNotice->isVisible());
    EXPECT_EQ(window.lblRunNotice->text(), "!");
    EXPECT_EQ(window.lblRunNotice->toolTip(), "Stopped after step 2: its solve did not converge.");
    EXPECT_LE(window.lblRunNotice->geometry().right(), window.lblMouseXY->x());
    frmOptimization optimization(m, window);
    EXPECT_EQ(optimization.lblRunNotice->text(), window.lblRunNotice->toolTip());
    EXPECT_TRUE(optimization.lblRunNotice->isVisibleTo(&optimization));
    EXPECT_TRUE(messages.empty());
    AutomaticStart(m, window); // a new start drops the notice; the last solve's stays
    AutomaticStop(m, window);
    EXPECT_FALSE(m.Record.stopped);
    EXPECT_TRUE(window.lblRunNotice->toolTip().startsWith("Step 2: the solver stopped after "));
    window.mnuStressAnalysis->trigger(); // of the fallen layout: it fails too, at once said
    EXPECT_TRUE(window.lblRunNotice->toolTip().startsWith("Analysis: the solver stopped after "));
    window.mnuClear->trigger();
    EXPECT_FALSE(window.lblRunNotice->isVisible());
    optimization.showRunNotice(); // nothing to say: the dialog as it always was
    EXPECT_FALSE(optimization.lblRunNotice->isVisibleTo(&optimization));

    // The same run twice, recording, with the chart open the second time: the same
    // history to the last byte, and the chart drawn at most 20 times a second.
    QByteArray histories[2];
    for (int pass = 0; pass < 2; ++pass) {
        if (pass == 1) {
            window.mnuConvergenceChart->trigger();
        }
        m = support::makeCantilever(4, 8);
        MarkActiveNodes(m);
        window.mnuStressAnalysis->trigger();
        m.StressTarget = static_cast<float>(m.AvgStress);
        m.Rules = {.steps = true, .maxSteps = 60};
        window.mnuHistory->trigger();
        QElapsedTimer clock;
        clock.start();
        AutomaticStart(m, window);
        QTRY_VERIFY_WITH_TIMEOUT(m.AutoOptimize == 0, 20000);
        if (pass == 1) {
            EXPECT_LE(window.chartWindow->redraws(), clock.elapsed() / 50 + 2);
        }
        window.mnuClear->trigger(); // closes the history file
        QFile file(folder.filePath("History.tmp"));
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        histories[pass] = file.readAll();
    }
    EXPECT_EQ(histories[0].count("\r\n"), 62); // the header, the analysis, 60 steps
    EXPECT_EQ(histories[0], histories[1]);
}

} // namespace
} // namespace quillane
