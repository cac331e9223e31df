#include "display/Shape.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace quillane {

namespace {

// Directions of the boundary edges: east, north, west, south; a left turn is +1.
enum Direction { kEast = 0, kNorth = 1, kWest = 2, kSouth = 3 };
constexpr std::array<int, 4> kDx{1, 0, -1, 0};
constexpr std::array<int, 4> kDy{0, 1, 0, -1};

struct Step {
    GridCorner corner;
    int leaving = kEast; // the direction the boundary leaves the corner in
};

// The cell edges between material and the rest, each directed with the material on
// its left, stored as one bit per direction at the corner where the edge starts.
class BoundaryEdges {
  public:
    explicit BoundaryEdges(const Shape& shape)
        : columns_(shape.columns), out_(cornerCount(shape), 0), used_(out_.size(), 0) {
        for (const GridCorner cell : shape.cells) {
            const int i = cell.row;
            const int j = cell.column;
            if (!shape.occupied(i - 1, j)) {
                add({j, i}, kEast);
            }
            if (!shape.occupied(i, j + 1)) {
                add({j + 1, i}, kNorth);
            }
            if (!shape.occupied(i + 1, j)) {
                add({j + 1, i + 1}, kWest);
            }
            if (!shape.occupied(i, j - 1)) {
                add({j, i + 1}, kSouth);
            }
        }
    }

    std::size_t size() const { return out_.size(); }
    GridCorner corner(std::size_t index) const {
        const auto width = static_cast<std::size_t>(columns_) + 1;
        return {static_cast<int>(index % width), static_cast<int>(index / width)};
    }
    std::size_t index(GridCorner c) const {
        return static_cast<std::size_t>(c.row) * (static_cast<std::size_t>(columns_) + 1) +
               static_cast<std::size_t>(c.column);
    }
    bool unused(std::size_t at, int d) const {
        return (out_[at] & bit(d)) != 0 && (used_[at] & bit(d)) == 0;
    }

    // The closed boundary path through the edge leaving `start` in direction `d0`.
    // Arriving at a corner, the path takes the left turn if there is an edge there,
    // else straight on, else the right turn. Only at a corner contact are there two
    // ways on, and turning left keeps to the cell the path came along.
    std::vector<Step> follow(GridCorner start, int d0) {
        std::vector<Step> path;
        GridCorner c = start;
        int d = d0;
        do {
            path.push_back({c, d});
            used_[index(c)] |= bit(d);
            c = {c.column + kDx[static_cast<std::size_t>(d)],
                 c.row + kDy[static_cast<std::size_t>(d)]};
            const unsigned char here = out_[index(c)];
            for (const int turn : {1, 0, 3}) {
                const int next = (d + turn) % 4;
                if ((here & bit(next)) != 0) {
                    d = next;
                    break;
                }
            }
        } while (!(c == start && d == d0));
        return path;
    }

  private:
    static std::size_t cornerCount(const Shape& shape) {
        return (static_cast<std::size_t>(shape.rows) + 1) *
               (static_cast<std::size_t>(shape.columns) + 1);
    }
    static unsigned char bit(int d) { return static_cast<unsigned char>(1U << d); }
    void add(GridCorner c, int d) { out_[index(c)] |= bit(d); }

    int columns_;
    std::vector<unsigned char> out_;
    std::vector<unsigned char> used_;
};

// A ring from a loop of steps: only the corners where the direction changes, starting
// at the lowest, then leftmost one.
ShapeRing ringOf(const std::vector<Step>& loop) {
    ShapeRing ring;
    for (std::size_t k = 0; k < loop.size(); ++k) {
        const int arriving = loop[(k + loop.size() - 1) % loop.size()].leaving;
        if (loop[k].leaving != arriving) {
            ring.push_back(loop[k].corner);
        }
    }
    const auto first = std::min_element(ring.begin(), ring.end(), [](GridCorner a, GridCorner b) {
        return a.row != b.row ? a.row < b.row : a.column < b.column;
    });
    std::rotate(ring.begin(), first, ring.end());
    return ring;
}

// Splits a closed path at every corner it visits twice (both passes through a corner
// contact) into loops that visit each corner once, and adds their rings.
void addRings(const std::vector<Step>& path, BoundaryEdges& edges, std::vector<int>& position,
              std::vector<ShapeRing>& rings) {
    std::vector<Step> open;
    for (const Step& step : path) {
        const std::size_t at = edges.index(step.corner);
        if (position[at] >= 0) {
            const auto from = open.begin() + position[at];
            rings.push_back(ringOf(std::vector<Step>(from, open.end())));
            for (auto it = from; it != open.end(); ++it) {
                position[edges.index(it->corner)] = -1;
            }
            open.erase(from, open.end());
        }
        position[at] = static_cast<int>(open.size());
        open.push_back(step);
    }
    for (const Step& step : open) {
        position[edges.index(step.corner)] = -1;
    }
    rings.push_back(ringOf(open));
}

} // namespace

bool Shape::occupied(int row, int column) const {
    if (row < 0 || row >= rows || column < 0 || column >= columns) {
        return false;
    }
    return occupied_[static_cast<std::size_t>(row) * static_cast<std::size_t>(columns) +
                     static_cast<std::size_t>(column)] != 0;
}

Shape TraceShape(const Model& m) {
    Shape shape;
    const int rows = m.CellRowCount;
    const int columns = m.CellColumnCount;
    const long long corners = (static_cast<long long>(rows) + 1) * (columns + 1);
    if (rows <= 0 || columns <= 0 || !m.CellState.contains(rows, columns) ||
        !m.NodeXY.contains(corners, 2)) {
        return shape;
    }
    shape.rows = rows;
    shape.columns = columns;
    shape.occupied_.assign(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns), 0);
    for (int i = 0; i < rows; ++i) {
        for (int j = 0; j < columns; ++j) {
            if (m.CellState(i + 1, j + 1) > 0) {
                shape.occupied_[static_cast<std::size_t>(i) * static_cast<std::size_t>(columns) +
                                static_cast<std::size_t>(j)] = 1;
                shape.cells.push_back({j, i});
            }
        }
    }
    // Grid corner (column k, row l) is node (columns + 1) * l + k + 1.
    shape.points.reserve(static_cast<std::size_t>(corners));
    for (long long node = 1; node <= corners; ++node) {
        shape.points.push_back({m.NodeXY(node, 1), m.NodeXY(node, 2)});
    }

    BoundaryEdges edges(shape);
    std::vector<int> position(edges.size(), -1);
    for (std::size_t at = 0; at < edges.size(); ++at) {
        for (int d = kEast; d <= kSouth; ++d) {
            if (edges.unused(at, d)) {
                addRings(edges.follow(edges.corner(at), d), edges, position, shape.rings);
            }
        }
    }
    std::stable_sort(
        shape.rings.begin(), shape.rings.end(), [](const ShapeRing& a, const ShapeRing& b) {
            return a.front().row != b.front().row ? a.front().row < b.front().row
                                                  : a.front().column < b.front().column;
        });
    return shape;
}

double SignedArea(const Shape& shape, const ShapeRing& ring) {
    double twice = 0.0;
    for (std::size_t k = 0; k < ring.size(); ++k) {
        const ShapePoint a = shape.at(ring[k]);
        const ShapePoint b = shape.at(ring[(k + 1) % ring.size()]);
        twice += a.x * b.y - b.x * a.y;
    }
    return twice / 2.0;
}

bool IsCornerContact(const Shape& shape, GridCorner c) {
    const bool lowerLeft = shape.occupied(c.row - 1, c.column - 1);
    const bool lowerRight = shape.occupied(c.row - 1, c.column);
    const bool upperLeft = shape.occupied(c.row, c.column - 1);
    const bool upperRight = shape.occupied(c.row, c.column);
    return (lowerLeft && upperRight && !lowerRight && !upperLeft) ||
           (lowerRight && upperLeft && !lowerLeft && !upperRight);
}

} // namespace quillane
