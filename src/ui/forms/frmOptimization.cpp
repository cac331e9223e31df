#include "ui/forms/frmOptimization.h"

#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/Commands.h"
#include "ui/RunReport.h"
#include "ui/forms/Text.h"

namespace quillane {

frmOptimization::frmOptimization(Model& m, Desktop& d, QWidget* parent)
    : QDialog(parent), m_(m), d_(d) {
    setWindowTitle("Optimization");
    cmdAutoStart = new QPushButton("Automatic_Start", this);
    cmdAutoStop = new QPushButton("Automatic_Stop", this);
    cmdManual = new QPushButton("Bit by Bit", this);
    cmdCancel = new QPushButton("Cancel", this);

    auto* layout = new QVBoxLayout(this);
    for (QPushButton* button : {cmdAutoStart, cmdAutoStop, cmdManual, cmdCancel}) {
        button->setMinimumWidth(180);
        layout->addWidget(button);
    }
    lblRunNotice = new QLabel(this);
    lblRunNotice->setWordWrap(true);
    lblRunNotice->setMaximumWidth(240);
    lblRunNotice->setStyleSheet("color: #b00000;");
    layout->addWidget(lblRunNotice);
    showRunNotice();

    // A fault in a step is reported by the guard, which also stops the timer; the
    // dialog stays open so the user can look at the result or cancel.
    connect(cmdAutoStart, &QPushButton::clicked, this,
            [this] { RunGuarded(m_, d_, [this] { AutomaticStart(m_, d_); }); });
    connect(cmdAutoStop, &QPushButton::clicked, this,
            [this] { RunGuarded(m_, d_, [this] { AutomaticStop(m_, d_); }); });
    connect(cmdManual, &QPushButton::clicked, this,
            [this] { RunGuarded(m_, d_, [this] { BitByBit(m_, d_); }); });
    connect(cmdCancel, &QPushButton::clicked, this, &frmOptimization::reject);
}

void frmOptimization::showRunNotice() {
    const std::string notice = RunNoticeText(m_);
    lblRunNotice->setText(qText(notice));
    if (lblRunNotice->isVisibleTo(this) != !notice.empty()) {
        lblRunNotice->setVisible(!notice.empty());
        // The dialog grows to the notice and shrinks back without it.
        adjustSize();
    }
}

void frmOptimization::reject() {
    RunGuarded(m_, d_, [this] { CancelOptimization(m_, d_); });
    QDialog::reject();
}

} // namespace quillane
