#pragma once
// "Freedom Conditions": which displacements the next clicked nodes hold fixed.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace quillane {

class frmFreedom : public QDialog {
    Q_OBJECT

  public:
    frmFreedom(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblChoose;
    QRadioButton* optFixX;
    QRadioButton* optFixY;
    QRadioButton* optFixXY;
    QRadioButton* optFree;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
