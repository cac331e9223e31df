#pragma once
// "Optimization": steps one at a time or continuously. The steps themselves run
// in the main window's timer while this dialog's loop is running; the buttons only
// set the flag and the timer.

#include <QDialog>

#include "model/Model.h"
#include "ui/Desktop.h"

class QLabel;
class QPushButton;

namespace quillane {

class frmOptimization : public QDialog {
    Q_OBJECT

  public:
    frmOptimization(Model& m, Desktop& d, QWidget* parent = nullptr);

    QPushButton* cmdAutoStart;
    QPushButton* cmdAutoStop;
    QPushButton* cmdManual;
    QPushButton* cmdCancel;
    // Why the last automatic run stopped, or that the last solve did not converge;
    // hidden while there is nothing to say, so the dialog looks as it always has.
    QLabel* lblRunNotice;

  public slots:
    void showRunNotice();
    // Cancel, Escape and the window's close button alike stop the timer.
    void reject() override;

  private:
    Model& m_;
    Desktop& d_;
};

} // namespace quillane
