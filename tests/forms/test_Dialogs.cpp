// The modal dialogs on the offscreen platform: what each shows on opening, what
// OK and Cancel store, the status texts and the messages they leave behind.
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

#include "model/Messages.h"
#include "model/ModelFile.h"
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

struct Dialogs : ::testing::Test {
    Model m;
    FakeDesktop d;

    void giveDomain() { m = support::makePlate(2, 3); }
    // Open: shown and still waiting for the user; closed by OK or Cancel.
    static bool stillOpen(const QDialog& dialog) { return dialog.isVisible(); }
    static bool accepted(const QDialog& dialog) {
        return !dialog.isVisible() && dialog.result() == QDialog::Accepted;
    }
    static bool rejected(const QDialog& dialog) {
        return !dialog.isVisible() && dialog.result() == QDialog::Rejected;
    }
    void expectDomainFirst() {
        ASSERT_EQ(d.messages.size(), 1u);
        EXPECT_EQ(d.messages[0].text, kDomainFirst);
        EXPECT_EQ(d.messages[0].title, "警告");
    }
};

template <class Form> QString titleOf(Model& m, Desktop& d) {
    return Form(m, d).windowTitle();
}

TEST_F(Dialogs, CaptionsAndLabels) {
    EXPECT_EQ(titleOf<frmShape>(m, d), "Shape");
    EXPECT_EQ(titleOf<frmFreedom>(m, d), "Freedom Conditions");
    EXPECT_EQ(titleOf<frmAppliedLoad>(m, d), "Applied Load");
    EXPECT_EQ(titleOf<frmWidth>(m, d), "Width and Mesh Density");
    EXPECT_EQ(titleOf<frmMaterial>(m, d), "Design Property");
    EXPECT_EQ(titleOf<frmController>(m, d), "Optimization Parameter");
    EXPECT_EQ(titleOf<frmOptimization>(m, d), "Optimization");
    EXPECT_EQ(titleOf<frmImageIndicator>(m, d), "Graphics");
    EXPECT_EQ(titleOf<frmValueIndicator>(m, d), "Values");
    EXPECT_EQ(titleOf<frmOpen>(m, d), "Open Model");
    EXPECT_EQ(titleOf<frmSave>(m, d), "Save Model");
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

TEST_F(Dialogs, ShapeOptions) {
    giveDomain();
    const std::pair<QRadioButton * frmShape::*, int> options[] = {
        {&frmShape::optDesignDomain, 1},        {&frmShape::optAddElements, 2},
        {&frmShape::optRemoveElements, -2},     {&frmShape::optAddNonDesignElements, 3},
        {&frmShape::optDeleteDesignDomain, -1}, {&frmShape::optDoNot, 0},
    };
    for (const auto& [option, code] : options) {
        m.EditMode = 9;
        m.ClickCount = 1;
        frmShape form(m, d);
        EXPECT_TRUE(form.optDoNot->isChecked()); // always opens on "Nothing"
        EXPECT_EQ(m.EditMode, 9);                // opening alone changes nothing
        form.show();
        (form.*option)->click();
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
        EXPECT_EQ(m.EditMode, code);
        EXPECT_EQ(m.ClickCount, 0);
    }
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(Dialogs, ShapeNeedsDomainFirstAndCancelKeepsAll) {
    m.EditMode = 9;
    m.ClickCount = 1;
    {
        frmShape form(m, d);
        form.show();
        form.optAddElements->click();
        form.cmdCancel->click();
        EXPECT_TRUE(rejected(form));
        EXPECT_EQ(m.EditMode, 9);
        EXPECT_EQ(m.ClickCount, 1);
    }
    frmShape form(m, d);
    form.show();
    form.optAddElements->click();
    form.cmdOK->click();
    EXPECT_TRUE(accepted(form));
    EXPECT_EQ(m.EditMode, 9);
    expectDomainFirst();
}

TEST_F(Dialogs, Freedom) {
    m.EditMode = 9;
    {
        frmFreedom form(m, d);
        EXPECT_EQ(m.EditMode, 0); // loading ends the canvas editing
        EXPECT_TRUE(form.optFree->isChecked());
        form.show();
        form.optFixX->click();
        form.cmdOK->click(); // no domain yet
        EXPECT_TRUE(accepted(form));
        EXPECT_EQ(m.EditMode, 0);
        expectDomainFirst();
    }
    giveDomain();
    const std::pair<QRadioButton * frmFreedom::*, int> options[] = {
        {&frmFreedom::optFixX, 11},
        {&frmFreedom::optFixY, 12},
        {&frmFreedom::optFixXY, 13},
        {&frmFreedom::optFree, 14},
    };
    for (const auto& [option, code] : options) {
        frmFreedom form(m, d);
        form.show();
        (form.*option)->click();
        form.cmdOK->click();
        EXPECT_EQ(m.EditMode, code);
    }
    frmFreedom form(m, d);
    form.show();
    form.optFixXY->click();
    form.cmdExit->click();
    EXPECT_TRUE(rejected(form));
    EXPECT_EQ(m.EditMode, 0);
}

TEST_F(Dialogs, AppliedLoad) {
    m.EditMode = 9;
    {
        frmAppliedLoad form(m, d);
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_TRUE(form.optLoadOff->isChecked());
        EXPECT_EQ(form.txtLoadX->text(), "0");
        EXPECT_EQ(form.txtLoadY->text(), "0");
        form.show();
        form.txtLoadX->setText("10");
        form.txtLoadY->setText("-5");
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
    }
    EXPECT_EQ(d.status, "x方向荷重成分 = 10N   y方向荷重成分 = -5N");
    EXPECT_EQ(m.LoadFx, 10.0);
    EXPECT_EQ(m.LoadFy, -5.0);
    EXPECT_EQ(m.EditMode, 0);
    EXPECT_TRUE(d.messages.empty());

    {
        frmAppliedLoad form(m, d); // loads on, but no domain yet
        EXPECT_EQ(form.txtLoadX->text(), "10");
        EXPECT_EQ(form.txtLoadY->text(), "-5");
        form.optLoadOn->click();
        form.txtLoadX->setText("2.5kN");
        form.cmdOK->click();
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_EQ(m.LoadFx, 2.5);
        expectDomainFirst();
    }
    giveDomain();
    {
        frmAppliedLoad form(m, d);
        form.optLoadOn->click();
        form.cmdOK->click();
        EXPECT_EQ(m.EditMode, 4);
    }
    frmAppliedLoad form(m, d);
    form.show();
    form.txtLoadX->setText("99");
    form.cmdExit->click();
    EXPECT_TRUE(rejected(form));
    EXPECT_EQ(m.LoadFx, 0.0); // the fresh plate's force, untouched by Cancel
    EXPECT_EQ(m.EditMode, 0);
}

TEST_F(Dialogs, Width) {
    m.EditMode = 9;
    {
        frmWidth form(m, d);
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_EQ(form.txtWidth->text(), "2000");
        EXPECT_EQ(form.txtUnitGrid->text(), "100");
        form.show();
        form.txtWidth->setText("1000");
        form.txtUnitGrid->setText("50");
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
    }
    EXPECT_EQ(m.DomainWidth, 1000.0f);
    EXPECT_EQ(m.ElementSize, 50.0f);
    EXPECT_NEAR(m.DomainHeight, 666.67f, 0.01f); // the fake canvas is 3 : 2
    EXPECT_EQ(d.status, "Width = 1000mm  Element Size = 50mm");

    frmWidth refused(m, d);
    refused.show();
    refused.txtUnitGrid->setText("0");
    refused.cmdOK->click();
    EXPECT_TRUE(stillOpen(refused)); // a size of 0 is refused and may be corrected
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(m.ElementSize, 50.0f);
    refused.txtWidth->setText("3000");
    refused.cmdCancel->click();
    EXPECT_TRUE(rejected(refused));
    EXPECT_EQ(m.DomainWidth, 1000.0f);
}

TEST_F(Dialogs, Material) {
    m.EditMode = 9;
    {
        frmMaterial form(m, d);
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_EQ(form.txtEmod->text(), "210000");
        EXPECT_EQ(form.txtThickness->text(), "1");
        EXPECT_EQ(form.txtPoison->text(), "0.3");
        form.cmdOK->click();
    }
    EXPECT_EQ(d.status, "ヤング率 = 210000MPa  板厚 = 1mm  ポアソン比 = 0.3");
    {
        frmMaterial form(m, d);
        form.txtEmod->setText("70000");
        form.txtThickness->setText("2.5");
        form.txtPoison->setText("x");
        form.cmdOK->click();
    }
    EXPECT_EQ(m.YoungModulus, 70000.0);
    EXPECT_EQ(m.Thickness, 2.5);
    EXPECT_EQ(m.PoissonRatio, 0.0);
    EXPECT_EQ(d.status, "ヤング率 = 70000MPa  板厚 = 2.5mm  ポアソン比 = 0");

    m.EditMode = 9;
    frmMaterial form(m, d);
    form.show();
    form.txtEmod->setText("1");
    form.cmdExit->click();
    EXPECT_TRUE(rejected(form));
    EXPECT_EQ(m.YoungModulus, 70000.0);
    EXPECT_EQ(m.EditMode, 0);
}

TEST_F(Dialogs, Controller) {
    m.EditMode = 9;
    {
        frmController form(m, d);
        EXPECT_EQ(m.EditMode, 0);
        EXPECT_EQ(form.txtDpStress->text(), "0");
        EXPECT_EQ(form.txtDpEpsilon->text(), "1");
        EXPECT_EQ(form.txtDpLambda->text(), "0.05");
        form.show();
        form.txtDpStress->setText("120");
        form.txtDpEpsilon->setText("2.5");
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
    }
    EXPECT_EQ(m.StressTarget, 120.0f);
    EXPECT_EQ(m.Epsilon, 2);
    EXPECT_EQ(m.Lambda, 0.05f);
    EXPECT_EQ(d.status, "Stress Target = 120MPa   Epsilon = 2   Lambda = 0.05");
    {
        frmController form(m, d);
        form.show();
        form.txtDpStress->setText("7");
        form.cmdExit->click();
        EXPECT_TRUE(rejected(form));
        EXPECT_EQ(m.StressTarget, 120.0f);
    }
    // An Epsilon beyond 16 bits is a fault: reported, and the dialog stays open.
    frmController form(m, d);
    form.show();
    form.txtDpEpsilon->setText("40000");
    form.cmdOK->click();
    EXPECT_TRUE(stillOpen(form));
    EXPECT_EQ(d.messages.size(), 1u);
}

TEST_F(Dialogs, OptimizationButtons) {
    m = support::makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    frmOptimization form(m, d);
    form.show();

    form.cmdAutoStart->click();
    EXPECT_EQ(d.timerInterval, 1);
    EXPECT_EQ(m.AutoOptimize, -1);
    EXPECT_TRUE(d.busy);
    EXPECT_TRUE(stillOpen(form));

    form.cmdAutoStop->click();
    EXPECT_EQ(d.timerInterval, 0);
    EXPECT_EQ(m.AutoOptimize, 0);
    EXPECT_FALSE(d.busy);
    EXPECT_TRUE(stillOpen(form));

    form.cmdManual->click(); // one step at once, the flag left set
    EXPECT_EQ(m.StepCount, 1);
    EXPECT_EQ(m.AutoOptimize, -1);
    EXPECT_FALSE(d.busy);
    EXPECT_TRUE(stillOpen(form));
    EXPECT_TRUE(d.messages.empty());

    form.cmdAutoStart->click();
    form.cmdCancel->click();
    EXPECT_TRUE(rejected(form));
    EXPECT_EQ(d.timerInterval, 0);
    EXPECT_EQ(m.AutoOptimize, 0);
}

TEST_F(Dialogs, OptimizationEscapeAndCloseStopTheTimer) {
    for (const bool escape : {true, false}) {
        frmOptimization form(m, d);
        form.show();
        form.cmdAutoStart->click();
        if (escape) {
            QTest::keyClick(&form, Qt::Key_Escape);
        } else {
            form.close();
        }
        EXPECT_TRUE(rejected(form));
        EXPECT_EQ(d.timerInterval, 0);
        EXPECT_EQ(m.AutoOptimize, 0);
    }
}

TEST_F(Dialogs, ImageIndicator) {
    m = support::makeCantilever(2, 4);
    StressAnalysisCommand(m, d);
    m.DisplayMode = 2;
    {
        frmImageIndicator form(m, d);
        EXPECT_TRUE(form.optNeuronValue->isChecked());
        form.optStressValue->click();
        form.cmdExit->click();
        EXPECT_EQ(m.DisplayMode, 2);
    }
    {
        frmImageIndicator form(m, d);
        form.show();
        form.optStressValue->click();
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
        EXPECT_EQ(m.DisplayMode, 1);
    }
    frmImageIndicator form(m, d);
    EXPECT_TRUE(form.optStressValue->isChecked());
    form.optNeuronValue->click();
    form.cmdOK->click();
    EXPECT_EQ(m.DisplayMode, 2);
    EXPECT_TRUE(d.messages.empty());
}

TEST_F(Dialogs, ValueIndicator) {
    const std::pair<QRadioButton * frmValueIndicator::*, int> options[] = {
        {&frmValueIndicator::optLoadValue, 8},   {&frmValueIndicator::optDisplacementValue, 5},
        {&frmValueIndicator::optStressValue, 6}, {&frmValueIndicator::optNeuronValue, 7},
        {&frmValueIndicator::optDoNot, 9}, // "Nothing" keeps the mode
    };
    for (const auto& [option, code] : options) {
        m.EditMode = 9;
        frmValueIndicator form(m, d);
        EXPECT_TRUE(form.optDoNot->isChecked());
        form.show();
        (form.*option)->click();
        form.cmdOK->click();
        EXPECT_TRUE(accepted(form));
        EXPECT_EQ(m.EditMode, code);
    }
    m.EditMode = 9;
    frmValueIndicator form(m, d);
    form.optStressValue->click();
    form.cmdExit->click();
    EXPECT_EQ(m.EditMode, 9);
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
        EXPECT_EQ(save.folder(), dir.path());
        save.txtFileName->setText("plate.model");
        QTest::mouseClick(save.cmdSave, Qt::LeftButton);
        EXPECT_TRUE(accepted(save));
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
    EXPECT_TRUE(accepted(dialog));
    EXPECT_TRUE(d.messages.empty());
    EXPECT_EQ(opened.NodeCount, m.NodeCount);
    EXPECT_EQ(opened.ElementCount, m.ElementCount);
    for (int k = 1; k <= m.NodeCount; ++k) {
        EXPECT_EQ(opened.NodeLoad(k, 2), m.NodeLoad(k, 2));
        EXPECT_EQ(opened.NodeFreedom(k, 1), m.NodeFreedom(k, 1));
    }
    EXPECT_EQ(opened.DomainDefined, -1);
    EXPECT_EQ(d.title, kOpenedTitle);
    EXPECT_FALSE(d.resultMenusEnabled);

    // The next dialog starts in the folder of the file last used.
    frmOpen again(opened, d);
    EXPECT_EQ(again.folder(), dir.path());
}

TEST_F(FileDialogs, OpenFailureKeepsTheDialogOpen) {
    frmOpen dialog(m, d);
    dialog.show();
    dialog.setFolder(dir.path());
    dialog.txtFileName->setText("missing.model");
    dialog.cmdOpen->click();
    EXPECT_TRUE(stillOpen(dialog));
    ASSERT_EQ(d.messages.size(), 1u);
    EXPECT_EQ(d.messages[0].title, "データ読込");
    EXPECT_EQ(d.messages[0].text, kModelFileErrorMessage);
    dialog.cmdExit->click();
    EXPECT_TRUE(rejected(dialog));
}

TEST_F(FileDialogs, FolderNavigation) {
    ASSERT_TRUE(QDir(dir.path()).mkpath("inner"));
    QFile file(dir.path() + "/inner/a.model");
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();

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
    EXPECT_TRUE(stillOpen(dialog));
    EXPECT_TRUE(d.messages.empty());
    ASSERT_EQ(dialog.File1->count(), 1);

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

TEST_F(FileDialogs, DoubleClickOnAFileChoosesAndOpensIt) {
    m = support::makeCantilever(1, 2);
    ASSERT_TRUE(SaveModelCommand(m, d, dir.path().toStdString(), "one.model"));
    Model opened;
    frmOpen dialog(opened, d);
    dialog.show();
    dialog.setFolder(dir.path());
    ASSERT_EQ(dialog.File1->count(), 1);
    const QPoint at = dialog.File1->visualItemRect(dialog.File1->item(0)).center();
    QTest::mouseClick(dialog.File1->viewport(), Qt::LeftButton, {}, at);
    QTest::mouseDClick(dialog.File1->viewport(), Qt::LeftButton, {}, at);
    EXPECT_TRUE(accepted(dialog));
    EXPECT_EQ(opened.ElementCount, 2);
}

} // namespace
} // namespace quillane
