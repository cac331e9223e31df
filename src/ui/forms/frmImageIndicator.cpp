#include "ui/forms/frmImageIndicator.h"

#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"

namespace quillane {

frmImageIndicator::frmImageIndicator(Model& m, Desktop& d, QWidget* parent)
    : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Graphics");
    lblChoose = new QLabel("Choose what you want to show.", this);
    optStressValue = new QRadioButton("von Mises Stress", this);
    optNeuronValue = new QRadioButton("Potential", this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblChoose);
    layout->addWidget(optStressValue);
    layout->addWidget(optNeuronValue);
    addButtonRow(layout, {cmdOK, cmdExit});
    setMinimumWidth(260);

    // The map now shown is preselected; with any other mode neither is.
    optStressValue->setChecked(m_.DisplayMode == 1);
    optNeuronValue->setChecked(m_.DisplayMode == 2);

    connect(cmdOK, &QPushButton::clicked, this, &frmImageIndicator::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmImageIndicator::cmdOK_Click() {
    if (optStressValue->isChecked() || optNeuronValue->isChecked()) {
        const bool stress = optStressValue->isChecked();
        if (!RunGuarded(m_, d_, [&] { ApplyImageChoice(m_, d_, stress); })) {
            return;
        }
    }
    accept();
}

} // namespace quillane
