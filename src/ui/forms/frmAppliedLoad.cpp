#include "ui/forms/frmAppliedLoad.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

#include "model/NumberText.h"
#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"
#include "ui/forms/Text.h"

namespace quillane {

frmAppliedLoad::frmAppliedLoad(Model& m, Desktop& d, QWidget* parent)
    : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Applied Load");
    optLoadOn = new QRadioButton("Specify the applied loads", this);
    optLoadOff = new QRadioButton("Nothing", this);
    lblLoadX = new QLabel("Force-X: ", this);
    txtLoadX = new QLineEdit(this);
    lblLoadY = new QLabel("Force-Y: ", this);
    txtLoadY = new QLineEdit(this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    layout->addWidget(optLoadOn);
    layout->addWidget(optLoadOff);
    auto* boxes = new QGridLayout;
    boxes->addWidget(lblLoadX, 0, 0);
    boxes->addWidget(txtLoadX, 0, 1);
    boxes->addWidget(lblLoadY, 1, 0);
    boxes->addWidget(txtLoadY, 1, 1);
    layout->addLayout(boxes);
    addButtonRow(layout, {cmdOK, cmdExit});
    txtLoadX->setMinimumWidth(120);
    txtLoadY->setMinimumWidth(120);
    setMinimumWidth(280);

    optLoadOff->setChecked(true);
    txtLoadX->setText(qText(formatGeneral(m_.LoadFx)));
    txtLoadY->setText(qText(formatGeneral(m_.LoadFy)));

    connect(cmdOK, &QPushButton::clicked, this, &frmAppliedLoad::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmAppliedLoad::cmdOK_Click() {
    const bool loadOn = optLoadOn->isChecked();
    const std::string fx = stdText(txtLoadX->text());
    const std::string fy = stdText(txtLoadY->text());
    if (RunGuarded(m_, d_, [&] { ApplyAppliedLoad(m_, d_, loadOn, fx, fy); })) {
        accept();
    }
}

} // namespace quillane
