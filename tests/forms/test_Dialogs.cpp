// The modal dialogs on the offscreen platform: their captions, what each shows on
// opening, that OK stores the choice and Cancel does not, and when they stay open.
// The texts and rules behind each choice are pinned by the ui layer's tests.
#include <gtest/gtest.h>

#include <QComboBox>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>

#include "support/FakeDesktop.h"
#include "support/ModelBuilders.h"
#include "ui/Commands.h"
#include "ui/Window.h"
#include "ui/forms/frmAppliedLoad.h"
#include "ui/forms/frmController.h"
#include "ui/forms/frmFreedom.h"
#include "ui/forms/frmImageIndicator.h"
#include "ui/forms/frmMaterial.h"
#include "ui/forms/frmOpen.h"
#include "ui/forms/frmOptimization.h"
#include "ui/forms/frmSave.h"
#include "ui/forms/frmShape.h"
#include "ui/forms/frmValueIndicator.h"
#include "ui/forms/frmWidth.h"

namespace quillane {
namespace {

using test::FakeDesktop;

// Open: shown and still waiting for the user; otherwise closed by OK or Cancel.
enum Outcome { Open, Accepted, Rejected };
Outcome outcome(const QDialog& dialog) {
    return dialog.isVisible() ? Open : dialog.result() == QDialog::Accepted ? Accepted : Rejected;
}

// Every option, chosen and confirmed, sets its edit mode. The dialog opens on
// `initial`; opening it and Cancel leave a mode of 9 at `unchanged`.
template <class Form>
void expectModes(Model& m, Desktop& d, QRadioButton* Form::*initial, QPushButton* Form::*cancel,
                 int unchanged,
                 std::initializer_list<std::pair<QRadioButton * Form::*, int>> options) {
    for (const auto& [option, code] : options) {
        for (QPushButton* Form::*button : {cancel, &Form::cmdOK}) {
            m.EditMode = 9;
            Form form(m, d);
            EXPECT_TRUE((form.*initial)->isChecked());
            EXPECT_EQ(m.EditMode, unchanged);
            form.show();
            (form.*option)->click();
            (form.*button)->click();
            EXPECT_EQ(outcome(form), button == cancel ? Rejected : Accepted);
            EXPECT_EQ(m.EditMode, button == cancel ? unchanged : code)
                << form.windowTitle().toStdString();
        }
    }
}

// A dialog of text fields: opening it ends the canvas editing and shows the values
// in use. Typed values are dropped by Cancel (the next opening shows the old ones
// again) and stored by OK, as the caller checks.
template <class Form>
void expectFields(
    Model& m, Desktop& d, QPushButton* Form::*cancel,
    std::initializer_list<std::tuple<QLineEdit * Form::*, const char*, const char*>> fields) {
    for (QPushButton* Form::*button : {cancel, &Form::cmdOK}) {
        m.EditMode = 9;
        Form form(m, d);
        EXPECT_EQ(m.EditMode, 0) << form.windowTitle().toStdString();
        form.show();
        for (const auto& [field, shown, typed] : fields) {
            EXPECT_EQ((form.*field)->text(), shown) << form.windowTitle().toStdString();
            (form.*field)->setText(typed);
        }
        (form.*button)->click();
        EXPECT_EQ(outcome(form), button == cancel ? Rejected : Accepted);
    }
}

struct Dialogs : ::testing::Test {
    Model m;
    FakeDesktop d;
};

TEST_F(Dialogs, CaptionsAndLabels) {
    EXPECT_EQ(frmShape(m, d).windowTitle(), "Shape");
    EXPECT_EQ(frmFreedom(m, d).windowTitle(), "Freedom Conditions");
    EXPECT_EQ(frmAppliedLoad(m, d).windowTitle(), "Applied Load");
    EXPECT_EQ(frmWidth(m, d).windowTitle(), "Width and Mesh Density");
    EXPECT_EQ(frmMaterial(m, d).windowTitle(), "Design Property");
    EXPECT_EQ(frmController(m, d).windowTitle(), "Optimization Parameter");
    EXPECT_EQ(frmOptimization(m, d).windowTitle(), "Optimization");
    EXPECT_EQ(frmImageIndicator(m, d).windowTitle(), "Graphics");
    EXPECT_EQ(frmValueIndicator(m, d).windowTitle(), "Values");
    EXPECT_EQ(frmOpen(m, d).windowTitle(), "Open Model");
    EXPECT_EQ(frmSave(m, d).windowTitle(), "Save Model");
    frmAppliedLoad load(m, d);
    EXPECT_EQ(load.lblLoadX->text(), "Force-X: ");
    EXPECT_EQ(load.lblLoadY->text(), "Force-Y: ");
    frmMaterial material(m, d);
    EXPECT_EQ(material.lblEmod->text(), "Modulus of Elasticity: ");
    EXPECT_EQ(material.lblPoison->text(), "Poissons Ratio: ");
    frmOptimization optimization(m, d);
    EXPECT_EQ(optimization.cmdManual->text(), "Bit by Bit");
    EXPECT_EQ(optimization.cmdAutoStart->text(), "Automatic_Start");
    frmSave save(m, d);
    EXPECT_EQ(save.cmdSave->text(), "Save");
    EXPECT_EQ(save.cmdExit->text(), "Cancel");
}

TEST_F(Dialogs, OptionButtonsSetTheEditModeOnOKOnly) {
    m = support::makePlate(2, 3);
    expectModes<frmShape>(m, d, &frmShape::optDoNot, &frmShape::cmdCancel, 9,
                          {{&frmShape::optDesignDomain, 1},
                           {&frmShape::optAddElements, 2},
                           {&frmShape::optRemoveElements, -2},
                           {&frmShape::optAddNonDesignElements, 3},
                           {&frmShape::optDeleteDesignDomain, -1},
                           {&frmShape::optDoNot, 0}});
    // Opening the supports dialog ends the canvas editing.
    expectModes<frmFreedom>(m, d, &frmFreedom::optFree, &frmFreedom::cmdExit, 0,
                            {{&frmFreedom::optFixX, 11},
                             {&frmFreedom::optFixY, 12},
                             {&frmFreedom::optFixXY, 13},
                             {&frmFreedom::optFree, 14}});
    expectModes<frmValueIndicator>(m, d, &frmValueIndicator::optDoNot, &frmValueIndicator::cmdExit,
                                   9,
                                   {{&frmValueIndicator::optLoadValue, 8},
                                    {&frmValueIndicator::optDisplacementValue, 5},
                                    {&frmValueIndicator::optStressValue, 6},
                                    {&frmValueIndicator::optNeuronValue, 7},
                                    {&frmValueIndicator::optDoNot, 9}});
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(Dialogs, FieldsShowTheValuesInUseAndAreStoredOnOKOnly) {
    m = support::makePlate(2, 3);
    expectFields<frmAppliedLoad>(
        m, d, &frmAppliedLoad::cmdExit,
        {{&frmAppliedLoad::txtLoadX, "0", "10"}, {&frmAppliedLoad::txtLoadY, "0", "-5"}});
    EXPECT_TRUE(m.LoadFx == 10.0 && m.LoadFy == -5.0 && m.EditMode == 0);
    expectFields<frmMaterial>(m, d, &frmMaterial::cmdExit,
                              {{&frmMaterial::txtEmod, "210000", "70000"},
                               {&frmMaterial::txtThickness, "1", "2.5"},
                               {&frmMaterial::txtPoison, "0.3", "x"}});
    EXPECT_TRUE(m.YoungModulus == 70000.0 && m.Thickness == 2.5 && m.PoissonRatio == 0.0);
    expectFields<frmController>(m, d, &frmController::cmdExit,
                                {{&frmController::txtDpStress, "0", "120"},
                                 {&frmController::txtDpEpsilon, "1", "2.5"},
                                 {&frmController::txtDpLambda, "0.05", "0.1"}});
    EXPECT_TRUE(m.StressTarget == 120.0f && m.Epsilon == 2 && m.Lambda == 0.1f);
    expectFields<frmWidth>(
        m, d, &frmWidth::cmdCancel,
        {{&frmWidth::txtWidth, "2000", "1000"}, {&frmWidth::txtUnitGrid, "100", "50"}});
    EXPECT_TRUE(m.DomainWidth == 1000.0f && m.ElementSize == 50.0f);

    frmAppliedLoad load(m, d);
    EXPECT_TRUE(load.optLoadOff->isChecked());
    EXPECT_EQ(load.txtLoadY->text(), "-5"); // the force in use
    load.optLoadOn->click();
    load.cmdOK->click();
    EXPECT_EQ(m.EditMode, 4); // the loads are placed by clicks next
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(Dialogs, RefusedValuesKeepTheDialogOpenForACorrection) {
    frmWidth width(m, d);
    width.show();
    width.txtUnitGrid->setText("0");
    width.cmdOK->click();
    EXPECT_EQ(outcome(width), Open);
    EXPECT_EQ(m.ElementSize, 100.0f);
    frmController controller(m, d);
    controller.show();
    controller.txtDpEpsilon->setText("40000"); // beyond 16 bits: a fault, reported
    controller.cmdOK->click();
    EXPECT_EQ(outcome(controller), Open);
    EXPECT_EQ(d.messages.size(), 2u);
}

TEST_F(Dialogs, OptimizationButtonsRunTheTimerAndLeavingStopsIt) {
    m = support::makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    {
        frmOptimization form(m, d);
        form.show();
        form.cmdAutoStart->click();
        EXPECT_TRUE(d.timerInterval == 1 && m.AutoOptimize == -1 && d.busy);
        form.cmdAutoStop->click();
        EXPECT_TRUE(d.timerInterval == 0 && m.AutoOptimize == 0 && !d.busy);
        form.cmdManual->click(); // one step at once, the flag left set
        EXPECT_TRUE(m.StepCount == 1 && m.AutoOptimize == -1 && !d.busy);
        EXPECT_EQ(outcome(form), Open);
        EXPECT_TRUE(d.messages.empty());
    }
    for (int way = 0; way < 3; ++way) {
        frmOptimization form(m, d);
        form.show();
        form.cmdAutoStart->click();
        if (way == 0) {
            form.cmdCancel->click();
        } else if (way == 1) {
            QTest::keyClick(&form, Qt::Key_Escape);
        } else {
            form.close();
        }
        EXPECT_EQ(outcome(form), Rejected) << way;
        EXPECT_TRUE(d.timerInterval == 0 && m.AutoOptimize == 0) << way;
    }
}

TEST_F(Dialogs, ImageIndicatorOpensOnTheShownMapAndSwitchesOnOKOnly) {
    m = support::makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    m.DisplayMode = 2;
    for (auto button : {&frmImageIndicator::cmdExit, &frmImageIndicator::cmdOK}) {
        frmImageIndicator form(m, d);
        EXPECT_TRUE(form.optNeuronValue->isChecked());
        form.show();
        form.optStressValue->click();
        (form.*button)->click();
        EXPECT_EQ(outcome(form), button == &frmImageIndicator::cmdOK ? Accepted : Rejected);
        EXPECT_EQ(m.DisplayMode, button == &frmImageIndicator::cmdOK ? 1 : 2);
    }
    EXPECT_TRUE(frmImageIndicator(m, d).optStressValue->isChecked());
    EXPECT_TRUE(d.messages.empty());
}

struct FileDialogs : Dialogs {
    QTemporaryDir dir;
    void SetUp() override { ASSERT_TRUE(dir.isValid()); }
};

TEST_F(FileDialogs, SaveThenOpenRoundTrip) {
    m = support::makeCantilever(2, 3);
    {
        frmSave save(m, d);
        save.show();
        save.setFolder(dir.path());
        save.txtFileName->setText("plate.model");
        QTest::mouseClick(save.cmdSave, Qt::LeftButton);
        EXPECT_EQ(outcome(save), Accepted);
    }
    Model opened;
    frmOpen dialog(opened, d);
    EXPECT_TRUE(dialog.txtFileName->text().isEmpty()); // nothing selected on loading
    dialog.show();
    dialog.setFolder(dir.path());
    ASSERT_EQ(dialog.File1->count(), 1);
    QListWidgetItem* item = dialog.File1->item(0);
    EXPECT_EQ(item->text(), "plate.model");
    QTest::mouseClick(dialog.File1->viewport(), Qt::LeftButton, {},
                      dialog.File1->visualItemRect(item).center());
    EXPECT_EQ(dialog.txtFileName->text(), "plate.model");
    dialog.cmdOpen->click();
    EXPECT_EQ(outcome(dialog), Accepted);
    EXPECT_TRUE(d.messages.empty());
    EXPECT_EQ(opened.NodeCount, m.NodeCount); // the contents are checked in the ui layer
    EXPECT_EQ(d.title, kOpenedTitle);

    // The next dialog starts in the folder of the file last used, where a double
    // click on a file chooses and opens it.
    d.title.clear();
    frmOpen again(opened, d);
    again.show();
    EXPECT_EQ(again.folder(), dir.path());
    ASSERT_EQ(again.File1->count(), 1);
    const QPoint at = again.File1->visualItemRect(again.File1->item(0)).center();
    QTest::mouseClick(again.File1->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(again.File1->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(outcome(again), Accepted);
    EXPECT_EQ(d.title, kOpenedTitle);
}

TEST_F(FileDialogs, OpenFailureKeepsTheDialogOpen) {
    frmOpen dialog(m, d);
    dialog.show();
    dialog.setFolder(dir.path());
    dialog.txtFileName->setText("missing.model");
    dialog.cmdOpen->click();
    EXPECT_EQ(outcome(dialog), Open);
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, "データ読込");
    dialog.cmdExit->click();
    EXPECT_EQ(outcome(dialog), Rejected);
}

TEST_F(FileDialogs, FolderNavigation) {
    ASSERT_TRUE(QDir(dir.path()).mkpath("inner"));
    ASSERT_TRUE(QFile(dir.path() + "/inner/a.model").open(QIODevice::WriteOnly));
    frmOpen dialog(m, d);
    dialog.show();
    dialog.setFolder(dir.path());
    EXPECT_EQ(dialog.Drive1->currentText(), QStorageInfo(dir.path()).rootPath());
    // Enter on a subfolder opens it, without pressing "Open".
    const auto found = dialog.Dir1->findItems("inner", Qt::MatchEndsWith);
    ASSERT_EQ(found.size(), 1);
    dialog.Dir1->setCurrentItem(found[0]);
    QTest::keyClick(dialog.Dir1, Qt::Key_Return);
    EXPECT_EQ(dialog.folder(), dir.path() + "/inner");
    EXPECT_EQ(outcome(dialog), Open);
    EXPECT_TRUE(d.messages.empty());
    EXPECT_EQ(dialog.File1->count(), 1);

    // The parent in the chain leads back by a double click (a real one starts with
    // a press, which the item view needs to see).
    const auto parent = dialog.Dir1->findItems(QFileInfo(dir.path()).fileName(), Qt::MatchEndsWith);
    ASSERT_EQ(parent.size(), 1);
    const QPoint at = dialog.Dir1->visualItemRect(parent[0]).center();
    QTest::mouseClick(dialog.Dir1->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(dialog.Dir1->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(dialog.folder(), dir.path());
    EXPECT_EQ(dialog.File1->count(), 0);
}

} // namespace
} // namespace quillane
