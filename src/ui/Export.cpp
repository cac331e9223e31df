#include "ui/Export.h"

#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "model/Messages.h"

namespace quillane {

namespace {

constexpr const char* kLineBreak = "\r\n";

} // namespace

bool ExportShapeCommand(const Model& m, Desktop& d, const std::string& path) {
    const Shape shape = TraceShape(m);
    if (shape.empty()) {
        d.showMessage(kNoShapeToExport, kExportShapeTitle);
        return false;
    }
    if (!ShapeFormatOf(path)) {
        d.showMessage(kShapeFileName, kExportShapeTitle);
        return false;
    }
    try {
        WriteShapeFile(shape, m.Thickness, path);
        return true;
    } catch (const ShapeExportError& e) {
        d.showMessage(e.what(), kExportShapeTitle);
    } catch (const std::exception& e) {
        d.showMessage(ExportFailureMessage(e), kExportShapeTitle);
    }
    return false;
}

std::string ExportFailureMessage(const std::exception& error) {
    return std::string("The file could not be written: ") + error.what() + "." + kLineBreak +
           "Nothing was written; a file of that name keeps its old contents. Choose another "
           "folder or file name and try again.";
}

} // namespace quillane
