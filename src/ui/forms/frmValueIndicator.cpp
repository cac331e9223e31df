#include "ui/forms/frmValueIndicator.h"

#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <utility>

#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"

namespace quillane {

// The desktop is not needed here: the choice only sets the editing mode.
frmValueIndicator::frmValueIndicator(Model& m, Desktop& /*d*/, QWidget* parent)
    : QDialog(parent), m_(m) {
    setWindowTitle("Values");
    lblChoose = new QLabel("Choose what you want to check.", this);
    optLoadValue = new QRadioButton("Applied Load value", this);
    optDisplacementValue = new QRadioButton("Displacement value", this);
    optStressValue = new QRadioButton("von Mises Stress value", this);
    optNeuronValue = new QRadioButton("Potential value", this);
    optDoNot = new QRadioButton("Nothing", this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblChoose);
    for (QRadioButton* option :
         {optLoadValue, optDisplacementValue, optStressValue, optNeuronValue, optDoNot}) {
        layout->addWidget(option);
    }
    addButtonRow(layout, {cmdOK, cmdExit});
    setMinimumWidth(260);

    // Opening on "Nothing" makes OK without a choice harmless.
    optDoNot->setChecked(true);

    connect(cmdOK, &QPushButton::clicked, this, &frmValueIndicator::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmValueIndicator::cmdOK_Click() {
    const std::pair<QRadioButton*, ValueOption> options[] = {
        {optLoadValue, ValueOption::Load},     {optDisplacementValue, ValueOption::Displacement},
        {optStressValue, ValueOption::Stress}, {optNeuronValue, ValueOption::Potential},
        {optDoNot, ValueOption::Nothing},
    };
    for (const auto& [button, option] : options) {
        if (button->isChecked()) {
            ApplyValueChoice(m_, option);
            break;
        }
    }
    accept();
}

} // namespace quillane
