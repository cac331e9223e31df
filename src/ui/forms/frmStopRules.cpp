#include "ui/forms/frmStopRules.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>

#include "model/Int16.h"
#include "ui/forms/DialogLayout.h"

namespace quillane {

frmStopRules::frmStopRules(Model& m, Desktop& /*d*/, QWidget* parent) : QDialog(parent), m_(m) {
    setWindowTitle("Stop Rules");
    auto* hint = new QLabel("Automatic_Start runs until Automatic_Stop or until a rule "
                            "checked here fires after a step.",
                            this);
    hint->setWordWrap(true);
    chkSteady = new QCheckBox("Stop when steady: no cell has changed state for", this);
    txtSteadySteps = new QSpinBox(this);
    txtSteadySteps->setRange(1, kInt16Max);
    chkVolume = new QCheckBox("Stop when the volume falls to", this);
    txtVolumeRatio = new QDoubleSpinBox(this);
    txtVolumeRatio->setRange(0.001, 0.999);
    txtVolumeRatio->setDecimals(3);
    txtVolumeRatio->setSingleStep(0.05);
    chkUnconverged = new QCheckBox("Stop when a solve does not converge", this);
    chkSteps = new QCheckBox("Stop after", this);
    txtMaxSteps = new QSpinBox(this);
    txtMaxSteps->setRange(1, kInt16Max);
    cmdOK = new QPushButton("OK", this);
    cmdCancel = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(hint);
    auto* rows = new QGridLayout;
    rows->addWidget(chkSteady, 0, 0);
    rows->addWidget(txtSteadySteps, 0, 1);
    rows->addWidget(new QLabel("steps in a row", this), 0, 2);
    rows->addWidget(chkVolume, 1, 0);
    rows->addWidget(txtVolumeRatio, 1, 1);
    rows->addWidget(new QLabel("of the analysed volume", this), 1, 2);
    rows->addWidget(chkUnconverged, 2, 0, 1, 3);
    rows->addWidget(chkSteps, 3, 0);
    rows->addWidget(txtMaxSteps, 3, 1);
    rows->addWidget(new QLabel("steps since the analysis", this), 3, 2);
    layout->addLayout(rows);
    addButtonRow(layout, {cmdOK, cmdCancel});

    const StopRules& rules = m_.Rules;
    chkSteady->setChecked(rules.steady);
    txtSteadySteps->setValue(rules.steadySteps);
    chkVolume->setChecked(rules.volume);
    txtVolumeRatio->setValue(rules.volumeRatio);
    chkUnconverged->setChecked(rules.unconverged);
    chkSteps->setChecked(rules.steps);
    txtMaxSteps->setValue(rules.maxSteps);
    // A value box is live only while its rule is on.
    const auto pair = [](QCheckBox* box, QWidget* value) {
        value->setEnabled(box->isChecked());
        connect(box, &QCheckBox::toggled, value, &QWidget::setEnabled);
    };
    pair(chkSteady, txtSteadySteps);
    pair(chkVolume, txtVolumeRatio);
    pair(chkSteps, txtMaxSteps);

    connect(cmdOK, &QPushButton::clicked, this, &frmStopRules::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmStopRules::cmdOK_Click() {
    StopRules rules;
    rules.steady = chkSteady->isChecked();
    rules.steadySteps = txtSteadySteps->value();
    rules.volume = chkVolume->isChecked();
    rules.volumeRatio = txtVolumeRatio->value();
    rules.unconverged = chkUnconverged->isChecked();
    rules.steps = chkSteps->isChecked();
    rules.maxSteps = txtMaxSteps->value();
    m_.Rules = rules;
    accept();
}

} // namespace quillane
