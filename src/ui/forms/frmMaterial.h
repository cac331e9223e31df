#pragma once
// "Design Property": the plate's material and thickness.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace quillane {

class frmMaterial : public QDialog {
    Q_OBJECT

  public:
    frmMaterial(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblHeading;
    QLabel* lblEmod;
    QLineEdit* txtEmod;
    QLabel* lblEmodUnit;
    QLabel* lblThickness;
    QLineEdit* txtThickness;
    QLabel* lblThicknessUnit;
    QLabel* lblPoison;
    QLineEdit* txtPoison;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
