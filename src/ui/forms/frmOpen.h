#pragma once
// "Open Model": reads a model file and rebuilds the view from it.

#include "ui/forms/FileDialog.h"

namespace quillane {

class frmOpen : public FileDialog {
    Q_OBJECT

  public:
    frmOpen(Model& m, Desktop& d, QWidget* parent = nullptr);

    QPushButton* cmdOpen;

  protected:
    bool performAction(const std::string& folder, const std::string& name) override;
};

} // namespace quillane
