#include "ui/forms/frmShape.h"

#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <utility>

#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"

namespace quillane {

frmShape::frmShape(Model& m, Desktop& d, QWidget* parent) : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Shape");
    lblChoose = new QLabel("Choose what you want to draw.", this);
    optDesignDomain = new QRadioButton("Setup Design Domain", this);
    optAddElements = new QRadioButton("Add Design Structural Elements", this);
    optRemoveElements = new QRadioButton("Delete Structural Elements", this);
    optAddNonDesignElements = new QRadioButton("Add Non-Design Structural Elements", this);
    optDeleteDesignDomain = new QRadioButton("Delete Design Domain", this);
    optDoNot = new QRadioButton("Nothing", this);
    cmdOK = new QPushButton("OK", this);
    cmdCancel = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblChoose);
    for (QRadioButton* option : {optDesignDomain, optAddElements, optRemoveElements,
                                 optAddNonDesignElements, optDeleteDesignDomain, optDoNot}) {
        layout->addWidget(option);
    }
    addButtonRow(layout, {cmdOK, cmdCancel});
    setMinimumWidth(320);

    // The dialog always opens on "Nothing", whatever was chosen last time.
    optDesignDomain->setChecked(false);
    optAddElements->setChecked(false);
    optRemoveElements->setChecked(false);
    optDoNot->setChecked(true);

    connect(cmdOK, &QPushButton::clicked, this, &frmShape::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmShape::cmdOK_Click() {
    // Tested in the order of the options; the first one checked wins.
    const std::pair<QRadioButton*, ShapeOption> options[] = {
        {optDesignDomain, ShapeOption::DesignDomain},
        {optAddElements, ShapeOption::AddElements},
        {optRemoveElements, ShapeOption::RemoveElements},
        {optAddNonDesignElements, ShapeOption::AddNonDesignElements},
        {optDeleteDesignDomain, ShapeOption::DeleteDesignDomain},
        {optDoNot, ShapeOption::Nothing},
    };
    ShapeOption chosen = ShapeOption::Nothing;
    for (const auto& [button, option] : options) {
        if (button->isChecked()) {
            chosen = option;
            break;
        }
    }
    if (RunGuarded(m_, d_, [&] { ApplyShape(m_, d_, chosen); })) {
        accept();
    }
}

} // namespace quillane
