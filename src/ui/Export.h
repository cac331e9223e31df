#pragma once
// "Export Shape..." and what both export commands say when a file cannot be written.

#include <exception>
#include <string>

#include "model/Model.h"
#include "ui/Desktop.h"

namespace quillane {

// Writes the outline of the present material to `path`, as SVG, DXF or STL by its
// extension (the STL extruded by Thickness). Without a domain or any cell holding
// material it says so and writes nothing; so it does for a name without one of
// the three endings. A file that cannot be written is reported, and no file is left
// half-written. Returns true when the file was written.
bool ExportShapeCommand(const Model& m, Desktop& d, const std::string& path);

// The message for an export that failed: what happened, with the system's reason, and
// what to do.
std::string ExportFailureMessage(const std::exception& error);

} // namespace quillane
