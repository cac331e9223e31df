#include "ui/forms/frmWidth.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "model/NumberText.h"
#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"
#include "ui/forms/Text.h"

namespace quillane {

frmWidth::frmWidth(Model& m, Desktop& d, QWidget* parent) : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Width and Mesh Density");
    lblWidth = new QLabel("Enter display area Width in mm units.", this);
    txtWidth = new QLineEdit("1000", this);
    lblWidthUnit = new QLabel("mm", this);
    lblUnitGrid = new QLabel("Enter element-Size in mm units.", this);
    txtUnitGrid = new QLineEdit("1000", this);
    lblUnitGridUnit = new QLabel("mm", this);
    cmdOK = new QPushButton("OK", this);
    cmdCancel = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    auto* boxes = new QGridLayout;
    boxes->addWidget(lblWidth, 0, 0, 1, 2);
    boxes->addWidget(txtWidth, 1, 0);
    boxes->addWidget(lblWidthUnit, 1, 1);
    boxes->addWidget(lblUnitGrid, 2, 0, 1, 2);
    boxes->addWidget(txtUnitGrid, 3, 0);
    boxes->addWidget(lblUnitGridUnit, 3, 1);
    layout->addLayout(boxes);
    addButtonRow(layout, {cmdOK, cmdCancel});
    txtWidth->setMinimumWidth(160);
    txtUnitGrid->setMinimumWidth(160);
    setMinimumWidth(300);

    // The design-time "1000" never shows: the present values replace it.
    txtWidth->setText(qText(formatGeneral(m_.DomainWidth)));
    txtUnitGrid->setText(qText(formatGeneral(m_.ElementSize)));

    connect(cmdOK, &QPushButton::clicked, this, &frmWidth::cmdOK_Click);
    connect(cmdCancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmWidth::cmdOK_Click() {
    const std::string width = stdText(txtWidth->text());
    const std::string size = stdText(txtUnitGrid->text());
    bool stored = false;
    // A refused value keeps the dialog open for a correction.
    if (RunGuarded(m_, d_, [&] { stored = ApplyWidth(m_, d_, width, size); }) && stored) {
        accept();
    }
}

} // namespace quillane
