#include "ui/forms/frmSave.h"

#include "ui/Commands.h"

namespace quillane {

frmSave::frmSave(Model& m, Desktop& d, QWidget* parent)
    : FileDialog(m, d, "Save Model", "Save", parent), cmdSave(actionButton_) {}

bool frmSave::performAction(const std::string& folder, const std::string& name) {
    return SaveModelCommand(m_, d_, folder, name);
}

} // namespace quillane
