#pragma once
// The shape in the formats other programs read: SVG for drawings and slides, DXF for
// CAD, binary STL for 3D printing. Lengths are in millimetres throughout.

#include <optional>
#include <stdexcept>
#include <string>

#include "display/Shape.h"

namespace quillane {

enum class ShapeFormat { Svg, Dxf, Stl };

// The format a file name asks for by its extension: .svg, .dxf or .stl in any case.
std::optional<ShapeFormat> ShapeFormatOf(const std::string& path);

// The DXF layer that holds the outline.
inline constexpr const char* kShapeLayer = "SHAPE";

// A shape that cannot be written as asked (no material, a solid without thickness,
// a file name without a known extension). what() says so in the user's words.
class ShapeExportError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// SVG: one <path> with fill-rule="evenodd" holding every ring as absolute M, H, V (L
// only where the nodes are off the grid) and Z commands. The picture covers the
// design domain: width and height in mm, a viewBox in mm, x as in the model and y
// negated, so it stands upright with the model's coordinates readable in it.
std::string ShapeSvg(const Shape& shape);

// Binary STL: the shape extruded from z = 0 to z = thickness as a closed surface,
// every triangle counter-clockwise seen from outside with its outward normal.
//
// Watertight by construction: the top and bottom faces are two triangles per occupied
// cell, and the walls one quad per cell edge of the outline, so every face edge meets
// exactly one other face edge end to end (no vertex ever lies on another triangle's
// edge within a solid): a cell edge inside the material is shared by the two cells'
// faces, a cell edge on the outline by the face and its wall, a wall's vertical edge
// by the walls on either side of the corner. At a corner contact the two solids touch
// along a vertical line; the one of the cell to the left of the contact takes an extra
// vertex halfway up, so each solid keeps its own edges and stays closed on its own.
// Raises ShapeExportError when the thickness is not above 0.
std::string ShapeStl(const Shape& shape, double thickness);

// Writes the shape to `path` in the format of its extension, through a temporary file
// that replaces `path` only when complete; `thickness` is the STL's extrusion. A DXF
// (AutoCAD 2000, $INSUNITS = 4: millimetres) holds every ring as a closed polyline on
// the layer "SHAPE", written by dxflib. Raises
// ShapeExportError for an empty shape, another extension or a solid without
// thickness (nothing is written), FileWriteError when the file cannot be written.
void WriteShapeFile(const Shape& shape, double thickness, const std::string& path);

} // namespace quillane
