#pragma once
// "Optimization Parameter": stress target, threshold Epsilon and forget
// coefficient Lambda of the potential rule.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace quillane {

class frmController : public QDialog {
    Q_OBJECT

  public:
    frmController(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblStressHint;
    QLabel* lblDpStress;
    QLineEdit* txtDpStress;
    QLabel* lblEpsilonHint;
    QLabel* lblDpEpsilon;
    QLineEdit* txtDpEpsilon;
    QLabel* lblLambdaHint;
    QLabel* lblDpLambda;
    QLineEdit* txtDpLambda;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
