#pragma once
// "Save Model": writes the whole model to a file.

#include "ui/forms/FileDialog.h"

namespace quillane {

class frmSave : public FileDialog {
    Q_OBJECT

  public:
    frmSave(Model& m, Desktop& d, QWidget* parent = nullptr);

    QPushButton* cmdSave;

  protected:
    bool performAction(const std::string& folder, const std::string& name) override;
};

} // namespace quillane
