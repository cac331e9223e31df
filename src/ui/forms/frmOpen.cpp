#include "ui/forms/frmOpen.h"

#include "ui/Commands.h"

namespace quillane {

frmOpen::frmOpen(Model& m, Desktop& d, QWidget* parent)
    : FileDialog(m, d, "Open Model", "Open", parent), cmdOpen(actionButton_) {}

bool frmOpen::performAction(const std::string& folder, const std::string& name) {
    return OpenModelCommand(m_, d_, folder, name);
}

} // namespace quillane
