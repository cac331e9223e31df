// The modal dialogs on the offscreen platform: captions, what each shows on opening,
// that OK stores and Cancel keeps, and when they stay open. The rules behind each
// choice are pinned by the ui layer's tests.
#include <gtest/gtest.h>

#include <QTest>
#include <QtWidgets>

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

// Open: shown and still waiting for the user; otherwise closed by OK or Cancel.
enum Outcome { Open, Accepted, Rejected };
Outcome outcome(const QDialog& dialog) {
    return dialog.isVisible() ? Open : dialog.result() == QDialog::Accepted ? Accepted : Rejected;
}

// Each option, chosen and confirmed, sets `field` (the edit mode unless told) to the
// same place in `codes`; Cancel leaves `start` at `unchanged`. It opens on `initial`.
template <class Form>
void expectModes(Model& m, Desktop& d, const char* title, QRadioButton* Form::*initial,
                 QPushButton* Form::*cancel, int unchanged,
                 std::initializer_list<QRadioButton * Form::*> options, std::vector<int> codes,
                 int16 Model::*field = &Model::EditMode, int16 start = 9) {
    for (size_t i = 0; i < options.size(); ++i) {
        for (QPushButton* Form::*button : {cancel, &Form::cmdOK}) {
            m.*field = start;
            Form form(m, d);
            EXPECT_EQ(form.windowTitle(), title);
            EXPECT_TRUE((form.*initial)->isChecked());
            form.show();
            (form.*options.begin()[i])->click();
            (form.*button)->click();
            EXPECT_EQ(outcome(form), button == cancel ? Rejected : Accepted);
            EXPECT_EQ(m.*field, button == cancel ? unchanged : codes[i]) << title;
        }
    }
}

// Text fields: opening shows the values in use; Cancel
// drops the typed values (the next opening shows the old ones), OK stores them.
template <class Form>
void expectFields(Model& m, Desktop& d, const char* title, QPushButton* Form::*cancel,
                  std::initializer_list<QLineEdit * Form::*> fields, QStringList shown,
                  QStringList typed) {
    for (QPushButton* Form::*button : {cancel, &Form::cmdOK}) {
        Form form(m, d);
        EXPECT_EQ(form.windowTitle(), title);
        form.show();
        for (size_t i = 0; i < fields.size(); ++i) {
            EXPECT_EQ((form.*fields.begin()[i])->text(), shown[i]) << title;
            (form.*fields.begin()[i])->setText(typed[i]);
        }
        (form.*button)->click();
        EXPECT_EQ(outcome(form), button == cancel ? Rejected : Accepted);
    }
}

struct Dialogs : ::testing::Test {
    Model m = support::makePlate(2, 3);
    test::FakeDesktop d;
};

TEST_F(Dialogs, OptionButtonsSetTheEditModeOnOKOnly) {
    using S = frmShape;
    expectModes<S>(m, d, "Shape", &S::optDoNot, &S::cmdCancel, 9,
                   {&S::optDesignDomain, &S::optAddElements, &S::optRemoveElements,
                    &S::optAddNonDesignElements, &S::optDeleteDesignDomain, &S::optDoNot},
                   {1, 2, -2, 3, -1, 0});
    using F = frmFreedom;
    expectModes<F>(m, d, "Freedom Conditions", &F::optFree, &F::cmdExit, 9,
                   {&F::optFixX, &F::optFixY, &F::optFixXY, &F::optFree}, {11, 12, 13, 14});
    using V = frmValueIndicator;
    expectModes<V>(m, d, "Values", &V::optDoNot, &V::cmdExit, 9,
                   {&V::optLoadValue, &V::optDisplacementValue, &V::optStressValue,
                    &V::optNeuronValue, &V::optDoNot},
                   {8, 5, 6, 7, 9});
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(Dialogs, FieldsShowTheValuesInUseAreStoredOnOKOnlyAndRefusalsKeepThemOpen) {
    using L = frmAppliedLoad;
    expectFields<L>(m, d, "Applied Load", &L::cmdExit, {&L::txtLoadX, &L::txtLoadY}, {"0", "0"},
                    {"10", "-5"});
    EXPECT_EQ(m.LoadFx, 10.0);
    EXPECT_EQ(m.LoadFy, -5.0);
    using M = frmMaterial; // an unreadable ratio is taken as 0
    expectFields<M>(m, d, "Design Property", &M::cmdExit,
                    {&M::txtEmod, &M::txtThickness, &M::txtPoison}, {"210000", "1", "0.3"},
                    {"70000", "2.5", "x"});
    EXPECT_EQ(m.YoungModulus, 70000.0);
    EXPECT_EQ(m.Thickness, 2.5);
    EXPECT_EQ(m.PoissonRatio, 0.0);
    using C = frmController;
    expectFields<C>(m, d, "Optimization Parameter", &C::cmdExit,
                    {&C::txtDpStress, &C::txtDpEpsilon, &C::txtDpLambda}, {"0", "1", "0.05"},
                    {"120", "2.5", "0.1"});
    EXPECT_EQ(m.StressTarget, 120.0f);
    EXPECT_EQ(m.Epsilon, 2);
    EXPECT_EQ(m.Lambda, 0.1f);
    using W = frmWidth;
    expectFields<W>(m, d, "Width and Mesh Density", &W::cmdCancel, {&W::txtWidth, &W::txtUnitGrid},
                    {"2000", "100"}, {"1000", "50"});
    EXPECT_EQ(m.DomainWidth, 1000.0f);
    EXPECT_EQ(m.ElementSize, 50.0f);

    frmMaterial material(m, d);
    EXPECT_EQ(material.lblEmod->text() + material.lblPoison->text(),
              "Modulus of Elasticity: Poissons Ratio: ");
    frmAppliedLoad load(m, d);
    EXPECT_EQ(load.lblLoadX->text() + load.lblLoadY->text(), "Force-X: Force-Y: ");
    EXPECT_TRUE(load.optLoadOff->isChecked());
    EXPECT_EQ(load.txtLoadY->text(), "-5");
    load.optLoadOn->click();
    load.cmdOK->click();
    EXPECT_EQ(m.EditMode, 4); // the loads are placed by clicks next
    EXPECT_TRUE(d.messages.empty());

    // Refused values keep the dialog open for a correction.
    frmWidth width(m, d);
    width.show();
    width.txtUnitGrid->setText("0");
    width.cmdOK->click();
    EXPECT_EQ(outcome(width), Open);
    EXPECT_EQ(m.ElementSize, 50.0f);
    frmController controller(m, d);
    controller.show();
    controller.txtDpEpsilon->setText("40000"); // beyond 16 bits: a fault, reported
    controller.cmdOK->click();
    EXPECT_EQ(outcome(controller), Open);
    EXPECT_EQ(d.messages.size(), 2u);
}

TEST_F(Dialogs, OnAnAnalysedModelGraphicsSwitchesTheMapAndOptimizationRunsTheTimer) {
    m = support::makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    using G = frmImageIndicator;
    expectModes<G>(m, d, "Graphics", &G::optNeuronValue, &G::cmdExit, 2,
                   {&G::optStressValue, &G::optNeuronValue}, {1, 2}, &Model::DisplayMode, 2);
    m.DisplayMode = 1;
    EXPECT_TRUE(G(m, d).optStressValue->isChecked());

    frmOptimization form(m, d);
    EXPECT_EQ(form.windowTitle() + form.cmdManual->text() + form.cmdAutoStart->text(),
              "OptimizationBit by BitAutomatic_Start");
    form.show();
    form.cmdAutoStart->click();
    EXPECT_EQ(d.timerInterval, 1);
    EXPECT_EQ(m.AutoOptimize, -1);
    EXPECT_TRUE(d.busy);
    form.cmdAutoStop->click();
    EXPECT_EQ(d.timerInterval, 0);
    EXPECT_EQ(m.AutoOptimize, 0);
    EXPECT_FALSE(d.busy);
    form.cmdManual->click(); // one step at once, the flag left set
    EXPECT_EQ(m.StepCount, 1);
    EXPECT_EQ(m.AutoOptimize, -1);
    EXPECT_FALSE(d.busy);
    EXPECT_EQ(outcome(form), Open);
    EXPECT_TRUE(d.messages.empty());
    for (int way = 0; way < 2; ++way) { // Cancel or closing the window
        frmOptimization leaving(m, d);
        leaving.show();
        leaving.cmdAutoStart->click();
        way == 0 ? leaving.cmdCancel->click() : (void)leaving.close();
        EXPECT_EQ(outcome(leaving), Rejected);
        EXPECT_EQ(d.timerInterval, 0);
        EXPECT_EQ(m.AutoOptimize, 0);
    }
}

TEST_F(Dialogs, SaveThenOpenThroughTheFileDialogs) {
    QTemporaryDir dir;
    m = support::makeCantilever(2, 3);
    frmSave save(m, d);
    EXPECT_EQ(save.windowTitle() + save.cmdSave->text() + save.cmdExit->text(),
              "Save ModelSaveCancel");
    save.show();
    save.setFolder(dir.path());
    save.txtFileName->setText("plate.model");
    QTest::mouseClick(save.cmdSave, Qt::LeftButton);
    EXPECT_EQ(outcome(save), Accepted);

    // A missing file is reported and the dialog waits for another name.
    Model opened;
    frmOpen dialog(opened, d);
    EXPECT_EQ(dialog.windowTitle(), "Open Model");
    dialog.show();
    dialog.setFolder(dir.path());
    dialog.txtFileName->setText("missing.model");
    dialog.cmdOpen->click();
    EXPECT_EQ(outcome(dialog), Open);
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, "データ読込");

    // A click on a listed file chooses it, a double click opens it (a real double
    // click starts with a press, which the list needs to see).
    ASSERT_EQ(dialog.File1->count(), 1);
    const QPoint at = dialog.File1->visualItemRect(dialog.File1->item(0)).center();
    QTest::mouseClick(dialog.File1->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(dialog.txtFileName->text(), "plate.model");
    EXPECT_EQ(outcome(dialog), Open);
    QTest::mouseDClick(dialog.File1->viewport(), Qt::LeftButton, {}, at);
    EXPECT_EQ(outcome(dialog), Accepted);
    EXPECT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.title, kOpenedTitle);
    EXPECT_EQ(opened.NodeCount, m.NodeCount); // the contents are checked in the ui layer
    // The next dialog starts in the folder of the file last used.
    EXPECT_EQ(frmOpen(opened, d).folder(), dir.path());
}

// What a dialog shows, in the order its controls were made: the title, then every
// label, option and button caption.
template <class Form> QString captions(Model& m, Desktop& d) {
    Form form(m, d);
    QStringList texts{form.windowTitle()};
    for (QObject* child : form.children()) {
        if (auto* label = qobject_cast<QLabel*>(child)) {
            if (!label->text().isEmpty()) { // a notice that has nothing to say yet
                texts << label->text();
            }
        } else if (auto* button = qobject_cast<QAbstractButton*>(child)) {
            texts << button->text();
        }
    }
    return texts.join('|');
}

TEST_F(Dialogs, CaptionsAsWritten) {
    const std::pair<QString, const char*> dialogs[] = {
        {captions<frmShape>(m, d),
         "Shape|Choose what you want to draw.|Setup Design Domain|Add Design Structural "
         "Elements|Delete Structural Elements|Add Non-Design Structural Elements|Delete Design "
         "Domain|Nothing|OK|Cancel"},
        {captions<frmFreedom>(m, d),
         "Freedom Conditions|Choose individual node settings.|X-Displacement Fixed|"
         "Y-Displacement Fixed|All Displacement Fixed|Nothing|OK|Cancel"},
        {captions<frmAppliedLoad>(m, d),
         "Applied Load|Specify the applied loads|Nothing|Force-X: |Force-Y: |OK|Cancel"},
        {captions<frmWidth>(m, d), "Width and Mesh Density|Enter display area Width in mm "
                                   "units.|mm|Enter element-Size in mm units.|mm|OK|Cancel"},
        {captions<frmMaterial>(m, d),
         "Design Property|Specify Design Property Values|Modulus of Elasticity: |MPa|Thickness: "
         "|mm|Poissons Ratio: |OK|Cancel"},
        {captions<frmController>(m, d),
         "Optimization Parameter|Specify a target value of stress|von Mises Stress:|Specify "
         "threshold value Epsilon|Epsilon:|and forget coefficient Lambda.|Lambda:|OK|Cancel"},
        {captions<frmImageIndicator>(m, d),
         "Graphics|Choose what you want to show.|von Mises Stress|Potential|OK|Cancel"},
        {captions<frmValueIndicator>(m, d),
         "Values|Choose what you want to check.|Applied Load value|Displacement value|von "
         "Mises Stress value|Potential value|Nothing|OK|Cancel"},
        {captions<frmOptimization>(m, d),
         "Optimization|Automatic_Start|Automatic_Stop|Bit by Bit|Cancel"},
        {captions<frmOpen>(m, d), "Open Model|Open|Cancel"},
        {captions<frmSave>(m, d), "Save Model|Save|Cancel"},
    };
    for (const auto& [shown, written] : dialogs) {
        EXPECT_EQ(shown.toStdString(), written);
    }
}

TEST_F(Dialogs, AnOverflowThenCancelLeavesEverySettingAsItWas) {
    frmController controller(m, d);
    controller.show();
    controller.txtDpStress->setText("55");
    controller.txtDpEpsilon->setText("40000"); // beyond 16 bits: reported, the dialog open
    controller.cmdOK->click();
    EXPECT_EQ(outcome(controller), Open);
    controller.cmdExit->click();
    EXPECT_EQ(std::tie(m.StressTarget, m.Epsilon, m.Lambda),
              std::make_tuple(0.0f, int16{1}, 0.05f));
    frmWidth width(m, d);
    width.show();
    width.txtWidth->setText("1000");
    width.txtUnitGrid->setText("1e39");
    width.cmdOK->click();
    EXPECT_EQ(outcome(width), Open);
    width.cmdCancel->click();
    EXPECT_EQ(std::tie(m.DomainWidth, m.ElementSize), std::make_tuple(2000.0f, 100.0f));
    ASSERT_EQ(d.messages.size(), 2u);
    EXPECT_EQ(d.messages[0].title + d.messages[1].title, "OverflowOverflow");
}

TEST_F(Dialogs, FolderListJumpsToTypedNamesAndNamesAreRelativeToTheFolderShown) {
    QTemporaryDir dir;
    for (const char* folder : {"alpha", "beta", "bravo", "Charlie"}) {
        QDir(dir.path()).mkdir(folder);
    }
    m = support::makeCantilever(2, 3);
    frmSave save(m, d);
    save.show();
    save.setFolder(dir.path());
    const auto current = [&save] { return save.Dir1->currentItem()->text().trimmed(); };
    save.Dir1->setFocus();
    QTest::keyClicks(save.Dir1, "br"); // one word typed quickly
    EXPECT_EQ(current(), "bravo");
    QTest::qWait(QApplication::keyboardInputInterval() + 100);
    QTest::keyClicks(save.Dir1, "c");
    EXPECT_EQ(current(), "Charlie");
    QTest::keyClick(save.Dir1, Qt::Key_Return); // opens it
    EXPECT_EQ(save.folder(), dir.filePath("Charlie"));

    // The process's own folder plays no part in where a typed name lands.
    const QString previous = QDir::currentPath();
    QDir::setCurrent(dir.filePath("alpha"));
    save.setFolder(dir.filePath("beta"));
    save.txtFileName->setText("../plate.model");
    save.cmdSave->click();
    QDir::setCurrent(previous);
    EXPECT_EQ(outcome(save), Accepted);
    EXPECT_TRUE(QFile::exists(dir.filePath("plate.model")));
    EXPECT_TRUE(d.messages.empty());
}

} // namespace
} // namespace quillane
