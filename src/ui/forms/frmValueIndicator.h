#pragma once
// "Values": which number a click on the canvas reads off the model.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace quillane {

class frmValueIndicator : public QDialog {
    Q_OBJECT

  public:
    frmValueIndicator(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblChoose;
    QRadioButton* optLoadValue;
    QRadioButton* optDisplacementValue;
    QRadioButton* optStressValue;
    QRadioButton* optNeuronValue;
    QRadioButton* optDoNot;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
};

} // namespace quillane
