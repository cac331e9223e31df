// The shape of the occupied cells: its rings against independent counts on random and
// hand-made layouts, and the STL and DXF files read back.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

#include <dl_creationadapter.h>
#include <dl_dxf.h>

#include "display/Shape.h"
#include "display/ShapeExport.h"
#include "model/SafeFile.h"
#include "support/ModelBuilders.h"

using namespace quillane;

namespace {

namespace fs = std::filesystem;
using Rings = std::vector<std::vector<std::array<int, 2>>>; // (column, row) corners

// A layout from rows of text, top row first: '#' design, '@' non-design, '.' empty,
// ' ' cut out; cells of 12.5 mm from (-37.5, 25).
Model layout(const std::vector<std::string>& rows) {
    const int r = static_cast<int>(rows.size());
    const int c = static_cast<int>(rows.front().size());
    Model m = support::makePlate(r, c, 12.5f, kCellEmpty, -37.5f, 25.0f);
    for (int i = 0; i < r; ++i) {
        for (int j = 0; j < c; ++j) {
            const char cell =
                rows[static_cast<std::size_t>(r - 1 - i)][static_cast<std::size_t>(j)];
            m.CellState(i + 1, j + 1) = cell == '#'   ? kCellDesign
                                        : cell == '@' ? kCellNonDesign
                                        : cell == ' ' ? kCellCutOut
                                                      : kCellEmpty;
        }
    }
    return m;
}

Model randomLayout(std::mt19937& random) {
    std::uniform_int_distribution<int> size(1, 14);
    std::uniform_int_distribution<int> percent(0, 99);
    std::vector<std::string> rows(static_cast<std::size_t>(size(random)));
    const int columns = size(random);
    const int density = percent(random);
    for (std::string& row : rows) {
        for (int j = 0; j < columns; ++j) {
            const int p = percent(random);
            row += p < density ? (p % 5 == 0 ? '@' : '#') : (p % 3 == 0 ? ' ' : '.');
        }
    }
    return layout(rows);
}

// Independent of the shape: whether cell (row, column), 0-based, holds material.
bool holds(const Model& m, int row, int column) {
    return row >= 0 && row < m.CellRowCount && column >= 0 && column < m.CellColumnCount &&
           m.CellState(row + 1, column + 1) > 0;
}

// Occupied cells, their sides on the outline, and corners where only two diagonal
// cells hold material.
struct Counts {
    int cells = 0, sides = 0, contacts = 0;
};
Counts count(const Model& m) {
    Counts n;
    for (int i = 0; i <= m.CellRowCount; ++i) {
        for (int j = 0; j <= m.CellColumnCount; ++j) {
            if (holds(m, i, j)) {
                ++n.cells;
                n.sides += !holds(m, i - 1, j) + !holds(m, i + 1, j) + !holds(m, i, j - 1) +
                           !holds(m, i, j + 1);
            }
            const bool ll = holds(m, i - 1, j - 1), lr = holds(m, i - 1, j);
            const bool ul = holds(m, i, j - 1), ur = holds(m, i, j);
            n.contacts += (ll && ur && !lr && !ul) || (lr && ul && !ll && !ur);
        }
    }
    return n;
}

Rings corners(const Shape& shape) {
    Rings out;
    for (const ShapeRing& ring : shape.rings) {
        out.emplace_back();
        for (const GridCorner c : ring) {
            out.back().push_back({c.column, c.row});
        }
    }
    return out;
}

// Every property of the outline that can be counted without it.
void checkOutline(const Model& m) {
    const Shape shape = TraceShape(m);
    const Counts n = count(m);
    double area = 0.0;
    int sides = 0;
    std::map<std::array<int, 2>, int> winding; // cell (row, column): rings around its centre
    for (const ShapeRing& ring : shape.rings) {
        area += SignedArea(shape, ring);
        std::set<std::array<int, 2>> seen;
        for (std::size_t k = 0; k < ring.size(); ++k) {
            const GridCorner a = ring[k], b = ring[(k + 1) % ring.size()];
            const GridCorner c = ring[(k + 2) % ring.size()];
            EXPECT_TRUE(seen.insert({a.column, a.row}).second) << "a corner visited twice";
            EXPECT_TRUE((a.row == b.row) != (a.column == b.column)); // axis-parallel
            EXPECT_NE(a.row == b.row, b.row == c.row);               // turning at every corner
            const int dx = (b.column > a.column) - (b.column < a.column);
            const int dy = (b.row > a.row) - (b.row < a.row);
            for (GridCorner p = a; !(p == b); p = {p.column + dx, p.row + dy}, ++sides) {
                // The cells left and right of each cell edge, from its midpoint in
                // doubled units: material on the left only, so no edge inside or outside.
                const int mx = 2 * p.column + dx, my = 2 * p.row + dy;
                EXPECT_TRUE(holds(m, (my + dx - 1) / 2, (mx - dy - 1) / 2));
                EXPECT_FALSE(holds(m, (my - dx - 1) / 2, (mx + dy - 1) / 2));
                if (dy != 0) { // crossing the rays to the right from the cell centres left of it
                    for (int j = 0; j < p.column; ++j) {
                        winding[{std::min(p.row, p.row + dy), j}] += dy;
                    }
                }
            }
        }
        EXPECT_TRUE(ring.front() == *std::min_element(ring.begin(), ring.end(),
                                                      [](auto a, auto b) {
                                                          return a.row != b.row
                                                                     ? a.row < b.row
                                                                     : a.column < b.column;
                                                      }))
            << "a ring starts at its lowest, then leftmost corner";
    }
    EXPECT_EQ(sides, n.sides);
    EXPECT_EQ(area, n.cells * 12.5 * 12.5);
    // Wound once around material and never around the rest: holes turn against
    // their pieces.
    for (int i = 0; i < m.CellRowCount; ++i) {
        for (int j = 0; j < m.CellColumnCount; ++j) {
            EXPECT_EQ((winding[{i, j}]), holds(m, i, j) ? 1 : 0) << "cell " << i << "," << j;
        }
    }
}

TEST(ShapeOutline, RandomLayoutsAgainstIndependentCounts) {
    std::mt19937 random(20240611);
    int holes = 0, contacts = 0;
    for (int n = 0; n < 300; ++n) {
        const Model m = randomLayout(random);
        SCOPED_TRACE("layout " + std::to_string(n));
        checkOutline(m);
        const Shape shape = TraceShape(m);
        for (const ShapeRing& ring : shape.rings) {
            holes += SignedArea(shape, ring) < 0;
        }
        contacts += count(m).contacts;
    }
    EXPECT_GT(holes, 100); // the layouts cover what the outline must get right
    EXPECT_GT(contacts, 100);
}

TEST(ShapeOutline, HandMadeLayouts) {
    EXPECT_EQ(corners(TraceShape(layout({"#"}))), (Rings{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}}));
    EXPECT_EQ(corners(TraceShape(layout({"#@##", "####"}))),
              (Rings{{{0, 0}, {4, 0}, {4, 2}, {0, 2}}}));
    // A hole runs clockwise.
    EXPECT_EQ(corners(TraceShape(layout({"###", "#.#", "###"}))),
              (Rings{{{0, 0}, {3, 0}, {3, 3}, {0, 3}}, {{1, 1}, {1, 2}, {2, 2}, {2, 1}}}));
    // Cells touching at a corner: two rings sharing the point, both ways round.
    EXPECT_EQ(corners(TraceShape(layout({".#", "#."}))),
              (Rings{{{0, 0}, {1, 0}, {1, 1}, {0, 1}}, {{1, 1}, {2, 1}, {2, 2}, {1, 2}}}));
    EXPECT_EQ(corners(TraceShape(layout({"#.", ".#"}))),
              (Rings{{{1, 0}, {2, 0}, {2, 1}, {1, 1}}, {{0, 1}, {1, 1}, {1, 2}, {0, 2}}}));
    // A hole touching the outside at a corner is a ring of its own; four cells around
    // an empty one, touching at corners only, are four pieces and no hole.
    EXPECT_EQ(corners(TraceShape(layout({"##.", "#.#", "###"})))[1],
              (std::vector<std::array<int, 2>>{{1, 1}, {1, 2}, {2, 2}, {2, 1}}));
    EXPECT_EQ(TraceShape(layout({".#.", "#.#", ".#."})).rings.size(), 4u);
    checkOutline(layout({".#.", "#.#", ".#."}));
    EXPECT_TRUE(TraceShape(Model{}).empty()); // no domain
    EXPECT_TRUE(TraceShape(layout({"..", " ."})).rings.empty());
}

// The triangles of a binary STL file, three corners each after the normal.
using Point3 = std::array<float, 3>;
std::vector<std::array<Point3, 4>> parseStl(const std::string& bytes) {
    EXPECT_NE(bytes.rfind("solid", 0), 0u) << "a binary STL must not look like an ASCII one";
    std::uint32_t count = 0;
    std::memcpy(&count, bytes.data() + 80, 4);
    EXPECT_EQ(bytes.size(), 84u + 50u * count);
    std::vector<std::array<Point3, 4>> out(std::min<std::size_t>(count, (bytes.size() - 84) / 50));
    for (std::size_t t = 0; t < out.size(); ++t) {
        std::memcpy(out[t].data(), bytes.data() + 84 + 50 * t, 48);
    }
    return out;
}

void checkSolid(const Model& m, double thickness) {
    const auto triangles = parseStl(ShapeStl(TraceShape(m), thickness));
    const Counts n = count(m);
    // Two per cell on top and bottom, two per side on the outline, two more for the
    // extra vertex at each corner contact.
    EXPECT_EQ(triangles.size(),
              static_cast<std::size_t>(4 * n.cells + 2 * n.sides + 2 * n.contacts));
    std::map<std::pair<Point3, Point3>, int> directed;
    double volume = 0.0;
    for (const auto& [normal, a, b, c] : triangles) {
        for (const auto& [p, q] : {std::pair{a, b}, std::pair{b, c}, std::pair{c, a}}) {
            ++directed[{p, q}];
        }
        const auto d = [](const Point3& p, std::size_t k) { return double{p[k]}; };
        const std::array<double, 3> u{d(b, 0) - d(a, 0), d(b, 1) - d(a, 1), d(b, 2) - d(a, 2)};
        const std::array<double, 3> v{d(c, 0) - d(a, 0), d(c, 1) - d(a, 1), d(c, 2) - d(a, 2)};
        const std::array<double, 3> cross{u[1] * v[2] - u[2] * v[1], u[2] * v[0] - u[0] * v[2],
                                          u[0] * v[1] - u[1] * v[0]};
        const double length = std::hypot(cross[0], cross[1], cross[2]);
        ASSERT_GT(length, 0.0) << "a degenerate triangle";
        // The stored normal is the unit normal of the corners' turn; signed volume
        // by the divergence theorem.
        EXPECT_NEAR(normal[0] * cross[0] + normal[1] * cross[1] + normal[2] * cross[2], length,
                    1e-6 * length);
        volume += (d(a, 0) * cross[0] + d(a, 1) * cross[1] + d(a, 2) * cross[2]) / 6.0;
    }
    // Every edge used once in each direction: closed and consistently oriented.
    for (const auto& [edge, uses] : directed) {
        EXPECT_EQ(uses, 1);
        EXPECT_EQ(directed.count({edge.second, edge.first}), 1u);
    }
    EXPECT_NEAR(volume, n.cells * 12.5 * 12.5 * thickness, 1e-9 * volume); // outward normals
}

TEST(ShapeStl, ClosedOrientedSolidsOfTheRightVolume) {
    for (const auto& rows : std::vector<std::vector<std::string>>{{"#"},
                                                                  {"###", "#.#", "###"},
                                                                  {".#", "#."},
                                                                  {"##.", "#.#", "###"},
                                                                  {"#.#", ".#.", "#.#"}}) {
        SCOPED_TRACE(rows.front());
        checkSolid(layout(rows), 2.5);
    }
    std::mt19937 random(7);
    for (int n = 0; n < 60; ++n) {
        const Model m = randomLayout(random);
        if (count(m).cells > 0) {
            SCOPED_TRACE("layout " + std::to_string(n));
            checkSolid(m, 3.0);
        }
    }
    EXPECT_THROW(ShapeStl(TraceShape(layout({"#"})), 0.0), ShapeExportError);
    EXPECT_THROW(ShapeStl(TraceShape(layout({"."})), 1.0), ShapeExportError);
}

// What dxflib reads from a DXF file.
struct DxfReader : DL_CreationAdapter {
    using DL_CreationAdapter::setVariableInt;
    void setVariableInt(const std::string& key, int value, int) override { ints[key] = value; }
    void addPolyline(const DL_PolylineData& data) override {
        polylines.push_back({getAttributes().getLayer(), data.flags, {}});
    }
    void addVertex(const DL_VertexData& data) override {
        std::get<2>(polylines.back()).push_back({data.x, data.y});
    }
    std::map<std::string, int> ints;
    std::vector<std::tuple<std::string, int, std::vector<ShapePoint>>> polylines;
};

TEST(ShapeFiles, WrittenByTheEndingAndReadBack) {
    const fs::path dir =
        fs::temp_directory_path() / ("quillane-shape-" + std::to_string(::getpid()));
    fs::create_directories(dir);
    const std::string dxf = (dir / "bracket.DXF").string();
    const Model m = layout({"####.", "#..#.", "#####", "....#"});
    const Shape shape = TraceShape(m);
    WriteShapeFile(shape, 1.0, dxf);
    DxfReader read;
    ASSERT_TRUE(DL_Dxf().in(dxf, &read));
    EXPECT_EQ(read.ints["$INSUNITS"], 4); // millimetres
    ASSERT_EQ(read.polylines.size(), 2u);
    ASSERT_EQ(shape.rings.size(), 2u);
    double area = 0.0;
    for (std::size_t r = 0; r < 2; ++r) {
        const auto& [layer, flags, vertices] = read.polylines[r];
        EXPECT_EQ(layer, "SHAPE");
        EXPECT_EQ(flags & 1, 1); // closed
        ASSERT_EQ(vertices.size(), shape.rings[r].size());
        for (std::size_t k = 0; k < vertices.size(); ++k) {
            EXPECT_EQ(vertices[k], shape.at(shape.rings[r][k]));
            const ShapePoint a = vertices[k], b = vertices[(k + 1) % vertices.size()];
            area += (a.x * b.y - b.x * a.y) / 2.0;
        }
    }
    EXPECT_EQ(area, count(m).cells * 12.5 * 12.5);
    // The ending decides; refused or failed, nothing is left behind.
    EXPECT_EQ(ShapeFormatOf("a/b.Svg"), ShapeFormat::Svg);
    for (const char* name : {"b.png", "b", "dir.svg/b", "b.svg.bak"}) {
        EXPECT_FALSE(ShapeFormatOf(name).has_value()) << name;
    }
    EXPECT_THROW(WriteShapeFile(shape, 1.0, (dir / "s.png").string()), ShapeExportError);
    EXPECT_THROW(WriteShapeFile(TraceShape(layout({"."})), 1.0, (dir / "e.svg").string()),
                 ShapeExportError);
    for (const char* name : {"none/s.svg", "none/s.dxf", "none/s.stl"}) {
        EXPECT_THROW(WriteShapeFile(shape, 1.0, (dir / name).string()), FileWriteError) << name;
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(dir), fs::directory_iterator()), 1);
    fs::remove_all(dir);
}

} // namespace
