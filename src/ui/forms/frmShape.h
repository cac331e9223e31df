#pragma once
// "Shape": what the next canvas clicks do to the design domain.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QPushButton;
class QRadioButton;

namespace quillane {

class frmShape : public QDialog {
    Q_OBJECT

  public:
    frmShape(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblChoose;
    QRadioButton* optDesignDomain;
    QRadioButton* optAddElements;
    QRadioButton* optRemoveElements;
    QRadioButton* optAddNonDesignElements;
    QRadioButton* optDeleteDesignDomain;
    QRadioButton* optDoNot;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
