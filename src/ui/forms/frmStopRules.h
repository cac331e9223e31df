#pragma once
// "Stop Rules": the rules that end an automatic run, each with a check box and its
// value. All off at start-up; OK keeps them for the rest of the session.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QCheckBox;
class QDoubleSpinBox;
class QPushButton;
class QSpinBox;

namespace quillane {

class frmStopRules : public QDialog {
    Q_OBJECT

  public:
    frmStopRules(Model& m, Desktop& d, QWidget* parent = nullptr);

    QCheckBox* chkSteady;
    QSpinBox* txtSteadySteps;
    QCheckBox* chkVolume;
    QDoubleSpinBox* txtVolumeRatio;
    QCheckBox* chkUnconverged;
    QCheckBox* chkSteps;
    QSpinBox* txtMaxSteps;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

  private:
    void cmdOK_Click();

    Model& m_;
};

} // namespace quillane
