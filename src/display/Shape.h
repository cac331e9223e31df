#pragma once
// The material region of the model as outlines: what the export formats (SVG, DXF,
// STL) write.
//
// The region is the union of the occupied cells (CellState 1 and 2). Its outline is
// a set of closed rings along the cell edges, with the material always on the left:
// the outer boundary of a piece runs counter-clockwise, the boundary of a hole
// clockwise, so the signed areas of all rings add up to the material area. Runs of
// collinear cell edges are one segment, and no ring runs between two occupied cells.
//
// Corner contacts: material is connected only through cell edges. Where two occupied
// cells meet at a corner only (the other two cells at that corner hold none), the
// outline turns towards its own cell, so it never passes from one of them to the
// other; the two cells lie on different rings that share the corner point. No ring
// visits a point twice: where the boundary of one piece comes back to such a corner
// (a hole touching the outside at a corner), it is two rings there, the outer one
// and the hole.
//
// Positions are the node coordinates NodeXY of the cell corners, exactly what the
// canvas draws and the analysis uses; the topology comes from the grid indices, so
// it is exact whatever the coordinates' rounding.

#include <vector>

#include "model/Model.h"

namespace quillane {

// A corner of the cell grid: column 0..CellColumnCount from the domain's left edge,
// row 0..CellRowCount from its lower edge.
struct GridCorner {
    int column = 0;
    int row = 0;
    friend bool operator==(const GridCorner&, const GridCorner&) = default;
};

// A position in model coordinates (mm, y up).
struct ShapePoint {
    double x = 0.0;
    double y = 0.0;
    friend bool operator==(const ShapePoint&, const ShapePoint&) = default;
};

// One closed ring: its corners in order, without repeating the first at the end.
// Consecutive corners share a row or a column, and the direction turns at every corner.
// A ring starts at its lowest, then leftmost corner.
using ShapeRing = std::vector<GridCorner>;

struct Shape {
    int columns = 0; // CellColumnCount
    int rows = 0;    // CellRowCount
    // The occupied cells, each by its lower-left corner, row by row from the bottom.
    std::vector<GridCorner> cells;
    // Outer rings and holes, ordered by their first corner (lowest row, then column).
    std::vector<ShapeRing> rings;
    // The position of every grid corner, row by row from the lower-left one.
    std::vector<ShapePoint> points;

    bool empty() const { return cells.empty(); }
    ShapePoint at(GridCorner c) const {
        return points[static_cast<std::size_t>(c.row) * (static_cast<std::size_t>(columns) + 1) +
                      static_cast<std::size_t>(c.column)];
    }
    // Whether cell (row, column), both 0-based, holds material; false outside the grid.
    bool occupied(int row, int column) const;

  private:
    friend Shape TraceShape(const Model& m);
    std::vector<char> occupied_;
};

// The shape of the model's present cells. A model without a domain gives an empty
// shape (no cells, no rings).
Shape TraceShape(const Model& m);

// The ring's signed area in mm² (positive counter-clockwise).
double SignedArea(const Shape& shape, const ShapeRing& ring);

// Whether the grid corner is a corner contact: of its four cells, exactly two hold
// material and they touch only at this corner.
bool IsCornerContact(const Shape& shape, GridCorner c);

} // namespace quillane
