#include "ui/forms/frmController.h"

#include <QGridLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "optimize/Parameters.h"
#include "ui/Commands.h"
#include "ui/forms/DialogLayout.h"
#include "ui/forms/Text.h"

namespace quillane {

frmController::frmController(Model& m, Desktop& d, QWidget* parent)
    : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Optimization Parameter");
    lblStressHint = new QLabel("Specify a target value of stress", this);
    lblDpStress = new QLabel("von Mises Stress:", this);
    txtDpStress = new QLineEdit(this);
    lblEpsilonHint = new QLabel("Specify threshold value Epsilon", this);
    lblDpEpsilon = new QLabel("Epsilon:", this);
    txtDpEpsilon = new QLineEdit(this);
    lblLambdaHint = new QLabel("and forget coefficient Lambda.", this);
    lblDpLambda = new QLabel("Lambda:", this);
    txtDpLambda = new QLineEdit(this);
    cmdOK = new QPushButton("OK", this);
    cmdExit = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    auto* boxes = new QGridLayout;
    boxes->addWidget(lblStressHint, 0, 0, 1, 2);
    boxes->addWidget(lblDpStress, 1, 0);
    boxes->addWidget(txtDpStress, 1, 1);
    boxes->addWidget(lblEpsilonHint, 2, 0, 1, 2);
    boxes->addWidget(lblDpEpsilon, 3, 0);
    boxes->addWidget(txtDpEpsilon, 3, 1);
    boxes->addWidget(lblLambdaHint, 4, 0, 1, 2);
    boxes->addWidget(lblDpLambda, 5, 0);
    boxes->addWidget(txtDpLambda, 5, 1);
    layout->addLayout(boxes);
    addButtonRow(layout, {cmdOK, cmdExit});
    for (QLineEdit* box : {txtDpStress, txtDpEpsilon, txtDpLambda}) {
        box->setMinimumWidth(120);
    }
    setMinimumWidth(300);

    const ParameterTexts texts = ParameterTextsOf(m_);
    txtDpStress->setText(qText(texts.stressTarget));
    txtDpEpsilon->setText(qText(texts.epsilon));
    txtDpLambda->setText(qText(texts.lambda));

    connect(cmdOK, &QPushButton::clicked, this, &frmController::cmdOK_Click);
    connect(cmdExit, &QPushButton::clicked, this, &QDialog::reject);
}

void frmController::cmdOK_Click() {
    const std::string stress = stdText(txtDpStress->text());
    const std::string epsilon = stdText(txtDpEpsilon->text());
    const std::string lambda = stdText(txtDpLambda->text());
    // A value beyond its type's range is reported and the dialog stays open.
    if (RunGuarded(m_, d_, [&] { ApplyController(m_, d_, stress, epsilon, lambda); })) {
        accept();
    }
}

} // namespace quillane
