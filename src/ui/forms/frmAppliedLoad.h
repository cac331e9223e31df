#pragma once
// "Applied Load": the force every node clicked in load mode receives.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace quillane {

class frmAppliedLoad : public QDialog {
    Q_OBJECT

  public:
    frmAppliedLoad(Model& m, Desktop& d, QWidget* parent = nullptr);

    QRadioButton* optLoadOn;
    QRadioButton* optLoadOff;
    QLabel* lblLoadX;
    QLineEdit* txtLoadX;
    QLabel* lblLoadY;
    QLineEdit* txtLoadY;
    QPushButton* cmdOK;
    QPushButton* cmdExit;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
