#include "ui/forms/frmMaterial.h"

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

frmMaterial::frmMaterial(Model& m, Desktop& d, QWidget* parent) : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Design Property");
    lblHeading = new QLabel("Specify Design Property Values", this);
    lblEmod = new QLabel("Modulus of Elasticity: ", this);
    txtEmod = new QLineEdit(this);
    lblEmodUnit = new QLabel("MPa", this);
    lblThickness = new QLabel("Thickness: ", this);
    txtThickness = new QLineEdit(this);
    lblThicknessUnit = new QLabel("mm", this);
    lblPoison = new QLabel("Poissons Ratio: ", this);
    txtPoison = new QLineEdit(this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(lblHeading);
    auto* boxes = new QGridLayout;
    boxes->addWidget(lblEmod, 0, 0);
    boxes->addWidget(txtEmod, 0, 1);
    boxes->addWidget(lblEmodUnit, 0, 2);
    boxes->addWidget(lblThickness, 1, 0);
    boxes->addWidget(txtThickness, 1, 1);
    boxes->addWidget(lblThicknessUnit, 1, 2);
    boxes->addWidget(lblPoison, 2, 0);
    boxes->addWidget(txtPoison, 2, 1);
    layout->addLayout(boxes);
    addButtonRow(layout, {cmdOK, cmdExit});
    for (QLineEdit* box : {txtEmod, txtThickness, txtPoison}) {
        box->setMinimumWidth(120);
    }
    setMinimumWidth(320);

    txtThickness->setText(qText(formatGeneral(m_.Thickness)));
    txtEmod->setText(qText(formatGeneral(m_.YoungModulus)));
    txtPoison->setText(qText(formatGeneral(m_.PoissonRatio)));

    connect(cmdOK, &QPushButton::clicked, this, &frmMaterial::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmMaterial::cmdOK_Click() {
    const std::string emod = stdText(txtEmod->text());
    const std::string thickness = stdText(txtThickness->text());
    const std::string poisson = stdText(txtPoison->text());
    if (RunGuarded(m_, d_, [&] { ApplyMaterial(m_, d_, emod, thickness, poisson); })) {
        accept();
    }
}

} // namespace quillane
