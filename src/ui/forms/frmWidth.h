#pragma once
// "Width and Mesh Density": the width the canvas shows and the grid cell size.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace quillane {

class frmWidth : public QDialog {
    Q_OBJECT

  public:
    frmWidth(Model& m, Desktop& d, QWidget* parent = nullptr);

    QLabel* lblWidth;
    QLineEdit* txtWidth;
    QLabel* lblWidthUnit;
    QLabel* lblUnitGrid;
    QLineEdit* txtUnitGrid;
    QLabel* lblUnitGridUnit;
    QPushButton* cmdOK;
    QPushButton* cmdCancel;

  private:
    void cmdOK_Click();

    Model& m_;
    Desktop& d_;
};

} // namespace quillane
