#pragma once
// "Graphics": which result map the canvas shows.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace quillane {

class frmImageIndicator : public QDialog {
    Q_OBJECT

  public:
    frmImageIndicator(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblChoose;
    QRadioButton* optStressValue;
    QRadioButton* optNeuronValue;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
