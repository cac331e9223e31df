#include "ui/forms/frmFreedom.h"

#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <utility>

#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"

namespace quillane {

frmFreedom::frmFreedom(Model& m, Desktop& d, QWidget* parent) : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Freedom Conditions");
    lblChoose = new QLabel("Choose individual node settings.", this);
    optFixX = new QRadioButton("X-Displacement Fixed", this);
    optFixY = new QRadioButton("Y-Displacement Fixed", this);
    optFixXY = new QRadioButton("All Displacement Fixed", this);
    optFree = new QRadioButton("Nothing", this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblChoose);
    for (QRadioButton* option : {optFixX, optFixY, optFixXY, optFree}) {
        layout->addWidget(option);
    }
    addButtonRow(layout, {cmdOK, cmdExit});
    setMinimumWidth(280);

    // Opening the dialog ends any editing on the canvas, so Cancel leaves it inert.
    optFree->setChecked(true);

    connect(cmdOK, &QPushButton::clicked, this, &frmFreedom::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmFreedom::cmdOK_Click() {
    const std::pair<QRadioButton*, FreedomOption> options[] = {
        {optFixX, FreedomOption::FixX},
        {optFixY, FreedomOption::FixY},
        {optFixXY, FreedomOption::FixXY},
        {optFree, FreedomOption::Free},
    };
    for (const auto& [button, option] : options) {
        if (button->isChecked()) {
            const FreedomOption chosen = option;
            if (!RunGuarded(m_, d_, [&] { ApplyFreedom(m_, d_, chosen); })) {
                return;
            }
            break;
        }
    }
    accept();
}

} // namespace quillane
